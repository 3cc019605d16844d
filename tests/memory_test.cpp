// Plain allocation wrappers.
#include <gtest/gtest.h>

#include <cstring>

#include "ruvo/base/memory.h"

namespace {

TEST(MemoryWrappers, AllocateClearGrowAndFree) {
  auto *zeroed = static_cast<unsigned char *>(ruvo_zero_malloc_(4096));
  ASSERT_NE(zeroed, nullptr);
  for (int i = 0; i < 4096; ++i) ASSERT_EQ(zeroed[i], 0) << i;
  std::memset(zeroed, 0xAB, 4096);
  auto *grown = static_cast<unsigned char *>(ruvo_ralloc_(zeroed, 1 << 20));
  ASSERT_NE(grown, nullptr);
  EXPECT_EQ(grown[4095], 0xAB);
  ruvo_free_(grown);

  void *fresh = ruvo_ralloc_(nullptr, 32);  // acts as malloc
  ASSERT_NE(fresh, nullptr);
  ruvo_free_(fresh);
  ruvo_free_(nullptr);
}

TEST(MemoryWrappers, ImpossibleSizesGiveNull) {
  EXPECT_EQ(ruvo_malloc_(SIZE_MAX), nullptr);
  EXPECT_EQ(ruvo_zero_malloc_(SIZE_MAX - 8), nullptr);
  void *block = ruvo_malloc_(16);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(ruvo_ralloc_(block, SIZE_MAX), nullptr);  // the old block stays valid
  ruvo_free_(block);
}

}  // namespace
