// SPDX-License-Identifier: MIT
// The class-initialisation thread of a manager: requests run one at a time
// on one dedicated thread, started on first use; a request made from that
// thread itself runs directly. The caller waits with no time limit.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "platform/status.h"

namespace vane::fileio::detail {

class InitThread {
 public:
  InitThread() = default;
  ~InitThread() { Stop(); }
  InitThread(const InitThread&) = delete;
  InitThread& operator=(const InitThread&) = delete;

  HRESULT Run(const std::function<HRESULT()>& work);
  // True on the init thread itself, where a request runs directly.
  bool IsCurrent() const { return std::this_thread::get_id() == m_threadId; }
  void Stop();

 private:
  void Loop();

  std::mutex m_lock;            // guards everything below
  std::mutex m_callers;         // one request at a time
  std::condition_variable m_wake;
  std::condition_variable m_done;
  std::thread m_thread;
  std::atomic<std::thread::id> m_threadId{};
  const std::function<HRESULT()>* m_work = nullptr;
  HRESULT m_result = S_OK;
  bool m_stop = false;
  bool m_finished = false;
};

}  // namespace vane::fileio::detail
