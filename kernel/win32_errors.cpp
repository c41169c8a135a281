// SPDX-License-Identifier: MIT
#include "kernel/win32_errors.h"

#include <iterator>

namespace vane::kernel {
namespace {

constexpr HRESULT W(DWORD code) { return HRESULT_FROM_WIN32(code); }

// The numbers the platform layer maps errno to, the ones it sets itself,
// and the internet transfer's; texts a person reads in `vane status`.
constexpr Win32Row kRows[] = {
    {1, W(1), u"The function is not supported here."},
    {2, W(2), u"The file does not exist."},
    {3, W(3), u"The folder of the path does not exist."},
    {4, W(4), u"Too many files are open."},
    {5, W(5), u"Access is denied."},
    {6, W(6), u"The handle is not valid."},
    {8, W(8), u"There is not enough memory for this operation."},
    {14, W(14), u"There is not enough memory to complete this operation."},
    {17, W(17), u"The file cannot be moved to another device."},
    {19, W(19), u"The medium is write-protected (a read-only file system)."},
    {31, W(31), u"A device attached to the system is not working."},
    {32, W(32), u"The file is in use by another process."},
    {33, W(33), u"Another process has locked a portion of the file."},
    {38, W(38), u"The end of the file was reached."},
    {50, W(50), u"The request is not supported."},
    {80, W(80), u"The file exists."},
    {87, W(87), u"A parameter is not valid."},
    {109, W(109), u"The pipe has been ended."},
    {112, MakeStatus(0x8004E002), u"There is not enough space on the disk."},
    {122, W(122), u"The buffer is too small for the data."},
    {123, W(123), u"The file name or folder name is not valid."},
    {126, W(126), u"The module (shared library) could not be found or loaded."},
    {127, W(127), u"The module does not export the requested function."},
    {131, W(131), u"A seek to a position before the start of the file was asked for."},
    {132, W(132), u"The device or pipe cannot seek."},
    {145, W(145), u"The folder is not empty."},
    {158, W(158), u"The segment is already unlocked."},
    {183, W(183), u"The file or object already exists."},
    {193, W(193), u"The module is not a valid shared library for this system."},
    {206, W(206), u"The file name or extension is too long."},
    {223, W(223), u"The file is too large for the file system."},
    {234, W(234), u"More data is available."},
    {259, W(259), u"No more items are available."},
    {267, W(267), u"The name is not a folder."},
    {288, W(288), u"The calling thread does not own the mutex."},
    {487, W(487), u"The address is not valid."},
    {534, W(534), u"A value is too large for its type (arithmetic overflow)."},
    {995, MakeStatus(0x8004E00C), u"The operation was stopped (interrupted or cancelled)."},
    {997, W(997), u"The operation is under way."},
    {998, W(998), u"A memory address given is not accessible."},
    {1006, W(1006), u"The file is empty or has been changed so that it cannot be used."},
    {1009, W(1009), u"The settings store is damaged."},
    {1011, W(1011), u"The settings store could not be opened."},
    {1013, W(1013), u"The settings store could not be written."},
    {1113, W(1113), u"A character has no mapping in the target code page."},
    {1117, W(1117), u"The request failed because of an input/output error of the device."},
    {1460, W(1460), u"The operation timed out."},
    {1921, W(1921), u"The name of the file cannot be resolved (too many symbolic links)."},
    {12002, MakeStatus(0x8004E02C), u"The internet request timed out."},
    {12003, W(12003), u"The server refused the request (see its reply)."},
    {12004, W(12004), u"An internal error of the internet transfer occurred."},
    {12005, W(12005), u"The URL is not valid."},
    {12006, W(12006), u"The URL's scheme is not supported (use http, https or ftp)."},
    {12007, W(12007), u"The server name could not be resolved."},
    {12014, W(12014), u"The server refused the login: the user name or password is wrong."},
    {12017, W(12017), u"The internet request was cancelled."},
    {12029, W(12029), u"A connection to the server could not be made."},
    {12030, W(12030), u"The connection to the server was closed during the transfer."},
};

}  // namespace

const Win32Row* Win32Rows(size_t* count) {
  if (count) *count = std::size(kRows);
  return kRows;
}

}  // namespace vane::kernel

VANE_EXTERN_C const WCHAR* ZoWin32_FindText(DWORD code) {
  size_t n = 0;
  const vane::kernel::Win32Row* rows = vane::kernel::Win32Rows(&n);
  for (size_t i = 0; i < n; ++i)
    if (rows[i].code == code && rows[i].text) return rows[i].text;
  return nullptr;
}
