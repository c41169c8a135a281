// SPDX-License-Identifier: MIT
#include "fileutil/metamap.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "fileutil/meta_stream.h"
#include "fileutil/picture_meta.h"
#include "platform/wtext.h"

namespace fileutil {

namespace {

std::vector<std::uint8_t> ReadWhole(const std::filesystem::path& file, bool* ok) {
  std::ifstream in(file, std::ios::binary);
  *ok = bool(in);
  return std::vector<std::uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::u16string MimeFor(const std::vector<std::uint8_t>& b) {
  if (b.size() >= 3 && b[0] == 0xFF && b[1] == 0xD8) return u"image/jpeg";
  if (b.size() >= 4 && b[0] == 0x89 && b[1] == 'P' && b[2] == 'N' && b[3] == 'G') return u"image/png";
  if (b.size() >= 2 && b[0] == 'B' && b[1] == 'M') return u"image/bmp";
  return u"application/octet-stream";
}

}  // namespace

void MetaMap::clear() {
  m_pictures.clear();
  m_items.clear();
  m_objects.clear();
  m_generics.clear();
}

bool MetaMap::empty() const { return m_pictures.empty() && m_items.empty() && m_objects.empty() && m_generics.empty(); }

void MetaMap::add(std::uint32_t key, const std::u16string& text) {
  if (key != 0) m_items.insert({key, text});
}

void MetaMap::add(const Picture& picture) { m_pictures.insert({picture.type, picture}); }

void MetaMap::add(const GeneralObject& object) { m_objects.insert({object.description, object}); }

bool MetaMap::addPicture(const std::filesystem::path& file, std::int32_t type) {
  bool ok = false;
  std::vector<std::uint8_t> bytes = ReadWhole(file, &ok);
  if (!ok) return false;
  Picture p;
  p.type = type;
  p.mimeType = MimeFor(bytes);
  p.description = vane::platform::FromUtf8(file.filename().string());
  p.data = std::move(bytes);
  add(p);
  return true;
}

bool MetaMap::addGeneralObject(const std::filesystem::path& file) {
  bool ok = false;
  GeneralObject o;
  o.data = ReadWhole(file, &ok);
  if (!ok) return false;
  o.mimeType = MimeFor(o.data);
  o.fileName = vane::platform::FromUtf8(file.filename().string());
  o.description = o.fileName;
  add(o);
  return true;
}

bool MetaMap::addSmfmf(const std::filesystem::path& file) {
  bool ok = false;
  const std::vector<std::uint8_t> bytes = ReadWhole(file, &ok);
  if (ok) initSmfmf(bytes);
  return ok;
}

void MetaMap::addGeneric(const GUID& guid, const std::vector<std::uint8_t>& bytes) { m_generics.insert({guid, bytes}); }

void MetaMap::initPicture(const std::u16string& description, const std::uint8_t* bytes, std::size_t size,
                          std::int32_t type) {
  Picture p;
  p.type = type;
  p.description = description;
  p.data.assign(bytes, bytes + size);
  p.mimeType = MimeFor(p.data);
  add(p);
}

void MetaMap::initSmfmf(const std::vector<std::uint8_t>& bytes) {
  GeneralObject o;
  o.mimeType = kSmfmfMime;
  o.description = kSmfmfDescription;
  o.data = bytes;
  add(o);
}

void MetaMap::init(IStream* stream) {
  if (stream) (void)InitMapFromSummaryStream(stream, this);
}

void MetaMap::initGeneric(IStream* stream) {
  if (stream) (void)InitMapFromGenericStream(stream, this);
}

void MetaMap::initPictureMapFromGeneric() {
  const auto range = m_generics.equal_range(GUID_ZoPictureMeta);
  for (auto it = range.first; it != range.second; ++it) {
    const std::vector<std::uint8_t>& blob = it->second;
    if (blob.size() < sizeof(ZOPICTUREMETA)) continue;
    const auto* r = reinterpret_cast<const ZOPICTUREMETA*>(blob.data());
    const std::uint64_t need = std::uint64_t(sizeof *r) + r->mimeTypeBytes + r->descriptionBytes + r->dataSize;
    if (need > blob.size() || r->mimeTypeBytes % 2 || r->descriptionBytes % 2) continue;  // a broken blob is skipped
    Picture p;
    p.type = r->pictureType;
    const auto* text = reinterpret_cast<const char16_t*>(blob.data() + sizeof *r);
    if (r->mimeTypeBytes) p.mimeType.assign(text, r->mimeTypeBytes / 2 - 1);
    if (r->descriptionBytes) p.description.assign(text + r->mimeTypeBytes / 2, r->descriptionBytes / 2 - 1);
    const std::uint8_t* data = blob.data() + sizeof *r + r->mimeTypeBytes + r->descriptionBytes;
    p.data.assign(data, data + r->dataSize);
    add(p);  // an existing type is not replaced
  }
}

void MetaMap::initGenericFromPictureMap() {
  for (const auto& [type, p] : m_pictures) {
    const DWORD size = ZoPicture_GetMetaSizeNeeded(p.mimeType.c_str(), p.description.c_str(), DWORD(p.data.size()));
    std::vector<std::uint8_t> blob(size);
    ZoPicture_SetMeta(reinterpret_cast<ZOPICTUREMETA*>(blob.data()), DWORD(-1), type, p.mimeType.c_str(),
                      p.description.c_str(), DWORD(p.data.size()), p.data.data());
    addGeneric(GUID_ZoPictureMeta, blob);
  }
}

void MetaMap::initSmfmfFromGeneric() {
  const auto range = m_generics.equal_range(GUID_ZoSmfmfMeta);
  for (auto it = range.first; it != range.second; ++it) {
    const std::vector<std::uint8_t>& blob = it->second;
    if (blob.size() < sizeof(ZOSMFMFMETA)) continue;
    const auto* r = reinterpret_cast<const ZOSMFMFMETA*>(blob.data());
    if (std::uint64_t(r->dataSize) + sizeof *r > blob.size()) continue;
    const std::uint8_t* data = blob.data() + sizeof *r;
    initSmfmf(std::vector<std::uint8_t>(data, data + r->dataSize));
  }
}

void MetaMap::initGenericFromSmfmf() {
  const auto range = m_objects.equal_range(kSmfmfDescription);
  for (auto it = range.first; it != range.second; ++it) {
    const std::vector<std::uint8_t>& d = it->second.data;
    std::vector<std::uint8_t> blob(ZoSmfmf_GetMetaSizeNeeded(DWORD(d.size())));
    ZoSmfmf_SetMeta(reinterpret_cast<ZOSMFMFMETA*>(blob.data()), DWORD(d.size()), d.data());
    addGeneric(GUID_ZoSmfmfMeta, blob);
  }
}

void MetaMap::initGenericFromGeob() {
  // A wrapped generic is an object whose data is one generic header and its
  // blob.
  for (const auto& [name, o] : m_objects) {
    if (o.data.size() < sizeof(ZOGENERICMETAHEADER)) continue;
    ZOGENERICMETAHEADER head;
    std::memcpy(&head, o.data.data(), sizeof head);
    if (head.headerSize != sizeof head || head.kind != ZOGENERICMETA_KIND ||
        std::uint64_t(head.dataSize) + sizeof head != o.data.size())
      continue;
    addGeneric(head.guid, std::vector<std::uint8_t>(o.data.begin() + sizeof head, o.data.end()));
  }
}

std::u16string MetaMap::getMetaItem(std::uint32_t key) const {
  const auto it = m_items.find(key);
  return it == m_items.end() ? std::u16string() : it->second;
}

void MetaMap::genericGuids(std::set<GUID, GuidCmpLess>& out) const {
  for (const auto& g : m_generics) out.insert(g.first);
}

std::uint64_t MetaMap::getGenericByteCount(const GUID& guid) const {
  std::uint64_t n = 0;
  const auto range = m_generics.equal_range(guid);
  for (auto it = range.first; it != range.second; ++it) n += it->second.size();
  return n;
}

const GeneralObject* MetaMap::getGeneralObject(const std::u16string& name) const {
  const auto it = m_objects.find(name);
  return it == m_objects.end() ? nullptr : &it->second;
}

std::uint64_t MetaMap::getValueByteCount() const {
  std::uint64_t n = 0;
  for (const auto& item : m_items) n += (item.second.size() + 1) * 2;
  return n;
}

bool MetaMap::merge(const MetaMap& other) {
  bool differ = false;
  for (const auto& item : m_items)
    if (!other.m_items.count(item.first)) {
      differ = true;
      break;
    }
  for (const auto& [key, text] : other.m_items) {
    const auto it = m_items.find(key);
    if (it == m_items.end()) m_items.insert({key, text});
    else if (it->second != text) differ = true;
  }
  return differ || !m_pictures.empty() || !m_objects.empty() || !m_generics.empty();
}

void MetaMap::dumpPictures(const std::filesystem::path& folder, const std::string& stem) const {
  for (const auto& [type, p] : m_pictures) {
    std::string ext = vane::platform::ToUtf8(std::u16string_view(p.mimeType));
    if (ext.rfind("image/", 0) == 0) ext = ext.substr(6);
    std::string description = p.description.empty() ? "NO_DESCRIPTION" : vane::platform::ToUtf8(std::u16string_view(p.description));
    for (char& c : description)
      if (c == '/' || c == '\\') c = '_';
    std::ofstream out(folder / (stem + "_" + std::to_string(type) + "_" + description + "." + ext), std::ios::binary);
    out.write(reinterpret_cast<const char*>(p.data.data()), std::streamsize(p.data.size()));
  }
}

}  // namespace fileutil
