#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "ruvo/base/vector.h"

namespace {

// Items are pointer-sized values; the tests use small integers.
void *item(uintptr_t n) { return reinterpret_cast<void *>(n); }
uintptr_t num(void *p) { return reinterpret_cast<uintptr_t>(p); }

// Owns a vector for the length of a test.
class Vec {
 public:
  explicit Vec(size_t capacity = 0) { EXPECT_EQ(ruvo_vector_create(&v_, capacity), RUVO_OK); }
  ~Vec() { ruvo_vector_destroy(v_); }
  Vec(const Vec &) = delete;
  Vec &operator=(const Vec &) = delete;
  ruvo_vector_st *get() const { return v_; }

  std::vector<uintptr_t> items() const {
    std::vector<uintptr_t> out;
    for (size_t k = 0; k < ruvo_vector_size(v_); ++k) out.push_back(num(ruvo_vector_pos_at(v_, k)));
    return out;
  }

 private:
  ruvo_vector_st *v_ = nullptr;
};

TEST(Vector, ZeroCapacityMeans256) {
  Vec v(0);
  EXPECT_EQ(ruvo_vector_capacity(v.get()), 256u);
  EXPECT_EQ(ruvo_vector_size(v.get()), 0u);
  EXPECT_EQ(ruvo_vector_empty(v.get()), 1);
}

TEST(Vector, CapacityDoublesWhenFull) {
  Vec v(1);
  EXPECT_EQ(ruvo_vector_capacity(v.get()), 1u);
  const size_t expected[] = {1, 2, 4, 4, 8, 8, 8, 8, 16};
  for (uintptr_t n = 1; n <= 9; ++n) {
    ASSERT_EQ(ruvo_vector_push_back(v.get(), item(n)), RUVO_OK);
    EXPECT_EQ(ruvo_vector_capacity(v.get()), expected[n - 1]) << "after push " << n;
  }
  EXPECT_EQ(v.items(), (std::vector<uintptr_t>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(Vector, CreateRejectsNullAndImpossibleCapacity) {
  EXPECT_EQ(ruvo_vector_create(nullptr, 4), RUVO_E_INVAL);
  // A capacity whose byte size overflows is out of memory, not a wrapped
  // small array; the caller's pointer stays.
  ruvo_vector_st *v = reinterpret_cast<ruvo_vector_st *>(uintptr_t{0x1234});
  EXPECT_EQ(ruvo_vector_create(&v, SIZE_MAX / sizeof(uintptr_t) + 1), RUVO_E_NOMEM);
  EXPECT_EQ(v, reinterpret_cast<ruvo_vector_st *>(uintptr_t{0x1234}));
}

TEST(Vector, NullVectorIsToleratedEverywhere) {
  EXPECT_EQ(ruvo_vector_size(nullptr), 0u);
  EXPECT_EQ(ruvo_vector_capacity(nullptr), 0u);
  EXPECT_EQ(ruvo_vector_empty(nullptr), 1);
  EXPECT_EQ(num(ruvo_vector_pop_back(nullptr)), 0u);
  EXPECT_EQ(num(ruvo_vector_pos_at(nullptr, 0)), 0u);
  EXPECT_EQ(num(ruvo_vector_pos_del(nullptr, 0)), 0u);
  EXPECT_EQ(ruvo_vector_push_back(nullptr, item(1)), RUVO_E_INVAL);
  ruvo_vector_clear(nullptr, nullptr);
  ruvo_vector_destroy(nullptr);
}

TEST(Vector, NullItemIsRejectedAndLeavesSize) {
  Vec v(2);
  ASSERT_EQ(ruvo_vector_push_back(v.get(), item(7)), RUVO_OK);
  EXPECT_EQ(ruvo_vector_push_back(v.get(), item(0)), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_vector_size(v.get()), 1u);
  EXPECT_EQ(num(ruvo_vector_pos_at(v.get(), 1)), 0u);
}

TEST(Vector, EmptyAccessorsGiveZero) {
  Vec v(4);
  EXPECT_EQ(num(ruvo_vector_pop_back(v.get())), 0u);
  EXPECT_EQ(num(ruvo_vector_pos_at(v.get(), 0)), 0u);
  EXPECT_EQ(num(ruvo_vector_pos_del(v.get(), 0)), 0u);
}

TEST(Vector, PosDelKeepsOrderOfTheRest) {
  Vec v(4);
  for (uintptr_t n : {10, 20, 30}) ASSERT_EQ(ruvo_vector_push_back(v.get(), item(n)), RUVO_OK);
  EXPECT_EQ(num(ruvo_vector_pos_del(v.get(), 3)), 0u);  // index == size: nothing
  EXPECT_EQ(v.items(), (std::vector<uintptr_t>{10, 20, 30}));
  EXPECT_EQ(num(ruvo_vector_pos_del(v.get(), 0)), 10u);
  EXPECT_EQ(v.items(), (std::vector<uintptr_t>{20, 30}));
  EXPECT_EQ(num(ruvo_vector_pos_at(v.get(), 2)), 0u);
  EXPECT_EQ(num(ruvo_vector_pos_del(v.get(), 1)), 30u);
  EXPECT_EQ(num(ruvo_vector_pos_del(v.get(), 0)), 20u);
  EXPECT_EQ(ruvo_vector_empty(v.get()), 1);
}

// Random operations against std::vector as the reference.
TEST(Vector, RandomOperationsMatchReference) {
  std::mt19937 rng(12345);
  Vec v(1);
  std::vector<uintptr_t> ref;
  for (int step = 0; step < 20000; ++step) {
    const uintptr_t value = rng() % 1000 + 1;
    switch (rng() % 6) {
      case 0:
      case 1:
      case 2:
        ASSERT_EQ(ruvo_vector_push_back(v.get(), item(value)), RUVO_OK);
        ref.push_back(value);
        break;
      case 3: {
        const uintptr_t got = num(ruvo_vector_pop_back(v.get()));
        ASSERT_EQ(got, ref.empty() ? 0 : ref.back());
        if (!ref.empty()) ref.pop_back();
        break;
      }
      case 4: {
        const size_t k = rng() % (ref.size() + 2);
        const uintptr_t got = num(ruvo_vector_pos_del(v.get(), k));
        ASSERT_EQ(got, k < ref.size() ? ref[k] : 0);
        if (k < ref.size()) ref.erase(ref.begin() + static_cast<ptrdiff_t>(k));
        break;
      }
      default: {
        const size_t k = rng() % (ref.size() + 2);
        ASSERT_EQ(num(ruvo_vector_pos_at(v.get(), k)), k < ref.size() ? ref[k] : 0);
        break;
      }
    }
    ASSERT_EQ(ruvo_vector_size(v.get()), ref.size());
    ASSERT_EQ(ruvo_vector_empty(v.get()), ref.empty() ? 1 : 0);
  }
  EXPECT_EQ(v.items(), ref);
}

std::vector<uintptr_t> g_released;
void record_release(void *p) { g_released.push_back(num(p)); }

TEST(Vector, ClearReleasesEachItemOnceInOrderAndKeepsCapacity) {
  Vec v(2);
  for (uintptr_t n : {5, 3, 9}) ASSERT_EQ(ruvo_vector_push_back(v.get(), item(n)), RUVO_OK);
  const size_t capacity = ruvo_vector_capacity(v.get());
  g_released.clear();
  ruvo_vector_clear(v.get(), record_release);
  EXPECT_EQ(g_released, (std::vector<uintptr_t>{5, 3, 9}));
  EXPECT_EQ(ruvo_vector_size(v.get()), 0u);
  EXPECT_EQ(ruvo_vector_capacity(v.get()), capacity);
  ruvo_vector_clear(v.get(), record_release);  // empty: nothing released
  EXPECT_EQ(g_released.size(), 3u);

  ASSERT_EQ(ruvo_vector_push_back(v.get(), item(4)), RUVO_OK);
  ruvo_vector_clear(v.get(), nullptr);
  EXPECT_EQ(ruvo_vector_size(v.get()), 0u);
  EXPECT_EQ(num(ruvo_vector_pos_at(v.get(), 0)), 0u);
  EXPECT_EQ(g_released.size(), 3u);
}

// ---- sort ----

int64_t g_compares = 0;
int32_t compare_values(uintptr_t a, uintptr_t b) {
  ++g_compares;
  return (a > b) - (a < b);
}
int32_t compare_plain(void *a, void *b) { return compare_values(num(a), num(b)); }

// Items carry a key in the high bits and a unique tag in the low byte, so
// equal keys are told apart and a permutation can be checked.
int32_t key_order(uintptr_t a, uintptr_t b) { return compare_values(a >> 8, b >> 8); }
int32_t compare_keys(void *a, void *b) { return key_order(num(a), num(b)); }

std::vector<std::pair<uintptr_t, uintptr_t>> g_calls;
int32_t compare_logged(void *a, void *b) {
  g_calls.emplace_back(num(a), num(b));
  return compare_keys(a, b);
}

// The partition as the library defines it, written out directly: the first
// item of a range is the pivot and the first argument of every comparison.
void reference_sort(std::vector<uintptr_t> &a, int lo, int hi,
                    std::vector<std::pair<uintptr_t, uintptr_t>> &calls) {
  if (lo >= hi) return;
  int i = lo, j = hi;
  const uintptr_t pivot = a[i];
  auto cmp = [&](uintptr_t x) {
    calls.emplace_back(pivot, x);
    return key_order(pivot, x);
  };
  while (i < j) {
    while (i < j && cmp(a[j]) <= 0) --j;
    if (i < j) std::swap(a[i++], a[j]);
    if (i < j) {
      while (i < j && cmp(a[i]) >= 0) ++i;
      if (i < j) std::swap(a[i], a[j--]);
    }
  }
  reference_sort(a, lo, i - 1, calls);
  reference_sort(a, i + 1, hi, calls);
}

TEST(VectorSort, RejectsNullArguments) {
  Vec v;
  EXPECT_EQ(ruvo_vector_qsort(nullptr, compare_plain), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_vector_qsort(v.get(), nullptr), RUVO_E_INVAL);
}

TEST(VectorSort, FewerThanTwoItemsNeverCompare) {
  Vec v;
  g_compares = 0;
  EXPECT_EQ(ruvo_vector_qsort(v.get(), compare_plain), RUVO_OK);
  ASSERT_EQ(ruvo_vector_push_back(v.get(), item(42)), RUVO_OK);
  EXPECT_EQ(ruvo_vector_qsort(v.get(), compare_plain), RUVO_OK);
  EXPECT_EQ(g_compares, 0);
  EXPECT_EQ(num(ruvo_vector_pos_at(v.get(), 0)), 42u);
}

// Same comparisons (as a multiset: the order of the sub-ranges is free) and
// the same final order, equal keys included, as the reference partition.
TEST(VectorSort, PartitionMatchesReferenceExactly) {
  std::mt19937 rng(777);
  for (int round = 0; round < 200; ++round) {
    const size_t n = rng() % 300;
    const uintptr_t keys = rng() % 20 + 1;  // few keys: many duplicates
    std::vector<uintptr_t> items;
    for (size_t k = 0; k < n; ++k) items.push_back((rng() % keys + 1) << 8 | (k & 0xFF));
    Vec v;
    for (uintptr_t it : items) ASSERT_EQ(ruvo_vector_push_back(v.get(), item(it)), RUVO_OK);

    g_calls.clear();
    ASSERT_EQ(ruvo_vector_qsort(v.get(), compare_logged), RUVO_OK);
    std::vector<std::pair<uintptr_t, uintptr_t>> expected_calls;
    std::vector<uintptr_t> expected = items;
    reference_sort(expected, 0, static_cast<int>(n) - 1, expected_calls);

    ASSERT_EQ(v.items(), expected) << "round " << round;
    std::sort(g_calls.begin(), g_calls.end());
    std::sort(expected_calls.begin(), expected_calls.end());
    ASSERT_EQ(g_calls, expected_calls) << "round " << round;
  }
}

// Differential against std::sort on random data with duplicates: sorted by
// key, and a permutation of the input.
TEST(VectorSort, RandomDataSortsToAPermutation) {
  std::mt19937 rng(4242);
  for (int round = 0; round < 20; ++round) {
    const size_t n = 1 + rng() % 20000;
    std::vector<uintptr_t> items;
    for (size_t k = 0; k < n; ++k) items.push_back((rng() % (n / 4 + 1) + 1) << 8 | (k & 0xFF));
    Vec v(1);
    for (uintptr_t it : items) ASSERT_EQ(ruvo_vector_push_back(v.get(), item(it)), RUVO_OK);
    ASSERT_EQ(ruvo_vector_qsort(v.get(), compare_keys), RUVO_OK);

    std::vector<uintptr_t> got = v.items(), want = items;
    std::sort(want.begin(), want.end(), [](uintptr_t a, uintptr_t b) { return (a >> 8) < (b >> 8); });
    auto keys = [](std::vector<uintptr_t> x) {
      for (auto &k : x) k >>= 8;
      return x;
    };
    EXPECT_EQ(keys(got), keys(want));  // in std::sort's key order
    std::sort(got.begin(), got.end());
    std::sort(want.begin(), want.end());
    EXPECT_EQ(got, want);  // and the very same items
  }
}

// Reverse-sorted input is the quicksort's worst case: about n^2/2
// comparisons, and a range split that leaves one side empty every time. The
// sort must still finish without running out of stack.
TEST(VectorSort, LongReverseSortedInputDoesNotExhaustTheStack) {
  constexpr uintptr_t kCount = 100000;
  Vec v;
  for (uintptr_t n = kCount; n >= 1; --n) ASSERT_EQ(ruvo_vector_push_back(v.get(), item(n)), RUVO_OK);
  g_compares = 0;
  ASSERT_EQ(ruvo_vector_qsort(v.get(), compare_plain), RUVO_OK);
  ASSERT_EQ(ruvo_vector_size(v.get()), kCount);
  for (uintptr_t k = 0; k < kCount; ++k) ASSERT_EQ(num(ruvo_vector_pos_at(v.get(), k)), k + 1);
  // Each range loses only its pivot: (n-1) + (n-2) + ... + 1 comparisons.
  const int64_t n = static_cast<int64_t>(kCount);
  EXPECT_EQ(g_compares, n * (n - 1) / 2);
}

}  // namespace
