// SPDX-License-Identifier: MIT
// Descriptor reader on arbitrary bytes; a tree that reads is written and read
// again, and must then describe itself the same way.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fileutil/esds/descriptor.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::unique_ptr<esds::Descriptor> tree = esds::ReadDescriptorTree(data, size);
  if (!tree) return 0;
  esds::DescriptorPrinter first;
  tree->accept(&first);
  fileutil::ByteWriter out;
  esds::WriteDescriptorTree(tree.get(), out);
  std::unique_ptr<esds::Descriptor> again = esds::ReadDescriptorTree(out.data().data(), out.size());
  if (!again) std::abort();
  esds::DescriptorPrinter second;
  again->accept(&second);
  return 0;
}
