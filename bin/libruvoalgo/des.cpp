// DES (FIPS 46-3), table-driven. Each round is eight lookups in tables that
// merge an S-box with the P permutation, built at compile time from the
// standard's tables. The initial and final permutations are done with five
// swap-moves on the two halves, and both halves are kept rotated left by one
// bit through the rounds, so that the expansion E is one rotation and two
// masks: every 6-bit S-box input then sits in the low bits of a byte.
#include <array>
#include <cstdint>

#include "bytes.hpp"
#include "ruvo/algo/algo.h"

namespace {

using ruvo::algo::load_be32;
using ruvo::algo::rotl;
using ruvo::algo::rotr;
using ruvo::algo::store_be32;

// ---- the standard's tables (bit 1 is the most significant) ----

constexpr uint8_t kSbox[8][64] = {
    {14, 4,  13, 1,  2,  15, 11, 8,  3,  10, 6,  12, 5,  9,  0,  7,
     0,  15, 7,  4,  14, 2,  13, 1,  10, 6,  12, 11, 9,  5,  3,  8,
     4,  1,  14, 8,  13, 6,  2,  11, 15, 12, 9,  7,  3,  10, 5,  0,
     15, 12, 8,  2,  4,  9,  1,  7,  5,  11, 3,  14, 10, 0,  6,  13},
    {15, 1,  8,  14, 6,  11, 3,  4,  9,  7,  2,  13, 12, 0,  5,  10,
     3,  13, 4,  7,  15, 2,  8,  14, 12, 0,  1,  10, 6,  9,  11, 5,
     0,  14, 7,  11, 10, 4,  13, 1,  5,  8,  12, 6,  9,  3,  2,  15,
     13, 8,  10, 1,  3,  15, 4,  2,  11, 6,  7,  12, 0,  5,  14, 9},
    {10, 0,  9,  14, 6,  3,  15, 5,  1,  13, 12, 7,  11, 4,  2,  8,
     13, 7,  0,  9,  3,  4,  6,  10, 2,  8,  5,  14, 12, 11, 15, 1,
     13, 6,  4,  9,  8,  15, 3,  0,  11, 1,  2,  12, 5,  10, 14, 7,
     1,  10, 13, 0,  6,  9,  8,  7,  4,  15, 14, 3,  11, 5,  2,  12},
    {7,  13, 14, 3,  0,  6,  9,  10, 1,  2,  8,  5,  11, 12, 4,  15,
     13, 8,  11, 5,  6,  15, 0,  3,  4,  7,  2,  12, 1,  10, 14, 9,
     10, 6,  9,  0,  12, 11, 7,  13, 15, 1,  3,  14, 5,  2,  8,  4,
     3,  15, 0,  6,  10, 1,  13, 8,  9,  4,  5,  11, 12, 7,  2,  14},
    {2,  12, 4,  1,  7,  10, 11, 6,  8,  5,  3,  15, 13, 0,  14, 9,
     14, 11, 2,  12, 4,  7,  13, 1,  5,  0,  15, 10, 3,  9,  8,  6,
     4,  2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,  6,  3,  0,  14,
     11, 8,  12, 7,  1,  14, 2,  13, 6,  15, 0,  9,  10, 4,  5,  3},
    {12, 1,  10, 15, 9,  2,  6,  8,  0,  13, 3,  4,  14, 7,  5,  11,
     10, 15, 4,  2,  7,  12, 9,  5,  6,  1,  13, 14, 0,  11, 3,  8,
     9,  14, 15, 5,  2,  8,  12, 3,  7,  0,  4,  10, 1,  13, 11, 6,
     4,  3,  2,  12, 9,  5,  15, 10, 11, 14, 1,  7,  6,  0,  8,  13},
    {4,  11, 2,  14, 15, 0,  8,  13, 3,  12, 9,  7,  5,  10, 6,  1,
     13, 0,  11, 7,  4,  9,  1,  10, 14, 3,  5,  12, 2,  15, 8,  6,
     1,  4,  11, 13, 12, 3,  7,  14, 10, 15, 6,  8,  0,  5,  9,  2,
     6,  11, 13, 8,  1,  4,  10, 7,  9,  5,  0,  15, 14, 2,  3,  12},
    {13, 2,  8,  4,  6,  15, 11, 1,  10, 9,  3,  14, 5,  0,  12, 7,
     1,  15, 13, 8,  10, 3,  7,  4,  12, 5,  6,  11, 0,  14, 9,  2,
     7,  11, 4,  1,  9,  12, 14, 2,  0,  6,  10, 13, 15, 3,  5,  8,
     2,  1,  14, 7,  4,  10, 8,  13, 15, 12, 9,  0,  3,  5,  6,  11},
};

constexpr uint8_t kP[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,
                            2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25};

constexpr uint8_t kPC1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                              10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                              63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                              14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};

constexpr uint8_t kPC2[48] = {14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10,
                              23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
                              41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48,
                              44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};

constexpr uint8_t kShifts[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

// Bit `pos` (1-based from the top) of a `width`-bit value.
constexpr uint64_t bit(uint64_t x, int pos, int width) { return (x >> (width - pos)) & 1; }

// Picks bits of an in_width-bit value in the order the table names them.
template <size_t N>
constexpr uint64_t permute(uint64_t x, const uint8_t (&table)[N], int in_width) {
  uint64_t out = 0;
  for (size_t i = 0; i < N; ++i) out = (out << 1) | bit(x, table[i], in_width);
  return out;
}

// ---- the round function ----

using sp_tables = std::array<std::array<uint32_t, 64>, 8>;

// sp[box][x]: S-box `box` on the 6-bit input x (bits b1..b6, b1 the top),
// placed in its four output bits, through P, and rotated left by one like
// the halves.
constexpr sp_tables make_sp() {
  sp_tables sp{};
  for (int box = 0; box < 8; ++box) {
    for (int x = 0; x < 64; ++x) {
      const int row = ((x >> 4) & 2) | (x & 1);
      const int col = (x >> 1) & 15;
      const uint64_t s = static_cast<uint64_t>(kSbox[box][16 * row + col]) << (28 - 4 * box);
      const auto p = static_cast<uint32_t>(permute(s, kP, 32));
      sp[box][x] = (p << 1) | (p >> 31);
    }
  }
  return sp;
}

constexpr sp_tables kSP = make_sp();

// f(R, K) on a half rotated left by one. Its odd-numbered 6-bit groups of
// E(R) are then the low six bits of each byte, and the even-numbered ones
// those of the half rotated right by four more. k[0] holds the round key's
// groups 1, 3, 5, 7 in bytes 3..0, k[1] groups 2, 4, 6, 8.
inline uint32_t f(uint32_t r, const uint32_t *k) {
  const uint32_t u = rotr(r, 4) ^ k[0];
  const uint32_t v = r ^ k[1];
  return kSP[0][(u >> 24) & 63] ^ kSP[2][(u >> 16) & 63] ^ kSP[4][(u >> 8) & 63] ^ kSP[6][u & 63] ^
         kSP[1][(v >> 24) & 63] ^ kSP[3][(v >> 16) & 63] ^ kSP[5][(v >> 8) & 63] ^ kSP[7][v & 63];
}

// ---- the permutations IP and IP^-1 ----

// Exchanges the bits of b under m with the bits of a under m << n.
inline void swap_move(uint32_t &a, uint32_t &b, int n, uint32_t m) {
  const uint32_t t = ((a >> n) ^ b) & m;
  b ^= t;
  a ^= t << n;
}

inline void initial_permutation(uint32_t &l, uint32_t &r) {
  swap_move(l, r, 4, 0x0f0f0f0f);
  swap_move(l, r, 16, 0x0000ffff);
  swap_move(r, l, 2, 0x33333333);
  swap_move(r, l, 8, 0x00ff00ff);
  swap_move(l, r, 1, 0x55555555);
}

// The same swaps in reverse order undo them.
inline void final_permutation(uint32_t &l, uint32_t &r) {
  swap_move(l, r, 1, 0x55555555);
  swap_move(r, l, 8, 0x00ff00ff);
  swap_move(r, l, 2, 0x33333333);
  swap_move(l, r, 16, 0x0000ffff);
  swap_move(l, r, 4, 0x0f0f0f0f);
}

void crypt_block(const uint32_t *keys, const uint8_t *in, uint8_t *out) {
  uint32_t l = load_be32(in), r = load_be32(in + 4);
  initial_permutation(l, r);
  l = rotl(l, 1);
  r = rotl(r, 1);
  for (int i = 0; i < 32; i += 4) {
    l ^= f(r, keys + i);
    r ^= f(l, keys + i + 2);
  }
  // The output block is R16 L16.
  l = rotr(l, 1);
  r = rotr(r, 1);
  final_permutation(r, l);
  store_be32(out, r);
  store_be32(out + 4, l);
}

// Rotates a 28-bit half left.
constexpr uint32_t rotl28(uint32_t x, int n) { return ((x << n) | (x >> (28 - n))) & 0x0fffffff; }

// The 48-bit round key as the two words f() takes.
void split_round_key(uint64_t k48, uint32_t *out) {
  uint32_t group[8];
  for (int g = 0; g < 8; ++g) group[g] = static_cast<uint32_t>(k48 >> (42 - 6 * g)) & 63;
  out[0] = group[0] << 24 | group[2] << 16 | group[4] << 8 | group[6];
  out[1] = group[1] << 24 | group[3] << 16 | group[5] << 8 | group[7];
}

}  // namespace

extern "C" RUVO_ALGO_API void ruvo_des_set_key(ruvo_des_ctx *ctx, const uint8_t key[8]) noexcept {
  if (ctx == nullptr || key == nullptr) return;
  const uint64_t k = (static_cast<uint64_t>(load_be32(key)) << 32) | load_be32(key + 4);
  const uint64_t cd = permute(k, kPC1, 64);
  uint32_t c = static_cast<uint32_t>(cd >> 28), d = static_cast<uint32_t>(cd) & 0x0fffffff;
  for (int round = 0; round < 16; ++round) {
    c = rotl28(c, kShifts[round]);
    d = rotl28(d, kShifts[round]);
    const uint64_t k48 = permute((static_cast<uint64_t>(c) << 28) | d, kPC2, 56);
    split_round_key(k48, ctx->encrypt_keys + 2 * round);
  }
  // Deciphering runs the same rounds with the keys in reverse order.
  for (int round = 0; round < 16; ++round) {
    ctx->decrypt_keys[2 * round] = ctx->encrypt_keys[2 * (15 - round)];
    ctx->decrypt_keys[2 * round + 1] = ctx->encrypt_keys[2 * (15 - round) + 1];
  }
}

extern "C" RUVO_ALGO_API void ruvo_des_encrypt(const ruvo_des_ctx *ctx, const uint8_t in[8],
                                               uint8_t out[8]) noexcept {
  if (ctx == nullptr || in == nullptr || out == nullptr) return;
  crypt_block(ctx->encrypt_keys, in, out);
}

extern "C" RUVO_ALGO_API void ruvo_des_decrypt(const ruvo_des_ctx *ctx, const uint8_t in[8],
                                               uint8_t out[8]) noexcept {
  if (ctx == nullptr || in == nullptr || out == nullptr) return;
  crypt_block(ctx->decrypt_keys, in, out);
}
