/**
 * \file
 * ruvo/base/atomic.h - word-sized atomic operations and a once-only
 * initialiser.
 *
 * Every operation is one locked instruction or its equal, sequentially
 * consistent, on a naturally aligned target.
 */
#ifndef RUVO_BASE_ATOMIC_H
#define RUVO_BASE_ATOMIC_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/**@{*/
/** The value after adding `addend`; a negative addend subtracts. */
RUVO_API uint32_t ruvo_atomic32_add_and_fetch(volatile uint32_t *target,
                                              int32_t addend) RUVO_NOEXCEPT;
RUVO_API uint64_t ruvo_atomic64_add_and_fetch(volatile uint64_t *target,
                                              int64_t addend) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Stores `new_value` when the target holds `expected`. Returns the value
 * found, which equals `expected` exactly when the store took place. Note the
 * order: the new value comes before the expected one. */
RUVO_API uint32_t ruvo_atomic32_cmp_and_swap(volatile uint32_t *target, uint32_t new_value,
                                             uint32_t expected) RUVO_NOEXCEPT;
RUVO_API uint64_t ruvo_atomic64_cmp_and_swap(volatile uint64_t *target, uint64_t new_value,
                                             uint64_t expected) RUVO_NOEXCEPT;
RUVO_API void *ruvo_atomic_cmp_and_swap_ptr(void *volatile *target, void *new_value,
                                            void *expected) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The current value, read by a compare-and-swap of 0 against 0. */
RUVO_API uint32_t ruvo_atomic32_get(volatile uint32_t *target) RUVO_NOEXCEPT;
RUVO_API uint64_t ruvo_atomic64_get(volatile uint64_t *target) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Exchanges in `value`; returns the value before. */
RUVO_API uint32_t ruvo_atomic32_set(volatile uint32_t *target, uint32_t value) RUVO_NOEXCEPT;
RUVO_API uint64_t ruvo_atomic64_set(volatile uint64_t *target, uint64_t value) RUVO_NOEXCEPT;
/**@}*/

/* ---- once-only initialisation ---- */

/**@{*/
/** States of the once word, which the caller zeroes (usually a static). */
#define RUVO_SINGLETON_IDLE    0
#define RUVO_SINGLETON_RUNNING 1
#define RUVO_SINGLETON_DONE    2
#define RUVO_SINGLETON_FAILED  (-1)
/**@}*/

/** Sets up *object; non-zero for success, 0 for failure. */
typedef int32_t (*ruvo_singleton_init_fn)(void *object, void *arg);

/** Returns 1 when `object` is ready, else 0. The first caller runs
 * init(object, arg); its result decides for good: DONE, or FAILED, which no
 * later call retries. Callers that come while it runs poll every 100 ms for
 * up to 5 s and give 0 if it has not finished by then (it carries on). 0 for
 * a null `state` or `object`; a null `init` gives 0 and leaves the word
 * RUNNING. */
RUVO_API int32_t ruvo_singleton_once(volatile int32_t *state, void *object,
                                     ruvo_singleton_init_fn init, void *arg) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_ATOMIC_H */
