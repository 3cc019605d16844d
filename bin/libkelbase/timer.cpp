// One-shot timers on a per-thread binary heap, kept in a thread-local slot
// that makes the heap on first use. Ordered by the tick count; no locks,
// because a heap is only ever touched by its own thread.
#include <atomic>
#include <cstdlib>

#include "internal/platform.hpp"
#include "ruvo/base/clock.h"
#include "ruvo/base/heap.h"
#include "ruvo/base/memory.h"
#include "ruvo/base/thread.h"
#include "ruvo/base/timer.h"

struct ruvo_bstimer_st {
  ruvo_bstimer_fn fn;  // null: the timer only counts
  void *userdata;      // the caller's
  uint32_t stopped;    // 1 after ruvo_bstimer_stop
  uint64_t expiry;     // tick count at which it is due
};

namespace {

// One key for the whole process; each thread's value is its heap.
ruvo_tls_key_st *g_heap_key = nullptr;

// The heap keeps the low 32 bits of the difference, read as signed, so two
// due times compare correctly while they lie within 2^31 ms of each other.
int32_t bstimer_cmp(void *a, void *b) {
  const auto *x = static_cast<ruvo_bstimer_st *>(a);
  const auto *y = static_cast<ruvo_bstimer_st *>(b);
  return static_cast<int32_t>(static_cast<uint32_t>(x->expiry - y->expiry));
}

void *bstimer_heap_create() { return ruvo_heap_create(bstimer_cmp, 0); }

// Only for a heap that was made and could not be stored: its timers are
// dropped without being called.
void bstimer_heap_destroy(void *value) {
  auto *heap = static_cast<ruvo_heap_st *>(value);
  void *timer = nullptr;
  while (ruvo_heap_pop(heap, &timer) == 0) std::free(timer);
  ruvo_heap_destroy(heap);
}

// ruvo_tls_auto_get does not guard the first making of a key, and threads
// may start their first timers at the same moment; the key is therefore
// published by compare-and-swap, and a thread that loses frees its own.
// Once set it never changes, so later polls pay only a plain load.
ruvo_heap_st *thread_heap() noexcept {
  std::atomic_ref<ruvo_tls_key_st *> published(g_heap_key);
  if (published.load(std::memory_order_acquire) == nullptr) {
    ruvo_tls_key_st *key = ruvo_tls_alloc();
    ruvo_tls_key_st *none = nullptr;
    if (key != nullptr && !published.compare_exchange_strong(none, key)) ruvo_tls_free(key);
  }
  auto *heap = static_cast<ruvo_heap_st *>(
      ruvo_tls_auto_get(&g_heap_key, bstimer_heap_create, bstimer_heap_destroy));
  if (heap == nullptr) {
    RUVO_LOG(RUVO_LOG_WARN, "warn",
             "expr[timeout_heap] false! get tls timeout_heap fail! err[%x]\n",
             static_cast<unsigned>(ruvo::sys::last_error()));
  }
  return heap;
}

}  // namespace

extern "C" {

RUVO_API void ruvo_bstimer_init(void) noexcept {
  ruvo_heap_st *heap = thread_heap();
  if (heap != nullptr) {
    RUVO_LOG(RUVO_LOG_DEBUG, "debug", "timer heap[%p] init fin!\n", static_cast<void *>(heap));
  }
}

RUVO_API ruvo_bstimer_st *ruvo_bstimer_start(uint32_t timeout_ms, ruvo_bstimer_fn fn,
                                             void *userdata) noexcept {
  ruvo_heap_st *heap = thread_heap();
  if (heap == nullptr) return nullptr;
  auto *timer = static_cast<ruvo_bstimer_st *>(ruvo_malloc(sizeof(ruvo_bstimer_st)));
  timer->fn = fn;
  timer->userdata = userdata;
  timer->stopped = 0;
  timer->expiry = ruvo_time_get_tick_cout() + timeout_ms;
  // A heap that cannot grow leaves it as it was; a timer the caller holds
  // but that can never fire would be worse than none.
  if (ruvo_heap_push(heap, timer) != 0) {
    std::free(timer);
    return nullptr;
  }
  return timer;
}

// A plain store: only the owning thread stops its timers, and the flag is
// read by that thread's own poll.
RUVO_API int32_t ruvo_bstimer_stop(ruvo_bstimer_st *timer) noexcept {
  if (timer != nullptr) timer->stopped = 1;
  return 0;
}

RUVO_API void *ruvo_bstimer_get_userdata(ruvo_bstimer_st *timer) noexcept {
  return timer != nullptr ? timer->userdata : nullptr;
}

RUVO_API uint32_t ruvo_bstimer_poll_once(void) noexcept {
  ruvo_heap_st *heap = thread_heap();
  if (heap == nullptr || heap->count == 0) return 0;
  // One reading for the whole call: a callback that starts a timer of 0 ms
  // cannot keep this loop going for ever.
  const uint64_t now = ruvo_time_get_tick_cout();
  uint32_t taken = 0;
  while (heap->count != 0) {
    auto *timer = static_cast<ruvo_bstimer_st *>(heap->items[0]);
    if (static_cast<int64_t>(now - timer->expiry) < 0) break;
    ruvo_heap_pop(heap, nullptr);
    // Off the heap before the call, so the callback may start or stop
    // other timers freely.
    if (timer->stopped == 0 && timer->fn != nullptr) timer->fn(timer, timer->userdata);
    std::free(timer);
    ++taken;
  }
  return taken;
}

}  // extern "C"
