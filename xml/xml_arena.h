// SPDX-License-Identifier: MIT
// The storage of one parsed document: nodes and strings come from large
// blocks freed together, and every list made for an element is destroyed
// with the arena, so closing a document never walks the tree (no recursion
// however deep the nesting).
#pragma once

#include <memory>
#include <vector>

#include "kernel/zolist.h"
#include "platform/types.h"

namespace vane::xml {

class Arena {
 public:
  Arena() = default;
  ~Arena();
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  // Zeroed, 8-aligned; null when memory runs out.
  void* Alloc(size_t bytes);
  template <typename T>
  T* New() {
    return static_cast<T*>(Alloc(sizeof(T)));
  }
  // A terminated copy of UTF-16 text.
  WCHAR* Text(const char16_t* text, size_t length);
  // Appends pointers to a list made on first use (none made for no items);
  // false when memory runs out.
  bool AppendAll(tZOLIST*& list, const std::vector<void*>& items);

 private:
  static constexpr size_t kBlock = 256 * 1024;
  std::vector<std::unique_ptr<BYTE[]>> m_blocks;
  size_t m_used = kBlock;
  std::vector<tZOLIST*> m_lists;
};

}  // namespace vane::xml
