// SPDX-License-Identifier: MIT
// The XML document on recorder-style documents in every encoding, the find
// walk and its quirks, and hostile text: truncation at every byte, deep
// nesting, broken UTF-8, unterminated constructs.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/wtext.h"
#include "tests/support/test_files.h"
#include "xml/zoxml.h"

namespace {

using vane::platform::FromUtf8;
using vane::platform::ToUtf8;

const char* kIxml =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE BWFXML [ <!ELEMENT BWFXML ANY> <!ATTLIST x y CDATA \"]>\"> ]>\n"
    "<!-- written by a field recorder -->\n"
    "<BWFXML>\n"
    "  <IXML_VERSION>2.10</IXML_VERSION>\n"
    "  <PROJECT>Night &amp; Day</PROJECT>\n"
    "  <SCENE>12A</SCENE><TAKE>3</TAKE>\n"
    "  <NOTE><![CDATA[<boom> too close]]></NOTE>\n"
    "  <?recorder setting=\"x\"?>\n"
    "  <TRACK_LIST count='2'>\n"
    "    <TRACK><CHANNEL_INDEX>1</CHANNEL_INDEX><NAME>Boom</NAME></TRACK>\n"
    "    <TRACK><CHANNEL_INDEX>2</CHANNEL_INDEX><NAME>Lav \xC3\xA9t\xC3\xA9</NAME></TRACK>\n"
    "  </TRACK_LIST>\n"
    "  <EMPTY/>\n"
    "</BWFXML>\n";

std::string Text(CZoXML_Document& doc, tagZOXML_CONTENT* content, const char16_t* name) {
  WCHAR buffer[256];
  if (FAILED(doc.GetChildContentString(content, name, buffer, 256))) return "<none>";
  return ToUtf8(buffer);
}

tagZOXML_CONTENT* Root(CZoXML_Document& doc) {
  tagZOXML_CONTENT* root = nullptr;
  const HZOXMLFIND find = doc.FindContentFirst(nullptr, &root);
  EXPECT_NE(find, ZOXML_INVALID_FIND);
  tagZOXML_CONTENT* more = nullptr;
  EXPECT_EQ(doc.FindContentNext(find, &more), ZOXML_E_NOT_FOUND) << "the root walk holds the root alone";
  EXPECT_EQ(doc.FindContentClose(find), S_OK);
  return root;
}

void ExpectIxmlTree(CZoXML_Document& doc) {
  tagZOXML_CONTENT* root = Root(doc);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(ToUtf8(root->pElement->pszName), "BWFXML");
  EXPECT_EQ(Text(doc, root, u"IXML_VERSION"), "2.10");
  EXPECT_EQ(Text(doc, root, u"PROJECT"), "Night &amp; Day") << "entities are left for the escape helpers";
  EXPECT_EQ(Text(doc, root, u"SCENE"), "12A");
  EXPECT_EQ(Text(doc, root, u"TAKE"), "3");
  EXPECT_EQ(Text(doc, root, u"NOTE"), "<boom> too close");
  EXPECT_EQ(Text(doc, root, u"project"), "<none>") << "names compare exactly";

  tagZOXML_CONTENT* list = nullptr;
  ASSERT_EQ(doc.FindChild(root, u"TRACK_LIST", &list), S_OK);
  WCHAR count[8];
  ASSERT_EQ(doc.GetAttributeString(list->pElement, u"count", count, 8), S_OK);
  EXPECT_EQ(ToUtf8(count), "2");
  tagZOXML_ATTRIBUTE* attribute = nullptr;
  EXPECT_EQ(doc.GetAttribute(list->pElement, u"COUNT", &attribute), ZOXML_E_NOT_FOUND);

  std::vector<std::string> names;
  tagZOXML_CONTENT* node = nullptr;
  const HZOXMLFIND find = doc.FindContentFirst(list->pElement, &node);
  ASSERT_NE(find, ZOXML_INVALID_FIND);
  do names.push_back(Text(doc, node, u"NAME"));
  while (doc.FindContentNext(find, &node) == S_OK);
  EXPECT_EQ(doc.FindContentClose(find), S_OK);
  EXPECT_EQ(names, (std::vector<std::string>{"Boom", "Lav \xC3\xA9t\xC3\xA9"}));

  tagZOXML_CONTENT* empty = nullptr;
  ASSERT_EQ(doc.FindChild(root, u"EMPTY", &empty), S_OK);
  tagZOXML_CONTENT* none = nullptr;
  EXPECT_EQ(doc.FindContentFirst(empty->pElement, &none), ZOXML_INVALID_FIND);
  LONG length = 0;
  EXPECT_EQ(doc.GetContentStringReqLen(empty->pElement, &length), ZOXML_E_NOT_FOUND);
}

std::string Utf16Le(const std::string& utf8, bool mark) {
  std::string out = mark ? std::string("\xFF\xFE", 2) : std::string();
  for (char16_t c : FromUtf8(utf8)) {
    out += static_cast<char>(c & 0xFF);
    out += static_cast<char>(c >> 8);
  }
  return out;
}

struct Encoding {
  const char* name;
  std::string bytes;
};

class XmlEncodings : public ::testing::TestWithParam<Encoding> {};

TEST_P(XmlEncodings, RecorderDocumentReadsTheSameTree) {
  CZoXML_Document doc;
  ASSERT_EQ(doc.OpenMemory(GetParam().bytes.data(), GetParam().bytes.size()), S_OK);
  ExpectIxmlTree(doc);
}

INSTANTIATE_TEST_SUITE_P(Forms, XmlEncodings,
                         ::testing::Values(Encoding{"Utf8", kIxml}, Encoding{"Utf8Mark", std::string("\xEF\xBB\xBF") + kIxml},
                                           Encoding{"Utf16Le", Utf16Le(kIxml, true)}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(XmlDocument, FileOpenGivesTheTreeAndTheFileStatuses) {
  vane::test::ScratchDir dir;
  const std::string text = kIxml;
  vane::test::WriteBytes(dir / "take.xml", std::vector<std::uint8_t>(text.begin(), text.end()));
  vane::test::WriteBytes(dir / "empty.xml", {});
  CZoXML_Document doc;
  ASSERT_EQ(doc.OpenFile(FromUtf8((dir / "take.xml").string()).c_str()), S_OK);
  ExpectIxmlTree(doc);
  EXPECT_EQ(doc.CloseFile(), S_OK);
  EXPECT_EQ(doc.GetRootElement(), nullptr);
  EXPECT_EQ(doc.OpenFile(FromUtf8((dir / "empty.xml").string()).c_str()), ZOXML_E_EMPTY);
  EXPECT_EQ(doc.OpenFile(FromUtf8((dir / "missing.xml").string()).c_str()), ZOXML_E_NO_FILE);
  EXPECT_EQ(doc.OpenMemory("", 0), ZOXML_E_EMPTY);
}

TEST(XmlDocument, FindChildStopsAtTheFirstText) {
  const std::string text = "<a>words<b>1</b></a>";
  CZoXML_Document doc;
  ASSERT_EQ(doc.OpenMemory(text.data(), text.size()), S_OK);
  tagZOXML_CONTENT* child = nullptr;
  EXPECT_EQ(doc.FindChild(Root(doc), u"b", &child), ZOXML_E_NOT_FOUND);
}

TEST(XmlDocument, FindHandlesAreCheckedAndBuffersNeverOverrun) {
  const std::string text = "<a><b>abcdef</b></a>";
  CZoXML_Document doc;
  ASSERT_EQ(doc.OpenMemory(text.data(), text.size()), S_OK);
  tagZOXML_CONTENT* node = nullptr;
  EXPECT_EQ(doc.FindContentNext(12345, &node), E_INVALIDARG);
  const HZOXMLFIND find = doc.FindContentFirst(Root(doc)->pElement, &node);
  EXPECT_EQ(doc.FindContentClose(find), S_OK);
  EXPECT_EQ(doc.FindContentClose(find), E_INVALIDARG) << "a closed walk is refused";

  WCHAR small[4] = {9, 9, 9, 9};
  EXPECT_EQ(doc.GetContentString(node->pElement, small, 3), HRESULT_FROM_WIN32(122));
  EXPECT_EQ(ToUtf8(small), "ab");
  EXPECT_EQ(small[3], 9) << "nothing written past the size";
  LONG length = 0;
  ASSERT_EQ(doc.GetContentStringReqLen(node->pElement, &length), S_OK);
  EXPECT_EQ(length, 7);
}

TEST(XmlHostile, DeepNestingParsesAndClosesWithoutRecursion) {
  constexpr int kDepth = 100000;
  std::string text;
  for (int i = 0; i < kDepth; ++i) text += "<n>";
  text += "leaf";
  for (int i = 0; i < kDepth; ++i) text += "</n>";
  auto doc = std::make_unique<CZoXML_Document>();
  ASSERT_EQ(doc->OpenMemory(text.data(), text.size()), S_OK);
  tagZOXML_CONTENT* node = Root(*doc);
  int depth = 1;
  tagZOXML_CONTENT* child = nullptr;
  while (doc->FindChild(node, u"n", &child) == S_OK) {
    node = child;
    ++depth;
  }
  EXPECT_EQ(depth, kDepth);
  doc.reset();
}

TEST(XmlHostile, BrokenTextKeepsTheTreeBuiltSoFar) {
  for (const std::string text : {"<a><b>1</b><c attr=\"never closed", "<a><b>1</b><!-- no end", "<a><b>1</b><![CDATA[x",
                                  "<a><b>1</b><c", "<a><b>1</b>"}) {
    CZoXML_Document doc;
    EXPECT_EQ(doc.OpenMemory(text.data(), text.size()), ZOXML_E_MALFORMED) << text;
    EXPECT_EQ(Text(doc, Root(doc), u"b"), "1") << text;
  }
}

TEST(XmlHostile, InvalidUtf8ReadsAsReplacementCharacters) {
  const std::string text = "<a>x\xC0\xAF\xED\xA0\x80\xF4\x90\x80\x80\xE2\x82y</a>";
  CZoXML_Document doc;
  ASSERT_EQ(doc.OpenMemory(text.data(), text.size()), S_OK);
  WCHAR buffer[32];
  ASSERT_EQ(doc.GetContentString(Root(doc)->pElement, buffer, 32), S_OK);
  for (const WCHAR* p = buffer + 1; p[1]; ++p) EXPECT_EQ(*p, 0xFFFD);
  EXPECT_EQ(buffer[0], u'x');
}

TEST(XmlHostile, EveryTruncationAndByteFlipParsesOrFailsCleanly) {
  const std::string whole = kIxml;
  for (size_t cut = 1; cut < whole.size(); ++cut) {
    CZoXML_Document doc;
    const HRESULT hr = doc.OpenMemory(whole.data(), cut);
    EXPECT_TRUE(hr == S_OK || hr == ZOXML_E_MALFORMED) << cut;
  }
  for (size_t at = 0; at < whole.size(); at += 3) {
    std::string flipped = whole;
    flipped[at] = static_cast<char>(flipped[at] ^ 0xA5);
    CZoXML_Document doc;
    const HRESULT hr = doc.OpenMemory(flipped.data(), flipped.size());
    EXPECT_TRUE(hr == S_OK || hr == ZOXML_E_MALFORMED) << at;
  }
}

struct EscapeCase {
  const char16_t* source;
  const char16_t* escaped;
  bool need;
  bool have;
};

class XmlEscapes : public ::testing::TestWithParam<EscapeCase> {};

std::string EscapeName(const ::testing::TestParamInfo<EscapeCase>& info) {
  static const char* const kNames[] = {"Plain", "AllThree", "EntityStays", "ForeignEntity", "UnterminatedEntity"};
  return kNames[info.index];
}

TEST_P(XmlEscapes, AddAndRemoveFollowTheTable) {
  const EscapeCase& c = GetParam();
  WCHAR out[64];
  ASSERT_EQ(ZoXML_AddEscapes(out, 64, c.source), S_OK);
  EXPECT_EQ(std::u16string(out), std::u16string(c.escaped));
  EXPECT_EQ(ZoXML_DoesStringNeedEscapes(c.source), c.need ? TRUE : FALSE);
  EXPECT_EQ(ZoXML_DoesStringHaveEscapes(c.source), c.have ? TRUE : FALSE);
  std::u16string back = c.escaped;
  back.resize(ZoXML_RemoveEscapes(back.data()));
  EXPECT_EQ(back, std::u16string(c.source).find(u"&amp;") == std::u16string::npos ? std::u16string(c.source) : back);
}

INSTANTIATE_TEST_SUITE_P(
    Table, XmlEscapes,
    ::testing::Values(EscapeCase{u"plain", u"plain", false, false}, EscapeCase{u"a<b>&c", u"a&lt;b&gt;&amp;c", true, false},
                      EscapeCase{u"&amp;", u"&amp;", false, true}, EscapeCase{u"&quot;", u"&amp;quot;", true, false},
                      EscapeCase{u"&lt&", u"&amp;lt&amp;", true, false}),
    EscapeName);

TEST(XmlEscapesEdges, ShortDestinationAndForeignEntities) {
  WCHAR out[4];
  EXPECT_EQ(ZoXML_AddEscapes(out, 4, u"<<"), HRESULT_FROM_WIN32(122));
  EXPECT_EQ(out[0], 0);
  std::u16string text = u"&lt;x&gt;&apos;&amp;amp;";
  text.resize(ZoXML_RemoveEscapes(text.data()));
  EXPECT_EQ(text, u"<x>&apos;&amp;");
}

}  // namespace
