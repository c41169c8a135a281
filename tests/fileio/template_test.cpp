// SPDX-License-Identifier: MIT
// Render templates: the record's identities, files and streams written and
// read back, the older form uplifted, and damaged files refused with the
// format status, never a crash.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/mmreg.h"
#include "fileio/zotemplate.h"
#include "platform/file.h"
#include "platform/guid.h"
#include "platform/wtext.h"
#include "tests/support/test_files.h"

namespace {

using vane::test::ByteWriter;
using vane::test::ReadBytes;
using vane::test::ScratchDir;
using vane::test::WriteBytes;

struct TemplateDeleter {
  void operator()(tagZOTEMPLATExV2* t) const { ZoFio_ReleaseTemplate(t); }
};
using TemplatePtr = std::unique_ptr<tagZOTEMPLATExV2, TemplateDeleter>;

TemplatePtr Make(const char16_t* name, const char16_t* notes, const std::string& priv = {},
                 ZOSAMPLETYPE type = ZOSAMPLE_PCM24) {
  ZoWaveFormatBuffer<40> read;
  read->Init(48000, type, 2, 3, 40);
  tagZOTEMPLATExV2* t = nullptr;
  EXPECT_EQ(ZoFio_MakeTemplate(&t, read.get(), nullptr, nullptr, nullptr, priv.data(), DWORD(priv.size()), name, notes),
            S_OK);
  return TemplatePtr(t);
}

std::u16string U(const std::filesystem::path& p) { return vane::platform::FromUtf8(p.string()); }

std::vector<std::uint8_t> Raw(const tagZOTEMPLATExV2* t) {
  const auto* b = reinterpret_cast<const std::uint8_t*>(t);
  return std::vector<std::uint8_t>(b, b + t->size);
}

HRESULT LoadFile(const std::filesystem::path& file, TemplatePtr* out) {
  tagZOTEMPLATExV2* t = nullptr;
  const HRESULT hr = ZoFio_LoadTemplateData(U(file).c_str(), &t);
  out->reset(t);
  return hr;
}

TEST(TemplateRecord, LayoutOfTheVariablePartAndItsTexts) {
  // One byte of private data is followed by three bytes of fill, then the text.
  TemplatePtr t = Make(u"Master", u"for the archive", "x");
  EXPECT_EQ(t->cbPrivate, 1u);
  EXPECT_EQ(t->cchText, 7u + 16u);
  EXPECT_EQ(t->size, ZOTEMPLATE_HEAD_SIZE + 4 + 23 * 2);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(t.get());
  EXPECT_EQ(bytes[536], 'x');
  EXPECT_EQ(std::memcmp(bytes + 537, "\0\0\0", 3), 0);
  EXPECT_EQ(std::u16string(ZoTemplate_Name(t.get())), u"Master");
  EXPECT_EQ(std::u16string(ZoTemplate_Notes(t.get())), u"for the archive");
  EXPECT_EQ(ZoTemplate_Validate(t.get(), t->size), S_OK);
}

TEST(TemplateRecord, CrcAndMd5IdentitiesDependOnTextOnlyWhenThereIsText) {
  TemplatePtr named = Make(u"A", u"");
  TemplatePtr other = Make(u"B", u"");
  TemplatePtr blank = Make(u"", u"");
  EXPECT_EQ(ZoFio_GetTemplateDataCRC32(named.get(), FALSE), ZoFio_GetTemplateDataCRC32(other.get(), FALSE));
  EXPECT_NE(ZoFio_GetTemplateDataCRC32(named.get(), TRUE), ZoFio_GetTemplateDataCRC32(other.get(), TRUE));
  EXPECT_NE(ZoFio_GetTemplateDataCRC32(named.get(), TRUE), ZoFio_GetTemplateDataCRC32(named.get(), FALSE));
  // An empty name and notes are still two terminators of text.
  EXPECT_NE(ZoFio_GetTemplateDataCRC32(blank.get(), TRUE), ZoFio_GetTemplateDataCRC32(blank.get(), FALSE));

  GUID a{}, b{}, c{};
  ASSERT_EQ(ZoFio_InitGUIDFromTemplateMD5DataHash(&a, named.get(), FALSE), S_OK);
  ASSERT_EQ(ZoFio_InitGUIDFromTemplateMD5DataHash(&b, other.get(), FALSE), S_OK);
  ASSERT_EQ(ZoFio_InitGUIDFromTemplateMD5DataHash(&c, other.get(), TRUE), S_OK);
  EXPECT_EQ(a, b);
  EXPECT_NE(b, c);
  EXPECT_EQ(a.Data3 >> 12, 3);           // name-based, MD5
  EXPECT_EQ(a.Data4[0] & 0xC0, 0x80);    // variant binary 10
  // A change of format changes both identities.
  TemplatePtr floaty = Make(u"A", u"", {}, ZOSAMPLE_FLOAT32);
  EXPECT_NE(ZoFio_GetTemplateDataCRC32(floaty.get(), FALSE), ZoFio_GetTemplateDataCRC32(named.get(), FALSE));
}

TEST(TemplateRecord, SetTemplateComparesCopiesAndReplaces) {
  TemplatePtr a = Make(u"A", u"");
  tagZOTEMPLATExV2* held = nullptr;
  ASSERT_EQ(ZoFio_SetTemplate(held, a.get(), ZOTEMPLATE_SET_COPY), S_OK);
  ASSERT_NE(held, a.get());
  EXPECT_EQ(ZoFio_SetTemplate(held, a.get(), ZOTEMPLATE_SET_COMPARE | ZOTEMPLATE_SET_COPY), S_FALSE);
  TemplatePtr b = Make(u"B", u"");
  EXPECT_EQ(ZoFio_SetTemplate(held, b.get(), ZOTEMPLATE_SET_COMPARE | ZOTEMPLATE_SET_COPY), S_OK);
  EXPECT_EQ(std::u16string(ZoTemplate_Name(held)), u"B");
  ZoFio_ReleaseTemplate(&held);
  EXPECT_EQ(held, nullptr);
}

TEST(TemplateRecord, FactsByIdAndTheirBuffers) {
  TemplatePtr t = Make(u"A", u"");
  DWORD v = 0;
  ASSERT_EQ(ZoFio_GetTemplateInfo(t.get(), ZOTPLINFO_SAMPLE_RATE, &v, 4), S_OK);
  EXPECT_EQ(v, 48000u);
  ASSERT_EQ(ZoFio_GetTemplateInfo(t.get(), ZOTPLINFO_CHANNELS, &v, 4), S_OK);
  EXPECT_EQ(v, 2u);
  ASSERT_EQ(ZoFio_GetTemplateInfo(t.get(), ZOTPLINFO_BITS, &v, 4), S_OK);
  EXPECT_EQ(v, 24u);
  ASSERT_EQ(ZoFio_GetTemplateInfo(t.get(), ZOTPLINFO_AUDIO_BPS, &v, 4), S_OK);
  EXPECT_EQ(v, 48000u * 6 * 8);
  EXPECT_EQ(ZoFio_GetTemplateBitrate(t.get(), ZOTEMPLATE_RATE_AUDIO), 48000 * 6 * 8);
  EXPECT_EQ(ZoFio_GetTemplateInfo(t.get(), ZOTPLINFO_SAMPLE_RATE, &v, 3), ZOERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(ZoFio_GetTemplateInfo(t.get(), 99, &v, 4), S_FALSE);
  t->audioFlags |= ZOTEMPLATE_AUDIO_VBR;
  ASSERT_EQ(ZoFio_GetTemplateInfo(t.get(), ZOTPLINFO_AUDIO_BPS, &v, 4), S_OK);
  EXPECT_EQ(v, 0u);
}

TEST(TemplateRecord, GeneratedNoteLinesAreSkipped) {
  const char16_t* notes = u"Audio: 48,000 Hz, 24 Bit, Stereo\r\nVideo: none\r\nPixel Aspect Ratio: 1.0\r\nMine";
  EXPECT_EQ(std::u16string(ZoFio_SkipDescriptionInTemplateNotesText(notes)), u"Mine");
  EXPECT_EQ(std::u16string(ZoFio_SkipDescriptionInTemplateNotesText(u"Mine\nAudio: x")), u"Mine\nAudio: x");
  EXPECT_EQ(std::u16string(ZoFio_SkipDescriptionInTemplateNotesText(u"Audio: only")), u"");
}

TEST(TemplateFiles, SavedFilesReadBackByteForByte) {
  ScratchDir dir;
  TemplatePtr t = Make(u"Master", u"notes", "private bytes");
  const auto file = dir / "master.zot2";
  ASSERT_EQ(ZoFio_SaveTemplateData(U(file).c_str(), t.get(), FALSE), S_OK);
  EXPECT_EQ(ReadBytes(file), Raw(t.get()));
  TemplatePtr back;
  ASSERT_EQ(LoadFile(file, &back), S_OK);
  EXPECT_EQ(Raw(back.get()), Raw(t.get()));
  // Without overwrite an existing file is kept; nothing is left beside it.
  TemplatePtr other = Make(u"Other", u"");
  EXPECT_EQ(ZoFio_SaveTemplateData(U(file).c_str(), other.get(), FALSE), ZOERR_FILE_EXISTS);
  ASSERT_EQ(ZoFio_SaveTemplateData(U(file).c_str(), other.get(), TRUE), S_OK);
  EXPECT_EQ(ReadBytes(file), Raw(other.get()));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST(TemplateFiles, AFailedSaveKeepsTheFileThatWasThere) {
  ScratchDir dir;
  TemplatePtr t = Make(u"A", u"");
  const auto file = dir / "a.zot2";
  WriteBytes(file, {1, 2, 3});
  // The beside-file's name is taken by a folder, so the write cannot start.
  std::filesystem::create_directory(dir / "a.zot2.partial");
  EXPECT_TRUE(FAILED(ZoFio_SaveTemplateData(U(file).c_str(), t.get(), TRUE)));
  EXPECT_EQ(ReadBytes(file), (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST(TemplateFiles, DamagedFilesGiveTheFormatStatus) {
  ScratchDir dir;
  TemplatePtr t = Make(u"Master", u"notes", "pp");
  const std::vector<std::uint8_t> good = Raw(t.get());
  struct Case {
    const char* what;
    std::function<void(std::vector<std::uint8_t>&)> damage;
  };
  auto put32 = [](std::vector<std::uint8_t>& b, size_t at, std::uint32_t v) { std::memcpy(&b[at], &v, 4); };
  const Case cases[] = {
      {"shorter than 540 bytes", [](auto& b) { b.resize(530); }},
      {"size below 540", [&](auto& b) { put32(b, 0, 539); }},
      {"size past the file", [&](auto& b) { put32(b, 0, std::uint32_t(b.size()) + 10); }},
      {"truncated", [](auto& b) { b.resize(b.size() - 7); }},
      {"version 0", [&](auto& b) { put32(b, 4, 0x00FFFFFF); }},
      {"private size past the end", [&](auto& b) { put32(b, 532, 0xFFFFFFF0); }},
      {"text size past the end", [&](auto& b) { put32(b, 528, 0x7FFFFFFF); }},
      {"private and text together too long", [&](auto& b) { put32(b, 532, 20); }},
      {"audio section of 199 bytes", [&](auto& b) { put32(b, 56, 199); }},
      {"video section of 201 bytes", [&](auto& b) { put32(b, 256, 201); }},
      {"text without its terminator", [](auto& b) { b[b.size() - 1] = 'x'; }},
  };
  for (const Case& c : cases) {
    std::vector<std::uint8_t> bytes = good;
    c.damage(bytes);
    const auto file = dir / "bad.zot2";
    WriteBytes(file, bytes);
    TemplatePtr back;
    EXPECT_EQ(LoadFile(file, &back), ZOERR_BAD_FORMAT) << c.what;
    EXPECT_EQ(back, nullptr) << c.what;
  }
  TemplatePtr none;
  EXPECT_TRUE(FAILED(LoadFile(dir / "missing.zot2", &none)));
}

TEST(TemplateFiles, AnotherMajorIsKeptRawAndItsPartsAreNotTrusted) {
  ScratchDir dir;
  TemplatePtr t = Make(u"Master", u"notes", "pp");
  std::vector<std::uint8_t> bytes = Raw(t.get());
  const std::uint32_t version = 0x03000000, hostile = 0x7FFFFFF0;
  std::memcpy(&bytes[4], &version, 4);
  std::memcpy(&bytes[528], &hostile, 4);  // text far past the record
  WriteBytes(dir / "next.zot2", bytes);
  TemplatePtr back;
  ASSERT_EQ(LoadFile(dir / "next.zot2", &back), S_OK);
  EXPECT_FALSE(ZoTemplate_PartsFit(back.get()));
  EXPECT_EQ(std::u16string(ZoTemplate_Name(back.get())), u"");
  EXPECT_EQ(std::u16string(ZoTemplate_Notes(back.get())), u"");
  GUID id{};
  EXPECT_EQ(ZoFio_InitGUIDFromTemplateMD5DataHash(&id, back.get(), TRUE), S_OK);
  (void)ZoFio_GetTemplateDataCRC32(back.get(), TRUE);
  tagZOTEMPLATExV2* renamed = nullptr;
  ASSERT_EQ(ZoTemplate_Rebuild(&renamed, back.get(), u"Fixed", u"", nullptr, 0), S_OK);
  EXPECT_EQ(std::u16string(ZoTemplate_Name(renamed)), u"Fixed");
  ZoFio_ReleaseTemplate(renamed);
}

// The version 1 stream form, field by field.
std::vector<std::uint8_t> V1Stream(WORD fileTag, WORD bits, const std::string& priv) {
  ByteWriter w;
  w.u32le(0).u32le(0x01000005);
  std::vector<std::uint8_t> name(520, 0), notes(520, 0);
  const char16_t kName[] = u"Old";
  std::memcpy(name.data(), kName, sizeof kName);
  w.bytes(name.data(), name.size()).bytes(notes.data(), notes.size());
  w.u32le(1);  // audio
  WAVEFORMATEX read{};
  read.wFormatTag = WAVE_FORMAT_PCM;
  read.nChannels = 2;
  read.nSamplesPerSec = 44100;
  read.wBitsPerSample = 16;
  read.nBlockAlign = 4;
  read.nAvgBytesPerSec = 176400;
  w.bytes(&read, 18).u32le(1);
  WAVEFORMATEXTENSIBLE file{};
  file.Format = read;
  file.Format.wFormatTag = fileTag;
  file.Format.wBitsPerSample = bits;
  file.Format.cbSize = fileTag == WAVE_FORMAT_EXTENSIBLE ? 22 : 0;
  const size_t fileBytes = 18 + file.Format.cbSize;
  w.u32le(std::uint32_t(fileBytes)).bytes(&file, fileBytes);
  w.zeros(32).u32le(std::uint32_t(priv.size())).bytes(priv.data(), priv.size());
  w.u32le(0);  // no video
  std::vector<std::uint8_t> out = w.data();
  const std::uint32_t size = std::uint32_t(out.size());
  std::memcpy(out.data(), &size, 4);
  return out;
}

TEST(TemplateFiles, VersionOneIsUpliftedAndMarked) {
  ScratchDir dir;
  const auto file = dir / "old.zot";
  WriteBytes(file, V1Stream(WAVE_FORMAT_EXTENSIBLE, 32, "abc"));
  TemplatePtr t;
  ASSERT_EQ(LoadFile(file, &t), S_OK);
  EXPECT_EQ(t->version, 0x02000005u);
  EXPECT_EQ(t->audioSize, ZOTEMPLATE_SECTION_SIZE);
  EXPECT_EQ(std::u16string(ZoTemplate_Name(t.get())), u"Old");
  // An extensible file format of 32 bits is folded to float.
  EXPECT_EQ(reinterpret_cast<const WAVEFORMATEX*>(t->fileFormat)->wFormatTag, WAVE_FORMAT_IEEE_FLOAT);
  EXPECT_EQ(t->cbPrivate, 3u);
  EXPECT_TRUE(ZoFio_IsUpliftedV1Template(t.get()));
  EXPECT_EQ(t->templateId.Data1, ZoFio_GetTemplateDataCRC32(t.get(), FALSE));
  TemplatePtr fresh = Make(u"New", u"");
  EXPECT_FALSE(ZoFio_IsUpliftedV1Template(fresh.get()));

  WriteBytes(file, V1Stream(WAVE_FORMAT_EXTENSIBLE, 24, ""));
  ASSERT_EQ(LoadFile(file, &t), S_OK);
  EXPECT_EQ(reinterpret_cast<const WAVEFORMATEX*>(t->fileFormat)->wFormatTag, WAVE_FORMAT_PCM);

  // A version 1 stream cut anywhere is refused, never read past.
  const std::vector<std::uint8_t> whole = V1Stream(WAVE_FORMAT_PCM, 16, "abc");
  for (size_t cut : {size_t(8), size_t(600), size_t(1060), whole.size() - 1}) {
    std::vector<std::uint8_t> part(whole.begin(), whole.begin() + long(cut));
    IStream* s = SHCreateMemStream(part.data(), UINT(part.size()));
    tagZOTEMPLATExV2* out = nullptr;
    EXPECT_EQ(ZoFio_LoadTemplateDataV1(s, &out, nullptr), ZOERR_BAD_FORMAT) << cut;
    EXPECT_EQ(out, nullptr);
    s->Release();
  }
}

TEST(TemplateLists, StreamFormRoundTripsAndEndsWithEndOfFile) {
  tZOLIST* list = nullptr;
  ASSERT_EQ(ZoFio_CreateTemplateList(&list), S_OK);
  TemplatePtr a = Make(u"A", u"one", "x"), b = Make(u"B", u"two");
  tagZOTEMPLATExV2* copy = nullptr;
  ASSERT_EQ(ZoFio_CopyTemplate(&copy, a.get()), S_OK);
  ASSERT_EQ(ZoFio_AppendTemplate(list, copy), S_OK);
  ASSERT_EQ(ZoFio_CopyTemplate(&copy, b.get()), S_OK);
  ASSERT_EQ(ZoFio_AppendTemplate(list, copy), S_OK);
  IStream* stream = nullptr;
  ASSERT_EQ(ZoFio_MakeTemplateListIStream(list, &stream), S_OK);
  EXPECT_EQ(stream->Write("x", 1, nullptr), E_NOTIMPL);

  tZOLIST* back = nullptr;
  ASSERT_EQ(ZoFio_CreateTemplateList(&back), S_OK);
  ASSERT_EQ(ZoFio_AddTemplatesToListFromIStream(back, stream), S_OK);
  ASSERT_EQ(back->nItems, 2);
  EXPECT_EQ(Raw(ZoFio_TemplateAt(back, 0)), Raw(a.get()));
  EXPECT_EQ(Raw(ZoFio_TemplateAt(back, 1)), Raw(b.get()));
  BYTE one = 0;
  ULONG got = 0;
  EXPECT_EQ(stream->Read(&one, 1, &got), ZOERR_EOF);
  stream->Release();
  ZoFio_ReleaseTemplate(back, 0);
  EXPECT_EQ(back->nItems, 1);
  ZoFio_ReleaseTemplateList(back);
  ZoFio_ReleaseTemplateList(list);

  // A count that promises more records than the stream holds is refused.
  const std::uint32_t head[3] = {12, 100, 5};
  std::vector<std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(head), reinterpret_cast<const std::uint8_t*>(head) + 12);
  const auto raw = Raw(a.get());
  bytes.insert(bytes.end(), raw.begin(), raw.end());
  IStream* lying = SHCreateMemStream(bytes.data(), UINT(bytes.size()));
  ASSERT_EQ(ZoFio_CreateTemplateList(&back), S_OK);
  EXPECT_TRUE(FAILED(ZoFio_AddTemplatesToListFromIStream(back, lying)));
  EXPECT_EQ(back->nItems, 1);
  ZoFio_ReleaseTemplateList(back);
  lying->Release();
}

}  // namespace
