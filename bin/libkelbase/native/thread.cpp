// The thread id and the thread-local slots of thread.h on Linux, on pthread
// keys, for the portable families that rest on them. The last error is
// errno here.
#include <pthread.h>

#include <cerrno>
#include <cstdlib>

#include "internal/platform.hpp"
#include "ruvo/base/thread.h"

static_assert(sizeof(pthread_key_t) <= sizeof(uint32_t));

namespace {

constexpr uint32_t kNoIndex = 0xFFFFFFFFu;

}  // namespace

extern "C" {

RUVO_API uint64_t ruvo_thread_id(void) noexcept { return ruvo::sys::thread_id(); }

RUVO_API ruvo_tls_key_st *ruvo_tls_alloc(void) noexcept {
  auto *key = static_cast<ruvo_tls_key_st *>(std::malloc(sizeof(ruvo_tls_key_st)));
  if (key == nullptr) {
    errno = ENOMEM;
    return nullptr;
  }
  pthread_key_t index;
  if (const int error = ::pthread_key_create(&index, nullptr); error != 0) {
    std::free(key);
    errno = error;
    return nullptr;
  }
  key->index = index;
  return key;
}

RUVO_API ruvo_tls_key_st *ruvo_dstable_tls_alloc(ruvo_tls_destroy_fn) noexcept {
  return ruvo_tls_alloc();
}

RUVO_API void ruvo_tls_free(ruvo_tls_key_st *key) noexcept {
  if (key == nullptr) return;
  if (key->index != kNoIndex) ::pthread_key_delete(key->index);
  std::free(key);
}

RUVO_API int32_t ruvo_tls_get(ruvo_tls_key_st *key, void **out) noexcept {
  if (key == nullptr || key->index == kNoIndex || out == nullptr) {
    errno = EINVAL;
    return 0;
  }
  *out = ::pthread_getspecific(key->index);
  return 1;
}

RUVO_API int32_t ruvo_tls_set(ruvo_tls_key_st *key, void *value) noexcept {
  if (key == nullptr) {
    errno = EINVAL;
    return 0;
  }
  if (const int error = ::pthread_setspecific(key->index, value); error != 0) {
    errno = error;
    return 0;
  }
  return 1;
}

}  // extern "C"
