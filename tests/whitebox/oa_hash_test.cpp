// Robin Hood hash when memory runs out: creation gives NULL and frees what
// it had, an insert gives -1 and leaves the table exactly as it was. (The
// fuzzer mixes such failures into random operation sequences.)
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "internal/fault.hpp"
#include "oa_hash_impl.hpp"
#include "ruvo/base/oa_hash.h"

namespace {

using ruvo::detail::oa_hash_check;

int g_destroy_calls = 0;
void count_destroy(uint64_t) { ++g_destroy_calls; }

// Turns injected failures off again when a case ends, even on ASSERT.
struct FaultGuard {
  explicit FaultGuard(long successes) { ruvo::fault::fail_allocations_after(successes); }
  ~FaultGuard() { ruvo::fault::fail_allocations_after(-1); }
};

int insert(ruvo_oa_hash_st *t, const std::string &k, uint64_t v) {
  return ruvo_oa_hash_insert(t, k.data(), static_cast<uint32_t>(k.size()), v);
}

// Everything an insert could change, byte for byte.
struct Snapshot {
  explicit Snapshot(const ruvo_oa_hash_st *t)
      : count(t->count), size(t->size), slots_ptr(t->slots), values_ptr(t->values),
        slots(t->slots, t->slots + t->size), values(t->values, t->values + t->size) {}
  bool same_as(const ruvo_oa_hash_st *t) const {
    return t->count == count && t->size == size && t->slots == slots_ptr &&
           t->values == values_ptr &&
           std::memcmp(t->slots, slots.data(), size * sizeof(ruvo_oa_slot_st)) == 0 &&
           std::memcmp(t->values, values.data(), size * sizeof(uint64_t)) == 0;
  }
  uint32_t count, size;
  const ruvo_oa_slot_st *slots_ptr;
  const uint64_t *values_ptr;
  std::vector<ruvo_oa_slot_st> slots;
  std::vector<uint64_t> values;
};

TEST(OaHashOutOfMemory, CreateGivesNullAndFreesWhatItHad) {
  // The table record, its slots, its values: fail each in turn. A leak here
  // shows up in the sanitizer build.
  for (long n = 0; n < 3; ++n) {
    FaultGuard fail(n);
    EXPECT_EQ(ruvo_oa_hash_create(count_destroy), nullptr) << n;
  }
  FaultGuard fail(3);
  ruvo_oa_hash_st *t = ruvo_oa_hash_create(count_destroy);
  ASSERT_NE(t, nullptr);
  ruvo_oa_hash_destroy(t);
}

TEST(OaHashOutOfMemory, FailedInsertLeavesTableAsItWas) {
  ruvo_oa_hash_st *t = ruvo_oa_hash_create(count_destroy);
  ASSERT_NE(t, nullptr);
  g_destroy_calls = 0;
  for (int i = 0; i < 3; ++i) ASSERT_EQ(insert(t, "k" + std::to_string(i), i), 0);

  // Without growth the key copy is the one allocation.
  {
    const Snapshot before(t);
    FaultGuard fail(0);
    EXPECT_EQ(insert(t, "new", 100), -1);
    EXPECT_TRUE(before.same_as(t));
  }
  ASSERT_EQ(insert(t, "k3", 3), 0);

  // The fifth key needs the copy and both doubled arrays; fail each.
  for (long n = 0; n < 3; ++n) {
    const Snapshot before(t);
    FaultGuard fail(n);
    EXPECT_EQ(insert(t, "k4", 4), -1) << n;
    EXPECT_TRUE(before.same_as(t)) << n;
  }
  // Replacing allocates nothing, so it works even now; lookups and deletes
  // never allocate.
  {
    FaultGuard fail(0);
    EXPECT_EQ(insert(t, "k1", 11), 1);
    uint64_t v = 0;
    EXPECT_EQ(ruvo_oa_hash_search(t, "k1", 2, &v), 0);
    EXPECT_EQ(v, 11u);
    EXPECT_EQ(ruvo_oa_hash_delete(t, "k0", 2), 0);
    EXPECT_EQ(insert(t, "k0", 0), -1);
  }
  EXPECT_EQ(g_destroy_calls, 2);  // the replaced value and the deleted one

  // With memory back the same insert goes through and grows.
  ASSERT_EQ(insert(t, "k0", 0), 0);
  ASSERT_EQ(insert(t, "k4", 4), 0);
  EXPECT_EQ(t->size, 16u);
  EXPECT_EQ(t->count, 5u);
  EXPECT_EQ(oa_hash_check(t), nullptr);
  ruvo_oa_hash_destroy(t);
  EXPECT_EQ(g_destroy_calls, 7);
}

}  // namespace
