// Checked allocation: a failure writes a [fatal] record and ends the process.
#include <gtest/gtest.h>

#include <cstdlib>

#include "ruvo/base/memory.h"

namespace {

// Hidden from the optimiser, which would otherwise refuse the call outright.
volatile int32_t g_impossible_size = -1;
void *volatile g_kept_block;  // reachable at exit, so the leak checker stays quiet

// With no output registered the record goes to standard error; the exit status is 0.
TEST(CheckedAllocationDeathTest, FailedMallocOrReallocLogsAndExitsWithZero) {
  constexpr char kFatalRecord[] = "\\[fatal\\] \\[pid:.*\\[kel\\] \\[memory:.*\\] Out of memory";
  EXPECT_EXIT(ruvo_malloc(g_impossible_size), ::testing::ExitedWithCode(0), kFatalRecord);
  g_kept_block = ruvo_malloc(8);
  EXPECT_EXIT(ruvo_ralloc(g_kept_block, g_impossible_size), ::testing::ExitedWithCode(0), kFatalRecord);
  std::free(g_kept_block);
}

}  // namespace
