// Per-thread timers on the real tick count, in both builds: eight threads at
// once, each with a random run of starts, stops and polls against a model.
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

// The tag each callback was given (its thread above bit 16, its index
// below), and the tick it ran at.
thread_local std::vector<std::pair<intptr_t, uint64_t>> t_fired;
int32_t record(ruvo_bstimer_st *timer, void *userdata) {
  EXPECT_EQ(ruvo_bstimer_get_userdata(timer), userdata);
  t_fired.emplace_back(reinterpret_cast<intptr_t>(userdata), tick());
  return 0;
}

// Polls until `n` timers have been taken or two seconds have gone.
uint32_t poll_until_taken(uint32_t n) {
  uint32_t taken = 0;
  for (const uint64_t end = tick() + 2000; taken < n && tick() < end; sleep_ms(1)) {
    taken += ruvo_bstimer_poll_once();
  }
  return taken;
}

// The model knows each timer's window of due times (the ticks around its
// start, plus its time-out): a timer fires once, on its own thread, not
// before its window, not once stopped, not before one whose window lies
// wholly earlier. A timer without a callback is taken and counted, uncalled.
TEST(Timer, RandomStartsAndStopsOnEightThreadsAgreeWithAModel) {
  ruvo_test::watchdog dog("random timers", 60);
  EXPECT_EQ(ruvo_bstimer_get_userdata(nullptr), nullptr);
  std::atomic<int> ready{0};
  ruvo_test::run_threads(8, [&](int thread) {
    for (++ready; ready.load() < 8;) std::this_thread::yield();  // heaps made at one moment
    {
      ruvo_test::leaks_ignored heap_outlives_thread;  // nothing runs at thread exit
      ruvo_bstimer_init();
    }
    EXPECT_EQ(ruvo_bstimer_poll_once(), 0u);
    struct model_timer { ruvo_bstimer_st *handle; uint64_t low, high; bool stopped; int calls; };
    std::vector<model_timer> timers;
    const auto fired = [&](size_t k) -> model_timer & {
      EXPECT_EQ(t_fired[k].first >> 16, thread);
      return timers.at(t_fired[k].first & 0xffff);
    };
    std::mt19937 rng(20261124 + thread);
    uint32_t taken = 0;
    for (int step = 0; step < 3000; ++step) {
      const unsigned action = rng() % 10;
      for (size_t k = 0; k < t_fired.size(); ++k) ++fired(k).calls;  // what the last poll fired
      t_fired.clear();
      if (action < 5) {
        const uint32_t timeout = rng() % 40;
        const uint64_t before = tick();
        const bool silent = rng() % 8 == 0;
        void *tag = reinterpret_cast<void *>(intptr_t(thread) << 16 | intptr_t(timers.size()));
        ruvo_bstimer_st *t = ruvo_bstimer_start(timeout, silent ? nullptr : record, tag);
        timers.push_back({t, before + timeout, tick() + timeout, silent, 0});
      } else if (action < 7 && !timers.empty()) {
        model_timer &m = timers[rng() % timers.size()];
        if (!m.stopped && m.calls == 0) {  // only then surely still on the heap
          ruvo_bstimer_stop(m.handle);
          m.stopped = true;
        }
      } else {
        taken += ruvo_bstimer_poll_once();
        for (size_t k = 0; k < t_fired.size(); ++k) {
          EXPECT_FALSE(fired(k).stopped) << t_fired[k].first;
          EXPECT_GE(t_fired[k].second, fired(k).low);
          EXPECT_LE(k == 0 ? 0 : fired(k - 1).low, fired(k).high);
        }
      }
      if (step % 100 == 0) sleep_ms(3);
    }
    taken += poll_until_taken(static_cast<uint32_t>(timers.size()) - taken);
    for (size_t k = 0; k < t_fired.size(); ++k) ++fired(k).calls;
    EXPECT_EQ(taken, timers.size());
    for (const model_timer &m : timers) EXPECT_EQ(m.calls, m.stopped ? 0 : 1) << &m - timers.data();
  });
}

}  // namespace
