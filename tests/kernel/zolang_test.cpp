// SPDX-License-Identifier: MIT
// The language layer: LCIDs folded onto the table's rows, lookups by record
// and by number in two languages with English behind them, language modules
// built from a catalogue and refused when damaged, the temporary ring, and
// the user's language kept in the metrics.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kernel/error_handler.h"
#include "kernel/kernel_strings.h"
#include "kernel/lang_module.h"
#include "kernel/status_table.h"
#include "kernel/zolang.h"
#include "platform/wtext.h"
#include "tests/support/test_files.h"

namespace {

using vane::kernel::LangModule;
using vane::test::ScratchDir;
using vane::test::WriteBytes;

struct Lang {
  HZOLANG h = nullptr;
  explicit Lang(DWORD lcid = 0, DWORD capacity = 0) { EXPECT_EQ(ZoLang_Open(&h, nullptr, lcid, capacity), S_OK); }
  ~Lang() { ZoLang_Close(&h); }
};

TEST(LangLcid, RegionalVariantsFoldOntoTheTableRows) {
  EXPECT_EQ(ZoLang_GetConditionedLCID(0x0C04), 0x404u);  // Hong Kong: traditional Chinese
  EXPECT_EQ(ZoLang_GetConditionedLCID(0x1004), 0x804u);  // Singapore: simplified
  EXPECT_EQ(ZoLang_GetConditionedLCID(0x0816), 0x816u);  // Portuguese keeps its region
  EXPECT_EQ(ZoLang_GetConditionedLCID(0x0809), 0x409u);  // British English
  EXPECT_EQ(ZoLang_IndexOfLCID(0x0C07), 3);              // Austrian German is German
  EXPECT_EQ(ZoLang_IndexOfLCID(0x0401), 1);              // Arabic is not in the table: English
  EXPECT_TRUE(ZoLang_IsLCIDEnglish(0x0C09));
  EXPECT_FALSE(ZoLang_IsLCIDEnglish(0x0411));
}

TEST(LangHandle, OpenRulesNamesAndLanguageCodes) {
  Lang lang(0x411, 100);
  HZOLANG again = lang.h;
  EXPECT_EQ(ZoLang_Open(&again, nullptr, 0, 0), ZOLANG_S_ALREADY_OPEN);
  EXPECT_EQ(again, lang.h);
  WCHAR text[32];
  ASSERT_EQ(ZoLang_GetLangAbbrev(lang.h, text, 32), S_OK);
  EXPECT_EQ(std::u16string(text), u"JPN");
  EXPECT_EQ(ZoLang_GetLangllCC(lang.h, text, 32), S_OK);
  EXPECT_EQ(std::u16string(text), u"ja-JP");
  ASSERT_EQ(ZoLang_LocalizeUserName(lang.h, u"Taro", u"Yamada", text, 32), S_OK);
  EXPECT_EQ(std::u16string(text), u"Yamada Taro");
  ZoLang_UpdateKernelLCID(lang.h, 0x0401);
  EXPECT_TRUE(ZoLang_UseRTL(lang.h));
  EXPECT_TRUE(ZoLang_IsProcessMirrored());
  EXPECT_EQ(ZoLang_GetLangllCC(lang.h, text, 32), S_FALSE);
  ZoLang_UpdateKernelLCID(lang.h, 0);
  EXPECT_EQ(ZoLang_GetLCID(lang.h), 1033u);
  EXPECT_FALSE(ZoLang_IsProcessMirrored());
  ASSERT_EQ(ZoLang_LocalizeUserName(lang.h, u"Ada", u"Lovelace", text, 32), S_OK);
  EXPECT_EQ(std::u16string(text), u"Ada Lovelace");
  EXPECT_EQ(ZoLang_GetLCID(nullptr), 0u);
}

TEST(LangRecords, SlotsGiveTheLanguageAndNumbersResolveOnce) {
  ScratchDir dir;
  WriteBytes(dir / "de.lng", LangModule::Build({{500, u"Speichern"}}, 0x407));
  static ZOLANGSTRING save = {ZOLANG_RECORD_MARKER, ZOLANG_COUNT, {}, 0};
  save.text[0] = u"Save";
  save.text[1] = u"保存";
  save.text[2] = ZoLangNumberSlot(500);
  save.text[3] = ZoLangNumberSlot(501);  // the module has no 501: English stands in
  for (int i = 4; i < ZOLANG_COUNT; ++i) save.text[i] = u"Save";
  Lang lang(0x411);
  EXPECT_EQ(std::u16string(ZoGetString(lang.h, &save)), u"保存");
  ZoLang_UpdateKernelLCID(lang.h, 0x407);
  ASSERT_EQ(ZoLang_ChangeLangInst(lang.h, vane::platform::FromUtf8((dir / "de.lng").string()).c_str()), S_OK);
  EXPECT_EQ(std::u16string(ZoGetString(lang.h, &save)), u"Speichern");
  ZoLang_UpdateKernelLCID(lang.h, 0x40A);
  EXPECT_EQ(std::u16string(ZoGetString(lang.h, &save)), u"Save");
  EXPECT_NE(reinterpret_cast<uintptr_t>(save.text[3]), 501u);  // the slot kept its answer
  ZoLang_UpdateKernelLCID(lang.h, 0x409);

  // Smart lookups: a record, a plain text, and a text that begins 0xFFFE at
  // an odd address, which is no record.
  EXPECT_EQ(std::u16string(static_cast<const WCHAR*>(ZoGetStringSmart(lang.h, &save))), u"Save");
  EXPECT_EQ(std::u16string(ZoGetStringSmart(lang.h, u"plain")), u"plain");
  alignas(4) static BYTE odd[8] = {0, 0xFE, 0xFF, 'A', 0, 0, 0, 0};
  EXPECT_FALSE(IsZOLANGSTRINGID(lang.h, odd + 1));
  EXPECT_TRUE(IsZOLANGSTRINGID(lang.h, &save));
  EXPECT_EQ(ZoGetStringSmart(lang.h, nullptr), nullptr);
}

TEST(LangNumbers, LanguageModuleThenEnglishAndTheMarkedPrefix) {
  ScratchDir dir;
  WriteBytes(dir / "en.lng", LangModule::Build({{7, u"^*Hello"}, {8, u"Only English"}}, 0x409));
  WriteBytes(dir / "fr.lng", LangModule::Build({{7, u"Bonjour"}}, 0x40C));
  Lang lang(0x409);
  ASSERT_EQ(ZoLang_ChangeLangInst(lang.h, vane::platform::FromUtf8((dir / "en.lng").string()).c_str()), S_OK);
  WCHAR buffer[64];
  EXPECT_EQ(ZoLoadString(lang.h, 7, buffer, 64), 5);
  EXPECT_EQ(std::u16string(buffer), u"Hello");
  EXPECT_EQ(ZoLoadString(lang.h, 7, buffer, 3), 2);  // cut to the buffer
  EXPECT_EQ(std::u16string(buffer), u"He");
  const WCHAR* cached = ZoGetString(lang.h, 8);
  EXPECT_EQ(std::u16string(cached), u"Only English");
  EXPECT_EQ(ZoGetString(lang.h, 8), cached);
  EXPECT_EQ(std::u16string(ZoGetString(lang.h, 9)), u"");
  ZoLang_UpdateKernelLCID(lang.h, 0x40C);
  ASSERT_EQ(ZoLang_ChangeLangInst(lang.h, vane::platform::FromUtf8((dir / "fr.lng").string()).c_str()), S_OK);
  EXPECT_EQ(std::u16string(ZoGetString(lang.h, 7)), u"Bonjour");
  WORD languages[4] = {};
  EXPECT_EQ(ZoEnumResourceLanguages(lang.h, 7, languages, 4), 1);
  EXPECT_EQ(languages[0], 0x40C);
  ZoLang_UpdateKernelLCID(lang.h, 0x409);
}

TEST(LangModules, DamagedFilesAreRefusedWhole) {
  const std::vector<std::uint8_t> good = LangModule::Build({{1, u"one"}, {40, u"forty"}}, 0x409);
  LangModule m;
  ASSERT_EQ(m.Parse(good.data(), good.size()), S_OK);
  EXPECT_EQ(std::u16string(m.Find(40)), u"forty");
  EXPECT_EQ(m.Find(2), nullptr);
  struct Case {
    const char* what;
    size_t at;
    std::uint8_t value;
  };
  const Case cases[] = {{"magic", 0, 'X'},          {"version", 4, 2},        {"block count", 12, 0x7F},
                        {"block number 0", 16, 0},  {"offset past the end", 21, 0x10},
                        {"size past the end", 24, 0xFF}, {"entry length", 40, 0xFF}};
  for (const Case& c : cases) {
    std::vector<std::uint8_t> bad = good;
    bad[c.at] = c.value;
    EXPECT_EQ(m.Parse(bad.data(), bad.size()), ZOERR_BAD_FORMAT) << c.what;
    EXPECT_EQ(m.Count(), 0u) << c.what;
  }
  for (size_t cut = 0; cut < good.size(); cut += 7)
    EXPECT_EQ(m.Parse(good.data(), cut), ZOERR_BAD_FORMAT) << cut;
}

TEST(LangModules, CataloguesWithEscapesAndTheirErrors) {
  std::map<UINT, std::u16string> strings;
  size_t bad = 0;
  ASSERT_EQ(LangModule::ParseCatalogue("# comment\n\n12\tTwo\\nlines\r\n13\tTab\\there\n", &strings, &bad), S_OK);
  EXPECT_EQ(strings[12], u"Two\nlines");
  EXPECT_EQ(strings[13], u"Tab\there");
  EXPECT_EQ(LangModule::ParseCatalogue("1\tok\nno tab here\n", &strings, &bad), ZOERR_BAD_FORMAT);
  EXPECT_EQ(bad, 2u);
  EXPECT_EQ(LangModule::ParseCatalogue("70000\ttoo big\n", &strings, &bad), ZOERR_BAD_FORMAT);
  EXPECT_EQ(LangModule::ParseCatalogue("x1\tnot a number\n", &strings, &bad), ZOERR_BAD_FORMAT);
}

TEST(LangRing, SlotsWrapAndConversionsGoThroughIt) {
  Lang lang(0, 100);  // below the minimum: 2048 characters
  WCHAR* first = ZoGetTempStringBuffer(lang.h, 1000);
  ASSERT_NE(first, nullptr);
  WCHAR* second = ZoGetTempStringBuffer(lang.h, 1000);
  EXPECT_EQ(second, first + 1002);
  // 2004 is past 2048 - 1024: the ring starts again.
  EXPECT_EQ(ZoGetTempStringBuffer(lang.h, 10), first);
  EXPECT_EQ(ZoGetTempStringBuffer(lang.h, 1025), nullptr);  // above the block limit
  EXPECT_STREQ(ZoGetPrintFromWideString(lang.h, u"Grüße"), "Grüße");
  EXPECT_EQ(std::u16string(ZoGetWideFromPrintString(lang.h, "Grüße")), u"Grüße");
  EXPECT_STREQ(ZoGetPrintFromWideString(nullptr, u"x"), "");
  UINT cp = 0;
  EXPECT_EQ(ZoLang_DetectPossibleCodepage("Grüße", 7, &cp), S_OK);
  EXPECT_EQ(cp, 65001u);
  EXPECT_EQ(ZoLang_DetectPossibleCodepage("Gr\xFC\xDF" "e", 5, &cp), ZOERR_NO_CODEPAGE);
  EXPECT_TRUE(ZoLang_DetectMultiByteCharacters("Grüße", 7));
  EXPECT_FALSE(ZoLang_DetectMultiByteCharacters("Grusse", 6));
}

TEST(LangMetric, TheUsersLanguageIsKept) {
  ScratchDir dir;
  setenv("VANE_REGISTRY_DIR", dir.path().c_str(), 1);
  EXPECT_EQ(ZoLang_LoadUserLCIDMetric(u"VaneLangTest", 0x03000000, 1033, FALSE), 1033u);
  ASSERT_EQ(ZoLang_SaveUserLCIDMetric(u"VaneLangTest", 0x03000000, 0x10411, FALSE), S_OK);
  EXPECT_EQ(ZoLang_LoadUserLCIDMetric(u"VaneLangTest", 0x03000000, 1033, FALSE), 0x411u);  // cut to 16 bits
  EXPECT_EQ(ZoLang_LoadUserLCIDMetric(u"VaneLangTest", 0x04000000, 1033, FALSE), 1033u);  // another version
  ASSERT_EQ(ZoLang_SaveUserLCIDMetric(u"VaneLangTest", 0x09000000, 0x407, TRUE), S_OK);
  EXPECT_EQ(ZoLang_LoadUserLCIDMetric(u"VaneLangTest", 0x01000000, 1033, TRUE), 0x407u);
  unsetenv("VANE_REGISTRY_DIR");
  ZoSetLangID("JPN");
  EXPECT_STREQ(ZoGetLangID(), "JPN");
  ZoSetLangID(nullptr);
  EXPECT_STREQ(ZoGetLangID(), "ENU");
}

TEST(LangStatusTexts, TheKernelsStatusesInItsLanguageAndHostTablesThroughAHandle) {
  ScratchDir dir;
  WriteBytes(dir / "kernel-fr.lng", LangModule::Build({{0xE00A, u"Introuvable."}, {77, u"Table de l'hôte"}}, 0x40C));
  HZOLANG kernel = ZoLang_KernelHandle();
  ASSERT_NE(kernel, nullptr);
  const std::u16string english = ZoErrorHandler_GetHresultString(ZOERR_NOT_FOUND);
  ASSERT_EQ(ZoLang_ChangeLangInst(kernel, vane::platform::FromUtf8((dir / "kernel-fr.lng").string()).c_str()), S_OK);
  ZoLang_UpdateKernelLCID(kernel, 0x40C);
  EXPECT_EQ(std::u16string(ZoErrorHandler_GetHresultString(ZOERR_NOT_FOUND)), u"Introuvable.");
  // A status the module has no text for stays English.
  EXPECT_FALSE(std::u16string(ZoErrorHandler_GetHresultString(ZOERR_BAD_FORMAT)).empty());
  // A host's table read through a handle.
  static const ZOERRORTABLEROW rows[] = {{MakeStatus(0x80041234), 77}};
  ASSERT_EQ(ZoErrorHandler_AddErrorTable(rows, 1, kernel, &ZoLang_ErrorStringLookup), S_OK);
  EXPECT_EQ(std::u16string(ZoErrorHandler_GetHresultString(MakeStatus(0x80041234))), u"Table de l'hôte");
  ZoLang_UpdateKernelLCID(kernel, 0x409);
  ASSERT_EQ(ZoLang_ChangeLangInst(kernel, nullptr), S_OK);
  EXPECT_EQ(std::u16string(ZoErrorHandler_GetHresultString(ZOERR_NOT_FOUND)), english);
}

TEST(LangCatalogue, TheKernelsEnglishTextsAreItsCatalogue) {
  const auto catalogue = vane::kernel::BuiltInKernelCatalogue();
  std::map<UINT, std::u16string> strings;
  for (const auto& [id, text] : catalogue) strings[id] = text;
  EXPECT_GT(strings.size(), 100u);
  // Every status of the kernel's range has its text under its number.
  EXPECT_EQ(strings[0xE00A], std::u16string(ZoStatus_FindText(ZOERR_NOT_FOUND)));
  HZOLANG kernel = ZoLang_KernelHandle();
  EXPECT_EQ(std::u16string(ZoGetString(kernel, 0xE00A)), strings[0xE00A]);
  // Built into a module and read back, the catalogue is unchanged.
  const auto bytes = LangModule::Build(strings, 0x409);
  LangModule m;
  ASSERT_EQ(m.Parse(bytes.data(), bytes.size()), S_OK);
  EXPECT_EQ(m.Strings(), strings);
}

}  // namespace
