// Checked allocation: a failure writes a [fatal] record and ends the process.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "ruvo/base/log.h"
#include "ruvo/base/memory.h"

namespace {

// An output of the test's own, so that the record reaches standard error on
// Windows too, where a process without one would start the auto log.
void to_stderr(uint32_t, const char *format, va_list args) { std::vfprintf(stderr, format, args); }

// Hidden from the optimiser, which would otherwise refuse the call outright.
volatile int32_t g_impossible_size = -1;
void *volatile g_kept_block;  // reachable at exit, so the leak checker stays quiet

// The record reaches the output; the exit status is 0.
TEST(CheckedAllocationDeathTest, FailedMallocOrReallocLogsAndExitsWithZero) {
  ruvo_log_output_register(to_stderr);
  constexpr char kFatalRecord[] = "\\[fatal\\] \\[pid:.*\\[kel\\] \\[memory:.*\\] Out of memory";
  EXPECT_EXIT(ruvo_malloc(g_impossible_size), ::testing::ExitedWithCode(0), kFatalRecord);
  g_kept_block = ruvo_malloc(8);
  EXPECT_EXIT(ruvo_ralloc(g_kept_block, g_impossible_size), ::testing::ExitedWithCode(0), kFatalRecord);
  std::free(g_kept_block);
}

}  // namespace
