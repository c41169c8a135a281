// SPDX-License-Identifier: MIT
// CZoFileIOTypeEnum (with CZoReaderEnum and CZoRendererEnum): the sorted
// classes of one kind; CZoFIOPluginEnum: a cursor over the plug-in list that
// fills the 592-byte information record. Each is owned by its manager and
// holds plain pointers into the manager's list. The manager hands each
// caller its own copy, so a cursor belongs to one caller; the entry list is
// fixed after Init.
#pragma once

#include <atomic>
#include <vector>

#include "fileio/plugin_entry.h"

namespace vane::fileio {

class CZoFileIOManager;

class CZoFileIOTypeEnum : public IZoFileIOTypeEnum {
 public:
  HRESULT QueryInterface(REFIID riid, void** object) override;
  ULONG AddRef() override { return ULONG(++m_refs); }
  ULONG Release() override;
  // Initialises each class on its way and returns only those that have one.
  HRESULT Next(ULONG count, IUnknown** objects, ULONG* fetched) override;
  HRESULT Skip(ULONG count) override;
  HRESULT Reset() override;
  HRESULT Clone(IZoFileIOTypeEnum** out) override;
  HRESULT Slot7() override { return E_NOTIMPL; }
  LONG GetCount() override { return LONG(m_entries.size()); }

  // Picks the entries of this kind from the list, filters, drops hidden
  // duplicates, sorts by rank and GUID and hands out type indexes.
  HRESULT Init(CZoFileIOManager* manager, DWORD filterFlags, const GUID* guids, DWORD count, PluginList* list);
  const std::vector<tZOFIOPLUGINENTRY*>& entries() const { return m_entries; }
  // A new enumerator over the same sorted entries with its own cursor, at
  // this one's position or at the start.
  CZoFileIOTypeEnum* Copy(bool keepPosition) const;

 protected:
  explicit CZoFileIOTypeEnum(bool readers) : m_readers(readers) {}
  virtual ~CZoFileIOTypeEnum() = default;

 private:
  bool m_readers;
  std::atomic<LONG> m_refs{1};
  CZoFileIOManager* m_manager = nullptr;
  std::vector<tZOFIOPLUGINENTRY*> m_entries;
  size_t m_cursor = 0;
};

class CZoReaderEnum final : public CZoFileIOTypeEnum {
 public:
  CZoReaderEnum() : CZoFileIOTypeEnum(true) {}
};

class CZoRendererEnum final : public CZoFileIOTypeEnum {
 public:
  CZoRendererEnum() : CZoFileIOTypeEnum(false) {}
};

class CZoFIOPluginEnum final : public IZoFIOPluginEnum {
 public:
  explicit CZoFIOPluginEnum(PluginList* list);
  HRESULT QueryInterface(REFIID riid, void** object) override;
  ULONG AddRef() override { return ULONG(++m_refs); }
  ULONG Release() override;
  HRESULT Next(ULONG count, ZOFIO_PLUGININFO* records, ULONG* fetched) override;
  HRESULT Skip(ULONG count) override;
  HRESULT Reset() override;
  HRESULT Clone(IZoFIOPluginEnum**) override { return E_UNEXPECTED; }
  // A new enumerator over the same entries with its own cursor at the start.
  CZoFIOPluginEnum* Copy() const;
  HRESULT GetPluginInfo(REFGUID classId, ZOFIO_PLUGININFO* record) override;
  HRESULT Slot8() override { return E_NOTIMPL; }
  HRESULT Slot9() override { return E_UNEXPECTED; }
  LONG Count() const { return LONG(m_entries.size()); }

 private:
  CZoFIOPluginEnum() = default;
  ~CZoFIOPluginEnum() = default;
  static HRESULT Fill(const tZOFIOPLUGINENTRY& e, ZOFIO_PLUGININFO* record);

  std::atomic<LONG> m_refs{1};
  std::vector<const tZOFIOPLUGINENTRY*> m_entries;
  size_t m_cursor = 0;
};

}  // namespace vane::fileio
