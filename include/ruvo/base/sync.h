/**
 * \file
 * ruvo/base/sync.h - in-process locks: a recursive mutex, a condition
 * variable built from two mutexes, a semaphore and an event, an event built
 * on that condition variable, and a semaphore whose count can be read.
 *
 * Nothing here is named or shared between processes. Results are 0 or a
 * status of defs.h; time-outs are in milliseconds. Where locks nest the
 * order is the caller's mutex, then a condition variable's `outer`, then its
 * `inner`. The mutex also exists in the Linux build, on a recursive pthread
 * mutex; the rest is Windows only.
 */
#ifndef RUVO_BASE_SYNC_H
#define RUVO_BASE_SYNC_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/** A recursive mutex: the platform's critical section, opaque. The holder may
 * lock it again and unlocks it as often as it locked it. */
typedef struct ruvo_mutex_st ruvo_mutex_st;

/** Makes a mutex in *out. 0; RUVO_E_INVAL for a null `out`; RUVO_E_NOMEM. */
RUVO_API uint32_t ruvo_mutex_init(ruvo_mutex_st **out) RUVO_NOEXCEPT;
/** Frees a mutex nobody holds. Null does nothing. */
RUVO_API void ruvo_mutex_destroy(ruvo_mutex_st *m) RUVO_NOEXCEPT;
/**@{*/
/** Lock and unlock; `m` must not be null. */
RUVO_API void ruvo_mutex_lock(ruvo_mutex_st *m) RUVO_NOEXCEPT;
RUVO_API void ruvo_mutex_unlock(ruvo_mutex_st *m) RUVO_NOEXCEPT;
/**@}*/
/** 0 when taken (also by the holder, again), RUVO_E_FAIL when another thread
 * holds it, RUVO_E_INVAL for null. */
RUVO_API uint32_t ruvo_mutex_trylock(ruvo_mutex_st *m) RUVO_NOEXCEPT;

#if defined(_WIN32)

/** The condition variable. Layout is part of the interface; callers read
 * nothing and change nothing. */
typedef struct ruvo_cond_st {
  ruvo_mutex_st *outer; /**< serialises registration against signal and broadcast */
  ruvo_mutex_st *inner; /**< guards the two words below */
  int32_t waiters;      /**< threads registered and not back from their wait */
  void *wake_sem;       /**< semaphore, one permit per wake */
  void *ack_event;      /**< manual-reset event: the woken thread is through */
  int32_t broadcasting; /**< 1 while a broadcast hands over */
} ruvo_cond_st;

/** The event. Layout is part of the interface; callers change nothing. */
typedef struct ruvo_event_st {
  ruvo_cond_st *cond;    /**< the condition variable that waiters wait on */
  ruvo_mutex_st *mutex;  /**< guards `signalled` */
  uint32_t signalled;    /**< 0 or 1 */
  uint32_t manual_reset; /**< non-zero: stays set until ruvo_event_reset */
} ruvo_event_st;

/** The semaphore, with at most 65536 permits. Layout is part of the
 * interface; callers change nothing. */
typedef struct ruvo_semaphore_st {
  void *handle;  /**< platform semaphore; null or all ones when invalid */
  int64_t count; /**< readable count, kept beside the platform's */
} ruvo_semaphore_st;

/** Makes a condition variable in *out. 0; RUVO_E_INVAL for a null `out`;
 * RUVO_E_NOMEM; or the platform's error, with nothing left behind. */
RUVO_API uint32_t ruvo_cond_init(ruvo_cond_st **out) RUVO_NOEXCEPT;
/** Frees one nobody waits on. Null does nothing. */
RUVO_API void ruvo_cond_destroy(ruvo_cond_st *c) RUVO_NOEXCEPT;

/**@{*/
/** Wakes one waiter, or every registered waiter, and returns only when the
 * woken thread (the last of them) has come through, so they block. With
 * nobody waiting nothing is remembered. The caller may hold the mutex the
 * waiters use. 0; RUVO_E_INVAL for null. */
RUVO_API uint32_t ruvo_cond_signal(ruvo_cond_st *c) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_cond_broadcast(ruvo_cond_st *c) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Releases `m` (held by the caller), waits for a wake at most `milliseconds`
 * (the low 32 bits count; 0xFFFFFFFF waits for ever) and takes `m` again.
 * 0 when woken, RUVO_E_TIMEOUT otherwise; RUVO_E_INVAL for a null argument,
 * with `m` untouched. A wake may be stale: test the predicate again. */
RUVO_API uint32_t ruvo_cond_timedwait(ruvo_cond_st *c, ruvo_mutex_st *m,
                                      uint64_t milliseconds) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_cond_wait(ruvo_cond_st *c, ruvo_mutex_st *m) RUVO_NOEXCEPT;
/**@}*/

/** Makes an event in *out, set when `initial_state` is non-zero, resetting
 * itself after each wait that sees it unless `manual_reset` is non-zero.
 * 0; RUVO_E_INVAL for a null `out`; the failing lock's code. */
RUVO_API uint32_t ruvo_event_init(ruvo_event_st **out, uint32_t initial_state,
                                  uint32_t manual_reset) RUVO_NOEXCEPT;
/** Null does nothing, for all three. */
RUVO_API void ruvo_event_destroy(ruvo_event_st *e) RUVO_NOEXCEPT;
/**@{*/
/** Sets the event and wakes every waiter; with automatic reset one of them
 * takes it and the others wait on. */
RUVO_API void ruvo_event_set(ruvo_event_st *e) RUVO_NOEXCEPT;
RUVO_API void ruvo_event_reset(ruvo_event_st *e) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** 0 when the event was seen set (and taken, with automatic reset);
 * RUVO_E_TIMEOUT when a wait ran out, each wake starting the time-out anew;
 * RUVO_E_INVAL for a null or broken event. 0xFFFFFFFF waits for ever. */
RUVO_API uint32_t ruvo_event_timedwait(ruvo_event_st *e, uint64_t milliseconds) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_event_wait(ruvo_event_st *e) RUVO_NOEXCEPT;
/**@}*/

/** A semaphore with `initial` permits, or null when `initial` is above 65536
 * or it cannot be made. */
RUVO_API ruvo_semaphore_st *ruvo_semaphore_init(uint32_t initial) RUVO_NOEXCEPT;
/** Null does nothing. */
RUVO_API void ruvo_semaphore_destroy(ruvo_semaphore_st *s) RUVO_NOEXCEPT;

/** Adds `n` permits. 0; RUVO_E_FAIL for a null or invalid semaphore, an `n`
 * of 0, or when the count would pass 65536 (nothing is added then). */
RUVO_API uint32_t ruvo_semaphore_post(ruvo_semaphore_st *s, int32_t n) RUVO_NOEXCEPT;

/** Takes one permit, waiting at most `milliseconds` (negative: for ever).
 * 0; RUVO_E_TIMEOUT; RUVO_E_FAIL for a null or invalid semaphore, a failed
 * wait, or a readable count below 1. In that last case the permit is used
 * all the same: racing posts can leave the readable count low for a moment,
 * so under concurrency RUVO_E_FAIL does not mean that nothing was taken. */
RUVO_API uint32_t ruvo_semaphore_wait(ruvo_semaphore_st *s, int64_t milliseconds) RUVO_NOEXCEPT;

/** The readable count; 0xFFFFFFFF for null. It follows the platform's count
 * but may read high while posts and waits race, until the next post; it is
 * for information, not a promise that a wait succeeds. */
RUVO_API uint32_t ruvo_semaphore_value(ruvo_semaphore_st *s) RUVO_NOEXCEPT;

#endif /* _WIN32 */

RUVO_END_DECLS

#endif /* RUVO_BASE_SYNC_H */
