// Threads and thread-local slots on real platform threads. Start records are
// counted by walking the process heap, where the library takes them from.
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>
#include <vector>

#include "ruvo/base/thread.h"
#include "support/support.hpp"

namespace {

static_assert(sizeof(ruvo_thread_st) == 16 && offsetof(ruvo_thread_st, id) == 8);
static_assert(sizeof(ruvo_tls_key_st) == 4);

size_t busy_process_heap_blocks() {
  HANDLE heap = ::GetProcessHeap();
  ::HeapLock(heap);
  PROCESS_HEAP_ENTRY entry{};
  size_t n = 0;
  while (::HeapWalk(heap, &entry)) {
    if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) ++n;
  }
  ::HeapUnlock(heap);
  return n;
}

struct probe {
  std::atomic<DWORD> id{0};
  std::atomic<bool> ran{false};
  HANDLE release = nullptr;  // the thread waits for it when set
};

uint32_t run_probe(void *arg) {
  auto *p = static_cast<probe *>(arg);
  p->id = ::GetCurrentThreadId();
  if (p->release != nullptr) ::WaitForSingleObject(p->release, INFINITE);
  p->ran = true;
  return 0xDEADBEEF;
}

uint32_t exit_early(void *) {
  ruvo_thread_exit(77);
  return 1;  // never reached
}

uint32_t return_zero(void *) { return 0; }

TEST(Thread, StartRunsTheFunctionAndJoinGivesItsExitCode) {
  EXPECT_EQ(ruvo_thread_start(nullptr, run_probe, nullptr), RUVO_E_INVAL);
  ruvo_thread_st t{};
  EXPECT_EQ(ruvo_thread_start(&t, nullptr, nullptr), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_thread_join(nullptr, nullptr), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_thread_join(&t, nullptr), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_thread_detach(&t), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_thread_cancel(nullptr), RUVO_E_INVAL);

  probe p;
  ASSERT_EQ(ruvo_thread_start(&t, run_probe, &p), RUVO_OK);
  ASSERT_NE(t.handle, nullptr);
  uint32_t code = 0;
  ASSERT_EQ(ruvo_thread_join(&t, &code), RUVO_OK);
  EXPECT_EQ(code, 0xDEADBEEFu);
  EXPECT_TRUE(p.ran);
  EXPECT_EQ(t.id, p.id.load());
  DWORD flags = 0;
  EXPECT_FALSE(::GetHandleInformation(t.handle, &flags));  // join closed it

  ASSERT_EQ(ruvo_thread_start(&t, exit_early, nullptr), RUVO_OK);
  ASSERT_EQ(ruvo_thread_join(&t, &code), RUVO_OK);
  EXPECT_EQ(code, 77u);

  ASSERT_EQ(ruvo_thread_start(&t, run_probe, &p), RUVO_OK);
  EXPECT_EQ(ruvo_thread_join(&t, nullptr), RUVO_OK);  // no code wanted, closed all the same
  EXPECT_FALSE(::GetHandleInformation(t.handle, &flags));
}

// The join gives up after its 5000 ms bound with the last error as it was;
// the thread is then cancelled, and the same record joins again.
TEST(Thread, JoinTimesOutAtItsBoundThenCancelAndJoinAgain) {
  ruvo_test::watchdog dog("bounded join", 30);
  probe p;
  p.release = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ruvo_thread_st t{};
  ASSERT_EQ(ruvo_thread_start(&t, run_probe, &p), RUVO_OK);
  uint32_t code = 12345;
  ::SetLastError(1234);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ruvo_thread_join(&t, &code), 1234u);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(4900));
  EXPECT_LT(waited, std::chrono::milliseconds(7000));
  EXPECT_EQ(code, 12345u);
  DWORD flags = 0;
  EXPECT_TRUE(::GetHandleInformation(t.handle, &flags));  // still open

  EXPECT_EQ(ruvo_thread_cancel(&t), RUVO_OK);
  EXPECT_EQ(ruvo_thread_join(&t, &code), RUVO_OK);
  EXPECT_EQ(code, 0u);
  EXPECT_FALSE(p.ran);
  ::CloseHandle(p.release);
}

TEST(Thread, DetachedThreadRunsOn) {
  ruvo_test::watchdog dog("detached thread", 30);
  probe p;
  p.release = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ruvo_thread_st t{};
  ASSERT_EQ(ruvo_thread_start(&t, run_probe, &p), RUVO_OK);
  EXPECT_EQ(ruvo_thread_detach(&t), RUVO_OK);
  EXPECT_NE(t.handle, nullptr);  // the field is not cleared
  ::SetEvent(p.release);
  while (!p.ran) ruvo_thread_sleep(1);
  ::CloseHandle(p.release);
}

// 300 threads that return hand their start records back; 300 that end by
// ruvo_thread_exit keep theirs, which shows the count can see a leak.
TEST(Thread, StartRecordIsFreedByAThreadThatReturns) {
  ruvo_test::watchdog dog("start records", 60);
  constexpr int kThreads = 300;
  auto run = [](ruvo_thread_fn fn) {
    for (int i = 0; i < kThreads; ++i) {
      ruvo_thread_st t{};
      ASSERT_EQ(ruvo_thread_start(&t, fn, nullptr), RUVO_OK);
      ASSERT_EQ(ruvo_thread_join(&t, nullptr), RUVO_OK);
    }
  };
  run(return_zero);  // warm up whatever the runtime keeps per process
  const size_t before = busy_process_heap_blocks();
  run(return_zero);
  const size_t after_return = busy_process_heap_blocks();
  run(exit_early);
  const size_t after_exit = busy_process_heap_blocks();
  EXPECT_LT(after_return, before + kThreads / 10);
  EXPECT_GE(after_exit, after_return + kThreads);
}

TEST(Thread, IdsProcessorsSleepAndYield) {
  EXPECT_EQ(ruvo_thread_id(), ::GetCurrentThreadId());
  SYSTEM_INFO info;
  ::GetSystemInfo(&info);
  EXPECT_EQ(ruvo_thread_nprocs(), info.dwNumberOfProcessors);
  EXPECT_EQ(ruvo_thread_nprocs(), info.dwNumberOfProcessors);  // cached
  const int32_t yielded = ruvo_thread_yield();
  EXPECT_TRUE(yielded == 0 || yielded == 1);
  const DWORD start = ::GetTickCount();
  ruvo_thread_sleep(50);
  EXPECT_GE(::GetTickCount() - start, 40u);
}

// ---- thread-local slots ----

TEST(Tls, EachThreadSeesItsOwnValue) {
  ruvo_test::watchdog dog("slot values", 30);
  ruvo_tls_key_st *key = ruvo_tls_alloc();
  ASSERT_NE(key, nullptr);
  void *value = &value;
  ASSERT_EQ(ruvo_tls_get(key, &value), 1);
  EXPECT_EQ(value, nullptr);
  std::vector<std::thread> threads;
  std::atomic<int> good{0};
  for (intptr_t i = 1; i <= 8; ++i) {
    threads.emplace_back([key, i, &good] {
      void *v = &v;
      if (ruvo_tls_get(key, &v) != 1 || v != nullptr) return;
      for (int n = 0; n < 1000; ++n) {
        if (ruvo_tls_set(key, reinterpret_cast<void *>(i * 1000 + n)) != 1) return;
        if (ruvo_tls_get(key, &v) != 1 || v != reinterpret_cast<void *>(i * 1000 + n)) return;
      }
      good.fetch_add(1);
    });
  }
  for (auto &th : threads) th.join();
  EXPECT_EQ(good.load(), 8);
  ASSERT_EQ(ruvo_tls_get(key, &value), 1);
  EXPECT_EQ(value, nullptr);  // none of theirs is ours
  ruvo_tls_free(key);
  ruvo_tls_free(nullptr);

  ruvo_tls_key_st *other = ruvo_dstable_tls_alloc([](void *) {});
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(ruvo_tls_set(other, &value), 1);
  ruvo_tls_free(other);
}

TEST(Tls, BadKeysGiveZeroWithError87) {
  ruvo_tls_key_st dead{0xFFFFFFFFu};
  ruvo_tls_key_st *key = ruvo_tls_alloc();
  void *value = nullptr;
  for (auto [k, out] : {std::pair{static_cast<ruvo_tls_key_st *>(nullptr), &value},
                        std::pair{&dead, &value}, std::pair{key, static_cast<void **>(nullptr)}}) {
    ::SetLastError(0);
    EXPECT_EQ(ruvo_tls_get(k, out), 0);
    EXPECT_EQ(::GetLastError(), 87u);
  }
  ::SetLastError(0);
  EXPECT_EQ(ruvo_tls_set(nullptr, &value), 0);
  EXPECT_EQ(::GetLastError(), 87u);
  EXPECT_EQ(ruvo_tls_set(&dead, &value), 0);  // the platform refuses the index
  EXPECT_EQ(::GetLastError(), 87u);
  ruvo_tls_free(key);
}

std::atomic<int> g_created{0};
std::atomic<int> g_destroyed{0};
void *make_value() { return new int(g_created.fetch_add(1) + 1); }
void *make_nothing() {
  g_created.fetch_add(1);
  return nullptr;
}
void drop_value(void *v) {
  g_destroyed.fetch_add(1);
  delete static_cast<int *>(v);
}

TEST(Tls, AutoGetCreatesOncePerThreadAndAgainWhileCreateFails) {
  ruvo_test::watchdog dog("auto slots", 30);
  ruvo_tls_key_st *slot = nullptr;
  void *mine = ruvo_tls_auto_get(&slot, make_value, drop_value);
  ASSERT_NE(mine, nullptr);
  ASSERT_NE(slot, nullptr);  // made on first use
  EXPECT_EQ(ruvo_tls_auto_get(&slot, make_value, drop_value), mine);
  std::vector<std::thread> threads;
  std::vector<void *> theirs(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      theirs[i] = ruvo_tls_auto_get(&slot, make_value, drop_value);
      for (int n = 0; n < 100; ++n) {
        if (ruvo_tls_auto_get(&slot, make_value, drop_value) != theirs[i]) theirs[i] = nullptr;
      }
    });
  }
  for (auto &th : threads) th.join();
  EXPECT_EQ(g_created.load(), 9);
  for (void *v : theirs) {
    EXPECT_NE(v, nullptr);
    EXPECT_NE(v, mine);
  }

  ruvo_tls_key_st *empty = nullptr;
  for (int n = 0; n < 3; ++n) {
    ::SetLastError(0);
    EXPECT_EQ(ruvo_tls_auto_get(&empty, make_nothing, drop_value), nullptr);
    EXPECT_EQ(::GetLastError(), RUVO_E_FAIL);
  }
  EXPECT_EQ(g_created.load(), 12);  // asked again at every call
  EXPECT_EQ(g_destroyed.load(), 0);

  ::SetLastError(0);
  EXPECT_EQ(ruvo_tls_auto_get(nullptr, make_value, drop_value), nullptr);
  EXPECT_EQ(::GetLastError(), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_tls_auto_get(&slot, nullptr, drop_value), nullptr);
  EXPECT_EQ(ruvo_tls_auto_get(&slot, make_value, nullptr), nullptr);
  EXPECT_EQ(::GetLastError(), RUVO_E_INVAL);

  // A value that cannot be stored goes to `destroy`, and the reason stays.
  ruvo_tls_key_st dead{0xFFFFFFFFu};
  ruvo_tls_key_st *dead_slot = &dead;
  ::SetLastError(0);
  EXPECT_EQ(ruvo_tls_auto_get(&dead_slot, make_value, drop_value), nullptr);
  EXPECT_EQ(::GetLastError(), 87u);
  EXPECT_EQ(g_destroyed.load(), 1);
}

}  // namespace
