#include <gtest/gtest.h>

#include <cstddef>
#include <queue>
#include <random>
#include <vector>

#include "ruvo/base/heap.h"

namespace {

void *item(uintptr_t v) { return reinterpret_cast<void *>(v); }
uintptr_t val(void *p) { return reinterpret_cast<uintptr_t>(p); }
// Ranks by the bits above the low 8, highest first so as never to agree
// with the default order; equal ranks tie yet stay distinguishable.
int32_t by_rank(void *a, void *b) {
  return (val(a) >> 8 < val(b) >> 8) - (val(a) >> 8 > val(b) >> 8);
}
std::vector<uintptr_t> drain(ruvo_heap_st *h) {
  std::vector<uintptr_t> out;
  for (void *p = nullptr; ruvo_heap_pop(h, &p) == 0;) out.push_back(val(p));
  return out;
}

// The wrapping difference puts 0xFFFFFFF0 before 0x10, as a tick count
// just before the wrap comes before one just after it.
TEST(Heap, DefaultOrderIsByTheWrappingLow32BitDifferenceAndAFixedHeapRefusesWhenFull) {
  ruvo_heap_st *h = ruvo_heap_create(nullptr, 0), *f = ruvo_heap_create(nullptr, 2);
  const uintptr_t high = sizeof(void *) == 8 ? uintptr_t(1) << 32 : 0;  // ranks as its low bits
  for (uintptr_t v : {uintptr_t{0x10}, uintptr_t{5}, high | 1, uintptr_t{0xFFFFFFF0}, uintptr_t{3}})
    ruvo_heap_push(h, item(v));
  EXPECT_EQ(drain(h), (std::vector<uintptr_t>{0xFFFFFFF0, high | 1, 3, 5, 0x10}));
  void *out = item(99);
  EXPECT_EQ((std::vector<int32_t>{ruvo_heap_pop(h, &out), ruvo_heap_push(h, nullptr),
                                  ruvo_heap_push(nullptr, item(1)), ruvo_heap_pop(nullptr, &out),
                                  ruvo_heap_push(f, item(4)), ruvo_heap_push(f, item(2)),
                                  ruvo_heap_push(f, item(1)), ruvo_heap_pop(f, nullptr), f->fixed,
                                  h->fixed}),
            (std::vector<int32_t>{-1, -1, -1, -1, 0, 0, -1, 0, 1, 0}));
  EXPECT_EQ(val(out), 99u);
  EXPECT_EQ(drain(f), (std::vector<uintptr_t>{4}));  // pop without an address took the 2
  ruvo_heap_destroy(h);
  ruvo_heap_destroy(f);
  ruvo_heap_destroy(nullptr);
}

// Equal items come out by the sift rules, not by insertion: of four ties,
// popping the root moves the last item up, the tie between the children
// picks the right one, and the moved item sinks below it. Then a random
// run that also checks growth: 16 items at first, then doubling.
TEST(Heap, TiesFollowTheSiftRulesAndRandomPushPopMatchesPriorityQueue) {
  ruvo_heap_st *h = ruvo_heap_create(by_rank, 0);
  for (uintptr_t v : {0x101u, 0x102u, 0x103u, 0x104u}) ruvo_heap_push(h, item(v));
  EXPECT_EQ(drain(h), (std::vector<uintptr_t>{0x101, 0x103, 0x102, 0x104}));
  std::mt19937 rng(12345);
  std::priority_queue<uintptr_t> ref;  // ranks only, highest on top
  for (uint32_t step = 0, capacity = 16; step < 30000; ++step) {
    if (step < 20000 && (rng() % 3 != 0 || ref.empty())) {
      const uintptr_t rank = 1 + rng() % 50;  // few ranks: many ties
      ASSERT_EQ(ruvo_heap_push(h, item(rank << 8 | (rng() & 0xFF))), 0);
      ref.push(rank);
      capacity *= ref.size() > capacity ? 2 : 1;
      ASSERT_EQ(h->capacity, capacity);
    } else if (!ref.empty()) {
      void *out = nullptr;
      ASSERT_EQ(ruvo_heap_pop(h, &out), 0);
      ASSERT_EQ(val(out) >> 8, ref.top());
      ref.pop();
    }
    ASSERT_EQ(h->count, ref.size());
  }
  EXPECT_EQ(ruvo_heap_pop(h, nullptr), -1);
  ruvo_heap_destroy(h);
}

}  // namespace
