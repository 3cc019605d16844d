// Keepalive objects and their manager with short time-outs on the real tick
// count, and workers that touch their objects while a supervisor checks.
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "ruvo/base/clock.h"
#include "ruvo/base/keepalive.h"
#include "support/support.hpp"

namespace {

static_assert(offsetof(ruvo_keepalive_st, id) == 64 && offsetof(ruvo_keepalive_st, tick) == 80 &&
              sizeof(ruvo_keepalive_st) == 88);

int64_t now() { return static_cast<int64_t>(ruvo_time_get_tick_cout()); }

// An object made on a thread of its own, so that it carries another id.
ruvo_keepalive_st *make_elsewhere(const char *name, int64_t timeout) {
  ruvo_keepalive_st *obj = nullptr;
  std::thread([&] { obj = ruvo_keepalive_create(name, timeout); }).join();
  return obj;
}

int32_t count_entries(const void *key, int32_t key_len, void *value, void *arg) {
  const auto *obj = static_cast<ruvo_keepalive_st *>(value);
  if (key_len != 8 || std::memcmp(key, &obj->id, 8) != 0) return 99;
  ++*static_cast<int *>(arg);
  return 0;
}
int entries(ruvo_keepalive_mgr_st *mgr) {
  int n = 0;
  EXPECT_EQ(ruvo_keepalive_mgr_hs_foreach(mgr, &n, count_entries), 0);
  return n;
}

TEST(Keepalive, NamesUpToSixtyThreeCharacters) {
  const std::string longest(63, 'n'), too_long(64, 'n');
  EXPECT_EQ(ruvo_keepalive_create(nullptr, 10), nullptr);
  EXPECT_EQ(ruvo_keepalive_create("", 10), nullptr);
  EXPECT_EQ(ruvo_keepalive_create(too_long.c_str(), 10), nullptr);
  EXPECT_EQ(ruvo_keepalive_create((too_long + "more").c_str(), 10), nullptr);
  const int64_t before = now();
  ruvo_keepalive_st *obj = ruvo_keepalive_create(longest.c_str(), 1234);
  ASSERT_NE(obj, nullptr);
  EXPECT_EQ(ruvo_keepalive_get_name(obj), reinterpret_cast<const char *>(obj));
  EXPECT_EQ(std::string(ruvo_keepalive_get_name(obj)), longest);
  EXPECT_EQ(ruvo_keepalive_get_id(obj), ::GetCurrentThreadId());
  EXPECT_EQ(ruvo_keepalive_get_timeout(obj), 1234);
  EXPECT_GE(ruvo_keepalive_get_tick(obj), before);
  EXPECT_LE(ruvo_keepalive_get_tick(obj), now());
  ruvo_keepalive_destory(obj);

  EXPECT_EQ(ruvo_keepalive_get_name(nullptr), nullptr);
  EXPECT_EQ(ruvo_keepalive_get_id(nullptr), 0u);
  EXPECT_EQ(ruvo_keepalive_get_tick(nullptr), 0);
  EXPECT_EQ(ruvo_keepalive_get_timeout(nullptr), 0);
  EXPECT_EQ(ruvo_keepalive_is_alive(nullptr), 0);
  ruvo_keepalive_update(nullptr);
  ruvo_keepalive_destory(nullptr);
}

TEST(Keepalive, AliveWhileTheAgeIsAtMostTheTimeout) {
  ruvo_keepalive_st *obj = ruvo_keepalive_create("worker", 50);
  ASSERT_NE(obj, nullptr);
  // An age of exactly the time-out is still alive; one more ms is not.
  // The tick is set by hand, and the reading kept only if the clock stood
  // still across the call.
  int alive = -1;
  for (int tries = 0; alive < 0 && tries < 1000; ++tries) {
    const int64_t t = now();
    obj->tick = t - 50;
    const int32_t result = ruvo_keepalive_is_alive(obj);
    if (now() == t) alive = result;
  }
  EXPECT_EQ(alive, 1);
  obj->tick = now() - 51;
  EXPECT_EQ(ruvo_keepalive_is_alive(obj), 0);
  ruvo_keepalive_update(obj);
  EXPECT_EQ(ruvo_keepalive_is_alive(obj), 1);
  ::Sleep(80);
  EXPECT_EQ(ruvo_keepalive_is_alive(obj), 0);
  ruvo_keepalive_destory(obj);

  ruvo_keepalive_st *never = ruvo_keepalive_create("never", -1);
  EXPECT_EQ(ruvo_keepalive_is_alive(never), 0);
  ruvo_keepalive_destory(never);
}

TEST(KeepaliveMgr, OneObjectPerThreadAndTheLongerTimeoutWins) {
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(nullptr), 0);
  EXPECT_EQ(ruvo_keepalive_mgr_abnormal_obj(nullptr), nullptr);
  EXPECT_EQ(ruvo_keepalive_mgr_hs_foreach(nullptr, nullptr, count_entries), -1);
  ruvo_keepalive_mgr_destory(nullptr);

  ruvo_keepalive_mgr_st *mgr = ruvo_keepalive_mgr_create();
  ASSERT_NE(mgr, nullptr);
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(mgr), 1);  // nobody to be stale
  EXPECT_EQ(ruvo_keepalive_mgr_abnormal_obj(mgr), nullptr);
  EXPECT_EQ(ruvo_keepalive_mgr_hs_foreach(mgr, nullptr, nullptr), -1);
  ruvo_keepalive_mgr_add(mgr, nullptr);
  ruvo_keepalive_mgr_add(nullptr, nullptr);

  // Shorter after longer: the newer record takes over the older one.
  ruvo_keepalive_st *first = ruvo_keepalive_create("long", 200);
  first->tick -= 7;
  const int64_t first_tick = first->tick;
  ruvo_keepalive_mgr_add(mgr, first);
  ruvo_keepalive_mgr_add(mgr, first);  // twice is once
  ruvo_keepalive_st *second = ruvo_keepalive_create("short", 100);
  ruvo_keepalive_mgr_add(mgr, second);
  EXPECT_STREQ(ruvo_keepalive_get_name(second), "long");
  EXPECT_EQ(ruvo_keepalive_get_timeout(second), 200);
  EXPECT_EQ(ruvo_keepalive_get_tick(second), first_tick);
  EXPECT_EQ(entries(mgr), 1);

  // Longer after shorter, and equal after that: the new one stays as it is.
  ruvo_keepalive_st *third = ruvo_keepalive_create("longer", 300);
  ruvo_keepalive_mgr_add(mgr, third);
  EXPECT_STREQ(ruvo_keepalive_get_name(third), "longer");
  ruvo_keepalive_st *fourth = ruvo_keepalive_create("equal", 300);
  ruvo_keepalive_mgr_add(mgr, fourth);
  EXPECT_STREQ(ruvo_keepalive_get_name(fourth), "equal");
  EXPECT_EQ(entries(mgr), 1);

  ruvo_keepalive_mgr_add(mgr, make_elsewhere("other", 300));
  EXPECT_EQ(entries(mgr), 2);
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(mgr), 1);
  ruvo_keepalive_mgr_destory(mgr);  // frees all four that it took
}

// The first object found stale is copied once; the copy outlives its
// recovery and later stale objects.
TEST(KeepaliveMgr, TheFirstStaleObjectIsCopiedOnceForGood) {
  ruvo_keepalive_mgr_st *mgr = ruvo_keepalive_mgr_create();
  ruvo_keepalive_st *steady = make_elsewhere("steady", 60000);
  ruvo_keepalive_st *a = make_elsewhere("first-to-stall", 30);
  ruvo_keepalive_st *b = make_elsewhere("second-to-stall", 30);
  ruvo_keepalive_mgr_add(mgr, steady);
  ruvo_keepalive_mgr_add(mgr, a);
  ruvo_keepalive_mgr_add(mgr, b);
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(mgr), 1);
  ::Sleep(60);
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(mgr), 0);
  ruvo_keepalive_st *copy = ruvo_keepalive_mgr_abnormal_obj(mgr);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, a);
  EXPECT_STREQ(ruvo_keepalive_get_name(copy), "first-to-stall");
  EXPECT_EQ(ruvo_keepalive_get_id(copy), ruvo_keepalive_get_id(a));
  const int64_t copied_tick = ruvo_keepalive_get_tick(copy);

  ruvo_keepalive_update(a);  // a recovers, b is still stale
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(mgr), 0);
  EXPECT_EQ(ruvo_keepalive_mgr_abnormal_obj(mgr), copy);
  EXPECT_STREQ(ruvo_keepalive_get_name(copy), "first-to-stall");
  EXPECT_EQ(ruvo_keepalive_get_tick(copy), copied_tick);

  ruvo_keepalive_update(b);
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(mgr), 1);
  EXPECT_EQ(ruvo_keepalive_mgr_abnormal_obj(mgr), copy);  // stays after recovery
  ruvo_keepalive_mgr_destory(mgr);
}

// Six workers touch their objects every few ms while a supervisor checks
// continuously: all alive. Then one worker stops touching, and the
// supervisor sees it stale within its time-out and names it.
TEST(KeepaliveMgr, WorkersUpdateWhileASupervisorChecks) {
  ruvo_test::watchdog dog("keepalive supervision", 40);
  constexpr int kWorkers = 6;
  constexpr int64_t kTimeout = 150;
  ruvo_keepalive_mgr_st *mgr = ruvo_keepalive_mgr_create();
  std::atomic<int> joined{0};
  std::atomic<bool> stop{false}, stall{false};
  std::vector<std::thread> workers;
  for (int i = 0; i < kWorkers; ++i) {
    workers.emplace_back([&, i] {
      const std::string name = "worker-" + std::to_string(i);
      ruvo_keepalive_st *obj = ruvo_keepalive_create(name.c_str(), kTimeout);
      ruvo_keepalive_mgr_add(mgr, obj);
      joined.fetch_add(1);
      while (!stop) {
        if (!(i == 3 && stall)) ruvo_keepalive_update(obj);
        ::Sleep(2);
      }
    });
  }
  while (joined.load() < kWorkers) ::Sleep(1);
  EXPECT_EQ(entries(mgr), kWorkers);
  int stale_checks = 0;
  for (const int64_t end = now() + 600; now() < end;) {
    stale_checks += ruvo_keepalive_mgr_is_alive(mgr) == 0;
  }
  EXPECT_EQ(stale_checks, 0);
  EXPECT_EQ(ruvo_keepalive_mgr_abnormal_obj(mgr), nullptr);

  stall = true;
  const int64_t stalled_at = now();
  while (ruvo_keepalive_mgr_is_alive(mgr) == 1 && now() - stalled_at < 5000) ::Sleep(1);
  const int64_t noticed = now() - stalled_at;
  EXPECT_GE(noticed, kTimeout - 10);
  EXPECT_LT(noticed, kTimeout + 500);
  ruvo_keepalive_st *copy = ruvo_keepalive_mgr_abnormal_obj(mgr);
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(ruvo_keepalive_get_name(copy), "worker-3");
  stop = true;
  for (auto &th : workers) th.join();
  ruvo_keepalive_mgr_destory(mgr);
}

}  // namespace
