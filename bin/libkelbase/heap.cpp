// Binary min-heap in one array of pointer-sized items. The timer heap reads
// items[0] and count directly, so the record's layout is fixed by the public
// header and pinned below.
#include "ruvo/base/heap.h"

#include <cstddef>
#include <cstdlib>

#include "ruvo/base/memory.h"

static_assert(offsetof(ruvo_heap_st, items) == 0);
static_assert(offsetof(ruvo_heap_st, count) == sizeof(void *));
static_assert(offsetof(ruvo_heap_st, capacity) == sizeof(void *) + 4);
static_assert(offsetof(ruvo_heap_st, compare) == sizeof(void *) + 8);
static_assert(offsetof(ruvo_heap_st, fixed) == 2 * sizeof(void *) + 8);

namespace {

// Orders by the low 32 bits: the wrapping difference read as signed.
int32_t default_compare(void *a, void *b) noexcept {
  const auto x = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(a));
  const auto y = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(b));
  return static_cast<int32_t>(x - y);
}

// The default compare as a type of its own, so that the sifts inline it.
constexpr auto kDefault = [](void *a, void *b) noexcept { return default_compare(a, b); };

// The sifts move a hole instead of swapping: the item being placed is
// written once at the end, which gives the same array as swapping step by
// step. The comparison is a template argument so that the default one
// inlines.
template <class Cmp>
void sift_up(void **items, uint32_t i, Cmp cmp) noexcept {
  void *x = items[i];
  while (i != 0) {
    const uint32_t parent = (i - 1) / 2;
    if (cmp(x, items[parent]) >= 0) break;
    items[i] = items[parent];
    i = parent;
  }
  items[i] = x;
}

// Ties go to the right child, and an item equal to its child still sinks:
// the order of equal items is fixed by these rules, not by insertion.
template <class Cmp>
void sift_down(void **items, uint32_t count, Cmp cmp) noexcept {
  void *x = items[0];
  uint32_t i = 0;
  for (;;) {
    const uint64_t l = 2 * static_cast<uint64_t>(i) + 1;
    if (l >= count) break;
    // The grandchildren lie side by side: asking for them now hides most of
    // the next level's cache miss in a big heap.
    if (2 * l + 1 < count) __builtin_prefetch(&items[2 * l + 1]);
    uint32_t child = static_cast<uint32_t>(l);
    // Written as arithmetic so that the unpredictable choice needs no branch.
    if (l + 1 < count) child += cmp(items[l], items[l + 1]) >= 0 ? 1u : 0u;
    if (cmp(x, items[child]) < 0) break;
    items[i] = items[child];
    i = child;
  }
  items[i] = x;
}

}  // namespace

extern "C" {

RUVO_API ruvo_heap_st *ruvo_heap_create(ruvo_heap_cmp_fn compare, uint32_t capacity) noexcept {
  auto *heap = static_cast<ruvo_heap_st *>(ruvo_malloc(sizeof(ruvo_heap_st)));
  heap->items = nullptr;
  heap->count = 0;
  heap->capacity = 0;
  heap->fixed = 0;
  heap->compare = compare != nullptr ? compare : &default_compare;
  if (capacity == 0) return heap;

  // The one allocation of the family that may fail with a result: a fixed
  // capacity is the caller's number and may be absurd.
  heap->items = static_cast<void **>(ruvo_malloc_(static_cast<size_t>(capacity) * sizeof(void *)));
  if (heap->items == nullptr) {
    std::free(heap);
    return nullptr;
  }
  heap->fixed = 1;
  heap->capacity = capacity;
  return heap;
}

RUVO_API void ruvo_heap_destroy(ruvo_heap_st *heap) noexcept {
  if (heap == nullptr) return;
  ruvo_free_(heap->items);
  std::free(heap);
}

RUVO_API int32_t ruvo_heap_push(ruvo_heap_st *heap, void *item) noexcept {
  if (heap == nullptr || item == nullptr) return -1;
  if (heap->count >= heap->capacity) {
    if (heap->fixed != 0) return -1;
    if (heap->capacity > UINT32_MAX / 2) return -1;
    const uint32_t capacity = heap->capacity == 0 ? 16 : heap->capacity * 2;
    void *grown = ruvo_ralloc_(heap->items, static_cast<size_t>(capacity) * sizeof(void *));
    if (grown == nullptr) return -1;
    heap->items = static_cast<void **>(grown);
    heap->capacity = capacity;
  }

  const uint32_t i = heap->count++;
  heap->items[i] = item;
  if (heap->compare == &default_compare) {
    sift_up(heap->items, i, kDefault);
  } else {
    sift_up(heap->items, i, heap->compare);
  }
  return 0;
}

RUVO_API int32_t ruvo_heap_pop(ruvo_heap_st *heap, void **item) noexcept {
  if (heap == nullptr || heap->count == 0) return -1;
  void **items = heap->items;
  if (item != nullptr) *item = items[0];
  const uint32_t count = --heap->count;
  items[0] = items[count];
  if (count == 0) return 0;

  if (heap->compare == &default_compare) {
    sift_down(items, count, kDefault);
  } else {
    sift_down(items, count, heap->compare);
  }
  return 0;
}

}  // extern "C"
