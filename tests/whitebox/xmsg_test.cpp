// Every hash kernel against the one-byte definition, failed allocations, limits.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "internal/fault.hpp"
#include "ruvo/base/xmsg.h"
#include "xmsg_impl.hpp"

namespace {

using bytes = std::vector<uint8_t>;
namespace xm = ruvo::xmsg;

TEST(XmsgInternals, EveryKernelHashesAndCopiesLikeTheBytewiseDefinition) {
  const xm::kernel_set set = xm::available_kernels();
  std::mt19937 rng(7);
  bytes src(4096 + 3, 0xFF);  // all-0xFF bytes at the end push every narrow field to its largest value
  for (size_t i = 0; i < 3000; ++i) src[i] = static_cast<uint8_t>(rng());
  for (xm::hash_kernel kernel : {set.scalar, set.sse2, set.avx2}) {
    if (kernel == nullptr) continue;
    for (size_t n : {0, 1, 7, 8, 9, 63, 64, 65, 127, 128, 129, 255, 256, 1000, 4096}) {
      const uint8_t *p = src.data() + n % 4;  // unaligned starts too
      const uint32_t start = static_cast<uint32_t>(rng());
      bytes dst(n + 2, 0xA5);
      EXPECT_EQ(kernel(p, nullptr, n, start), xm::hash_bytewise(p, n, start)) << n;
      EXPECT_EQ(kernel(p, dst.data() + 1, n, start), xm::hash_bytewise(p, n, start)) << n;
      EXPECT_TRUE(std::equal(p, p + n, dst.begin() + 1) && dst[0] == 0xA5 && dst[n + 1] == 0xA5) << n;
    }
  }
}

// A failed allocation or an add past the 32-bit limits leaves the message as it
// was (the leak checker holds nothing lost). Past the limits the store behind the
// numbers does not exist: only the size checks may answer, reading no value byte.
TEST(XmsgFaults, FailedAllocationsAndImpossibleSizesChangeNothing) {
  namespace fault = ruvo::fault;
  ruvo_xmsg_st *msg = ruvo_xmsg_new("abc");
  ASSERT_EQ(ruvo_xmsg_add(msg, "k", 1, "v", 1), 0);
  bytes image(ruvo_xmsg_pack_size(msg));
  ruvo_xmsg_pack(msg, image.data(), static_cast<uint32_t>(image.size()));
  for (long ok : {0, 1}) {  // the record fails, then the store
    EXPECT_EQ((fault::fail_allocations_after(ok), ruvo_xmsg_new("abc")), nullptr) << ok;
    EXPECT_EQ((fault::fail_allocations_after(ok), ruvo_xmsg_unpack(image.data(), uint32_t(image.size()))), nullptr);
    EXPECT_EQ((fault::fail_allocations_after(ok), ruvo_xmsg_dup(msg)), nullptr) << ok;
  }
  const ruvo_xmsg_st before = *msg;
  const bytes big(500, 'b');
  uint32_t len = 12345;
  fault::fail_allocations_after(0);
  EXPECT_EQ(ruvo_xmsg_add(msg, "big", 3, big.data(), 500), -1);
  EXPECT_FALSE(ruvo_xmsg_first(msg) || ruvo_xmsg_pack_aux(msg, &len) || len != 12345);
  msg->used = xm::kMaxUsed - 12;
  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 1, "v", 1), -1);  // needs 16
  msg->used = before.used, msg->nelem = UINT32_MAX;
  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 1, "v", 1), -1);
  msg->nelem = before.nelem;
  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 1, "v", 0xFFFFFFFFu), -1);
  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 1, "v", xm::kMaxUsed), -1);
  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 65535, "v", 0xFFFFFFFFu - 65535 - 8), -1);
  EXPECT_EQ(std::memcmp(&before, msg, sizeof before), 0);
  EXPECT_EQ(bytes(msg->data, msg->data + msg->used), bytes(image.begin() + 16, image.end()));
  EXPECT_EQ(ruvo_xmsg_add(msg, "s", 1, "x", 1), 0);  // needs no growth, so no allocation
  fault::fail_allocations_after(-1);
  EXPECT_EQ(ruvo_xmsg_add(msg, "big", 3, big.data(), 500), 0);
  EXPECT_EQ(msg->capacity, 1024u);  // 64 -> 1024 in one step
  ruvo_xmsg_release(msg);
}

}  // namespace
