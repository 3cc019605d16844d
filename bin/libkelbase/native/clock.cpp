// The clocks and sleeps of clock.h on Linux, on clock_gettime, so that the
// families resting on the tick count (timers, keepalive) run natively under
// the sanitizers. Boot time counts time spent suspended, as Windows' does.
#include <ctime>

#include "internal/platform.hpp"
#include "ruvo/base/clock.h"

namespace {

bool read_clock(clockid_t id, timespec *ts) noexcept { return ::clock_gettime(id, ts) == 0; }

}  // namespace

extern "C" {

RUVO_API uint64_t ruvo_time_get_tick_cout(void) noexcept {
  timespec ts;
  if (!read_clock(CLOCK_BOOTTIME, &ts)) return 0;
  return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
}

RUVO_API uint64_t ruvo_mclock(void) noexcept { return ruvo_time_get_tick_cout(); }

RUVO_API uint64_t ruvo_uclock(void) noexcept {
  timespec ts;
  if (!read_clock(CLOCK_MONOTONIC, &ts)) return 0;
  return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

RUVO_API int32_t ruvo_gettimeofday(ruvo_timeval_st *tv) noexcept {
  if (tv == nullptr) return 1;
  timespec ts{};
  read_clock(CLOCK_REALTIME, &ts);
  tv->sec = ts.tv_sec;
  tv->usec = ts.tv_nsec / 1000;
  return 1;
}

RUVO_API int64_t ruvo_time(void) noexcept {
  ruvo_timeval_st tv{};
  ruvo_gettimeofday(&tv);
  return tv.sec;
}

RUVO_API void ruvo_sleep(uint32_t seconds) noexcept { ruvo::sys::sleep_ms(seconds * 1000); }

RUVO_API void ruvo_msleep(uint32_t milliseconds) noexcept { ruvo::sys::sleep_ms(milliseconds); }

}  // extern "C"
