/**
 * \file
 * ruvo/base/oa_hash.h - open-addressing hash table with Robin Hood
 * displacement: byte-string keys, one 64-bit value per key.
 *
 * Collisions probe linearly; an entry that has come further from its home
 * slot takes the place of one that has come less far, so every probe is
 * short and a lookup can stop as soon as it meets an entry nearer home than
 * itself. Deletion shifts the following entries back, so there are no
 * tombstones. The table keeps at most half its slots occupied and only
 * grows. The hash is h = h * 33 + byte over 32 bits from 5381, the same as
 * ruvo_xhash's.
 *
 * Out of memory is a result here, never fatal: create gives NULL and insert
 * gives -1, and in both cases nothing has changed.
 *
 * No locks: one thread at a time, searches included, since growth replaces
 * the arrays.
 */
#ifndef RUVO_BASE_OA_HASH_H
#define RUVO_BASE_OA_HASH_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/** Called with a value when the table lets go of it: replaced by an insert,
 * deleted, cleared or destroyed. */
typedef void (*ruvo_oa_destroy_fn)(uint64_t value);

/** Called for each entry by ruvo_oa_hash_traverse with the table's own key
 * copy (zero-terminated after `len` bytes), its length, the value and the
 * caller's `arg`. A non-zero result stops the walk. */
typedef int32_t (*ruvo_oa_traverse_fn)(const char *key, uint32_t len, uint64_t value, void *arg);

/** The table's copy of a key: one heap block. Layout is part of the
 * interface. */
typedef struct ruvo_oa_key_st {
  uint32_t len;   /**< key length in bytes, never 0 */
  char data[];    /**< `len` bytes, then a 0 byte so that a text key reads as a C string */
} ruvo_oa_key_st;

/** One slot. Layout is part of the interface. */
typedef struct ruvo_oa_slot_st {
  uint32_t psl;          /**< probe sequence length from 1 (1 = at home); 0 = empty */
  uint32_t hash;         /**< full hash of the key; home slot is hash & (size - 1) */
  ruvo_oa_key_st *key;   /**< owned by the table; NULL when empty */
} ruvo_oa_slot_st;

/** The table. Made by ruvo_oa_hash_create, freed by ruvo_oa_hash_destroy;
 * read the fields, never write them. Layout is part of the interface. */
typedef struct ruvo_oa_hash_st {
  uint32_t count;              /**< entries stored, at most size / 2 */
  uint32_t size;               /**< slots: a power of two, 8 at creation */
  ruvo_oa_slot_st *slots;      /**< `size` slots, owned */
  uint64_t *values;            /**< `size` values, owned; values[i] belongs to slots[i] */
  ruvo_oa_destroy_fn destroy;  /**< may be NULL */
} ruvo_oa_hash_st;

/** A new empty table of 8 slots whose values go through `destroy` (may be
 * NULL) when they leave. NULL when memory runs out; nothing is left
 * allocated then. Free with ruvo_oa_hash_destroy. */
RUVO_API ruvo_oa_hash_st *ruvo_oa_hash_create(ruvo_oa_destroy_fn destroy) RUVO_NOEXCEPT;

/** Clears the table (every value through `destroy`) and frees it. NULL does
 * nothing. */
RUVO_API void ruvo_oa_hash_destroy(ruvo_oa_hash_st *table) RUVO_NOEXCEPT;

/** Empties the table: frees every key copy and passes every value to
 * `destroy`, in slot order. The size stays. NULL does nothing. */
RUVO_API void ruvo_oa_hash_clear(ruvo_oa_hash_st *table) RUVO_NOEXCEPT;

/** Maps `len` bytes at `key` to `value`; the table keeps its own copy of the
 * key. Returns 0 when the key is new, 1 when it was there: then the old
 * value goes through `destroy`, the new one takes its place and the entry
 * stays where it was (this case allocates nothing). Returns -1 for a NULL
 * table or key or a length of 0, and -1 when the key is new and memory runs
 * out for its copy or for the doubled arrays, or the table would need more
 * than 2^31 slots: the table is then exactly as before and still usable,
 * and `value` remains the caller's (no destroy). */
RUVO_API int32_t ruvo_oa_hash_insert(ruvo_oa_hash_st *table, const void *key, uint32_t len,
                                     uint64_t value) RUVO_NOEXCEPT;

/** 0 when the key is there, with its value stored in *value unless `value`
 * is NULL; -1 when it is not, or for a NULL table or key or a length of 0. */
RUVO_API int32_t ruvo_oa_hash_search(const ruvo_oa_hash_st *table, const void *key,
                                     uint32_t len, uint64_t *value) RUVO_NOEXCEPT;

/** Removes the key: its value goes through `destroy`, its copy is freed.
 * 0; -1 when it is not there (no destroy then), or for a NULL table or key
 * or a length of 0. */
RUVO_API int32_t ruvo_oa_hash_delete(ruvo_oa_hash_st *table, const void *key,
                                     uint32_t len) RUVO_NOEXCEPT;

/** Calls `fn` for each entry in slot order, which follows the hashes and no
 * order a caller can rely on, until it returns non-zero. The table must not
 * change during the walk. A NULL table or `fn` does nothing. */
RUVO_API void ruvo_oa_hash_traverse(const ruvo_oa_hash_st *table, ruvo_oa_traverse_fn fn,
                                    void *arg) RUVO_NOEXCEPT;

/** Entries stored; 0 for NULL. */
RUVO_API uint32_t ruvo_oa_hash_count(const ruvo_oa_hash_st *table) RUVO_NOEXCEPT;

/** Slots; 0 for NULL. */
RUVO_API uint32_t ruvo_oa_hash_size(const ruvo_oa_hash_st *table) RUVO_NOEXCEPT;

/** Prints to standard output one line "PSL <n>: <slots>" for each probe
 * sequence length n from 0 (the empty slots) to the highest in the table.
 * Prints nothing for an empty table or NULL. */
RUVO_API void ruvo_oa_hash_psl_dbg(const ruvo_oa_hash_st *table) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_OA_HASH_H */
