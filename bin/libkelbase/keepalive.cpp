// Keepalive objects and their manager: a chained hash of objects by thread
// id behind a mutex, and the tick of each object as an atomic word so that
// workers can touch their objects without the manager's lock.
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "ruvo/base/clock.h"
#include "ruvo/base/keepalive.h"
#include "ruvo/base/memory.h"
#include "ruvo/base/sync.h"
#include "ruvo/base/thread.h"

struct ruvo_keepalive_mgr_st {
  ruvo_mutex_st *lock;           // guards objects and abnormal
  ruvo_xhash_st *objects;        // by the 8 bytes of the id; frees the objects
  ruvo_keepalive_st *abnormal;   // own copy of the first stale object, or null
};

namespace {

constexpr size_t kNameSize = sizeof(ruvo_keepalive_st{}.name);
constexpr int32_t kIdBytes = sizeof(uint64_t);

// The owner writes the tick while the supervisor reads it; one aligned
// 64-bit word, so relaxed atomics are all either side needs.
std::atomic_ref<int64_t> tick_of(ruvo_keepalive_st *obj) noexcept {
  return std::atomic_ref<int64_t>(obj->tick);
}
static_assert(offsetof(ruvo_keepalive_st, tick) % std::atomic_ref<int64_t>::required_alignment ==
              0);

int64_t now() noexcept { return static_cast<int64_t>(ruvo_time_get_tick_cout()); }

void copy_object(ruvo_keepalive_st *to, ruvo_keepalive_st *from) noexcept {
  std::memcpy(to->name, from->name, kNameSize);
  to->id = from->id;
  to->timeout = from->timeout;
  tick_of(to).store(tick_of(from).load(std::memory_order_relaxed), std::memory_order_relaxed);
}

// Walker of the check: -1 ends the walk at the first stale object.
int32_t keepalive_mgr_check(const void *, int32_t, void *value, void *arg) {
  auto *obj = static_cast<ruvo_keepalive_st *>(value);
  if (ruvo_keepalive_is_alive(obj)) return 0;
  auto *mgr = static_cast<ruvo_keepalive_mgr_st *>(arg);
  if (mgr->abnormal == nullptr) {
    auto *copy = static_cast<ruvo_keepalive_st *>(ruvo_malloc(sizeof(ruvo_keepalive_st)));
    copy_object(copy, obj);
    // Published whole: ruvo_keepalive_mgr_abnormal_obj reads it unlocked.
    std::atomic_ref<ruvo_keepalive_st *>(mgr->abnormal).store(copy, std::memory_order_release);
  }
  return -1;
}

}  // namespace

extern "C" {

RUVO_API ruvo_keepalive_st *ruvo_keepalive_create(const char *name, int64_t timeout) noexcept {
  if (name == nullptr) return nullptr;
  const size_t length = strnlen(name, kNameSize);
  if (length == 0 || length == kNameSize) return nullptr;
  auto *obj = static_cast<ruvo_keepalive_st *>(ruvo_zero_malloc(sizeof(ruvo_keepalive_st)));
  std::memcpy(obj->name, name, length);
  obj->id = ruvo_thread_id();
  obj->timeout = timeout;
  tick_of(obj).store(now(), std::memory_order_relaxed);
  return obj;
}

RUVO_API void ruvo_keepalive_destory(ruvo_keepalive_st *obj) noexcept { std::free(obj); }

RUVO_API void ruvo_keepalive_update(ruvo_keepalive_st *obj) noexcept {
  if (obj != nullptr) tick_of(obj).store(now(), std::memory_order_relaxed);
}

RUVO_API int32_t ruvo_keepalive_is_alive(ruvo_keepalive_st *obj) noexcept {
  if (obj == nullptr) return 0;
  return now() - tick_of(obj).load(std::memory_order_relaxed) <= obj->timeout ? 1 : 0;
}

RUVO_API uint64_t ruvo_keepalive_get_id(ruvo_keepalive_st *obj) noexcept {
  return obj != nullptr ? obj->id : 0;
}

RUVO_API const char *ruvo_keepalive_get_name(ruvo_keepalive_st *obj) noexcept {
  return obj != nullptr ? obj->name : nullptr;
}

RUVO_API int64_t ruvo_keepalive_get_tick(ruvo_keepalive_st *obj) noexcept {
  return obj != nullptr ? tick_of(obj).load(std::memory_order_relaxed) : 0;
}

RUVO_API int64_t ruvo_keepalive_get_timeout(ruvo_keepalive_st *obj) noexcept {
  return obj != nullptr ? obj->timeout : 0;
}

RUVO_API ruvo_keepalive_mgr_st *ruvo_keepalive_mgr_create(void) noexcept {
  auto *mgr = static_cast<ruvo_keepalive_mgr_st *>(ruvo_zero_malloc(sizeof(ruvo_keepalive_mgr_st)));
  if (ruvo_mutex_init(&mgr->lock) != RUVO_OK) {
    std::free(mgr);
    return nullptr;
  }
  mgr->objects = ruvo_xhash_create(std::free, nullptr);
  return mgr;
}

RUVO_API void ruvo_keepalive_mgr_destory(ruvo_keepalive_mgr_st *mgr) noexcept {
  if (mgr == nullptr) return;
  ruvo_xhash_destroy(mgr->objects);
  ruvo_mutex_destroy(mgr->lock);
  std::free(mgr->abnormal);
  std::free(mgr);
}

RUVO_API void ruvo_keepalive_mgr_add(ruvo_keepalive_mgr_st *mgr, ruvo_keepalive_st *obj) noexcept {
  if (mgr == nullptr || obj == nullptr) return;
  ruvo_mutex_lock(mgr->lock);
  void *found = nullptr;
  if (ruvo_xhash_search(mgr->objects, &obj->id, kIdBytes, &found) == 0) {
    auto *old = static_cast<ruvo_keepalive_st *>(found);
    // The same object again: replacing it would free what it is replaced by.
    if (old == obj) {
      ruvo_mutex_unlock(mgr->lock);
      return;
    }
    // Of two objects of one thread the longer time-out wins, in the newer
    // record; the insertion below frees the older one.
    if (old->timeout > obj->timeout) copy_object(obj, old);
  }
  ruvo_xhash_insert(mgr->objects, &obj->id, kIdBytes, obj);
  ruvo_mutex_unlock(mgr->lock);
}

RUVO_API int32_t ruvo_keepalive_mgr_is_alive(ruvo_keepalive_mgr_st *mgr) noexcept {
  if (mgr == nullptr) return 0;
  ruvo_mutex_lock(mgr->lock);
  const int32_t walked = ruvo_xhash_walk(mgr->objects, mgr, keepalive_mgr_check);
  ruvo_mutex_unlock(mgr->lock);
  return walked == 0 ? 1 : 0;
}

// Read without the lock: the copy is made once and never replaced.
RUVO_API ruvo_keepalive_st *ruvo_keepalive_mgr_abnormal_obj(ruvo_keepalive_mgr_st *mgr) noexcept {
  if (mgr == nullptr) return nullptr;
  return std::atomic_ref<ruvo_keepalive_st *>(mgr->abnormal).load(std::memory_order_acquire);
}

RUVO_API int32_t ruvo_keepalive_mgr_hs_foreach(ruvo_keepalive_mgr_st *mgr, void *arg,
                                               ruvo_xhash_walk_fn fn) noexcept {
  if (mgr == nullptr) return -1;
  ruvo_mutex_lock(mgr->lock);
  const int32_t result = ruvo_xhash_walk(mgr->objects, arg, fn);
  ruvo_mutex_unlock(mgr->lock);
  return result;
}

}  // extern "C"
