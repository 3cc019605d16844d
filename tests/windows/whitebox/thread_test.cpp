// The start record of a thread that cannot start, through the seam that fails _beginthreadex.
#include <windows.h>

#include <gtest/gtest.h>

#include "internal/fault.hpp"
#include "ruvo/base/thread.h"
#include "support/support.hpp"

namespace {

int g_ran = 0;
uint32_t count_run(void *) { return static_cast<uint32_t>(++g_ran); }

TEST(ThreadStart, AThreadThatCannotStartFreesItsRecordAndGivesErrno) {
  ruvo_thread_st started{};
  ASSERT_EQ(ruvo_thread_start(&started, count_run, nullptr), RUVO_OK);
  ASSERT_EQ(ruvo_thread_join(&started, nullptr), RUVO_OK);
  ruvo::fault::fail_thread_starts(true);
  const size_t before = ruvo_test::busy_process_heap_blocks();
  for (int i = 0; i < 300; ++i) {
    ruvo_thread_st t{reinterpret_cast<void *>(1), 0};
    ASSERT_EQ(ruvo_thread_start(&t, count_run, nullptr), static_cast<uint32_t>(EAGAIN));
    ASSERT_EQ(t.handle, nullptr);
  }
  EXPECT_LT(ruvo_test::busy_process_heap_blocks(), before + 30);
  ruvo::fault::fail_thread_starts(false);
  EXPECT_EQ(g_ran, 1);
}

}  // namespace
