// SPDX-License-Identifier: MIT
// The peak instance behind IZoAudioPeak, shared by its lifecycle, build and
// query sources.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "audiopeak/zoaudiopeak.h"

namespace vane::audiopeak {

class CZoAudioPeak final : public IZoAudioPeak, public RefCounted<CZoAudioPeak> {
 public:
  CZoAudioPeak(CZoAudioPeakStreamReader* reader, DWORD flags);
  ~CZoAudioPeak();

  // Set up by the creation functions before the instance is handed out.
  HRESULT InitFile(LPCWSTR mediaPath, LPCWSTR tempFolder, LPCWSTR peakPath, LONG framesPerPeak,
                   LONG memoryFramesPerPeak);
  HRESULT InitMemory(LONG framesPerPeak);
  HRESULT Rename(LPCWSTR newName, DWORD flag);

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return AddRefImpl(); }
  ULONG STDMETHODCALLTYPE Release() override { return ReleaseImpl(); }

  BOOL IsValid(DWORD flags) override;
  HRESULT GetFileName(WCHAR* buffer, int cch) override;
  HRESULT Build(DWORD flags, const tZOAUDIOPEAK_PROGRESS* progress) override;
  HRESULT Update(LONGLONG first, LONG count, const void* buffer, const tZOAUDIOPEAK_PROGRESS* progress) override;
  HRESULT SetFrameCount(LONGLONG frames) override;
  const WAVEFORMATEX* GetFormat() override { return m_reader ? m_reader->GetFormat() : nullptr; }
  HRESULT GetReader(CZoAudioPeakStreamReader** reader) override;
  HRESULT GetHeader(void* buffer, DWORD size) override;
  HRESULT SetKeepOpen(BOOL keepOpen, BOOL openNow) override;
  HRESULT GetInfo(int* mediaType, LONG* framesPerPeak, int* peakType, LONG* memoryFramesPerPeak,
                  int* memoryType) override;
  HRESULT GetPeaks16(LONGLONG position, LONGLONG framesPerStep, void* out, LONG steps, LONG* stepsDone) override;
  HRESULT GetPeaks(LONGLONG position, LONGLONG framesPerStep, int type, void* out, LONG steps,
                   LONG* stepsDone) override;
  HRESULT GetPeaksRange(LONGLONG position, LONGLONG framesPerStep, int type, void* out, LONG steps,
                        LONG* stepsDone) override;
  HRESULT ScanAudio(LONGLONG position, LONGLONG framesPerStep, int type, void* out, LONG steps,
                    LONG* stepsDone) override;
  LONGLONG GetFrameCount() override { return m_frames; }
  HRESULT Commit() override;

 private:
  // Where the samples are read from and in which type the routines see them.
  struct Source {
    int sampleType = 0;     // the media's
    int routineType = 0;    // the type min/max is computed in (after a copy when it differs)
    WORD channels = 0;
    UINT blockAlign = 0;
  };

  bool IsMemory() const { return (m_flags & ZOAUDIOPEAK_MEMORY_ONLY) != 0; }
  bool ReadOnly() const { return (m_flags & ZOAUDIOPEAK_READONLY) != 0; }
  HRESULT ResolveName();
  HRESULT LoadHeader();
  bool HeaderMatchesMedia() const;
  HRESULT OpenView();
  void CloseView();

  // Build helpers.
  HRESULT BuildFile(DWORD peakBits, const tZOAUDIOPEAK_PROGRESS* progress);
  HRESULT BuildMemory(const tZOAUDIOPEAK_PROGRESS* progress);
  HRESULT CreatePeakFile(HANDLE* file);
  // Computes records [firstRecord, firstRecord + records) of `recordFrames`
  // frames from the media into `out` (records of peakType), calling `sink`
  // after each block with the records made so far.
  HRESULT ComputeRecords(LONGLONG firstRecord, LONGLONG records, LONGLONG recordFrames, int peakType,
                         std::vector<BYTE>* out, const tZOAUDIOPEAK_PROGRESS* progress,
                         const std::function<HRESULT(LONGLONG first, const BYTE* data, LONGLONG count)>& sink);
  void MakeTableFromFile();
  void FoldIntoTable(LONGLONG firstRecord, const BYTE* records, LONGLONG count, int recordType);
  HRESULT WriteHeader(HANDLE file, const tZOAUDIOPEAKHEADER& header);
  void DeletePeakFile();

  // Query helpers.
  HRESULT Query(LONGLONG position, LONGLONG framesPerStep, int type, void* out, LONG steps, LONG* stepsDone,
                bool audioOnly);
  HRESULT QueryAudio(LONGLONG position, LONGLONG framesPerStep, int type, BYTE* out, LONG steps);
  void QueryRecords(const BYTE* records, int recordType, LONGLONG recordFrames, LONGLONG recordCount,
                    LONGLONG position, LONGLONG framesPerStep, int type, BYTE* out, LONG steps);

  std::unique_ptr<CZoAudioPeakStreamReader> m_reader;
  DWORD m_flags;
  Source m_source;
  LONGLONG m_frames = 0;
  std::u16string m_mediaPath, m_tempFolder, m_peakName;
  bool m_nameResolved = false, m_nameGiven = false;
  LONG m_framesPerPeak = ZOAUDIOPEAK_DEFAULT_FRAMES_PER_PEAK;
  LONG m_memoryRequest = ZOAUDIOPEAK_DEFAULT_MEMORY_FRAMES_PER_PEAK;

  tZOAUDIOPEAKHEADER m_header{};
  bool m_headerSound = false;  // read well, and the file's length agrees with it
  bool m_valid = false;        // the file (or the memory table) answers for the media
  bool m_dirty = false;

  HANDLE m_file = nullptr;
  HANDLE m_mapping = nullptr;
  const BYTE* m_view = nullptr;
  size_t m_viewSize = 0;
  bool m_keepOpen = true;

  std::vector<std::int16_t> m_table;  // 16-bit records of m_tableStep frames
  LONGLONG m_tableStep = 0;
  LONGLONG m_tableRecords = 0;

  std::recursive_mutex m_lock;
};

}  // namespace vane::audiopeak
