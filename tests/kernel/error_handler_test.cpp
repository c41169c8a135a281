// SPDX-License-Identifier: MIT
// The error handler: every known status and Win32 number has a text, the
// details record keeps to its owner thread, tables are bounded, translations
// follow their tables, and boxes go through the host's handler.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

#include "kernel/error_handler.h"
#include "kernel/message_box.h"
#include "kernel/status_table.h"
#include "kernel/win32_errors.h"
#include "platform/sync.h"

namespace {

TEST(ErrorHandler, EveryStatusAndWin32RowHasAText) {
  for (const auto& row : vane::kernel::BuiltInStatusRows()) {
    const WCHAR* text = ZoErrorHandler_GetHresultString(row.status);
    ASSERT_NE(text, nullptr);
    EXPECT_NE(std::u16string(text).find_first_not_of(u"\r\n"), std::u16string::npos) << std::hex << row.status;
  }
  size_t n = 0;
  const vane::kernel::Win32Row* rows = vane::kernel::Win32Rows(&n);
  for (size_t i = 0; i < n; ++i) {
    const WCHAR* text = ZoErrorHandler_GetHresultString(HRESULT_FROM_WIN32(rows[i].code));
    ASSERT_NE(text, nullptr) << rows[i].code;
    EXPECT_FALSE(std::u16string(text).empty());
  }
  EXPECT_EQ(std::u16string(ZoErrorHandler_GetHresultString(HRESULT_FROM_WIN32(2))), u"The file does not exist.");
  EXPECT_EQ(ZoErrorHandler_GetHresultString(MakeStatus(0x12345678)), nullptr);
  BSTR generic = ZoErrorHandler_GetErrorMessage(MakeStatus(0x12345678));
  EXPECT_NE(std::u16string(generic).find(u"0x12345678"), std::u16string::npos);
  SysFreeString(generic);
}

TEST(ErrorHandler, DetailsBelongToTheThreadThatBeganThem) {
  ASSERT_EQ(ZoErrorHandler_DetailsInit(), S_OK);
  EXPECT_EQ(ZoErrorHandler_DetailsInfo(nullptr, nullptr, nullptr), nullptr) << "empty details give null";
  const HRESULT failure = MakeStatus(0x8004E008);
  ASSERT_EQ(ZoErrorHandler_DetailsAddString(failure, u"reading %s at %I64d: %5X|%-3d|%c%%", u"take.wav", 1LL << 40, 0xAB, 7, 'z'),
            S_OK);
  HRESULT other = S_OK;
  std::thread([&] { other = ZoErrorHandler_DetailsAddString(E_OUTOFMEMORY, u"not mine"); }).join();
  EXPECT_EQ(other, E_FAIL);
  std::thread([&] { other = ZoErrorHandler_DetailsAddString(failure, u"; same failure"); }).join();
  EXPECT_EQ(other, S_OK);
  EXPECT_EQ(ZoErrorHandler_DetailsAddString(failure, nullptr), E_POINTER);
  HRESULT error = S_OK;
  DWORD length = 0, thread = 0;
  const std::u16string text = ZoErrorHandler_DetailsInfo(&error, &length, &thread);
  EXPECT_EQ(text, u"reading take.wav at 1099511627776:    AB|7  |z%; same failure");
  EXPECT_EQ(error, failure);
  EXPECT_EQ(length, text.size());
  EXPECT_EQ(thread, GetCurrentThreadId());
  EXPECT_EQ(ZoErrorHandler_GetLastError(), failure);
  EXPECT_EQ(ZoErrorHandler_DetailsSetHyperlink(nullptr, u"x"), E_POINTER);

  BSTR composed = ZoErrorHandler_ComposeErrorText(u"Opening take.wav", HRESULT_FROM_WIN32(5), u"mode 0444");
  EXPECT_EQ(std::u16string(composed),
            u"Opening take.wav\r\n\r\nAccess is denied.  Make sure this file is not read only or in use by another "
            u"application.\r\n<Details>\r\nmode 0444\r\n</Details>");
  SysFreeString(composed);
  ZoErrorHandler_DetailsInit();
}

TEST(ErrorHandler, TranslationsFollowTheirTables) {
  EXPECT_EQ(ZoErrorHandler_TranslateCommDlgError(0), S_OK);
  for (DWORD code : {1u, 3u, 4u, 11u, 12289u, 12291u, 16385u, 65535u})
    EXPECT_EQ(ZoErrorHandler_TranslateCommDlgError(code), E_INVALIDARG) << code;
  EXPECT_EQ(ZoErrorHandler_TranslateCommDlgError(6), MakeStatus(0x8004E00E));
  EXPECT_EQ(ZoErrorHandler_TranslateCommDlgError(12290), MakeStatus(0x8004E00D));
  for (DWORD code : {2u, 5u, 7u, 8u, 9u, 10u}) EXPECT_EQ(ZoErrorHandler_TranslateCommDlgError(code), E_OUTOFMEMORY);
  EXPECT_EQ(ZoErrorHandler_TranslateCommDlgError(77), E_FAIL);
  EXPECT_EQ(ZoErrorHandler_TranslateWin32Error(2), HRESULT_FROM_WIN32(2));
  EXPECT_EQ(ZoErrorHandler_TranslateWin32Error(112), MakeStatus(0x8004E002)) << "disk full is the library's own";
  EXPECT_EQ(ZoErrorHandler_TranslateWin32Error(4242), E_FAIL);
}

TEST(ErrorHandler, AddedTablesComeFirstAndAreBounded) {
  static const ZOERRORTABLEROW rows[] = {{MakeStatus(0x8004E008), 7}};
  auto lookup = [](void*, UINT id) -> const WCHAR* { return id == 7 ? u"Our own text." : nullptr; };
  ASSERT_EQ(ZoErrorHandler_AddErrorTable(rows, 1, nullptr, lookup), S_OK);
  EXPECT_EQ(std::u16string(ZoErrorHandler_GetHresultString(MakeStatus(0x8004E008))), u"Our own text.");
  HRESULT hr = S_OK;
  for (int i = 1; i < 40 && hr == S_OK; ++i) hr = ZoErrorHandler_AddErrorTable(rows, 1, nullptr, lookup);
  EXPECT_EQ(hr, MakeStatus(1)) << "a thirty-third table is refused";
}

TEST(ErrorHandler, BoxesGoThroughTheHandlerExceptForCancel) {
  static int shown = 0;
  static std::u16string last;
  ZoKernel_SetMessageBoxHandler(
      [](HWND, LPCWSTR text, LPCWSTR, UINT, void*) {
        ++shown;
        last = text;
        return 1;
      },
      nullptr);
  EXPECT_EQ(ZoErrorHandler_MsgBox(nullptr, 0, u"ctx", MakeStatus(0x8004E00C), nullptr, 0), 1);
  EXPECT_EQ(shown, 0) << "a cancel shows nothing";
  ZoErrorHandler_MsgBox(nullptr, 0, u"Saving", HRESULT_FROM_WIN32(112), nullptr, 0);
  EXPECT_EQ(shown, 1);
  EXPECT_NE(last.find(u"There is not enough space on the disk."), std::u16string::npos);
  ZoKernel_SetMessageBoxHandler(nullptr, nullptr);
}

TEST(ErrorHandler, HexDumpsStayInsideTheirBuffer) {
  unsigned char bytes[40];
  for (int i = 0; i < 40; ++i) bytes[i] = static_cast<unsigned char>(i);
  char out[64];
  std::memset(out, 'x', sizeof out);
  const LONG n = ZoErrorHandler_DumpHex(out, 60, bytes, 40);
  EXPECT_LT(n, 60);
  EXPECT_EQ(std::string(out, 8), "0000: 00");
  EXPECT_EQ(out[63], 'x');
  char words[200];
  ZoErrorHandler_DumpHexDWords(words, sizeof words, bytes, 4);
  EXPECT_EQ(std::string(words), "0000: 03020100 07060504 0B0A0908 0F0E0D0C\r\n");
}

}  // namespace
