// Out-of-memory paths of the vector, driven through the allocation fault seam.
#include <gtest/gtest.h>

#include <vector>

#include "internal/fault.hpp"
#include "ruvo/base/vector.h"

namespace {

void *item(uintptr_t n) { return reinterpret_cast<void *>(n); }
uintptr_t num(void *p) { return reinterpret_cast<uintptr_t>(p); }

// Create failing on the record, then on the array, leaves the caller's
// pointer; a push that cannot grow the array leaves the vector as it was.
TEST(VectorFaults, FailedAllocationsLeaveEverythingAsItWas) {
  ruvo_vector_st *const untouched = reinterpret_cast<ruvo_vector_st *>(uintptr_t{0xABC0});
  for (long succeed : {0L, 1L}) {
    ruvo_vector_st *v = untouched;
    ruvo::fault::fail_allocations_after(succeed);
    EXPECT_EQ(ruvo_vector_create(&v, succeed == 0 ? 8 : 0), RUVO_E_NOMEM);
    ruvo::fault::fail_allocations_after(-1);
    EXPECT_EQ(v, untouched);
  }
  ruvo_vector_st *v = nullptr;
  ASSERT_EQ(ruvo_vector_create(&v, 1), RUVO_OK);
  ruvo::fault::fail_allocations_after(1);  // growth from 1 to 2 succeeds, from 2 to 4 fails
  ASSERT_EQ(ruvo_vector_push_back(v, item(11)) + ruvo_vector_push_back(v, item(22)), RUVO_OK);
  EXPECT_EQ(ruvo_vector_push_back(v, item(33)), RUVO_E_NOMEM);
  ruvo::fault::fail_allocations_after(-1);  // memory is back
  EXPECT_EQ((std::vector<size_t>{ruvo_vector_size(v), ruvo_vector_capacity(v),
                                 num(ruvo_vector_pos_at(v, 0)), num(ruvo_vector_pos_at(v, 1)),
                                 num(ruvo_vector_pos_at(v, 2)), ruvo_vector_push_back(v, item(33)),
                                 ruvo_vector_capacity(v)}),
            (std::vector<size_t>{2, 2, 11, 22, 0, RUVO_OK, 4}));
  ruvo_vector_destroy(v);
}

}  // namespace
