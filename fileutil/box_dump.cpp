// SPDX-License-Identifier: MIT
#include "fileutil/box_dump.h"

#include <fstream>

#include "fileutil/box_reader.h"

namespace fileutil {

namespace {

class Describer : public IBoxVisitor {
 public:
  explicit Describer(BoxDump& out) : m_out(out) {}
#define FILEUTIL_DESCRIBE_SLOT(T, forwards) \
  void visit(T* box) override { describe(box); }
  FILEUTIL_BOX_CLASSES(FILEUTIL_DESCRIBE_SLOT)
#undef FILEUTIL_DESCRIBE_SLOT

 private:
  template <typename T>
  void describe(T* box) {
    box->describe(m_out.fields);
    m_out.opaque = std::is_same_v<T, UnknownBox> || std::is_same_v<T, UnknownGuidBox>;
    if constexpr (std::is_base_of_v<IContainerBox, T>) m_out.children = DumpBoxes(box->children());
  }
  BoxDump& m_out;
};

void PeekMovieHeaders(std::ifstream& in, std::vector<BoxDump>& boxes) {
  for (BoxDump& b : boxes) {
    if (b.opaque && b.type == "mvhd" && b.size > b.headerSize && b.size < 4096) {
      std::vector<std::uint8_t> body(b.size - b.headerSize);
      in.clear();
      in.seekg(std::streamoff(b.offset + b.headerSize));
      in.read(reinterpret_cast<char*>(body.data()), std::streamsize(body.size()));
      body.resize(std::size_t(in.gcount()));
      ByteReader view(body.data(), body.size());
      MovieHeaderBox header;
      if (header.parse(view)) header.describe(b.fields);
    }
    PeekMovieHeaders(in, b.children);
  }
}

}  // namespace

std::vector<BoxDump> DumpBoxes(Boxes& boxes) {
  std::vector<BoxDump> out;
  out.reserve(boxes.size());
  for (IBox* box : boxes) {
    BoxDump d;
    d.type = box->type().text();
    d.offset = box->offset();
    d.size = box->size();
    d.headerSize = box->headerSize();
    Describer describer(d);
    box->accept(&describer);
    out.push_back(std::move(d));
  }
  return out;
}

HRESULT DumpBoxFile(const std::filesystem::path& file, BoxFileDump* out) {
  if (!out) return E_POINTER;
  try {
    std::ifstream in(file, std::ios::binary);
    if (!in.is_open()) return ZOERR_FILE_OPEN;
    BoxReader reader(in);
    out->fileSize = reader.limit();
    std::unique_ptr<Boxes> boxes = reader.readFile();
    out->boxes = DumpBoxes(*boxes);
    out->bytesRead = reader.in().bytesDelivered();
    out->skips = reader.in().skipCount();
    PeekMovieHeaders(in, out->boxes);
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return ZOERR_EXCEPTION;
  }
}

}  // namespace fileutil
