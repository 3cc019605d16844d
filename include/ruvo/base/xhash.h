/**
 * \file
 * ruvo/base/xhash.h - chained hash from a counted byte key to one
 * pointer-sized value, and a set of keys on top of it.
 *
 * Elements hang in chains off a power-of-two slot array and are also linked
 * in insertion order, so a table can be gone over by list (first/next, walk:
 * insertion order) or by slot, a part at a time (partial walks with a
 * cookie). Tables grow through fixed size steps and never shrink. Tables,
 * elements and cookies come from checked allocation: running out of memory
 * ends the process, so no call here reports it. No locking: a table belongs
 * to one thread at a time.
 *
 * Keys are `key_len` bytes at `key`, zero bytes included. A negative length
 * is not a key: inserts ignore it and lookups do not find it. Table and
 * cookie pointers must not be null unless a contract says otherwise; the
 * calls check them anyway and do nothing (or give -1, 0, null).
 */
#ifndef RUVO_BASE_XHASH_H
#define RUVO_BASE_XHASH_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/** Flag of ruvo_xhash_create2: keep the caller's key pointer instead of a
 * copy. The caller then keeps every key's bytes alive and unchanged while
 * the key is in the table. */
#define RUVO_XHASH_KEY_REF 0x1

/** Called on a value when it leaves the table: replaced, deleted, cleared or
 * destroyed. Plain free() fits. */
typedef void (*ruvo_xhash_free_fn)(void *value);

/** Hash of `key_len` bytes at `key`. */
typedef uint32_t (*ruvo_xhash_hash_fn)(const void *key, int32_t key_len);

/** 0 when the two keys are equal, anything else when they differ. The stored
 * key comes first. It is called only for keys of equal hash. */
typedef int32_t (*ruvo_xhash_cmp_fn)(const void *key1, int32_t key1_len, const void *key2,
                                     int32_t key2_len);

/** Called per element by the walks, with the caller's argument. 0 goes on. */
typedef int32_t (*ruvo_xhash_walk_fn)(const void *key, int32_t key_len, void *value, void *arg);

/** The table: opaque, made and freed by this family. */
typedef struct ruvo_xhash_st ruvo_xhash_st;

/** One element, as ruvo_xhash_first and ruvo_xhash_next hand it out. Callers
 * read key, key_len and value and change nothing. Layout is part of the
 * interface. With copied keys the key bytes follow the record in the same
 * allocation. */
typedef struct ruvo_xhash_elem_st {
  const void *key;                       /**< the inline copy, or the caller's bytes */
  void *value;                           /**< the value, owned as the free function says */
  int32_t key_len;                       /**< key length in bytes */
  uint32_t hash;                         /**< full hash of the key */
  struct ruvo_xhash_elem_st *chain_next; /**< next element in the same slot */
  struct ruvo_xhash_elem_st *list_next;  /**< insertion-order list, circular through the table */
  struct ruvo_xhash_elem_st *list_prev;  /**< the same list, backwards */
} ruvo_xhash_elem_st;

/** A position for partial walks, made by ruvo_xhash_cookie_create and owned
 * by the caller. Layout is part of the interface. */
typedef struct ruvo_xhash_cookie_st {
  float percent;     /**< share of the slots one partial walk looks at; 1.0 is all */
  uint32_t position; /**< slot to go on from; 0 at start */
} ruvo_xhash_cookie_st;

/* ---- tables ---- */

/** A new empty table with 8 slots that grows at 24 elements. A null hash
 * function is djb2 (start value 5381, h = h * 33 + byte over 32 bits; a
 * length below 1 hashes to 5381). Keys are compared by length and bytes and
 * are copied. `free_value`, when not null, is called on each value that
 * leaves the table. Never null; free with ruvo_xhash_destroy. */
RUVO_API ruvo_xhash_st *ruvo_xhash_create(ruvo_xhash_free_fn free_value,
                                          ruvo_xhash_hash_fn hash) RUVO_NOEXCEPT;

/** As ruvo_xhash_create, with a compare function (null: lengths and bytes)
 * and flags (RUVO_XHASH_KEY_REF or 0). */
RUVO_API ruvo_xhash_st *ruvo_xhash_create2(ruvo_xhash_free_fn free_value, ruvo_xhash_hash_fn hash,
                                           ruvo_xhash_cmp_fn compare,
                                           int32_t flags) RUVO_NOEXCEPT;

/** ruvo_xhash_clear, then frees the table. Null does nothing. */
RUVO_API void ruvo_xhash_destroy(ruvo_xhash_st *table) RUVO_NOEXCEPT;

/** Removes every element, calling the free function on each value, slot by
 * slot. The table keeps its slot count and growth threshold. Null does
 * nothing. */
RUVO_API void ruvo_xhash_clear(ruvo_xhash_st *table) RUVO_NOEXCEPT;

/** Maps the key to `value`. A new key is copied (or referred to, with
 * RUVO_XHASH_KEY_REF), goes to the end of the insertion order and may make
 * the table grow. For a key already there the free function runs on the old
 * value and the new one takes its place; the element keeps its place in the
 * order and, with copied keys, its first copy of the key. With
 * RUVO_XHASH_KEY_REF the element refers to the new key from then on. */
RUVO_API void ruvo_xhash_insert(ruvo_xhash_st *table, const void *key, int32_t key_len,
                                void *value) RUVO_NOEXCEPT;

/** 0 when the key is there, with its value stored in *value when `value` is
 * not null; -1 when it is not. */
RUVO_API int32_t ruvo_xhash_search(ruvo_xhash_st *table, const void *key, int32_t key_len,
                                   void **value) RUVO_NOEXCEPT;

/** 0 when the key was there and is removed (its value goes to the free
 * function); -1 when it was not. The table never shrinks. */
RUVO_API int32_t ruvo_xhash_delete(ruvo_xhash_st *table, const void *key,
                                   int32_t key_len) RUVO_NOEXCEPT;

/**@{*/
/** Number of elements, number of slots, and the element count at which the
 * table grows next (0x7FFFFFFF when it no longer grows). 0 for null. */
RUVO_API uint32_t ruvo_xhash_count(const ruvo_xhash_st *table) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_xhash_slotcount(const ruvo_xhash_st *table) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_xhash_maxelem(const ruvo_xhash_st *table) RUVO_NOEXCEPT;
/**@}*/

/** Grows the table ahead of time; never shrinks it. Below 16384 the table
 * goes to the first size step with more than `nslot` slots (8, 16, 64, 256,
 * 2048, 16384) if that is bigger than what it has, and keeps growing from
 * there. From 16384 on the slot count is `nslot` rounded up to a power of
 * two (at most 2^31) and the table stops growing. */
RUVO_API void ruvo_xhash_set_nslot(ruvo_xhash_st *table, uint32_t nslot) RUVO_NOEXCEPT;

/** Histogram of chain lengths: for each slot whose chain holds L elements,
 * adds 1 to counts[L] when L < len. Empty slots count at index 0; the array
 * is added to, not cleared. Nothing for a null array or a len below 1. */
RUVO_API void ruvo_xhash_slotinfo(const ruvo_xhash_st *table, uint32_t *counts,
                                  int32_t len) RUVO_NOEXCEPT;

/* ---- going over a table ---- */

/**@{*/
/** The first element in insertion order, and the one behind `elem`; null at
 * the end. Replacing a value does not move its element. */
RUVO_API ruvo_xhash_elem_st *ruvo_xhash_first(ruvo_xhash_st *table) RUVO_NOEXCEPT;
RUVO_API ruvo_xhash_elem_st *ruvo_xhash_next(ruvo_xhash_st *table,
                                             ruvo_xhash_elem_st *elem) RUVO_NOEXCEPT;
/**@}*/

/** Calls `fn` on every element in insertion order. `fn` may delete the
 * element it was given and no other. A non-zero result of `fn` stops the
 * walk and is returned; otherwise 0. -1 for a null `fn`. */
RUVO_API int32_t ruvo_xhash_walk(ruvo_xhash_st *table, void *arg,
                                 ruvo_xhash_walk_fn fn) RUVO_NOEXCEPT;

/** Calls `fn` on the elements of the next n slots from the cookie's
 * position, where n is the slot count times the cookie's percent, cut to a
 * whole number, and at least 1. Past the last slot it wraps to slot 0, so
 * calls go round and round. The results of `fn` are ignored; it may delete
 * the element it was given. A null `fn` does nothing. */
RUVO_API void ruvo_xhash_walk_partial(ruvo_xhash_st *table, ruvo_xhash_cookie_st *cookie,
                                      void *arg, ruvo_xhash_walk_fn fn) RUVO_NOEXCEPT;

/** As ruvo_xhash_walk_partial, but one pass only: it stops at the last slot
 * and does not wrap. Returns 1 while slots remain, 0 when the pass is
 * complete (every later call with this cookie then gives 0 and calls
 * nothing). A non-zero result of `fn` ends the call with 0 and leaves the
 * cookie on that slot, so the next call does that slot again. 0 for a null
 * `fn`. */
RUVO_API int32_t ruvo_xhash_walk_partial_no_repeat(ruvo_xhash_st *table,
                                                   ruvo_xhash_cookie_st *cookie, void *arg,
                                                   ruvo_xhash_walk_fn fn) RUVO_NOEXCEPT;

/**@{*/
/** A cookie at slot 0 with `percent` limited to 1.0. Never null; free with
 * ruvo_xhash_cookie_destroy (null does nothing). */
RUVO_API ruvo_xhash_cookie_st *ruvo_xhash_cookie_create(float percent) RUVO_NOEXCEPT;
RUVO_API void ruvo_xhash_cookie_destroy(ruvo_xhash_cookie_st *cookie) RUVO_NOEXCEPT;
/**@}*/

/** Stores `percent` as it is, without the limit: above 1.0 one round of
 * ruvo_xhash_walk_partial goes round the table more than once. */
RUVO_API void ruvo_xhash_cookie_set_percent(ruvo_xhash_cookie_st *cookie,
                                            float percent) RUVO_NOEXCEPT;

/* ---- set of keys ---- */

/** The set is a ruvo_xhash_st whose values are all null: no free function,
 * copied keys. Hash and compare functions as for ruvo_xhash_create2. */
RUVO_API ruvo_xhash_st *ruvo_hash_set_init(ruvo_xhash_hash_fn hash,
                                           ruvo_xhash_cmp_fn compare) RUVO_NOEXCEPT;

/**@{*/
/** Frees the set, or empties it. Null does nothing. */
RUVO_API void ruvo_hash_set_unit(ruvo_xhash_st *set) RUVO_NOEXCEPT;
RUVO_API void ruvo_hash_set_clear(ruvo_xhash_st *set) RUVO_NOEXCEPT;
/**@}*/

/** Adds the key; a key already there leaves the set as it is. */
RUVO_API void ruvo_hash_set_insert(ruvo_xhash_st *set, const void *key,
                                   int32_t key_len) RUVO_NOEXCEPT;

/**@{*/
/** 1 when the key is there (find) or was there and is removed (remove);
 * 0 otherwise. */
RUVO_API int32_t ruvo_hash_set_find(ruvo_xhash_st *set, const void *key,
                                    int32_t key_len) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_hash_set_remove(ruvo_xhash_st *set, const void *key,
                                      int32_t key_len) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Number of keys, and the count at which the set grows next. 0 for null. */
RUVO_API uint32_t ruvo_hash_set_size(const ruvo_xhash_st *set) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_hash_set_maxn(const ruvo_xhash_st *set) RUVO_NOEXCEPT;
/**@}*/

RUVO_END_DECLS

#endif /* RUVO_BASE_XHASH_H */
