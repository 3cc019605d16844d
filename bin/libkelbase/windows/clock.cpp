// Clocks and time conversion, over NtQuerySystemInformation, the performance
// counter, GetSystemTimeAsFileTime and msvcrt's 64-bit time calls.
#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <ctime>

#include "ruvo/base/clock.h"

namespace {

// 100-nanosecond intervals from 1601-01-01 to 1970-01-01, and per second.
constexpr int64_t kEpochDelta = 116444736000000000LL;
constexpr int64_t kIntervalsPerSecond = 10000000LL;

using query_system_information_fn = LONG(WINAPI *)(ULONG, PVOID, ULONG, PULONG);

// Looked up without a lock: racing threads store the same address.
std::atomic<query_system_information_fn> g_query{nullptr};

constexpr ULONG kSystemTimeOfDayInformation = 3;

// What class 3 fills in; only the first two members are read.
struct time_of_day {
  int64_t boot_time;     // 100 ns since 1601, when the system started
  int64_t current_time;  // 100 ns since 1601, now
  int64_t time_zone_bias;
  uint32_t time_zone_id;
  uint32_t reserved;
};
static_assert(sizeof(time_of_day) == 32);

// msvcrt's broken-down local time, as the conversions below need it.
// Returns _localtime64_s's error number.
errno_t local_tm(int64_t t, std::tm *out) noexcept {
  const __time64_t value = t;
  return ::_localtime64_s(out, &value);
}

}  // namespace

extern "C" {

RUVO_API uint64_t ruvo_time_get_tick_cout(void) noexcept {
  query_system_information_fn query = g_query.load(std::memory_order_acquire);
  if (query == nullptr) {
    HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    if (ntdll == nullptr) return 0;
    query = reinterpret_cast<query_system_information_fn>(
        reinterpret_cast<void *>(::GetProcAddress(ntdll, "NtQuerySystemInformation")));
    if (query == nullptr) return 0;  // the next call looks again
    g_query.store(query, std::memory_order_release);
  }
  time_of_day info{};
  if (query(kSystemTimeOfDayInformation, &info, sizeof info, nullptr) < 0) return 0;
  return static_cast<uint64_t>((info.current_time - info.boot_time) / 10000);
}

RUVO_API uint64_t ruvo_mclock(void) noexcept { return ruvo_time_get_tick_cout(); }

// count * 10^6 / frequency would pass 64 bits after about 21 days at 10 MHz;
// splitting off the whole seconds first keeps it exact for any uptime.
RUVO_API uint64_t ruvo_uclock(void) noexcept {
  LARGE_INTEGER frequency{}, count{};
  if (!::QueryPerformanceFrequency(&frequency) || frequency.QuadPart == 0) return 0;
  if (!::QueryPerformanceCounter(&count) || count.QuadPart == 0) return 0;
  const auto f = static_cast<uint64_t>(frequency.QuadPart);
  const auto c = static_cast<uint64_t>(count.QuadPart);
  return c / f * 1000000u + c % f * 1000000u / f;
}

RUVO_API int32_t ruvo_gettimeofday(ruvo_timeval_st *tv) noexcept {
  if (tv == nullptr) return 1;
  FILETIME ft;
  ::GetSystemTimeAsFileTime(&ft);
  const uint64_t t = (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
  tv->sec = static_cast<int64_t>((t - kEpochDelta) / kIntervalsPerSecond);
  tv->usec = static_cast<int64_t>(t / 10 % 1000000);
  return 1;
}

RUVO_API int64_t ruvo_time(void) noexcept {
  ruvo_timeval_st tv{};
  if (ruvo_gettimeofday(&tv) == 0) return -1;
  return tv.sec;
}

RUVO_API void ruvo_sleep(uint32_t seconds) noexcept { ::Sleep(seconds * 1000); }

RUVO_API void ruvo_msleep(uint32_t milliseconds) noexcept { ::Sleep(milliseconds); }

RUVO_API int32_t ruvo_filetime_to_timet(FILETIME ft, int64_t *out) noexcept {
  if (out == nullptr) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const auto t = static_cast<int64_t>((static_cast<uint64_t>(ft.dwHighDateTime) << 32) |
                                      ft.dwLowDateTime);
  *out = (t - kEpochDelta) / kIntervalsPerSecond;  // C++ division rounds towards zero
  return 1;
}

RUVO_API int32_t ruvo_timet_to_systime(int64_t t, SYSTEMTIME *out) noexcept {
  if (out == nullptr) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  std::tm tm{};
  if (local_tm(t, &tm) != 0) {
    ::SetLastError(ERROR_FUNCTION_FAILED);  // 1627
    return 0;
  }
  out->wYear = static_cast<WORD>(tm.tm_year + 1900);
  out->wMonth = static_cast<WORD>(tm.tm_mon + 1);
  out->wDayOfWeek = static_cast<WORD>(tm.tm_wday);
  out->wDay = static_cast<WORD>(tm.tm_mday);
  out->wHour = static_cast<WORD>(tm.tm_hour);
  out->wMinute = static_cast<WORD>(tm.tm_min);
  out->wSecond = static_cast<WORD>(tm.tm_sec);
  out->wMilliseconds = 0;
  return 1;
}

// SystemTimeToFileTime takes the local broken-down time as it is, so the
// file time holds local time; callers that want UTC use their own offset.
RUVO_API int32_t ruvo_timet_to_filetime(int64_t t, FILETIME *out) noexcept {
  if (out == nullptr) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  SYSTEMTIME st;
  if (!ruvo_timet_to_systime(t, &st)) return 0;
  return ::SystemTimeToFileTime(&st, out) ? 1 : 0;
}

RUVO_API uint32_t ruvo_time_stamp_to_local(struct tm *out, const int64_t *t) noexcept {
  if (out == nullptr || t == nullptr || *t < 0) return RUVO_E_INVAL;
  return static_cast<uint32_t>(local_tm(*t, out));
}

RUVO_API int32_t ruvo_rand_by_time(void) noexcept {
  std::srand(::GetTickCount());
  return std::rand();
}

}  // extern "C"
