// Keepalive objects and their manager with short time-outs on the real tick
// count, and workers that touch their objects while a supervisor checks.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <tuple>

#include "ruvo/base/clock.h"
#include "ruvo/base/keepalive.h"
#include "ruvo/base/thread.h"
#include "support/support.hpp"

namespace {

void sleep_ms(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }
int64_t now() { return static_cast<int64_t>(ruvo_time_get_tick_cout()); }

// Name, id, time-out and tick, as the getters give them.
auto fields(ruvo_keepalive_st *obj) {
  return std::tuple(std::string(ruvo_keepalive_get_name(obj)), ruvo_keepalive_get_id(obj),
                    ruvo_keepalive_get_timeout(obj), ruvo_keepalive_get_tick(obj));
}

// An object made on a thread of its own, so that it carries another id.
ruvo_keepalive_st *make_elsewhere(const char *name, int64_t timeout) {
  ruvo_keepalive_st *obj = nullptr;
  std::thread([&] { obj = ruvo_keepalive_create(name, timeout); }).join();
  return obj;
}

// Entries by a walk; each key must be the 8 bytes of its object's id.
int entries(ruvo_keepalive_mgr_st *mgr) {
  int n = 0;
  auto count = [](const void *key, int32_t len, void *value, void *arg) -> int32_t {
    const uint64_t id = static_cast<ruvo_keepalive_st *>(value)->id;
    if (len != 8 || *static_cast<const uint64_t *>(key) != id) return 99;
    return ++*static_cast<int *>(arg), 0;
  };
  EXPECT_EQ(ruvo_keepalive_mgr_hs_foreach(mgr, &n, count), 0);
  return n;
}

// Names up to 63 characters at the record's own address; alive at an age of
// exactly the time-out (read while the clock stands still), not one later;
// never with a negative time-out.
TEST(Keepalive, NamesAndAges) {
  const std::string longest(63, 'n'), too_long(64, 'n');
  for (const char *bad : {static_cast<const char *>(nullptr), "", too_long.c_str()})
    EXPECT_EQ(ruvo_keepalive_create(bad, 10), nullptr);
  ruvo_keepalive_st *obj = ruvo_keepalive_create(longest.c_str(), 50);
  ASSERT_NE(obj, nullptr);
  EXPECT_EQ(ruvo_keepalive_get_name(obj), reinterpret_cast<const char *>(obj));
  EXPECT_EQ(fields(obj), std::tuple(longest, ruvo_thread_id(), 50, obj->tick));
  EXPECT_EQ(ruvo_keepalive_get_id(nullptr) + ruvo_keepalive_get_tick(nullptr) +
                ruvo_keepalive_get_timeout(nullptr), 0u);
  int alive = -1;
  for (int64_t t = 0, tries = 0; alive < 0 && tries < 1000; ++tries) {
    obj->tick = (t = now()) - 50;
    if (const int32_t result = ruvo_keepalive_is_alive(obj); now() == t) alive = result;
  }
  obj->tick = now() - 51;
  const int32_t late = ruvo_keepalive_is_alive(obj);
  ruvo_keepalive_update(obj);
  const int32_t updated = ruvo_keepalive_is_alive(obj);
  obj->timeout = -1;
  EXPECT_EQ(std::tuple(alive, late, updated, ruvo_keepalive_is_alive(obj)), std::tuple(1, 0, 1, 0));
  ruvo_keepalive_destory(obj);
}

// One entry per thread, where the longer time-out wins in the newer record.
// The first object found stale is copied for good: the copy outlives its
// recovery and is not replaced by a later stale object.
TEST(KeepaliveMgr, OneObjectPerThreadAndTheFirstStaleIsCopiedForGood) {
  ruvo_keepalive_mgr_st *mgr = ruvo_keepalive_mgr_create();
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(mgr), 1);  // nobody to be stale
  EXPECT_EQ(ruvo_keepalive_mgr_abnormal_obj(mgr), nullptr);
  EXPECT_EQ(ruvo_keepalive_mgr_hs_foreach(nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(nullptr) + ruvo_keepalive_is_alive(nullptr), 0);
  ruvo_keepalive_st *first = ruvo_keepalive_create("long", 60000);
  first->tick -= 7;
  const auto first_fields = fields(first);
  for (ruvo_keepalive_st *obj : {first, first, static_cast<ruvo_keepalive_st *>(nullptr)})
    ruvo_keepalive_mgr_add(mgr, obj);  // twice is once
  ruvo_keepalive_mgr_add(nullptr, first);
  ruvo_keepalive_st *second = ruvo_keepalive_create("short", 100);
  ruvo_keepalive_mgr_add(mgr, second);
  EXPECT_EQ(fields(second), first_fields);
  ruvo_keepalive_st *third = ruvo_keepalive_create("equal", 60000);
  ruvo_keepalive_mgr_add(mgr, third);
  EXPECT_STREQ(ruvo_keepalive_get_name(third), "equal");

  // Two more threads' objects stall by moving their last touch back past a
  // second's grace, which a loaded machine cannot use up early.
  ruvo_keepalive_st *a = make_elsewhere("first-to-stall", 1000);
  ruvo_keepalive_st *b = make_elsewhere("second-to-stall", 1000);
  ruvo_keepalive_mgr_add(mgr, a);
  ruvo_keepalive_mgr_add(mgr, b);
  EXPECT_EQ(entries(mgr), 3);
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(mgr), 1);
  a->tick -= 2000;
  b->tick -= 2000;
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(mgr), 0);
  ruvo_keepalive_st *copy = ruvo_keepalive_mgr_abnormal_obj(mgr);
  ASSERT_TRUE(copy != nullptr && copy != a);
  const auto copied = fields(copy);
  EXPECT_EQ(copied, fields(a));
  ruvo_keepalive_update(a);  // a recovers, b stays stale
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(mgr), 0);
  ruvo_keepalive_update(b);
  EXPECT_EQ(ruvo_keepalive_mgr_is_alive(mgr), 1);
  EXPECT_EQ(ruvo_keepalive_mgr_abnormal_obj(mgr), copy);
  EXPECT_EQ(fields(copy), copied);
  ruvo_keepalive_mgr_destory(mgr);
}

// Six workers touch their objects every 2 ms, now and then through a new
// object that frees the old one under a checking walk; a supervisor that
// checks without pause sees all alive for 600 ms. Then one stops, and is
// seen stale after its time-out and named.
TEST(KeepaliveMgr, WorkersUpdateWhileASupervisorChecks) {
  ruvo_test::watchdog dog("keepalive supervision", 40);
  constexpr int64_t kTimeout = 1000;
  ruvo_keepalive_mgr_st *mgr = ruvo_keepalive_mgr_create();
  std::atomic<int> joined{0};
  std::atomic<bool> stop{false}, stall{false};
  std::thread supervisor([&] {
    while (joined.load() < 6) sleep_ms(1);
    int stale = 0;
    for (const int64_t end = now() + 600; now() < end; std::this_thread::yield())
      stale += !ruvo_keepalive_mgr_is_alive(mgr);
    EXPECT_EQ(stale, 0);
    stall = true;
    const int64_t stalled_at = now();
    while (ruvo_keepalive_mgr_is_alive(mgr) && now() - stalled_at < 5000) sleep_ms(1);
    EXPECT_GE(now() - stalled_at, kTimeout / 2);
    EXPECT_LT(now() - stalled_at, kTimeout + 1000);
    stop = true;
  });
  ruvo_test::run_threads(6, [&](int i) {
    const std::string name = "worker-" + std::to_string(i);
    ruvo_keepalive_st *obj = ruvo_keepalive_create(name.c_str(), kTimeout);
    ruvo_keepalive_mgr_add(mgr, obj);
    ++joined;
    for (int n = 1; !stop; ++n, sleep_ms(2)) {
      if (i == 3 && stall) continue;
      ruvo_keepalive_update(obj);
      if (n % 8 == 0) {
        obj = ruvo_keepalive_create(name.c_str(), kTimeout);
        ruvo_keepalive_mgr_add(mgr, obj);
      }
    }
  });
  supervisor.join();
  EXPECT_EQ(entries(mgr), 6);
  ruvo_keepalive_st *copy = ruvo_keepalive_mgr_abnormal_obj(mgr);
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(ruvo_keepalive_get_name(copy), "worker-3");
  ruvo_keepalive_mgr_destory(mgr);
}

}  // namespace
