// Binary heap when memory runs out, driven through the allocation fault seam.
#include <gtest/gtest.h>

#include <vector>

#include "internal/fault.hpp"
#include "ruvo/base/heap.h"

namespace {

// A fixed heap whose array cannot be had is not made, and its record does
// not stay behind (the sanitizer build reports it); a growing heap that
// cannot grow refuses the push and keeps what it held.
TEST(HeapFaults, FailedAllocationsLeaveNothingBehindAndTheHeapAsItWas) {
  ruvo::fault::fail_allocations_after(0);  // the record is checked allocation; the array fails
  EXPECT_EQ(ruvo_heap_create(nullptr, 4), nullptr);
  ruvo::fault::fail_allocations_after(-1);
  ruvo_heap_st *h = ruvo_heap_create(nullptr, 0);
  for (uintptr_t v = 16; v >= 1; --v) ASSERT_EQ(ruvo_heap_push(h, reinterpret_cast<void *>(v)), 0);
  ruvo::fault::fail_allocations_after(0);  // the full array of 16 cannot double
  EXPECT_EQ(ruvo_heap_push(h, reinterpret_cast<void *>(uintptr_t{99})), -1);
  ruvo::fault::fail_allocations_after(-1);
  EXPECT_EQ((std::vector<uint32_t>{h->count, h->capacity}), (std::vector<uint32_t>{16, 16}));
  std::vector<uintptr_t> out;
  for (void *p = nullptr; ruvo_heap_pop(h, &p) == 0;) out.push_back(reinterpret_cast<uintptr_t>(p));
  EXPECT_EQ(out, (std::vector<uintptr_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
  ruvo_heap_destroy(h);
}

}  // namespace
