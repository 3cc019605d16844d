// SHA-256 block functions inside libruvoalgo: a portable one and one on the
// x86-64 SHA extensions, and the choice between them, made once per process
// from CPUID. Tests and benchmarks that link the static library can force
// either path; the DLL exports none of this.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ruvo::algo {

// Compresses `blocks` 64-byte blocks at p into state (a..h).
using sha256_blocks_fn = void (*)(uint32_t state[8], const uint8_t *p, size_t blocks);

extern const uint32_t kSha256Round[64];  // the round constants K0..K63

void sha256_blocks_portable(uint32_t state[8], const uint8_t *p, size_t blocks);
// Requires: sha256_shani_supported().
void sha256_blocks_shani(uint32_t state[8], const uint8_t *p, size_t blocks);
// True when the CPU has the SHA extensions and SSE4.1 (and this is x86-64).
bool sha256_shani_supported();

enum class sha256_path { automatic, portable, shani };

// Makes every later digest of this process take the given path. Returns
// false, changing nothing, for the SHA-NI path on a CPU without it.
bool sha256_force(sha256_path path);

}  // namespace ruvo::algo
