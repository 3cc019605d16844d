// Plain allocation wrappers: null for what cannot be had, else the C runtime's blocks.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ruvo/base/memory.h"

namespace {

TEST(MemoryWrappers, ClearGrowAndGiveNullForImpossibleSizes) {
  auto *block = static_cast<char *>(ruvo_zero_malloc_(4096));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(std::string(block, 4096), std::string(4096, '\0'));
  std::memset(block, 'x', 4096);
  block = static_cast<char *>(ruvo_ralloc_(block, 1 << 20));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(std::string(block, 4096), std::string(4096, 'x'));
  EXPECT_FALSE(ruvo_malloc_(SIZE_MAX) || ruvo_zero_malloc_(SIZE_MAX - 8) || ruvo_ralloc_(block, SIZE_MAX));
  ruvo_free_(block);  // still ours after the refused growth
  ruvo_free_(ruvo_ralloc_(nullptr, 32));
  ruvo_free_(nullptr);
}

}  // namespace
