#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "ruvo/base/bits.h"

namespace {

TEST(Bits, ValueSixtyThreeIsTheTopBitOfWordOneAndSixtyFourIsPastTwoWords) {
  uint32_t words[3] = {0, 0, 0xDEADBEEF};
  EXPECT_EQ(ruvo_set_bit(words, 2, 63), 1);
  EXPECT_EQ(ruvo_contain_val(words, 2, 63) + ruvo_contain_val(words, 2, 62), 1);
  // Out of range (word 2 is past the count, though the array is longer), a
  // zero count and null words: 0, nothing written.
  EXPECT_EQ((std::vector<int32_t>{ruvo_set_bit(words, 2, 64), ruvo_cls_bit(words, 2, 65),
                                  ruvo_contain_val(words, 2, 64), ruvo_set_bit(words, 0, 0),
                                  ruvo_set_bit(words, 2, UINT32_MAX), ruvo_set_bit(nullptr, 4, 1),
                                  ruvo_cls_bit(nullptr, 4, 1), ruvo_contain_val(nullptr, 4, 1)}),
            std::vector<int32_t>(8, 0));
  EXPECT_EQ((std::vector<uint32_t>{words[0], words[1], words[2]}),
            (std::vector<uint32_t>{0, 0x80000000u, 0xDEADBEEF}));
  EXPECT_EQ(ruvo_cls_bit(words, 2, 63), 1);
  EXPECT_EQ(words[1], 0u);
  EXPECT_EQ(ruvo_get_val_idx(UINT32_MAX), 31u);
}

// Random set/clear/test against std::vector<bool>, values past the end included.
TEST(Bits, RandomOperationsMatchVectorBool) {
  std::mt19937 rng(2024);
  uint32_t words[8] = {0, 0, 0, 0, 0, 0, 0, 0x5A5A5A5A};  // the last word is a guard past the count
  std::vector<bool> ref(7 * 32);
  for (int step = 0; step < 50000; ++step) {
    const uint32_t v = rng() % (7 * 32 + 40), op = rng() % 3;
    const int32_t inside = v < 7 * 32 ? 1 : 0;
    ASSERT_EQ(ruvo_get_val_idx(v), v % 32);
    const int32_t got = op == 0   ? ruvo_set_bit(words, 7, v)
                        : op == 1 ? ruvo_cls_bit(words, 7, v)
                                  : ruvo_contain_val(words, 7, v);
    ASSERT_EQ(got, op < 2 ? inside : inside && ref[v] ? 1 : 0);
    if (inside && op < 2) ref[v] = op == 0;
  }
  for (uint32_t v = 0; v < 7 * 32; ++v)
    ASSERT_EQ((words[v / 32] >> (v % 32) & 1) != 0, ref[v]) << v;
  EXPECT_EQ(words[7], 0x5A5A5A5Au);
}

}  // namespace
