// Keyed messages from the inside: every hash kernel against the one-byte
// definition, the allocation failure paths through the fault seam, and the
// 32-bit limits of the store.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "internal/fault.hpp"
#include "ruvo/base/xmsg.h"
#include "xmsg_impl.hpp"

namespace {

using bytes = std::vector<uint8_t>;
namespace xm = ruvo::xmsg;

// Turns failures off again however a test ends.
struct FaultGuard {
  ~FaultGuard() { ruvo::fault::fail_allocations_after(-1); }
};

bytes pack(const ruvo_xmsg_st *msg) {
  bytes out(ruvo_xmsg_pack_size(msg));
  ruvo_xmsg_pack(msg, out.data(), static_cast<uint32_t>(out.size()));
  return out;
}

TEST(XmsgInternals, EveryKernelGivesTheBytewiseHash) {
  const xm::kernel_set set = xm::available_kernels();
  std::vector<std::pair<const char *, xm::hash_kernel>> kernels = {{"scalar", set.scalar}};
  if (set.sse2 != nullptr) kernels.emplace_back("sse2", set.sse2);
  if (set.avx2 != nullptr) kernels.emplace_back("avx2", set.avx2);

  std::string names;
  for (const auto &k : kernels) names += std::string(" ") + k.first;
  std::printf("[   INFO   ] hash kernels on this processor:%s\n", names.c_str());

  std::mt19937 rng(7);
  bytes src(4096 + 64);
  for (uint8_t &b : src) b = static_cast<uint8_t>(rng());
  // All-0xFF bytes push every narrow field to its largest value.
  bytes ones(1200, 0xFF);
  for (const auto &[name, kernel] : kernels) {
    for (size_t n : {0, 1, 7, 8, 9, 63, 64, 65, 127, 128, 129, 255, 256, 1000, 4096}) {
      for (size_t skew : {0, 1, 3}) {
        const uint8_t *p = src.data() + skew;
        const uint32_t start = static_cast<uint32_t>(rng());
        EXPECT_EQ(kernel(p, nullptr, n, start), xm::hash_bytewise(p, n, start)) << name << " " << n;
        bytes dst(n + 2, 0xA5);
        EXPECT_EQ(kernel(p, dst.data() + 1, n, start), xm::hash_bytewise(p, n, start));
        EXPECT_TRUE(std::memcmp(dst.data() + 1, p, n) == 0) << name << " copy " << n;
        EXPECT_EQ(dst.front(), 0xA5);
        EXPECT_EQ(dst.back(), 0xA5);
      }
    }
    EXPECT_EQ(kernel(ones.data(), nullptr, ones.size(), xm::kHashStart),
              xm::hash_bytewise(ones.data(), ones.size()))
        << name;
  }
  EXPECT_EQ(xm::hash(src.data(), 3000), xm::hash_bytewise(src.data(), 3000));
}

TEST(XmsgFaults, NewGivesNothingWhenEitherAllocationFails) {
  FaultGuard guard;
  for (long ok = 0; ok < 2; ++ok) {
    ruvo::fault::fail_allocations_after(ok);
    EXPECT_EQ(ruvo_xmsg_new("abc"), nullptr) << ok;
  }
  ruvo::fault::fail_allocations_after(2);
  ruvo_xmsg_st *msg = ruvo_xmsg_new("abc");
  ruvo::fault::fail_allocations_after(-1);
  ASSERT_NE(msg, nullptr);
  ruvo_xmsg_release(msg);
}

TEST(XmsgFaults, FailedGrowthLeavesTheMessageAsItWas) {
  FaultGuard guard;
  ruvo_xmsg_st *msg = ruvo_xmsg_new("abc");
  ASSERT_EQ(ruvo_xmsg_add(msg, "k", 1, "v", 1), 0);
  const bytes before = pack(msg);
  const uint32_t capacity = msg->capacity;
  const uint8_t *data = msg->data;
  const std::vector<uint8_t> big(500, 'b');

  ruvo::fault::fail_allocations_after(0);
  EXPECT_EQ(ruvo_xmsg_add(msg, "big", 3, big.data(), 500), -1);
  // An add that needs no growth allocates nothing and still works.
  EXPECT_EQ(ruvo_xmsg_add(msg, "s", 1, "x", 1), 0);
  ruvo::fault::fail_allocations_after(-1);

  EXPECT_EQ(msg->capacity, capacity);
  EXPECT_EQ(msg->data, data);
  EXPECT_EQ(ruvo_xmsg_nelem(msg), 2u);
  EXPECT_EQ(ruvo_xmsg_get(msg, "big", 3, nullptr, nullptr), nullptr);
  EXPECT_EQ(ruvo_xmsg_del(msg, "s", 1), 1u);
  const bytes after = pack(msg);
  ASSERT_GT(after.size(), before.size());
  EXPECT_TRUE(std::equal(before.begin() + 16, before.end(), after.begin() + 16));

  EXPECT_EQ(ruvo_xmsg_add(msg, "big", 3, big.data(), 500), 0);
  EXPECT_EQ(msg->capacity, 1024u);  // 64 -> 1024 in one step
  ruvo_xmsg_release(msg);
}

TEST(XmsgFaults, IteratorPackAuxUnpackAndDupReportFailure) {
  FaultGuard guard;
  ruvo_xmsg_st *msg = ruvo_xmsg_new("abc");
  ASSERT_EQ(ruvo_xmsg_add(msg, "k", 1, "v", 1), 0);
  const bytes image = pack(msg);

  ruvo::fault::fail_allocations_after(0);
  EXPECT_EQ(ruvo_xmsg_first(msg), nullptr);
  uint32_t len = 12345;
  EXPECT_EQ(ruvo_xmsg_pack_aux(msg, &len), nullptr);
  EXPECT_EQ(len, 12345u);
  EXPECT_EQ(ruvo_xmsg_unpack(image.data(), static_cast<uint32_t>(image.size())), nullptr);
  EXPECT_EQ(ruvo_xmsg_dup(msg), nullptr);
  ruvo::fault::fail_allocations_after(1);
  EXPECT_EQ(ruvo_xmsg_unpack(image.data(), static_cast<uint32_t>(image.size())), nullptr);
  ruvo::fault::fail_allocations_after(1);
  EXPECT_EQ(ruvo_xmsg_dup(msg), nullptr);
  ruvo::fault::fail_allocations_after(-1);

  // Nothing was lost on the way: the leak checker of the sanitizer build
  // holds the rest of this test to account.
  ruvo_xmsg_st *copy = ruvo_xmsg_unpack(image.data(), static_cast<uint32_t>(image.size()));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(pack(copy), image);
  ruvo_xmsg_release(copy);
  ruvo_xmsg_release(msg);
}

TEST(XmsgLimits, AddsPastThirtyTwoBitsAreRefusedBeforeTouchingMemory) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new("abc");
  const uint32_t used = msg->used;
  const uint32_t capacity = msg->capacity;

  // Pretend the store is nearly full: only the size check can answer, since
  // the store behind these numbers does not exist.
  msg->used = xm::kMaxUsed - 12;
  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 1, "v", 1), -1);  // needs 16
  msg->used = used;

  const uint32_t nelem = msg->nelem;
  msg->nelem = UINT32_MAX;
  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 1, "v", 1), -1);
  msg->nelem = nelem;

  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 1, "v", xm::kMaxUsed), -1);
  EXPECT_EQ(msg->capacity, capacity);
  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 1, "v", 1), 0);
  ruvo_xmsg_release(msg);
}

TEST(XmsgLimits, ElementSizeCannotWrap) {
  EXPECT_EQ(xm::element_size(1, 1), 16u);
  EXPECT_EQ(xm::element_size(7, 4), 24u);
  EXPECT_EQ(xm::element_size(7, 7), 28u);
  EXPECT_GT(xm::element_size(65535, 0xFFFFFFFFu), uint64_t{0xFFFFFFFFu});
}

}  // namespace
