// Bit helpers over a caller's array of 32-bit words: value v is bit (v & 31)
// of word (v >> 5). Nothing is written for a value whose word is out of range.
#include "ruvo/base/bits.h"

namespace {

constexpr bool in_range(const uint32_t *words, uint32_t count, uint32_t value) noexcept {
  return words != nullptr && (value >> 5) < count;
}

constexpr uint32_t mask_of(uint32_t value) noexcept { return uint32_t{1} << (value & 31); }

}  // namespace

extern "C" {

RUVO_API int32_t ruvo_set_bit(uint32_t *words, uint32_t count, uint32_t value) noexcept {
  if (!in_range(words, count, value)) return 0;
  words[value >> 5] |= mask_of(value);
  return 1;
}

RUVO_API int32_t ruvo_cls_bit(uint32_t *words, uint32_t count, uint32_t value) noexcept {
  if (!in_range(words, count, value)) return 0;
  words[value >> 5] &= ~mask_of(value);
  return 1;
}

RUVO_API int32_t ruvo_contain_val(const uint32_t *words, uint32_t count, uint32_t value) noexcept {
  if (!in_range(words, count, value)) return 0;
  return (words[value >> 5] & mask_of(value)) != 0 ? 1 : 0;
}

RUVO_API uint32_t ruvo_get_val_idx(uint32_t value) noexcept { return value & 31; }

}  // extern "C"
