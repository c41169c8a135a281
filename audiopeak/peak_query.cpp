// SPDX-License-Identifier: MIT
// Answers to "min and max under each pixel": from the memory table, the
// mapped peak file, or the audio, whichever is the coarsest tier finer than
// the question.
#include <algorithm>
#include <cstring>
#include <mutex>
#include <optional>
#include <vector>

#include "audio/sample_copy.h"
#include "audiopeak/detail/peak_instance.h"

namespace vane::audiopeak {

namespace {

constexpr size_t kWorkingBytes = 0x20000;

bool IsPeakType(int type) { return type == 0 || type == 17 || type == 32 || type == 49; }

// Records [first, end) of one type merged into an element of the same type.
template <typename T>
void MergeSpan(const BYTE* records, LONGLONG first, LONGLONG end, WORD channels, BYTE* out) {
  T* o = reinterpret_cast<T*>(out);
  const size_t stride = size_t(channels) * 2;
  const T* r = reinterpret_cast<const T*>(records) + size_t(first) * stride;
  for (LONGLONG i = first; i < end; ++i, r += stride)
    for (size_t c = 0; c < stride; c += 2) {
      if (r[c] < o[c]) o[c] = r[c];
      if (o[c + 1] < r[c + 1]) o[c + 1] = r[c + 1];
    }
}

}  // namespace

void CZoAudioPeak::QueryRecords(const BYTE* records, int recordType, LONGLONG recordFrames, LONGLONG recordCount,
                                LONGLONG position, LONGLONG framesPerStep, int type, BYTE* out, LONG steps) {
  const WORD channels = m_source.channels;
  const size_t outBytes = size_t(ZoAudioPeak_MinMaxElementSize(type)) * channels;
  const size_t recordBytes = size_t(ZoAudioPeak_MinMaxElementSize(recordType)) * channels;
  std::vector<BYTE> converted(outBytes);
  for (LONG k = 0; k < steps; ++k, out += outBytes) {
    const LONGLONG a = position + k * framesPerStep;
    const LONGLONG b = std::min(a + framesPerStep, m_frames);
    const LONGLONG first = a / recordFrames;
    const LONGLONG end = std::min(b / recordFrames + (b % recordFrames != 0), recordCount);
    ZoAudioPeak_InitMinMaxArray(type, channels, out);
    if (recordType == type && type == 17) {
      MergeSpan<std::int16_t>(records, first, end, channels, out);
    } else if (recordType == type && type == 49) {
      MergeSpan<signed char>(records, first, end, channels, out);
    } else {
      for (LONGLONG r = first; r < end; ++r) {
        ZoAudioPeak_PrimeMinMaxArray(type, channels, converted.data(), recordType, records + size_t(r) * recordBytes);
        ZoAudioPeak_MergeMinMaxArray(type, channels, out, converted.data());
      }
    }
  }
}

HRESULT CZoAudioPeak::QueryAudio(LONGLONG position, LONGLONG framesPerStep, int type, BYTE* out, LONG steps) {
  const WAVEFORMATEX* format = m_reader ? m_reader->GetFormat() : nullptr;
  const ZOAUDIOPEAK_MINMAXFUNC minmax = ZoAudioPeak_GetMinMaxFunction(type, m_source.routineType);
  if (!format || !minmax) return ZOERR_UNSUPPORTED_FORMAT;
  ZOAUDIO_COPYFUNC convert = nullptr;
  std::vector<BYTE> converted;
  const LONGLONG chunkFrames = std::max<LONGLONG>(1, LONGLONG(kWorkingBytes / m_source.blockAlign));
  if (m_source.routineType != m_source.sampleType) {
    convert = ZoAudio_GetCopyFunction(ZOSAMPLETYPE(m_source.routineType), ZOSAMPLETYPE(m_source.sampleType));
    if (!convert) return ZOERR_UNSUPPORTED_FORMAT;
    converted.resize(size_t(chunkFrames) * m_source.channels * ZoAudio_BytesFromSampleType(ZOSAMPLETYPE(m_source.routineType)));
  }
  std::vector<BYTE> samples(size_t(chunkFrames) * m_source.blockAlign);
  const size_t outBytes = size_t(ZoAudioPeak_MinMaxElementSize(type)) * m_source.channels;
  VANE_RETURN_IF_FAILED(m_reader->Open());
  HRESULT hr = S_OK;
  for (LONG k = 0; k < steps && SUCCEEDED(hr); ++k, out += outBytes) {
    ZoAudioPeak_InitMinMaxArray(type, m_source.channels, out);
    const LONGLONG b = std::min(position + (k + 1) * framesPerStep, m_frames);
    for (LONGLONG at = position + k * framesPerStep; at < b;) {
      LONG got = 0;
      hr = m_reader->Read(at, LONG(std::min(chunkFrames, b - at)), samples.data(), &got);
      if (FAILED(hr) || got <= 0) break;
      const void* src = samples.data();
      if (convert) {
        convert(converted.data(), samples.data(), got * LONG(m_source.channels), 1.0f);
        src = converted.data();
      }
      minmax(src, got, m_source.channels, out);
      at += got;
    }
  }
  m_reader->Close();
  return hr;
}

HRESULT CZoAudioPeak::Query(LONGLONG position, LONGLONG framesPerStep, int type, void* out, LONG steps,
                            LONG* stepsDone, bool audioOnly) {
  if (stepsDone) *stepsDone = 0;
  if (!IsPeakType(type)) return E_UNEXPECTED;
  if (framesPerStep <= 0 || position < 0 || steps < 0) return E_INVALIDARG;
  if (!out && steps > 0) return E_POINTER;
  if (type == 0) type = 17;
  std::unique_lock<std::recursive_mutex> hold(m_lock, std::defer_lock);
  if (m_flags & ZOAUDIOPEAK_THREADSAFE) hold.lock();
  // Steps that start past the media's end are not filled.
  LONG count = 0;
  if (position < m_frames) {
    const LONGLONG left = (m_frames - position) / framesPerStep + ((m_frames - position) % framesPerStep != 0);
    count = LONG(std::min<LONGLONG>(steps, left));
  }
  if (count == 0) return S_OK;
  BYTE* dst = static_cast<BYTE*>(out);
  HRESULT hr = S_OK;
  if (!audioOnly && m_valid && !m_table.empty() && framesPerStep >= m_tableStep) {
    QueryRecords(reinterpret_cast<const BYTE*>(m_table.data()), 17, m_tableStep, m_tableRecords, position,
                 framesPerStep, type, dst, count);
  } else if (audioOnly || IsMemory() || !m_valid || framesPerStep < LONGLONG(m_header.framesPerPeak) ||
             FAILED(OpenView())) {
    hr = QueryAudio(position, framesPerStep, type, dst, count);
  } else {
    QueryRecords(m_view + m_header.headerSize, m_header.peakBits == 16 ? 17 : 49, m_header.framesPerPeak,
                 LONGLONG(ZoAudioPeak_RecordCount(&m_header)), position, framesPerStep, type, dst, count);
    if (!m_keepOpen) CloseView();
  }
  if (SUCCEEDED(hr) && stepsDone) *stepsDone = count;
  return hr;
}

HRESULT CZoAudioPeak::GetPeaks(LONGLONG position, LONGLONG framesPerStep, int type, void* out, LONG steps,
                               LONG* stepsDone) {
  return Query(position, framesPerStep, type, out, steps, stepsDone, false);
}

HRESULT CZoAudioPeak::GetPeaks16(LONGLONG position, LONGLONG framesPerStep, void* out, LONG steps, LONG* stepsDone) {
  return GetPeaks(position, framesPerStep, 17, out, steps, stepsDone);
}

HRESULT CZoAudioPeak::GetPeaksRange(LONGLONG position, LONGLONG framesPerStep, int type, void* out, LONG steps,
                                    LONG* stepsDone) {
  if (stepsDone) *stepsDone = 0;
  if (framesPerStep <= 0) return E_INVALIDARG;
  if (position < 0) return E_INVALIDARG;
  return GetPeaks(position / framesPerStep * framesPerStep, framesPerStep, type, out, steps, stepsDone);
}

HRESULT CZoAudioPeak::ScanAudio(LONGLONG position, LONGLONG framesPerStep, int type, void* out, LONG steps,
                                LONG* stepsDone) {
  return Query(position, framesPerStep, type, out, steps, stepsDone, true);
}

}  // namespace vane::audiopeak
