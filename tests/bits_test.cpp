#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "ruvo/base/bits.h"

namespace {

// Random set/clear/test against std::vector<bool>, with values past the end
// of the count (the array itself is longer: nothing may land in its guard
// word), the largest value, a count of 0 and null words.
TEST(Bits, RandomOperationsMatchVectorBool) {
  std::mt19937 rng(2024);
  uint32_t words[8] = {0, 0, 0, 0, 0, 0, 0, 0x5A5A5A5A};
  std::vector<bool> ref(7 * 32);
  for (int step = 0; step < 50000; ++step) {
    const uint32_t v = step % 997 == 0 ? UINT32_MAX : rng() % (7 * 32 + 40), op = rng() % 3;
    const uint32_t count = step % 101 == 0 ? 0 : 7;
    uint32_t *to = step % 103 == 0 ? nullptr : words;
    const int32_t inside = to != nullptr && v < count * 32 ? 1 : 0;
    ASSERT_EQ(ruvo_get_val_idx(v), v % 32);
    const int32_t got = op == 0   ? ruvo_set_bit(to, count, v)
                        : op == 1 ? ruvo_cls_bit(to, count, v)
                                  : ruvo_contain_val(to, count, v);
    ASSERT_EQ(got, op < 2 ? inside : inside && ref[v] ? 1 : 0) << v;
    if (inside && op < 2) ref[v] = op == 0;
  }
  for (uint32_t v = 0; v < 7 * 32; ++v)
    ASSERT_EQ((words[v / 32] >> (v % 32) & 1) != 0, ref[v]) << v;
  EXPECT_EQ(words[7], 0x5A5A5A5Au);
}

}  // namespace
