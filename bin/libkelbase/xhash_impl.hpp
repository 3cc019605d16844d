// Internals of the chained hash, shared by its exports, the fuzzer and the
// benchmark: the table record, the size steps and the default hash.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ruvo/base/xhash.h"

namespace ruvo::xhash {

// One slot of the table: its chain, plus a copy of the first few links of
// that chain laid out in one cache line. Lookups compare the stored hashes
// here and touch only the element that matches, instead of pulling every
// element of the chain into the cache. The chain itself, through
// chain_next, stays complete: elements past the cached ones are reached from
// the last cached element.
inline constexpr uint32_t kCached = 5;
struct alignas(64) bucket {
  uint32_t hashes[kCached];              // hash of elems[i]
  uint32_t n;                            // min(chain length, kCached)
  ruvo_xhash_elem_st *elems[kCached];    // the chain's first n elements, in order
};
static_assert(sizeof(bucket) == 64);

inline ruvo_xhash_elem_st *chain_head(const bucket &b) noexcept {
  return b.n != 0 ? b.elems[0] : nullptr;
}

}  // namespace ruvo::xhash

struct ruvo_xhash_st {
  ruvo::xhash::bucket *slots;     // nslot buckets, 64-byte aligned inside slots_block
  void *slots_block;              // the allocation behind slots; owned
  ruvo_xhash_elem_st list;        // sentinel of the circular insertion-order list:
                                  // only list_next and list_prev are used; an empty
                                  // list points at the sentinel itself
  uint32_t nslot;                 // power of two
  uint32_t maxelem;               // count at which the table grows
  uint32_t count;
  int32_t flags;                  // RUVO_XHASH_KEY_REF or 0
  ruvo_xhash_free_fn free_value;  // may be null
  ruvo_xhash_hash_fn hash;        // never null
  ruvo_xhash_cmp_fn compare;      // never null
};

namespace ruvo::xhash {

struct size_step {
  uint32_t nslot;
  uint32_t maxelem;
};

// Slot counts jump by 2, 4, 4, 8, 8 and 16 while the load at which a table
// grows rises from 3 to 5 elements per slot: small tables stay small, big
// ones rehash rarely. The last step never grows again.
inline constexpr size_step kSteps[] = {
    {8, 24},       {16, 64},       {64, 256},          {256, 1024},
    {2048, 10240}, {16384, 81920}, {262144, 0x7FFFFFFF},
};
inline constexpr int kGrowingSteps = 6;  // steps 0..5 have a successor
inline constexpr uint32_t kNoGrowth = 0x7FFFFFFF;

inline constexpr uint32_t kDjb2Start = 5381;

// djb2 over 32 bits. The recurrence h = h * 33 + b is unrolled four bytes at
// a time as h * 33^4 + b0 * 33^3 + b1 * 33^2 + b2 * 33 + b3: the same value
// modulo 2^32, but the four products no longer wait on each other.
inline uint32_t djb2(const void *key, int32_t key_len) noexcept {
  uint32_t h = kDjb2Start;
  if (key_len < 1) return h;
  const auto *p = static_cast<const unsigned char *>(key);
  size_t n = static_cast<size_t>(key_len);
  for (; n >= 4; n -= 4, p += 4) {
    h = h * 1185921u + p[0] * 35937u + p[1] * 1089u + p[2] * 33u + p[3];
  }
  for (; n > 0; --n, ++p) h = h * 33u + *p;
  return h;
}

}  // namespace ruvo::xhash
