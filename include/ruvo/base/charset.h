/**
 * \file
 * ruvo/base/charset.h - conversions between UTF-8, UTF-16 ("unicode") and
 * the system's ANSI code page, and telling by inspection which encoding a
 * buffer of bytes looks like.
 *
 * Narrow text in the library is UTF-8 unless a call says otherwise; the
 * platform is spoken to in UTF-16. Every conversion has two forms:
 *   - the plain form allocates its result from the process heap, zeroed and
 *     terminated (a 16-bit terminator for UTF-16). Free it with
 *     ruvo_str_free, never with ruvo_free_ or free(). On a failed allocation
 *     the result is null and the last error is 14 (ERROR_OUTOFMEMORY).
 *   - the _ex form fills the caller's buffer and gives a status: 0, 122
 *     (ERROR_INSUFFICIENT_BUFFER, the buffer is untouched) when the result
 *     with its terminator does not fit, or the platform's error.
 * A null source gives null with last error 87 (ERROR_INVALID_PARAMETER) from
 * the plain set and RUVO_E_INVAL from the _ex set, and so does a null
 * destination with a non-zero size. Malformed input is
 * not refused: a sequence that is not UTF-8 becomes U+FFFD, and a lone
 * surrogate becomes EF BF BD, as the platform converts them.
 *
 * Where the platform has no ANSI code page (the Linux build), ANSI is
 * ISO 8859-1: each byte is the code point of the same value, and a code
 * point above 0xFF becomes '?'.
 *
 * Nothing here keeps state, locks or logs.
 */
#ifndef RUVO_BASE_CHARSET_H
#define RUVO_BASE_CHARSET_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/**@{*/
/** Plain set: a new string, or null. */
RUVO_API ruvo_wchar_t *ruvo_str_ansi_to_unicode(const char *src) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_str_utf8_to_unicode(const char *src) RUVO_NOEXCEPT;
RUVO_API char *ruvo_str_unicode_to_ansi(const ruvo_wchar_t *src) RUVO_NOEXCEPT;
RUVO_API char *ruvo_str_unicode_to_utf8(const ruvo_wchar_t *src) RUVO_NOEXCEPT;
RUVO_API char *ruvo_str_ansi_to_utf8(const char *src) RUVO_NOEXCEPT;
RUVO_API char *ruvo_str_utf8_to_ansi(const char *src) RUVO_NOEXCEPT;
/**@}*/

/** Frees a string of the plain set; null is ignored. */
RUVO_API void ruvo_str_free(void *str) RUVO_NOEXCEPT;

/**@{*/
/** _ex set: `units` counts 16-bit units, `bytes` counts bytes, terminator
 * included. */
RUVO_API uint32_t ruvo_str_ansi_to_unicode_ex(const char *src, ruvo_wchar_t *dst,
                                              size_t units) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_str_utf8_to_unicode_ex(const char *src, ruvo_wchar_t *dst,
                                              size_t units) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_str_unicode_to_ansi_ex(const ruvo_wchar_t *src, char *dst,
                                              size_t bytes) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_str_unicode_to_utf8_ex(const ruvo_wchar_t *src, char *dst,
                                              size_t bytes) RUVO_NOEXCEPT;
/**@}*/
/**@{*/
/** These two pass through a UTF-16 buffer of `bytes` units, so a text with
 * more units than the destination has bytes fails even where its result
 * would fit. A failure of the first stage gives RUVO_E_FAIL, a failed
 * temporary buffer 14; otherwise the second stage's status. */
RUVO_API uint32_t ruvo_str_ansi_to_utf8_ex(const char *src, char *dst,
                                           size_t bytes) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_str_utf8_to_ansi_ex(const char *src, char *dst,
                                           size_t bytes) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Detection, each giving 1 or 0. Text codes are 7, 8, 9, 10, 12, 13, 27
 * and 32 to 126.
 * ruvo_str_is_ascii: every byte is a text code; an empty buffer is ASCII,
 *   and so is no byte of 128 or above.
 * ruvo_str_is_utf8: the buffer holds at least one whole multi-byte sequence
 *   (lead and continuation bytes by form alone, up to six bytes) and its
 *   7-bit bytes are text codes; pure 7-bit text gives 0, and a sequence cut
 *   by the end of the buffer is forgiven after a whole one.
 * ruvo_str_is_utf16: the buffer starts with a byte-order mark (FF FE or
 *   FE FF), no unit is a reversed mark and every unit below 128 is a text
 *   code. */
RUVO_API int ruvo_str_is_ascii(const void *buf, size_t len) RUVO_NOEXCEPT;
RUVO_API int ruvo_str_is_utf8(const void *buf, size_t len) RUVO_NOEXCEPT;
RUVO_API int ruvo_str_is_utf16(const void *buf, size_t len) RUVO_NOEXCEPT;
/**@}*/

RUVO_END_DECLS

#endif /* RUVO_BASE_CHARSET_H */
