// Internals of the keyed message shared by xmsg.cpp, the white-box tests, the
// fuzzer and the benchmark: the element layout, the hash and its kernels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ruvo/base/xmsg.h"

namespace ruvo::xmsg {

constexpr uint32_t kHashStart = 5318;     // h = h * 33 + byte, from here
constexpr uint32_t kHeaderSize = 16;      // magic, checksum, nelem, length
constexpr uint32_t kElementHead = 12;     // next, value_len, key_len, flags, pad
constexpr uint32_t kMinElement = 16;      // 12 + 1 key byte + terminator, padded
constexpr uint32_t kFirstCapacity = 64;
// The largest store: a multiple of 4 whose wire image (store + 16) still fits
// the 32-bit `length` and ruvo_xmsg_pack_size.
constexpr uint32_t kMaxUsed = 0xFFFFFFECu;
static_assert(kMaxUsed % 4 == 0 && uint64_t{kMaxUsed} + kHeaderSize <= 0xFFFFFFFFu &&
              uint64_t{kMaxUsed} + 4 + kHeaderSize > 0xFFFFFFFFu);

// Field offsets inside an element.
constexpr uint32_t kOffNext = 0;
constexpr uint32_t kOffValueLen = 4;
constexpr uint32_t kOffKeyLen = 8;
constexpr uint32_t kOffFlags = 10;
constexpr uint32_t kOffPad = 11;

inline uint32_t load32(const uint8_t *p) noexcept {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}
inline uint16_t load16(const uint8_t *p) noexcept {
  return static_cast<uint16_t>(uint32_t{p[0]} | uint32_t{p[1]} << 8);
}
inline void store32(uint8_t *p, uint32_t v) noexcept {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
  p[2] = static_cast<uint8_t>(v >> 16);
  p[3] = static_cast<uint8_t>(v >> 24);
}
inline void store16(uint8_t *p, uint16_t v) noexcept {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}

// Bytes an element of these lengths takes in the store, terminator and
// padding included. 64-bit, so that no length can wrap it.
constexpr uint64_t element_size(uint64_t key_len, uint64_t value_len) noexcept {
  return (key_len + value_len + 13 + 3) & ~uint64_t{3};
}

// The element head at `off`, read once.
struct element_view {
  uint32_t next;
  uint32_t value_len;
  uint32_t key_len;
  uint32_t flags;
  uint32_t pad;
  uint64_t stride() const noexcept { return uint64_t{13} + key_len + value_len + pad; }
};

inline element_view read_element(const uint8_t *data, uint32_t off) noexcept {
  const uint8_t *e = data + off;
  return {load32(e + kOffNext), load32(e + kOffValueLen), load16(e + kOffKeyLen), e[kOffFlags],
          e[kOffPad]};
}

// ---- hash ----

// One byte at a time, as the definition reads. The reference for the kernels.
inline uint32_t hash_bytewise(const uint8_t *p, size_t n, uint32_t h = kHashStart) noexcept {
  for (size_t i = 0; i < n; ++i) h = h * 33u + p[i];
  return h;
}

// 33^e modulo 2^32.
constexpr uint32_t pow33(uint64_t e) noexcept {
  uint32_t result = 1;
  uint32_t base = 33;
  while (e != 0) {
    if (e & 1) result *= base;
    base *= base;
    e >>= 1;
  }
  return result;
}

// The kernels continue `h` over n bytes and, when `dst` is not null, copy the
// bytes to `dst` in the same pass. All give hash_bytewise's value.
using hash_kernel = uint32_t (*)(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h) noexcept;

uint32_t hash_scalar(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h) noexcept;
uint32_t hash_sse2(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h) noexcept;
uint32_t hash_avx2(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h) noexcept;

// The kernels this machine can run, best last; null entries are missing.
struct kernel_set {
  hash_kernel scalar;
  hash_kernel sse2;
  hash_kernel avx2;
};
kernel_set available_kernels() noexcept;

// The message hash by the best kernel of this machine, for the packed
// checksum; hash_copy also copies the bytes to `dst` in the same pass. Key
// slots use hash_bytewise: keys are short, and it gives the same value.
uint32_t ruvo_xmsg_hash(const uint8_t *src, size_t n, uint32_t h = kHashStart) noexcept;
uint32_t hash_copy(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h = kHashStart) noexcept;

}  // namespace ruvo::xmsg
