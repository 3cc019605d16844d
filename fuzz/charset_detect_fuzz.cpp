// The encoding tests on arbitrary bytes: ASan sees any read past `size`
// (the input is copied into a block of exactly that size), and the answers
// must agree with each other: text that passes as ASCII holds no multi-byte
// sequence, and a buffer without a byte-order mark is never UTF-16.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ruvo/base/charset.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::unique_ptr<uint8_t[]> exact(new uint8_t[size == 0 ? 1 : size]);
  if (size != 0) std::memcpy(exact.get(), data, size);
  const int ascii = ruvo_str_is_ascii(exact.get(), size);
  const int utf8 = ruvo_str_is_utf8(exact.get(), size);
  const int utf16 = ruvo_str_is_utf16(exact.get(), size);
  if ((ascii | utf8 | utf16) & ~1) std::abort();
  if (ascii && utf8) std::abort();
  const bool mark = size >= 2 && ((data[0] == 0xFF && data[1] == 0xFE) || (data[0] == 0xFE && data[1] == 0xFF));
  if (utf16 && !mark) std::abort();
  return 0;
}
