// Clocks and time conversion, checked against the platform's own
// conversions over random instants, and the clocks read from several
// threads at once.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ctime>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "ruvo/base/clock.h"
#include "support/support.hpp"

namespace {

constexpr int64_t kEpoch = 116444736000000000LL;
// msvcrt breaks down nothing after 3000-12-31 23:59:59.
constexpr int64_t kLastBreakable = 32535215999LL;

FILETIME filetime(int64_t intervals) {
  FILETIME ft;
  ft.dwLowDateTime = static_cast<DWORD>(intervals);
  ft.dwHighDateTime = static_cast<DWORD>(static_cast<uint64_t>(intervals) >> 32);
  return ft;
}
int64_t intervals(const FILETIME &ft) {
  return static_cast<int64_t>((static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime);
}

TEST(Clock, FileTimeToTimetRoundsTowardsZero) {
  const struct {
    int64_t offset;
    int64_t seconds;
  } table[] = {{0, 0},          {9999999, 0},         {10000000, 1}, {-10000000, -1},
               {-9999999, 0},   {-10000001, -1},      {19999999, 1}, {-20000000, -2},
               {10000000LL * 86400 * 365, 86400 * 365}};
  for (const auto &row : table) {
    int64_t t = 12345;
    ASSERT_EQ(ruvo_filetime_to_timet(filetime(kEpoch + row.offset), &t), 1);
    EXPECT_EQ(t, row.seconds) << row.offset;
  }
  ::SetLastError(0);
  EXPECT_EQ(ruvo_filetime_to_timet(filetime(kEpoch), nullptr), 0);
  EXPECT_EQ(::GetLastError(), 87u);
}

// Every conversion of one random instant, against FileTimeToSystemTime,
// _localtime64_s, _mkgmtime64 and gmtime.
TEST(Clock, ConversionsAgreeWithThePlatformOverRandomInstants) {
  std::mt19937_64 rng(0x5EED);
  std::uniform_int_distribution<int64_t> instant(0, kLastBreakable);
  std::uniform_int_distribution<int64_t> fraction(0, 9999999);
  for (int i = 0; i < 3000; ++i) {
    const int64_t t = i == 0 ? 0 : i == 1 ? kLastBreakable : instant(rng);
    SCOPED_TRACE(t);
    const FILETIME utc = filetime(kEpoch + t * 10000000 + fraction(rng));

    int64_t back = -1;
    ASSERT_EQ(ruvo_filetime_to_timet(utc, &back), 1);
    EXPECT_EQ(back, t);

    const __time64_t t64 = t;
    std::tm local{};
    ASSERT_EQ(::_localtime64_s(&local, &t64), 0);
    std::tm ours{};
    ASSERT_EQ(ruvo_time_stamp_to_local(&ours, &t), 0u);
    EXPECT_EQ(std::memcmp(&ours, &local, sizeof ours), 0);

    SYSTEMTIME st;
    std::memset(&st, 0xCC, sizeof st);
    ASSERT_EQ(ruvo_timet_to_systime(t, &st), 1);
    EXPECT_EQ(st.wYear, local.tm_year + 1900);
    EXPECT_EQ(st.wMonth, local.tm_mon + 1);
    EXPECT_EQ(st.wDay, local.tm_mday);
    EXPECT_EQ(st.wDayOfWeek, local.tm_wday);
    EXPECT_EQ(st.wHour, local.tm_hour);
    EXPECT_EQ(st.wMinute, local.tm_min);
    EXPECT_EQ(st.wSecond, local.tm_sec);
    EXPECT_EQ(st.wMilliseconds, 0);

    // The file time holds local time: read back as if UTC it is the local
    // wall clock of t, whatever the zone.
    FILETIME local_ft{};
    ASSERT_EQ(ruvo_timet_to_filetime(t, &local_ft), 1);
    ASSERT_EQ(ruvo_filetime_to_timet(local_ft, &back), 1);
    EXPECT_EQ(back, ::_mkgmtime64(&local));

    // And the platform agrees with gmtime on what the UTC file time says.
    SYSTEMTIME platform;
    ASSERT_TRUE(::FileTimeToSystemTime(&utc, &platform));
    const std::tm *gm = ::_gmtime64(&t64);
    ASSERT_NE(gm, nullptr);
    EXPECT_EQ(platform.wYear, gm->tm_year + 1900);
    EXPECT_EQ(platform.wMonth, gm->tm_mon + 1);
    EXPECT_EQ(platform.wDay, gm->tm_mday);
    EXPECT_EQ(platform.wHour * 3600 + platform.wMinute * 60 + platform.wSecond,
              gm->tm_hour * 3600 + gm->tm_min * 60 + gm->tm_sec);
  }
}

TEST(Clock, BadArgumentsAndUnbreakableTimes) {
  EXPECT_EQ(ruvo_gettimeofday(nullptr), 1);

  std::tm untouched{};
  untouched.tm_year = 77;
  const int64_t minus_one = -1;
  EXPECT_EQ(ruvo_time_stamp_to_local(&untouched, &minus_one), RUVO_E_INVAL);
  EXPECT_EQ(untouched.tm_year, 77);
  const int64_t zero = 0;
  EXPECT_EQ(ruvo_time_stamp_to_local(nullptr, &zero), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_time_stamp_to_local(&untouched, nullptr), RUVO_E_INVAL);

  ::SetLastError(0);
  EXPECT_EQ(ruvo_timet_to_systime(0, nullptr), 0);
  EXPECT_EQ(::GetLastError(), 87u);
  ::SetLastError(0);
  EXPECT_EQ(ruvo_timet_to_filetime(0, nullptr), 0);
  EXPECT_EQ(::GetLastError(), 87u);

  SYSTEMTIME st{};
  FILETIME ft{};
  // Years 1969 and 5138: before and after what msvcrt breaks down.
  for (const int64_t bad : {int64_t{-1}, int64_t{100000000000}}) {
    ::SetLastError(0);
    EXPECT_EQ(ruvo_timet_to_systime(bad, &st), 0) << bad;
    EXPECT_EQ(::GetLastError(), 1627u);
    ::SetLastError(0);
    EXPECT_EQ(ruvo_timet_to_filetime(bad, &ft), 0) << bad;
    EXPECT_EQ(::GetLastError(), 1627u);
    std::tm tm{};
    EXPECT_NE(ruvo_time_stamp_to_local(&tm, &bad), 0u);
  }
}

TEST(Clock, WallClockIsThePlatformsAndSplitsIntoMicroseconds) {
  FILETIME before, after;
  ruvo_timeval_st tv{-1, -1};
  ::GetSystemTimeAsFileTime(&before);
  ASSERT_EQ(ruvo_gettimeofday(&tv), 1);
  ::GetSystemTimeAsFileTime(&after);
  const int64_t us = tv.sec * 1000000 + tv.usec;
  EXPECT_GE(us, (intervals(before) - kEpoch) / 10);
  EXPECT_LE(us, (intervals(after) - kEpoch) / 10);
  EXPECT_GE(tv.usec, 0);
  EXPECT_LT(tv.usec, 1000000);
  const int64_t now = ruvo_time();
  EXPECT_GE(now, tv.sec);
  EXPECT_LE(now, static_cast<int64_t>(std::time(nullptr)) + 1);
}

// Readings taken in turn under one lock, by four threads: each must be at
// least the one before it, whoever took that.
TEST(Clock, TickAndMicrosecondClocksNeverGoBackwardsAcrossThreads) {
  ruvo_test::watchdog dog("clock readings", 30);
  std::mutex turn;
  uint64_t last_tick = 0, last_us = 0;
  int backwards = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 5000; ++n) {
        std::lock_guard<std::mutex> lock(turn);
        const uint64_t tick = ruvo_time_get_tick_cout();
        const uint64_t us = ruvo_uclock();
        if (tick == 0 || us == 0 || tick < last_tick || us < last_us) ++backwards;
        last_tick = tick;
        last_us = us;
      }
    });
  }
  for (auto &th : threads) th.join();
  EXPECT_EQ(backwards, 0);

  const uint64_t m0 = ruvo_mclock(), t0 = ruvo_time_get_tick_cout(), u0 = ruvo_uclock();
  EXPECT_LE(t0 - m0, 1u);
  ruvo_msleep(200);
  const uint64_t t1 = ruvo_time_get_tick_cout(), u1 = ruvo_uclock();
  EXPECT_GE(t1 - t0, 190u);
  EXPECT_LT(t1 - t0, 1000u);
  EXPECT_GE(u1 - u0, 190000u);
  EXPECT_LT(u1 - u0, 1000000u);
  ruvo_sleep(1);
  EXPECT_GE(ruvo_time_get_tick_cout() - t1, 990u);
}

TEST(Clock, RandomNumbersRepeatWithinOneMillisecond) {
  for (int attempt = 0; attempt < 1000; ++attempt) {
    const DWORD before = ::GetTickCount();
    const int32_t a = ruvo_rand_by_time();
    const int32_t b = ruvo_rand_by_time();
    if (::GetTickCount() != before) continue;
    std::srand(before);
    EXPECT_EQ(a, std::rand());
    EXPECT_EQ(a, b);
    return;
  }
  FAIL() << "never two calls within one millisecond";
}

}  // namespace
