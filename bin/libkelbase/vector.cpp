// Vector: a growing array of non-null pointer-sized items with an in-place
// quicksort. Out of memory is a result here, so the array comes from the plain
// wrappers and a failed allocation leaves the vector as it was.
#include "ruvo/base/vector.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "ruvo/base/memory.h"

struct ruvo_vector_st {
  size_t size;       // items held
  size_t capacity;   // items the array holds
  void **items;  // the array, owned; slots at and past `size` are null
};

namespace {

constexpr size_t kDefaultCapacity = 256;

// A cleared array of `count` items, or null when it cannot be had (including
// a byte size that does not fit in size_t).
void **new_array(size_t count) noexcept {
  if (count > SIZE_MAX / sizeof(void *)) return nullptr;
  const size_t bytes = count * sizeof(void *);
  auto *items = static_cast<void **>(ruvo_malloc_(bytes));
  if (items != nullptr) std::memset(items, 0, bytes);
  return items;
}

// Puts the pivot items[low] where it belongs in items[low..high] and returns
// that index. The pivot travels: each swap moves it between i and j, so it
// always stands at one end of the unexamined window, and it is always the
// first argument of `compare`.
int64_t partition(void **items, int64_t low, int64_t high,
                  ruvo_vector_cmp_fn compare) noexcept {
  int64_t i = low;
  int64_t j = high;
  void *const pivot = items[i];
  while (i < j) {
    while (i < j && compare(pivot, items[j]) <= 0) --j;
    if (i < j) {
      std::swap(items[i], items[j]);
      ++i;
    }
    if (i < j) {
      while (i < j && compare(pivot, items[i]) >= 0) ++i;
      if (i < j) {
        std::swap(items[i], items[j]);
        --j;
      }
    }
  }
  return i;
}

// Moves the median of the first, middle and last items into the first
// place, where the partition takes its pivot: sorted, reverse-sorted and
// organ-pipe inputs then split near the middle instead of losing one item a
// pass.
void median_first(void **items, int64_t low, int64_t high, ruvo_vector_cmp_fn compare) noexcept {
  const int64_t mid = low + (high - low) / 2;
  void *a = items[low], *b = items[mid], *c = items[high];
  int64_t median;
  if (compare(a, b) < 0) {
    median = compare(b, c) < 0 ? mid : (compare(a, c) < 0 ? high : low);
  } else {
    median = compare(a, c) < 0 ? low : (compare(b, c) < 0 ? high : mid);
  }
  std::swap(items[low], items[median]);
}

// The fallback when partitions keep coming out lopsided: O(n log n) on any
// input, in place.
void heap_sort(void **first, void **last, ruvo_vector_cmp_fn compare) noexcept {
  const auto less = [compare](void *a, void *b) { return compare(a, b) < 0; };
  std::make_heap(first, last, less);
  std::sort_heap(first, last, less);
}

// Recursing only into the smaller side keeps the stack below log2(n); the
// larger side is taken by the loop. Each partition, in the loop or in a
// call, spends one unit of `depth`: once 2 log2(n) are spent the input is
// defeating the pivot choice, and the range left is heap-sorted.
void sort_range(void **items, int64_t low, int64_t high, ruvo_vector_cmp_fn compare,
                int depth) noexcept {
  while (low < high) {
    if (depth-- == 0) {
      heap_sort(items + low, items + high + 1, compare);
      return;
    }
    median_first(items, low, high, compare);
    const int64_t mid = partition(items, low, high, compare);
    if (mid - low < high - mid) {
      sort_range(items, low, mid - 1, compare, depth);
      low = mid + 1;
    } else {
      sort_range(items, mid + 1, high, compare, depth);
      high = mid - 1;
    }
  }
}

}  // namespace

extern "C" {

RUVO_API uint32_t ruvo_vector_create(ruvo_vector_st **vector, size_t capacity) noexcept {
  if (vector == nullptr) return RUVO_E_INVAL;

  auto *v = static_cast<ruvo_vector_st *>(ruvo_malloc_(sizeof(ruvo_vector_st)));
  if (v == nullptr) return RUVO_E_NOMEM;
  if (capacity == 0) capacity = kDefaultCapacity;
  v->items = new_array(capacity);
  if (v->items == nullptr) {
    ruvo_free_(v);
    return RUVO_E_NOMEM;
  }
  v->size = 0;
  v->capacity = capacity;
  *vector = v;
  return RUVO_OK;
}

RUVO_API void ruvo_vector_destroy(ruvo_vector_st *vector) noexcept {
  if (vector == nullptr) return;
  ruvo_free_(vector->items);
  vector->items = nullptr;
  vector->size = 0;
  vector->capacity = 0;
  ruvo_free_(vector);
}

RUVO_API void ruvo_vector_clear(ruvo_vector_st *vector, ruvo_vector_free_fn release) noexcept {
  if (vector == nullptr || vector->size == 0) return;
  if (release != nullptr) {
    for (size_t k = 0; k < vector->size; ++k) release(vector->items[k]);
  }
  std::memset(vector->items, 0, vector->size * sizeof(void *));
  vector->size = 0;
}

RUVO_API uint32_t ruvo_vector_push_back(ruvo_vector_st *vector, void *item) noexcept {
  if (vector == nullptr || item == nullptr) return RUVO_E_INVAL;

  if (vector->size == vector->capacity) {
    // Never realloc: the old array must survive a failure untouched, and the
    // new one is built beside it.
    if (vector->capacity > SIZE_MAX / 2) return RUVO_E_NOMEM;
    const size_t grown = vector->capacity * 2;
    void **items = new_array(grown);
    if (items == nullptr) return RUVO_E_NOMEM;
    std::memcpy(items, vector->items, vector->size * sizeof(void *));
    ruvo_free_(vector->items);
    vector->items = items;
    vector->capacity = grown;
  }
  vector->items[vector->size++] = item;
  return RUVO_OK;
}

RUVO_API void *ruvo_vector_pop_back(ruvo_vector_st *vector) noexcept {
  if (vector == nullptr || vector->size == 0) return nullptr;
  void *const item = vector->items[--vector->size];
  vector->items[vector->size] = nullptr;
  return item;
}

RUVO_API void *ruvo_vector_pos_at(const ruvo_vector_st *vector, size_t index) noexcept {
  if (vector == nullptr || index >= vector->size) return nullptr;
  return vector->items[index];
}

RUVO_API void *ruvo_vector_pos_del(ruvo_vector_st *vector, size_t index) noexcept {
  if (vector == nullptr || index >= vector->size) return nullptr;
  void *const item = vector->items[index];
  std::memmove(vector->items + index, vector->items + index + 1,
               (vector->size - index - 1) * sizeof(void *));
  vector->items[--vector->size] = nullptr;
  return item;
}

RUVO_API size_t ruvo_vector_size(const ruvo_vector_st *vector) noexcept {
  return vector == nullptr ? 0 : vector->size;
}

RUVO_API size_t ruvo_vector_capacity(const ruvo_vector_st *vector) noexcept {
  return vector == nullptr ? 0 : vector->capacity;
}

RUVO_API int32_t ruvo_vector_empty(const ruvo_vector_st *vector) noexcept {
  return vector == nullptr || vector->size == 0 ? 1 : 0;
}

RUVO_API uint32_t ruvo_vector_qsort(ruvo_vector_st *vector, ruvo_vector_cmp_fn compare) noexcept {
  if (vector == nullptr || compare == nullptr) return RUVO_E_INVAL;
  // The range limits are 32-bit signed, as they have always been for this
  // call: a vector of more than 2^31 items is not sorted as a whole.
  const int32_t high = static_cast<int32_t>(vector->size - 1);
  if (high < 1) return RUVO_OK;
  const int depth = 2 * (63 - __builtin_clzll(static_cast<uint64_t>(high) + 1));
  sort_range(vector->items, 0, high, compare, depth);
  return RUVO_OK;
}

}  // extern "C"
