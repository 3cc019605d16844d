// Atomics and the once-initialiser with real threads, in both builds: under
// the sanitizers natively and on the platform's threads under Wine.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "ruvo/base/atomic.h"
#include "support/support.hpp"

namespace {

constexpr int kThreads = 8;

template <class F>
void run_threads(int n, F body) {
  std::vector<std::thread> threads;
  for (int i = 0; i < n; ++i) threads.emplace_back(body, i);
  for (auto &th : threads) th.join();
}

TEST(Atomic, ResultsAreTheNewValueTheOldValueOrTheValueFound) {
  volatile uint32_t a = 5;
  EXPECT_EQ(ruvo_atomic32_add_and_fetch(&a, 3), 8u);
  EXPECT_EQ(ruvo_atomic32_add_and_fetch(&a, -10), 0xFFFFFFFEu);
  EXPECT_EQ(ruvo_atomic32_set(&a, 7), 0xFFFFFFFEu);
  EXPECT_EQ(ruvo_atomic32_get(&a), 7u);
  EXPECT_EQ(ruvo_atomic32_cmp_and_swap(&a, 9, 6), 7u);  // expected 6: no store
  EXPECT_EQ(a, 7u);
  EXPECT_EQ(ruvo_atomic32_cmp_and_swap(&a, 9, 7), 7u);  // new value first
  EXPECT_EQ(a, 9u);

  volatile uint64_t b = 0xFFFFFFFFull;
  EXPECT_EQ(ruvo_atomic64_add_and_fetch(&b, 1), 0x100000000ull);
  EXPECT_EQ(ruvo_atomic64_add_and_fetch(&b, -0x100000001ll), ~0ull);
  EXPECT_EQ(ruvo_atomic64_set(&b, 1ull << 40), ~0ull);
  EXPECT_EQ(ruvo_atomic64_get(&b), 1ull << 40);
  EXPECT_EQ(ruvo_atomic64_cmp_and_swap(&b, 3, 1), 1ull << 40);
  EXPECT_EQ(ruvo_atomic64_cmp_and_swap(&b, 3, 1ull << 40), 1ull << 40);
  EXPECT_EQ(b, 3u);

  int x = 0, y = 0;
  void *volatile p = &x;
  EXPECT_EQ(ruvo_atomic_cmp_and_swap_ptr(&p, &y, nullptr), &x);
  EXPECT_EQ(p, &x);
  EXPECT_EQ(ruvo_atomic_cmp_and_swap_ptr(&p, &y, &x), &x);
  EXPECT_EQ(p, &y);
}

// Adds, and increments by compare-and-swap loops, from eight threads at
// once: the sums come out exact, and across the 32-bit line for the 64-bit
// word. A swapped argument order would lose or invent increments.
TEST(Atomic, EightThreadsSumExactly) {
  ruvo_test::watchdog dog("atomic sums", 60);
  constexpr int kRounds = 20000;
  volatile uint32_t add32 = 0, cas32 = 0;
  volatile uint64_t add64 = 0xFFFFF000ull, cas64 = 0xFFFFF000ull;
  static char cells[kThreads * kRounds + 1];
  void *volatile cursor = cells;
  run_threads(kThreads, [&](int t) {
    for (int i = 0; i < kRounds; ++i) {
      ruvo_atomic32_add_and_fetch(&add32, (i + t) % 2 ? 3 : -1);
      ruvo_atomic64_add_and_fetch(&add64, 1);
      for (uint32_t seen = ruvo_atomic32_get(&cas32);;) {
        const uint32_t found = ruvo_atomic32_cmp_and_swap(&cas32, seen + 1, seen);
        if (found == seen) break;
        seen = found;
      }
      for (uint64_t seen = ruvo_atomic64_get(&cas64);;) {
        const uint64_t found = ruvo_atomic64_cmp_and_swap(&cas64, seen + 1, seen);
        if (found == seen) break;
        seen = found;
      }
      for (void *seen = cursor;;) {
        void *found = ruvo_atomic_cmp_and_swap_ptr(&cursor, static_cast<char *>(seen) + 1, seen);
        if (found == seen) break;
        seen = found;
      }
    }
  });
  const uint32_t total = kThreads * kRounds;
  EXPECT_EQ(add32, total);  // half +3, half -1
  EXPECT_EQ(cas32, total);
  EXPECT_EQ(add64, 0xFFFFF000ull + total);
  EXPECT_EQ(cas64, 0xFFFFF000ull + total);
  EXPECT_EQ(cursor, cells + total);
}

struct once_probe {
  std::atomic<int> calls{0};
  int delay_ms = 0;
  int result = 1;
};
int32_t probe_init(void *object, void *arg) {
  auto *probe = static_cast<once_probe *>(arg);
  probe->calls.fetch_add(1);
  std::this_thread::sleep_for(std::chrono::milliseconds(probe->delay_ms));
  *static_cast<int *>(object) = 42;
  return probe->result;
}

TEST(Once, EightRacingThreadsRunTheInitialiserOnceAndAllSeeItDone) {
  ruvo_test::watchdog dog("racing once", 30);
  volatile int32_t state = RUVO_SINGLETON_IDLE;
  int object = 0;
  once_probe probe;
  probe.delay_ms = 250;
  std::atomic<int> ready{0};
  run_threads(kThreads, [&](int) {
    EXPECT_EQ(ruvo_singleton_once(&state, &object, probe_init, &probe), 1);
    EXPECT_EQ(object, 42);  // seen set up by whoever returns 1
    ready.fetch_add(1);
  });
  EXPECT_EQ(probe.calls.load(), 1);
  EXPECT_EQ(ready.load(), kThreads);
  EXPECT_EQ(state, RUVO_SINGLETON_DONE);
  EXPECT_EQ(ruvo_singleton_once(&state, &object, probe_init, &probe), 1);
  EXPECT_EQ(probe.calls.load(), 1);
}

TEST(Once, AFailedInitialiserIsFinalForEveryCaller) {
  ruvo_test::watchdog dog("failing once", 30);
  volatile int32_t state = RUVO_SINGLETON_IDLE;
  int object = 0;
  once_probe probe;
  probe.delay_ms = 200;
  probe.result = 0;
  run_threads(kThreads, [&](int) {
    EXPECT_EQ(ruvo_singleton_once(&state, &object, probe_init, &probe), 0);
  });
  EXPECT_EQ(state, RUVO_SINGLETON_FAILED);
  EXPECT_EQ(ruvo_singleton_once(&state, &object, probe_init, &probe), 0);
  EXPECT_EQ(probe.calls.load(), 1);
}

TEST(Once, ArgumentsAndStrangeStates) {
  volatile int32_t state = RUVO_SINGLETON_IDLE;
  int object = 0;
  EXPECT_EQ(ruvo_singleton_once(nullptr, &object, probe_init, nullptr), 0);
  EXPECT_EQ(ruvo_singleton_once(&state, nullptr, probe_init, nullptr), 0);
  EXPECT_EQ(state, RUVO_SINGLETON_IDLE);
  EXPECT_EQ(ruvo_singleton_once(&state, &object, nullptr, nullptr), 0);
  EXPECT_EQ(state, RUVO_SINGLETON_RUNNING);  // nobody can finish it now
  state = 7;  // not a state: taken as done
  EXPECT_EQ(ruvo_singleton_once(&state, &object, probe_init, nullptr), 1);
  EXPECT_EQ(state, 7);
}

// A waiter gives up after 50 polls of 100 ms; the initialiser goes on, and
// the next call after it ends sees it done.
TEST(Once, AWaiterGivesUpAfterFiveSecondsAndTheInitialiserStillFinishes) {
  ruvo_test::watchdog dog("slow once", 30);
  struct slow {
    std::atomic<bool> waiter_done{false};
    std::atomic<int> calls{0};
  } s;
  volatile int32_t state = RUVO_SINGLETON_IDLE;
  int object = 0;
  auto init = [](void *obj, void *arg) -> int32_t {
    auto *sp = static_cast<slow *>(arg);
    sp->calls.fetch_add(1);
    while (!sp->waiter_done.load()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    *static_cast<int *>(obj) = 1;
    return 1;
  };
  std::thread initialiser([&] { EXPECT_EQ(ruvo_singleton_once(&state, &object, init, &s), 1); });
  while (state != RUVO_SINGLETON_RUNNING) std::this_thread::yield();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ruvo_singleton_once(&state, &object, init, &s), 0);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(4800));
  EXPECT_LT(waited, std::chrono::milliseconds(9000));
  s.waiter_done.store(true);
  initialiser.join();
  EXPECT_EQ(ruvo_singleton_once(&state, &object, init, &s), 1);
  EXPECT_EQ(s.calls.load(), 1);
}

}  // namespace
