// Fuzzes the counted KMP search against a plain scan. Input: two bytes of
// pattern length, one byte of start, then the pattern and the text.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "ruvo/base/str.h"

namespace {

int32_t naive_find(const char *text, int32_t n, const char *pat, int32_t m, int32_t start) {
  if (m <= 0 || m >= 512 || start < 0 || start >= n) return -1;
  for (int32_t s = start; s + m <= n; ++s) {
    if (std::memcmp(text + s, pat, static_cast<size_t>(m)) == 0) return s;
  }
  return -1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 3) return 0;
  const size_t want_m = (size_t{data[0]} << 8 | data[1]) % 600;
  const int32_t start = data[2] % 64;
  data += 3;
  size -= 3;
  const size_t m = want_m < size ? want_m : size;
  // Exact-size heap copies: the sanitizer flags any read past either one.
  std::vector<char> pat(data, data + m);
  std::vector<char> text(data + m, data + size);
  const int32_t n = static_cast<int32_t>(text.size());
  const int32_t got = ruvo_str_find(text.data(), n, pat.data(), static_cast<int32_t>(m), start);
  if (got != naive_find(text.data(), n, pat.data(), static_cast<int32_t>(m), start)) std::abort();
  const char *at = ruvo_str_nstr(text.data(), n, pat.data(), static_cast<int32_t>(m));
  const int32_t first = naive_find(text.data(), n, pat.data(), static_cast<int32_t>(m), 0);
  if (at != (first < 0 ? nullptr : text.data() + first)) std::abort();
  return 0;
}
