// Byte order and rotation helpers shared by the digests and the cipher. The
// loads go through memcpy so that unaligned input is fine on every target;
// compilers turn them into single moves (and byte swaps).
#pragma once

#include <cstdint>
#include <cstring>

namespace ruvo::algo {

inline uint32_t rotl(uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }
inline uint32_t rotr(uint32_t x, int n) { return (x >> n) | (x << (32 - n)); }

inline uint32_t load_le32(const uint8_t *p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  v = __builtin_bswap32(v);
#endif
  return v;
}

inline uint32_t load_be32(const uint8_t *p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  v = __builtin_bswap32(v);
#endif
  return v;
}

inline void store_le32(uint8_t *p, uint32_t v) {
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  v = __builtin_bswap32(v);
#endif
  std::memcpy(p, &v, 4);
}

inline void store_be32(uint8_t *p, uint32_t v) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  v = __builtin_bswap32(v);
#endif
  std::memcpy(p, &v, 4);
}

}  // namespace ruvo::algo
