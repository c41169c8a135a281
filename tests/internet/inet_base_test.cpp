// SPDX-License-Identifier: MIT
// The worker's rules, on a subclass whose commands are driven by the test:
// waits, progress against completion, messages, cancel, busy, and lifetime.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "platform/file.h"
#include "tests/internet/inet_test_util.h"

namespace {

using vane::test::CountingNotify;
using vane::test::MessageCounter;

constexpr DWORD kBlockingCommand = 500;  // waits for Release() of the gate
constexpr DWORD kProgressCommand = 501;  // three progress updates, then ends

class ScriptedInet : public CZoInetBase {
 public:
  static ScriptedInet* Make(bool ignoreCancel = false) {
    auto* o = new ScriptedInet();
    o->m_ignoreCancel = ignoreCancel;
    return o;
  }
  using CZoInetBase::InitBase;
  using CZoInetBase::SendCmdToWorker;
  HRESULT Queue(DWORD command) { return QueueCommand(command, [] {}); }

  HANDLE gate = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::atomic<int> ran{0};

 protected:
  bool m_ignoreCancel = false;
  ~ScriptedInet() override {
    if (m_ownGate) CloseHandle(gate);
  }

 public:
  bool m_ownGate = true;

 protected:
  HRESULT WorkerProcessCommand(void*, DWORD command, DWORD* detail) override {
    ++ran;
    if (command == kBlockingCommand) {
      while (WaitForSingleObject(gate, 10) == WAIT_TIMEOUT)
        if (CancelRequested() && !m_ignoreCancel) return E_ABORT;
      *detail = 7;
      return S_OK;
    }
    if (command == kProgressCommand) {
      SetTotalBytesToTransfer(30);
      for (int i = 0; i < 3; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        TransferProgressUpdate(10);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(30));
      return MakeStatus(0x00000001);
    }
    return S_OK;
  }
};

TEST(InetWorker, WaitsOnUninitialisedObjectFail) {
  ScriptedInet* o = ScriptedInet::Make();
  EXPECT_EQ(o->WaitForRequestStatusChange(0), E_FAIL);
  EXPECT_EQ(o->WaitForRequestCompletion(0), E_FAIL);
  EXPECT_EQ(o->CancelRequest(), E_FAIL);
  EXPECT_EQ(o->Queue(kProgressCommand), E_FAIL);
  EXPECT_EQ(o->Release(), 0u);
}

TEST(InetWorker, WaitsWithoutCommandReturnAtOnceAndZeroTimeoutTimesOut) {
  ScriptedInet* o = ScriptedInet::Make();
  ASSERT_EQ(o->InitBase(u"test"), S_OK);
  EXPECT_EQ(o->WaitForRequestStatusChange(INFINITE), S_OK);
  EXPECT_EQ(o->WaitForRequestCompletion(INFINITE), S_OK);
  ASSERT_EQ(o->Queue(kBlockingCommand), S_OK);
  EXPECT_EQ(o->WaitForRequestCompletion(0), ZOINET_E_TIMEOUT);
  EXPECT_EQ(o->WaitForRequestStatusChange(0), ZOINET_E_TIMEOUT);
  EXPECT_EQ(o->Queue(kProgressCommand), HRESULT_FROM_WIN32(170)) << "a second command while one runs";
  SetEvent(o->gate);
  EXPECT_EQ(o->WaitForRequestCompletion(5000), S_OK);
  HRESULT result = E_FAIL;
  DWORD detail = 0;
  o->GetRequestResult(&result, &detail);
  EXPECT_EQ(result, S_OK);
  EXPECT_EQ(detail, 7u);
  o->Release();
  EXPECT_TRUE(vane::test::WaitForNoLiveObjects(5));
}

TEST(InetWorker, ProgressWakesStatusWaitButNotCompletionWait) {
  ScriptedInet* o = ScriptedInet::Make();
  ASSERT_EQ(o->InitBase(u"test"), S_OK);
  CountingNotify notify;
  MessageCounter messages;
  o->SetRequestNotify(&notify);
  o->SetRequestNotifyWindow(&messages, &MessageCounter::Post);

  ASSERT_EQ(o->Queue(kProgressCommand), S_OK);
  EXPECT_EQ(o->WaitForRequestStatusChange(5000), S_OK);
  BOOL busy = FALSE;
  o->GetTransferStatus(nullptr, nullptr, &busy);
  EXPECT_TRUE(busy) << "the first wake is a progress update, not the end";

  EXPECT_EQ(o->WaitForRequestCompletion(5000), S_OK);
  ULONGLONG total = 0, moved = 0;
  o->GetTransferStatus(&total, &moved, &busy);
  EXPECT_FALSE(busy);
  EXPECT_EQ(total, 30u);
  EXPECT_EQ(moved, 30u);
  EXPECT_EQ(notify.bytes.load(), 30u);
  EXPECT_EQ(notify.doneCalls.load(), 1);
  EXPECT_EQ(notify.lastResult.load(), MakeStatus(0x00000001));
  EXPECT_EQ(messages.progress.load(), 3);
  EXPECT_EQ(messages.done.load(), 1);

  // The quit command of the last release posts nothing and calls nothing.
  o->Release();
  EXPECT_TRUE(vane::test::WaitForNoLiveObjects(5));
  EXPECT_EQ(messages.done.load(), 1);
  EXPECT_EQ(notify.doneCalls.load(), 1);
}

TEST(InetWorker, ObjectOutlivesOwnerReleaseUntilCommandEnds) {
  ScriptedInet* o = ScriptedInet::Make(/*ignoreCancel=*/true);
  HANDLE gate = o->gate;
  o->m_ownGate = false;  // the test closes it after the object is gone
  ASSERT_EQ(o->InitBase(u"test"), S_OK);
  ASSERT_EQ(o->Queue(kBlockingCommand), S_OK);
  EXPECT_EQ(o->Release(), 1u) << "the worker still holds its reference";
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(CZoInetBase::LiveObjectCount(), 1);
  SetEvent(gate);
  EXPECT_TRUE(vane::test::WaitForNoLiveObjects(5));
  CloseHandle(gate);
}

TEST(InetWorker, CancelEndsTheCommandAndTheWorker) {
  ScriptedInet* o = ScriptedInet::Make();
  ASSERT_EQ(o->InitBase(u"test"), S_OK);
  ASSERT_EQ(o->Queue(kBlockingCommand), S_OK);
  ASSERT_EQ(o->CancelRequest(), S_OK);
  EXPECT_EQ(o->WaitForRequestCompletion(5000), S_OK);
  HRESULT result = S_OK;
  o->GetRequestResult(&result, nullptr);
  EXPECT_EQ(result, E_ABORT);
  ASSERT_FALSE(o->GetLogLines().empty());
  // The worker is ending: a later command is refused at once instead of
  // being accepted and never run.
  EXPECT_EQ(o->Queue(kProgressCommand), E_FAIL);
  o->Release();
  EXPECT_TRUE(vane::test::WaitForNoLiveObjects(5));
}

TEST(InetWorker, CancelWhileIdleDoesNotEndTheNextCommand) {
  ScriptedInet* o = ScriptedInet::Make();
  ASSERT_EQ(o->InitBase(u"test"), S_OK);
  ASSERT_EQ(o->CancelRequest(), S_OK);
  ASSERT_EQ(o->Queue(kProgressCommand), S_OK);
  EXPECT_EQ(o->WaitForRequestCompletion(5000), S_OK);
  HRESULT result = E_FAIL;
  o->GetRequestResult(&result, nullptr);
  EXPECT_EQ(result, MakeStatus(0x00000001));
  o->Release();
  EXPECT_TRUE(vane::test::WaitForNoLiveObjects(5));
}

}  // namespace
