// The string hash: FNV-1a over the bytes with the 64-bit parameters. It has
// no seed on purpose: processes that share a named object derive its name
// from this value, so every process must compute the same one.
#include <cstdint>

#include "ruvo/algo/algo.h"

extern "C" RUVO_ALGO_API uint64_t ruvo_str_hash_a(const char *text) noexcept {
  if (text == nullptr) return 0;
  uint64_t h = 0xcbf29ce484222325ull;  // FNV-1a 64 offset basis
  for (const auto *p = reinterpret_cast<const unsigned char *>(text); *p != 0; ++p) {
    h = (h ^ *p) * 0x00000100000001b3ull;  // FNV 64 prime
  }
  return h;
}
