// SPDX-License-Identifier: MIT
#include "platform/guid.h"

#include <gtest/gtest.h>

#include "platform/status.h"

using vane::platform::GuidFromString;
using vane::platform::GuidToString;

TEST(Guid, TextRoundTripKeepsWindowsByteOrder) {
  GUID g{};
  ASSERT_TRUE(GuidFromString("{D4FF4749-8ACE-457E-A878-D4AD332174BA}", &g));
  EXPECT_EQ(g.Data1, 0xD4FF4749u);
  EXPECT_EQ(g.Data2, 0x8ACE);
  EXPECT_EQ(g.Data3, 0x457E);
  EXPECT_EQ(g.Data4[0], 0xA8);
  EXPECT_EQ(g.Data4[7], 0xBA);
  // Memory layout: Data1 little-endian first.
  const auto* bytes = reinterpret_cast<const unsigned char*>(&g);
  EXPECT_EQ(bytes[0], 0x49);
  EXPECT_EQ(bytes[3], 0xD4);
  EXPECT_EQ(GuidToString(g), "{D4FF4749-8ACE-457E-A878-D4AD332174BA}");
}

TEST(Guid, ParsesLowerCaseAndUnbracedText) {
  GUID a{}, b{};
  ASSERT_TRUE(GuidFromString("d4ff4749-8ace-457e-a878-d4ad332174ba", &a));
  ASSERT_TRUE(GuidFromString(u"{D4FF4749-8ACE-457E-A878-D4AD332174BA}", &b));
  EXPECT_EQ(a, b);
}

TEST(Guid, RejectsMalformedTextWithoutTouchingOutput) {
  const char* bad[] = {"",
                       "{D4FF4749-8ACE-457E-A878-D4AD332174B}",
                       "{D4FF4749-8ACE-457E-A878-D4AD332174BAA}",
                       "{D4FF4749-8ACE-457E-A878D4AD332174BA}",
                       "{D4FF4749-8ACE-457E-A878-D4AD332174BA",
                       "{G4FF4749-8ACE-457E-A878-D4AD332174BA}",
                       "{D4FF4749-8ACE-457E-A878-D4AD332174BA} "};
  for (const char* text : bad) {
    GUID g = VANE_GUID(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11);
    EXPECT_FALSE(GuidFromString(text, &g)) << text;
    EXPECT_EQ(g.Data1, 1u) << text;
  }
  EXPECT_FALSE(GuidFromString(static_cast<const char*>(nullptr), nullptr));
}

TEST(Guid, ComTextHelpersNeedBracesAndRoom) {
  CLSID c{};
  EXPECT_EQ(CLSIDFromString(u"{00000001-0000-0000-C000-000000000046}", &c), S_OK);
  EXPECT_EQ(CLSIDFromString(u"00000001-0000-0000-C000-000000000046", &c), MakeStatus(0x800401F3));
  WCHAR text[39];
  EXPECT_EQ(StringFromGUID2(c, text, 38), 0);
  EXPECT_EQ(StringFromGUID2(c, text, 39), 39);
  EXPECT_EQ(std::u16string(text), u"{00000001-0000-0000-C000-000000000046}");
}
