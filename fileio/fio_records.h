// SPDX-License-Identifier: MIT
// Records that cross the plug-in boundary or configure the manager. Byte
// layouts carry static_asserts on size and offsets; records that hold
// pointers keep their field order with the platform's widths.
#pragma once

#include <cstddef>

#include "platform/guid.h"
#include "platform/types.h"

// Stream types, a bit mask.
enum ZOFILESTREAMTYPE : DWORD {
  ZOFILESTREAM_AUDIO = 1,
  ZOFILESTREAM_VIDEO = 2,
  ZOFILESTREAM_TEXT = 4,
  ZOFILESTREAM_OTHER = 8,
};

enum ZOINTERLACETYPE : DWORD {
  ZOINTERLACE_NONE = 0,
  ZOINTERLACE_UPPER_FIRST = 1,
  ZOINTERLACE_LOWER_FIRST = 2,
};

// Video extension of the stream format record.
struct tZOVIDEOEXTENSION {
  DWORD cbSize;       // 64
  LONG reserved1;     // -1
  DWORD reserved2;    // 0
  DWORD interlace;    // ZOINTERLACETYPE
  double frameRate;
  double pixelAspect; // 1.0 when none was given or it was not above 0
  double reserved3;   // 0.0
  BYTE reserved4[24];
};
static_assert(sizeof(tZOVIDEOEXTENSION) == 64);
static_assert(offsetof(tZOVIDEOEXTENSION, frameRate) == 16 && offsetof(tZOVIDEOEXTENSION, pixelAspect) == 24);

// Audio extension: 32 bytes whose use is a matter for the audio readers.
struct tZOAUDIOEXTENSION {
  BYTE bytes[32];
};
static_assert(sizeof(tZOAUDIOEXTENSION) == 32);

inline constexpr DWORD ZOFIO_STREAMFORMAT_SIZE = 184;
inline constexpr DWORD ZOFIO_STREAMFORMAT_EXTENSION_BYTES = 64;
inline constexpr DWORD ZOFIO_STREAMFORMAT_FORMAT_BYTES = 96;

// The stream format record filled by a reader. Callers set cbSize; a reader
// keeps a larger size that was passed and clears the rest.
struct _ZOFILESTREAMFORMATINFOv2 {
  DWORD cbSize;
  DWORD streamType;  // ZOFILESTREAMTYPE
  LONGLONG length;   // in the stream's own units (samples for audio)
  LONGLONG start;
  union {
    tZOAUDIOEXTENSION audio;
    tZOVIDEOEXTENSION video;
    BYTE text[40];
    BYTE raw[ZOFIO_STREAMFORMAT_EXTENSION_BYTES];
  } extension;
  union {
    BYTE raw[ZOFIO_STREAMFORMAT_FORMAT_BYTES];  // _zowaveformat, BITMAPINFOHEADER (40) or text (20)
  } format;
};
static_assert(sizeof(_ZOFILESTREAMFORMATINFOv2) == 184);
static_assert(offsetof(_ZOFILESTREAMFORMATINFOv2, streamType) == 4);
static_assert(offsetof(_ZOFILESTREAMFORMATINFOv2, length) == 8);
static_assert(offsetof(_ZOFILESTREAMFORMATINFOv2, start) == 16);
static_assert(offsetof(_ZOFILESTREAMFORMATINFOv2, extension) == 24);
static_assert(offsetof(_ZOFILESTREAMFORMATINFOv2, format) == 88);

struct _ZOREADSTREAMCAPS {
  DWORD caps;
};
static_assert(sizeof(_ZOREADSTREAMCAPS) == 4);

// A block of memory valid in the reader's process, passed by value.
struct _zomemorytoken {
  ULONGLONG handle;   // file mapping in the owner's process
  ULONGLONG pointer;  // base address in the owner's process
  ULONGLONG size;
  ULONGLONG offset;
  DWORD kind;         // 0 plain memory, 1 file mapping
  DWORD processId;
};
static_assert(sizeof(_zomemorytoken) == 40);
static_assert(offsetof(_zomemorytoken, pointer) == 8 && offsetof(_zomemorytoken, size) == 16 &&
              offsetof(_zomemorytoken, offset) == 24 && offsetof(_zomemorytoken, kind) == 32 &&
              offsetof(_zomemorytoken, processId) == 36);

inline constexpr DWORD ZOFIO_FAST_METRIC_COUNT = 54;

// Host presets for the fast metrics: value n is taken when bit n is set.
struct _ZOFIO_INITIALIZATION_METRICS {
  ULONGLONG mask;
  DWORD values[ZOFIO_FAST_METRIC_COUNT];
};
static_assert(sizeof(_ZOFIO_INITIALIZATION_METRICS) == 224);
static_assert(offsetof(_ZOFIO_INITIALIZATION_METRICS, values) == 8);

// Filter bit of _ZOFIO_KEYED_INFO: keep only the listed classes (else drop them).
inline constexpr DWORD ZOFIO_FILTER_KEEP_LISTED = 1;

// Given to ZOFileIO_CreateInstance. Field order as defined, pointer-wide on
// this platform.
struct _ZOFIO_KEYED_INFO {
  DWORD reserved;
  const GUID* guids;  // class GUIDs that filter the enumerations
  DWORD guidCount;
  DWORD filterFlags;
  DWORD skipCount;    // module file names discovery ignores
  const WCHAR* const* skipNames;
  _ZOFIO_INITIALIZATION_METRICS metrics;
};
static_assert(offsetof(_ZOFIO_KEYED_INFO, guids) == 8 && offsetof(_ZOFIO_KEYED_INFO, guidCount) == 16 &&
              offsetof(_ZOFIO_KEYED_INFO, filterFlags) == 20 && offsetof(_ZOFIO_KEYED_INFO, skipCount) == 24 &&
              offsetof(_ZOFIO_KEYED_INFO, skipNames) == 32 && offsetof(_ZOFIO_KEYED_INFO, metrics) == 40);
static_assert(sizeof(_ZOFIO_KEYED_INFO) == 264);

inline constexpr DWORD ZOFIO_PLUGININFO_SIZE = 592;

// One class of the plug-in list as the plug-in enumerator reports it.
struct ZOFIO_PLUGININFO {
  DWORD cbSize;  // up to 592; more is refused
  DWORD reserved;
  GUID classId;
  GUID reader;
  GUID renderer;
  WCHAR modulePath[MAX_PATH];
  BYTE zero[16];
};
static_assert(sizeof(ZOFIO_PLUGININFO) == 592);
static_assert(offsetof(ZOFIO_PLUGININFO, classId) == 8 && offsetof(ZOFIO_PLUGININFO, reader) == 24 &&
              offsetof(ZOFIO_PLUGININFO, renderer) == 40 && offsetof(ZOFIO_PLUGININFO, modulePath) == 56 &&
              offsetof(ZOFIO_PLUGININFO, zero) == 576);

// Texts a class gives through GetInfoText.
enum ZOFIO_FILECLASS_INFO_TEXT : DWORD {
  ZOFIO_INFOTEXT_EXTENSIONS = 2,   // "*.abc;*.def"
  ZOFIO_INFOTEXT_DEFAULT_EXT = 4,  // extension list whose first item is the default
  ZOFIO_INFOTEXT_NAME = 5,         // filter display name
};

enum ZOFIO_FILE_INFO : DWORD { ZOFIO_FILEINFO_DATARATE = 1, ZOFIO_FILEINFO_MAXDATARATE = 5 };
enum ZOFIO_STREAM_INFO : DWORD {
  ZOFIO_STREAMINFO_CODECID = 1,
  ZOFIO_STREAMINFO_DATARATE = 2,
  ZOFIO_STREAMINFO_AVGFRAMERATE = 6
};
enum ZOFIO_STREAM_INFOTEXT : DWORD { ZOFIO_STREAMINFOTEXT_FORMAT = 2, ZOFIO_STREAMINFOTEXT_DATARATE = 3 };

// Access bits a class reports through GetFilterInfo (shifted left by 4 in
// the manager's entry: 16 reader, 32 renderer).
inline constexpr DWORD ZOFIO_FILTER_ACCESS_READ = 1;
inline constexpr DWORD ZOFIO_FILTER_ACCESS_RENDER = 2;

// Bits of the flags word a class reports through GetFilterInfo.
inline constexpr DWORD ZOFIO_FILTERFLAG_INIT_AT_START = 1;   // initialise on every start
inline constexpr DWORD ZOFIO_FILTERFLAG_NO_FIXED_INIT = 2;   // the fixed start-up classes are not forced
inline constexpr DWORD ZOFIO_FILTERFLAG_ALLOW_DUPLICATES = 4;  // another module's class of this id does not hide it
