// SPDX-License-Identifier: MIT
// CZoFileIOManager: finds plug-in modules, remembers what each holds in a
// cache file, ranks reader and renderer classes, loads a class only when it
// is needed, and answers which reader takes a file.
//
// Ownership: the manager owns its plug-in list and every class object of it
// until Shutdown. Threads: any thread may call; the named mutex serialises
// candidate search and class initialisation, which runs on the manager's
// own init thread. The plug-in list carries its own recursive lock.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "fileio/detail/init_thread.h"
#include "fileio/detail/named_mutex.h"
#include "fileio/plugin_entry.h"
#include "fileio/zofileio.h"

namespace vane::fileio {

class CZoFileIOTypeEnum;
class CZoFIOPluginEnum;

// Creation flags.
inline constexpr DWORD kCreateRebuild = 4;
inline constexpr DWORD kCreateFilesBesideExe = 64;
inline constexpr DWORD kCreateNoCache = 128;
inline constexpr DWORD kCreateNoDiscovery = 256;
inline constexpr DWORD kCreateNoVersionFolder = 512;

inline constexpr LONG kMetricRebuild = 0;
inline constexpr LONG kMetricNoNameProbe = 22;

class CZoFileIOManager final : public IZoFileIOMgrForApp {
 public:
  explicit CZoFileIOManager(bool surrogateMode);

  // IUnknown
  HRESULT QueryInterface(REFIID riid, void** object) override;
  ULONG AddRef() override;
  ULONG Release() override;

  // IZoFileIOManager
  HRESULT GetLCID(DWORD* lcid, DWORD reserved) override;
  HRESULT Slot4() override { return E_NOTIMPL; }
  HRESULT GetMetric(LONG id, DWORD* value) override;
  HRESULT SetMetric(LONG id, DWORD value) override;
  HRESULT GetMetricText(LONG id, WCHAR* buffer, DWORD capacity, DWORD* length) override;
  HRESULT SetMetricText(LONG id, LPCWSTR text) override;
  HRESULT DeleteMetric(LONG id, LONG kind) override;
  HRESULT GetMetricBinary(LONG id, void* buffer, DWORD bytes, DWORD* bytesOut) override;
  HRESULT SetMetricBinary(LONG id, const void* buffer, DWORD bytes) override;
  HRESULT Slot12() override { return E_NOTIMPL; }
  HRESULT GetReadClassById(IZoReadFileClass** out, DWORD id) override;
  HRESULT GetReadClassByGuid(IZoReadFileClass** out, REFGUID id) override;
  HRESULT GetRenderClassByGuid(IZoRenderFileClass** out, REFGUID id) override;
  HRESULT FindReadClassByExtension(IZoReadFileClass** out, LPCWSTR ext, LONG* position) override;
  HRESULT FindRenderClassByExtension(IZoRenderFileClass** out, LPCWSTR ext, LONG* position) override;
  HRESULT OpenReadFile(LPCWSTR fileName, IZoReadFile** out, DWORD flags) override;
  HRESULT OpenReadFileWithClass(LPCWSTR fileName, IZoReadFile** out, REFGUID classId, DWORD flags) override;
  // Editing a template is a dialog of the host's UI kit; a library without a
  // UI has nothing to show, so the slot stays unimplemented.
  HRESULT EditTemplate(HWND, IZoRenderFileClass*, tagZOTEMPLATExV2**, DWORD) override { return E_NOTIMPL; }
  HRESULT Initialize(DWORD flags) override;
  HRESULT Shutdown() override;
  HRESULT GetReaderEnum(IZoFileIOTypeEnum** out) override;
  HRESULT GetRendererEnum(IZoFileIOTypeEnum** out) override;
  LONG GetReaderCount() override;
  LONG GetRendererCount() override;
  HRESULT FindReaderForHandle(HANDLE file, LPCWSTR fileName, LONG* typeIndex, DWORD flags) override;
  HRESULT FindReaderForName(LPCWSTR fileName, LONG* typeIndex) override;
  HRESULT GetReadClassByIndex(IZoReadFileClass** out, LONG index) override;
  HRESULT GetRenderClassByIndex(IZoRenderFileClass** out, LONG index) override;
  HRESULT FindRendererByName(IZoRenderFileClass** out, LPCWSTR text) override;
  HRESULT Slot32() override { return E_NOTIMPL; }
  HRESULT QuickFindReader(LPCWSTR fileName, IZoReadFileClass** out) override;
  HRESULT IsFileOfReaderKind(LPCWSTR fileName) override;
  HRESULT GetPluginCount(LONG* count) override;
  HRESULT IsPluginKnown(REFGUID classId) override;
  HRESULT GetPluginEnum(IZoFIOPluginEnum** out) override;
  HRESULT GetPluginInfo(REFGUID classId, ZOFIO_PLUGININFO* record) override;
  // The filter builder is a later addition to the manager.
  HRESULT CreateFilterBuilder(IZoFioFilterBuilder2** out) override;
  HRESULT CreateFilterBuilder(IZoFioFilterBuilder2** out, DWORD flags) override;

  // IZoFileIOMgrForApp
  void Destroy() override;
  HRESULT InitializeEx(DWORD flags, LPCWSTR name) override;
  HRESULT LoadPluginList(void* list, DWORD flags, BOOL* allCached) override;
  HRESULT AddCandidates(void* list, const WCHAR* const* names, LONG count, DWORD flags, BOOL* allCached) override;
  HRESULT FindCandidates(void* list, DWORD flags, BOOL* allCached) override;
  HRESULT Slot46() override { return E_NOTIMPL; }
  HRESULT SetInitMetrics(const _ZOFIO_INITIALIZATION_METRICS* metrics) override;
  HRESULT AttachPluginList(void* list, DWORD filterFlags, const GUID* guids, DWORD count) override;
  HRESULT WriteCache(DWORD flags) override;
  HRESULT MapIdToIndex(DWORD id, LONG* index) override;
  HRESULT GetLastReadClass(IZoReadFileClass** out) override;
  HRESULT SetLastReadClass(IZoReadFileClass* cls) override;
  HRESULT GetLastRenderClass(IZoRenderFileClass** out) override;
  HRESULT SetLastRenderClass(IZoRenderFileClass* cls) override;

  // Internal to the library.
  HRESULT Create(DWORD flags, const _ZOFIO_KEYED_INFO* info, const WCHAR* const* names, LONG count);
  // The class-initialisation road; gives the class with a reference.
  HRESULT EnsureReader(tZOFIOPLUGINENTRY* e, IZoReadFileClass** out);
  HRESULT EnsureRenderer(tZOFIOPLUGINENTRY* e, IZoRenderFileClass** out);
  // The probe with the stage that decided it (ProbeStage of zofileio.h).
  HRESULT FindReaderForHandleEx(HANDLE file, LPCWSTR fileName, LONG* typeIndex, DWORD flags, ProbeStage* stage);
  HRESULT OpenReadFileEx(LPCWSTR fileName, IZoReadFile** out, DWORD flags, ProbeReport* report);
  std::vector<PluginDescription> Describe();
  const std::u16string& CachePath() const { return m_cachePath; }
  const std::u16string& MetricsPath() const { return m_metricsPath; }
  PluginList* list() const { return m_list.get(); }
  std::vector<tZOFIOPLUGINENTRY*> SortedReaders() const;
  std::vector<tZOFIOPLUGINENTRY*> SortedRenderers() const;

 private:
  ~CZoFileIOManager();

  HRESULT ResolveFolders();
  // The list a slot's list argument names: the given one, else the manager's own.
  PluginList* ListOrOwn(void* list);
  HRESULT ReadCache(PluginList* list, const std::vector<tZOFIOPLUGINENTRY*>& fresh, bool* allCached);
  void ApplyProbe(PluginList* list, tZOFIOPLUGINENTRY* e);
  HRESULT InitializeMarkedClasses();
  HRESULT RunInit(const std::function<HRESULT()>& work);
  HRESULT InitEntry(tZOFIOPLUGINENTRY* e);
  HRESULT InitReaderHere(tZOFIOPLUGINENTRY* e);
  HRESULT InitRendererHere(tZOFIOPLUGINENTRY* e);
  tZOFIOPLUGINENTRY* ReaderEntryByGuid(const GUID& g) const;
  tZOFIOPLUGINENTRY* ReaderEntryByIndex(LONG index) const;
  tZOFIOPLUGINENTRY* ReaderEntryByClass(IZoReadFileClass* cls) const;
  HRESULT ReaderByExtension(const WCHAR* ext, LONG* position, tZOFIOPLUGINENTRY** found);
  HRESULT ReadHead(HANDLE file, std::vector<BYTE>* head);
  std::u16string MetricKey(char kind, LONG id) const;
  HRESULT ReadConfigFile(const std::u16string& configPath, std::vector<std::u16string>* names,
                         std::vector<std::array<LONG, 2>>* extra, std::vector<GUID>* meritReaders);

  CZoFileIOTypeEnum* m_readerEnum = nullptr;
  CZoFileIOTypeEnum* m_rendererEnum = nullptr;
  CZoFIOPluginEnum* m_pluginEnum = nullptr;
  std::atomic<LONG> m_refs{1};
  std::atomic<LONG> m_lastRead{-1};
  std::atomic<LONG> m_lastRender{-1};
  std::unique_ptr<PluginList> m_list;
  std::array<DWORD, ZOFIO_FAST_METRIC_COUNT> m_fast{};
  std::unique_ptr<detail::NamedMutex> m_mutex;
  bool m_shutDown = false;
  detail::InitThread m_initThread;
  bool m_surrogateMode = false;
  std::vector<std::u16string> m_skipNames;

  DWORD m_flags = 0;
  bool m_foldersResolved = false;
  std::u16string m_productName;
  std::u16string m_cachePath;
  std::u16string m_metricsPath;
};

// Replaces the quick identification of the table stage (tests only; null
// restores the RIFF library's function).
using QuickIdentifyFn = BOOL (*)(HANDLE file, LPCWSTR name, DWORD flags, DWORD* type);
void SetQuickIdentifyForTests(QuickIdentifyFn fn);

}  // namespace vane::fileio
