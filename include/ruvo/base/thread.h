/**
 * \file
 * ruvo/base/thread.h - threads and thread-local slots.
 *
 * Threads run a caller's function on a thread of the C runtime; a record the
 * caller keeps names the thread until it is joined or detached. Thread
 * results are 0, a status of defs.h, the platform's last error or the C
 * runtime's errno. Slot calls give null or 0 with the reason in the last
 * error. Nothing here runs at thread exit: values left in slots stay until
 * the process ends. The thread id and the slots also exist in the Linux
 * build, on pthread keys, where the last error is errno.
 */
#ifndef RUVO_BASE_THREAD_H
#define RUVO_BASE_THREAD_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/** The calling thread's platform id. */
RUVO_API uint64_t ruvo_thread_id(void) RUVO_NOEXCEPT;

#if defined(_WIN32)

/** A thread, in the caller's memory. Layout is part of the interface. Join,
 * detach and cancel leave the fields as they are. */
typedef struct ruvo_thread_st {
  void *handle; /**< platform thread handle, owned until join or detach */
  uint32_t id;  /**< platform thread id, written by ruvo_thread_start */
} ruvo_thread_st;

/** A thread's function: its result becomes the thread's exit code. */
typedef uint32_t (*ruvo_thread_fn)(void *arg);

/** Starts `fn(arg)` on a new thread with the default stack, running at once.
 * Returns 0 with t's handle and id filled; RUVO_E_INVAL when `t` or `fn` is
 * null; RUVO_E_NOMEM when the start record cannot be allocated; the C
 * runtime's errno when the thread cannot start (t's handle is then 0). */
RUVO_API uint32_t ruvo_thread_start(ruvo_thread_st *t, ruvo_thread_fn fn, void *arg) RUVO_NOEXCEPT;

/** Waits up to 5000 ms, alertable, for the thread to end, then stores its
 * exit code in *exit_code (when not null) and closes the handle. Returns 0;
 * RUVO_E_INVAL for a null `t` or handle; the last error when the wait ends
 * otherwise (after a time-out that is whatever the last error was before the
 * call, possibly 0) or a later step fails, leaving the handle open so that
 * the caller may join again. */
RUVO_API uint32_t ruvo_thread_join(ruvo_thread_st *t, uint32_t *exit_code) RUVO_NOEXCEPT;

/** Closes the handle and lets the thread run on. 0; RUVO_E_INVAL for a null
 * `t` or handle; the last error when the close fails. */
RUVO_API uint32_t ruvo_thread_detach(ruvo_thread_st *t) RUVO_NOEXCEPT;

/** Terminates the thread with exit code 0. The handle stays open: join or
 * detach it still. 0; RUVO_E_INVAL for a null `t` or handle; the last error
 * on failure. */
RUVO_API uint32_t ruvo_thread_cancel(ruvo_thread_st *t) RUVO_NOEXCEPT;

/** Ends the calling thread with `code`; does not return. A thread of
 * ruvo_thread_start that ends this way leaves its 16-byte start record
 * allocated. */
RUVO_API void ruvo_thread_exit(uint32_t code) RUVO_NOEXCEPT;

/** Number of processors the platform reports. */
RUVO_API uint32_t ruvo_thread_nprocs(void) RUVO_NOEXCEPT;

/** Suspends the calling thread for at least `milliseconds` ms. */
RUVO_API void ruvo_thread_sleep(uint32_t milliseconds) RUVO_NOEXCEPT;

/** Gives up the processor. Non-zero when another thread ran. */
RUVO_API int32_t ruvo_thread_yield(void) RUVO_NOEXCEPT;

#endif /* _WIN32 */

/* ---- thread-local slots ---- */

/** A slot key: the platform's slot index in a 4-byte block. Layout is part of
 * the interface. */
typedef struct ruvo_tls_key_st {
  uint32_t index; /**< platform slot index; 0xFFFFFFFF never stays in a live key */
} ruvo_tls_key_st;

/** Makes a thread's value for ruvo_tls_auto_get; null when it can't. */
typedef void *(*ruvo_tls_create_fn)(void);
/** Frees a value that ruvo_tls_auto_get made but could not store. */
typedef void (*ruvo_tls_destroy_fn)(void *value);

/** A new key, or null with the last error set (14 when the block cannot be
 * allocated, the platform's reason when no slot is free). Each thread's value
 * starts as null. Free with ruvo_tls_free. */
RUVO_API ruvo_tls_key_st *ruvo_tls_alloc(void) RUVO_NOEXCEPT;

/** The same as ruvo_tls_alloc: `destroy` is accepted but not kept, and never
 * runs at thread exit. */
RUVO_API ruvo_tls_key_st *ruvo_dstable_tls_alloc(ruvo_tls_destroy_fn destroy) RUVO_NOEXCEPT;

/** Frees the slot and the key. Values left in it are not touched. Null does
 * nothing. */
RUVO_API void ruvo_tls_free(ruvo_tls_key_st *key) RUVO_NOEXCEPT;

/** Returns 1 with the calling thread's value (null when never set) in *out;
 * 0 with the last error 87 for a null or dead key or a null `out`. */
RUVO_API int32_t ruvo_tls_get(ruvo_tls_key_st *key, void **out) RUVO_NOEXCEPT;

/** Returns 1 when the calling thread's value is stored, else 0 with the
 * platform's last error (87 for a null key). */
RUVO_API int32_t ruvo_tls_set(ruvo_tls_key_st *key, void *value) RUVO_NOEXCEPT;

/** The calling thread's value under *key_slot, made by `create` on first use.
 * A null *key_slot gets a new key first; that first call must not race with
 * another on the same slot. Returns the value, or null with the last error
 * RUVO_E_INVAL (a null argument), RUVO_E_TLS (no key), RUVO_E_FAIL (`create`
 * gave null; it is called again next time) or the reason the value could
 * not be stored, after `destroy` has run on it. The key and the values live
 * until the process ends. */
RUVO_API void *ruvo_tls_auto_get(ruvo_tls_key_st **key_slot, ruvo_tls_create_fn create,
                                 ruvo_tls_destroy_fn destroy) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_THREAD_H */
