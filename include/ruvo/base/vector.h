/**
 * \file
 * ruvo/base/vector.h - a growing array of non-null pointer-sized items, with
 * an in-place quicksort.
 *
 * An item is one pointer-sized value, stored as it is: the vector never looks
 * behind it and owns nothing it may point to. A null item cannot be stored,
 * so null from an accessor always means "none". The array grows by doubling;
 * running out of memory is reported as RUVO_E_NOMEM and leaves the vector as
 * it was. No operation locks: the owner serialises access.
 */
#ifndef RUVO_BASE_VECTOR_H
#define RUVO_BASE_VECTOR_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/** Opaque; made by ruvo_vector_create, freed by ruvo_vector_destroy. */
typedef struct ruvo_vector_st ruvo_vector_st;

/** Called once per item by ruvo_vector_clear; `free` itself fits. */
typedef void (*ruvo_vector_free_fn)(void *item);

/** Compares two items by value: positive when `a` sorts after `b`, negative
 * when before, 0 when they are equal. */
typedef int32_t (*ruvo_vector_cmp_fn)(void *a, void *b);

/** Makes an empty vector that holds `capacity` items before it grows (0 means
 * 256) and stores it in *vector. Returns 0, RUVO_E_INVAL for a null
 * `vector`, or RUVO_E_NOMEM, in which case *vector is left unchanged. */
RUVO_API uint32_t ruvo_vector_create(ruvo_vector_st **vector, size_t capacity) RUVO_NOEXCEPT;

/** Frees the vector and its array. Items are not released: call
 * ruvo_vector_clear first for items that own something. Null does nothing. */
RUVO_API void ruvo_vector_destroy(ruvo_vector_st *vector) RUVO_NOEXCEPT;

/** Empties the vector, calling `release` (when not null) once for each item
 * from index 0 upward. The capacity stays. Null does nothing. */
RUVO_API void ruvo_vector_clear(ruvo_vector_st *vector, ruvo_vector_free_fn release) RUVO_NOEXCEPT;

/** Appends `item`, doubling the capacity when the vector is full. Returns 0,
 * RUVO_E_INVAL for a null vector or a null item, or RUVO_E_NOMEM, in which
 * case the vector is unchanged. */
RUVO_API uint32_t ruvo_vector_push_back(ruvo_vector_st *vector, void *item) RUVO_NOEXCEPT;

/** Removes and returns the last item; null for a null or empty vector. */
RUVO_API void *ruvo_vector_pop_back(ruvo_vector_st *vector) RUVO_NOEXCEPT;

/** The item at `index`; null for a null vector or an index at or past the size. */
RUVO_API void *ruvo_vector_pos_at(const ruvo_vector_st *vector, size_t index) RUVO_NOEXCEPT;

/** Removes and returns the item at `index`, moving the items behind it down
 * by one in their order; null (and nothing changed) for a null vector or an
 * index at or past the size. */
RUVO_API void *ruvo_vector_pos_del(ruvo_vector_st *vector, size_t index) RUVO_NOEXCEPT;

/** Number of items held; 0 for null. */
RUVO_API size_t ruvo_vector_size(const ruvo_vector_st *vector) RUVO_NOEXCEPT;

/** Number of items the array holds before it grows; 0 for null. */
RUVO_API size_t ruvo_vector_capacity(const ruvo_vector_st *vector) RUVO_NOEXCEPT;

/** 1 for a null or empty vector, else 0. */
RUVO_API int32_t ruvo_vector_empty(const ruvo_vector_st *vector) RUVO_NOEXCEPT;

/** Sorts the items in place in the order of `compare`, which always receives
 * the partition's pivot as its first argument. A quicksort on the first item
 * of each range: not stable, and quadratic on input that is already sorted
 * either way. Returns 0, or RUVO_E_INVAL for a null vector or a null
 * `compare`. Fewer than two items never call `compare`. */
RUVO_API uint32_t ruvo_vector_qsort(ruvo_vector_st *vector, ruvo_vector_cmp_fn compare) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_VECTOR_H */
