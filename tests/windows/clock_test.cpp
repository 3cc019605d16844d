// Clocks and time conversions against the platform's over random instants, read from threads.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <random>

#include "ruvo/base/clock.h"
#include "support/support.hpp"

namespace {

constexpr int64_t kEpoch = 116444736000000000LL;  // 1970 in 100 ns since 1601
constexpr int64_t kYear3000End = 32535215999LL;   // msvcrt breaks down nothing later

FILETIME filetime(int64_t t) {
  return {static_cast<DWORD>(t), static_cast<DWORD>(static_cast<uint64_t>(t) >> 32)};
}
int64_t to_timet(FILETIME ft) {
  int64_t t = 12345;
  EXPECT_EQ(ruvo_filetime_to_timet(ft, &t), 1);
  return t;
}

// Rounding towards zero on both sides of 1970, and the refusals.
TEST(Clock, FileTimeToTimetRoundsTowardsZeroAndNullsAreRefused) {
  const int64_t table[][2] = {{0, 0},        {9999999, 0},    {10000000, 1},  {-10000000, -1},
                              {-9999999, 0}, {-10000001, -1}, {-20000000, -2}};
  for (const auto &row : table) EXPECT_EQ(to_timet(filetime(kEpoch + row[0])), row[1]) << row[0];
  EXPECT_EQ(ruvo_gettimeofday(nullptr), 1);
  for (int32_t (*call)() : {+[] { return ruvo_filetime_to_timet(filetime(kEpoch), nullptr); },
                            +[] { return ruvo_timet_to_systime(0, nullptr); },
                            +[] { return ruvo_timet_to_filetime(0, nullptr); }}) {
    ::SetLastError(0);
    EXPECT_TRUE(call() == 0 && ::GetLastError() == 87);
  }
  std::tm untouched{};
  untouched.tm_year = 77;
  const int64_t minus_one = -1;
  EXPECT_EQ(ruvo_time_stamp_to_local(&untouched, &minus_one), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_time_stamp_to_local(&untouched, nullptr), RUVO_E_INVAL);
  EXPECT_EQ(untouched.tm_year, 77);
  SYSTEMTIME st{};
  FILETIME ft{};
  for (const int64_t bad : {int64_t{-1}, int64_t{100000000000}}) {  // 1969 and 5138
    EXPECT_EQ(ruvo_timet_to_systime(bad, &st) + ruvo_timet_to_filetime(bad, &ft), 0) << bad;
    EXPECT_EQ(::GetLastError(), 1627u);
  }
}

// Against msvcrt's _localtime64_s and _mkgmtime64; the file time is t with a random fraction.
TEST(Clock, ConversionsAgreeWithThePlatformOverRandomInstants) {
  std::mt19937_64 rng(0x5EED);
  for (int i = 0; i < 3000; ++i) {
    const int64_t t = i < 2 ? i * kYear3000End : static_cast<int64_t>(rng() % kYear3000End);
    SCOPED_TRACE(t);
    const int64_t fraction = static_cast<int64_t>(rng() % 10000000);
    EXPECT_EQ(to_timet(filetime(kEpoch + t * 10000000 + fraction)), t);
    const __time64_t t64 = t;
    std::tm local{}, ours{};
    ASSERT_EQ(::_localtime64_s(&local, &t64), 0);
    ASSERT_EQ(ruvo_time_stamp_to_local(&ours, &t), 0u);
    EXPECT_EQ(std::memcmp(&ours, &local, sizeof ours), 0);
    SYSTEMTIME st;
    ASSERT_EQ(ruvo_timet_to_systime(t, &st), 1);
    const int fields[][2] = {{st.wYear, local.tm_year + 1900}, {st.wMonth, local.tm_mon + 1},
                             {st.wDay, local.tm_mday},         {st.wDayOfWeek, local.tm_wday},
                             {st.wHour, local.tm_hour},        {st.wMinute, local.tm_min},
                             {st.wSecond, local.tm_sec},       {st.wMilliseconds, 0}};
    for (const auto &f : fields) EXPECT_EQ(f[0], f[1]);
    // The file time holds local time: read back as UTC it is t's local wall clock.
    FILETIME local_ft{};
    ASSERT_EQ(ruvo_timet_to_filetime(t, &local_ft), 1);
    EXPECT_EQ(to_timet(local_ft), ::_mkgmtime64(&local));
  }
}

// Two calls within one tick give the number that the tick's seed gives first.
TEST(Clock, RandomNumberIsSeededByTheTickAtEachCall) {
  int agreed = 0;
  for (int tries = 0; tries < 1000 && agreed < 3; ++tries) {
    const DWORD tick = ::GetTickCount();
    const int32_t a = ruvo_rand_by_time(), b = ruvo_rand_by_time();
    std::srand(tick);
    if (::GetTickCount() == tick) agreed += a == std::rand() && b == a ? 1 : 100;
  }
  EXPECT_EQ(agreed, 3);
}

TEST(Clock, TickCountStartsAtBoot) {
  if (ruvo_test::under_wine()) {
    GTEST_SKIP() << "Wine: the kernel's boot time is the wineserver's start, not the host's";
  }
  EXPECT_NEAR(static_cast<double>(ruvo_time_get_tick_cout()),
              static_cast<double>(::GetTickCount64()), 60000.0);
}

// Readings taken in turn by four threads never go back; then the three clocks across one sleep.
TEST(Clock, ClocksNeverGoBackwardsAcrossThreadsAndMeasureSleeps) {
  ruvo_test::watchdog dog("clock readings", 30);
  std::mutex turn;
  uint64_t last_tick = 0, last_us = 0;
  int backwards = 0;
  ruvo_test::run_threads(4, [&](int) {
    for (int n = 0; n < 5000; ++n) {
      std::lock_guard<std::mutex> lock(turn);
      const uint64_t tick = ruvo_time_get_tick_cout(), us = ruvo_uclock();
      backwards += tick == 0 || us == 0 || tick < last_tick || us < last_us;
      last_tick = tick;
      last_us = us;
    }
  });
  EXPECT_EQ(backwards, 0);

  ruvo_timeval_st tv0{}, tv1{};
  const uint64_t t0 = ruvo_mclock(), u0 = ruvo_uclock();
  ruvo_gettimeofday(&tv0);
  ruvo_msleep(200);
  const uint64_t t1 = ruvo_time_get_tick_cout(), u1 = ruvo_uclock();
  ruvo_gettimeofday(&tv1);
  const int64_t wall_us = (tv1.sec - tv0.sec) * 1000000 + tv1.usec - tv0.usec;
  EXPECT_TRUE(t1 - t0 >= 190 && t1 - t0 < 2000) << t1 - t0;
  EXPECT_TRUE(u1 - u0 >= 190000 && u1 - u0 < 2000000) << u1 - u0;
  EXPECT_TRUE(wall_us >= 150000 && wall_us < 2000000 && tv1.usec < 1000000) << wall_us;
  EXPECT_NEAR(static_cast<double>(ruvo_time()), static_cast<double>(std::time(nullptr)), 1.0);
}

}  // namespace
