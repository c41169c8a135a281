// SPDX-License-Identifier: MIT
// vane boxes FILE [--json]: the box tree of an MP4, 3GP or QuickTime file.
#include <cstdio>
#include <string>
#include <variant>

#include "fileutil/box_dump.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"boxes", "boxes FILE [--json]", "the box tree of an MP4 file with the fields of known boxes",
                       &Run};
const Registrar kReg(kCommand);

void JsonValue(Json& out, const fileutil::Field::Value& v) {
  if (auto* u = std::get_if<std::uint64_t>(&v)) out.UInt(*u);
  else if (auto* i = std::get_if<std::int64_t>(&v)) out.Int(*i);
  else if (auto* d = std::get_if<double>(&v)) out.Number(*d);
  else if (auto* s = std::get_if<std::string>(&v)) out.String(*s);
  else {
    out.BeginArray();
    for (const std::string& e : std::get<std::vector<std::string>>(v)) out.String(e);
    out.EndArray();
  }
}

std::string TextValue(const fileutil::Field::Value& v) {
  if (auto* u = std::get_if<std::uint64_t>(&v)) return std::to_string(*u);
  if (auto* i = std::get_if<std::int64_t>(&v)) return std::to_string(*i);
  if (auto* d = std::get_if<double>(&v)) return std::to_string(*d);
  if (auto* s = std::get_if<std::string>(&v)) return "\"" + *s + "\"";
  std::string list = "[";
  for (const std::string& e : std::get<std::vector<std::string>>(v)) list += (list.size() > 1 ? " " : "") + e;
  return list + "]";
}

void JsonBoxes(Json& out, const std::vector<fileutil::BoxDump>& boxes) {
  out.BeginArray();
  for (const fileutil::BoxDump& b : boxes) {
    out.BeginObject()
        .Field("type", b.type)
        .Field("offset", b.offset)
        .Field("size", b.size)
        .Field("header_size", b.headerSize)
        .Field("opaque", b.opaque)
        .Key("fields")
        .BeginObject();
    for (const fileutil::Field& f : b.fields.list()) {
      out.Key(f.name);
      JsonValue(out, f.value);
    }
    out.EndObject().Key("children");
    JsonBoxes(out, b.children);
    out.EndObject();
  }
  out.EndArray();
}

void PrintBoxes(const std::vector<fileutil::BoxDump>& boxes, int depth) {
  for (const fileutil::BoxDump& b : boxes) {
    std::string line(std::size_t(depth) * 2, ' ');
    line += "[" + b.type + "] offset " + std::to_string(b.offset) + " size " + std::to_string(b.size);
    if (b.headerSize != 8) line += " header " + std::to_string(b.headerSize);
    if (b.opaque) line += " (opaque)";
    for (const fileutil::Field& f : b.fields.list()) line += " " + f.name + "=" + TextValue(f.value);
    std::printf("%s\n", line.c_str());
    PrintBoxes(b.children, depth + 1);
  }
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> files = args.Positional();
  if (files.size() != 1) return UsageError(kCommand, files.empty() ? "a file is needed" : "one file only");

  fileutil::BoxFileDump dump;
  const HRESULT hr = fileutil::DumpBoxFile(files[0], &dump);
  if (FAILED(hr)) return Failure(hr, files[0]);
  if (json) {
    Json out;
    out.BeginObject().Field("file", files[0]).Key("boxes");
    JsonBoxes(out, dump.boxes);
    std::printf("%s\n", out.EndObject().str().c_str());
  } else {
    std::printf("%s: %llu bytes\n", files[0].c_str(), static_cast<unsigned long long>(dump.fileSize));
    PrintBoxes(dump.boxes, 0);
  }
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
