// SPDX-License-Identifier: MIT
#include "platform/profile.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "platform/wtext.h"
#include "tests/support/test_files.h"

namespace {

using vane::platform::FromUtf8;

class ProfileTest : public ::testing::Test {
 protected:
  std::u16string Path(const std::string& name = "p.ini") { return FromUtf8((m_dir / name).string()); }
  void Write(const std::string& text) { std::ofstream(m_dir / "p.ini", std::ios::binary) << text; }
  std::u16string Get(const char16_t* section, const char16_t* key, const char16_t* def = u"dflt") {
    WCHAR buf[256];
    DWORD n = GetPrivateProfileStringW(section, key, def, buf, 256, Path().c_str());
    return std::u16string(buf, n);
  }
  vane::test::ScratchDir m_dir;
};

TEST_F(ProfileTest, NamesCompareWithoutCaseAndValuesAreTrimmedAndUnquoted) {
  Write("\xEF\xBB\xBF; comment\n[Main]\n  Key = \"  spaced  \" \nNum=-42junk\n[other]\nk=v\n");
  EXPECT_EQ(Get(u"MAIN", u"key"), u"  spaced  ");
  EXPECT_EQ(GetPrivateProfileIntW(u"main", u"NUM", 7, Path().c_str()), UINT(-42));
  EXPECT_EQ(GetPrivateProfileIntW(u"main", u"absent", 7, Path().c_str()), 7u);
  EXPECT_EQ(Get(u"main", u"absent", u"def  "), u"def");
  EXPECT_EQ(Get(u"main", u"absent", u"_._"), u"_._");
}

TEST_F(ProfileTest, ListsKeysAndSectionsAsDoubleNulLists) {
  Write("[a]\nx=1\nyy=2\n[b]\n");
  WCHAR buf[16];
  DWORD n = GetPrivateProfileStringW(u"A", nullptr, u"", buf, 16, Path().c_str());
  EXPECT_EQ(std::u16string(buf, n), std::u16string(u"x\0yy\0", 5));
  n = GetPrivateProfileSectionNamesW(buf, 16, Path().c_str());
  EXPECT_EQ(std::u16string(buf, n), std::u16string(u"a\0b\0", 4));
  // A list that does not fit is cut and reports size - 2.
  EXPECT_EQ(GetPrivateProfileStringW(u"a", nullptr, u"", buf, 4, Path().c_str()), 2u);
  EXPECT_EQ(buf[2], 0);
  EXPECT_EQ(buf[3], 0);
  // A value that does not fit reports size - 1.
  EXPECT_EQ(GetPrivateProfileStringW(u"a", u"yy", u"", buf, 1, Path().c_str()), 0u);
}

TEST_F(ProfileTest, WritesKeepOtherLinesAndDeleteKeysAndSections) {
  Write("; keep me\n[s]\na=1\n\n[t]\nb=2\n");
  ASSERT_TRUE(WritePrivateProfileStringW(u"S", u"c", u"3", Path().c_str()));
  ASSERT_TRUE(WritePrivateProfileStringW(u"s", u"A", u"one", Path().c_str()));
  ASSERT_TRUE(WritePrivateProfileStringW(u"t", nullptr, nullptr, Path().c_str()));
  ASSERT_TRUE(WritePrivateProfileStringW(u"new", u"k", u"", Path().c_str()));
  EXPECT_EQ(Get(u"s", u"a"), u"one");
  EXPECT_EQ(Get(u"s", u"c"), u"3");
  EXPECT_EQ(Get(u"t", u"b"), u"dflt");
  EXPECT_EQ(Get(u"new", u"k"), u"");
  ASSERT_TRUE(WritePrivateProfileStringW(u"s", u"a", nullptr, Path().c_str()));
  EXPECT_EQ(Get(u"s", u"a"), u"dflt");
  std::ifstream in(m_dir / "p.ini");
  std::string first;
  std::getline(in, first);
  EXPECT_EQ(first, "; keep me");
}

TEST_F(ProfileTest, TwoProcessesWritingAtOnceLoseNoKey) {
  constexpr int kKeys = 60;
  pid_t child = fork();
  ASSERT_GE(child, 0);
  const char16_t* section = child == 0 ? u"child" : u"parent";
  for (int i = 0; i < kKeys; ++i) {
    std::u16string key = FromUtf8("k" + std::to_string(i));
    WritePrivateProfileStringW(section, key.c_str(), u"v", Path().c_str());
  }
  if (child == 0) _exit(0);
  int status = 0;
  waitpid(child, &status, 0);
  for (const char16_t* s : {u"child", u"parent"}) {
    WCHAR buf[4096];
    DWORD n = GetPrivateProfileStringW(s, nullptr, u"", buf, 4096, Path().c_str());
    int count = 0;
    for (DWORD i = 0; i < n; ++i) count += buf[i] == 0;
    EXPECT_EQ(count, kKeys);
  }
}

TEST(IniFile, ParseSerializeKeepsUnknownLinesAndSurvivesGarbage) {
  std::string text = "top\n[a]\nk=v\n;c\n[b\nx=y\n\xff\xfe\n";
  auto f = vane::platform::IniFile::Parse(text);
  auto again = vane::platform::IniFile::Parse(f.Serialize());
  EXPECT_EQ(again.Serialize(), f.Serialize());
  ASSERT_NE(f.Find(u"b", u"x"), nullptr);
  EXPECT_EQ(*f.Find(u"b", u"x"), u"y");
}

}  // namespace
