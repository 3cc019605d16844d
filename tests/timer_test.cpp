// Per-thread timers on the real tick count: a random run of starts, stops
// and polls against a model, and timers on several threads at once. Both
// builds run them: under the sanitizers natively, on the platform's slots
// and clock under Wine.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "ruvo/base/clock.h"
#include "ruvo/base/timer.h"
#include "support/support.hpp"

namespace {

void sleep_ms(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }
uint64_t tick() { return ruvo_time_get_tick_cout(); }

// The tag each callback was given, and the tick it ran at.
thread_local std::vector<std::pair<intptr_t, uint64_t>> t_fired;
int32_t record(ruvo_bstimer_st *timer, void *userdata) {
  EXPECT_EQ(ruvo_bstimer_get_userdata(timer), userdata);
  t_fired.emplace_back(reinterpret_cast<intptr_t>(userdata), tick());
  return 0;
}
void *tag(intptr_t id) { return reinterpret_cast<void *>(id); }

// Polls until `n` timers have been taken or two seconds have gone.
uint32_t poll_until_taken(uint32_t n) {
  uint32_t taken = 0;
  for (const uint64_t end = tick() + 2000; taken < n && tick() < end; sleep_ms(1)) {
    taken += ruvo_bstimer_poll_once();
  }
  return taken;
}

// Random starts, stops and polls. The model knows each timer's window of
// due times (the tick before and after its start, plus its time-out): a
// timer fires once, never before its window opens, never once stopped, and
// never before a timer whose window lies wholly earlier. A timer without a
// callback is taken and counted, uncalled.
TEST(Timer, RandomStartsAndStopsAgreeWithAModel) {
  ruvo_test::watchdog dog("random timers", 40);
  ruvo_bstimer_init();
  EXPECT_EQ(ruvo_bstimer_poll_once() + uintptr_t(ruvo_bstimer_get_userdata(nullptr)), 0u);
  struct model_timer {
    ruvo_bstimer_st *handle;
    uint64_t low, high;
    bool stopped;
    int calls;
  };
  std::vector<model_timer> timers;
  std::mt19937 rng(20261124);
  uint32_t taken = 0;
  for (int step = 0; step < 3000; ++step) {
    const unsigned action = rng() % 10;
    for (const auto &f : t_fired) ++timers[f.first].calls;  // what the last poll fired
    t_fired.clear();
    if (action < 5) {
      const uint32_t timeout = rng() % 40;
      const uint64_t before = tick();
      const bool silent = rng() % 8 == 0;
      ruvo_bstimer_st *t = ruvo_bstimer_start(timeout, silent ? nullptr : record, tag(timers.size()));
      timers.push_back({t, before + timeout, tick() + timeout, silent, 0});
    } else if (action < 7 && !timers.empty()) {
      // Only a timer that has neither fired nor been stopped is surely
      // still on the heap, so only such a one may be touched.
      model_timer &m = timers[rng() % timers.size()];
      if (!m.stopped && m.calls == 0) {
        ruvo_bstimer_stop(m.handle);
        m.stopped = true;
      }
    } else {
      taken += ruvo_bstimer_poll_once();
      for (size_t k = 0; k < t_fired.size(); ++k) {
        const model_timer &m = timers[t_fired[k].first];
        EXPECT_FALSE(m.stopped) << t_fired[k].first;
        EXPECT_GE(t_fired[k].second, m.low);
        EXPECT_LE(k == 0 ? 0 : timers[t_fired[k - 1].first].low, m.high);
      }
    }
    if (step % 100 == 0) sleep_ms(3);
  }
  taken += poll_until_taken(static_cast<uint32_t>(timers.size()) - taken);
  for (const auto &f : t_fired) ++timers[f.first].calls;
  EXPECT_EQ(taken, timers.size());
  for (size_t i = 0; i < timers.size(); ++i) EXPECT_EQ(timers[i].calls, timers[i].stopped ? 0 : 1) << i;
}

// Eight threads make their heaps at the same moment and each fires exactly
// its own timers; a timer started on another thread is not seen here.
TEST(Timer, EachThreadPollsOnlyItsOwnTimers) {
  ruvo_test::watchdog dog("timers on threads", 40);
  std::vector<size_t> fired_on_self(8);
  std::atomic<int> ready{0};
  ruvo_test::run_threads(8, [&](int i) {
    ruvo_test::leaks_ignored heap_outlives_thread;  // nothing runs at thread exit
    for (++ready; ready.load() < 8;) std::this_thread::yield();
    for (int n = 0; n < 400; ++n) ruvo_bstimer_start(n % 20, record, tag(i));
    poll_until_taken(400);
    for (const auto &f : t_fired) fired_on_self[i] += f.first == i;
    if (i == 0) {
      sleep_ms(5);
      EXPECT_EQ(ruvo_bstimer_poll_once(), 0u);  // the others' timers are due by now
    }
  });
  for (size_t n : fired_on_self) EXPECT_EQ(n, 400u);
  EXPECT_TRUE(t_fired.empty());
}

}  // namespace
