// SPDX-License-Identifier: MIT
// Factories: each maps a key to a prototype box and makes fresh boxes by
// cloning it; a key it does not know gives that factory's unknown class. What
// a read knows is set by the factory chosen: BoxFactory for a complete parse,
// ReadMetaFactory for metadata, MetaFactory for an update (everything else
// stays opaque and is reproduced byte for byte), ITunesReadFactory below
// ilst, DataBoxFactory for data atoms by type, GuidBoxFactory for uuid boxes.
//
// The six factories are built once by InitializeLibrary (the readers call it)
// and are read-only afterwards, so they may be shared between threads.
#pragma once

#include <map>
#include <memory>

#include "fileutil/boxes.h"
#include "platform/guid.h"

namespace fileutil {

template <typename Key>
class IFactory {
 public:
  virtual ~IFactory() = default;
  // A new box for the key; the caller owns it. Never null.
  virtual IBox* create(const Key& key) const = 0;
  virtual void init() = 0;
};

struct FourCCCmp {
  bool operator()(FourCC a, FourCC b) const { return unsigned(a) < unsigned(b); }
};
// Lexicographic order on the 16 bytes.
using GuidCmp = vane::platform::GuidLess;

// A fresh instance of the same class as the box visited, with the identity
// that the class cannot know by itself (the code of an UnknownBox, the type
// word of an UnknownDataBox, the identifier of a uuid box).
class BoxCloner : public IBoxVisitor {
 public:
  static IBox* clone(IBox* box);
#define FILEUTIL_CLONE_SLOT(T, forwards) void visit(T* box) override;
  FILEUTIL_BOX_CLASSES(FILEUTIL_CLONE_SLOT)
#undef FILEUTIL_CLONE_SLOT
  IBox* result = nullptr;
};

template <typename Key, typename Base, typename Unknown, typename Cmp>
class Factory : public IFactory<Key> {
 public:
  IBox* create(const Key& key) const override {
    const auto it = m_prototypes.find(key);
    if (it == m_prototypes.end()) return new Unknown(key);
    return BoxCloner::clone(it->second.get());
  }
  bool knows(const Key& key) const { return m_prototypes.count(key) != 0; }

 protected:
  void add(const Key& key, Base* prototype) { m_prototypes[key].reset(prototype); }

 private:
  std::map<Key, std::unique_ptr<Base>, Cmp> m_prototypes;
};

// Which factory a table row belongs to.
enum FactorySet : std::uint8_t { kFullParse = 1, kReadMeta = 2, kMetaUpdate = 4, kITunesItems = 8 };

class BoxFactory : public Factory<FourCC, IBox, UnknownBox, FourCCCmp> {
 public:
  explicit BoxFactory(std::uint8_t set = kFullParse) : m_set(set) {}
  void init() override;

 private:
  std::uint8_t m_set;
};
class ReadMetaFactory : public BoxFactory {
 public:
  ReadMetaFactory() : BoxFactory(kReadMeta) {}
};
class MetaFactory : public BoxFactory {
 public:
  MetaFactory() : BoxFactory(kMetaUpdate) {}
};
class ITunesReadFactory : public BoxFactory {
 public:
  ITunesReadFactory() : BoxFactory(kITunesItems) {}
};

class DataBoxFactory : public Factory<unsigned int, IBox, UnknownDataBox, std::less<unsigned int>> {
 public:
  void init() override;
};

class GuidBoxFactory : public Factory<GUID, IBox, UnknownGuidBox, GuidCmp> {
 public:
  void init() override;
};

struct Library {
  BoxFactory full;
  ReadMetaFactory readMeta;
  MetaFactory update;
  ITunesReadFactory itunes;
  DataBoxFactory data;
  GuidBoxFactory guid;
};

// Builds the factories on first use; later calls return the same set.
VANE_EXPORT const Library& InitializeLibrary();

}  // namespace fileutil
