/**
 * \file
 * ruvo/base/keepalive.h - keepalive objects that worker threads touch, and a
 * manager through which a supervisor asks whether all of them are alive.
 *
 * Times are milliseconds of the tick count of clock.h. An object is alive
 * while now - tick <= timeout. A manager holds at most one object per
 * thread and keeps a copy of the first object it ever finds stale, so that
 * the supervisor can say which it was.
 */
#ifndef RUVO_BASE_KEEPALIVE_H
#define RUVO_BASE_KEEPALIVE_H

#include "ruvo/base/defs.h"
#include "ruvo/base/xhash.h"

RUVO_BEGIN_DECLS

/** Layout is part of the interface: the name is at the object's own
 * address. Callers read the fields through the calls below. */
typedef struct ruvo_keepalive_st {
  char name[64];   /**< at most 63 characters and a terminator */
  uint64_t id;     /**< id of the thread that made the object */
  int64_t timeout; /**< longest allowed age of `tick`, ms */
  int64_t tick;    /**< tick count at creation or last update; written and read atomically */
} ruvo_keepalive_st;

/** A manager of keepalive objects; its layout stays inside the library. */
typedef struct ruvo_keepalive_mgr_st ruvo_keepalive_mgr_st;

/** A new object of the calling thread, touched now, or null when `name` is
 * null, empty or 64 characters or longer. Free with ruvo_keepalive_destory
 * unless a manager has taken it. */
RUVO_API ruvo_keepalive_st *ruvo_keepalive_create(const char *name, int64_t timeout) RUVO_NOEXCEPT;

/** Frees an object that no manager holds. Null does nothing. */
RUVO_API void ruvo_keepalive_destory(ruvo_keepalive_st *obj) RUVO_NOEXCEPT;

/** Touches the object: its tick becomes now. Takes no lock, so the owning
 * thread may call it while a supervisor checks. Null does nothing. */
RUVO_API void ruvo_keepalive_update(ruvo_keepalive_st *obj) RUVO_NOEXCEPT;

/** 1 when now - tick <= timeout, else 0; 0 for null. */
RUVO_API int32_t ruvo_keepalive_is_alive(ruvo_keepalive_st *obj) RUVO_NOEXCEPT;

/**@{*/
/** The fields; 0 (null for the name) for a null object. */
RUVO_API uint64_t ruvo_keepalive_get_id(ruvo_keepalive_st *obj) RUVO_NOEXCEPT;
RUVO_API const char *ruvo_keepalive_get_name(ruvo_keepalive_st *obj) RUVO_NOEXCEPT;
RUVO_API int64_t ruvo_keepalive_get_tick(ruvo_keepalive_st *obj) RUVO_NOEXCEPT;
RUVO_API int64_t ruvo_keepalive_get_timeout(ruvo_keepalive_st *obj) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** A new empty manager, or null when its lock cannot be made. Free with
 * ruvo_keepalive_mgr_destory, which frees every object it holds and its
 * copy of the first stale one. Null does nothing there. */
RUVO_API ruvo_keepalive_mgr_st *ruvo_keepalive_mgr_create(void) RUVO_NOEXCEPT;
RUVO_API void ruvo_keepalive_mgr_destory(ruvo_keepalive_mgr_st *mgr) RUVO_NOEXCEPT;
/**@}*/

/** Gives `obj` to the manager, under its thread id. An earlier object of the
 * same thread is freed; if its time-out was longer, `obj` first takes over
 * its name, id, time-out and tick. The caller keeps `obj` only to update
 * it. Null in either does nothing, and so does adding an object twice. */
RUVO_API void ruvo_keepalive_mgr_add(ruvo_keepalive_mgr_st *mgr,
                                     ruvo_keepalive_st *obj) RUVO_NOEXCEPT;

/** 1 when every object is alive (also when there are none); 0 when one is
 * stale, or for null. The objects are checked in the order they were added
 * and the check stops at the first stale one; the first stale object ever
 * found is copied, once in the manager's life. */
RUVO_API int32_t ruvo_keepalive_mgr_is_alive(ruvo_keepalive_mgr_st *mgr) RUVO_NOEXCEPT;

/** The manager's copy of the first object found stale, or null. It stays
 * valid, and unchanged, until the manager is destroyed. */
RUVO_API ruvo_keepalive_st *ruvo_keepalive_mgr_abnormal_obj(
    ruvo_keepalive_mgr_st *mgr) RUVO_NOEXCEPT;

/** Walks the objects in the order they were added, with the manager's lock
 * held: fn(key, 8, object, arg), the key being the 8 bytes of the id; a
 * non-zero result ends the walk and is returned. 0 after a full walk, -1
 * for a null manager or `fn`. `fn` must not call back into the manager. */
RUVO_API int32_t ruvo_keepalive_mgr_hs_foreach(ruvo_keepalive_mgr_st *mgr, void *arg,
                                               ruvo_xhash_walk_fn fn) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_KEEPALIVE_H */
