// Atomics and the once-initialiser on real threads, in both builds.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "ruvo/base/atomic.h"
#include "ruvo/base/clock.h"
#include "support/support.hpp"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// One increment by a compare-and-swap loop, starting from a guess of 0.
template <class T, class Next>
void bump(T (*cas)(volatile T *, T, T), volatile T *target, Next next) {
  for (T seen{}, found; (found = cas(target, next(seen), seen)) != seen;) seen = found;
}

// Compare-and-swap loops lose or invent increments if the new and expected
// values trade places; the 64-bit sums cross the 32-bit line.
TEST(Atomic, EightThreadsSumExactly) {
  ruvo_test::watchdog dog("atomic sums", 60);
  constexpr uint32_t kRounds = 20000, kTotal = 8 * kRounds;
  constexpr uint64_t kBase = 0xFFFFF000ull;
  volatile uint32_t add32 = 0, cas32 = 0, old32 = 0;
  volatile uint64_t add64 = kBase, cas64 = kBase;
  static char cells[kTotal + 1];
  void *volatile cursor = cells;
  std::atomic<uint32_t> seen_set{0};
  ruvo_test::run_threads(8, [&](int t) {
    for (uint32_t i = 0; i < kRounds; ++i) {
      ruvo_atomic32_add_and_fetch(&add32, (i + t) % 2 ? 3 : -1);  // half +3, half -1
      ruvo_atomic64_add_and_fetch(&add64, 1);
      seen_set += ruvo_atomic32_set(&old32, 1);  // 1 back from all but the first
      bump(ruvo_atomic32_cmp_and_swap, &cas32, [](uint32_t v) { return v + 1; });
      bump(ruvo_atomic64_cmp_and_swap, &cas64, [](uint64_t v) { return v + 1; });
      bump(ruvo_atomic_cmp_and_swap_ptr, &cursor, [](void *v) -> void * { return static_cast<char *>(v) + 1; });
    }
  });
  EXPECT_TRUE(add32 == kTotal && ruvo_atomic32_get(&cas32) == kTotal && seen_set == kTotal - 1);
  EXPECT_TRUE(add64 == kBase + kTotal && cas64 == kBase + kTotal && cursor == cells + kTotal);
  EXPECT_EQ(ruvo_atomic64_set(&add64, 5), kBase + kTotal);
  EXPECT_EQ(ruvo_atomic64_get(&add64), 5u);
}

struct once_probe {
  std::atomic<int> calls{0};
  std::atomic<bool> hold{false};  // the initialiser waits while set
  int result = 1;
};

int32_t probe_init(void *object, void *arg) {
  auto *probe = static_cast<once_probe *>(arg);
  probe->calls.fetch_add(1);
  std::this_thread::sleep_for(milliseconds(250));
  while (probe->hold) std::this_thread::sleep_for(milliseconds(5));
  *static_cast<int *>(object) = 42;
  return probe->result;
}

// Eight threads race over a 250 ms initialiser, which runs once; its result,
// failure too, is what every caller sees, then and later. A hung one is given up.
TEST(Once, RacingThreadsRunTheInitialiserOnceAndItsResultIsFinal) {
  ruvo_test::watchdog dog("once", 40);
  for (const int result : {1, 0}) {
    volatile int32_t state = RUVO_SINGLETON_IDLE;
    int object = 0;
    once_probe probe;
    probe.result = result;
    std::atomic<int> agreed{0};
    ruvo_test::run_threads(8, [&](int) {
      const int32_t ready = ruvo_singleton_once(&state, &object, probe_init, &probe);
      agreed += ready == result && (ready == 0 || object == 42);
    });
    EXPECT_EQ(agreed.load(), 8) << result;
    EXPECT_EQ(state, result ? RUVO_SINGLETON_DONE : RUVO_SINGLETON_FAILED);
    EXPECT_EQ(ruvo_singleton_once(&state, &object, probe_init, &probe), result);
    EXPECT_EQ(probe.calls.load(), 1);
  }
  volatile int32_t state = RUVO_SINGLETON_IDLE;
  int object = 0;
  EXPECT_EQ(ruvo_singleton_once(nullptr, &object, probe_init, nullptr), 0);
  EXPECT_EQ(ruvo_singleton_once(&state, nullptr, probe_init, nullptr), 0);
  EXPECT_EQ(ruvo_singleton_once(&state, &object, nullptr, nullptr), 0);
  EXPECT_EQ(state, RUVO_SINGLETON_RUNNING);  // nobody can finish it now
  state = 7;  // not FAILED: taken as ready
  EXPECT_EQ(ruvo_singleton_once(&state, &object, probe_init, nullptr), 1);

  // A waiter gives up on a hung initialiser after 50 polls of 100 ms: before a
  // ruler thread has made 50 sleeps on the same clock, plus half a sleep (a
  // second try when load delays the waiter more than the ruler).
  state = RUVO_SINGLETON_IDLE;
  once_probe probe;
  probe.hold = true;
  std::thread initialiser([&] { ruvo_singleton_once(&state, &object, probe_init, &probe); });
  while (probe.calls.load() == 0) std::this_thread::yield();
  const auto back_in_time = [&] {
    auto ruled = steady_clock::duration::zero();
    std::thread ruler([&, start = steady_clock::now()] {
      for (int i = 0; i < 50; ++i) ruvo_msleep(100);
      ruled = steady_clock::now() - start;
    });
    const auto start = steady_clock::now();
    EXPECT_EQ(ruvo_singleton_once(&state, &object, probe_init, &probe), 0);
    const auto waited = steady_clock::now() - start;
    ruler.join();
    EXPECT_GE(waited, milliseconds(4800));
    return waited < ruled + milliseconds(50);
  };
  EXPECT_TRUE(back_in_time() || back_in_time());
  probe.hold = false;
  initialiser.join();
  EXPECT_EQ(ruvo_singleton_once(&state, &object, probe_init, &probe), 1);
  EXPECT_EQ(probe.calls.load(), 1);
}

}  // namespace
