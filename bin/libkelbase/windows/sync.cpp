// In-process locks: the mutex on a critical section, the condition variable
// by hand from two of those, a semaphore and a manual-reset event, the event
// on that condition variable, and a platform semaphore with a readable count.
#include <windows.h>

#include <atomic>
#include <cstdlib>

#include "handle.hpp"
#include "ruvo/base/memory.h"
#include "ruvo/base/sync.h"

struct ruvo_mutex_st {
  CRITICAL_SECTION section;
};

namespace {

constexpr DWORD kForever = 0xFFFFFFFF;
constexpr LONG kSemaphoreMax = 0x10000;
constexpr LONG kWakeSemaphoreMax = 0x7FFFFFFF;

bool valid_handle(void *h) noexcept { return h != nullptr && h != INVALID_HANDLE_VALUE; }

std::atomic_ref<int64_t> count_of(ruvo_semaphore_st *s) noexcept {
  return std::atomic_ref<int64_t>(s->count);
}

}  // namespace

extern "C" {

// ---- mutex ----

RUVO_API uint32_t ruvo_mutex_init(ruvo_mutex_st **out) noexcept {
  if (out == nullptr) return RUVO_E_INVAL;
  auto *m = static_cast<ruvo_mutex_st *>(
      ::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(ruvo_mutex_st)));
  if (m == nullptr) return RUVO_E_NOMEM;
  ::InitializeCriticalSection(&m->section);
  *out = m;
  return RUVO_OK;
}

RUVO_API void ruvo_mutex_destroy(ruvo_mutex_st *m) noexcept {
  if (m == nullptr) return;
  ::DeleteCriticalSection(&m->section);
  ::HeapFree(::GetProcessHeap(), 0, m);
}

// No null test on the hot pair: a null mutex is the caller's bug, and
// checking it here would only hide where it came from.
RUVO_API void ruvo_mutex_lock(ruvo_mutex_st *m) noexcept { ::EnterCriticalSection(&m->section); }

RUVO_API void ruvo_mutex_unlock(ruvo_mutex_st *m) noexcept { ::LeaveCriticalSection(&m->section); }

RUVO_API uint32_t ruvo_mutex_trylock(ruvo_mutex_st *m) noexcept {
  if (m == nullptr) return RUVO_E_INVAL;
  return ::TryEnterCriticalSection(&m->section) ? RUVO_OK : RUVO_E_FAIL;
}

// ---- condition variable ----

RUVO_API void ruvo_cond_destroy(ruvo_cond_st *c) noexcept {
  if (c == nullptr) return;
  ruvo::win::last_error_guard keep;  // ruvo_cond_init reports through it after a partial build
  if (c->wake_sem != nullptr) ::CloseHandle(c->wake_sem);
  if (c->ack_event != nullptr) ::CloseHandle(c->ack_event);
  ruvo_mutex_destroy(c->inner);
  ruvo_mutex_destroy(c->outer);
  ::HeapFree(::GetProcessHeap(), 0, c);
}

RUVO_API uint32_t ruvo_cond_init(ruvo_cond_st **out) noexcept {
  if (out == nullptr) return RUVO_E_INVAL;
  auto *c = static_cast<ruvo_cond_st *>(
      ::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(ruvo_cond_st)));
  if (c == nullptr) return RUVO_E_NOMEM;
  uint32_t status = ruvo_mutex_init(&c->outer);
  if (status == RUVO_OK) status = ruvo_mutex_init(&c->inner);
  if (status != RUVO_OK) {
    ruvo_cond_destroy(c);
    return status;
  }
  ruvo::win::unique_handle wake(::CreateSemaphoreA(nullptr, 0, kWakeSemaphoreMax, nullptr));
  if (!wake) {
    const DWORD error = ::GetLastError();
    ruvo_cond_destroy(c);
    return error;
  }
  ruvo::win::unique_handle ack(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!ack) {
    const DWORD error = ::GetLastError();
    ruvo_cond_destroy(c);
    return error;
  }
  c->wake_sem = wake.release();
  c->ack_event = ack.release();
  *out = c;
  return RUVO_OK;
}

RUVO_API uint32_t ruvo_cond_timedwait(ruvo_cond_st *c, ruvo_mutex_st *m,
                                      uint64_t milliseconds) noexcept {
  if (c == nullptr || m == nullptr) return RUVO_E_INVAL;

  // Registration goes through `outer` so that it cannot slip in between a
  // signaller's release and the acknowledgement it waits for.
  ruvo_mutex_lock(c->outer);
  ruvo_mutex_lock(c->inner);
  ++c->waiters;
  ruvo_mutex_unlock(c->inner);
  ruvo_mutex_unlock(c->outer);

  ruvo_mutex_unlock(m);
  const bool woken =
      ::WaitForSingleObject(c->wake_sem, static_cast<DWORD>(milliseconds)) == WAIT_OBJECT_0;

  ruvo_mutex_lock(c->inner);
  const bool acknowledge = --c->waiters == 0 || c->broadcasting == 0;
  ruvo_mutex_unlock(c->inner);
  // Before taking `m` again: the signaller may hold `m` while it waits for
  // this, so needing `m` first would close a cycle.
  if (acknowledge) ::SetEvent(c->ack_event);

  ruvo_mutex_lock(m);
  return woken ? RUVO_OK : RUVO_E_TIMEOUT;
}

RUVO_API uint32_t ruvo_cond_wait(ruvo_cond_st *c, ruvo_mutex_st *m) noexcept {
  if (c == nullptr || m == nullptr) return RUVO_E_INVAL;
  return ruvo_cond_timedwait(c, m, kForever);
}

RUVO_API uint32_t ruvo_cond_signal(ruvo_cond_st *c) noexcept {
  if (c == nullptr) return RUVO_E_INVAL;
  ruvo_mutex_lock(c->outer);
  ruvo_mutex_lock(c->inner);
  const int32_t waiters = c->waiters;
  ruvo_mutex_unlock(c->inner);
  if (waiters != 0) {
    ::ReleaseSemaphore(c->wake_sem, 1, nullptr);
    ::WaitForSingleObject(c->ack_event, INFINITE);
    ::ResetEvent(c->ack_event);
  }
  ruvo_mutex_unlock(c->outer);
  return RUVO_OK;
}

RUVO_API uint32_t ruvo_cond_broadcast(ruvo_cond_st *c) noexcept {
  if (c == nullptr) return RUVO_E_INVAL;
  ruvo_mutex_lock(c->outer);
  ruvo_mutex_lock(c->inner);
  if (c->waiters == 0) {
    ruvo_mutex_unlock(c->inner);
    ruvo_mutex_unlock(c->outer);
    return RUVO_OK;
  }
  // While `broadcasting` is set only the last woken thread acknowledges.
  c->broadcasting = 1;
  ::ReleaseSemaphore(c->wake_sem, c->waiters, nullptr);
  ruvo_mutex_unlock(c->inner);
  ::WaitForSingleObject(c->ack_event, INFINITE);
  ::ResetEvent(c->ack_event);
  c->broadcasting = 0;
  ruvo_mutex_unlock(c->outer);
  return RUVO_OK;
}

// ---- event ----

RUVO_API uint32_t ruvo_event_init(ruvo_event_st **out, uint32_t initial_state,
                                  uint32_t manual_reset) noexcept {
  if (out == nullptr) return RUVO_E_INVAL;
  auto *e = static_cast<ruvo_event_st *>(ruvo_zero_malloc(sizeof(ruvo_event_st)));
  uint32_t status = ruvo_cond_init(&e->cond);
  if (status == RUVO_OK) {
    status = ruvo_mutex_init(&e->mutex);
    if (status != RUVO_OK) ruvo_cond_destroy(e->cond);
  }
  if (status != RUVO_OK) {
    std::free(e);
    return status;
  }
  e->signalled = initial_state != 0 ? 1 : 0;
  e->manual_reset = manual_reset;
  *out = e;
  return RUVO_OK;
}

RUVO_API void ruvo_event_destroy(ruvo_event_st *e) noexcept {
  if (e == nullptr) return;
  ruvo_mutex_destroy(e->mutex);
  ruvo_cond_destroy(e->cond);
  std::free(e);
}

RUVO_API void ruvo_event_set(ruvo_event_st *e) noexcept {
  if (e == nullptr) return;
  ruvo_mutex_lock(e->mutex);
  e->signalled = 1;
  ruvo_cond_broadcast(e->cond);
  ruvo_mutex_unlock(e->mutex);
}

RUVO_API void ruvo_event_reset(ruvo_event_st *e) noexcept {
  if (e == nullptr) return;
  ruvo_mutex_lock(e->mutex);
  e->signalled = 0;
  ruvo_mutex_unlock(e->mutex);
}

RUVO_API uint32_t ruvo_event_timedwait(ruvo_event_st *e, uint64_t milliseconds) noexcept {
  if (e == nullptr || e->cond == nullptr || e->mutex == nullptr) return RUVO_E_INVAL;
  ruvo_mutex_lock(e->mutex);
  // Every wake starts the full time-out again: a set taken by another
  // waiter of an auto-reset event sends this one back to wait.
  uint32_t status = RUVO_OK;
  while (e->signalled == 0 && status == RUVO_OK) {
    status = milliseconds == kForever ? ruvo_cond_wait(e->cond, e->mutex)
                                      : ruvo_cond_timedwait(e->cond, e->mutex, milliseconds);
  }
  if (status != RUVO_OK) {
    ruvo_mutex_unlock(e->mutex);
    return status;
  }
  if (e->manual_reset == 0) e->signalled = 0;
  ruvo_mutex_unlock(e->mutex);
  return RUVO_OK;
}

RUVO_API uint32_t ruvo_event_wait(ruvo_event_st *e) noexcept {
  return ruvo_event_timedwait(e, kForever);
}

// ---- semaphore ----

RUVO_API ruvo_semaphore_st *ruvo_semaphore_init(uint32_t initial) noexcept {
  if (initial > static_cast<uint32_t>(kSemaphoreMax)) return nullptr;
  auto *s = static_cast<ruvo_semaphore_st *>(std::malloc(sizeof(ruvo_semaphore_st)));
  if (s == nullptr) return nullptr;
  s->handle = ::CreateSemaphoreA(nullptr, static_cast<LONG>(initial), kSemaphoreMax, nullptr);
  if (s->handle == nullptr) {
    ruvo::win::last_error_guard keep;
    std::free(s);
    return nullptr;
  }
  s->count = initial;
  return s;
}

RUVO_API void ruvo_semaphore_destroy(ruvo_semaphore_st *s) noexcept {
  if (s == nullptr) return;
  if (valid_handle(s->handle)) ::CloseHandle(s->handle);
  s->handle = INVALID_HANDLE_VALUE;
  std::free(s);
}

// The count is raised before the release, so that a waiter woken by it
// never reads it low, and then set to what the platform reported.
RUVO_API uint32_t ruvo_semaphore_post(ruvo_semaphore_st *s, int32_t n) noexcept {
  if (s == nullptr || !valid_handle(s->handle) || n == 0) return RUVO_E_FAIL;
  count_of(s).fetch_add(n);
  LONG previous = 0;
  if (!::ReleaseSemaphore(s->handle, n, &previous)) {
    count_of(s).fetch_sub(n);
    return RUVO_E_FAIL;
  }
  const uint32_t now = static_cast<uint32_t>(previous) + static_cast<uint32_t>(n);
  if (now > static_cast<uint32_t>(kSemaphoreMax)) return RUVO_E_FAIL;
  count_of(s).exchange(static_cast<int32_t>(now));
  return RUVO_OK;
}

RUVO_API uint32_t ruvo_semaphore_wait(ruvo_semaphore_st *s, int64_t milliseconds) noexcept {
  if (s == nullptr || !valid_handle(s->handle)) return RUVO_E_FAIL;
  const DWORD wait = milliseconds < 0 ? kForever : static_cast<DWORD>(milliseconds);
  const DWORD result = ::WaitForSingleObject(s->handle, wait);
  if (result == WAIT_FAILED) return RUVO_E_FAIL;
  if (result == WAIT_TIMEOUT) return RUVO_E_TIMEOUT;
  if (count_of(s).load() < 1) return RUVO_E_FAIL;
  count_of(s).fetch_sub(1);
  return RUVO_OK;
}

RUVO_API uint32_t ruvo_semaphore_value(ruvo_semaphore_st *s) noexcept {
  if (s == nullptr) return 0xFFFFFFFFu;
  return static_cast<uint32_t>(count_of(s).load());
}

}  // extern "C"
