// SPDX-License-Identifier: MIT
#include "kernel/crash_dump.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstdio>
#include <algorithm>
#include <cstdarg>
#include <cstring>

#include "kernel/error_handler.h"

namespace {

constexpr LONG kDumpBytes = 16;
constexpr LONG kStackWords = 32;
char g_lastDump[8192];

// Copies from our own memory without faulting on an unreadable address.
bool SafeRead(const void* address, void* out, size_t bytes) {
  iovec local{out, bytes};
  iovec remote{const_cast<void*>(address), bytes};
  return ::process_vm_readv(::getpid(), &local, 1, &remote, 1, 0) == ssize_t(bytes);
}

struct Writer {
  char* out;
  LONG capacity;
  LONG used = 0;
  void Add(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    if (used >= capacity - 1) return;
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(out + used, size_t(capacity - used), format, args);
    va_end(args);
    if (n > 0) used = std::min<LONG>(capacity - 1, used + n);
  }
};

const char* CodeName(DWORD code) {
  switch (code) {
    case 0xC0000005: return "Access Violation";
    case 0xC0000006: return "In Page Error";
    case 0xC000001D: return "Illegal Instruction";
    case 0xC0000094: return "Integer Divide by Zero";
    case 0xC0000095: return "Integer Overflow";
    case 0xC000008E: return "Float Divide by Zero";
    case 0xC0000091: return "Float Overflow";
    case 0xC0000090: return "Float Invalid Operation";
    default: return "Unknown Type";
  }
}

DWORD CodeOf(const siginfo_t* info) {
  switch (info->si_signo) {
    case SIGSEGV: return 0xC0000005;
    case SIGBUS: return 0xC0000006;
    case SIGILL: return 0xC000001D;
    case SIGFPE:
      return info->si_code == FPE_INTDIV ? 0xC0000094 : info->si_code == FPE_INTOVF ? 0xC0000095
             : info->si_code == FPE_FLTDIV ? 0xC000008E : info->si_code == FPE_FLTOVF ? 0xC0000091 : 0xC0000090;
    default: return 0xE0000000u | DWORD(info->si_signo);
  }
}

}  // namespace

VANE_EXTERN_C LONG ZoErrorHandler_DumpExceptionRecord(char* out, LONG capacity, const siginfo_t* info,
                                                      const void* context) {
  if (!out || capacity <= 0) return 0;
  out[0] = 0;
  if (!info) return 0;
  Writer w{out, capacity};
  const auto* uc = static_cast<const ucontext_t*>(context);
#if defined(__x86_64__)
  const greg_t* r = uc ? uc->uc_mcontext.gregs : nullptr;
  const void* ip = r ? reinterpret_cast<const void*>(r[REG_RIP]) : nullptr;
  const void* sp = r ? reinterpret_cast<const void*>(r[REG_RSP]) : nullptr;
  const bool write = r && (r[REG_ERR] & 2);
#else
  const void* ip = nullptr;
  const void* sp = nullptr;
  const bool write = false;
#endif
  const DWORD code = CodeOf(info);
  if (code == 0xC0000005)
    w.Add("Exception 0x%X (%s) %s:0x%p IP:0x%p\r\n", unsigned(code), CodeName(code), write ? "WRITE" : "READ",
          info->si_addr, ip);
  else
    w.Add("Exception 0x%X (%s)%s IP:0x%p\r\n", unsigned(code), CodeName(code), "", ip);
  Dl_info where{};
  if (ip && ::dladdr(ip, &where) && where.dli_fname)
    w.Add("In Module '%s' at Address 0x%p + 0x%p\r\n", where.dli_fname, where.dli_fbase,
          reinterpret_cast<void*>(static_cast<const char*>(ip) - static_cast<const char*>(where.dli_fbase)));
  else
    w.Add("In Module '%s' at Address 0x%p + 0x%p\r\n", "?", nullptr, ip);
  char name[32] = "?";
  pthread_getname_np(pthread_self(), name, sizeof name);
  void* stackLow = nullptr;
  size_t stackSize = 0;
  pthread_attr_t attr;
  if (pthread_getattr_np(pthread_self(), &attr) == 0) {
    pthread_attr_getstack(&attr, &stackLow, &stackSize);
    pthread_attr_destroy(&attr);
  }
  char stack[64];
  std::snprintf(stack, sizeof stack, "0x%p-0x%p", stackLow, static_cast<void*>(static_cast<char*>(stackLow) + stackSize));
  w.Add("Thread: %s ID=0x%X Stack=%s\r\n", name, unsigned(::syscall(SYS_gettid)), stack);
#if defined(__x86_64__)
  if (r) {
    auto lo = [&](int reg) { return unsigned(DWORD(r[reg])); };
    const unsigned long long segs = (unsigned long long)r[REG_CSGSFS];
    const unsigned cs = unsigned(segs & 0xFFFF), gs = unsigned((segs >> 16) & 0xFFFF), fs = unsigned((segs >> 32) & 0xFFFF);
    w.Add("Registers:\r\n");
    w.Add(" EAX=%08x CS=%04x EIP=%08x EFLGS=%08x\r\n", lo(REG_RAX), cs, lo(REG_RIP), lo(REG_EFL));
    w.Add(" EBX=%08x SS=%04x ESP=%08x EBP=%08x\r\n", lo(REG_RBX), 0u, lo(REG_RSP), lo(REG_RBP));
    w.Add(" ECX=%08x DS=%04x ESI=%08x FS=%04x\r\n", lo(REG_RCX), 0u, lo(REG_RSI), fs);
    w.Add(" EDX=%08x ES=%04x EDI=%08x GS=%04x\r\n", lo(REG_RDX), 0u, lo(REG_RDI), gs);
  }
#endif
  w.Add("- - -\r\n");
  w.Add("Bytes at CS:EIP:\r\n");
  unsigned char bytes[kDumpBytes];
  if (ip && SafeRead(ip, bytes, sizeof bytes)) w.used += ZoErrorHandler_DumpHex(out + w.used, capacity - w.used, bytes, kDumpBytes);
  else w.Add("(cannot be read)\r\n");
  w.Add("- - -\r\n");
  w.Add("Stack Dump:\r\n");
  DWORD words[kStackWords];
  if (sp && SafeRead(sp, words, sizeof words))
    w.used += ZoErrorHandler_DumpHexDWords(out + w.used, capacity - w.used, words, kStackWords);
  else w.Add("(cannot be read)\r\n");
  return w.used;
}

VANE_EXTERN_C int ZoErrorHandler_ExceptionFilter(int, siginfo_t* info, void* context) {
  ZoErrorHandler_DumpExceptionRecord(g_lastDump, LONG(sizeof g_lastDump), info, context);
  return 1;
}

VANE_EXTERN_C const char* ZoErrorHandler_LastDump(void) { return g_lastDump; }

namespace {
void OnFatalSignal(int signal, siginfo_t* info, void* context) {
  ZoErrorHandler_ExceptionFilter(signal, info, context);
  const size_t n = std::strlen(g_lastDump);
  ssize_t ignored = ::write(STDERR_FILENO, g_lastDump, n);
  (void)ignored;
  // The default action follows: the process ends as the signal meant it to.
  std::signal(signal, SIG_DFL);
  ::raise(signal);
}
}  // namespace

VANE_EXTERN_C HRESULT ZoErrorHandler_InstallExceptionFilter(void) {
  struct sigaction action{};
  action.sa_sigaction = &OnFatalSignal;
  action.sa_flags = SA_SIGINFO | SA_RESETHAND;
  sigemptyset(&action.sa_mask);
  for (int s : {SIGSEGV, SIGBUS, SIGILL, SIGFPE})
    if (::sigaction(s, &action, nullptr) != 0) return E_FAIL;
  return S_OK;
}
