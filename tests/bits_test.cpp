#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "ruvo/base/bits.h"

namespace {

TEST(Bits, ValueSixtyThreeIsTheTopBitOfTheSecondWord) {
  uint32_t words[3] = {0, 0, 0xDEADBEEF};
  EXPECT_EQ(ruvo_set_bit(words, 2, 63), 1);
  EXPECT_EQ(words[0], 0u);
  EXPECT_EQ(words[1], 0x80000000u);
  EXPECT_EQ(ruvo_contain_val(words, 2, 63), 1);
  EXPECT_EQ(ruvo_contain_val(words, 2, 62), 0);
  // 64 lies in word 2, past the count: nothing is done, even though the
  // array happens to be longer.
  EXPECT_EQ(ruvo_set_bit(words, 2, 64), 0);
  EXPECT_EQ(ruvo_cls_bit(words, 2, 65), 0);
  EXPECT_EQ(ruvo_contain_val(words, 2, 64), 0);
  EXPECT_EQ(words[2], 0xDEADBEEFu);
  EXPECT_EQ(ruvo_cls_bit(words, 2, 63), 1);
  EXPECT_EQ(words[1], 0u);
}

TEST(Bits, NullWordsAndZeroCountDoNothing) {
  uint32_t word = 0;
  EXPECT_EQ(ruvo_set_bit(nullptr, 4, 1), 0);
  EXPECT_EQ(ruvo_cls_bit(nullptr, 4, 1), 0);
  EXPECT_EQ(ruvo_contain_val(nullptr, 4, 1), 0);
  EXPECT_EQ(ruvo_set_bit(&word, 0, 0), 0);
  EXPECT_EQ(word, 0u);
  EXPECT_EQ(ruvo_set_bit(&word, 1, UINT32_MAX), 0);
  EXPECT_EQ(word, 0u);
}

TEST(Bits, ValIdxIsTheBitWithinTheWord) {
  EXPECT_EQ(ruvo_get_val_idx(33), 1u);
  EXPECT_EQ(ruvo_get_val_idx(0), 0u);
  EXPECT_EQ(ruvo_get_val_idx(31), 31u);
  EXPECT_EQ(ruvo_get_val_idx(UINT32_MAX), 31u);
}

// Random set/clear/test against std::vector<bool>, including values past the
// end of the array.
TEST(Bits, RandomOperationsMatchReference) {
  std::mt19937 rng(2024);
  constexpr uint32_t kWords = 7;
  uint32_t words[kWords + 1] = {};
  words[kWords] = 0x5A5A5A5A;  // guard word past the count
  std::vector<bool> ref(kWords * 32);
  for (int step = 0; step < 50000; ++step) {
    const uint32_t value = rng() % (kWords * 32 + 40);
    const bool inside = value < kWords * 32;
    switch (rng() % 3) {
      case 0:
        ASSERT_EQ(ruvo_set_bit(words, kWords, value), inside ? 1 : 0);
        if (inside) ref[value] = true;
        break;
      case 1:
        ASSERT_EQ(ruvo_cls_bit(words, kWords, value), inside ? 1 : 0);
        if (inside) ref[value] = false;
        break;
      default:
        ASSERT_EQ(ruvo_contain_val(words, kWords, value), inside && ref[value] ? 1 : 0);
        break;
    }
  }
  for (uint32_t v = 0; v < kWords * 32; ++v) {
    ASSERT_EQ(((words[v / 32] >> (v % 32)) & 1) != 0, ref[v]) << v;
  }
  EXPECT_EQ(words[kWords], 0x5A5A5A5Au);
}

}  // namespace
