// Internals of the L3 address family, shared by its three sources, the
// fuzzers and the benchmark: byte-order loads, the family test, the
// comparison, and the text parsers and printer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ruvo/base/l3.h"

namespace ruvo::l3 {

inline uint32_t load_be32(const uint8_t *p) noexcept {
  return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | uint32_t(p[3]);
}

inline uint64_t load_be64(const uint8_t *p) noexcept {
  return uint64_t(load_be32(p)) << 32 | load_be32(p + 4);
}

inline void store_be32(uint8_t *p, uint32_t v) noexcept {
  p[0] = uint8_t(v >> 24);
  p[1] = uint8_t(v >> 16);
  p[2] = uint8_t(v >> 8);
  p[3] = uint8_t(v);
}

inline void store_be64(uint8_t *p, uint64_t v) noexcept {
  store_be32(p, uint32_t(v >> 32));
  store_be32(p + 4, uint32_t(v));
}

// The family lives in the record: FF BF in bytes 0 and 1 marks IPv4.
inline bool is_v4(const ruvo_l3_addr_st &a) noexcept { return a.u8[0] == 0xFF && a.u8[1] == 0xBF; }

// The IPv4 address as a host integer (word 3 in network order).
inline uint32_t v4_value(const ruvo_l3_addr_st &a) noexcept { return load_be32(a.u8 + 12); }

// An IPv6 address as two host integers, most significant half first.
struct u128 {
  uint64_t hi, lo;
};
inline u128 v6_value(const ruvo_l3_addr_st &a) noexcept { return {load_be64(a.u8), load_be64(a.u8 + 8)}; }
inline void set_v6(ruvo_l3_addr_st &a, u128 v) noexcept {
  store_be64(a.u8, v.hi);
  store_be64(a.u8 + 8, v.lo);
}

// A fresh IPv4 record: the mark, zeros, and the address in word 3.
inline void set_v4(ruvo_l3_addr_st &a, uint32_t value) noexcept {
  std::memset(&a, 0, sizeof a);
  a.u8[0] = 0xFF;
  a.u8[1] = 0xBF;
  store_be32(a.u8 + 12, value);
}

template <class T>
int three_way(T x, T y) noexcept {
  return x < y ? -1 : (x > y ? 1 : 0);
}

// 1, 0, -1 within a family; 3 or -3 across, IPv6 being the larger.
inline int compare(const ruvo_l3_addr_st &a, const ruvo_l3_addr_st &b) noexcept {
  const bool va = is_v4(a);
  if (va != is_v4(b)) return va ? -3 : 3;
  if (va) return three_way(v4_value(a), v4_value(b));
  const u128 x = v6_value(a), y = v6_value(b);
  return x.hi != y.hi ? three_way(x.hi, y.hi) : three_way(x.lo, y.lo);
}

// ---- text ----

// Room for the longest address text and its terminator:
// "ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255" is 45 characters.
inline constexpr size_t kTextSize = 46;
// The composite parsers work on a copy in a buffer of this size.
inline constexpr size_t kCompositeSize = 128;

// Strict dotted decimal into 4 bytes; false leaves `out` alone.
bool ipv4_parse(const char *text, uint8_t out[4]) noexcept;
// Strict IPv6 text into 16 bytes; false leaves `out` alone.
bool ipv6_parse(const char *text, uint8_t out[16]) noexcept;
// IPv4 first, then IPv6; false leaves `out` alone.
bool parse_addr(const char *text, ruvo_l3_addr_st &out) noexcept;
// The address text into buf[kTextSize]; its length.
size_t format_addr(const ruvo_l3_addr_st &a, char *buf) noexcept;

// The length of `text` if it is below `limit`, else `limit`; reads no byte
// past the terminator, so an unterminated caller buffer is never overrun.
inline size_t bounded_length(const char *text, size_t limit) noexcept {
  size_t n = 0;
  while (n < limit && text[n] != '\0') ++n;
  return n;
}

// The forms of composite text.
enum split_form : int { kSingle = 0, kPrefix = 1, kMask = 2, kPair = 3 };
// Cuts `text` in place at the first '/' (else the first '-'), trims blanks
// from both parts, and gives the form. A single address gives the same
// pointer twice.
int split_text(char *text, char **first, char **second) noexcept;
// A prefix length: a whole non-negative decimal number that uses up the
// text. Lengths past 32 bits saturate to INT32_MAX, which every family
// refuses as too long. -1 when the text is no such number.
int32_t parse_prefix(const char *text) noexcept;

}  // namespace ruvo::l3
