// The start record when the thread cannot start, driven through the seam
// that makes the C runtime's thread creation fail.
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>

#include "internal/fault.hpp"
#include "ruvo/base/thread.h"

namespace {

size_t busy_process_heap_blocks() {
  HANDLE heap = ::GetProcessHeap();
  ::HeapLock(heap);
  PROCESS_HEAP_ENTRY entry{};
  size_t n = 0;
  while (::HeapWalk(heap, &entry)) {
    if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) ++n;
  }
  ::HeapUnlock(heap);
  return n;
}

std::atomic<int> g_ran{0};
uint32_t count_run(void *) {
  g_ran.fetch_add(1);
  return 0;
}

TEST(ThreadStart, AThreadThatCannotStartFreesItsRecordAndGivesErrno) {
  ruvo::fault::fail_thread_starts(true);
  const size_t before = busy_process_heap_blocks();
  for (int i = 0; i < 300; ++i) {
    ruvo_thread_st t{reinterpret_cast<void *>(1), 0};
    ASSERT_EQ(ruvo_thread_start(&t, count_run, nullptr), static_cast<uint32_t>(EAGAIN));
    ASSERT_EQ(t.handle, nullptr);
  }
  EXPECT_LT(busy_process_heap_blocks(), before + 30);
  ruvo::fault::fail_thread_starts(false);

  ruvo_thread_st t{};
  ASSERT_EQ(ruvo_thread_start(&t, count_run, nullptr), RUVO_OK);
  ASSERT_EQ(ruvo_thread_join(&t, nullptr), RUVO_OK);
  EXPECT_EQ(g_ran.load(), 1);
}

}  // namespace
