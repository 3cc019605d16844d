// Threads and thread-local slots on real threads; start records counted on the process heap.
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <utility>
#include <vector>

#include "ruvo/base/thread.h"
#include "support/support.hpp"

namespace {

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
  return 1;
}
uint32_t return_zero(void *) { return 0; }

bool handle_open(void *h) {
  DWORD flags = 0;
  return ::GetHandleInformation(h, &flags) != 0;
}

// A join gives up at its 5000 ms bound with the last error as it was and the handle open; after a
// cancel the record joins again. A detached thread runs on.
TEST(Thread, JoinGivesTheExitCodeOrTimesOutAtItsBound) {
  ruvo_test::watchdog dog("bounded join", 30);
  ruvo_thread_st t{};
  EXPECT_EQ(ruvo_thread_start(&t, nullptr, nullptr), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_thread_start(nullptr, return_zero, nullptr), RUVO_E_INVAL);
  for (auto *call : {ruvo_thread_detach, ruvo_thread_cancel}) EXPECT_EQ(call(&t), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_thread_join(&t, nullptr), RUVO_E_INVAL);
  probe p;
  uint32_t code = 0;
  ASSERT_EQ(ruvo_thread_start(&t, run_probe, &p), RUVO_OK);
  ASSERT_EQ(ruvo_thread_join(&t, &code), RUVO_OK);
  EXPECT_TRUE(code == 0xDEADBEEFu && p.ran && t.id == p.id.load() && !handle_open(t.handle));
  ASSERT_EQ(ruvo_thread_start(&t, exit_early, nullptr), RUVO_OK);
  ASSERT_EQ(ruvo_thread_join(&t, nullptr), RUVO_OK);
  EXPECT_FALSE(handle_open(t.handle));

  p.ran = false;
  p.release = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ASSERT_EQ(ruvo_thread_start(&t, run_probe, &p), RUVO_OK);
  ::SetLastError(1234);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ruvo_thread_join(&t, &code), 1234u);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(4900));  // no upper bound: a loaded machine may wake it late
  EXPECT_TRUE(code == 0xDEADBEEFu && handle_open(t.handle));
  EXPECT_EQ(ruvo_thread_cancel(&t), RUVO_OK);
  EXPECT_EQ(ruvo_thread_join(&t, &code), RUVO_OK);
  EXPECT_TRUE(code == 0 && !p.ran);

  ASSERT_EQ(ruvo_thread_start(&t, run_probe, &p), RUVO_OK);
  EXPECT_EQ(ruvo_thread_detach(&t), RUVO_OK);
  EXPECT_FALSE(handle_open(t.handle));
  ::SetEvent(p.release);
  while (!p.ran) ruvo_thread_sleep(1);
  ::CloseHandle(p.release);
  EXPECT_EQ(ruvo_thread_id(), ::GetCurrentThreadId());
  SYSTEM_INFO info;
  ::GetSystemInfo(&info);
  EXPECT_EQ(ruvo_thread_nprocs(), info.dwNumberOfProcessors);
}

// Counted after a first 300 threads have made whatever the runtime keeps per process.
TEST(Thread, StartRecordIsFreedByAThreadThatReturns) {
  ruvo_test::watchdog dog("start records", 60);
  size_t before = 0;
  for (int i = 0; i < 600; ++i) {
    if (i == 300) before = ruvo_test::busy_process_heap_blocks();
    ruvo_thread_st t{};
    ASSERT_EQ(ruvo_thread_start(&t, return_zero, nullptr), RUVO_OK);
    ASSERT_EQ(ruvo_thread_join(&t, nullptr), RUVO_OK);
  }
  EXPECT_LT(ruvo_test::busy_process_heap_blocks(), before + 30);
}

std::atomic<int> g_created{0}, g_destroyed{0};
void *make_value() { return new int(++g_created); }
void *make_nothing() { return ++g_created, nullptr; }
void drop_value(void *v) {
  ++g_destroyed;
  delete static_cast<int *>(v);
}

// A value made once per thread; a null from `create` is asked again at every call; a value that
// cannot be stored goes to `destroy` and the store's reason stays.
TEST(Tls, AutoGetMakesOneValuePerThread) {
  ruvo_test::watchdog dog("auto slots", 30);
  ruvo_tls_key_st *slot = nullptr;
  void *mine = ruvo_tls_auto_get(&slot, make_value, drop_value);
  ASSERT_NE(mine, nullptr);
  std::vector<void *> theirs(8);
  ruvo_test::run_threads(8, [&](int i) {
    void *before = &before;
    if (ruvo_tls_get(slot, &before) != 1 || before != nullptr) return;
    theirs[i] = ruvo_tls_auto_get(&slot, make_value, drop_value);
    for (int n = 0; n < 100; ++n) {
      if (ruvo_tls_auto_get(&slot, make_value, drop_value) != theirs[i]) theirs[i] = nullptr;
    }
  });
  EXPECT_EQ(ruvo_tls_auto_get(&slot, make_value, drop_value), mine);
  EXPECT_EQ(g_created.load(), 9);
  for (void *v : theirs) EXPECT_TRUE(v != nullptr && v != mine);

  ruvo_tls_key_st *empty = nullptr, dead{0xFFFFFFFFu}, *dead_slot = &dead;
  for (int n = 0; n < 3; ++n) {
    EXPECT_EQ(ruvo_tls_auto_get(&empty, make_nothing, drop_value), nullptr);
    EXPECT_EQ(::GetLastError(), RUVO_E_FAIL);
  }
  EXPECT_EQ(g_created.load(), 12);
  EXPECT_EQ(ruvo_tls_auto_get(&slot, nullptr, drop_value), nullptr);
  EXPECT_EQ(::GetLastError(), RUVO_E_INVAL);
  void *value = nullptr;
  const std::pair<int32_t, DWORD> refused[] = {
      {ruvo_tls_get(&dead, &value), ::GetLastError()},
      {ruvo_tls_get(slot, nullptr), ::GetLastError()},
      {ruvo_tls_set(nullptr, value), ::GetLastError()}};
  for (const auto &r : refused) EXPECT_TRUE(r.first == 0 && r.second == 87u);
  EXPECT_EQ(g_destroyed.load(), 0);
  EXPECT_EQ(ruvo_tls_auto_get(&dead_slot, make_value, drop_value), nullptr);
  EXPECT_EQ(::GetLastError(), 87u);
  EXPECT_EQ(g_destroyed.load(), 1);
}

// With every slot taken a key costs no memory and auto-get says RUVO_E_TLS; freed slots come back.
TEST(Tls, RunningOutOfSlots) {
  std::vector<ruvo_tls_key_st *> keys;
  for (ruvo_tls_key_st *k; keys.size() < 5000 && (k = ruvo_tls_alloc()) != nullptr;) {
    keys.push_back(k);
  }
  ASSERT_LT(keys.size(), 5000u);
  const size_t blocks = ruvo_test::busy_process_heap_blocks();
  for (int i = 0; i < 200; ++i) EXPECT_EQ(ruvo_dstable_tls_alloc(drop_value), nullptr);
  EXPECT_LT(ruvo_test::busy_process_heap_blocks(), blocks + 20);
  ruvo_tls_key_st *slot = nullptr;
  EXPECT_EQ(ruvo_tls_auto_get(&slot, make_value, drop_value), nullptr);
  EXPECT_TRUE(::GetLastError() == RUVO_E_TLS && slot == nullptr);
  for (int round = 0; round < 2; ++round) {
    for (auto *&k : keys) ruvo_tls_free(std::exchange(k, nullptr));
    for (auto *&k : keys) EXPECT_NE(k = ruvo_tls_alloc(), nullptr);
  }
  for (auto *k : keys) ruvo_tls_free(k);
  ruvo_tls_free(nullptr);
}

}  // namespace
