// SHA-256 (FIPS 180-4): the streaming calls, the portable compression and the
// choice of block function. The hardware path lives in sha256_shani.cpp,
// compiled for the SHA extensions alone so the rest of the library runs on
// any x86-64.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "bytes.hpp"
#include "ruvo/algo/algo.h"
#include "sha256_dispatch.hpp"

namespace ruvo::algo {

// The first 32 bits of the fractional parts of the cube roots of the first
// 64 primes.
const uint32_t kSha256Round[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2,
};

namespace {

inline uint32_t big_sigma0(uint32_t x) { return rotr(x, 2) ^ rotr(x, 13) ^ rotr(x, 22); }
inline uint32_t big_sigma1(uint32_t x) { return rotr(x, 6) ^ rotr(x, 11) ^ rotr(x, 25); }
inline uint32_t small_sigma0(uint32_t x) { return rotr(x, 7) ^ rotr(x, 18) ^ (x >> 3); }
inline uint32_t small_sigma1(uint32_t x) { return rotr(x, 17) ^ rotr(x, 19) ^ (x >> 10); }
inline uint32_t choose(uint32_t x, uint32_t y, uint32_t z) { return z ^ (x & (y ^ z)); }
inline uint32_t majority(uint32_t x, uint32_t y, uint32_t z) { return (x & y) | (z & (x | y)); }

void compress(uint32_t state[8], const uint8_t *block) {
  uint32_t w[64];
  for (int t = 0; t < 16; ++t) w[t] = load_be32(block + 4 * t);
  for (int t = 16; t < 64; ++t) {
    w[t] = small_sigma1(w[t - 2]) + w[t - 7] + small_sigma0(w[t - 15]) + w[t - 16];
  }
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  uint32_t e = state[4], f = state[5], g = state[6], h = state[7];
  for (int t = 0; t < 64; ++t) {
    const uint32_t t1 = h + big_sigma1(e) + choose(e, f, g) + kSha256Round[t] + w[t];
    const uint32_t t2 = big_sigma0(a) + majority(a, b, c);
    h = g;
    g = f;
    f = e;
    e = d + t1;
    d = c;
    c = b;
    b = a;
    a = t1 + t2;
  }
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
  state[4] += e;
  state[5] += f;
  state[6] += g;
  state[7] += h;
}

// Null until the first digest (or a forced choice) sets it.
std::atomic<sha256_blocks_fn> chosen{nullptr};

sha256_blocks_fn block_function() {
  sha256_blocks_fn fn = chosen.load(std::memory_order_relaxed);
  if (fn == nullptr) {
    // Two threads may both decide; they decide the same.
    fn = sha256_shani_supported() ? sha256_blocks_shani : sha256_blocks_portable;
    chosen.store(fn, std::memory_order_relaxed);
  }
  return fn;
}

}  // namespace

void sha256_blocks_portable(uint32_t state[8], const uint8_t *p, size_t blocks) {
  for (; blocks > 0; --blocks, p += 64) compress(state, p);
}

bool sha256_force(sha256_path path) {
  if (path == sha256_path::shani && !sha256_shani_supported()) return false;
  chosen.store(path == sha256_path::portable ? sha256_blocks_portable
               : path == sha256_path::shani  ? sha256_blocks_shani
                                             : nullptr,
               std::memory_order_relaxed);
  return true;
}

}  // namespace ruvo::algo

using ruvo::algo::block_function;
using ruvo::algo::store_be32;

extern "C" RUVO_ALGO_API void ruvo_sha256_init(ruvo_sha256_ctx *ctx) noexcept {
  if (ctx == nullptr) return;
  // The first 32 bits of the fractional parts of the square roots of the
  // first eight primes.
  static const uint32_t kInitial[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                       0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  std::memcpy(ctx->state, kInitial, sizeof kInitial);
  ctx->length = 0;
  std::memset(ctx->buffer, 0, sizeof ctx->buffer);
  ctx->used = 0;
  ctx->reserved = 0;
}

extern "C" RUVO_ALGO_API void ruvo_sha256_update(ruvo_sha256_ctx *ctx, const void *data,
                                                 size_t len) noexcept {
  if (ctx == nullptr || data == nullptr || len == 0) return;
  const auto *p = static_cast<const uint8_t *>(data);
  const auto blocks = block_function();
  ctx->length += len;

  if (ctx->used != 0) {
    const size_t take = len < 64 - ctx->used ? len : 64 - ctx->used;
    std::memcpy(ctx->buffer + ctx->used, p, take);
    ctx->used += static_cast<uint32_t>(take);
    p += take;
    len -= take;
    if (ctx->used < 64) return;
    blocks(ctx->state, ctx->buffer, 1);
    ctx->used = 0;
  }
  blocks(ctx->state, p, len / 64);
  p += len & ~size_t{63};
  std::memcpy(ctx->buffer, p, len & 63);
  ctx->used = static_cast<uint32_t>(len & 63);
}

extern "C" RUVO_ALGO_API void ruvo_sha256_final(ruvo_sha256_ctx *ctx, uint8_t digest[32]) noexcept {
  if (ctx == nullptr || digest == nullptr) return;
  const auto blocks = block_function();
  const uint32_t used = ctx->used;

  // A one bit, zeros up to 56 bytes into a block, then the length in bits,
  // big-endian.
  ctx->buffer[used] = 0x80;
  std::memset(ctx->buffer + used + 1, 0, 63 - used);
  if (used >= 56) {
    blocks(ctx->state, ctx->buffer, 1);
    std::memset(ctx->buffer, 0, 56);
  }
  const uint64_t bits = ctx->length << 3;
  store_be32(ctx->buffer + 56, static_cast<uint32_t>(bits >> 32));
  store_be32(ctx->buffer + 60, static_cast<uint32_t>(bits));
  blocks(ctx->state, ctx->buffer, 1);

  for (int i = 0; i < 8; ++i) store_be32(digest + 4 * i, ctx->state[i]);
  ctx->used = 0;
}
