// SPDX-License-Identifier: MIT
// BaseRenderFileClass: the renderer class of a plug-in format. It carries
// the reference count, the type index and the manager, makes file objects
// from templates (Create) and hands out the plug-in's presets; at a second
// table it enumerates the summary tags the format can write.
#pragma once

#include <atomic>

#include "fileio/fio_interfaces.h"
#include "fileio/zotemplate.h"
#include "platform/export.h"

namespace ffbase {

class BaseGlobalParm;
class BaseRenderFile;

class VANE_EXPORT BaseRenderFileClass : public IZoRenderFileClass, public IZoRenderMetaSupport2 {
 public:
  BaseRenderFileClass();
  BaseRenderFileClass(const BaseRenderFileClass&) = delete;
  BaseRenderFileClass& operator=(const BaseRenderFileClass&) = delete;

  HRESULT QueryInterface(REFIID iid, void** out) override;
  ULONG AddRef() override;
  ULONG Release() override;
  HRESULT SetTypeIndex(LONG index) override;
  HRESULT GetTypeIndex(LONG* index) override;
  HRESULT SetIOManager(IZoFileIOManager* manager) override;
  HRESULT GetIOManager(IZoFileIOManager** manager) override;
  HRESULT GetTypeID(GUID* id) override;
  HRESULT GetAllowedStreamTypes(ULONG* types) override;
  HRESULT GetReadClass(IZoReadFileClass** out) override;
  HRESULT Open(IZoRenderFile* file, void* reserved, LPCWSTR name) override;
  // A file object from a copy of `tmpl` (preset 0 without one), named and
  // given its read streams.
  HRESULT Create(IZoRenderFile** out, LPCWSTR name, LONG streamCount, IZoReadStream** streams,
                 tagZOTEMPLATExV2* tmpl) override;
  HRESULT GetPresetCount(LONG* count) override;
  // A copy of the preset the caller releases.
  HRESULT GetPreset(tagZOTEMPLATExV2** out, LONG index) override;
  HRESULT ChooseBestPreset(tagZOTEMPLATExV2* tmpl, LONG flags, LONG* index) override;
  HRESULT ConformTemplate(tagZOTEMPLATExV2** out, tagZOTEMPLATExV2* tmpl, DWORD reason) override;
  HRESULT ConformTemplateToSource(tagZOTEMPLATExV2** out, tagZOTEMPLATExV2* tmpl, IZoReadFile* source,
                                  DWORD reason) override;
  HRESULT GetTemplateInfo(tagZOTEMPLATExV2* tmpl, void* buffer, DWORD bytes, DWORD info) override;
  HRESULT HasAboutBox() override;
  HRESULT ShowAboutBox(HWND window) override;
  HRESULT GetStatus(LONG* status, WCHAR** text) override;

  // IZoRenderMetaSupport2.
  HRESULT Reset() override;
  HRESULT GetNextSumTag(ULONG* tag, ULONG* flags) override;
  HRESULT PluginSlot5(LONG_PTR, LONG_PTR) override { return E_NOTIMPL; }

  // The plug-in's own slots.
  virtual const GUID* GetClassGuid() = 0;                                        // 27
  virtual const GUID* GetReadClassGuid() = 0;                                    // 28
  virtual HRESULT CreateRenderFile(BaseRenderFile** out, tagZOTEMPLATExV2* tmpl) = 0;  // 29, takes tmpl
  virtual LONG CountPresets() = 0;                                               // 30
  virtual HRESULT PluginSlot31() { return E_NOTIMPL; }                           // 31
  virtual HRESULT PluginSlot32() { return E_NOTIMPL; }                           // 32
  virtual HRESULT GetPresetGuid(LONG index, GUID* id) = 0;                       // 33
  virtual HRESULT PluginSlot34() { return E_NOTIMPL; }                           // 34
  // The class's own preset record (not a copy); null past the end.
  virtual const tagZOTEMPLATExV2* GetPresetRecord(LONG index) = 0;               // 35
  virtual HRESULT PluginSlot36() { return E_NOTIMPL; }                           // 36
  virtual HRESULT PluginSlot37() { return E_NOTIMPL; }                           // 37
  // The summary tag at a position; non-zero status past the last.
  virtual HRESULT GetSummaryTagAt(LONG position, ULONG* tag) = 0;                // 38
  virtual HRESULT PluginSlot39() { return E_NOTIMPL; }                           // 39
  virtual BaseGlobalParm* GetGlobalParm() = 0;                                   // 40

  // The first preset whose GUID is `id`: status 0; none: *index -1, status 1.
  HRESULT GetPresetIndexFromGuid(const GUID& id, LONG* index);

 protected:
  virtual ~BaseRenderFileClass();

 private:
  std::atomic<ULONG> m_refs{1};
  std::atomic<LONG> m_typeIndex{-1};
  std::atomic<IZoFileIOManager*> m_manager{nullptr};
  std::atomic<LONG> m_tagPosition{0};
};

}  // namespace ffbase
