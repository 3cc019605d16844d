// Per-thread timers on the real tick count: edge cases, a random sequence of
// starts and stops against a model, callbacks that start and stop timers
// during a poll, and timers on several threads at once.
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "ruvo/base/clock.h"
#include "ruvo/base/thread.h"
#include "ruvo/base/timer.h"
#include "support/support.hpp"

namespace {

// What the callbacks report: which timer fired, and when.
struct firing {
  intptr_t id;
  uint64_t tick;
};
std::vector<firing> *g_fired = nullptr;

int32_t record(ruvo_bstimer_st *timer, void *userdata) {
  EXPECT_EQ(ruvo_bstimer_get_userdata(timer), userdata);
  g_fired->push_back({reinterpret_cast<intptr_t>(userdata), ruvo_time_get_tick_cout()});
  return 0;
}

void *tag(intptr_t id) { return reinterpret_cast<void *>(id); }

// Polls until `n` timers have been taken, or two seconds have gone.
uint32_t poll_until_taken(uint32_t n) {
  uint32_t taken = 0;
  for (const uint64_t end = ruvo_time_get_tick_cout() + 2000;
       taken < n && ruvo_time_get_tick_cout() < end;) {
    taken += ruvo_bstimer_poll_once();
    ::Sleep(1);
  }
  return taken;
}

struct Timer : ::testing::Test {
  void SetUp() override { g_fired = &fired; }
  void TearDown() override { g_fired = nullptr; }
  std::vector<firing> fired;
};

TEST_F(Timer, EdgeCases) {
  ruvo_bstimer_init();
  EXPECT_EQ(ruvo_bstimer_poll_once(), 0u);
  EXPECT_EQ(ruvo_bstimer_get_userdata(nullptr), nullptr);
  EXPECT_EQ(ruvo_bstimer_stop(nullptr), 0);

  ASSERT_NE(ruvo_bstimer_start(0, record, tag(1)), nullptr);
  ASSERT_NE(ruvo_bstimer_start(0, nullptr, tag(2)), nullptr);  // counted, never called
  EXPECT_EQ(ruvo_bstimer_poll_once(), 2u);
  ASSERT_EQ(fired.size(), 1u);
  EXPECT_EQ(fired[0].id, 1);
  EXPECT_EQ(ruvo_bstimer_poll_once(), 0u);

  // A stopped timer holds its place until due, then is taken uncalled.
  ruvo_bstimer_st *stopped = ruvo_bstimer_start(30, record, tag(3));
  ASSERT_NE(stopped, nullptr);
  EXPECT_EQ(ruvo_bstimer_get_userdata(stopped), tag(3));
  EXPECT_EQ(ruvo_bstimer_stop(stopped), 0);
  EXPECT_EQ(ruvo_bstimer_poll_once(), 0u);
  EXPECT_EQ(poll_until_taken(1), 1u);
  EXPECT_EQ(fired.size(), 1u);
}

TEST_F(Timer, DueTimersFireInOrderOfExpiryInOnePoll) {
  const uint64_t start = ruvo_time_get_tick_cout();
  ruvo_bstimer_start(30, record, tag(30));
  ruvo_bstimer_start(10, record, tag(10));
  ruvo_bstimer_start(20, record, tag(20));
  ::Sleep(60);
  EXPECT_EQ(ruvo_bstimer_poll_once(), 3u);
  ASSERT_EQ(fired.size(), 3u);
  EXPECT_EQ(fired[0].id, 10);
  EXPECT_EQ(fired[1].id, 20);
  EXPECT_EQ(fired[2].id, 30);
  for (const auto &f : fired) EXPECT_GE(f.tick, start + f.id);
}

// Random starts, stops and polls. The model knows each timer's window of
// due times (the tick before and after its start, plus its time-out); a
// timer must fire once and only after its window opens, never once stopped,
// and the firing order must never put a timer before one whose window lies
// wholly earlier.
TEST_F(Timer, RandomStartsAndStopsAgreeWithAModel) {
  ruvo_test::watchdog dog("random timers", 40);
  struct model_timer {
    ruvo_bstimer_st *handle;
    uint64_t low, high;  // bounds of its due time
    bool stopped;
  };
  std::vector<model_timer> timers;
  std::mt19937 rng(20261124);
  uint32_t taken = 0;
  for (int step = 0; step < 3000; ++step) {
    const unsigned action = rng() % 10;
    if (action < 5) {
      const uint32_t timeout = rng() % 40;
      const uint64_t before = ruvo_time_get_tick_cout();
      ruvo_bstimer_st *t = ruvo_bstimer_start(timeout, record, tag(timers.size()));
      ASSERT_NE(t, nullptr);
      timers.push_back({t, before + timeout, ruvo_time_get_tick_cout() + timeout, false});
    } else if (action < 7 && !timers.empty()) {
      // Only a timer that has neither fired nor been stopped is surely on
      // the heap, so only such a one may be touched.
      model_timer &m = timers[rng() % timers.size()];
      bool has_fired = false;
      for (const auto &f : fired) has_fired |= f.id == &m - timers.data();
      if (!m.stopped && !has_fired) {
        EXPECT_EQ(ruvo_bstimer_stop(m.handle), 0);
        m.stopped = true;
      }
    } else {
      taken += ruvo_bstimer_poll_once();
    }
    if (step % 100 == 0) ::Sleep(3);
  }
  taken += poll_until_taken(static_cast<uint32_t>(timers.size()) - taken);
  EXPECT_EQ(taken, timers.size());

  std::vector<int> calls(timers.size());
  for (size_t i = 0; i < fired.size(); ++i) {
    const model_timer &m = timers[fired[i].id];
    ++calls[fired[i].id];
    EXPECT_FALSE(m.stopped) << fired[i].id;
    EXPECT_GE(fired[i].tick, m.low) << fired[i].id;
    if (i > 0) {
      EXPECT_LE(timers[fired[i - 1].id].low, m.high) << i;
    }
  }
  for (size_t i = 0; i < timers.size(); ++i) EXPECT_EQ(calls[i], timers[i].stopped ? 0 : 1) << i;
}

// During one poll: the first callback stops a due timer, starts one of 0 ms
// and one of 100 ms. The stopped one is taken uncalled; the 100 ms one fires
// only in a later poll.
struct juggler {
  ruvo_bstimer_st *victim = nullptr;
  ruvo_bstimer_st *late = nullptr;
};
int32_t juggle(ruvo_bstimer_st *timer, void *userdata) {
  auto *j = static_cast<juggler *>(userdata);
  record(timer, userdata);
  EXPECT_EQ(ruvo_bstimer_stop(j->victim), 0);
  EXPECT_NE(ruvo_bstimer_start(0, record, tag(7)), nullptr);
  j->late = ruvo_bstimer_start(100, record, tag(100));
  return 0;
}

TEST_F(Timer, ACallbackStartsAndStopsOtherTimersDuringAPoll) {
  juggler j;
  ruvo_bstimer_start(0, juggle, &j);
  j.victim = ruvo_bstimer_start(5, record, tag(5));
  ::Sleep(20);
  const uint32_t first = ruvo_bstimer_poll_once();
  EXPECT_GE(first, 2u);  // the juggler and its victim; the 0 ms one if the tick stood still
  EXPECT_EQ(poll_until_taken(4 - first - 1), 4 - first - 1);  // the 0 ms one, if still there
  EXPECT_EQ(poll_until_taken(1), 1u);  // the 100 ms one
  ASSERT_EQ(fired.size(), 3u);
  EXPECT_EQ(fired[0].id, reinterpret_cast<intptr_t>(&j));
  EXPECT_EQ(fired[1].id, 7);
  EXPECT_EQ(fired[2].id, 100);
  EXPECT_GE(fired[2].tick, fired[0].tick + 100);
}

// Eight threads make their heaps at the same moment, start timers and poll:
// each sees its own timers only, and they fire on it.
struct owner {
  DWORD thread = 0;
  int fired = 0;
  int elsewhere = 0;
};
int32_t count_on_owner(ruvo_bstimer_st *, void *userdata) {
  auto *o = static_cast<owner *>(userdata);
  ++(o->thread == ::GetCurrentThreadId() ? o->fired : o->elsewhere);
  return 0;
}

TEST(TimerThreads, EachThreadPollsOnlyItsOwnTimers) {
  ruvo_test::watchdog dog("timers on threads", 40);
  std::atomic<int> ready{0};
  std::vector<owner> owners(8);
  std::vector<std::thread> threads;
  for (auto &o : owners) {
    threads.emplace_back([&ready, &o] {
      o.thread = ::GetCurrentThreadId();
      ready.fetch_add(1);
      while (ready.load() < 8) std::this_thread::yield();
      for (int n = 0; n < 400; ++n) ruvo_bstimer_start(n % 20, count_on_owner, &o);
      poll_until_taken(400);
    });
  }
  for (auto &th : threads) th.join();
  for (const auto &o : owners) {
    EXPECT_EQ(o.fired, 400);
    EXPECT_EQ(o.elsewhere, 0);
  }
  EXPECT_EQ(ruvo_bstimer_poll_once(), 0u);  // none of theirs is on this thread

  // A timer started on another thread is not seen here until that one polls.
  owner late;
  std::thread starter([&] {
    late.thread = ::GetCurrentThreadId();
    ruvo_bstimer_start(0, count_on_owner, &late);
    ::Sleep(20);
  });
  starter.join();
  EXPECT_EQ(ruvo_bstimer_poll_once(), 0u);
  EXPECT_EQ(late.fired + late.elsewhere, 0);
}

}  // namespace
