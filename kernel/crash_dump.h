// SPDX-License-Identifier: MIT
// Crash dumps: the text the error handler writes about a fatal signal (the
// platform's form of a structured exception): the exception code the signal
// stands for, the faulting module and offset, the thread and its stack, the
// registers, the bytes at the instruction pointer and the top of the stack.
// The register lines keep their 32-bit names and show the low halves of the
// 64-bit registers.
#pragma once

#include <csignal>

#include "platform/export.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
// Writes the dump of a signal (its siginfo and ucontext) into out; the
// characters written. Memory is read without trusting it: an address that
// cannot be read shows as missing, never faults again.
VANE_EXPORT LONG ZoErrorHandler_DumpExceptionRecord(char* out, LONG capacity, const siginfo_t* info,
                                                    const void* context);
// Records the dump of a signal and asks for the search to go on (1): the
// caller's own handling, or the default action, follows.
VANE_EXPORT int ZoErrorHandler_ExceptionFilter(int signal, siginfo_t* info, void* context);
// The last recorded dump (empty before one).
VANE_EXPORT const char* ZoErrorHandler_LastDump(void);
// Installs the filter for SIGSEGV, SIGBUS, SIGILL and SIGFPE: the dump goes
// to standard error, then the signal ends the process as it would have.
VANE_EXPORT HRESULT ZoErrorHandler_InstallExceptionFilter(void);
VANE_END_EXTERN_C
