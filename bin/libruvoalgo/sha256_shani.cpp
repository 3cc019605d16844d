// SHA-256 on the x86-64 SHA extensions. sha256rnds2 runs two rounds on the
// state held as two vectors, ABEF and CDGH (high lane first); sha256msg1 and
// sha256msg2 extend the message schedule four words at a time. Only these
// functions are compiled for the extensions, so the library loads and runs
// on CPUs without them; the caller checks sha256_shani_supported() first.
#include <cstddef>
#include <cstdint>

#include "sha256_dispatch.hpp"

#if defined(__x86_64__)

#include <cpuid.h>
#include <immintrin.h>

namespace ruvo::algo {

bool sha256_shani_supported() {
  unsigned a = 0, b = 0, c = 0, d = 0;
  if (!__get_cpuid(1, &a, &b, &c, &d)) return false;
  const bool sse41 = (c & bit_SSE4_1) != 0;
  if (!__get_cpuid_count(7, 0, &a, &b, &c, &d)) return false;
  return sse41 && (b & (1u << 29)) != 0;  // leaf 7, EBX bit 29: SHA
}

namespace {

// Four message words W[4i..4i+3] for i >= 4, from the four vectors before.
__attribute__((target("sha,sse4.1"))) inline __m128i schedule(__m128i w16, __m128i w12,
                                                               __m128i w8, __m128i w4) {
  const __m128i t = _mm_add_epi32(_mm_sha256msg1_epu32(w16, w12), _mm_alignr_epi8(w4, w8, 4));
  return _mm_sha256msg2_epu32(t, w4);
}

// Four rounds with the words w; abef and cdgh advance by four rounds.
__attribute__((target("sha,sse4.1"))) inline void four_rounds(__m128i &abef, __m128i &cdgh,
                                                               __m128i w, int i) {
  const __m128i k = _mm_loadu_si128(reinterpret_cast<const __m128i *>(kSha256Round + 4 * i));
  const __m128i wk = _mm_add_epi32(w, k);
  cdgh = _mm_sha256rnds2_epu32(cdgh, abef, wk);
  abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_shuffle_epi32(wk, 0x0e));
}

}  // namespace

__attribute__((target("sha,sse4.1"))) void sha256_blocks_shani(uint32_t state[8], const uint8_t *p,
                                                                size_t blocks) {
  const __m128i byte_swap = _mm_set_epi8(12, 13, 14, 15, 8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3);
  // a b c d / e f g h (low lane first) into ABEF / CDGH.
  const __m128i dcba = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<__m128i *>(state)), 0xb1);
  const __m128i efgh = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<__m128i *>(state + 4)), 0x1b);
  __m128i abef = _mm_alignr_epi8(dcba, efgh, 8);
  __m128i cdgh = _mm_blend_epi16(efgh, dcba, 0xf0);

  for (; blocks > 0; --blocks, p += 64) {
    const __m128i abef_in = abef, cdgh_in = cdgh;
    __m128i w[4];
    for (int i = 0; i < 4; ++i) {
      w[i] = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 16 * i)),
                              byte_swap);
      four_rounds(abef, cdgh, w[i], i);
    }
#pragma GCC unroll 12
    for (int i = 4; i < 16; ++i) {
      w[i & 3] = schedule(w[i & 3], w[(i + 1) & 3], w[(i + 2) & 3], w[(i + 3) & 3]);
      four_rounds(abef, cdgh, w[i & 3], i);
    }
    abef = _mm_add_epi32(abef, abef_in);
    cdgh = _mm_add_epi32(cdgh, cdgh_in);
  }

  // Back to a b c d / e f g h.
  const __m128i feba = _mm_shuffle_epi32(abef, 0x1b);
  const __m128i dchg = _mm_shuffle_epi32(cdgh, 0xb1);
  _mm_storeu_si128(reinterpret_cast<__m128i *>(state), _mm_blend_epi16(feba, dchg, 0xf0));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(state + 4), _mm_alignr_epi8(dchg, feba, 8));
}

}  // namespace ruvo::algo

#else

namespace ruvo::algo {

bool sha256_shani_supported() { return false; }

// Never chosen: sha256_shani_supported() is false here.
void sha256_blocks_shani(uint32_t state[8], const uint8_t *p, size_t blocks) {
  sha256_blocks_portable(state, p, blocks);
}

}  // namespace ruvo::algo

#endif
