// L3 address model: one 16-byte record for IPv4 and IPv6, comparison,
// stepping, masks, predicates and the host form. Pure functions of the
// caller's records: no state, no allocation, no logging.
//
// IPv4 reads only the mark and word 3, so the arithmetic below works on
// word 3 as a host integer and leaves words 1 and 2 as the caller had them.
// IPv6 works on two 64-bit halves, which gives the same results as the
// word-by-word carry across four 32-bit words.
#include <cstring>

#include "l3_impl.hpp"

using ruvo::l3::compare;
using ruvo::l3::is_v4;
using ruvo::l3::u128;
using ruvo::l3::v4_value;
using ruvo::l3::v6_value;

static_assert(sizeof(ruvo_l3_addr_st) == 16);
static_assert(sizeof(ruvo_l3_range_st) == 32);

namespace {

constexpr uint64_t kOnes64 = ~uint64_t{0};

void set_v4_value(ruvo_l3_addr_st &a, uint32_t v) noexcept { ruvo::l3::store_be32(a.u8 + 12, v); }

bool same_family(const ruvo_l3_addr_st &a, const ruvo_l3_addr_st &b) noexcept {
  return is_v4(a) == is_v4(b);
}

bool all_set(const ruvo_l3_addr_st &a) noexcept {
  if (is_v4(a)) return v4_value(a) == ~uint32_t{0};
  const u128 v = v6_value(a);
  return v.hi == kOnes64 && v.lo == kOnes64;
}

bool all_zero(const ruvo_l3_addr_st &a) noexcept {
  if (is_v4(a)) return v4_value(a) == 0;
  const u128 v = v6_value(a);
  return v.hi == 0 && v.lo == 0;
}

// Ones then zeros from the top (all ones and all zeros included): the
// inverse is then a run of low ones, and adding one clears it entirely.
template <class T>
bool ones_then_zeros(T x) noexcept {
  const T v = static_cast<T>(~x);
  return (v & static_cast<T>(v + 1)) == 0;
}

bool mask_valid(const ruvo_l3_addr_st &m) noexcept {
  if (is_v4(m)) return ones_then_zeros(v4_value(m));
  const u128 v = v6_value(m);
  // Past the first half that is not all ones, everything must be zero.
  if (v.hi == kOnes64) return ones_then_zeros(v.lo);
  return ones_then_zeros(v.hi) && v.lo == 0;
}

// The top `bits` bits set, for bits in 0..width of T.
template <class T>
T high_bits(uint32_t bits) noexcept {
  constexpr uint32_t width = sizeof(T) * 8;
  return bits == 0 ? T{0} : static_cast<T>(~T{0} << (width - bits));
}

// Applies `op` to the address bits of `addr` and `mask`, into `out`.
template <class Op>
ruvo_l3_addr_st *combine(const ruvo_l3_addr_st *addr, const ruvo_l3_addr_st *mask,
                         ruvo_l3_addr_st *out, Op op) noexcept {
  if (addr == nullptr || mask == nullptr || out == nullptr) return nullptr;
  if (!mask_valid(*mask) || !same_family(*addr, *mask)) return nullptr;
  ruvo_l3_addr_st r = *addr;
  if (is_v4(r)) {
    set_v4_value(r, op(v4_value(*addr), v4_value(*mask)));
  } else {
    const u128 a = v6_value(*addr), m = v6_value(*mask);
    ruvo::l3::set_v6(r, {op(a.hi, m.hi), op(a.lo, m.lo)});
  }
  *out = r;
  return out;
}

bool zero_bytes(const ruvo_l3_addr_st &a, size_t n) noexcept {
  for (size_t i = 0; i < n; ++i) {
    if (a.u8[i] != 0) return false;
  }
  return true;
}

bool v6_compatible(const ruvo_l3_addr_st &a) noexcept {
  return !is_v4(a) && zero_bytes(a, 12) && v4_value(a) != 1;
}

bool v6_mapping(const ruvo_l3_addr_st &a) noexcept {
  return !is_v4(a) && zero_bytes(a, 10) && a.u8[10] == 0xFF && a.u8[11] == 0xFF;
}

// Host form of `a`; words 1 and 2 of an IPv4 record are left to the caller.
// -3 when an IPv6 source comes out reading as IPv4.
int32_t to_host(const ruvo_l3_addr_st &a, ruvo_l3_addr_st &out) noexcept {
  if (is_v4(a)) {
    const uint32_t v = v4_value(a);
    out.u32[0] = a.u32[0];
    std::memcpy(&out.u32[3], &v, sizeof v);
    return 0;
  }
  ruvo_l3_addr_st r;
  for (int i = 0; i < 16; ++i) r.u8[i] = a.u8[15 - i];
  out = r;
  return is_v4(out) ? -3 : 0;
}

}  // namespace

extern "C" {

RUVO_API int32_t ruvo_l3_addr_cmp(const ruvo_l3_addr_st *a, const ruvo_l3_addr_st *b) noexcept {
  if (a == nullptr || b == nullptr) return -2;
  return compare(*a, *b);
}

RUVO_API int32_t ruvo_l3_addr_inc(ruvo_l3_addr_st *addr) noexcept {
  if (addr == nullptr) return -3;
  if (all_set(*addr)) return -1;
  if (is_v4(*addr)) {
    set_v4_value(*addr, v4_value(*addr) + 1);
  } else {
    u128 v = v6_value(*addr);
    if (++v.lo == 0) ++v.hi;
    ruvo::l3::set_v6(*addr, v);
  }
  return 0;
}

RUVO_API int32_t ruvo_l3_addr_dec(ruvo_l3_addr_st *addr) noexcept {
  if (addr == nullptr) return -3;
  if (all_zero(*addr)) return -1;
  if (is_v4(*addr)) {
    set_v4_value(*addr, v4_value(*addr) - 1);
  } else {
    u128 v = v6_value(*addr);
    if (v.lo-- == 0) --v.hi;
    ruvo::l3::set_v6(*addr, v);
  }
  return 0;
}

RUVO_API int32_t ruvo_l3_addr_in_range2(const ruvo_l3_addr_st *addr, const ruvo_l3_addr_st *low,
                                        const ruvo_l3_addr_st *high) noexcept {
  if (addr == nullptr || low == nullptr || high == nullptr) return -3;
  if (!same_family(*addr, *low) || !same_family(*addr, *high)) return -2;
  if (compare(*addr, *low) < 0) return -1;
  return compare(*addr, *high) > 0 ? 1 : 0;
}

RUVO_API int32_t ruvo_l3_addr_in_range(const ruvo_l3_addr_st *addr, const ruvo_l3_range_st *range) noexcept {
  if (addr == nullptr || range == nullptr) return -3;
  if (!same_family(*addr, range->low)) return -2;
  if (compare(*addr, range->low) < 0) return -1;
  return compare(*addr, range->high) > 0 ? 1 : 0;
}

RUVO_API int32_t ruvo_l3_is_addr_close_to(const ruvo_l3_addr_st *a, const ruvo_l3_addr_st *b) noexcept {
  if (a == nullptr || b == nullptr) return -1;
  if (!same_family(*a, *b)) return -2;
  if (all_set(*a)) return 0;
  if (is_v4(*a)) return v4_value(*b) == v4_value(*a) + 1 ? 1 : 0;
  u128 next = v6_value(*a);
  if (++next.lo == 0) ++next.hi;
  const u128 vb = v6_value(*b);
  return vb.hi == next.hi && vb.lo == next.lo ? 1 : 0;
}

RUVO_API int32_t ruvo_l3_addr_prefix_equal(const ruvo_l3_addr_st *a, const ruvo_l3_addr_st *b,
                                           uint32_t prefix) noexcept {
  if (a == nullptr || b == nullptr || !same_family(*a, *b)) return 0;
  if (is_v4(*a)) {
    if (prefix > 32) return 0;
    return ((v4_value(*a) ^ v4_value(*b)) & high_bits<uint32_t>(prefix)) == 0 ? 1 : 0;
  }
  if (prefix > 128) return 0;
  const u128 x = v6_value(*a), y = v6_value(*b);
  const uint64_t hi_mask = high_bits<uint64_t>(prefix > 64 ? 64 : prefix);
  const uint64_t lo_mask = high_bits<uint64_t>(prefix > 64 ? prefix - 64 : 0);
  return ((x.hi ^ y.hi) & hi_mask) == 0 && ((x.lo ^ y.lo) & lo_mask) == 0 ? 1 : 0;
}

RUVO_API int32_t ruvo_l3_ipv4_addr_mask_equal(const ruvo_l3_addr_st *a, const ruvo_l3_addr_st *b,
                                              const ruvo_l3_addr_st *mask) noexcept {
  if (a == nullptr || b == nullptr || mask == nullptr) return 0;
  if (!is_v4(*a) || !is_v4(*b) || !is_v4(*mask) || !mask_valid(*mask)) return 0;
  return ((v4_value(*a) ^ v4_value(*b)) & v4_value(*mask)) == 0 ? 1 : 0;
}

RUVO_API ruvo_l3_addr_st *ruvo_l3_addr_and_mask(const ruvo_l3_addr_st *addr, const ruvo_l3_addr_st *mask,
                                                ruvo_l3_addr_st *out) noexcept {
  return combine(addr, mask, out, [](auto a, auto m) { return decltype(a)(a & m); });
}

RUVO_API ruvo_l3_addr_st *ruvo_l3_addr_or_not_mask(const ruvo_l3_addr_st *addr, const ruvo_l3_addr_st *mask,
                                                   ruvo_l3_addr_st *out) noexcept {
  return combine(addr, mask, out, [](auto a, auto m) { return decltype(a)(a | ~m); });
}

RUVO_API int32_t ruvo_l3_is_mask_valid(const ruvo_l3_addr_st *mask) noexcept {
  return mask != nullptr && mask_valid(*mask) ? 1 : 0;
}

RUVO_API int32_t ruvo_l3_get_mask_prefix(const ruvo_l3_addr_st *mask, uint32_t *prefix) noexcept {
  if (mask == nullptr || prefix == nullptr || !mask_valid(*mask)) return -1;
  // A valid mask is a run of leading ones, so its length is its bit count.
  if (is_v4(*mask)) {
    *prefix = static_cast<uint32_t>(__builtin_popcount(v4_value(*mask)));
  } else {
    const u128 v = v6_value(*mask);
    *prefix = static_cast<uint32_t>(__builtin_popcountll(v.hi) + __builtin_popcountll(v.lo));
  }
  return 0;
}

RUVO_API int32_t ruvo_l3_get_ipv4_mask(int32_t prefix, ruvo_l3_addr_st *out) noexcept {
  if (out == nullptr) return -1;
  if (prefix < 0 || prefix > 32) return -4;
  ruvo::l3::set_v4(*out, high_bits<uint32_t>(static_cast<uint32_t>(prefix)));
  return 0;
}

RUVO_API int32_t ruvo_l3_get_ipv6_mask(int32_t prefix, ruvo_l3_addr_st *out) noexcept {
  if (out == nullptr) return -1;
  if (prefix < 0 || prefix > 128) return -6;
  const auto bits = static_cast<uint32_t>(prefix);
  ruvo::l3::set_v6(*out, {high_bits<uint64_t>(bits > 64 ? 64 : bits),
                          high_bits<uint64_t>(bits > 64 ? bits - 64 : 0)});
  return 0;
}

RUVO_API int32_t ruvo_l3_is_addr_zero(const ruvo_l3_addr_st *addr) noexcept {
  return addr != nullptr && all_zero(*addr) ? 1 : 0;
}

RUVO_API int32_t ruvo_l3_is_addr_all_set(const ruvo_l3_addr_st *addr) noexcept {
  return addr != nullptr && all_set(*addr) ? 1 : 0;
}

RUVO_API void ruvo_l3_gen_addr_all_zero_one(ruvo_l3_addr_st *out, uint8_t family, uint8_t one) noexcept {
  if (out == nullptr) return;
  if (family == RUVO_L3_AF_IPV4) {
    ruvo::l3::set_v4(*out, one != 0 ? ~uint32_t{0} : 0);
  } else {
    std::memset(out, one != 0 ? 0xFF : 0, sizeof *out);
  }
}

RUVO_API int32_t ruvo_l3_is_ipv6_addr_compatible(const ruvo_l3_addr_st *addr) noexcept {
  return addr != nullptr && v6_compatible(*addr) ? 1 : 0;
}

RUVO_API int32_t ruvo_l3_is_ipv6_addr_mapping(const ruvo_l3_addr_st *addr) noexcept {
  return addr != nullptr && v6_mapping(*addr) ? 1 : 0;
}

RUVO_API int32_t ruvo_l3_ipv4_to_ipv6_compatible(ruvo_l3_addr_st *addr) noexcept {
  if (addr == nullptr || !is_v4(*addr)) return -1;
  std::memset(addr->u8, 0, 12);
  return 0;
}

RUVO_API int32_t ruvo_l3_ipv4_to_ipv6_mapping(ruvo_l3_addr_st *addr) noexcept {
  if (addr == nullptr || !is_v4(*addr)) return -1;
  std::memset(addr->u8, 0, 10);
  addr->u8[10] = 0xFF;
  addr->u8[11] = 0xFF;
  return 0;
}

RUVO_API int32_t ruvo_l3_ipv6_to_ipv4_special(ruvo_l3_addr_st *addr) noexcept {
  if (addr == nullptr || !(v6_mapping(*addr) || v6_compatible(*addr))) return -1;
  // Only the mark is written: an IPv4 record is read through word 0's mark
  // and word 3, so what words 1 and 2 hold does not matter.
  ruvo::l3::store_be32(addr->u8, RUVO_L3_IPV4_MARK);
  return 0;
}

RUVO_API int32_t ruvo_l3_addr_ntoh(const ruvo_l3_addr_st *addr, ruvo_l3_addr_st *out) noexcept {
  if (addr == nullptr || out == nullptr) return -1;
  if (is_v4(*addr)) {
    out->u32[1] = 0;
    out->u32[2] = 0;
  }
  return to_host(*addr, *out);
}

RUVO_API int32_t ruvo_l3_addr_ntoh2(ruvo_l3_addr_st *addr) noexcept {
  if (addr == nullptr) return -1;
  return to_host(*addr, *addr);
}

}  // extern "C"
