// The thread-local slot that makes its value on first use: the same steps on
// every platform, over the slot calls of windows/thread.cpp or
// native/thread.cpp, with its own codes left in the caller's last error.
#include "internal/platform.hpp"
#include "ruvo/base/thread.h"

extern "C" {

RUVO_API void *ruvo_tls_auto_get(ruvo_tls_key_st **key_slot, ruvo_tls_create_fn create,
                                 ruvo_tls_destroy_fn destroy) noexcept {
  if (key_slot == nullptr || create == nullptr || destroy == nullptr) {
    ruvo::sys::set_last_error(RUVO_E_INVAL);
    return nullptr;
  }
  // Not guarded: callers that may race on a fresh slot publish the key
  // themselves first (the timer heap does).
  if (*key_slot == nullptr) {
    ruvo_tls_key_st *key = ruvo_dstable_tls_alloc(destroy);
    if (key == nullptr) {
      ruvo::sys::set_last_error(RUVO_E_TLS);
      return nullptr;
    }
    *key_slot = key;
  }
  void *value = nullptr;
  if (ruvo_tls_get(*key_slot, &value) && value != nullptr) return value;
  value = create();
  if (value == nullptr) {
    ruvo::sys::set_last_error(RUVO_E_FAIL);
    return nullptr;
  }
  if (ruvo_tls_set(*key_slot, value)) return value;
  const uint32_t error = ruvo::sys::last_error();
  destroy(value);
  ruvo::sys::set_last_error(error);  // the reason is the failed store, not the clean-up
  return nullptr;
}

}  // extern "C"
