/**
 * \file
 * ruvo/base/clock.h - clocks, sleeps and conversions between the platform's
 * time records and the C library's.
 *
 * Three clocks: milliseconds since boot (the time base of the timers, the
 * keepalive objects and the auto log), microseconds of the performance
 * counter for short measurements, and the wall clock. The clocks report
 * failure as 0; the conversions give 1, or 0 with the reason in the last
 * error (87 for a null out pointer, 1627 for a time that cannot be broken
 * down). Times in seconds are 64-bit signed, as the platform's time_t is.
 *
 * FILETIME and SYSTEMTIME are the platform's records; they are named by their
 * structure tags here so that this header does not need <windows.h>. The
 * clocks and sleeps also exist in the Linux build, on clock_gettime, for the
 * families that rest on them; the conversions are Windows only.
 */
#ifndef RUVO_BASE_CLOCK_H
#define RUVO_BASE_CLOCK_H

#include <time.h>

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/** Wall-clock time. Layout is part of the interface. */
typedef struct ruvo_timeval_st {
  int64_t sec;  /**< seconds since 1970-01-01 00:00:00 UTC */
  int64_t usec; /**< microseconds within the second, 0 to 999999 */
} ruvo_timeval_st;

/**@{*/
/** Milliseconds since the system booted, taken from the kernel's boot time
 * and current time; 0 on failure. ruvo_mclock gives the same value. */
RUVO_API uint64_t ruvo_time_get_tick_cout(void) RUVO_NOEXCEPT;
RUVO_API uint64_t ruvo_mclock(void) RUVO_NOEXCEPT;
/**@}*/

/** Microseconds of the performance counter; 0 on failure. */
RUVO_API uint64_t ruvo_uclock(void) RUVO_NOEXCEPT;

/** Fills *tv with the wall clock. Returns 1, always; null writes nothing. */
RUVO_API int32_t ruvo_gettimeofday(ruvo_timeval_st *tv) RUVO_NOEXCEPT;

/** Seconds since 1970 from the wall clock. */
RUVO_API int64_t ruvo_time(void) RUVO_NOEXCEPT;

/**@{*/
/** Sleep the calling thread for whole seconds, or for milliseconds. */
RUVO_API void ruvo_sleep(uint32_t seconds) RUVO_NOEXCEPT;
RUVO_API void ruvo_msleep(uint32_t milliseconds) RUVO_NOEXCEPT;
/**@}*/

#if defined(_WIN32)

struct _FILETIME;
struct _SYSTEMTIME;

/** Seconds since 1970 of a UTC file time, rounded towards zero. Returns 1;
 * 0 with the last error 87 when `out` is null. */
RUVO_API int32_t ruvo_filetime_to_timet(struct _FILETIME ft, int64_t *out) RUVO_NOEXCEPT;

/** The local broken-down time of `t` as a SYSTEMTIME, with wMilliseconds 0.
 * Returns 1; 0 with the last error 87 for a null `out`, 1627 when the time
 * cannot be broken down. */
RUVO_API int32_t ruvo_timet_to_systime(int64_t t, struct _SYSTEMTIME *out) RUVO_NOEXCEPT;

/** As ruvo_timet_to_systime, then that SYSTEMTIME as a FILETIME. The file
 * time therefore holds local time: it is the inverse of
 * ruvo_filetime_to_timet only where local time is UTC. Returns 1; 0 on
 * failure with the reason in the last error. */
RUVO_API int32_t ruvo_timet_to_filetime(int64_t t, struct _FILETIME *out) RUVO_NOEXCEPT;

/** Breaks *t down into local time in *out. Returns 0; RUVO_E_INVAL when a
 * pointer is null or *t is negative (nothing is written then); otherwise the
 * C runtime's error number from _localtime64_s. */
RUVO_API uint32_t ruvo_time_stamp_to_local(struct tm *out, const int64_t *t) RUVO_NOEXCEPT;

/** rand() after seeding with the millisecond tick: two calls within one
 * millisecond give the same number. */
RUVO_API int32_t ruvo_rand_by_time(void) RUVO_NOEXCEPT;

#endif /* _WIN32 */

RUVO_END_DECLS

#endif /* RUVO_BASE_CLOCK_H */
