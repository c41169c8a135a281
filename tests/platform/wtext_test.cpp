// SPDX-License-Identifier: MIT
#include "platform/wtext.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <string>

#include "platform/file.h"

using vane::platform::FromCodePage;
using vane::platform::FromUtf8;
using vane::platform::ToCodePage;
using vane::platform::ToUtf8;

namespace {

std::u16string Decode(UINT cp, const std::string& bytes, DWORD flags = 0) {
  const int n = MultiByteToWideChar(cp, flags, bytes.data(), int(bytes.size()), nullptr, 0);
  std::u16string out(size_t(n), u'\0');
  if (n > 0) {
    EXPECT_EQ(MultiByteToWideChar(cp, flags, bytes.data(), int(bytes.size()), out.data(), n), n);
  }
  return out;
}

std::string Encode(UINT cp, const std::u16string& text, const char* defaultChar = nullptr, BOOL* used = nullptr) {
  const int n = WideCharToMultiByte(cp, 0, text.data(), int(text.size()), nullptr, 0, defaultChar, used);
  std::string out(size_t(n), '\0');
  if (n > 0) {
    EXPECT_EQ(WideCharToMultiByte(cp, 0, text.data(), int(text.size()), out.data(), n, defaultChar, used), n);
  }
  return out;
}

}  // namespace

TEST(Utf8, AstralCharacterRoundTripsAsSurrogatePair) {
  const std::string utf8 = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xB5";  // a é € 🎵
  const std::u16string wide = Decode(CP_UTF8, utf8);
  EXPECT_EQ(wide, (std::u16string{u'a', 0xE9, 0x20AC, 0xD83C, 0xDFB5}));
  EXPECT_EQ(Encode(CP_UTF8, wide), utf8);
  EXPECT_EQ(ToUtf8(FromUtf8(utf8)), utf8);
}

struct InvalidUtf8Case {
  const char* bytes;
  std::u16string expected;
};
void PrintTo(const InvalidUtf8Case& c, std::ostream* os) {
  *os << "bytes";
  for (const char* p = c.bytes; *p; ++p) *os << ' ' << std::hex << std::uppercase << (unsigned(BYTE(*p))) << std::dec;
}

class InvalidUtf8 : public testing::TestWithParam<InvalidUtf8Case> {};

// One U+FFFD per maximal invalid subsequence; the byte that breaks a
// sequence starts afresh.
TEST_P(InvalidUtf8, BecomesOneReplacementPerMaximalSubpart) {
  EXPECT_EQ(FromUtf8(GetParam().bytes), GetParam().expected);
  SetLastError(0);
  const std::string bytes = GetParam().bytes;
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), int(bytes.size()), nullptr, 0), 0);
  EXPECT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, InvalidUtf8,
    testing::Values(InvalidUtf8Case{"\xC0\xAF", u"\uFFFD\uFFFD"},              // overlong lead
                    InvalidUtf8Case{"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},      // overlong 3-byte
                    InvalidUtf8Case{"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},      // encoded surrogate
                    InvalidUtf8Case{"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
                    InvalidUtf8Case{"x\xE2\x82", u"x\uFFFD"},                   // truncated at the end
                    InvalidUtf8Case{"\xF0\x9F\x8E" "A", u"\uFFFDA"},            // cut by ASCII
                    InvalidUtf8Case{"a\xFF" "b\x80", u"a\uFFFDb\uFFFD"}));

TEST(Utf8, UnpairedSurrogatesBecomeReplacementOrFailOnRequest) {
  const std::u16string text{u'a', 0xDC00, 0xD800, u'b', 0xD800};
  EXPECT_EQ(ToUtf8(text), "a\xEF\xBF\xBD\xEF\xBF\xBD" "b\xEF\xBF\xBD");
  SetLastError(0);
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), int(text.size()), nullptr, 0, nullptr,
                                nullptr),
            0);
  EXPECT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
}

TEST(Cp1252, EveryByteRoundTripsIncludingTheUndefinedFive) {
  std::string all;
  for (int b = 1; b < 256; ++b) all.push_back(char(b));
  const std::u16string wide = Decode(CP_1252, all);
  ASSERT_EQ(wide.size(), all.size());
  EXPECT_EQ(wide[0x80 - 1], 0x20AC);
  EXPECT_EQ(wide[0x9F - 1], 0x0178);
  EXPECT_EQ(wide[0x92 - 1], 0x2019);
  for (int b : {0x81, 0x8D, 0x8F, 0x90, 0x9D}) EXPECT_EQ(wide[size_t(b - 1)], char16_t(b));
  BOOL used = TRUE;
  EXPECT_EQ(Encode(CP_1252, wide, nullptr, &used), all);
  EXPECT_FALSE(used);
}

TEST(Cp1252, MissingCharactersUseTheDefaultCharacter) {
  BOOL used = FALSE;
  EXPECT_EQ(Encode(CP_1252, u"A\u0100\u0085", nullptr, &used), "A??");
  EXPECT_TRUE(used);
  // A surrogate pair is one character.
  EXPECT_EQ(Encode(CP_1252, u"\U0001F3B5", "#"), "#");
}

TEST(Latin1, MapsBytesToTheSameCodePoints) {
  const std::string bytes = "\x80\x9F\xFF";
  EXPECT_EQ(FromCodePage(bytes, CP_LATIN1), (std::u16string{0x80, 0x9F, 0xFF}));
  EXPECT_EQ(ToCodePage(u"\u20AC\u00E9", CP_LATIN1), "?\xE9");
}

TEST(AnsiCodePage, FollowsTheSetCodePage) {
  EXPECT_EQ(GetACP(), CP_1252);
  EXPECT_EQ(FromCodePage("\x80", CP_ACP), u"\u20AC");
  ZoSetACP(CP_UTF8);
  EXPECT_EQ(FromCodePage("\xE2\x82\xAC", CP_ACP), u"\u20AC");
  ZoSetACP(CP_ACP);
  EXPECT_EQ(GetACP(), CP_1252);
}

TEST(Conversion, SizeQueriesTerminatorsAndBadArguments) {
  // -1 counts the terminator.
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", -1, nullptr, 0), 4);
  WCHAR small[2];
  SetLastError(0);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", -1, small, 2), 0);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  SetLastError(0);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", 0, nullptr, 0), 0);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, nullptr, 3, nullptr, 0), 0);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", -2, nullptr, 0), 0);
  EXPECT_EQ(MultiByteToWideChar(932, 0, "abc", 3, nullptr, 0), 0);
  // UTF-8 has no default character.
  BOOL used;
  SetLastError(0);
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a", 1, nullptr, 0, nullptr, &used), 0);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(WideText, CompareIsUnsignedAndCaseFoldingCoversLatin1) {
  EXPECT_GT(ZoWcsCmp(u"\uFFFF", u"a"), 0);
  EXPECT_EQ(ZoWcsCmp(nullptr, u""), 0);
  EXPECT_EQ(ZoWcsICmp(u"\u00C4bC\u00FF", u"\u00E4Bc\u0178"), 0);
  EXPECT_NE(ZoWcsICmp(u"\u00D7", u"\u00F7"), 0);  // × and ÷ are no case pair
  EXPECT_LT(ZoWcsICmp(u"abc", u"ABD"), 0);
  EXPECT_EQ(ZoWcsNICmp(u"WAVEfmt", u"wave", 4), 0);
}

TEST(WideText, CopyTruncatesAndAlwaysTerminates) {
  WCHAR buf[4] = {1, 1, 1, 1};
  EXPECT_EQ(ZoWcsCopy(buf, 4, u"abcdef"), 3u);
  EXPECT_EQ(std::u16string(buf), u"abc");
  EXPECT_EQ(ZoWcsCopy(buf, 4, nullptr), 0u);
  EXPECT_EQ(buf[0], 0);
  EXPECT_EQ(ZoWcsCopy(buf, 0, u"x"), 0u);
}

TEST(Bstr, KeepsEmbeddedNulsAndLengthPrefix) {
  const WCHAR text[] = {u'a', 0, u'b'};
  BSTR s = SysAllocStringLen(text, 3);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(SysStringLen(s), 3u);
  EXPECT_EQ(SysStringByteLen(s), 6u);
  std::uint32_t prefix;
  std::memcpy(&prefix, reinterpret_cast<char*>(s) - 4, 4);
  EXPECT_EQ(prefix, 6u);
  EXPECT_EQ(s[3], 0);
  // Reallocating from its own text must not read freed memory.
  ASSERT_TRUE(SysReAllocString(&s, s + 2));
  EXPECT_EQ(std::u16string_view(s, SysStringLen(s)), u"b");
  SysFreeString(s);
  BSTR odd = SysAllocStringByteLen("abc", 3);
  EXPECT_EQ(SysStringByteLen(odd), 3u);
  EXPECT_EQ(SysStringLen(odd), 1u);
  SysFreeString(odd);
  EXPECT_EQ(SysAllocString(nullptr), nullptr);
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  SysFreeString(nullptr);
}
