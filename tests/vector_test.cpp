#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <random>
#include <vector>

#include "ruvo/base/vector.h"

namespace {

// Items are pointer-sized values; the tests use small integers.
void *item(uintptr_t n) { return reinterpret_cast<void *>(n); }
uintptr_t num(void *p) { return reinterpret_cast<uintptr_t>(p); }
std::vector<uintptr_t> items(const ruvo_vector_st *v) {
  std::vector<uintptr_t> out;
  for (size_t k = 0; k < ruvo_vector_size(v); ++k) out.push_back(num(ruvo_vector_pos_at(v, k)));
  return out;
}
std::vector<uintptr_t> g_released;
void record_release(void *p) { g_released.push_back(num(p)); }

// Random push/pop/pos_at/pos_del against std::vector, then clear. The capacity
// starts as given, 256 for 0, and doubles whenever a push finds the vector full.
TEST(Vector, RandomOperationsMatchStdVectorAndBadArgumentsAreRefused) {
  std::mt19937 rng(12345);
  ruvo_vector_st *v = nullptr, *big = nullptr;
  ASSERT_EQ(ruvo_vector_create(&v, 1) + ruvo_vector_create(&big, 0), RUVO_OK);
  EXPECT_EQ(ruvo_vector_capacity(big), 256u);
  ruvo_vector_st *kept = big;  // a byte size that overflows is out of memory, not a small array
  EXPECT_EQ(ruvo_vector_create(&kept, SIZE_MAX / sizeof(void *) + 1), RUVO_E_NOMEM);
  EXPECT_EQ(kept, big);
  std::vector<uintptr_t> ref;
  for (size_t step = 0, capacity = 1; step < 20000; ++step) {
    const size_t op = rng() % 6, k = rng() % (ref.size() + 2);
    const uintptr_t at = k < ref.size() ? ref[k] : 0, last = ref.empty() ? 0 : ref.back(),
                    fresh = 1 + rng() % 999;
    const uintptr_t got = op < 3    ? ruvo_vector_push_back(v, item(fresh))
                          : op == 3 ? num(ruvo_vector_pop_back(v))
                          : op == 4 ? num(ruvo_vector_pos_del(v, k))  // the rest keeps its order
                                    : num(ruvo_vector_pos_at(v, k));
    ASSERT_EQ(got, op < 3 ? RUVO_OK : op == 3 ? last : at);
    if (op < 3) ref.push_back(fresh);
    if (op == 3 && last != 0) ref.pop_back();
    if (op == 4 && at != 0) ref.erase(ref.begin() + static_cast<ptrdiff_t>(k));
    ASSERT_EQ(ruvo_vector_size(v), ref.size());
    ASSERT_EQ(ruvo_vector_empty(v), ref.empty() ? 1 : 0);
    capacity *= ref.size() > capacity ? 2 : 1;
    ASSERT_EQ(ruvo_vector_capacity(v), capacity);
  }
  const size_t capacity = ruvo_vector_capacity(v);
  EXPECT_EQ(items(v), ref);
  ruvo_vector_clear(v, record_release);  // once per item, from index 0 up
  EXPECT_EQ(g_released, ref);
  EXPECT_EQ(ruvo_vector_size(v) + ruvo_vector_capacity(v), capacity);
  EXPECT_EQ((std::vector<uint64_t>{
                ruvo_vector_create(nullptr, 4), ruvo_vector_push_back(v, nullptr),
                ruvo_vector_push_back(nullptr, item(1)), ruvo_vector_qsort(nullptr, nullptr),
                ruvo_vector_qsort(big, nullptr), ruvo_vector_size(nullptr),
                ruvo_vector_capacity(nullptr), num(ruvo_vector_pop_back(nullptr)),
                num(ruvo_vector_pos_at(nullptr, 0)), num(ruvo_vector_pos_del(nullptr, 0))}),
            (std::vector<uint64_t>{RUVO_E_INVAL, RUVO_E_INVAL, RUVO_E_INVAL, RUVO_E_INVAL,
                                   RUVO_E_INVAL, 0, 0, 0, 0, 0}));
  EXPECT_EQ(ruvo_vector_empty(nullptr) + ruvo_vector_empty(big), 2);
  ruvo_vector_clear(nullptr, record_release);
  ruvo_vector_destroy(nullptr);
  ruvo_vector_destroy(v);
  ruvo_vector_destroy(big);
}

int64_t g_compares = 0;
// Items carry a key in the high bits and a tag in the low byte.
int32_t by_key(void *a, void *b) {
  ++g_compares;
  return (num(a) >> 8 > num(b) >> 8) - (num(a) >> 8 < num(b) >> 8);
}

// Random inputs and inputs that defeat a first-item or median-of-three pivot
// (sorted, reverse, organ-pipe, all equal, alternating) sort within a small
// multiple of n log2 n compares, which only the heap-sort fallback ensures.
TEST(VectorSort, AnyInputSortsToAPermutationInKeyOrderWithinNLogNCompares) {
  std::mt19937 rng(4242);
  for (size_t round = 0; round < 35; ++round) {
    const size_t n = round < 2 ? round : round < 30 ? 1 + rng() % 5000 : 100000;
    const size_t shape = round < 30 ? 0 : round - 29;  // 0: random
    ruvo_vector_st *v = nullptr;
    ASSERT_EQ(ruvo_vector_create(&v, 1), RUVO_OK);
    std::vector<uintptr_t> want;
    for (size_t k = 0; k < n; ++k) {
      const size_t keys[] = {rng() % (n / 4 + 1), k, n - k, k < n / 2 ? k : n - k, 7,
                             k % 2 ? n + k : k};
      want.push_back((keys[shape] + 1) << 8 | (k & 0xFF));
      ASSERT_EQ(ruvo_vector_push_back(v, item(want.back())), RUVO_OK);
    }
    g_compares = 0;
    ASSERT_EQ(ruvo_vector_qsort(v, by_key), RUVO_OK);
    EXPECT_EQ(g_compares == 0, n < 2);  // fewer than two items never compare
    EXPECT_LE(g_compares, int64_t(4 * n * std::bit_width(n))) << "round " << round;
    std::vector<uintptr_t> got = items(v);
    EXPECT_TRUE(std::ranges::is_sorted(got, {}, [](uintptr_t x) { return x >> 8; })) << round;
    std::ranges::sort(got);
    std::ranges::sort(want);
    EXPECT_EQ(got, want);  // the very same items
    ruvo_vector_destroy(v);
  }
}

}  // namespace
