// SPDX-License-Identifier: MIT
#include "fileio/detail/init_thread.h"

namespace vane::fileio::detail {

HRESULT InitThread::Run(const std::function<HRESULT()>& work) {
  if (std::this_thread::get_id() == m_threadId) return work();
  std::lock_guard<std::mutex> one(m_callers);
  std::unique_lock<std::mutex> hold(m_lock);
  if (!m_thread.joinable()) {
    m_stop = false;
    m_thread = std::thread([this] { Loop(); });
    m_threadId = m_thread.get_id();
  }
  m_work = &work;
  m_finished = false;
  m_wake.notify_one();
  m_done.wait(hold, [this] { return m_finished; });
  return m_result;
}

void InitThread::Loop() {
  std::unique_lock<std::mutex> hold(m_lock);
  for (;;) {
    m_wake.wait(hold, [this] { return m_stop || m_work; });
    if (m_work) {
      const auto* work = m_work;
      m_work = nullptr;
      hold.unlock();
      HRESULT hr;
      try {
        hr = (*work)();
      } catch (...) {
        hr = E_UNEXPECTED;
      }
      hold.lock();
      m_result = hr;
      m_finished = true;
      m_done.notify_all();
      continue;
    }
    if (m_stop) return;
  }
}

void InitThread::Stop() {
  {
    std::lock_guard<std::mutex> hold(m_lock);
    if (!m_thread.joinable()) return;
    m_stop = true;
    m_wake.notify_one();
  }
  if (std::this_thread::get_id() == m_threadId) {
    m_thread.detach();
  } else {
    m_thread.join();
  }
  m_threadId = std::thread::id();
}

}  // namespace vane::fileio::detail
