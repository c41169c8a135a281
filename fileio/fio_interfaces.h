// SPDX-License-Identifier: MIT
// The binary contract between a host, the file I/O manager and format
// plug-ins: every interface as an abstract class whose pure virtual functions
// stand in slot order after IUnknown's three. No interface has a virtual
// destructor (it would add slots). Slots a plug-in and a host agree on among
// themselves, which the framework only forwards, are named PluginSlotN.
#pragma once

#include "fileio/fio_records.h"
#include "platform/com.h"

struct IStream;
struct tagZOTEMPLATExV2;
struct _zowaveformat;
struct _zometa_mediamgrchunk;
struct _tagZOFIO_pulxchunk;
struct _tagZOFIO_stretchinfo;

struct IZoFileIOManager;
struct IZoFileIOTypeEnum;
struct IZoFIOPluginEnum;
struct IZoFioFilterBuilder2;
struct IZoReadFileClass;
struct IZoRenderFileClass;
struct IZoReadFile;
struct IZoRenderFile;
struct IZoReadStream;
struct IZoReadMeta;
struct IZoProgress;

// {D4FF4749-8ACE-457E-A878-D4AD332174BA}
inline constexpr IID IID_IZoFileIOManager = VANE_GUID(0xD4FF4749, 0x8ACE, 0x457E, 0xA8, 0x78, 0xD4, 0xAD, 0x33, 0x21, 0x74, 0xBA);
inline constexpr IID IID_IZoFileIOMgrForApp = VANE_GUID(0xD4FF4750, 0x8ACE, 0x457E, 0xA8, 0x78, 0xD4, 0xAD, 0x33, 0x21, 0x74, 0xBA);
inline constexpr IID IID_IZoFileIOTypeEnum = VANE_GUID(0x39D2F264, 0x7655, 0x11D3, 0xA4, 0x83, 0x00, 0x10, 0x5A, 0x24, 0xAA, 0x37);
inline constexpr IID IID_IZoFIOPluginEnum = VANE_GUID(0xE0399842, 0xAA55, 0x11D4, 0xB2, 0x6A, 0x00, 0xA0, 0xD2, 0x18, 0x83, 0x87);
inline constexpr IID IID_IZoFioFilterBuilder2 = VANE_GUID(0xA886D595, 0x5FAE, 0x4124, 0x8F, 0x48, 0x4A, 0x23, 0x48, 0x0E, 0xE3, 0x58);
inline constexpr IID IID_IZoReadFileClass = VANE_GUID(0xEEF647F1, 0x02AB, 0x4FCD, 0xB0, 0x6E, 0xA5, 0x01, 0xAE, 0xFF, 0x2D, 0x34);
inline constexpr IID IID_IZoRenderFileClass = VANE_GUID(0x5F351064, 0x46AD, 0x47EE, 0x89, 0x99, 0x54, 0x87, 0x69, 0xE7, 0x36, 0x39);
inline constexpr IID IID_IZoReadFile = VANE_GUID(0x08458FE3, 0x09B8, 0x4C25, 0x8B, 0x42, 0xFA, 0x7A, 0x46, 0x0D, 0xFC, 0x47);
inline constexpr IID IID_IZoRenderFile = VANE_GUID(0xA69223F6, 0x6701, 0x4B79, 0x95, 0xE5, 0x86, 0x4C, 0x2B, 0x24, 0xDC, 0xD7);
inline constexpr IID IID_IZoReadStream = VANE_GUID(0x60FD1C41, 0x7825, 0x11D3, 0xA4, 0x83, 0x00, 0x10, 0x5A, 0x24, 0xAA, 0x37);
inline constexpr IID IID_IZoReadAudioStream = VANE_GUID(0x6E362EA8, 0xF473, 0x4167, 0xB8, 0x5F, 0x07, 0x4E, 0xAB, 0x32, 0x90, 0xCE);
inline constexpr IID IID_IZoReadVideoStream = VANE_GUID(0xD8E86F3C, 0x4C2F, 0x403C, 0xAC, 0x5B, 0x43, 0xF0, 0x2A, 0xF1, 0xB4, 0x27);
// The older identity the stream collection and the template generator still ask for.
inline constexpr IID IID_IZoReadVideoStreamOld = VANE_GUID(0x68EFE083, 0x5F0C, 0x4415, 0x93, 0x34, 0xF6, 0xCE, 0x84, 0x48, 0x78, 0x29);
inline constexpr IID IID_IZoReadTextStream = VANE_GUID(0xCBD3AD49, 0xB23D, 0x4E58, 0xB3, 0xF7, 0xBB, 0x13, 0x3E, 0x9B, 0x63, 0x6E);
inline constexpr IID IID_IZoReadMeta = VANE_GUID(0x001420E1, 0x938C, 0x11D3, 0xA4, 0x83, 0x00, 0x10, 0x5A, 0x24, 0xAA, 0x37);
inline constexpr IID IID_IZoReadGenericMeta = VANE_GUID(0x960A6634, 0x5DE0, 0x4C22, 0x90, 0xE0, 0x35, 0xD0, 0x1A, 0x0C, 0xF9, 0x71);
inline constexpr IID IID_IZoReadProjectLinkMeta = VANE_GUID(0xAF5F58C0, 0xF8E2, 0x4F2A, 0xB1, 0x48, 0x82, 0x92, 0x9D, 0x17, 0x2D, 0xBF);
inline constexpr IID IID_IZoReadProjectLinkMetaEx = VANE_GUID(0x13E407D5, 0x5FB5, 0x4626, 0xB6, 0xE4, 0x49, 0x66, 0x78, 0x88, 0xF5, 0xC0);
inline constexpr IID IID_IZoReadMediaMgrMeta = VANE_GUID(0x50FEB89B, 0x8026, 0x4FCC, 0xA2, 0xCC, 0x85, 0x5B, 0xCF, 0x8F, 0xF7, 0x4F);
inline constexpr IID IID_IZoReadPulxMeta = VANE_GUID(0xF0345341, 0xBAF2, 0x11D4, 0xB2, 0x6A, 0x00, 0xA0, 0xD2, 0x18, 0x83, 0x87);
inline constexpr IID IID_IZoUnsharedFIOPluginInfo = VANE_GUID(0x404E18A7, 0xC288, 0x4499, 0x8E, 0x42, 0x33, 0xFE, 0xCF, 0xA1, 0x64, 0x2C);
// The interface IsFileOfReaderKind asks a reader class for.
inline constexpr IID IID_IZoReaderKind = VANE_GUID(0xE769409F, 0x5CE7, 0x459F, 0x8F, 0x30, 0x4A, 0xF5, 0xA1, 0x64, 0xE0, 0x2A);
// The summary-tag enumeration a renderer class offers at its second table.
inline constexpr IID IID_IZoRenderMetaSupport2 = VANE_GUID(0xEF73DF10, 0xDE21, 0x426C, 0xB6, 0x41, 0x12, 0xD4, 0x98, 0x3B, 0x2D, 0x88);

// The class every module offers to describe its classes to the manager.
// {F6E48972-515B-4A5E-B316-A46A03C9C3C0}
inline constexpr CLSID CLSID_ZoFioPluginDiscovery =
    VANE_GUID(0xF6E48972, 0x515B, 0x4A5E, 0xB3, 0x16, 0xA4, 0x6A, 0x03, 0xC9, 0xC3, 0xC0);

struct IZoFileIOTypeEnum : IUnknown {
  virtual HRESULT Next(ULONG count, IUnknown** objects, ULONG* fetched) = 0;           // 3
  virtual HRESULT Skip(ULONG count) = 0;                                               // 4
  virtual HRESULT Reset() = 0;                                                         // 5
  virtual HRESULT Clone(IZoFileIOTypeEnum** out) = 0;                                  // 6, not implemented
  virtual HRESULT Slot7() = 0;                                                         // 7, not implemented
  virtual LONG GetCount() = 0;                                                         // 8
};

struct IZoFIOPluginEnum : IUnknown {
  virtual HRESULT Next(ULONG count, ZOFIO_PLUGININFO* records, ULONG* fetched) = 0;    // 3
  virtual HRESULT Skip(ULONG count) = 0;                                               // 4
  virtual HRESULT Reset() = 0;                                                         // 5
  virtual HRESULT Clone(IZoFIOPluginEnum** out) = 0;                                   // 6, unexpected
  virtual HRESULT GetPluginInfo(REFGUID classId, ZOFIO_PLUGININFO* record) = 0;        // 7
  virtual HRESULT Slot8() = 0;                                                         // 8, not implemented
  virtual HRESULT Slot9() = 0;                                                         // 9, unexpected
};

struct IZoReadFileClass : IUnknown {
  virtual HRESULT SetTypeIndex(LONG index) = 0;                                        // 3
  virtual HRESULT GetTypeIndex(LONG* index) = 0;                                       // 4
  virtual HRESULT SetIOManager(IZoFileIOManager* manager) = 0;                         // 5
  virtual HRESULT GetIOManager(IZoFileIOManager** manager) = 0;                        // 6
  virtual HRESULT GetTypeID(GUID* id) = 0;                                             // 7
  virtual HRESULT GetAllowedStreamTypes(ULONG* types) = 0;                             // 8
  virtual HRESULT PluginSlot9(LONG_PTR a, LONG_PTR b) = 0;                             // 9
  virtual HRESULT GetRenderClass(IZoRenderFileClass** out) = 0;                        // 10
  virtual HRESULT GetInfoText(const DWORD* ids, LONG count, BSTR* texts) = 0;          // 11
  virtual HRESULT IsType(HANDLE file, const BYTE* head, DWORD headBytes, LPCWSTR fileName) = 0;  // 12
  virtual HRESULT IsTypeSlow(LPCWSTR fileName) = 0;                                    // 13
  virtual HRESULT IsTypeFromId(ULONG id) = 0;                                          // 14
  virtual HRESULT Open(IZoReadFile** out, HANDLE file, DWORD processId, LPCWSTR fileName, BOOL openNow) = 0;  // 15
  virtual HRESULT HasAboutBox() = 0;                                                   // 16
  virtual HRESULT ShowAboutBox(HWND window) = 0;                                       // 17
  virtual HRESULT GetStatus(LONG* status, WCHAR** text) = 0;                           // 18
};

struct IZoRenderFileClass : IUnknown {
  virtual HRESULT SetTypeIndex(LONG index) = 0;                                        // 3
  virtual HRESULT GetTypeIndex(LONG* index) = 0;                                       // 4
  virtual HRESULT SetIOManager(IZoFileIOManager* manager) = 0;                         // 5
  virtual HRESULT GetIOManager(IZoFileIOManager** manager) = 0;                        // 6
  virtual HRESULT GetTypeID(GUID* id) = 0;                                             // 7
  virtual HRESULT GetAllowedStreamTypes(ULONG* types) = 0;                             // 8
  virtual HRESULT PluginSlot9(LONG_PTR a, LONG_PTR b) = 0;                             // 9
  virtual HRESULT GetReadClass(IZoReadFileClass** out) = 0;                            // 10
  virtual HRESULT GetInfoText(const DWORD* ids, LONG count, BSTR* texts) = 0;          // 11
  virtual HRESULT Open(IZoRenderFile* file, void* reserved, LPCWSTR name) = 0;         // 12
  virtual HRESULT Create(IZoRenderFile** out, LPCWSTR name, LONG streamCount, IZoReadStream** streams,
                         tagZOTEMPLATExV2* tmpl) = 0;                                  // 13
  virtual HRESULT GetPresetCount(LONG* count) = 0;                                     // 14
  virtual HRESULT GetPreset(tagZOTEMPLATExV2** out, LONG index) = 0;                   // 15
  virtual HRESULT PluginSlot16(LONG_PTR a, LONG_PTR b) = 0;                            // 16
  virtual HRESULT ChooseBestPreset(tagZOTEMPLATExV2* tmpl, LONG flags, LONG* index) = 0;  // 17
  virtual HRESULT ConformTemplate(tagZOTEMPLATExV2** out, tagZOTEMPLATExV2* tmpl, DWORD reason) = 0;  // 18
  virtual HRESULT ConformTemplateToSource(tagZOTEMPLATExV2** out, tagZOTEMPLATExV2* tmpl, IZoReadFile* source,
                                          DWORD reason) = 0;                           // 19
  virtual HRESULT GetTemplateInfo(tagZOTEMPLATExV2* tmpl, void* buffer, DWORD bytes, DWORD info) = 0;  // 20
  virtual HRESULT PluginSlot21(LONG_PTR a, LONG_PTR b) = 0;                            // 21
  virtual HRESULT PluginSlot22(LONG_PTR a, LONG_PTR b) = 0;                            // 22
  virtual HRESULT PluginSlot23(LONG_PTR a, LONG_PTR b) = 0;                            // 23
  virtual HRESULT HasAboutBox() = 0;                                                   // 24
  virtual HRESULT ShowAboutBox(HWND window) = 0;                                       // 25
  virtual HRESULT GetStatus(LONG* status, WCHAR** text) = 0;                           // 26
};

struct IZoReadFile : IUnknown {
  virtual HRESULT GetFileClass(IZoReadFileClass** out) = 0;                            // 3
  virtual HRESULT PluginSlot4(LONG_PTR a, LONG_PTR b) = 0;                             // 4
  virtual HRESULT PluginSlot5(LONG_PTR a, LONG_PTR b) = 0;                             // 5
  virtual HRESULT GetFileInfo(void* buffer, DWORD bytes, DWORD info) = 0;              // 6
  virtual HRESULT GetStreamInfo(void* buffer, DWORD bytes, LONG streamIndex, DWORD info) = 0;  // 7
  virtual HRESULT Clone(IZoReadFile** out) = 0;                                        // 8
  virtual HRESULT CloseFile() = 0;                                                     // 9
  virtual HRESULT IsFileOpen() = 0;                                                    // 10
  virtual HRESULT OpenFile(DWORD access, DWORD share) = 0;                             // 11
  virtual HRESULT SetFile(LPCWSTR name) = 0;                                           // 12
  virtual HRESULT GetFileName(WCHAR* buffer, DWORD capacity) = 0;                      // 13
  virtual HRESULT GetFileLength(LONGLONG* length) = 0;                                 // 14
  virtual HRESULT GetStreamCount(LONG* count) = 0;                                     // 15
  virtual HRESULT GetStreamTypes(ULONG* types) = 0;                                    // 16
  virtual HRESULT GetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* records, LONG first, LONG count) = 0;  // 17
  virtual HRESULT GetStreamType(LONG index, ULONG* type, LONG* typeIndex) = 0;         // 18
  virtual HRESULT GetRawStreamIndex(LONG typeIndex, ULONG type, LONG* index) = 0;      // 19
  virtual HRESULT OpenStream(IZoReadStream** out, ULONG typeMask, LONG index, DWORD flags,
                             _ZOFILESTREAMFORMATINFOv2* record) = 0;                   // 20
  virtual HRESULT QueryOpenStream(LONG index, DWORD flags, _ZOFILESTREAMFORMATINFOv2* record) = 0;  // 21
  virtual HRESULT PluginSlot22(LONG_PTR a, LONG_PTR b) = 0;                            // 22
  virtual HRESULT GenerateTemplate(tagZOTEMPLATExV2** out, LONG a, LONG b) = 0;        // 23
};

struct IZoReadStream : IUnknown {
  virtual HRESULT GetFileClass(IZoReadFileClass** out) = 0;                            // 3
  virtual HRESULT GetFile(IZoReadFile** out) = 0;                                      // 4
  virtual HRESULT GetCaps(_ZOREADSTREAMCAPS* caps) = 0;                                // 5
  virtual HRESULT GetStreamType(ULONG* type, LONG* typeIndex, LONG* rawIndex) = 0;     // 6
  virtual HRESULT GetStreamLength(LONGLONG* length) = 0;                               // 7
  virtual HRESULT GetStreamStart(LONGLONG* start) = 0;                                 // 8
  virtual HRESULT SetOwnerThread(DWORD threadId) = 0;                                  // 9
  virtual HRESULT Close() = 0;                                                         // 10
};

struct IZoReadAudioStream : IZoReadStream {
  virtual HRESULT GetSampleCount(LONGLONG* count) = 0;                                 // 11
  virtual HRESULT GetAudioCellSize(ULONG* bytes) = 0;                                  // 12
  virtual HRESULT GetReadAudioFormat(_zowaveformat* format) = 0;                       // 13
  virtual HRESULT GetFileAudioFormat(_zowaveformat* format) = 0;                       // 14
  virtual HRESULT SetReadAudioFormat(const _zowaveformat* format) = 0;                 // 15
  virtual HRESULT Read(LONGLONG startSample, _zomemorytoken token, LONG sampleCount, LONG* samplesRead) = 0;  // 16
  virtual HRESULT GetAsyncReadInfo(LONGLONG* a, LONGLONG* b, void** info) = 0;         // 17
  virtual HRESULT ReleaseAsyncReadInfo(void* info) = 0;                                // 18
};

// Video streams: the framework calls only the two format slots and the frame
// rate; the rest pass through the blankets as they are.
struct IZoReadVideoStream : IZoReadStream {
  virtual HRESULT PluginSlot11(LONG_PTR a) = 0;                                        // 11
  virtual HRESULT GetReadVideoFormat(void* record) = 0;                                // 12
  virtual HRESULT GetFileVideoFormat(void* record) = 0;                                // 13
  virtual HRESULT PluginSlot14(LONG_PTR a) = 0;                                        // 14
  virtual HRESULT PluginSlot15(LONG_PTR a, LONG_PTR b, LONG_PTR c, LONG_PTR d) = 0;    // 15
  virtual HRESULT PluginSlot16(LONG_PTR a, LONG_PTR b, LONG_PTR c, LONG_PTR d) = 0;    // 16
  virtual HRESULT ReadFrame(ULONGLONG handle, ULONGLONG pointer, ULONGLONG size, ULONGLONG offset,
                            ULONGLONG kindAndProcess, LONGLONG frame, LONG_PTR a, LONG_PTR b) = 0;  // 17
  virtual HRESULT PluginSlot18(LONG_PTR a, LONG_PTR b, LONG_PTR c) = 0;                // 18
  virtual HRESULT PluginSlot19(LONG_PTR a, LONG_PTR b, LONG_PTR c) = 0;                // 19
  virtual HRESULT PluginSlot20(LONGLONG a) = 0;                                        // 20
  virtual HRESULT PluginSlot21(LONG_PTR a) = 0;                                        // 21
  virtual HRESULT GetAverageFrameRate(void* buffer) = 0;                               // 22
};

struct IZoReadTextStream : IZoReadStream {
  virtual HRESULT PluginSlot11(LONG_PTR a, LONG_PTR b, LONG_PTR c, LONG_PTR d, LONG_PTR e, LONG_PTR f) = 0;  // 11
};

struct IZoReadMeta : IUnknown {
  virtual HRESULT GetMarkers(IStream** out) = 0;                                       // 3
  virtual HRESULT GetCommands(IStream** out) = 0;                                      // 4
  virtual HRESULT GetKeyFrames(IStream** out) = 0;                                     // 5
  virtual HRESULT GetSummaryInfo(DWORD tag, WCHAR* buffer, DWORD capacity) = 0;        // 6
  virtual HRESULT GetAllSummaryInfo(IStream** out) = 0;                                // 7
};

struct IZoReadGenericMeta : IUnknown {
  virtual HRESULT ResetGenericEnum() = 0;                                              // 3
  virtual HRESULT GetNextGenericInfo(IStream** out) = 0;                               // 4
};

struct IZoReadProjectLinkMeta : IUnknown {
  virtual HRESULT GetProjectPath(IStream** out) = 0;                                   // 3
  virtual HRESULT GetCommandLineW(IStream** out) = 0;                                  // 4
  virtual HRESULT GetRendererGuid(IStream** out) = 0;                                  // 5
  virtual HRESULT GetTemplateName(IStream** out) = 0;                                  // 6
  virtual HRESULT GetTemplateData(IStream** out) = 0;                                  // 7
  virtual HRESULT GetAppTemplateData(IStream** out) = 0;                               // 8
  virtual HRESULT GetProjectData(IStream** out) = 0;                                   // 9
  virtual HRESULT GetCreatorAppInfo(IStream** out) = 0;                                // 10
  virtual HRESULT GetCreatorAppWindowClassName(IStream** out) = 0;                     // 11
};

struct IZoReadProjectLinkMetaEx : IUnknown {
  virtual HRESULT GetProjectLinkInfo(IStream** out, DWORD type) = 0;                   // 3
};

struct IZoReadMediaMgrMeta : IUnknown {
  virtual HRESULT GetAllUserDefinedProps(IStream** out) = 0;                           // 3
  virtual HRESULT GetMediaMgrChunk(_zometa_mediamgrchunk* chunk) = 0;                  // 4
};

struct IZoReadPulxMeta : IUnknown {
  virtual HRESULT GetPulxChunk(_tagZOFIO_pulxchunk* chunk) = 0;                        // 3
  virtual HRESULT GetStretchChunk(_tagZOFIO_stretchinfo* info) = 0;                    // 4
  virtual HRESULT GetStretchPoints(IStream** out) = 0;                                 // 5
};

struct IZoRenderFile : IUnknown {
  virtual HRESULT GetRenderFileClass(IZoRenderFileClass** out) = 0;                    // 3
  virtual HRESULT CloseFile() = 0;                                                     // 4
  virtual HRESULT IsFileOpen() = 0;                                                    // 5
  virtual HRESULT OpenFile(DWORD access, DWORD share) = 0;                             // 6
  virtual HRESULT SetFile(LPCWSTR name) = 0;                                           // 7
  virtual HRESULT GetFileName(WCHAR* buffer, DWORD capacity) = 0;                      // 8
  virtual HRESULT GetStreamCount(LONG* count) = 0;                                     // 9
  virtual HRESULT GetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* records, LONG first, LONG count) = 0;  // 10
  virtual HRESULT SetStreamFormatInfo(const _ZOFILESTREAMFORMATINFOv2* records, LONG count) = 0;  // 11
  virtual HRESULT SetStreamReader(IZoReadStream* stream, LONG index) = 0;              // 12
  virtual HRESULT SetMetaReader(IZoReadMeta* meta) = 0;                                // 13
  virtual HRESULT GetTemplate(tagZOTEMPLATExV2** out, DWORD flags) = 0;                // 14
  virtual HRESULT EstimateFileSize(LONGLONG* bytes) = 0;                               // 15
  virtual HRESULT Render(IZoProgress* progress) = 0;                                   // 16
  virtual HRESULT UpdateMetaData(DWORD flags, DWORD encoding) = 0;                     // 17
};

struct IZoRenderMetaSupport2 : IUnknown {
  virtual HRESULT Reset() = 0;                                                         // 3
  virtual HRESULT GetNextSumTag(ULONG* tag, ULONG* flags) = 0;                         // 4
  virtual HRESULT PluginSlot5(LONG_PTR a, LONG_PTR b) = 0;                             // 5
};

// Describes the classes of one module; created with the discovery class id.
// GetFilterInfo: `access` takes ZOFIO_FILTER_ACCESS_* bits, `flags` the
// ZOFIO_FILTERFLAG_* word, `enumerable` non-zero puts the class in the type
// enumerations; `reserved` is for later use.
struct IZoUnsharedFIOPluginInfo : IUnknown {
  virtual HRESULT Init(LPCWSTR modulePath, DWORD flags, BOOL recheck) = 0;             // 3
  virtual HRESULT GetFilterCount(LONG* count) = 0;                                     // 4
  virtual HRESULT GetFilterInfo(LONG index, GUID* classId, WCHAR* name, DWORD capacity, DWORD* access,
                                DWORD* streamTypes, DWORD* flags, DWORD* enumerable, DWORD* reserved) = 0;  // 5
  virtual HRESULT PluginSlot6(LONG_PTR a, LONG_PTR b) = 0;                             // 6
  virtual HRESULT PluginSlot7(LONG_PTR a, LONG_PTR b) = 0;                             // 7
};

// Progress of a host: slot 6 returns a negative status when the user cancelled.
struct IZoProgress : IUnknown {
  virtual HRESULT Start(LONGLONG total) = 0;                                           // 3
  virtual HRESULT PluginSlot4(LONG_PTR a) = 0;                                         // 4
  virtual HRESULT PluginSlot5(LONG_PTR a) = 0;                                         // 5
  virtual HRESULT Progress(LONGLONG position) = 0;                                     // 6
};

// The manager as a plug-in sees it (slots 3 to 40).
struct IZoFileIOManager : IUnknown {
  virtual HRESULT GetLCID(DWORD* lcid, DWORD reserved) = 0;                            // 3
  virtual HRESULT Slot4() = 0;                                                         // 4, not implemented
  virtual HRESULT GetMetric(LONG id, DWORD* value) = 0;                                // 5
  virtual HRESULT SetMetric(LONG id, DWORD value) = 0;                                 // 6
  virtual HRESULT GetMetricText(LONG id, WCHAR* buffer, DWORD capacity, DWORD* length) = 0;  // 7
  virtual HRESULT SetMetricText(LONG id, LPCWSTR text) = 0;                            // 8
  virtual HRESULT DeleteMetric(LONG id, LONG kind) = 0;                                // 9
  virtual HRESULT GetMetricBinary(LONG id, void* buffer, DWORD bytes, DWORD* bytesOut) = 0;  // 10
  virtual HRESULT SetMetricBinary(LONG id, const void* buffer, DWORD bytes) = 0;       // 11
  virtual HRESULT Slot12() = 0;                                                        // 12, not implemented
  virtual HRESULT GetReadClassById(IZoReadFileClass** out, DWORD id) = 0;              // 13
  virtual HRESULT GetReadClassByGuid(IZoReadFileClass** out, REFGUID id) = 0;          // 14
  virtual HRESULT GetRenderClassByGuid(IZoRenderFileClass** out, REFGUID id) = 0;      // 15
  virtual HRESULT FindReadClassByExtension(IZoReadFileClass** out, LPCWSTR ext, LONG* position) = 0;    // 16
  virtual HRESULT FindRenderClassByExtension(IZoRenderFileClass** out, LPCWSTR ext, LONG* position) = 0;  // 17
  virtual HRESULT OpenReadFile(LPCWSTR fileName, IZoReadFile** out, DWORD flags) = 0;  // 18
  virtual HRESULT OpenReadFileWithClass(LPCWSTR fileName, IZoReadFile** out, REFGUID classId, DWORD flags) = 0;  // 19
  virtual HRESULT EditTemplate(HWND window, IZoRenderFileClass* cls, tagZOTEMPLATExV2** tmpl, DWORD flags) = 0;  // 20
  virtual HRESULT Initialize(DWORD flags) = 0;                                         // 21
  virtual HRESULT Shutdown() = 0;                                                      // 22
  virtual HRESULT GetReaderEnum(IZoFileIOTypeEnum** out) = 0;                          // 23
  virtual HRESULT GetRendererEnum(IZoFileIOTypeEnum** out) = 0;                        // 24
  virtual LONG GetReaderCount() = 0;                                                   // 25
  virtual LONG GetRendererCount() = 0;                                                 // 26
  virtual HRESULT FindReaderForHandle(HANDLE file, LPCWSTR fileName, LONG* typeIndex, DWORD flags) = 0;  // 27
  virtual HRESULT FindReaderForName(LPCWSTR fileName, LONG* typeIndex) = 0;            // 28
  virtual HRESULT GetReadClassByIndex(IZoReadFileClass** out, LONG index) = 0;         // 29
  virtual HRESULT GetRenderClassByIndex(IZoRenderFileClass** out, LONG index) = 0;     // 30
  virtual HRESULT FindRendererByName(IZoRenderFileClass** out, LPCWSTR text) = 0;      // 31
  virtual HRESULT Slot32() = 0;                                                        // 32, not implemented
  virtual HRESULT QuickFindReader(LPCWSTR fileName, IZoReadFileClass** out) = 0;       // 33
  virtual HRESULT IsFileOfReaderKind(LPCWSTR fileName) = 0;                            // 34
  virtual HRESULT GetPluginCount(LONG* count) = 0;                                     // 35
  virtual HRESULT IsPluginKnown(REFGUID classId) = 0;                                  // 36
  virtual HRESULT GetPluginEnum(IZoFIOPluginEnum** out) = 0;                           // 37
  virtual HRESULT GetPluginInfo(REFGUID classId, ZOFIO_PLUGININFO* record) = 0;        // 38
  virtual HRESULT CreateFilterBuilder(IZoFioFilterBuilder2** out) = 0;                 // 39
  virtual HRESULT CreateFilterBuilder(IZoFioFilterBuilder2** out, DWORD flags) = 0;    // 40
};

// The manager as a host sees it (slots 41 to 54). The plug-in list arguments
// name the manager's own list; null stands for it.
struct IZoFileIOMgrForApp : IZoFileIOManager {
  virtual void Destroy() = 0;                                                          // 41, destructor
  virtual HRESULT InitializeEx(DWORD flags, LPCWSTR name) = 0;                         // 42
  virtual HRESULT LoadPluginList(void* list, DWORD flags, BOOL* allCached) = 0;        // 43
  virtual HRESULT AddCandidates(void* list, const WCHAR* const* names, LONG count, DWORD flags,
                                BOOL* allCached) = 0;                                  // 44
  virtual HRESULT FindCandidates(void* list, DWORD flags, BOOL* allCached) = 0;        // 45
  virtual HRESULT Slot46() = 0;                                                        // 46, not implemented
  virtual HRESULT SetInitMetrics(const _ZOFIO_INITIALIZATION_METRICS* metrics) = 0;    // 47
  virtual HRESULT AttachPluginList(void* list, DWORD filterFlags, const GUID* guids, DWORD count) = 0;  // 48
  virtual HRESULT WriteCache(DWORD flags) = 0;                                         // 49
  virtual HRESULT MapIdToIndex(DWORD id, LONG* index) = 0;                             // 50
  virtual HRESULT GetLastReadClass(IZoReadFileClass** out) = 0;                        // 51
  virtual HRESULT SetLastReadClass(IZoReadFileClass* cls) = 0;                         // 52
  virtual HRESULT GetLastRenderClass(IZoRenderFileClass** out) = 0;                    // 53
  virtual HRESULT SetLastRenderClass(IZoRenderFileClass* cls) = 0;                     // 54
};
