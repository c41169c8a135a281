// SPDX-License-Identifier: MIT
#include "riff/wave_zoformat.h"

#include "platform/status.h"
#include "riff/mriff_api.h"
#include "riff/wave_header.h"

namespace {

// A record as the 18-byte forms see it: converted into 136 bytes of room.
class WfxFromRecord {
 public:
  explicit WfxFromRecord(const _zowaveformat& record) : m_u{} {
    ZoAudio_GeneralCopyWfx(&m_u.wfx, sizeof m_u.bytes, &record, ZOWFCOPY_NOFORCE);
  }
  const WAVEFORMATEX* get() const { return &m_u.wfx; }

 private:
  union {
    BYTE bytes[136];  // first, so that {} zeroes all of the room
    WAVEFORMATEX wfx;
    WAVEFORMATEXTENSIBLE wfext;
  } m_u;
};

}  // namespace

HRESULT ZoSetFileWfx(LPCWSTR name, const _zowaveformat& format) {
  return ZoSetFileWfx(name, WfxFromRecord(format).get());
}

HRESULT ZoInitializeWav(LPCWSTR name, const _zowaveformat& format, DWORD mode) {
  return ZoInitializeWav(name, WfxFromRecord(format).get(), mode);
}

HRESULT ZoInitializeWav64(LPCWSTR name, const _zowaveformat& format, DWORD mode) {
  return ZoInitializeWav64(name, WfxFromRecord(format).get(), mode);
}

HRESULT ZoInitializeWavWithJunk(LPCWSTR name, const _zowaveformat& format, DWORD mode, DWORD headerSize) {
  return ZoInitializeWavWithJunk(name, WfxFromRecord(format).get(), mode, headerSize);
}

HRESULT ZoInitializeWav64WithJunk(LPCWSTR name, const _zowaveformat& format, DWORD mode, ULONGLONG headerSize) {
  return ZoInitializeWav64WithJunk(name, WfxFromRecord(format).get(), mode, headerSize);
}

HRESULT ZoInsertWavHeader(HANDLE file, const _zowaveformat& format, DWORD dataSize, DWORD headerSize) {
  return ZoInsertWavHeader(file, WfxFromRecord(format).get(), dataSize, headerSize);
}

HRESULT ZoInsertW64Header(HANDLE file, const _zowaveformat& format, ULONGLONG dataSize, ULONGLONG headerSize) {
  return ZoInsertW64Header(file, WfxFromRecord(format).get(), dataSize, headerSize);
}

HRESULT ZoFixTrashedWav(HANDLE file, const _zowaveformat& hints, DWORD headerLimit) {
  return ZoFixTrashedWav(file, WfxFromRecord(hints).get(), headerLimit);
}

HRESULT ZoFixTrashedW64(HANDLE file, const _zowaveformat& hints, ULONGLONG headerLimit) {
  return ZoFixTrashedW64(file, WfxFromRecord(hints).get(), headerLimit);
}

HRESULT mriff_WriteWaveHeader(_tMRIFF* context, const _zowaveformat& format, DWORD dataSize, DWORD extraSize) {
  const WfxFromRecord wfx(format);
  // The chunk holds 18 bytes: a cbSize that promises more would describe
  // bytes that are not there.
  if (wfx.get()->cbSize != 0) return ZOERR_UNSUPPORTED_MEDIATYPE;
  return mriff_WriteWaveHeader(context, wfx.get(), dataSize, extraSize);
}
