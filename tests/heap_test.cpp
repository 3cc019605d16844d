#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <queue>
#include <random>
#include <vector>

#include "ruvo/base/heap.h"

namespace {

// Callers (the timer heap) read these fields directly.
static_assert(offsetof(ruvo_heap_st, items) == 0);
static_assert(offsetof(ruvo_heap_st, count) == sizeof(void *));
static_assert(offsetof(ruvo_heap_st, capacity) == sizeof(void *) + 4);
static_assert(offsetof(ruvo_heap_st, compare) == sizeof(void *) + 8);
static_assert(offsetof(ruvo_heap_st, fixed) == 2 * sizeof(void *) + 8);

void *item(uintptr_t v) { return reinterpret_cast<void *>(v); }
uintptr_t val(void *p) { return reinterpret_cast<uintptr_t>(p); }

// Orders by the bits above the low 8, so items with the same upper part tie
// while staying distinguishable.
int32_t by_rank(void *a, void *b) {
  const uintptr_t x = val(a) >> 8, y = val(b) >> 8;
  return x < y ? -1 : x > y ? 1 : 0;
}

TEST(Heap, GrowingHeapStartsEmptyThenDoubles) {
  ruvo_heap_st *h = ruvo_heap_create(nullptr, 0);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(h->items, nullptr);
  EXPECT_EQ(h->capacity, 0u);
  EXPECT_EQ(h->fixed, 0);
  EXPECT_NE(h->compare, nullptr);
  for (uintptr_t i = 1; i <= 16; ++i) ASSERT_EQ(ruvo_heap_push(h, item(i)), 0);
  EXPECT_EQ(h->capacity, 16u);
  ASSERT_EQ(ruvo_heap_push(h, item(17)), 0);
  EXPECT_EQ(h->capacity, 32u);
  EXPECT_EQ(h->count, 17u);
  EXPECT_EQ(val(h->items[0]), 1u);
  ruvo_heap_destroy(h);
}

TEST(Heap, FixedHeapRefusesBeyondCapacity) {
  ruvo_heap_st *h = ruvo_heap_create(nullptr, 2);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(h->fixed, 1);
  EXPECT_EQ(h->capacity, 2u);
  EXPECT_EQ(ruvo_heap_push(h, item(4)), 0);
  EXPECT_EQ(ruvo_heap_push(h, item(2)), 0);
  EXPECT_EQ(ruvo_heap_push(h, item(1)), -1);
  EXPECT_EQ(h->count, 2u);
  EXPECT_EQ(val(h->items[0]), 2u);
  ruvo_heap_destroy(h);
}

TEST(Heap, BadArgumentsChangeNothing) {
  ruvo_heap_st *h = ruvo_heap_create(nullptr, 0);
  EXPECT_EQ(ruvo_heap_push(h, nullptr), -1);
  EXPECT_EQ(h->count, 0u);
  void *out = item(99);
  EXPECT_EQ(ruvo_heap_pop(h, &out), -1);
  EXPECT_EQ(val(out), 99u);
  EXPECT_EQ(ruvo_heap_push(nullptr, item(1)), -1);
  EXPECT_EQ(ruvo_heap_pop(nullptr, &out), -1);
  ruvo_heap_destroy(nullptr);
  ruvo_heap_destroy(h);
}

TEST(Heap, DefaultOrderIsAscendingByLow32Bits) {
  ruvo_heap_st *h = ruvo_heap_create(nullptr, 0);
  for (uintptr_t v : {5u, 1u, 3u}) ruvo_heap_push(h, item(v));
  void *out = nullptr;
  for (uintptr_t want : {1u, 3u}) {
    ASSERT_EQ(ruvo_heap_pop(h, &out), 0);
    EXPECT_EQ(val(out), want);
  }
  EXPECT_EQ(ruvo_heap_pop(h, nullptr), 0);  // removes 5 without handing it out
  EXPECT_EQ(h->count, 0u);
  if constexpr (sizeof(void *) == 8) {
    // Only the low 32 bits count: 0x1'00000001 ranks as 1.
    ruvo_heap_push(h, item(2));
    ruvo_heap_push(h, item(uintptr_t{1} << 32 | 1));
    ruvo_heap_pop(h, &out);
    EXPECT_EQ(val(out), uintptr_t{1} << 32 | 1);
  }
  ruvo_heap_destroy(h);
}

TEST(Heap, EqualItemsComeOutByTheSiftRulesNotByInsertion) {
  // A, B, C, D all tie. Popping A moves D to the root; the tie between B and
  // C picks the right child C, and D sinks below C although equal.
  ruvo_heap_st *h = ruvo_heap_create(by_rank, 0);
  for (uintptr_t v : {0x101u, 0x102u, 0x103u, 0x104u}) ruvo_heap_push(h, item(v));
  std::vector<uintptr_t> got;
  void *out = nullptr;
  while (ruvo_heap_pop(h, &out) == 0) got.push_back(val(out));
  EXPECT_EQ(got, (std::vector<uintptr_t>{0x101, 0x103, 0x102, 0x104}));
  ruvo_heap_destroy(h);
}

TEST(Heap, RandomPushPopMatchesPriorityQueue) {
  std::mt19937 rng(12345);
  ruvo_heap_st *h = ruvo_heap_create(by_rank, 0);
  // Min-queue on the rank; few distinct ranks, so ties are frequent.
  std::priority_queue<uintptr_t, std::vector<uintptr_t>, std::greater<>> ref;
  for (int step = 0; step < 20000; ++step) {
    if (rng() % 3 != 0 || ref.empty()) {
      const uintptr_t rank = 1 + rng() % 50;
      ASSERT_EQ(ruvo_heap_push(h, item(rank << 8 | (rng() & 0xFF))), 0);
      ref.push(rank);
    } else {
      void *out = nullptr;
      ASSERT_EQ(ruvo_heap_pop(h, &out), 0);
      ASSERT_EQ(val(out) >> 8, ref.top());
      ref.pop();
    }
    ASSERT_EQ(h->count, ref.size());
    if (!ref.empty()) {
      ASSERT_EQ(val(h->items[0]) >> 8, ref.top());
    }
  }
  while (!ref.empty()) {
    void *out = nullptr;
    ASSERT_EQ(ruvo_heap_pop(h, &out), 0);
    ASSERT_EQ(val(out) >> 8, ref.top());
    ref.pop();
  }
  EXPECT_EQ(ruvo_heap_pop(h, nullptr), -1);
  ruvo_heap_destroy(h);
}

}  // namespace
