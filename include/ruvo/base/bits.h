/**
 * \file
 * ruvo/base/bits.h - bit operations on a caller's array of 32-bit words.
 *
 * A value v stands for bit (v & 31) of word (v >> 5). The array and its word
 * count stay the caller's; a value whose word lies at or past the count is
 * out of range and leaves the array untouched.
 */
#ifndef RUVO_BASE_BITS_H
#define RUVO_BASE_BITS_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/**@{*/
/** Sets (ruvo_set_bit) or clears (ruvo_cls_bit) the bit of `value`. Returns 1,
 * or 0 without writing for null `words` or a value out of range. */
RUVO_API int32_t ruvo_set_bit(uint32_t *words, uint32_t count, uint32_t value) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_cls_bit(uint32_t *words, uint32_t count, uint32_t value) RUVO_NOEXCEPT;
/**@}*/

/** 1 when the bit of `value` is set; 0 when it is clear, for null `words`
 * and for a value out of range. */
RUVO_API int32_t ruvo_contain_val(const uint32_t *words, uint32_t count, uint32_t value) RUVO_NOEXCEPT;

/** The bit position of `value` within its word: value & 31. */
RUVO_API uint32_t ruvo_get_val_idx(uint32_t value) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_BITS_H */
