/**
 * \file
 * ruvo/base/heap.h - binary min-heap of pointer-sized items in one array.
 *
 * The item for which the comparison says "comes out first" sits at items[0].
 * There is no peek call: a caller that needs the top without removing it
 * reads items[0] when count is not 0, so the record's layout is part of the
 * interface. The heap holds items as they are and owns nothing they point
 * to. No locking: the owner serialises access.
 */
#ifndef RUVO_BASE_HEAP_H
#define RUVO_BASE_HEAP_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/** Negative when `a` is to come out before `b`, 0 when neither comes first,
 * positive otherwise. Items are passed by value. */
typedef int32_t (*ruvo_heap_cmp_fn)(void *a, void *b);

/** Layout is part of the interface; callers read the fields and change none. */
typedef struct ruvo_heap_st {
  void **items;             /**< the heap as an array: root at 0, children of i at 2i+1 and 2i+2 */
  uint32_t count;           /**< items held */
  uint32_t capacity;        /**< items the array can hold */
  ruvo_heap_cmp_fn compare; /**< never null */
  int32_t fixed;            /**< 1 when the capacity was given at creation: the array never grows */
} ruvo_heap_st;

/** A new heap, or null when a given capacity cannot be allocated. A null
 * compare function orders items by the low 32 bits of their values (the
 * second subtracted from the first, wrapping, read as signed: values further
 * apart than 2^31 come out in the wrong order). A capacity of 0 gives a heap
 * that grows (16 items, then doubling); any other capacity is fixed. The
 * record itself comes from checked allocation. Free with ruvo_heap_destroy. */
RUVO_API ruvo_heap_st *ruvo_heap_create(ruvo_heap_cmp_fn compare, uint32_t capacity) RUVO_NOEXCEPT;

/** Frees the array and the record, not the items. Null does nothing. */
RUVO_API void ruvo_heap_destroy(ruvo_heap_st *heap) RUVO_NOEXCEPT;

/** 0 when `item` is in; -1 for a null heap or a null item (a null item is
 * never stored), when a fixed heap is full, or when growing the array fails,
 * which leaves the heap as it was. */
RUVO_API int32_t ruvo_heap_push(ruvo_heap_st *heap, void *item) RUVO_NOEXCEPT;

/** Removes the root and stores it in *item when `item` is not null. 0, or -1
 * when the heap is empty (or null), in which case nothing is stored. Equal
 * items do not come out in the order they went in. */
RUVO_API int32_t ruvo_heap_pop(ruvo_heap_st *heap, void **item) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_HEAP_H */
