// SPDX-License-Identifier: MIT
// A format plug-in on the raw interfaces, built several times by the tests
// with different macros: a fake format recognised by a four-byte magic and
// an extension list, and the misbehaviours the manager must survive.
//
// FAKE_VARIANT picks one of the variants below, which set:
//   FAKE_ID          Data1 of the first class id; class i adds i. Reader ids
//                    add 0x1000, renderer ids 0x2000.
//   FAKE_MAGIC       the four bytes a file starts with ("ALPH")
//   FAKE_EXT         extension list (u"*.alp;*.al2")
//   FAKE_NAME        display name
//   FAKE_CLASSES     number of classes the module reports (default 1)
//   FAKE_FLAGS       the flags word each class reports (default 0)
//   FAKE_RENDERER    the classes render too
//   FAKE_ISTYPE      IsType answers this status whatever the file
//   FAKE_CRASH_ON_LOAD, FAKE_HANG_ON_LOAD
//   FAKE_PRINT_ON_LOAD   writes a text that looks like a probe report to stdout
//   FAKE_CALL_BACK       SetIOManager looks up Alpha's reader through the manager
//   FAKE_CREATE_FAILS    creating the reader class fails with this status
//   FAKE_CRASH_IN_TEXTS  GetInfoText crashes
//   FAKE_ENUMERABLE      the last-but-one word of GetFilterInfo (default 1)
//   FAKE_BAD_STATUS      GetStatus of the reader reports a problem with a text
// Every module exports FakeCreated(): one letter per class object made, in
// order ('R' reader, 'W' renderer).
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "fileio/fio_interfaces.h"
#include "fileio/team_guids.h"

#if FAKE_VARIANT == 1
#define FAKE_ID 0xA1000000u
#define FAKE_MAGIC "ALPH"
#define FAKE_EXT u"*.alp;*.al2"
#define FAKE_NAME u"Alpha"
#define FAKE_RENDERER 1
#elif FAKE_VARIANT == 2
#define FAKE_ID 0xB2000000u
#define FAKE_MAGIC "BETA"
#define FAKE_EXT u"*.bet"
#define FAKE_NAME u"Beta"
#elif FAKE_VARIANT == 3
#define FAKE_ID 0xC3000000u
#define FAKE_MAGIC "GAMM"
#define FAKE_EXT u"*.gam"
#define FAKE_NAME u"Gamma"
#define FAKE_FLAGS ZOFIO_FILTERFLAG_INIT_AT_START
#elif FAKE_VARIANT == 4
#define FAKE_ID 0xD4000000u
#define FAKE_CRASH_ON_LOAD 1
#elif FAKE_VARIANT == 5
#define FAKE_ID 0xD5000000u
#define FAKE_HANG_ON_LOAD 1
#elif FAKE_VARIANT == 6
#define FAKE_ID 0xE6000000u
#define FAKE_EXT u"*.man"
#define FAKE_NAME u"Many"
#define FAKE_CLASSES 17
#elif FAKE_VARIANT == 7
#define FAKE_ID 0xF7000000u
#define FAKE_MAGIC "DUPA"
#define FAKE_NAME u"Dup first"
#elif FAKE_VARIANT == 8
#define FAKE_ID 0xF7000000u
#define FAKE_MAGIC "DUPB"
#define FAKE_NAME u"Dup second"
#elif FAKE_VARIANT == 9
#define FAKE_ID 0xF7000000u
#define FAKE_MAGIC "DUPC"
#define FAKE_NAME u"Dup allowed"
#define FAKE_FLAGS ZOFIO_FILTERFLAG_ALLOW_DUPLICATES
#elif FAKE_VARIANT == 10
#define FAKE_ID 0x97000000u
#define FAKE_EXT u"*.uni"
#define FAKE_NAME u"Not initialised"
#define FAKE_ISTYPE 0x8004E047u
#elif FAKE_VARIANT == 11
#define FAKE_ID 0x99000000u
#define FAKE_NO_ENTRY 1
#elif FAKE_VARIANT == 12
#define FAKE_ID 0x98000000u
#define FAKE_MAGIC "ALPH"
#define FAKE_EXT u"*.mer"
#define FAKE_NAME u"Merit"
#elif FAKE_VARIANT == 13
// Claims the team's Wave reader id, so the identification table leads to it.
#define FAKE_ID 0x9A000000u
#define FAKE_MAGIC "RIFF"
#define FAKE_EXT u"*.wvx"
#define FAKE_NAME u"Wave stand-in"
#define FAKE_READER_ID GUID_VaneWaveReader
#elif FAKE_VARIANT == 14
// Takes Alpha's files; its reader id stands high in the rank table while its
// class id sorts after Alpha's.
#define FAKE_ID 0xFF000000u
#define FAKE_MAGIC "ALPH"
#define FAKE_EXT u"*.rnk"
#define FAKE_NAME u"Ranked"
#define FAKE_READER_ID GUID_VaneWave64Reader
#elif FAKE_VARIANT == 15
#define FAKE_ID 0x9B000000u
#define FAKE_MAGIC "CALL"
#define FAKE_EXT u"*.cal"
#define FAKE_NAME u"Caller"
#define FAKE_CALL_BACK 1
#elif FAKE_VARIANT == 16
#define FAKE_ID 0x9C000000u
#define FAKE_MAGIC "NOCR"
#define FAKE_EXT u"*.ncr"
#define FAKE_NAME u"No create"
#define FAKE_CREATE_FAILS E_ACCESSDENIED
#elif FAKE_VARIANT == 17
#define FAKE_ID 0x9D000000u
#define FAKE_MAGIC "PRNT"
#define FAKE_EXT u"*.prn"
#define FAKE_NAME u"Printer"
#define FAKE_PRINT_ON_LOAD 1
#elif FAKE_VARIANT == 18
#define FAKE_ID 0x9E000000u
#define FAKE_MAGIC "CRTX"
#define FAKE_EXT u"*.crt"
#define FAKE_NAME u"Crash in texts"
#define FAKE_CRASH_IN_TEXTS 1
#elif FAKE_VARIANT == 19
#define FAKE_ID 0x9F000000u
#define FAKE_MAGIC "PAIR"
#define FAKE_EXT u"*.par"
#define FAKE_NAME u"Pair"
#define FAKE_CLASSES 2
#elif FAKE_VARIANT == 20
#define FAKE_ID 0x96000000u
#define FAKE_MAGIC "SULK"
#define FAKE_EXT u"*.slk"
#define FAKE_NAME u"Sulky"
#define FAKE_ENUMERABLE 0
#define FAKE_BAD_STATUS 1
#endif

#ifndef FAKE_MAGIC
#define FAKE_MAGIC "????"
#endif
#ifndef FAKE_EXT
#define FAKE_EXT u""
#endif
#ifndef FAKE_NAME
#define FAKE_NAME u"Fake"
#endif
#ifndef FAKE_CLASSES
#define FAKE_CLASSES 1
#endif
#ifndef FAKE_FLAGS
#define FAKE_FLAGS 0
#endif
#ifndef FAKE_ENUMERABLE
#define FAKE_ENUMERABLE 1
#endif

namespace {

std::string g_created;  // guarded by g_createdLock
std::mutex g_createdLock;
void NoteCreated(char kind) {
  std::lock_guard<std::mutex> hold(g_createdLock);
  g_created += kind;
}

#if defined(FAKE_CRASH_ON_LOAD)
__attribute__((constructor)) void CrashWhileLoading() { std::raise(SIGSEGV); }
#endif
#if defined(FAKE_PRINT_ON_LOAD)
__attribute__((constructor)) void PrintWhileLoading() {
  static const char kNoise[] = "status 80004005\nend\nhello from a chatty plug-in\n";
  if (::write(1, kNoise, sizeof kNoise - 1) < 0) {
  }
}
#endif
#if defined(FAKE_HANG_ON_LOAD)
__attribute__((constructor)) void HangWhileLoading() {
  for (;;) ::pause();
}
#endif

GUID Id(unsigned offset) {
  return GUID{DWORD(FAKE_ID + offset), 0x5A5A, 0x4000, {0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFA, 0x4E}};
}

// Same block layout as the kernel's system strings (length word, text, terminator).
BSTR MakeBstr(const char16_t* s) {
  size_t n = std::char_traits<char16_t>::length(s);
  auto* block = static_cast<unsigned char*>(std::malloc(4 + n * 2 + 3));
  std::uint32_t bytes = std::uint32_t(n * 2);
  std::memcpy(block, &bytes, 4);
  std::memcpy(block + 4, s, n * 2);
  block[4 + n * 2] = block[5 + n * 2] = block[6 + n * 2] = 0;
  return reinterpret_cast<BSTR>(block + 4);
}

template <typename I>
struct Ref : I {
  std::atomic<ULONG> refs{1};
  ULONG AddRef() override { return ++refs; }
  ULONG Release() override {
    ULONG n = --refs;
    if (!n) delete this;
    return n;
  }
  virtual ~Ref() = default;
};

#define NOTIMPL0(name) HRESULT name() override { return E_NOTIMPL; }
#define NOTIMPL(name, ...) HRESULT name(__VA_ARGS__) override { return E_NOTIMPL; }

struct File final : Ref<IZoReadFile> {
  std::u16string name;
  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (iid == IID_IUnknown || iid == IID_IZoReadFile) {
      AddRef();
      *out = static_cast<IZoReadFile*>(this);
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  NOTIMPL(GetFileClass, IZoReadFileClass**)
  NOTIMPL(PluginSlot4, LONG_PTR, LONG_PTR)
  NOTIMPL(PluginSlot5, LONG_PTR, LONG_PTR)
  NOTIMPL(GetFileInfo, void*, DWORD, DWORD)
  NOTIMPL(GetStreamInfo, void*, DWORD, LONG, DWORD)
  NOTIMPL(Clone, IZoReadFile**)
  NOTIMPL0(CloseFile)
  NOTIMPL0(IsFileOpen)
  NOTIMPL(OpenFile, DWORD, DWORD)
  NOTIMPL(SetFile, LPCWSTR)
  HRESULT GetFileName(WCHAR* buffer, DWORD capacity) override {
    if (!buffer || capacity <= name.size()) return E_INVALIDARG;
    std::memcpy(buffer, name.c_str(), (name.size() + 1) * 2);
    return S_OK;
  }
  NOTIMPL(GetFileLength, LONGLONG*)
  NOTIMPL(GetStreamCount, LONG*)
  NOTIMPL(GetStreamTypes, ULONG*)
  NOTIMPL(GetStreamFormatInfo, _ZOFILESTREAMFORMATINFOv2*, LONG, LONG)
  NOTIMPL(GetStreamType, LONG, ULONG*, LONG*)
  NOTIMPL(GetRawStreamIndex, LONG, ULONG, LONG*)
  NOTIMPL(OpenStream, IZoReadStream**, ULONG, LONG, DWORD, _ZOFILESTREAMFORMATINFOv2*)
  NOTIMPL(QueryOpenStream, LONG, DWORD, _ZOFILESTREAMFORMATINFOv2*)
  NOTIMPL(PluginSlot22, LONG_PTR, LONG_PTR)
  NOTIMPL(GenerateTemplate, tagZOTEMPLATExV2**, LONG, LONG)
};

HRESULT Texts(const DWORD* ids, LONG count, BSTR* texts, bool renderer) {
#ifdef FAKE_CRASH_IN_TEXTS
  std::raise(SIGSEGV);
#endif
  for (LONG i = 0; i < count; ++i) {
    switch (ids[i]) {
      case ZOFIO_INFOTEXT_EXTENSIONS:
      case ZOFIO_INFOTEXT_DEFAULT_EXT: texts[i] = MakeBstr(FAKE_EXT); break;
      case ZOFIO_INFOTEXT_NAME: texts[i] = MakeBstr(renderer ? FAKE_NAME u" renderer" : FAKE_NAME); break;
      default: texts[i] = nullptr;
    }
  }
  return S_OK;
}

bool HasExtension(LPCWSTR name) {
  if (!name) return false;
  std::u16string n(name), list(FAKE_EXT);
  size_t dot = n.rfind(u'.');
  if (dot == std::u16string::npos) return false;
  std::u16string ext = n.substr(dot + 1);
  for (auto& c : ext) c = char16_t(c >= u'A' && c <= u'Z' ? c + 32 : c);
  return list.find(u"*." + ext) != std::u16string::npos;
}

struct ReadClass final : Ref<IZoReadFileClass> {
  unsigned index;
  LONG typeIndex = -1;
  IZoFileIOManager* manager = nullptr;
  explicit ReadClass(unsigned i) : index(i) { NoteCreated('R'); }
  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (iid == IID_IUnknown || iid == IID_IZoReadFileClass) {
      AddRef();
      *out = static_cast<IZoReadFileClass*>(this);
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  HRESULT SetTypeIndex(LONG i) override {
    typeIndex = i;
    return S_OK;
  }
  HRESULT GetTypeIndex(LONG* i) override {
    *i = typeIndex;
    return S_OK;
  }
  HRESULT SetIOManager(IZoFileIOManager* m) override {
    manager = m;  // not held: the manager outlives its classes
#ifdef FAKE_CALL_BACK
    if (m) {
      const GUID alpha{0xA1001000u, 0x5A5A, 0x4000, { 0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFA, 0x4E }};
      IZoReadFileClass* other = nullptr;
      if (SUCCEEDED(m->GetReadClassByGuid(&other, alpha)) && other) other->Release();
    }
#endif
    return S_OK;
  }
  HRESULT GetIOManager(IZoFileIOManager** m) override {
    *m = manager;
    if (!manager) return E_NOINTERFACE;
    manager->AddRef();
    return S_OK;
  }
  HRESULT GetTypeID(GUID* id) override {
#ifdef FAKE_READER_ID
    *id = FAKE_READER_ID;
#else
    *id = Id(0x1000 + index);
#endif
    return S_OK;
  }
  HRESULT GetAllowedStreamTypes(ULONG* t) override {
    *t = ZOFILESTREAM_AUDIO;
    return S_OK;
  }
  NOTIMPL(PluginSlot9, LONG_PTR, LONG_PTR)
  NOTIMPL(GetRenderClass, IZoRenderFileClass**)
  HRESULT GetInfoText(const DWORD* ids, LONG count, BSTR* texts) override { return Texts(ids, count, texts, false); }
  HRESULT IsType(HANDLE, const BYTE* head, DWORD bytes, LPCWSTR) override {
#ifdef FAKE_ISTYPE
    (void)head;
    (void)bytes;
    return HRESULT(FAKE_ISTYPE);
#else
    return bytes >= 4 && std::memcmp(head, FAKE_MAGIC, 4) == 0 ? S_OK : S_FALSE;
#endif
  }
  HRESULT IsTypeSlow(LPCWSTR name) override { return HasExtension(name) ? S_OK : S_FALSE; }
  NOTIMPL(IsTypeFromId, ULONG)
  HRESULT Open(IZoReadFile** out, HANDLE, DWORD, LPCWSTR name, BOOL) override {
    auto* f = new File();
    f->name = name ? name : u"";
    *out = f;
    return S_OK;
  }
  HRESULT HasAboutBox() override { return S_FALSE; }
  NOTIMPL(ShowAboutBox, HWND)
  HRESULT GetStatus(LONG* status, WCHAR** text) override {
#ifdef FAKE_BAD_STATUS
    *status = -1;
    if (text) *text = MakeBstr(u"licence expired");
#else
    *status = 0;
    if (text) *text = nullptr;
#endif
    return S_OK;
  }
};

struct RenderClass final : Ref<IZoRenderFileClass> {
  unsigned index;
  LONG typeIndex = -1;
  explicit RenderClass(unsigned i) : index(i) { NoteCreated('W'); }
  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (iid == IID_IUnknown || iid == IID_IZoRenderFileClass) {
      AddRef();
      *out = static_cast<IZoRenderFileClass*>(this);
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  HRESULT SetTypeIndex(LONG i) override {
    typeIndex = i;
    return S_OK;
  }
  HRESULT GetTypeIndex(LONG* i) override {
    *i = typeIndex;
    return S_OK;
  }
  HRESULT SetIOManager(IZoFileIOManager*) override { return S_OK; }
  NOTIMPL(GetIOManager, IZoFileIOManager**)
  HRESULT GetTypeID(GUID* id) override {
    *id = Id(0x2000 + index);
    return S_OK;
  }
  NOTIMPL(GetAllowedStreamTypes, ULONG*)
  NOTIMPL(PluginSlot9, LONG_PTR, LONG_PTR)
  NOTIMPL(GetReadClass, IZoReadFileClass**)
  HRESULT GetInfoText(const DWORD* ids, LONG count, BSTR* texts) override { return Texts(ids, count, texts, true); }
  NOTIMPL(Open, IZoRenderFile*, void*, LPCWSTR)
  NOTIMPL(Create, IZoRenderFile**, LPCWSTR, LONG, IZoReadStream**, tagZOTEMPLATExV2*)
  NOTIMPL(GetPresetCount, LONG*)
  NOTIMPL(GetPreset, tagZOTEMPLATExV2**, LONG)
  NOTIMPL(PluginSlot16, LONG_PTR, LONG_PTR)
  NOTIMPL(ChooseBestPreset, tagZOTEMPLATExV2*, LONG, LONG*)
  NOTIMPL(ConformTemplate, tagZOTEMPLATExV2**, tagZOTEMPLATExV2*, DWORD)
  NOTIMPL(ConformTemplateToSource, tagZOTEMPLATExV2**, tagZOTEMPLATExV2*, IZoReadFile*, DWORD)
  NOTIMPL(GetTemplateInfo, tagZOTEMPLATExV2*, void*, DWORD, DWORD)
  NOTIMPL(PluginSlot21, LONG_PTR, LONG_PTR)
  NOTIMPL(PluginSlot22, LONG_PTR, LONG_PTR)
  NOTIMPL(PluginSlot23, LONG_PTR, LONG_PTR)
  HRESULT HasAboutBox() override { return S_FALSE; }
  NOTIMPL(ShowAboutBox, HWND)
  NOTIMPL(GetStatus, LONG*, WCHAR**)
};

struct Discovery final : Ref<IZoUnsharedFIOPluginInfo> {
  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (iid == IID_IUnknown || iid == IID_IZoUnsharedFIOPluginInfo) {
      AddRef();
      *out = static_cast<IZoUnsharedFIOPluginInfo*>(this);
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  HRESULT Init(LPCWSTR, DWORD, BOOL) override { return S_OK; }
  HRESULT GetFilterCount(LONG* count) override {
    *count = FAKE_CLASSES;
    return S_OK;
  }
  HRESULT GetFilterInfo(LONG index, GUID* id, WCHAR* name, DWORD capacity, DWORD* access, DWORD* streamTypes,
                        DWORD* flags, DWORD* enumerable, DWORD*) override {
    if (index < 0 || index >= FAKE_CLASSES) return E_INVALIDARG;
    *id = Id(unsigned(index));
    std::u16string n = FAKE_NAME;
    if (capacity > n.size()) std::memcpy(name, n.c_str(), (n.size() + 1) * 2);
#ifdef FAKE_RENDERER
    *access = ZOFIO_FILTER_ACCESS_READ | ZOFIO_FILTER_ACCESS_RENDER;
#else
    *access = ZOFIO_FILTER_ACCESS_READ;
#endif
    *streamTypes = ZOFILESTREAM_AUDIO;
    *flags = FAKE_FLAGS;
    *enumerable = FAKE_ENUMERABLE;
    return S_OK;
  }
  NOTIMPL(PluginSlot6, LONG_PTR, LONG_PTR)
  NOTIMPL(PluginSlot7, LONG_PTR, LONG_PTR)
};

struct Factory final : Ref<IClassFactory> {
  int kind;  // 0 discovery, 1 class of index `index`
  unsigned index;
  Factory(int k, unsigned i) : kind(k), index(i) {}
  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (iid == IID_IUnknown || iid == IID_IClassFactory) {
      AddRef();
      *out = static_cast<IClassFactory*>(this);
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  HRESULT CreateInstance(IUnknown*, REFIID iid, void** out) override {
    *out = nullptr;
    IUnknown* obj = nullptr;
    if (kind == 0) obj = new Discovery();
#ifdef FAKE_CREATE_FAILS
    else if (iid == IID_IZoReadFileClass)
      return FAKE_CREATE_FAILS;
#endif
    else if (iid == IID_IZoReadFileClass) obj = new ReadClass(index);
#ifdef FAKE_RENDERER
    else if (iid == IID_IZoRenderFileClass) obj = new RenderClass(index);
#endif
    if (!obj) return E_NOINTERFACE;
    HRESULT hr = obj->QueryInterface(iid, out);
    obj->Release();
    return hr;
  }
  HRESULT LockServer(BOOL) override { return S_OK; }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) const char* FakeCreated() {
  std::lock_guard<std::mutex> hold(g_createdLock);
  static std::string copy;
  copy = g_created;
  return copy.c_str();
}

#ifndef FAKE_NO_ENTRY
extern "C" __attribute__((visibility("default"))) HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  Factory* f = nullptr;
  if (clsid == CLSID_ZoFioPluginDiscovery) {
    f = new Factory(0, 0);
  } else {
    for (unsigned i = 0; i < FAKE_CLASSES; ++i)
      if (clsid == Id(i)) f = new Factory(1, i);
  }
  if (!f) return CLASS_E_CLASSNOTAVAILABLE;
  HRESULT hr = f->QueryInterface(iid, out);
  f->Release();
  return hr;
}
#endif
