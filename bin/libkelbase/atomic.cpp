// Word-sized atomics on the compiler's sequentially consistent builtins, and
// the once-initialiser that polls on top of them.
#include "ruvo/base/atomic.h"

#include "internal/platform.hpp"

namespace {

template <class T>
T cas(volatile T *target, T new_value, T expected) noexcept {
  // On failure the builtin writes the value found into `expected`, so it
  // holds what was there either way.
  __atomic_compare_exchange_n(target, &expected, new_value, false, __ATOMIC_SEQ_CST,
                              __ATOMIC_SEQ_CST);
  return expected;
}

// How long a caller waits for another thread's initialiser: 50 polls 100 ms
// apart, so that a hung initialiser cannot hold its waiters for ever.
constexpr int kOncePolls = 50;
constexpr uint32_t kOncePollMs = 100;

}  // namespace

extern "C" {

RUVO_API uint32_t ruvo_atomic32_add_and_fetch(volatile uint32_t *target, int32_t addend) noexcept {
  return __atomic_add_fetch(target, static_cast<uint32_t>(addend), __ATOMIC_SEQ_CST);
}

RUVO_API uint64_t ruvo_atomic64_add_and_fetch(volatile uint64_t *target, int64_t addend) noexcept {
  return __atomic_add_fetch(target, static_cast<uint64_t>(addend), __ATOMIC_SEQ_CST);
}

RUVO_API uint32_t ruvo_atomic32_cmp_and_swap(volatile uint32_t *target, uint32_t new_value,
                                             uint32_t expected) noexcept {
  return cas(target, new_value, expected);
}

RUVO_API uint64_t ruvo_atomic64_cmp_and_swap(volatile uint64_t *target, uint64_t new_value,
                                             uint64_t expected) noexcept {
  return cas(target, new_value, expected);
}

RUVO_API void *ruvo_atomic_cmp_and_swap_ptr(void *volatile *target, void *new_value,
                                            void *expected) noexcept {
  return cas(target, new_value, expected);
}

// A locked compare-and-swap rather than a plain load: it is a full barrier,
// which callers written against the interlocked calls count on.
RUVO_API uint32_t ruvo_atomic32_get(volatile uint32_t *target) noexcept {
  return cas<uint32_t>(target, 0, 0);
}

RUVO_API uint64_t ruvo_atomic64_get(volatile uint64_t *target) noexcept {
  return cas<uint64_t>(target, 0, 0);
}

RUVO_API uint32_t ruvo_atomic32_set(volatile uint32_t *target, uint32_t value) noexcept {
  return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}

RUVO_API uint64_t ruvo_atomic64_set(volatile uint64_t *target, uint64_t value) noexcept {
  return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}

RUVO_API int32_t ruvo_singleton_once(volatile int32_t *state, void *object,
                                     ruvo_singleton_init_fn init, void *arg) noexcept {
  if (state == nullptr || object == nullptr) return 0;

  const int32_t found = cas<int32_t>(state, RUVO_SINGLETON_RUNNING, RUVO_SINGLETON_IDLE);
  if (found == RUVO_SINGLETON_IDLE) {
    if (init == nullptr) return 0;  // the word stays RUNNING: nobody can finish it
    const bool ok = init(object, arg) != 0;
    __atomic_store_n(state, ok ? RUVO_SINGLETON_DONE : RUVO_SINGLETON_FAILED, __ATOMIC_SEQ_CST);
    return ok ? 1 : 0;
  }
  if (found == RUVO_SINGLETON_RUNNING) {
    // Polling keeps the word a plain int that callers zero statically; no
    // event has to be made, or freed, for a race that happens once.
    int32_t now = found;
    for (int polls = 0; polls < kOncePolls && now == RUVO_SINGLETON_RUNNING; ++polls) {
      ruvo::sys::sleep_ms(kOncePollMs);
      now = __atomic_load_n(state, __ATOMIC_SEQ_CST);
    }
    return now == RUVO_SINGLETON_DONE ? 1 : 0;
  }
  return found == RUVO_SINGLETON_FAILED ? 0 : 1;
}

}  // extern "C"
