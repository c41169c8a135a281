// SPDX-License-Identifier: MIT
// vane-probe: loads one plug-in module, asks its discovery object for its
// classes, makes each class to learn its reader and renderer ids and texts,
// and prints the report on standard output. The manager runs this in
// a child process for every new or changed module, so a module that crashes
// or hangs while it loads costs only this process.
//
// usage: vane-probe [--report-fd=N] MODULE [PRELOADS]
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fileio/detail/module_loader.h"
#include "platform/wtext.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VANE_PROBE_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(VANE_PROBE_ASAN)
// A sanitizer build of the helper must still die by the signal a crashing
// module raises: the manager tells a crash from a broken helper that way.
extern "C" const char* __asan_default_options() {
  return "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:handle_abort=0";
}
#endif

namespace {

// The manager a class is handed while it is described here: it knows no
// plug-ins, so a class that looks another one up is told there is none.
struct EmptyManager final : IZoFileIOManager {
  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IZoFileIOManager) return E_NOINTERFACE;
    *out = this;
    return S_OK;
  }
  ULONG AddRef() override { return 2; }
  ULONG Release() override { return 1; }
  HRESULT GetLCID(DWORD* lcid, DWORD) override {
    if (!lcid) return E_INVALIDARG;
    *lcid = 1033;
    return S_OK;
  }
  HRESULT Slot4() override { return E_NOTIMPL; }
  HRESULT GetMetric(LONG, DWORD*) override { return ZOERR_NOT_FOUND; }
  HRESULT SetMetric(LONG, DWORD) override { return S_OK; }
  HRESULT GetMetricText(LONG, WCHAR*, DWORD, DWORD*) override { return ZOERR_NOT_FOUND; }
  HRESULT SetMetricText(LONG, LPCWSTR) override { return S_OK; }
  HRESULT DeleteMetric(LONG, LONG) override { return S_OK; }
  HRESULT GetMetricBinary(LONG, void*, DWORD, DWORD*) override { return ZOERR_NOT_FOUND; }
  HRESULT SetMetricBinary(LONG, const void*, DWORD) override { return S_OK; }
  HRESULT Slot12() override { return E_NOTIMPL; }
  template <typename T>
  static HRESULT None(T** out) {
    if (out) *out = nullptr;
    return ZOERR_UNSUPPORTED_FORMAT;
  }
  HRESULT GetReadClassById(IZoReadFileClass** out, DWORD) override { return None(out); }
  HRESULT GetReadClassByGuid(IZoReadFileClass** out, REFGUID) override { return None(out); }
  HRESULT GetRenderClassByGuid(IZoRenderFileClass** out, REFGUID) override { return None(out); }
  HRESULT FindReadClassByExtension(IZoReadFileClass** out, LPCWSTR, LONG*) override { return None(out); }
  HRESULT FindRenderClassByExtension(IZoRenderFileClass** out, LPCWSTR, LONG*) override { return None(out); }
  HRESULT OpenReadFile(LPCWSTR, IZoReadFile** out, DWORD) override { return None(out); }
  HRESULT OpenReadFileWithClass(LPCWSTR, IZoReadFile** out, REFGUID, DWORD) override { return None(out); }
  HRESULT EditTemplate(HWND, IZoRenderFileClass*, tagZOTEMPLATExV2**, DWORD) override { return E_NOTIMPL; }
  HRESULT Initialize(DWORD) override { return S_OK; }
  HRESULT Shutdown() override { return S_OK; }
  HRESULT GetReaderEnum(IZoFileIOTypeEnum** out) override { return None(out); }
  HRESULT GetRendererEnum(IZoFileIOTypeEnum** out) override { return None(out); }
  LONG GetReaderCount() override { return 0; }
  LONG GetRendererCount() override { return 0; }
  HRESULT FindReaderForHandle(HANDLE, LPCWSTR, LONG* index, DWORD) override {
    if (index) *index = -1;
    return ZOERR_UNSUPPORTED_FORMAT;
  }
  HRESULT FindReaderForName(LPCWSTR, LONG* index) override { return FindReaderForHandle(nullptr, nullptr, index, 0); }
  HRESULT GetReadClassByIndex(IZoReadFileClass** out, LONG) override { return None(out); }
  HRESULT GetRenderClassByIndex(IZoRenderFileClass** out, LONG) override { return None(out); }
  HRESULT FindRendererByName(IZoRenderFileClass** out, LPCWSTR) override { return None(out); }
  HRESULT Slot32() override { return E_NOTIMPL; }
  HRESULT QuickFindReader(LPCWSTR, IZoReadFileClass** out) override { return None(out); }
  HRESULT IsFileOfReaderKind(LPCWSTR) override { return S_FALSE; }
  HRESULT GetPluginCount(LONG* count) override {
    if (count) *count = 0;
    return S_FALSE;
  }
  HRESULT IsPluginKnown(REFGUID) override { return ZOERR_NOT_FOUND; }
  HRESULT GetPluginEnum(IZoFIOPluginEnum** out) override { return None(out); }
  HRESULT GetPluginInfo(REFGUID, ZOFIO_PLUGININFO*) override { return ZOERR_NOT_FOUND; }
  HRESULT CreateFilterBuilder(IZoFioFilterBuilder2** out) override {
    if (out) *out = nullptr;
    return E_NOTIMPL;
  }
  HRESULT CreateFilterBuilder(IZoFioFilterBuilder2** out, DWORD) override { return CreateFilterBuilder(out); }
};

// Writes all of `text` to `fd`.
void WriteAll(int fd, const std::string& text) {
  for (size_t done = 0; done < text.size();) {
    ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    done += size_t(n);
  }
}

}  // namespace

int main(int argc, char** argv) {
  // The report goes to its own descriptor when the manager gives one, and
  // standard output is pointed at standard error before any plug-in code
  // runs, so what a plug-in prints cannot pass for the report.
  int reportFd = -1;
  if (argc > 1 && std::strncmp(argv[1], "--report-fd=", 12) == 0) {
    reportFd = std::atoi(argv[1] + 12);
    --argc;
    ++argv;
  }
  if (argc < 2) {
    std::fprintf(stderr, "usage: vane-probe [--report-fd=N] MODULE [PRELOADS]\n");
    return 2;
  }
  if (reportFd < 0) reportFd = ::dup(1);
  if (reportFd < 0 || ::dup2(2, 1) < 0) return 3;
  std::string path = argv[1];
  size_t slash = path.rfind('/');
  if (slash != std::string::npos && slash > 0) {
    // Modules find their side files relative to their own folder.
    if (::chdir(path.substr(0, slash).c_str()) != 0) {
    }
  }
  EmptyManager manager;
  auto result = vane::fileio::detail::ProbeModuleHere(vane::platform::FromUtf8(path),
                                                      vane::platform::FromUtf8(argc > 2 ? argv[2] : ""), &manager);
  std::fflush(stdout);
  WriteAll(reportFd, vane::fileio::detail::FormatProbeReport(result));
  // Leave without running the modules' or the runtime's exit handlers: the
  // report is complete, and a plug-in's teardown must not change it.
  ::_exit(0);
}
