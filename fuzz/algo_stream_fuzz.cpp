// The digests and the cipher on arbitrary bytes: a digest taken in pieces
// (cut where the input's own bytes say) equals the one-call digest, the two
// SHA-256 paths agree, and every block deciphers back under a key taken
// from the input. ASan sees any read past the input.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "ruvo/algo/algo.h"
#include "sha256_dispatch.hpp"

namespace {

void sha256_pieces(const uint8_t *data, size_t size, size_t step, uint8_t out[32]) {
  ruvo_sha256_ctx ctx;
  ruvo_sha256_init(&ctx);
  for (size_t at = 0; at < size; at += step) ruvo_sha256_update(&ctx, data + at, size - at < step ? size - at : step);
  ruvo_sha256_final(&ctx, out);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::vector<uint8_t> exact(data, data + size);  // exactly size bytes
  const uint8_t *p = exact.data();
  const size_t step = size == 0 ? 1 : 1 + p[0] % 97;

  uint8_t whole[32], cut[32];
  ruvo::algo::sha256_force(ruvo::algo::sha256_path::portable);
  sha256_pieces(p, size, size + 1, whole);
  if (ruvo::algo::sha256_shani_supported()) ruvo::algo::sha256_force(ruvo::algo::sha256_path::shani);
  sha256_pieces(p, size, step, cut);
  if (std::memcmp(whole, cut, 32) != 0) std::abort();

  ruvo_md5_ctx ctx;
  ruvo_md5_init(&ctx);
  for (size_t at = 0; at < size; at += step) ruvo_md5_update(&ctx, p + at, size - at < step ? size - at : step);
  ruvo_md5_final(&ctx, cut);
  if (ruvo_md5_calc(p, static_cast<uint32_t>(size), whole) != 0 || std::memcmp(whole, cut, 16) != 0) std::abort();

  if (size >= 8) {
    ruvo_des_ctx des;
    ruvo_des_set_key(&des, p);
    for (size_t at = 8; at + 8 <= size; at += 8) {
      uint8_t sealed[8], open[8];
      ruvo_des_encrypt(&des, p + at, sealed);
      ruvo_des_decrypt(&des, sealed, open);
      if (std::memcmp(open, p + at, 8) != 0) std::abort();
    }
  }
  return 0;
}
