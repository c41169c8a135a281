// SPDX-License-Identifier: MIT
// The memory stream of CreateStreamOnHGlobal. Stream and clones share one
// HGlobalBody (the block, the logical size, a mutex); each stream object has
// its own position. The block's capacity grows geometrically, so a run of
// small writes costs amortised constant time; the logical size is what Stat
// reports and what reads stop at.
#include "platform/istream.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>

#include "platform/file.h"

namespace vane::platform {
namespace {

// 0x7FFFFFFF bytes is the most one block may hold, as on the platform.
constexpr ULONGLONG kMaxStreamBytes = 0x7FFFFFFFull;

struct HGlobalBody {
  std::mutex lock;
  HGLOBAL block = nullptr;
  ULONGLONG size = 0;
  bool freeBlock = false;
  ~HGlobalBody() {
    if (freeBlock && block) GlobalFree(block);
  }

  // Makes the block hold at least `bytes`; zero-fills what grows.
  bool ReserveLocked(ULONGLONG bytes) {
    if (bytes > kMaxStreamBytes) return false;
    const SIZE_T have = GlobalSize(block);
    if (bytes <= have) return true;
    SIZE_T want = std::max<SIZE_T>(SIZE_T(bytes), std::min<SIZE_T>(SIZE_T(kMaxStreamBytes), have * 2));
    want = std::max<SIZE_T>(want, 256);
    HGLOBAL grown = GlobalReAlloc(block, want, GMEM_MOVEABLE | GMEM_ZEROINIT);
    if (!grown) return false;
    block = grown;
    return true;
  }
};

class HGlobalStream final : public IStream, public RefCounted<HGlobalStream> {
 public:
  explicit HGlobalStream(std::shared_ptr<HGlobalBody> body) : m_body(std::move(body)) {}

  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_ISequentialStream || iid == IID_IStream) {
      AddRef();
      *out = static_cast<IStream*>(this);
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return AddRefImpl(); }
  ULONG Release() override { return ReleaseImpl(); }

  HRESULT Read(void* buffer, ULONG count, ULONG* read) override {
    if (read) *read = 0;
    if (!buffer && count) return STG_E_INVALIDPOINTER;
    std::lock_guard<std::mutex> g(m_body->lock);
    const ULONGLONG size = m_body->size;
    const ULONG n = m_pos >= size ? 0 : ULONG(std::min<ULONGLONG>(count, size - m_pos));
    if (n) {
      const auto* p = static_cast<const BYTE*>(GlobalLock(m_body->block));
      if (!p) return STG_E_INVALIDFUNCTION;
      std::memcpy(buffer, p + m_pos, n);
      GlobalUnlock(m_body->block);
      m_pos += n;
    }
    if (read) *read = n;
    return S_OK;
  }

  HRESULT Write(const void* buffer, ULONG count, ULONG* written) override {
    if (written) *written = 0;
    if (!buffer && count) return STG_E_INVALIDPOINTER;
    if (!count) return S_OK;
    std::lock_guard<std::mutex> g(m_body->lock);
    const ULONGLONG end = m_pos + count;
    if (!m_body->ReserveLocked(end)) return STG_E_MEDIUMFULL;
    auto* p = static_cast<BYTE*>(GlobalLock(m_body->block));
    if (!p) return STG_E_INVALIDFUNCTION;
    // A write behind the end leaves a gap that reads as zeros.
    if (m_pos > m_body->size) std::memset(p + m_body->size, 0, SIZE_T(m_pos - m_body->size));
    std::memcpy(p + m_pos, buffer, count);
    GlobalUnlock(m_body->block);
    m_pos = end;
    m_body->size = std::max(m_body->size, end);
    if (written) *written = count;
    return S_OK;
  }

  HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) override {
    std::lock_guard<std::mutex> g(m_body->lock);
    LONGLONG base = 0;
    switch (origin) {
      case STREAM_SEEK_SET: base = 0; break;
      case STREAM_SEEK_CUR: base = LONGLONG(m_pos); break;
      case STREAM_SEEK_END: base = LONGLONG(m_body->size); break;
      default: return STG_E_INVALIDFUNCTION;
    }
    LONGLONG target = 0;
    if (__builtin_add_overflow(base, move.QuadPart, &target) || target < 0 ||
        ULONGLONG(target) > kMaxStreamBytes)
      return STG_E_INVALIDFUNCTION;
    m_pos = ULONGLONG(target);
    if (position) position->QuadPart = m_pos;
    return S_OK;
  }

  HRESULT SetSize(ULARGE_INTEGER size) override {
    std::lock_guard<std::mutex> g(m_body->lock);
    if (size.QuadPart > m_body->size) {
      if (!m_body->ReserveLocked(size.QuadPart)) return STG_E_MEDIUMFULL;
      auto* p = static_cast<BYTE*>(GlobalLock(m_body->block));
      if (!p) return STG_E_INVALIDFUNCTION;
      std::memset(p + m_body->size, 0, SIZE_T(size.QuadPart - m_body->size));
      GlobalUnlock(m_body->block);
    }
    m_body->size = size.QuadPart;
    return S_OK;
  }

  HRESULT CopyTo(IStream* to, ULARGE_INTEGER count, ULARGE_INTEGER* read, ULARGE_INTEGER* written) override {
    if (read) read->QuadPart = 0;
    if (written) written->QuadPart = 0;
    if (!to) return STG_E_INVALIDPOINTER;
    BYTE chunk[16384];
    ULONGLONG left = count.QuadPart, in = 0, out = 0;
    HRESULT hr = S_OK;
    while (left > 0) {
      ULONG got = 0;
      hr = Read(chunk, ULONG(std::min<ULONGLONG>(left, sizeof chunk)), &got);
      if (FAILED(hr) || got == 0) break;
      in += got;
      ULONG put = 0;
      hr = to->Write(chunk, got, &put);
      out += put;
      if (FAILED(hr)) break;
      if (put < got) {
        hr = STG_E_MEDIUMFULL;
        break;
      }
      left -= got;
    }
    if (read) read->QuadPart = in;
    if (written) written->QuadPart = out;
    return hr;
  }

  // Memory has no transaction: commit and revert have nothing to do.
  HRESULT Commit(DWORD) override { return S_OK; }
  HRESULT Revert() override { return S_OK; }
  HRESULT LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
  HRESULT UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }

  HRESULT Stat(STATSTG* stat, DWORD flags) override {
    if (!stat) return STG_E_INVALIDPOINTER;
    if (flags > STATFLAG_NONAME) return STG_E_INVALIDFLAG;
    std::lock_guard<std::mutex> g(m_body->lock);
    std::memset(stat, 0, sizeof *stat);
    stat->type = STGTY_STREAM;
    stat->cbSize.QuadPart = m_body->size;
    stat->grfMode = STGM_READWRITE;
    return S_OK;
  }

  HRESULT Clone(IStream** out) override {
    if (!out) return STG_E_INVALIDPOINTER;
    auto* c = new (std::nothrow) HGlobalStream(m_body);
    if (!c) return E_OUTOFMEMORY;
    {
      std::lock_guard<std::mutex> g(m_body->lock);
      c->m_pos = m_pos;
    }
    *out = c;
    return S_OK;
  }

  HGLOBAL Block() const { return m_body->block; }

 private:
  friend class RefCounted<HGlobalStream>;
  ~HGlobalStream() = default;

  std::shared_ptr<HGlobalBody> m_body;
  ULONGLONG m_pos = 0;
};

// Tells our own streams from a host's: GetHGlobalFromStream must not cast a
// foreign object.
HGlobalStream* AsOwn(IStream* s) { return dynamic_cast<HGlobalStream*>(s); }

}  // namespace
}  // namespace vane::platform

using vane::platform::HGlobalBody;

HRESULT CreateStreamOnHGlobal(HGLOBAL block, BOOL deleteOnRelease, IStream** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  try {
    auto body = std::make_shared<HGlobalBody>();
    if (block) {
      // GlobalSize of a handle that is no global block is 0 with an error;
      // an empty real block is fine.
      SetLastError(0);
      const SIZE_T size = GlobalSize(block);
      if (size == 0 && GetLastError() != 0) return E_INVALIDARG;
      body->block = block;
      body->size = size;
    } else {
      body->block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, 0);
      if (!body->block) return E_OUTOFMEMORY;
    }
    body->freeBlock = deleteOnRelease != FALSE;
    *out = new vane::platform::HGlobalStream(std::move(body));
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT GetHGlobalFromStream(IStream* stream, HGLOBAL* block) {
  if (!block) return E_INVALIDARG;
  *block = nullptr;
  auto* own = stream ? vane::platform::AsOwn(stream) : nullptr;
  if (!own) return E_INVALIDARG;
  *block = own->Block();
  return S_OK;
}

IStream* SHCreateMemStream(const BYTE* bytes, UINT size) {
  IStream* s = nullptr;
  if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, &s))) return nullptr;
  ULONG put = 0;
  if (size && (!bytes || FAILED(s->Write(bytes, size, &put)) || put != size)) {
    s->Release();
    return nullptr;
  }
  LARGE_INTEGER zero{};
  s->Seek(zero, STREAM_SEEK_SET, nullptr);
  return s;
}
