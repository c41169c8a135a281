// SPDX-License-Identifier: MIT
#include "ffbase/read_streams.h"

#include <vector>

namespace ffbase {
namespace {

// The streams with a reference each, so that calls run outside the lock.
std::vector<IZoReadStream*> Snapshot(std::mutex& lock, const std::map<LONG, IZoReadStream*>& streams) {
  std::lock_guard<std::mutex> hold(lock);
  std::vector<IZoReadStream*> out;
  out.reserve(streams.size());
  for (const auto& [index, s] : streams) {
    s->AddRef();
    out.push_back(s);
  }
  return out;
}

}  // namespace

ReadStreams::~ReadStreams() { ReleaseAll(); }

HRESULT ReadStreams::QueryAll(REFIID iid) {
  HRESULT result = S_OK;
  for (IZoReadStream* s : Snapshot(m_lock, m_streams)) {
    void* answer = nullptr;
    HRESULT hr = s->QueryInterface(iid, &answer);
    if (SUCCEEDED(hr) && answer) static_cast<IUnknown*>(answer)->Release();
    if (FAILED(hr) && SUCCEEDED(result)) result = hr;
    s->Release();
  }
  return result;
}

HRESULT ReadStreams::CloseAll() {
  for (IZoReadStream* s : Snapshot(m_lock, m_streams)) {
    s->Close();
    s->Release();
  }
  return S_OK;
}

HRESULT ReadStreams::ReleaseAll() {
  std::map<LONG, IZoReadStream*> taken;
  {
    std::lock_guard<std::mutex> hold(m_lock);
    taken.swap(m_streams);
  }
  for (auto& [index, s] : taken) {
    s->Close();
    s->Release();
  }
  return S_OK;
}

HRESULT ReadStreams::Add(IZoReadStream* stream, LONG index) {
  if (!stream) return E_POINTER;
  stream->AddRef();
  IZoReadStream* old = nullptr;
  {
    std::lock_guard<std::mutex> hold(m_lock);
    IZoReadStream*& slot = m_streams[index];
    old = slot;
    slot = stream;
  }
  if (old) old->Release();
  return S_OK;
}

HRESULT ReadStreams::Get(IZoReadStream** out, LONG index) {
  if (!out) return E_POINTER;
  *out = nullptr;
  std::lock_guard<std::mutex> hold(m_lock);
  auto it = m_streams.find(index);
  if (it == m_streams.end()) return E_UNEXPECTED;
  it->second->AddRef();
  *out = it->second;
  return S_OK;
}

HRESULT ReadStreams::QueryAudio(LONG index, IZoReadAudioStream** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  IZoReadStream* s = nullptr;
  VANE_RETURN_IF_FAILED(Get(&s, index));
  HRESULT hr = s->QueryInterface(IID_IZoReadAudioStream, reinterpret_cast<void**>(out));
  s->Release();
  return hr;
}

HRESULT ReadStreams::QueryVideo(LONG index, IZoReadVideoStream** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  IZoReadStream* s = nullptr;
  VANE_RETURN_IF_FAILED(Get(&s, index));
  HRESULT hr = s->QueryInterface(IID_IZoReadVideoStreamOld, reinterpret_cast<void**>(out));
  s->Release();
  return hr;
}

LONG ReadStreams::Count() {
  std::lock_guard<std::mutex> hold(m_lock);
  return LONG(m_streams.size());
}

}  // namespace ffbase
