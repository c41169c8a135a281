// SPDX-License-Identifier: MIT
// BaseReadFileClass: the reader class of a plug-in format. It carries the
// reference count, the type index and the manager; a plug-in adds its class
// GUID, its probe (IsType), its texts (GetInfoText) and the factory of its
// file objects (CreateFile). One object per format, created by the manager
// and entered from any host thread; it holds no lock.
#pragma once

#include <atomic>

#include "fileio/fio_interfaces.h"
#include "platform/export.h"

namespace ffbase {

class BaseGlobalParm;
class BaseReadFile;

class VANE_EXPORT BaseReadFileClass : public IZoReadFileClass {
 public:
  BaseReadFileClass();
  BaseReadFileClass(const BaseReadFileClass&) = delete;
  BaseReadFileClass& operator=(const BaseReadFileClass&) = delete;

  HRESULT QueryInterface(REFIID iid, void** out) override;
  ULONG AddRef() override;
  ULONG Release() override;
  HRESULT SetTypeIndex(LONG index) override;
  HRESULT GetTypeIndex(LONG* index) override;
  // Keeps the manager (not counted: the manager outlives its classes).
  HRESULT SetIOManager(IZoFileIOManager* manager) override;
  HRESULT GetIOManager(IZoFileIOManager** manager) override;
  HRESULT GetTypeID(GUID* id) override;
  HRESULT GetAllowedStreamTypes(ULONG* types) override;
  HRESULT GetRenderClass(IZoRenderFileClass** out) override;
  // Reads the first 4096 bytes and asks IsType; 0x80004005 when the file
  // can't be opened or read.
  HRESULT IsTypeSlow(LPCWSTR fileName) override;
  HRESULT IsTypeFromId(ULONG id) override;
  // CreateFile, SetFile(name), and OpenFile when openNow is set. On failure
  // the object is released and *out stays empty.
  HRESULT Open(IZoReadFile** out, HANDLE file, DWORD processId, LPCWSTR fileName, BOOL openNow) override;
  HRESULT HasAboutBox() override;
  HRESULT ShowAboutBox(HWND window) override;
  HRESULT GetStatus(LONG* status, WCHAR** text) override;

  // Slots 19 to 23.
  virtual HRESULT CreateFile(BaseReadFile** out) = 0;
  virtual const GUID* GetClassGuid() = 0;
  virtual const GUID* GetRenderClassGuid() = 0;
  virtual const WCHAR* GetAboutText() = 0;
  virtual BaseGlobalParm* GetGlobalParm() = 0;

  LONG TypeIndex() const { return m_typeIndex; }

 protected:
  virtual ~BaseReadFileClass();

 private:
  std::atomic<ULONG> m_refs{1};
  std::atomic<LONG> m_typeIndex{-1};
  std::atomic<IZoFileIOManager*> m_manager{nullptr};
};

}  // namespace ffbase
