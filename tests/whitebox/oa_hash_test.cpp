// Robin Hood hash when memory runs out: create gives NULL and frees what it
// had; a failed insert gives -1 and leaves the table exactly as it was.
#include <gtest/gtest.h>

#include <string>

#include "internal/fault.hpp"
#include "oa_hash_impl.hpp"
#include "ruvo/base/oa_hash.h"

namespace {

int g_destroy_calls = 0;
void count_destroy(uint64_t) { ++g_destroy_calls; }

// Turns injected failures off again when a scope ends, even on ASSERT.
struct FaultGuard {
  explicit FaultGuard(long successes) { ruvo::fault::fail_allocations_after(successes); }
  ~FaultGuard() { ruvo::fault::fail_allocations_after(-1); }
};

// Everything an insert could change, byte for byte: the record and both arrays.
std::string image(const ruvo_oa_hash_st *t) {
  std::string s(reinterpret_cast<const char *>(t), sizeof *t);
  s.append(reinterpret_cast<const char *>(t->slots), t->size * sizeof *t->slots);
  return s.append(reinterpret_cast<const char *>(t->values), t->size * sizeof *t->values);
}

// Create needs the record, its slots and its values: each fails in turn, and
// the sanitizer build reports anything left behind. Each key needs its copy,
// the fifth also both doubled arrays: each fails in turn, then goes through.
TEST(OaHashOutOfMemory, FailedCreateOrInsertLeavesNothingBehindAndTheTableAsItWas) {
  for (long n = 0; n < 3; ++n) {
    FaultGuard fail(n);
    EXPECT_EQ(ruvo_oa_hash_create(count_destroy), nullptr) << n;
  }
  ruvo_oa_hash_st *t = ruvo_oa_hash_create(count_destroy);
  ASSERT_NE(t, nullptr);
  for (const char *key : {"k0", "k1", "k2", "k3", "k4"}) {
    for (long n = 0; n < (key[1] == '4' ? 3 : 1); ++n) {
      const std::string before = image(t);
      FaultGuard fail(n);
      EXPECT_EQ(ruvo_oa_hash_insert(t, key, 2, 4), -1) << key << " failing after " << n;
      EXPECT_EQ(image(t), before) << key << " failing after " << n;
    }
    ASSERT_EQ(ruvo_oa_hash_insert(t, key, 2, 4), 0);
  }
  EXPECT_EQ(t->size, 16u);
  {
    FaultGuard fail(0);  // replacing and deleting allocate nothing
    EXPECT_EQ(ruvo_oa_hash_insert(t, "k1", 2, 11), 1);
    EXPECT_EQ(ruvo_oa_hash_delete(t, "k0", 2), 0);
  }
  EXPECT_EQ(g_destroy_calls, 2);  // the replaced value and the deleted one; no refused one
  EXPECT_EQ(ruvo::detail::oa_hash_check(t), nullptr);
  ruvo_oa_hash_destroy(t);
}

}  // namespace
