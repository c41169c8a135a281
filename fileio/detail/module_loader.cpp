// SPDX-License-Identifier: MIT
#include "fileio/detail/module_loader.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "platform/file.h"
#include "platform/wtext.h"

extern char** environ;

namespace vane::fileio::detail {
namespace {

std::atomic<size_t> g_moduleLoads{0};

std::string Utf8(const std::u16string& s) { return vane::platform::ToUtf8(s); }

std::string FolderOf(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string(".") : path.substr(0, slash == 0 ? 1 : slash);
}

bool FileExists(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// Loads the semicolon-separated modules that must be present before the
// plug-in, each relative to the plug-in's folder and required to stay inside
// it. Returns the handles loaded.
std::vector<void*> LoadPreloads(const std::string& folder, const std::u16string& preloads) {
  std::vector<void*> loaded;
  std::string list = Utf8(preloads);
  size_t pos = 0;
  while (pos <= list.size()) {
    size_t end = list.find(';', pos);
    if (end == std::string::npos) end = list.size();
    std::string name = list.substr(pos, end - pos);
    pos = end + 1;
    while (!name.empty() && name.front() == ' ') name.erase(0, 1);
    while (!name.empty() && name.back() == ' ') name.pop_back();
    if (name.empty() || name.find("..") != std::string::npos || name.front() == '/') continue;
    std::string base = name.substr(name.rfind('/') == std::string::npos ? 0 : name.rfind('/') + 1);
    if (base.find('.') == std::string::npos) name += ".so";
    std::string full = folder + "/" + name;
    if (!FileExists(full)) continue;
    if (void* h = ::dlopen(full.c_str(), RTLD_NOW | RTLD_LOCAL)) loaded.push_back(h);
  }
  return loaded;
}

struct ModuleHold {
  void* module = nullptr;
  std::vector<void*> preloads;
  void Release() {
    if (module) ::dlclose(module);
    for (auto it = preloads.rbegin(); it != preloads.rend(); ++it) ::dlclose(*it);
    module = nullptr;
    preloads.clear();
  }
};

// dlopen plus the class factory, shared by the in-process loader and the probe.
HRESULT OpenModule(const std::string& path, const std::u16string& preloads, REFCLSID classId, ModuleHold* hold,
                   IClassFactory** factory) {
  *factory = nullptr;
  if (!FileExists(path)) return E_UNEXPECTED;
  hold->preloads = LoadPreloads(FolderOf(path), preloads);
  hold->module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!hold->module) {
    hold->Release();
    return E_UNEXPECTED;
  }
  ++g_moduleLoads;
  auto entry = reinterpret_cast<PFN_DllGetClassObject>(::dlsym(hold->module, "DllGetClassObject"));
  HRESULT hr = entry ? entry(classId, IID_IClassFactory, reinterpret_cast<void**>(factory)) : E_UNEXPECTED;
  if (SUCCEEDED(hr) && !*factory) hr = E_UNEXPECTED;
  if (FAILED(hr)) {
    *factory = nullptr;
    hold->Release();
  }
  return hr;
}

// The helper's path, or empty with *problem saying why.
std::string HelperPath(std::string* problem) {
  if (const char* env = std::getenv("VANE_PROBE_HELPER"); env && *env) {
    if (::access(env, X_OK) == 0 && FileExists(env)) return env;
    *problem = std::string("the probe helper named by VANE_PROBE_HELPER (") + env + ") is not an executable file";
    return {};
  }
  std::vector<std::string> candidates;
  Dl_info info{};
  if (::dladdr(reinterpret_cast<void*>(&ModuleLoadCount), &info) && info.dli_fname) {
    std::string dir = FolderOf(info.dli_fname);
    candidates.push_back(dir + "/vane-probe");
    candidates.push_back(dir + "/../bin/vane-probe");
    candidates.push_back(dir + "/../lib/vane-probe");
  }
  char exe[4096];
  ssize_t n = ::readlink("/proc/self/exe", exe, sizeof exe - 1);
  if (n > 0) {
    exe[n] = 0;
    candidates.push_back(FolderOf(exe) + "/vane-probe");
  }
  for (const auto& c : candidates)
    if (::access(c.c_str(), X_OK) == 0) return c;
  *problem =
      "the probe helper vane-probe was not found beside the kernel library, in ../bin or ../lib, or beside "
      "the program (VANE_PROBE_HELPER names it)";
  return {};
}

ProbeResult NotRun(const std::string& why, int err) {
  ProbeResult r;
  r.status = HRESULT_FROM_WIN32(err == 0 || err == ENOENT ? ERROR_FILE_NOT_FOUND : ERROR_NOT_ENOUGH_MEMORY);
  r.notRun = true;
  r.problem = err ? why + ": " + std::strerror(err) : why;
  return r;
}

DWORD ProbeTimeoutMs() {
  if (const char* env = std::getenv("VANE_PROBE_TIMEOUT_MS"); env && *env) {
    long v = std::strtol(env, nullptr, 10);
    if (v > 0) return DWORD(v);
  }
  return 10000;
}

ProbeResult RunHelper(const std::string& helper, const tZOFIOPLUGINENTRY& e) {
  ProbeResult result;
  result.contained = true;
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) return NotRun("no pipe for the probe helper", errno);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  // The report comes on descriptor 3; what the module prints goes nowhere.
  posix_spawn_file_actions_adddup2(&actions, fds[1], 3);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  std::string path = Utf8(e.path);
  std::string preloads = Utf8(e.PreloadModules);
  std::string reportArg = "--report-fd=3";
  std::vector<char*> argv = {const_cast<char*>(helper.c_str()), reportArg.data(), const_cast<char*>(path.c_str()),
                             const_cast<char*>(preloads.c_str()), nullptr};
  pid_t pid = -1;
  int rc = ::posix_spawn(&pid, helper.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(fds[1]);
  if (rc != 0) {
    ::close(fds[0]);
    return NotRun("the probe helper " + helper + " could not be started", rc);
  }
  std::string report;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ProbeTimeoutMs());
  bool timedOut = false;
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      timedOut = true;
      break;
    }
    pollfd p{fds[0], POLLIN, 0};
    int r = ::poll(&p, 1, int(left.count()));
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) {
      timedOut = r == 0;
      break;
    }
    char buf[4096];
    ssize_t n = ::read(fds[0], buf, sizeof buf);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    report.append(buf, size_t(n));
    if (report.size() > (1u << 20)) break;  // a sane report is a few lines
  }
  ::close(fds[0]);
  // A child that closed its report but lingers is waited for only until the
  // same deadline.
  int wstatus = 0;
  bool reaped = false;
  while (!timedOut && !reaped) {
    pid_t w = ::waitpid(pid, &wstatus, WNOHANG);
    if (w == pid)
      reaped = true;
    else if (w < 0 && errno != EINTR)
      break;
    else if (std::chrono::steady_clock::now() >= deadline)
      timedOut = true;
    else
      ::usleep(1000);
  }
  if (!reaped) {
    ::kill(pid, SIGKILL);
    while (::waitpid(pid, &wstatus, 0) < 0 && errno == EINTR) {
    }
  }
  // Only a death by a signal or a real hang condemns the module; a child
  // that ends without a report is a broken helper, tried again next start.
  if (timedOut) {
    result = ProbeResult();
    result.crashed = true;
    result.status = E_UNEXPECTED;
    result.problem = "hung while probed (killed after " + std::to_string(ProbeTimeoutMs()) + " ms)";
  } else if (WIFSIGNALED(wstatus)) {
    result = ProbeResult();
    result.crashed = true;
    result.status = E_UNEXPECTED;
    result.problem = std::string("crashed while probed (") + strsignal(WTERMSIG(wstatus)) + ")";
  } else if (!ParseProbeReport(report, &result)) {
    result = NotRun("the probe helper " + helper + " gave no usable report (exit status " +
                        std::to_string(WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : -1) + ")",
                    0);
    return result;
  }
  result.contained = true;
  return result;
}

}  // namespace

size_t ModuleLoadCount() { return g_moduleLoads.load(); }

DWORD DosDateTimeUTC(const std::string& utf8Path) {
  struct stat st {};
  if (::stat(utf8Path.c_str(), &st) != 0) return 0;
  time_t t = st.st_mtim.tv_sec;
  struct tm tm {};
  if (!::gmtime_r(&t, &tm) || tm.tm_year < 80) return 0x00210000;  // 1980-01-01, the earliest DOS time
  DWORD date = DWORD(((tm.tm_year - 80) & 0x7F) << 9 | (tm.tm_mon + 1) << 5 | tm.tm_mday);
  DWORD time = DWORD(tm.tm_hour << 11 | tm.tm_min << 5 | (tm.tm_sec / 2));
  return date << 16 | time;
}

bool GetFileExecutableInfo(const std::string& utf8Path, DWORD* machine) {
  int fd = ::open(utf8Path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  unsigned char h[20] = {};
  ssize_t n = ::read(fd, h, sizeof h);
  ::close(fd);
  if (n < 20 || std::memcmp(h, "\x7f" "ELF", 4) != 0) return false;
  unsigned elfMachine = h[5] == 1 ? unsigned(h[18] | h[19] << 8) : unsigned(h[18] << 8 | h[19]);
  // The platform's machine numbers: x86-64 34404, i386 332, AArch64 43620.
  DWORD m = elfMachine == 62 ? 34404 : elfMachine == 3 ? 332 : elfMachine == 183 ? 43620 : elfMachine;
  if (machine) *machine = m;
  return true;
}

HRESULT LoadEntryModule(tZOFIOPLUGINENTRY* e) {
  if (e->factory) return S_OK;
  ModuleHold hold;
  IClassFactory* factory = nullptr;
  HRESULT hr = OpenModule(Utf8(e->path), e->PreloadModules, e->classId, &hold, &factory);
  if (FAILED(hr)) return hr;
  // Preloads are dropped again: the module holds its own references once it
  // is loaded, and the entry's state bit records that they were used.
  if (!hold.preloads.empty()) e->state |= kEntryPreloadsLoaded;
  for (void* p : hold.preloads) ::dlclose(p);
  e->module = hold.module;
  e->factory = factory;
  return S_OK;
}

HRESULT CreateEntryObject(tZOFIOPLUGINENTRY* e, REFIID iid, void** out) {
  *out = nullptr;
  VANE_RETURN_IF_FAILED(LoadEntryModule(e));
  HRESULT hr = e->factory->CreateInstance(nullptr, iid, out);
  if (SUCCEEDED(hr) && !*out) hr = E_NOINTERFACE;
  return hr;
}

void UnloadEntryModule(tZOFIOPLUGINENTRY* e) {
  if (e->factory) e->factory->Release();
  e->factory = nullptr;
  if (e->module) ::dlclose(e->module);
  e->module = nullptr;
}

namespace {

std::vector<std::u16string> AskTexts(HRESULT (*ask)(void*, const DWORD*, LONG, BSTR*), void* cls,
                                     std::initializer_list<DWORD> ids, bool* ok) {
  std::vector<DWORD> list(ids);
  std::vector<BSTR> out(list.size(), nullptr);
  *ok = SUCCEEDED(ask(cls, list.data(), LONG(list.size()), out.data()));
  std::vector<std::u16string> texts(list.size());
  for (size_t i = 0; i < out.size(); ++i) {
    if (out[i]) texts[i] = std::u16string(out[i], SysStringLen(out[i]));
    SysFreeString(out[i]);
  }
  return texts;
}

// Makes the reader and renderer of class C through the module's entry point
// and notes what they say about themselves.
void DescribeClass(PFN_DllGetClassObject entry, IZoFileIOManager* manager, ProbedClass* c) {
  IClassFactory* factory = nullptr;
  if (FAILED(entry(c->classId, IID_IClassFactory, reinterpret_cast<void**>(&factory))) || !factory) return;
  if (c->access & 1) {
    IZoReadFileClass* cls = nullptr;
    if (SUCCEEDED(factory->CreateInstance(nullptr, IID_IZoReadFileClass, reinterpret_cast<void**>(&cls))) && cls) {
      bool ok = SUCCEEDED(cls->SetIOManager(manager)) && SUCCEEDED(cls->GetTypeID(&c->reader));
      if (ok) {
        auto texts = AskTexts([](void* o, const DWORD* ids, LONG n,
                                 BSTR* t) { return static_cast<IZoReadFileClass*>(o)->GetInfoText(ids, n, t); },
                              cls, {ZOFIO_INFOTEXT_EXTENSIONS, ZOFIO_INFOTEXT_NAME, ZOFIO_INFOTEXT_DEFAULT_EXT}, &ok);
        c->readerExt = texts[0];
        c->readerName = texts[1];
      }
      c->readerKnown = ok;
      cls->SetIOManager(nullptr);
      cls->Release();
    }
  }
  if (c->access & 2) {
    IZoRenderFileClass* cls = nullptr;
    if (SUCCEEDED(factory->CreateInstance(nullptr, IID_IZoRenderFileClass, reinterpret_cast<void**>(&cls))) && cls) {
      bool ok = SUCCEEDED(cls->SetIOManager(manager)) && SUCCEEDED(cls->GetTypeID(&c->renderer));
      if (ok) {
        auto texts = AskTexts([](void* o, const DWORD* ids, LONG n,
                                 BSTR* t) { return static_cast<IZoRenderFileClass*>(o)->GetInfoText(ids, n, t); },
                              cls, {ZOFIO_INFOTEXT_DEFAULT_EXT, ZOFIO_INFOTEXT_NAME}, &ok);
        c->rendererExt = texts[0];
        c->rendererName = texts[1];
      }
      c->rendererKnown = ok;
      cls->SetIOManager(nullptr);
      cls->Release();
    }
  }
  factory->Release();
}

// Report texts stay on one line.
std::string OneLine(const std::u16string& s) {
  std::string out = Utf8(s);
  for (char& ch : out)
    if (ch == '\n' || ch == '\r') ch = ' ';
  return out;
}

}  // namespace

ProbeResult ProbeModuleHere(const std::u16string& path, const std::u16string& preloads, IZoFileIOManager* manager) {
  ProbeResult r;
  ModuleHold hold;
  IClassFactory* factory = nullptr;
  r.status = OpenModule(Utf8(path), preloads, CLSID_ZoFioPluginDiscovery, &hold, &factory);
  if (FAILED(r.status)) return r;
  IZoUnsharedFIOPluginInfo* info = nullptr;
  r.status = factory->CreateInstance(nullptr, IID_IZoUnsharedFIOPluginInfo, reinterpret_cast<void**>(&info));
  factory->Release();
  if (SUCCEEDED(r.status) && !info) r.status = E_NOINTERFACE;
  if (SUCCEEDED(r.status)) r.status = info->Init(path.c_str(), 0, FALSE);
  LONG count = 0;
  if (SUCCEEDED(r.status)) r.status = info->GetFilterCount(&count);
  for (LONG i = 0; SUCCEEDED(r.status) && i < count && i < 1024; ++i) {
    ProbedClass c;
    WCHAR name[MAX_PATH] = {};
    DWORD reserved = 0;
    if (FAILED(info->GetFilterInfo(i, &c.classId, name, MAX_PATH, &c.access, &c.streamTypes, &c.flags, &c.enumerable,
                                   &reserved)))
      continue;
    name[MAX_PATH - 1] = 0;
    c.name = name;
    r.classes.push_back(std::move(c));
  }
  if (info) info->Release();
  if (manager && SUCCEEDED(r.status)) {
    auto entry = reinterpret_cast<PFN_DllGetClassObject>(::dlsym(hold.module, "DllGetClassObject"));
    for (ProbedClass& c : r.classes)
      if (entry) DescribeClass(entry, manager, &c);
  }
  hold.Release();
  return r;
}

ProbeResult ProbeModule(const tZOFIOPLUGINENTRY& e) {
  // Never in process: a module that crashes while it loads would take the
  // host with it.
  std::string problem;
  std::string helper = HelperPath(&problem);
  if (helper.empty()) return NotRun(problem, 0);
  return RunHelper(helper, e);
}

std::string FormatProbeReport(const ProbeResult& r) {
  std::string out;
  char line[128];
  std::snprintf(line, sizeof line, "status %08X\n", unsigned(r.status));
  out += line;
  for (const ProbedClass& c : r.classes) {
    std::snprintf(line, sizeof line, "class %s %u %u %u %u ", vane::platform::GuidToString(c.classId).c_str(),
                  unsigned(c.access), unsigned(c.streamTypes), unsigned(c.flags), unsigned(c.enumerable));
    out += line;
    out += OneLine(c.name) + "\n";
    if (c.readerKnown) {
      out += "reader " + vane::platform::GuidToString(c.reader) + "\n";
      out += "readerext " + OneLine(c.readerExt) + "\n";
      out += "readername " + OneLine(c.readerName) + "\n";
    }
    if (c.rendererKnown) {
      out += "renderer " + vane::platform::GuidToString(c.renderer) + "\n";
      out += "rendererext " + OneLine(c.rendererExt) + "\n";
      out += "renderername " + OneLine(c.rendererName) + "\n";
    }
  }
  out += "end\n";
  return out;
}

bool ParseProbeReport(const std::string& text, ProbeResult* out) {
  ProbeResult r;
  std::istringstream in(text);
  std::string line;
  bool haveStatus = false, ended = false;
  while (std::getline(in, line)) {
    if (ended) return false;
    if (line.rfind("status ", 0) == 0) {
      char* end = nullptr;
      unsigned long v = std::strtoul(line.c_str() + 7, &end, 16);
      if (end == line.c_str() + 7 || v > 0xFFFFFFFFul) return false;
      r.status = HRESULT(std::uint32_t(v));
      haveStatus = true;
    } else if (line.rfind("class ", 0) == 0) {
      if (!haveStatus || r.classes.size() >= 1024) return false;
      ProbedClass c;
      char guid[64] = {};
      unsigned a = 0, s = 0, f = 0, en = 0;
      int used = 0;
      if (std::sscanf(line.c_str() + 6, "%63s %u %u %u %u %n", guid, &a, &s, &f, &en, &used) < 5) return false;
      if (!vane::platform::GuidFromString(guid, &c.classId)) return false;
      c.access = a;
      c.streamTypes = s;
      c.flags = f;
      c.enumerable = en;
      size_t nameAt = 6 + size_t(used);
      if (used > 0 && nameAt <= line.size()) c.name = vane::platform::FromUtf8(line.substr(nameAt));
      r.classes.push_back(std::move(c));
    } else if (line.rfind("reader", 0) == 0 || line.rfind("renderer", 0) == 0) {
      // Facts of the class line before.
      if (r.classes.empty()) return false;
      ProbedClass& c = r.classes.back();
      size_t space = line.find(' ');
      if (space == std::string::npos) return false;
      std::string key = line.substr(0, space), value = line.substr(space + 1);
      if (key == "reader" || key == "renderer") {
        GUID g;
        if (!vane::platform::GuidFromString(value.c_str(), &g)) return false;
        if (key == "reader") {
          c.reader = g;
          c.readerKnown = true;
        } else {
          c.renderer = g;
          c.rendererKnown = true;
        }
      } else if (key == "readerext") {
        c.readerExt = vane::platform::FromUtf8(value);
      } else if (key == "readername") {
        c.readerName = vane::platform::FromUtf8(value);
      } else if (key == "rendererext") {
        c.rendererExt = vane::platform::FromUtf8(value);
      } else if (key == "renderername") {
        c.rendererName = vane::platform::FromUtf8(value);
      } else {
        return false;
      }
    } else if (line == "end") {
      ended = true;
    } else {
      return false;
    }
  }
  if (!haveStatus || !ended) return false;
  *out = std::move(r);
  return true;
}

}  // namespace vane::fileio::detail
