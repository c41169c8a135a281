// SPDX-License-Identifier: MIT
// BaseUnsharedFIOPluginInfo: the object a module offers under the discovery
// class id to tell the manager which classes it holds. A plug-in supplies a
// table of rows and its count; the base answers GetFilterCount and
// GetFilterInfo from it. Slots 6 and 7 hand out the table and the count
// (through their first argument) to whoever asks in process.
//
// BaseClassFactory makes the objects of a module for DllGetClassObject.
// Both are free-threaded and hold no state that changes after creation.
#pragma once

#include <atomic>

#include "fileio/fio_interfaces.h"
#include "platform/export.h"

namespace ffbase {

// One class of the module: five words.
struct FilterRow {
  const GUID* classId;
  const WCHAR* name;
  DWORD access;       // ZOFIO_FILTER_ACCESS_* bits
  DWORD streamTypes;  // ZOFILESTREAMTYPE bits
  DWORD flags;        // ZOFIO_FILTERFLAG_* bits
};

class VANE_EXPORT BaseUnsharedFIOPluginInfo : public IZoUnsharedFIOPluginInfo {
 public:
  BaseUnsharedFIOPluginInfo();
  BaseUnsharedFIOPluginInfo(const BaseUnsharedFIOPluginInfo&) = delete;
  BaseUnsharedFIOPluginInfo& operator=(const BaseUnsharedFIOPluginInfo&) = delete;

  HRESULT QueryInterface(REFIID iid, void** out) override;
  ULONG AddRef() override;
  ULONG Release() override;
  HRESULT Init(LPCWSTR modulePath, DWORD flags, BOOL recheck) override;
  HRESULT GetFilterCount(LONG* count) override;
  HRESULT GetFilterInfo(LONG index, GUID* classId, WCHAR* name, DWORD capacity, DWORD* access, DWORD* streamTypes,
                        DWORD* flags, DWORD* enumerable, DWORD* reserved) override;
  // a: const FilterRow** that receives the table.
  HRESULT PluginSlot6(LONG_PTR a, LONG_PTR b) override;
  // a: LONG* that receives the row count.
  HRESULT PluginSlot7(LONG_PTR a, LONG_PTR b) override;

  virtual const FilterRow* GetFilterTable() = 0;
  virtual LONG GetFilterTableCount() = 0;

 protected:
  virtual ~BaseUnsharedFIOPluginInfo();

 private:
  std::atomic<ULONG> m_refs{1};
};

// Creates one kind of object: the creator makes it with one reference.
class VANE_EXPORT BaseClassFactory : public IClassFactory {
 public:
  using Creator = IUnknown* (*)();
  explicit BaseClassFactory(Creator creator);

  HRESULT QueryInterface(REFIID iid, void** out) override;
  ULONG AddRef() override;
  ULONG Release() override;
  HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
  HRESULT LockServer(BOOL lock) override;

  // The DllGetClassObject road: a factory for creator, asked for iid.
  static HRESULT Make(Creator creator, REFIID iid, void** out);

 protected:
  virtual ~BaseClassFactory();

 private:
  std::atomic<ULONG> m_refs{1};
  Creator m_creator;
};

}  // namespace ffbase
