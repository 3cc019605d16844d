// Checked allocation: a failure writes a [fatal] record and ends the process.
#include <gtest/gtest.h>

#include "ruvo/base/memory.h"

namespace {

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

}  // namespace
