// SPDX-License-Identifier: MIT
// The formatter and number text: the documented edges, locale punctuation in
// C, German and French checked against the C library's own grouped printf,
// an explicit record, tokens, bounded buffers at every size, and hostile
// format strings.
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <locale.h>
#include <random>
#include <string>
#include <thread>

#include "kernel/kernel_strings.h"
#include "kernel/number_text.h"
#include "kernel/zoprintf.h"
#include "platform/wtext.h"

namespace {

using vane::platform::FromUtf8;
using vane::platform::ToUtf8;

std::string Print(const WCHAR* format, ...) {
  WCHAR out[4096];
  va_list args;
  va_start(args, format);
  const HRESULT hr = ZoNVPrintF(out, 4096, nullptr, format, args);
  va_end(args);
  EXPECT_EQ(hr, S_OK);
  return ToUtf8(out);
}

bool HaveLocale(const char* name) {
  locale_t l = newlocale(LC_ALL_MASK, name, locale_t(0));
  if (l) freelocale(l);
  return l != locale_t(0);
}

// Every test starts from the C record (English punctuation).
class Formatter : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ZoLang_LoadInternationals("C"), S_OK); }
  void TearDown() override { ZoLang_LoadInternationals("C"); }
};

TEST_F(Formatter, DocumentedForms) {
  EXPECT_EQ(Print(u"$(Unknown)"), "$(Unknown)");
  EXPECT_EQ(Print(u"$(1234.5)"), "1,234.5");
  EXPECT_EQ(Print(u"$(1.2x"), "$(1.2x");
  EXPECT_EQ(Print(u"%d", 1234), "1234");
  EXPECT_EQ(Print(u"$d", 1234), "1,234");
  EXPECT_EQ(Print(u"$d", -1234567), "-1,234,567");
  EXPECT_EQ(Print(u"$u", 4000000000u), "4,000,000,000");
  EXPECT_EQ(Print(u"$.2z", 12345), "123.45");
  EXPECT_EQ(Print(u"$.2z", -123456789), "-1,234,567.89");
  EXPECT_EQ(Print(u"%.2z", 123456789), "1234567.89") << "% forms never group";
  EXPECT_EQ(Print(u"$.3z", 5), "0.005");
  EXPECT_EQ(Print(u"$z", 12345), "12,345") << "no decimals is d";
  EXPECT_EQ(Print(u"$.2fKB", 1234.567), "1,234.57KB");
  EXPECT_EQ(Print(u"%.2fKB", 1234.567), "1234.57KB");
  EXPECT_EQ(Print(u"$g", 1234.5), "1234.5") << "g is not grouped";
  EXPECT_EQ(Print(u"$e", 1234.5), "1.234500e+03");
  EXPECT_EQ(Print(u"$I64d", 1234567890123LL), "1,234,567,890,123");
  EXPECT_EQ(Print(u"%I64d", -1234567890123LL), "-1234567890123");
  EXPECT_EQ(Print(u"%I64x", 0xABCDEF0123LL), "abcdef0123");
  EXPECT_EQ(Print(u"$I64u", 1234567ULL), "1234567") << "only plain d and i of 64 bits are grouped";
  EXPECT_EQ(Print(u"$6d|", 1234), "  1,234|") << "the width is the plain text's, grouping comes after";
  EXPECT_EQ(Print(u"%05d", 42), "00042");
  EXPECT_EQ(Print(u"$05d|$0100d", 42, 1234567), "42|1,234,567") << "the locale form drops zero padding";
  EXPECT_EQ(Print(u"%x %X %o", 255, 255, 8), "ff FF 10");
  EXPECT_EQ(Print(u"$$ %% $x", 255), "$ % ff");
  EXPECT_EQ(Print(u"[%s] [%-4s] [%4s] [%.2s]", u"ab", u"ab", u"ab", u"abc"), "[ab] [ab  ] [  ab] [ab]");
  EXPECT_EQ(Print(u"%hs %c%hc", "narrow", int(u'W'), int('n')), "narrow Wn");
  EXPECT_EQ(Print(u"%s", static_cast<const WCHAR*>(nullptr)), "(null)");
  EXPECT_EQ(Print(u"$* $, $: $!: $!. $!, $&: $&."), ". , : : . , . .");
  EXPECT_EQ(Print(u"50%% off, 5%"), "50% off, 5%") << "no conversion character: text stays";
  EXPECT_EQ(Print(u"$!x"), "$!x");
}

// Doubles and integers are formatted without the C library's printf; every
// flag, width and precision must still give its exact text.
TEST_F(Formatter, NumbersMatchSnprintfExactly) {
  const char* doubleForms[] = {"%f", "%.0f", "%.3f", "%.17f", "%e", "%.10e", "%E", "%g", "%.4g", "%G", "%.0g",
                               "%+08.2f", "%-12.3e|", "% g", "%012.4f", "%#.3g", "%#x", "%20.15g"};
  const char* intForms[] = {"%d", "%5d", "%-5d|", "%05d", "%+d", "% d", "%.3d", "%8.3d", "%x", "%#x", "%#o",
                            "%o", "%08X", "%u", "%.0d", "%-08x|"};
  std::mt19937_64 rng(11);
  auto randomDouble = [&rng] {
    std::uint64_t bits = rng();
    double d;
    std::memcpy(&d, &bits, sizeof d);
    switch (rng() % 4) {
      case 0: return d;                                      // any bit pattern, inf and nan included
      case 1: return double(std::int64_t(rng() % 2000001) - 1000000) / 8.0;  // exact halves and eighths
      case 2: return double(rng() % 100000) * 0.001;
      default: return std::ldexp(double(rng() % 1000), int(rng() % 200) - 100);
    }
  };
  for (int i = 0; i < 20000; ++i) {
    const double d = randomDouble();
    for (const char* form : doubleForms) {
      if (std::strchr(form, 'x')) continue;
      char want[512];
      std::snprintf(want, sizeof want, form, d);
      ASSERT_EQ(Print(FromUtf8(form).c_str(), d), want) << form << " of " << d;
    }
    const int v = int(rng());
    for (const char* form : intForms) {
      char want[64];
      std::snprintf(want, sizeof want, form, v);
      ASSERT_EQ(Print(FromUtf8(form).c_str(), v), want) << form << " of " << v;
    }
    const long long w = (long long)rng();
    char want[64];
    std::snprintf(want, sizeof want, "%lld %llx %20llu", w, w, (unsigned long long)w);
    ASSERT_EQ(Print(u"%I64d %I64x %20I64u", w, w, w), want);
  }
}

TEST_F(Formatter, NumberFamily) {
  WCHAR out[64];
  ZoFormatNumber(u"-1234567.6", out, 64);
  EXPECT_EQ(ToUtf8(out), "-1,234,568") << "no decimals, rounded";
  ZoFormatNumber(u"  999.5", out, 64);
  EXPECT_EQ(ToUtf8(out), "  1,000");
  ZoFormatGroupDecimalNumber(u"1234.5", out, 64, 3);
  EXPECT_EQ(ToUtf8(out), "1,234.500");
  ZoFormatGroupDecimalNumber(u"1234.5", out, 64, -1);
  EXPECT_EQ(ToUtf8(out), "1,234.5");
  ZoFormatDecimalNumber(u"1234.5", out, 64);
  EXPECT_EQ(ToUtf8(out), "1234.5");
  ZoFormatNumber(u"abc", out, 64);
  EXPECT_EQ(ToUtf8(out), "abc") << "text of no digits is copied";
  ZoFormatNumber(u"1234567", out, 4);
  EXPECT_EQ(ToUtf8(out), "1,2") << "cut to the capacity";
  EXPECT_EQ(ZoLongLongToText(-9223372036854775807LL - 1, out, 1), 26);
  EXPECT_EQ(ToUtf8(out), "-9,223,372,036,854,775,808");
  EXPECT_EQ(ZoDWordToTextN(123456, out, 64, 0), 6);
  ZoDoubleToText(1234.25, out, 1);
  EXPECT_EQ(ToUtf8(out), "1,234.25");
}

TEST_F(Formatter, TextToNumberTokens) {
  const WCHAR* end = nullptr;
  const WCHAR* text = u"  123abc";
  EXPECT_EQ(ZoTextToDWordToken(text, &end), 123u);
  EXPECT_EQ(end, text + 5);
  EXPECT_EQ(ZoTextToDWordToken(u"-5", nullptr), 0u) << "no sign for DWORD";
  EXPECT_EQ(ZoTextToLongToken(u"-2147483649", nullptr), LONG(-2147483647 - 1)) << "saturates";
  EXPECT_EQ(ZoTextToLongLongToken(u"+42", nullptr), 42);
  EXPECT_EQ(ZoTextToDWordLongToken(u"99999999999999999999999", nullptr), ~DWORDLONG(0));
  EXPECT_EQ(ZoHexToDWordToken(u" 0x1Fg", &end), 0x1Fu);
  EXPECT_EQ(*end, u'g');
  EXPECT_EQ(ZoHexToDWordToken(u"ff", nullptr), 0xFFu);
  EXPECT_EQ(ZoHexToDWordLongToken(u"0XFFFFFFFFFF", nullptr), 0xFFFFFFFFFFull);
  EXPECT_DOUBLE_EQ(ZoTextToDoubleToken(u" -1.5e3x", &end), -1500.0);
  EXPECT_EQ(*end, u'x');
  EXPECT_EQ(ZoTextToLongTokenEx(u"abc", 7, 0, 100, nullptr), 7) << "garbage gives the default";
  EXPECT_EQ(ZoTextToLongTokenEx(u"", 7, 1, 100, nullptr), 1) << "blank gives 0, clamped";
  EXPECT_EQ(ZoTextToLongTokenEx(u"500", 7, 0, 100, nullptr), 100);
  EXPECT_EQ(ZoTextToDWordTokenEx(u"0 ", 7, 0, 100, nullptr), 0u) << "a real zero stays";
  WCHAR out[32];
  ZoColorrefToText(0x00336699, out);
  EXPECT_EQ(ToUtf8(out), "#996633");
  EXPECT_EQ(ZoTextToColorref(out), 0x00336699u);
  EXPECT_EQ(ZoTextToColorref(u"153, 102,51"), 0x00336699u);
  EXPECT_EQ(ToUtf8(ZoFourCCToString(0x20746D66, out)), "fmt ");
}

TEST_F(Formatter, SizesAndLabels) {
  WCHAR out[64];
  auto size = [&](LONGLONG s, BOOL longWord = FALSE) {
    EXPECT_EQ(ZoFormatFileSize(s, out, 64, longWord), S_OK);
    return ToUtf8(out);
  };
  EXPECT_EQ(size(998), "998 B");
  EXPECT_EQ(size(998, TRUE), "998 bytes");
  EXPECT_EQ(size(-5), "0 B");
  EXPECT_EQ(size(1536), "1.5 KB");
  EXPECT_EQ(size(12345), "12 KB") << "12.05 truncated to one decimal shows 12.0, the lone decimal is cut";
  EXPECT_EQ(size(0xF9BFF), "999 KB");
  EXPECT_EQ(size(0xF9C00), "0.9756 MB") << "999 KB is shown in MB";
  EXPECT_EQ(size(150LL << 20), "150 MB");
  EXPECT_EQ(size(3LL << 30), "3 GB");
  EXPECT_EQ(size(5LL << 40), "5 TB");
  EXPECT_EQ(size(0x7000000000000000LL), "> 9 YB");
  EXPECT_EQ(ZoFormatFileSize(150LL << 20, out, 4, FALSE), ZOERR_BUFFER_TOO_SMALL);

  ZoGetByteSizeText(1000, out);
  EXPECT_EQ(ToUtf8(out), "1,000 bytes");
  ZoGetByteSizeText(1, out);
  EXPECT_EQ(ToUtf8(out), "1 bytes");
  ZoGetByteSizeText(2048, out);
  EXPECT_EQ(ToUtf8(out), "2.00KB");
  ZoGetByteSizeText(0xFA000, out);
  EXPECT_EQ(ToUtf8(out), "1.00MB") << "1.024e6 bytes is one MB here";
  ZoGetByteSizeTextWithSpace(0x3D090000, out);
  EXPECT_EQ(ToUtf8(out), "1.00 GB") << "1.024e9 bytes is one GB here";

  EXPECT_EQ(ToUtf8(ZoGetLabeledStringFixed(-1234, 1, 0, u" dB")), "-123.4 dB");
  EXPECT_EQ(ToUtf8(ZoGetdBStringFixed(-1000, 1, -1000, TRUE)), "-Inf.");
  EXPECT_EQ(ToUtf8(ZoGetdBStringFloat(-3.0103f, 2, -100.0f, TRUE)), "-3.01 dB");
  EXPECT_EQ(ToUtf8(ZoGetdBStringFloat(-3.0103f, 2, -100.0f, FALSE)), "-3.01");
  EXPECT_EQ(ToUtf8(ZoGetLabeledStringFixed(1234567, 0, 0, u" a label too long to fit")), "1,234,567")
      << "a label that does not fit is left off";
}

// The texts of labels and sizes come through the kernel's string source, so
// a language module translates them.
TEST_F(Formatter, LabelAndSizeTextsFollowTheLanguage) {
  struct German {
    static HRESULT Open(void** handle, HMODULE) {
      *handle = reinterpret_cast<void*>(1);
      return S_OK;
    }
    static const WCHAR* Get(void*, UINT id) {
      switch (id) {
        case vane::kernel::kStrMinusInfinity: return u"-Unendl.";
        case vane::kernel::kStrSizeBytesLong: return u"%1 Byte";
        case vane::kernel::kStrSmpteLabel: return u"St%sMi%sSe%sBi";
        default: return nullptr;
      }
    }
    static void Close(void*) {}
  };
  static const vane::kernel::KernelStringSource source{&German::Open, &German::Get, &German::Close};
  vane::kernel::SetKernelStringSource(&source);
  ASSERT_EQ(vane::kernel::OpenKernelStrings(nullptr), S_OK);
  ZoLang_LoadInternationals("C");  // the tokens are composed again
  WCHAR out[32];
  EXPECT_EQ(ToUtf8(ZoGetdBStringFixed(-100, 0, -100, TRUE)), "-Unendl.");
  ZoFormatFileSize(5, out, 32, TRUE);
  EXPECT_EQ(ToUtf8(out), "5 Byte");
  ZoFormatFileSize(5, out, 32, FALSE);
  EXPECT_EQ(ToUtf8(out), "5 B") << "a text the module lacks stays English";
  EXPECT_EQ(Print(u"$(SMPTE.Label.Drop)"), "St:Mi:Se,Bi");
  vane::kernel::SetKernelStringSource(nullptr);
  ZoLang_LoadInternationals("C");
  EXPECT_EQ(ToUtf8(ZoGetdBStringFixed(-100, 0, -100, TRUE)), "-Inf.");
}

TEST_F(Formatter, ComposeAndHelpers) {
  WCHAR out[64];
  EXPECT_EQ(ZoComposeStr(out, 64, u"%2 of %1%%", u"ten", u"two"), S_OK);
  EXPECT_EQ(ToUtf8(out), "two of ten%");
  EXPECT_EQ(ZoComposeStr(out, 5, u"%1", u"abcdef"), ZOERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(ToUtf8(out), "abcd");
  WCHAR name[] = u"  a:b*c?  ";
  EXPECT_EQ(ZoPrepareName(name), 6);
  EXPECT_EQ(ToUtf8(name), "a_b_c_");
  ZoFixNameForMenu(u"R&B", out, 64);
  EXPECT_EQ(ToUtf8(out), "R&&B");
  char narrow[] = "a.b.c";
  EXPECT_EQ(ZoStringReplaceChars(narrow, '.', '_'), 2);
}

// The C library's grouped printf ("%'.2f") under the same locale is the oracle.
class LocalePunctuation : public ::testing::TestWithParam<const char*> {};

TEST_P(LocalePunctuation, GroupedNumbersMatchTheCLibrary) {
  const char* name = GetParam();
  if (!HaveLocale(name)) GTEST_SKIP() << name << " is not installed";
  ASSERT_EQ(ZoLang_LoadInternationals(name), S_OK);
  locale_t l = newlocale(LC_ALL_MASK, name, locale_t(0));
  locale_t old = uselocale(l);
  std::mt19937_64 rng(7);
  for (int i = 0; i < 2000; ++i) {
    const int value = int(rng() >> 33) * (i % 2 ? 1 : -1);
    const double real = double(rng() % 100000000000ULL) / 1000.0;
    char expected[128];
    std::snprintf(expected, sizeof expected, "%'d|%'.2f|%.3f", value, real, real);
    uselocale(old);
    const std::string got = Print(u"$d|$.2f|%.3f", value, real, real);
    uselocale(l);
    // %.3f is locale-free in our formatter: the C library's locale decimal comes back to '.'.
    std::string want = expected;
    const size_t bar = want.rfind('|');
    for (size_t k = bar; k < want.size(); ++k)
      if (want[k] == ',') want[k] = '.';
    ASSERT_EQ(got, want) << name;
  }
  uselocale(old);
  freelocale(l);
  WCHAR text[16];
  ZoGetInatN(24, text, 16);
  EXPECT_EQ(ToUtf8(text), ",");
  ZoGetInatN(40, text, 16);
  EXPECT_EQ(ToUtf8(text), ";") << "a comma decimal takes ';' for lists";
  ZoLang_LoadInternationals("C");
}

INSTANTIATE_TEST_SUITE_P(Locales, LocalePunctuation, ::testing::Values("de_DE.UTF-8", "fr_FR.UTF-8"));

TEST_F(Formatter, ExplicitRecordDrivesEveryLocaleForm) {
  tZOINTERNATIONALS r{};
  ZoLang_GetInternationals(&r, sizeof r);
  EXPECT_EQ(r.cbSize, sizeof r);
  std::memcpy(r.thousand, u"'", 4);
  std::memcpy(r.grouping, u"3;2;0", 12);
  std::memcpy(r.decimal, u"\u00B7", 4);
  std::memcpy(r.time, u"h", 4);
  ASSERT_EQ(ZoLang_SetInternationals(&r), S_OK);
  EXPECT_EQ(Print(u"$d", 123456789), "12'34'56'789");
  EXPECT_EQ(Print(u"$.1f", 1234.5), "1'234\u00B75");
  EXPECT_EQ(Print(u"%d %.1f", 123456789, 1234.5), "123456789 1234.5");
  EXPECT_EQ(Print(u"%02u$:%02u", 5u, 7u), "05h07");
  r.cbSize = 12;
  EXPECT_EQ(ZoLang_SetInternationals(&r), E_INVALIDARG);
}

TEST_F(Formatter, TokensAreFoundWithoutCaseAndEchoedWhenMissing) {
  EXPECT_EQ(Print(u"$(SMPTE.Whole)$(SMPTE.NonDrop)$(SMPTE.Drop)"), ":.,");
  EXPECT_EQ(Print(u"$(SMPTE.Label.NonDrop) $(SMPTE.Label.Drop)"), "hr:mn:sc.fr hr:mn:sc,fr");
  EXPECT_EQ(Print(u"$(SMPTE.Label.Drop.Full)"), "hours:minutes:seconds,frames");
  EXPECT_EQ(Print(u"$(MusicTime.First)$(MusicTime.Second) $(MusicTime.Label) $(MusicTime.Label.Full)"),
            ".. mm.bb.ttt measures.beats.ticks");
  ASSERT_TRUE(ZoPrintF_AddToken(u"AppName", u"Vane"));
  EXPECT_EQ(Print(u"Welcome to $(appname)!"), "Welcome to Vane!");
  ASSERT_TRUE(ZoPrintF_AddToken(u"APPNAME", u"Vane 2"));
  EXPECT_EQ(Print(u"$(AppName)"), "Vane 2") << "a second add replaces";
  EXPECT_EQ(Print(u"$(AppName"), "$(AppName") << "unterminated: as it stands";
  EXPECT_TRUE(ZoPrintF_DeleteToken(u"appName"));
  EXPECT_FALSE(ZoPrintF_DeleteToken(u"AppName"));
  EXPECT_EQ(Print(u"$(AppName)"), "$(AppName)");
  const std::u16string longName(300, u'n');
  EXPECT_FALSE(ZoPrintF_AddToken(longName.c_str(), u"x"));
  const std::u16string format = u"$(" + longName + u")";
  EXPECT_EQ(Print(format.c_str()), ToUtf8(format));
}

TEST_F(Formatter, BoundedFormsNeverWritePastTheEnd) {
  WCHAR out[8];
  EXPECT_EQ(ZoCchPrintF(out, 4, u"abcdef"), ZOERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(ToUtf8(out), "abc");
  EXPECT_EQ(ZoCchPrintF(out, 7, u"abcdef"), S_OK);
  EXPECT_EQ(ZoCchPrintF(out, 6, u"abcdef"), ZOERR_BUFFER_TOO_SMALL);
  out[0] = u'#';
  EXPECT_EQ(ZoCchPrintF(out, 0, u"abc"), ZOERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(out[0], u'#') << "zero capacity writes nothing";
  // Every capacity of a mixed format: a prefix of the whole text, a
  // terminator inside the room, and the guard beyond it untouched.
  const WCHAR* format = u"$(SMPTE.Whole)%s=$d $.2f [%-6s] %I64d$:%02u";
  WCHAR whole[256];
  const int length = ZoPrintF(whole, format, u"x", 1234567, 9876.5, u"ab", -5LL, 7u);
  const std::u16string full(whole);
  ASSERT_EQ(size_t(length), full.size());
  for (size_t capacity = 0; capacity <= full.size() + 2; ++capacity) {
    std::u16string buffer(capacity + 4, u'#');
    size_t written = 99;
    const HRESULT hr = [&] {
      va_list none{};
      (void)none;
      return ZoCchPrintF(buffer.data(), capacity, format, u"x", 1234567, 9876.5, u"ab", -5LL, 7u);
    }();
    EXPECT_EQ(hr, capacity > full.size() ? S_OK : ZOERR_BUFFER_TOO_SMALL) << capacity;
    for (size_t k = capacity; k < buffer.size(); ++k) ASSERT_EQ(buffer[k], u'#') << "wrote past " << capacity;
    if (capacity > 0) {
      const std::u16string got(buffer.c_str());
      EXPECT_EQ(got, full.substr(0, std::min(full.size(), capacity - 1)));
    }
    (void)written;
  }
}

TEST_F(Formatter, HostileFormatsAreBoundedAndDoNotCrash) {
  WCHAR out[64];
  EXPECT_EQ(ZoCchPrintF(out, 64, u"%999999999999d", 5), ZOERR_BUFFER_TOO_SMALL) << "width is capped, still long";
  EXPECT_EQ(ZoCchPrintF(out, 64, u"%.99999999f", 1.0), ZOERR_BUFFER_TOO_SMALL);
  const std::u16string longSpec = u"%" + std::u16string(400, u'9') + u"d";
  EXPECT_EQ(ZoCchPrintF(out, 64, longSpec.c_str(), 5), ZOERR_BUFFER_TOO_SMALL);
  for (const WCHAR* f : {u"%", u"$", u"$(", u"$(-", u"%I6", u"%lll", u"$!", u"$&", u"%qd", u"%.2.3f"}) {
    EXPECT_NO_FATAL_FAILURE(ZoCchPrintF(out, 64, f, 1, 2, 3)) << ToUtf8(f);
  }
  EXPECT_EQ(Print(u"%qd", 5), "%qd") << "an unknown size is written back and takes no argument";
}

TEST_F(Formatter, TokensChangeWhileOtherThreadsFormat) {
  std::thread writer([] {
    for (int i = 0; i < 2000; ++i) {
      ZoPrintF_AddToken(u"Busy", i % 2 ? u"odd" : u"even");
      if (i % 7 == 0) ZoPrintF_DeleteToken(u"Busy");
    }
  });
  for (int i = 0; i < 2000; ++i) {
    const std::string text = Print(u"$(Busy)");
    ASSERT_TRUE(text == "odd" || text == "even" || text == "$(Busy)") << text;
  }
  writer.join();
  ZoPrintF_DeleteToken(u"Busy");
}

}  // namespace
