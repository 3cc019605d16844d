// Threads and thread-local slots, on the C runtime's _beginthreadex and
// _endthreadex, the thread handle calls and the Tls* slot calls.
#include <windows.h>
#include <process.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "internal/fault.hpp"
#include "ruvo/base/thread.h"

namespace {

// What the new thread needs. From the moment the thread exists it owns the
// record and frees it; the starting thread touches it no more.
struct start_record {
  ruvo_thread_fn fn;
  void *arg;
};
static_assert(sizeof(start_record) == 16);

constexpr DWORD kJoinWaitMs = 5000;

unsigned __stdcall thread_entry(void *param) {
  auto *record = static_cast<start_record *>(param);
  const ruvo_thread_fn fn = record->fn;
  void *const arg = record->arg;
  const uint32_t code = fn(arg);
  ::HeapFree(::GetProcessHeap(), 0, record);
  ::_endthreadex(code);
  return code;
}

std::atomic<uint32_t> g_nprocs{0};

}  // namespace

#if defined(RUVO_BASE_TESTING)
namespace ruvo::fault {
namespace {
std::atomic<bool> g_fail_thread_starts{false};
}  // namespace
void fail_thread_starts(bool fail) noexcept { g_fail_thread_starts.store(fail); }
bool thread_start_fails() noexcept { return g_fail_thread_starts.load(); }
}  // namespace ruvo::fault
#endif

extern "C" {

RUVO_API uint32_t ruvo_thread_start(ruvo_thread_st *t, ruvo_thread_fn fn, void *arg) noexcept {
  if (t == nullptr || fn == nullptr) return RUVO_E_INVAL;
  auto *record = static_cast<start_record *>(
      ::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(start_record)));
  if (record == nullptr) return RUVO_E_NOMEM;
  record->fn = fn;
  record->arg = arg;

  unsigned id = 0;
  uintptr_t handle = 0;
  if (ruvo::fault::thread_start_fails()) {
    errno = EAGAIN;
  } else {
    handle = ::_beginthreadex(nullptr, 0, &thread_entry, record, 0, &id);
  }
  if (handle == 0) {
    const int error = errno;  // before HeapFree, which may touch it
    t->handle = nullptr;
    ::HeapFree(::GetProcessHeap(), 0, record);
    return static_cast<uint32_t>(error);
  }
  t->handle = reinterpret_cast<void *>(handle);
  t->id = id;
  return RUVO_OK;
}

RUVO_API uint32_t ruvo_thread_join(ruvo_thread_st *t, uint32_t *exit_code) noexcept {
  if (t == nullptr || t->handle == nullptr) return RUVO_E_INVAL;
  // Bounded and alertable: a caller's APCs still run while it waits, and a
  // thread that never ends costs the caller 5 s, not its life.
  if (::WaitForSingleObjectEx(t->handle, kJoinWaitMs, TRUE) != WAIT_OBJECT_0) {
    return ::GetLastError();
  }
  DWORD code = 0;
  if (!::GetExitCodeThread(t->handle, &code)) return ::GetLastError();
  if (exit_code != nullptr) *exit_code = code;
  return ::CloseHandle(t->handle) ? RUVO_OK : ::GetLastError();
}

RUVO_API uint32_t ruvo_thread_detach(ruvo_thread_st *t) noexcept {
  if (t == nullptr || t->handle == nullptr) return RUVO_E_INVAL;
  return ::CloseHandle(t->handle) ? RUVO_OK : ::GetLastError();
}

RUVO_API uint32_t ruvo_thread_cancel(ruvo_thread_st *t) noexcept {
  if (t == nullptr || t->handle == nullptr) return RUVO_E_INVAL;
  return ::TerminateThread(t->handle, 0) ? RUVO_OK : ::GetLastError();
}

RUVO_API void ruvo_thread_exit(uint32_t code) noexcept { ::_endthreadex(code); }

RUVO_API uint64_t ruvo_thread_id(void) noexcept { return ::GetCurrentThreadId(); }

RUVO_API uint32_t ruvo_thread_nprocs(void) noexcept {
  uint32_t n = g_nprocs.load(std::memory_order_relaxed);
  if (n == 0) {
    SYSTEM_INFO info;
    ::GetSystemInfo(&info);
    n = info.dwNumberOfProcessors;
    g_nprocs.store(n, std::memory_order_relaxed);
  }
  return n;
}

RUVO_API void ruvo_thread_sleep(uint32_t milliseconds) noexcept { ::Sleep(milliseconds); }

RUVO_API int32_t ruvo_thread_yield(void) noexcept { return ::SwitchToThread() ? 1 : 0; }

// ---- thread-local slots ----

RUVO_API ruvo_tls_key_st *ruvo_tls_alloc(void) noexcept {
  auto *key = static_cast<ruvo_tls_key_st *>(std::malloc(sizeof(ruvo_tls_key_st)));
  if (key == nullptr) {
    ::SetLastError(ERROR_OUTOFMEMORY);
    return nullptr;
  }
  key->index = ::TlsAlloc();
  if (key->index == TLS_OUT_OF_INDEXES) {
    const DWORD error = ::GetLastError();
    std::free(key);
    ::SetLastError(error);
    return nullptr;
  }
  return key;
}

// Nothing ever runs at thread exit, so `destroy` has nowhere to go.
RUVO_API ruvo_tls_key_st *ruvo_dstable_tls_alloc(ruvo_tls_destroy_fn) noexcept {
  return ruvo_tls_alloc();
}

RUVO_API void ruvo_tls_free(ruvo_tls_key_st *key) noexcept {
  if (key == nullptr) return;
  if (key->index != TLS_OUT_OF_INDEXES) ::TlsFree(key->index);
  std::free(key);
}

RUVO_API int32_t ruvo_tls_get(ruvo_tls_key_st *key, void **out) noexcept {
  if (key == nullptr || key->index == TLS_OUT_OF_INDEXES || out == nullptr) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  *out = ::TlsGetValue(key->index);
  return 1;
}

RUVO_API int32_t ruvo_tls_set(ruvo_tls_key_st *key, void *value) noexcept {
  if (key == nullptr) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  return ::TlsSetValue(key->index, value) ? 1 : 0;
}

}  // extern "C"
