// Out-of-memory paths of the vector, driven through the allocation fault seam.
#include <gtest/gtest.h>

#include <cstdint>

#include "internal/fault.hpp"
#include "ruvo/base/vector.h"

namespace {

// Items are pointer-sized values; the tests use small integers.
void *item(uintptr_t n) { return reinterpret_cast<void *>(n); }
uintptr_t num(void *p) { return reinterpret_cast<uintptr_t>(p); }

struct FaultOff {
  ~FaultOff() { ruvo::fault::fail_allocations_after(-1); }
};

ruvo_vector_st *const kUntouched = reinterpret_cast<ruvo_vector_st *>(uintptr_t{0xABC0});

TEST(VectorFaults, CreateFailingOnTheRecordLeavesThePointer) {
  FaultOff off;
  ruvo_vector_st *v = kUntouched;
  ruvo::fault::fail_allocations_after(0);
  EXPECT_EQ(ruvo_vector_create(&v, 8), RUVO_E_NOMEM);
  EXPECT_EQ(v, kUntouched);
}

TEST(VectorFaults, CreateFailingOnTheArrayLeavesThePointer) {
  FaultOff off;
  ruvo_vector_st *v = kUntouched;
  ruvo::fault::fail_allocations_after(1);  // the record succeeds (and is freed)
  EXPECT_EQ(ruvo_vector_create(&v, 0), RUVO_E_NOMEM);
  EXPECT_EQ(v, kUntouched);
}

TEST(VectorFaults, PushBackFailingToGrowLeavesTheVectorAsItWas) {
  FaultOff off;
  ruvo_vector_st *v = nullptr;
  ASSERT_EQ(ruvo_vector_create(&v, 1), RUVO_OK);
  // Growth from 1 to 2 takes exactly one allocation; from 2 to 4 it fails.
  ruvo::fault::fail_allocations_after(1);
  ASSERT_EQ(ruvo_vector_push_back(v, item(11)), RUVO_OK);  // fits, no allocation
  ASSERT_EQ(ruvo_vector_push_back(v, item(22)), RUVO_OK);  // grows to 2
  ASSERT_EQ(ruvo_vector_capacity(v), 2u);
  EXPECT_EQ(ruvo_vector_push_back(v, item(33)), RUVO_E_NOMEM);
  EXPECT_EQ(ruvo_vector_size(v), 2u);
  EXPECT_EQ(ruvo_vector_capacity(v), 2u);
  EXPECT_EQ(num(ruvo_vector_pos_at(v, 0)), 11u);
  EXPECT_EQ(num(ruvo_vector_pos_at(v, 1)), 22u);
  EXPECT_EQ(num(ruvo_vector_pos_at(v, 2)), 0u);

  // Room freed by a pop needs no allocation, and the vector grows again once
  // memory is back.
  EXPECT_EQ(num(ruvo_vector_pop_back(v)), 22u);
  EXPECT_EQ(ruvo_vector_push_back(v, item(44)), RUVO_OK);
  ruvo::fault::fail_allocations_after(-1);
  EXPECT_EQ(ruvo_vector_push_back(v, item(55)), RUVO_OK);
  EXPECT_EQ(ruvo_vector_capacity(v), 4u);
  EXPECT_EQ(num(ruvo_vector_pos_at(v, 0)), 11u);
  EXPECT_EQ(num(ruvo_vector_pos_at(v, 1)), 44u);
  EXPECT_EQ(num(ruvo_vector_pos_at(v, 2)), 55u);
  ruvo_vector_destroy(v);
}

}  // namespace
