/**
 * \file
 * ruvo/base/timer.h - one-shot timers that fire on the thread that started
 * them, inside its ruvo_bstimer_poll_once.
 *
 * Each thread has its own heap of timers, ordered by due time on the tick
 * count of clock.h, and made on the thread's first timer call. Nothing is
 * locked and no thread of the library is involved: a callback runs only
 * while its thread polls, never beside that thread's other code. All calls
 * act on the calling thread's timers; a timer handle is for its own thread
 * only. Due times further than about 24.8 days apart do not compare
 * reliably. Heaps and their timers stay when a thread ends, and never fire.
 */
#ifndef RUVO_BASE_TIMER_H
#define RUVO_BASE_TIMER_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/** A one-shot timer; its layout stays inside the library. */
typedef struct ruvo_bstimer_st ruvo_bstimer_st;

/** Called once when the timer is due, with the timer and its userdata. The
 * result is not used. The handle is freed when the callback returns. */
typedef int32_t (*ruvo_bstimer_fn)(ruvo_bstimer_st *timer, void *userdata);

/** Makes the calling thread's timer heap if it has none; optional, since
 * every other call does the same. */
RUVO_API void ruvo_bstimer_init(void) RUVO_NOEXCEPT;

/** A timer due `timeout_ms` from now (0: at the next poll) that will call
 * fn(timer, userdata), or null when the thread's heap cannot be had or
 * cannot grow. A null `fn` is allowed: the timer then only counts. The
 * handle is valid until the end of its callback, or until the poll that
 * drops it after a stop. */
RUVO_API ruvo_bstimer_st *ruvo_bstimer_start(uint32_t timeout_ms, ruvo_bstimer_fn fn,
                                             void *userdata) RUVO_NOEXCEPT;

/** Keeps the timer from firing. It stays in the heap until it is due, when a
 * poll frees it without calling it. Returns 0. Null does nothing. */
RUVO_API int32_t ruvo_bstimer_stop(ruvo_bstimer_st *timer) RUVO_NOEXCEPT;

/** The timer's userdata; null for null. */
RUVO_API void *ruvo_bstimer_get_userdata(ruvo_bstimer_st *timer) RUVO_NOEXCEPT;

/** Takes every due timer off the calling thread's heap in order of due time,
 * calls those not stopped, frees them, and returns how many it took
 * (stopped ones included). The clock is read once per call, so a timer
 * started by a callback fires in this call only if already due at that
 * reading. Callbacks may start and stop timers. */
RUVO_API uint32_t ruvo_bstimer_poll_once(void) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_TIMER_H */
