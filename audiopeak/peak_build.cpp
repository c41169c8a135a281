// SPDX-License-Identifier: MIT
// Building a peak file (and the memory table) from the media, updating a
// stretch of it, and following the media's length.
#include <algorithm>
#include <cstring>
#include <vector>

#include "audio/sample_copy.h"
#include "audio/zowaveformat.h"
#include "audiopeak/detail/peak_instance.h"
#include "audiopeak/detail/peak_name.h"
#include "platform/file.h"

namespace vane::audiopeak {

namespace {

constexpr size_t kWorkingBytes = 0x20000;

HRESULT WriteAt(HANDLE file, ULONGLONG offset, const void* data, size_t bytes) {
  const BYTE* p = static_cast<const BYTE*>(data);
  while (bytes > 0) {
    const DWORD chunk = DWORD(std::min<size_t>(bytes, 0x40000000));
    OVERLAPPED at{};
    at.Offset = DWORD(offset);
    at.OffsetHigh = DWORD(offset >> 32);
    DWORD written = 0;
    if (!WriteFile(file, p, chunk, &written, &at) || written != chunk) return ZOERR_FILE_WRITE;
    p += chunk;
    offset += chunk;
    bytes -= chunk;
  }
  return S_OK;
}

bool Report(const tZOAUDIOPEAK_PROGRESS* progress, LONGLONG done, LONGLONG total) {
  if (!progress || !progress->proc) return true;
  const LONGLONG scaled = total > 0 ? LONGLONG(double(done) * 10000.0 / double(total)) : 10000;
  return progress->proc(progress->user, scaled, 10000) != FALSE;
}

LONGLONG Records(LONGLONG frames, LONGLONG step) { return step > 0 ? frames / step + (frames % step != 0) : 0; }

}  // namespace

HRESULT CZoAudioPeak::ComputeRecords(
    LONGLONG firstRecord, LONGLONG records, LONGLONG recordFrames, int peakType, std::vector<BYTE>* out,
    const tZOAUDIOPEAK_PROGRESS* progress,
    const std::function<HRESULT(LONGLONG first, const BYTE* data, LONGLONG count)>& sink) {
  const WAVEFORMATEX* format = m_reader->GetFormat();
  const ZOAUDIOPEAK_MINMAXFUNC minmax = ZoAudioPeak_GetMinMaxFunction(peakType, m_source.routineType);
  if (!format || !minmax || recordFrames <= 0) return ZOERR_UNSUPPORTED_FORMAT;
  ZOAUDIO_COPYFUNC convert = nullptr;
  if (m_source.routineType != m_source.sampleType) {
    convert = ZoAudio_GetCopyFunction(ZOSAMPLETYPE(m_source.routineType), ZOSAMPLETYPE(m_source.sampleType));
    if (!convert) return ZOERR_UNSUPPORTED_FORMAT;
  }
  const WORD channels = m_source.channels;
  const size_t recordBytes = size_t(ZoAudioPeak_MinMaxElementSize(peakType)) * channels;
  const LONGLONG blockRecords = std::max<LONGLONG>(1, LONGLONG(kWorkingBytes / m_source.blockAlign) / recordFrames);
  const LONGLONG blockFrames = blockRecords * recordFrames;
  if (blockFrames > 0x7FFFFFFF / LONGLONG(m_source.blockAlign)) return E_OUTOFMEMORY;
  std::vector<BYTE> samples(size_t(blockFrames) * m_source.blockAlign);
  std::vector<BYTE> converted;
  if (convert) converted.resize(size_t(blockFrames) * channels * ZoAudio_BytesFromSampleType(ZOSAMPLETYPE(m_source.routineType)));
  const size_t routineFrameBytes =
      convert ? size_t(channels) * ZoAudio_BytesFromSampleType(ZOSAMPLETYPE(m_source.routineType)) : m_source.blockAlign;
  out->resize(size_t(blockRecords) * recordBytes);

  VANE_RETURN_IF_FAILED(m_reader->Open());
  HRESULT hr = S_OK;
  for (LONGLONG done = 0; done < records && SUCCEEDED(hr);) {
    const LONGLONG count = std::min(blockRecords, records - done);
    const LONGLONG start = (firstRecord + done) * recordFrames;
    const LONGLONG frames = std::min(count * recordFrames, m_frames - start);
    if (frames <= 0) break;
    // Read the block whole; what the media does not deliver is silence.
    LONGLONG have = 0;
    while (have < frames) {
      LONG got = 0;
      hr = m_reader->Read(start + have, LONG(frames - have), samples.data() + size_t(have) * m_source.blockAlign, &got);
      if (FAILED(hr) || got <= 0) break;
      have += got;
    }
    if (FAILED(hr) && hr != ZOERR_FILE_READ) break;
    hr = S_OK;
    if (have < frames)
      ZoAudio_FillSilence(format, samples.data() + size_t(have) * m_source.blockAlign, LONG(frames - have));
    const BYTE* src = samples.data();
    if (convert) {
      convert(converted.data(), samples.data(), LONG(frames * channels), 1.0f);
      src = converted.data();
    }
    for (LONGLONG r = 0; r < count; ++r) {
      BYTE* record = out->data() + size_t(r) * recordBytes;
      ZoAudioPeak_InitMinMaxArray(peakType, channels, record);
      const LONGLONG from = r * recordFrames;
      const LONGLONG n = std::min(recordFrames, frames - from);
      if (n > 0) minmax(src + size_t(from) * routineFrameBytes, LONG(n), channels, record);
    }
    hr = sink(firstRecord + done, out->data(), count);
    done += count;
    if (SUCCEEDED(hr) && !Report(progress, done, records)) hr = ZOERR_CANCELLED;
  }
  m_reader->Close();
  return hr;
}

void CZoAudioPeak::FoldIntoTable(LONGLONG firstRecord, const BYTE* records, LONGLONG count, int recordType) {
  if (m_tableStep <= 0 || m_table.empty()) return;
  const WORD channels = m_source.channels;
  const size_t recordBytes = size_t(ZoAudioPeak_MinMaxElementSize(recordType)) * channels;
  const LONGLONG recordFrames = m_headerSound || !IsMemory() ? LONGLONG(m_header.framesPerPeak) : m_tableStep;
  std::vector<std::int16_t> wide(size_t(channels) * 2);
  for (LONGLONG r = 0; r < count; ++r) {
    const LONGLONG t = (firstRecord + r) * recordFrames / m_tableStep;
    if (t >= m_tableRecords) break;
    const BYTE* record = records + size_t(r) * recordBytes;
    const std::int16_t* values = reinterpret_cast<const std::int16_t*>(record);
    if (recordType != 17) {
      ZoAudioPeak_PrimeMinMaxArray(17, channels, wide.data(), recordType, record);
      values = wide.data();
    }
    ZoAudioPeak_MergeMinMaxArray(17, channels, m_table.data() + size_t(t) * channels * 2, values);
  }
}

void CZoAudioPeak::MakeTableFromFile() {
  m_table.clear();
  m_tableRecords = 0;
  m_tableStep = 0;
  if (m_memoryRequest <= 0 || !m_headerSound) return;
  const LONGLONG fpp = m_header.framesPerPeak;
  const LONGLONG wanted = std::max<LONGLONG>(m_memoryRequest, fpp);
  m_tableStep = (wanted + fpp - 1) / fpp * fpp;
  if (FAILED(OpenView())) {
    m_tableStep = 0;
    return;
  }
  m_tableRecords = Records(LONGLONG(m_header.frameCount), m_tableStep);
  m_table.resize(size_t(m_tableRecords) * m_source.channels * 2);
  for (LONGLONG t = 0; t < m_tableRecords; ++t)
    ZoAudioPeak_InitMinMaxArray(17, m_source.channels, m_table.data() + size_t(t) * m_source.channels * 2);
  FoldIntoTable(0, m_view + m_header.headerSize, LONGLONG(ZoAudioPeak_RecordCount(&m_header)),
                m_header.peakBits == 16 ? 17 : 49);
  if (!m_keepOpen) CloseView();
}

HRESULT CZoAudioPeak::CreatePeakFile(HANDLE* file) {
  *file = INVALID_HANDLE_VALUE;
  if (ResolveName() != S_OK) return ZOERR_FILE_CREATE;
  const DWORD share = FILE_SHARE_READ;
  *file = CreateFileW(m_peakName.c_str(), GENERIC_READ | GENERIC_WRITE, share, nullptr, CREATE_ALWAYS,
                      FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (*file == INVALID_HANDLE_VALUE && !m_nameGiven && !(m_flags & ZOAUDIOPEAK_TEMPORARY) &&
      (m_flags & ZOAUDIOPEAK_BESIDE_OR_TEMPORARY)) {
    // Beside the media is not writable: a temporary file serves instead.
    std::u16string temp;
    if (TemporaryPeakName(m_tempFolder.c_str(), &temp) == S_OK) {
      m_peakName = temp;
      *file = CreateFileW(m_peakName.c_str(), GENERIC_READ | GENERIC_WRITE, share, nullptr, CREATE_ALWAYS,
                          FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    }
  }
  return *file == INVALID_HANDLE_VALUE ? ZOERR_FILE_CREATE : S_OK;
}

HRESULT CZoAudioPeak::BuildFile(DWORD peakBits, const tZOAUDIOPEAK_PROGRESS* progress) {
  DWORD local = 0, utc = 0;
  if (!ZoAudioPeak_GetMediaDates(m_mediaPath.c_str(), &local, &utc)) return ZOERR_FILE_OPEN;
  tZOAUDIOPEAKHEADER header{};
  header.magic = ZOAUDIOPEAK_MAGIC;
  header.version = ZOAUDIOPEAK_VERSION;
  header.headerSize = ZOAUDIOPEAK_HEADER_SIZE;
  header.peakBits = peakBits;
  header.channels = m_source.channels;
  header.framesPerPeak = DWORD(m_framesPerPeak);
  header.frameCount = ULONGLONG(m_frames);
  const ULONGLONG size = ZoAudioPeak_ExpectedFileSize(&header);
  if (size == 0) return ZOERR_FILE_TOO_LARGE;
  const int peakType = peakBits == 16 ? 17 : 49;
  const size_t recordBytes = size_t(ZoAudioPeak_RecordSize(&header));
  const LONGLONG records = LONGLONG(ZoAudioPeak_RecordCount(&header));

  CloseView();
  m_headerSound = m_valid = false;
  HANDLE file = INVALID_HANDLE_VALUE;
  VANE_RETURN_IF_FAILED(CreatePeakFile(&file));
  // The dates stay 0 until the end, so a killed build leaves an invalid
  // file; the whole length is claimed before any work.
  HRESULT hr = WriteHeader(file, header);
  LARGE_INTEGER end{};
  end.QuadPart = LONGLONG(size);
  if (SUCCEEDED(hr) && (!SetFilePointerEx(file, end, nullptr, FILE_BEGIN) || !SetEndOfFile(file))) hr = ZOERR_FILE_WRITE;
  if (SUCCEEDED(hr) && records > 0) {
    std::vector<BYTE> last(recordBytes);
    ZoAudioPeak_InitMinMaxArray(peakType, m_source.channels, last.data());
    hr = WriteAt(file, size - recordBytes, last.data(), last.size());
  }

  // The memory table fills as the records are made.
  m_header = header;
  m_table.clear();
  m_tableRecords = 0;
  m_tableStep = 0;
  if (m_memoryRequest > 0) {
    const LONGLONG wanted = std::max<LONGLONG>(m_memoryRequest, m_framesPerPeak);
    m_tableStep = (wanted + m_framesPerPeak - 1) / m_framesPerPeak * m_framesPerPeak;
    m_tableRecords = Records(m_frames, m_tableStep);
    m_table.resize(size_t(m_tableRecords) * m_source.channels * 2);
    for (LONGLONG t = 0; t < m_tableRecords; ++t)
      ZoAudioPeak_InitMinMaxArray(17, m_source.channels, m_table.data() + size_t(t) * m_source.channels * 2);
  }
  std::vector<BYTE> block;
  if (SUCCEEDED(hr))
    hr = ComputeRecords(0, records, m_framesPerPeak, peakType, &block, progress,
                        [&](LONGLONG first, const BYTE* data, LONGLONG count) {
                          FoldIntoTable(first, data, count, peakType);
                          return WriteAt(file, header.headerSize + ULONGLONG(first) * recordBytes, data,
                                         size_t(count) * recordBytes);
                        });
  if (SUCCEEDED(hr)) {
    header.mediaDate = local;
    header.mediaDateUtc = utc;
    hr = WriteHeader(file, header);
  }
  CloseHandle(file);
  if (FAILED(hr)) {
    // A cancelled or failed build leaves nothing behind.
    DeleteFileW(m_peakName.c_str());
    std::memset(&m_header, 0, sizeof m_header);
    m_table.clear();
    m_tableRecords = m_tableStep = 0;
    return hr;
  }
  m_header = header;
  m_headerSound = true;
  m_dirty = false;
  m_valid = HeaderMatchesMedia();
  if (m_keepOpen) OpenView();
  return S_OK;
}

HRESULT CZoAudioPeak::BuildMemory(const tZOAUDIOPEAK_PROGRESS* progress) {
  m_tableStep = m_memoryRequest > 0 ? m_memoryRequest : ZOAUDIOPEAK_DEFAULT_FRAMES_PER_PEAK;
  m_tableRecords = Records(m_frames, m_tableStep);
  m_table.assign(size_t(m_tableRecords) * m_source.channels * 2, 0);
  std::vector<BYTE> block;
  const size_t recordBytes = size_t(m_source.channels) * 4;
  const HRESULT hr = ComputeRecords(0, m_tableRecords, m_tableStep, 17, &block, progress,
                                    [&](LONGLONG first, const BYTE* data, LONGLONG count) {
                                      std::memcpy(reinterpret_cast<BYTE*>(m_table.data()) + size_t(first) * recordBytes,
                                                  data, size_t(count) * recordBytes);
                                      return S_OK;
                                    });
  if (FAILED(hr)) {
    m_table.clear();
    m_tableRecords = 0;
    m_valid = false;
    return hr;
  }
  m_valid = true;
  return S_OK;
}

HRESULT CZoAudioPeak::Build(DWORD flags, const tZOAUDIOPEAK_PROGRESS* progress) {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  if (!m_reader || !m_reader->GetFormat()) return ZOERR_FILE_OPEN;
  if (IsMemory()) return m_valid ? ZOAUDIOPEAK_S_VALID : BuildMemory(progress);
  if (ResolveName() != S_OK) return ZOERR_FILE_CREATE;
  LoadHeader();
  m_valid = m_headerSound && HeaderMatchesMedia();
  const bool upgrade = (flags & ZOAUDIOPEAK_BUILD_16BIT) && (flags & ZOAUDIOPEAK_BUILD_UPGRADE) && m_header.peakBits < 16;
  if (m_valid && !upgrade) {
    if (m_table.empty() && m_memoryRequest > 0) MakeTableFromFile();
    return ZOAUDIOPEAK_S_VALID;
  }
  if (ReadOnly()) return E_FAIL;
  return BuildFile((flags & ZOAUDIOPEAK_BUILD_16BIT) ? 16 : 8, progress);
}

HRESULT CZoAudioPeak::Update(LONGLONG first, LONG count, const void* buffer, const tZOAUDIOPEAK_PROGRESS* progress) {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  if (ReadOnly()) return E_FAIL;
  if (first < 0 || count < 0 || first > m_frames - count) return E_INVALIDARG;
  if (count == 0) return S_OK;
  if (!IsMemory() && !m_headerSound) return Build(0, progress);
  const bool memory = IsMemory();
  const LONGLONG recordFrames = memory ? m_tableStep : LONGLONG(m_header.framesPerPeak);
  const int peakType = memory || m_header.peakBits == 16 ? 17 : 49;
  const WORD channels = m_source.channels;
  const size_t recordBytes = size_t(ZoAudioPeak_MinMaxElementSize(peakType)) * channels;
  const LONGLONG r0 = first / recordFrames, r1 = Records(first + count, recordFrames);
  std::vector<BYTE> records(size_t(r1 - r0) * recordBytes);
  std::vector<BYTE> block;
  // Every record of the stretch from the media, then those the buffer
  // covers whole from the buffer.
  HRESULT hr = ComputeRecords(r0, r1 - r0, recordFrames, peakType, &block, progress,
                              [&](LONGLONG at, const BYTE* data, LONGLONG n) {
                                std::memcpy(records.data() + size_t(at - r0) * recordBytes, data, size_t(n) * recordBytes);
                                return S_OK;
                              });
  if (FAILED(hr) && hr != ZOERR_FILE_OPEN) return hr;
  if (buffer) {
    const ZOAUDIOPEAK_MINMAXFUNC minmax = ZoAudioPeak_GetMinMaxFunction(peakType, m_source.routineType);
    const WAVEFORMATEX* format = m_reader->GetFormat();
    std::vector<BYTE> converted;
    ZOAUDIO_COPYFUNC convert = nullptr;
    if (m_source.routineType != m_source.sampleType)
      convert = ZoAudio_GetCopyFunction(ZOSAMPLETYPE(m_source.routineType), ZOSAMPLETYPE(m_source.sampleType));
    const size_t routineFrameBytes =
        convert ? size_t(channels) * ZoAudio_BytesFromSampleType(ZOSAMPLETYPE(m_source.routineType)) : format->nBlockAlign;
    for (LONGLONG r = r0; r < r1; ++r) {
      const LONGLONG from = r * recordFrames, to = std::min(from + recordFrames, m_frames);
      if (from < first || to > first + count) continue;
      const BYTE* src = static_cast<const BYTE*>(buffer) + size_t(from - first) * format->nBlockAlign;
      if (convert) {
        converted.resize(size_t(to - from) * routineFrameBytes);
        convert(converted.data(), src, LONG((to - from) * channels), 1.0f);
        src = converted.data();
      }
      BYTE* record = records.data() + size_t(r - r0) * recordBytes;
      ZoAudioPeak_InitMinMaxArray(peakType, channels, record);
      if (minmax) minmax(src, LONG(to - from), channels, record);
    }
  } else if (FAILED(hr)) {
    return hr;
  }
  if (memory) {
    std::memcpy(reinterpret_cast<BYTE*>(m_table.data()) + size_t(r0) * recordBytes, records.data(), records.size());
    return S_OK;
  }
  CloseView();
  HANDLE file = CreateFileW(m_peakName.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0,
                            nullptr);
  if (file == INVALID_HANDLE_VALUE) return ZOERR_FILE_WRITE;
  hr = WriteAt(file, m_header.headerSize + ULONGLONG(r0) * recordBytes, records.data(), records.size());
  CloseHandle(file);
  if (FAILED(hr)) return hr;
  m_dirty = true;
  hr = Commit();
  if (!m_table.empty()) MakeTableFromFile();
  return hr;
}

HRESULT CZoAudioPeak::SetFrameCount(LONGLONG frames) {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  if (frames < 0) return E_INVALIDARG;
  if (IsMemory()) {
    m_frames = frames;
    return BuildMemory(nullptr);
  }
  if (ReadOnly()) return E_FAIL;
  const LONGLONG oldFrames = m_frames;
  m_frames = frames;
  if (!m_headerSound) return S_OK;
  CloseView();
  tZOAUDIOPEAKHEADER header = m_header;
  header.frameCount = ULONGLONG(frames);
  const ULONGLONG size = ZoAudioPeak_ExpectedFileSize(&header);
  if (size == 0) return ZOERR_FILE_TOO_LARGE;
  HANDLE file = CreateFileW(m_peakName.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0,
                            nullptr);
  if (file == INVALID_HANDLE_VALUE) return ZOERR_FILE_WRITE;
  LARGE_INTEGER end{};
  end.QuadPart = LONGLONG(size);
  HRESULT hr = SetFilePointerEx(file, end, nullptr, FILE_BEGIN) && SetEndOfFile(file) ? S_OK : ZOERR_FILE_WRITE;
  // The old last record (perhaps partial) and every new one come from the media.
  const int peakType = header.peakBits == 16 ? 17 : 49;
  const size_t recordBytes = size_t(ZoAudioPeak_RecordSize(&header));
  const LONGLONG fpp = header.framesPerPeak;
  const LONGLONG from = std::min(oldFrames, frames) / fpp;
  const LONGLONG records = LONGLONG(ZoAudioPeak_RecordCount(&header)) - from;
  m_header = header;
  std::vector<BYTE> block;
  if (SUCCEEDED(hr) && records > 0) {
    const HRESULT computed = ComputeRecords(from, records, fpp, peakType, &block, nullptr,
                                            [&](LONGLONG first, const BYTE* data, LONGLONG count) {
                                              return WriteAt(file, header.headerSize + ULONGLONG(first) * recordBytes,
                                                             data, size_t(count) * recordBytes);
                                            });
    if (FAILED(computed)) {
      // Without the media the new records stay empty rather than wrong.
      std::vector<BYTE> empty(recordBytes);
      ZoAudioPeak_InitMinMaxArray(peakType, m_source.channels, empty.data());
      for (LONGLONG r = from; r < from + records && SUCCEEDED(hr); ++r)
        hr = WriteAt(file, header.headerSize + ULONGLONG(r) * recordBytes, empty.data(), recordBytes);
    }
  }
  DWORD local = 0, utc = 0;
  if (SUCCEEDED(hr) && ZoAudioPeak_GetMediaDates(m_mediaPath.c_str(), &local, &utc)) {
    m_header.mediaDate = local;
    m_header.mediaDateUtc = utc;
  }
  if (SUCCEEDED(hr)) hr = WriteHeader(file, m_header);
  CloseHandle(file);
  if (FAILED(hr)) return hr;
  m_dirty = false;
  m_valid = HeaderMatchesMedia();
  if (!m_table.empty() || m_memoryRequest > 0) MakeTableFromFile();
  return S_OK;
}

}  // namespace vane::audiopeak
