// SPDX-License-Identifier: MIT
#include "kernel/instantiate.h"

#include <mutex>
#include <string>

#include "kernel/lifecycle.h"
#include "platform/file.h"
#include "platform/module.h"
#include "platform/wtext.h"

namespace {

constexpr DWORD kDirectoryChars = 4096;

// The current directory is process-wide; loads by file take turns.
std::mutex g_loadMutex;

// Moves the current directory to a module's folder and back.
class DirectoryChange {
 public:
  explicit DirectoryChange(const std::u16string& fileName) {
    const size_t slash = fileName.rfind(u'/');
    if (slash == std::u16string::npos) return;  // no folder: the search path applies
    std::u16string folder = fileName.substr(0, slash == 0 ? 1 : slash);
    const DWORD n = GetCurrentDirectoryW(kDirectoryChars, m_previous);
    if (n == 0 || n >= kDirectoryChars) return;
    m_changed = SetCurrentDirectoryW(folder.c_str()) != FALSE;
  }
  ~DirectoryChange() {
    if (m_changed) SetCurrentDirectoryW(m_previous);
  }
  DirectoryChange(const DirectoryChange&) = delete;
  DirectoryChange& operator=(const DirectoryChange&) = delete;

 private:
  WCHAR m_previous[kDirectoryChars] = {};
  bool m_changed = false;
};

HRESULT CreateThroughFactory(HMODULE module, REFCLSID classId, IUnknown* outer, REFIID interfaceId, void** object) {
  auto entry = reinterpret_cast<PFN_DllGetClassObject>(GetProcAddress(module, "DllGetClassObject"));
  if (!entry) return E_FAIL;
  IClassFactory* factory = nullptr;
  HRESULT hr = entry(classId, IID_IClassFactory, reinterpret_cast<void**>(&factory));
  if (FAILED(hr)) return hr;
  if (!factory) return E_UNEXPECTED;
  hr = factory->CreateInstance(outer, interfaceId, object);
  factory->Release();
  return hr;
}

}  // namespace

HRESULT ZoDllCreateInstance(HMODULE module, REFCLSID classId, IUnknown* outer, REFIID interfaceId, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (!module) return E_FAIL;
  try {
    return CreateThroughFactory(module, classId, outer, interfaceId, object);
  } catch (...) {
    return E_UNEXPECTED;
  }
}

HRESULT ZoDllCreateInstanceFromFile(LPCWSTR fileName, REFCLSID classId, IUnknown* outer, REFIID interfaceId,
                                    void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (!fileName || !*fileName) return E_INVALIDARG;
  // The name must fit the 260-character buffer whole; a cut name could load
  // some other module.
  if (ZoWcsLen(fileName) >= MAX_PATH) return HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE);
  std::u16string name(fileName);

  HMODULE module = nullptr;
  {
    std::lock_guard<std::mutex> lock(g_loadMutex);
    // A relative name with a folder is made absolute first: after the move
    // into the module's folder it would name something else. Under the lock,
    // since another load moves the current directory for a while.
    if (name.front() != u'/' && name.find(u'/') != std::u16string::npos) {
      WCHAR current[kDirectoryChars];
      const DWORD n = GetCurrentDirectoryW(kDirectoryChars, current);
      if (n == 0 || n >= kDirectoryChars) return E_FAIL;
      name = std::u16string(current, n) + u'/' + name;
    }
    DirectoryChange inFolder(name);
    try {
      // A plug-in's loader may have reset the error mode; set it again.
      vane::kernel::SetProcessErrorMode(vane::kernel::ProcessErrorMode() | vane::kernel::kErrorModeQuiet);
      module = LoadLibraryW(name.c_str());
    } catch (...) {
      return E_UNEXPECTED;
    }
  }
  if (!module) return E_FAIL;

  const HRESULT hr = ZoDllCreateInstance(module, classId, outer, interfaceId, object);
  if (FAILED(hr)) FreeLibrary(module);
  return hr;
}
