// SPDX-License-Identifier: MIT
// ReadStreams: the stream objects of one read file, by stream index. The
// collection holds one reference on each stream; its own lock makes every
// operation atomic, and it never calls into a stream while holding it.
#pragma once

#include <map>
#include <mutex>

#include "fileio/fio_interfaces.h"
#include "platform/export.h"

namespace ffbase {

class VANE_EXPORT ReadStreams {
 public:
  ReadStreams() = default;
  ReadStreams(const ReadStreams&) = delete;
  ReadStreams& operator=(const ReadStreams&) = delete;

  // S_OK when every stream answers the interface (none held: S_OK), else
  // the first refusal. The answers are released again.
  virtual HRESULT QueryAll(REFIID iid);
  // Close on each stream.
  virtual HRESULT CloseAll();
  // Close, then Release each stream, and clear the map.
  virtual HRESULT ReleaseAll();
  // Holds stream at index, replacing (and releasing) what was there.
  virtual HRESULT Add(IZoReadStream* stream, LONG index);
  // A new reference on the stream at index; 0x8000FFFF when there is none.
  virtual HRESULT Get(IZoReadStream** out, LONG index);
  virtual HRESULT QueryAudio(LONG index, IZoReadAudioStream** out);
  // The video interface under its older identity.
  virtual HRESULT QueryVideo(LONG index, IZoReadVideoStream** out);
  virtual LONG Count();
  virtual ~ReadStreams();

 private:
  std::mutex m_lock;
  std::map<LONG, IZoReadStream*> m_streams;
};

}  // namespace ffbase
