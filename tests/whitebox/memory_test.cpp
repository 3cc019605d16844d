// Checked allocation and the allocation fault seam.
#include <gtest/gtest.h>

#include <cstring>

#include "internal/fault.hpp"
#include "ruvo/base/memory.h"

namespace {

TEST(CheckedAllocation, GivesUsableBlocks) {
  auto *zeroed = static_cast<unsigned char *>(ruvo_zero_malloc(100));
  for (int i = 0; i < 100; ++i) ASSERT_EQ(zeroed[i], 0);
  zeroed = static_cast<unsigned char *>(ruvo_ralloc(zeroed, 200));
  EXPECT_EQ(zeroed[99], 0);
  std::free(zeroed);
  char *copy = ruvo_xstrdup("tagged");
  EXPECT_STREQ(copy, "tagged");
  std::free(copy);
}

// The record is "[fatal] ... [memory:<line>] Out of memory" on standard error
// (no output registered), and the process then ends with status 0.
// Hidden from the optimiser, which would otherwise refuse the call outright.
volatile int32_t g_impossible_size = -1;
void *volatile g_kept_block;  // reachable at exit, so the leak checker stays quiet

constexpr char kFatalRecord[] = "\\[fatal\\] \\[pid:.*\\[kel\\] \\[memory:.*\\] Out of memory";

TEST(CheckedAllocationDeathTest, FailedMallocLogsAndExitsWithZero) {
  EXPECT_EXIT(ruvo_malloc(g_impossible_size), ::testing::ExitedWithCode(0), kFatalRecord);
}

TEST(CheckedAllocationDeathTest, FailedReallocLogsAndExitsWithZero) {
  EXPECT_EXIT(
      {
        g_kept_block = ruvo_malloc(8);
        ruvo_ralloc(g_kept_block, g_impossible_size);
      },
      ::testing::ExitedWithCode(0), kFatalRecord);
}

TEST(AllocationFaults, FailAfterCountdownUntilTurnedOff) {
  ruvo::fault::fail_allocations_after(2);
  void *a = ruvo_malloc_(8);
  void *b = ruvo_zero_malloc_(8);
  EXPECT_EQ(ruvo_malloc_(8), nullptr);
  EXPECT_EQ(ruvo_ralloc_(a, 64), nullptr);
  ruvo::fault::fail_allocations_after(-1);
  void *c = ruvo_malloc_(8);
  EXPECT_NE(a, nullptr);
  EXPECT_NE(b, nullptr);
  EXPECT_NE(c, nullptr);
  ruvo_free_(a);
  ruvo_free_(b);
  ruvo_free_(c);
}

}  // namespace
