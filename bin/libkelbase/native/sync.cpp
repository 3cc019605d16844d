// The recursive mutex of sync.h on Linux, on a pthread mutex, for the
// portable families that lock with it (keepalive).
#include <pthread.h>

#include <cerrno>
#include <cstdlib>

#include "ruvo/base/sync.h"

struct ruvo_mutex_st {
  pthread_mutex_t mutex;
};

extern "C" {

RUVO_API uint32_t ruvo_mutex_init(ruvo_mutex_st **out) noexcept {
  if (out == nullptr) return RUVO_E_INVAL;
  auto *m = static_cast<ruvo_mutex_st *>(std::calloc(1, sizeof(ruvo_mutex_st)));
  if (m == nullptr) return RUVO_E_NOMEM;
  pthread_mutexattr_t attributes;
  ::pthread_mutexattr_init(&attributes);
  ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  const int error = ::pthread_mutex_init(&m->mutex, &attributes);
  ::pthread_mutexattr_destroy(&attributes);
  if (error != 0) {
    std::free(m);
    return error == ENOMEM ? RUVO_E_NOMEM : RUVO_E_FAIL;
  }
  *out = m;
  return RUVO_OK;
}

RUVO_API void ruvo_mutex_destroy(ruvo_mutex_st *m) noexcept {
  if (m == nullptr) return;
  ::pthread_mutex_destroy(&m->mutex);
  std::free(m);
}

RUVO_API void ruvo_mutex_lock(ruvo_mutex_st *m) noexcept { ::pthread_mutex_lock(&m->mutex); }

RUVO_API void ruvo_mutex_unlock(ruvo_mutex_st *m) noexcept { ::pthread_mutex_unlock(&m->mutex); }

RUVO_API uint32_t ruvo_mutex_trylock(ruvo_mutex_st *m) noexcept {
  if (m == nullptr) return RUVO_E_INVAL;
  return ::pthread_mutex_trylock(&m->mutex) == 0 ? RUVO_OK : RUVO_E_FAIL;
}

}  // extern "C"
