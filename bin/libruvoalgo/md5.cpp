// MD5 (RFC 1321): the four rounds written out step by step, so that every
// shift amount and sine constant is an immediate and the compiler keeps the
// four state words in registers for the whole block.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "bytes.hpp"
#include "ruvo/algo/algo.h"

namespace {

using ruvo::algo::load_le32;
using ruvo::algo::rotl;
using ruvo::algo::store_le32;

// The round functions; F and G in forms with one operation fewer than the
// RFC's, with the same truth tables.
inline uint32_t F(uint32_t x, uint32_t y, uint32_t z) { return z ^ (x & (y ^ z)); }
inline uint32_t G(uint32_t x, uint32_t y, uint32_t z) { return y ^ (z & (x ^ y)); }
inline uint32_t H(uint32_t x, uint32_t y, uint32_t z) { return x ^ y ^ z; }
inline uint32_t I(uint32_t x, uint32_t y, uint32_t z) { return y ^ (x | ~z); }

template <uint32_t (*Fn)(uint32_t, uint32_t, uint32_t)>
inline void step(uint32_t &a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, uint32_t t, int s) {
  a = b + rotl(a + Fn(b, c, d) + x + t, s);
}

void compress(uint32_t state[4], const uint8_t *block) {
  uint32_t x[16];
  for (int i = 0; i < 16; ++i) x[i] = load_le32(block + 4 * i);
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];

  step<F>(a, b, c, d, x[0], 0xd76aa478, 7);    step<F>(d, a, b, c, x[1], 0xe8c7b756, 12);
  step<F>(c, d, a, b, x[2], 0x242070db, 17);   step<F>(b, c, d, a, x[3], 0xc1bdceee, 22);
  step<F>(a, b, c, d, x[4], 0xf57c0faf, 7);    step<F>(d, a, b, c, x[5], 0x4787c62a, 12);
  step<F>(c, d, a, b, x[6], 0xa8304613, 17);   step<F>(b, c, d, a, x[7], 0xfd469501, 22);
  step<F>(a, b, c, d, x[8], 0x698098d8, 7);    step<F>(d, a, b, c, x[9], 0x8b44f7af, 12);
  step<F>(c, d, a, b, x[10], 0xffff5bb1, 17);  step<F>(b, c, d, a, x[11], 0x895cd7be, 22);
  step<F>(a, b, c, d, x[12], 0x6b901122, 7);   step<F>(d, a, b, c, x[13], 0xfd987193, 12);
  step<F>(c, d, a, b, x[14], 0xa679438e, 17);  step<F>(b, c, d, a, x[15], 0x49b40821, 22);

  step<G>(a, b, c, d, x[1], 0xf61e2562, 5);    step<G>(d, a, b, c, x[6], 0xc040b340, 9);
  step<G>(c, d, a, b, x[11], 0x265e5a51, 14);  step<G>(b, c, d, a, x[0], 0xe9b6c7aa, 20);
  step<G>(a, b, c, d, x[5], 0xd62f105d, 5);    step<G>(d, a, b, c, x[10], 0x02441453, 9);
  step<G>(c, d, a, b, x[15], 0xd8a1e681, 14);  step<G>(b, c, d, a, x[4], 0xe7d3fbc8, 20);
  step<G>(a, b, c, d, x[9], 0x21e1cde6, 5);    step<G>(d, a, b, c, x[14], 0xc33707d6, 9);
  step<G>(c, d, a, b, x[3], 0xf4d50d87, 14);   step<G>(b, c, d, a, x[8], 0x455a14ed, 20);
  step<G>(a, b, c, d, x[13], 0xa9e3e905, 5);   step<G>(d, a, b, c, x[2], 0xfcefa3f8, 9);
  step<G>(c, d, a, b, x[7], 0x676f02d9, 14);   step<G>(b, c, d, a, x[12], 0x8d2a4c8a, 20);

  step<H>(a, b, c, d, x[5], 0xfffa3942, 4);    step<H>(d, a, b, c, x[8], 0x8771f681, 11);
  step<H>(c, d, a, b, x[11], 0x6d9d6122, 16);  step<H>(b, c, d, a, x[14], 0xfde5380c, 23);
  step<H>(a, b, c, d, x[1], 0xa4beea44, 4);    step<H>(d, a, b, c, x[4], 0x4bdecfa9, 11);
  step<H>(c, d, a, b, x[7], 0xf6bb4b60, 16);   step<H>(b, c, d, a, x[10], 0xbebfbc70, 23);
  step<H>(a, b, c, d, x[13], 0x289b7ec6, 4);   step<H>(d, a, b, c, x[0], 0xeaa127fa, 11);
  step<H>(c, d, a, b, x[3], 0xd4ef3085, 16);   step<H>(b, c, d, a, x[6], 0x04881d05, 23);
  step<H>(a, b, c, d, x[9], 0xd9d4d039, 4);    step<H>(d, a, b, c, x[12], 0xe6db99e5, 11);
  step<H>(c, d, a, b, x[15], 0x1fa27cf8, 16);  step<H>(b, c, d, a, x[2], 0xc4ac5665, 23);

  step<I>(a, b, c, d, x[0], 0xf4292244, 6);    step<I>(d, a, b, c, x[7], 0x432aff97, 10);
  step<I>(c, d, a, b, x[14], 0xab9423a7, 15);  step<I>(b, c, d, a, x[5], 0xfc93a039, 21);
  step<I>(a, b, c, d, x[12], 0x655b59c3, 6);   step<I>(d, a, b, c, x[3], 0x8f0ccc92, 10);
  step<I>(c, d, a, b, x[10], 0xffeff47d, 15);  step<I>(b, c, d, a, x[1], 0x85845dd1, 21);
  step<I>(a, b, c, d, x[8], 0x6fa87e4f, 6);    step<I>(d, a, b, c, x[15], 0xfe2ce6e0, 10);
  step<I>(c, d, a, b, x[6], 0xa3014314, 15);   step<I>(b, c, d, a, x[13], 0x4e0811a1, 21);
  step<I>(a, b, c, d, x[4], 0xf7537e82, 6);    step<I>(d, a, b, c, x[11], 0xbd3af235, 10);
  step<I>(c, d, a, b, x[2], 0x2ad7d2bb, 15);   step<I>(b, c, d, a, x[9], 0xeb86d391, 21);

  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

// The count is in bits, split in two words, low word first.
uint64_t bit_count(const ruvo_md5_ctx *ctx) {
  return (static_cast<uint64_t>(ctx->count[1]) << 32) | ctx->count[0];
}

void set_bit_count(ruvo_md5_ctx *ctx, uint64_t bits) {
  ctx->count[0] = static_cast<uint32_t>(bits);
  ctx->count[1] = static_cast<uint32_t>(bits >> 32);
}

}  // namespace

extern "C" RUVO_ALGO_API void ruvo_md5_init(ruvo_md5_ctx *ctx) noexcept {
  if (ctx == nullptr) return;
  ctx->state[0] = 0x67452301;
  ctx->state[1] = 0xefcdab89;
  ctx->state[2] = 0x98badcfe;
  ctx->state[3] = 0x10325476;
  set_bit_count(ctx, 0);
  std::memset(ctx->buffer, 0, sizeof ctx->buffer);
}

extern "C" RUVO_ALGO_API void ruvo_md5_update(ruvo_md5_ctx *ctx, const void *data, size_t len) noexcept {
  if (ctx == nullptr || data == nullptr || len == 0) return;
  const auto *p = static_cast<const uint8_t *>(data);
  const uint64_t bits = bit_count(ctx);
  size_t used = static_cast<size_t>(bits >> 3) & 63;
  set_bit_count(ctx, bits + (static_cast<uint64_t>(len) << 3));

  if (used != 0) {
    const size_t take = len < 64 - used ? len : 64 - used;
    std::memcpy(ctx->buffer + used, p, take);
    p += take;
    len -= take;
    if (used + take < 64) return;
    compress(ctx->state, ctx->buffer);
  }
  for (; len >= 64; p += 64, len -= 64) compress(ctx->state, p);
  std::memcpy(ctx->buffer, p, len);
}

extern "C" RUVO_ALGO_API void ruvo_md5_final(ruvo_md5_ctx *ctx, uint8_t digest[16]) noexcept {
  if (ctx == nullptr || digest == nullptr) return;
  const uint64_t bits = bit_count(ctx);
  const size_t used = static_cast<size_t>(bits >> 3) & 63;

  // A one bit, zeros up to 56 bytes into a block, then the bit count.
  ctx->buffer[used] = 0x80;
  std::memset(ctx->buffer + used + 1, 0, 63 - used);
  if (used >= 56) {
    compress(ctx->state, ctx->buffer);
    std::memset(ctx->buffer, 0, 56);
  }
  store_le32(ctx->buffer + 56, ctx->count[0]);
  store_le32(ctx->buffer + 60, ctx->count[1]);
  compress(ctx->state, ctx->buffer);

  for (int i = 0; i < 4; ++i) store_le32(digest + 4 * i, ctx->state[i]);
}

extern "C" RUVO_ALGO_API int ruvo_md5_calc(const void *data, uint32_t len, uint8_t digest[16]) noexcept {
  if ((data == nullptr && len > 0) || digest == nullptr) return 1;
  ruvo_md5_ctx ctx;
  ruvo_md5_init(&ctx);
  ruvo_md5_update(&ctx, data, len);
  ruvo_md5_final(&ctx, digest);
  return 0;
}

extern "C" RUVO_ALGO_API void ruvo_md5_bin2str(const uint8_t digest[16], char *text) noexcept {
  if (digest == nullptr || text == nullptr) return;
  static const char kHex[] = "0123456789abcdef";
  for (int i = 0; i < 16; ++i) {
    text[2 * i] = kHex[digest[i] >> 4];
    text[2 * i + 1] = kHex[digest[i] & 15];
  }
  text[32] = '\0';
}
