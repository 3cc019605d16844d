/**
 * \file
 * ruvo/base/str.h - string utilities: bounded formatting, checks on the form
 * of a text, counted searches, in-place replacing and trimming, a bounded
 * token splitter and byte-to-hex conversion.
 *
 * Narrow text, compared byte by byte; only ASCII has a meaning of its own.
 * Sizes are 32-bit signed unless a contract says otherwise, and a negative
 * size counts as 0. A character handed in is compared with the text's bytes
 * as signed chars, so a byte above 127 is the char of the same bits. Unlike
 * the primitives of ruvo/base/string.h, not every call here takes null: each
 * contract says what null gives.
 */
#ifndef RUVO_BASE_STR_H
#define RUVO_BASE_STR_H

#include <stdarg.h>
#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/**@{*/
/** Bounded printf. Returns the number of characters written, without the
 * terminator, and never more than size - 1 nor a negative value: text that
 * does not fit is cut and terminated, so the result can be used directly as
 * the offset to append at. A size of 0 gives 0 and leaves `buf` untouched.
 * 64-bit integers are written with %I64d and %I64u on Windows. */
RUVO_API int32_t ruvo_str_snprintf(char *buf, size_t size, const char *format, ...) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_str_magic_vsprintf(char *buf, size_t size, const char *format, va_list args) RUVO_NOEXCEPT;
/**@}*/

/* ---- checks on the form of a text ---- */

/**@{*/
/** 0 when the first `limit` bytes of `text`, or the bytes up to its
 * terminator if that comes first, are all decimal digits (hexadecimal digits
 * of either case for the _hex_ form); RUVO_E_FORMAT otherwise. There is no
 * sign and no prefix, and an empty text or a limit of 0 passes. `text` must
 * not be null. */
RUVO_API uint32_t ruvo_string_check_integer(const char *text, size_t limit) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_string_check_hex_integer(const char *text, size_t limit) RUVO_NOEXCEPT;
/**@}*/

/** 0 when `text`, read up to `limit` bytes or its terminator, is a strict
 * dotted quad: four decimal octets of 0 to 255 without leading zeros ("0"
 * passes, "01" does not), no empty octet, nothing else. RUVO_E_FORMAT
 * otherwise, and for a limit of 0. Bytes behind the limit are not read.
 * `text` must not be null. */
RUVO_API uint32_t ruvo_string_check_ipv4(const char *text, size_t limit) RUVO_NOEXCEPT;

/** 1 when every byte of `text` is '0' to '9', else 0. An empty text and null
 * give 1. */
RUVO_API int32_t ruvo_str_isdigit(const char *text) RUVO_NOEXCEPT;

/* ---- searches ---- */

/**@{*/
/** Over at most `limit` bytes of `text`, stopping at its terminator: the
 * number of bytes equal to `c` (0 for null), or the index of the first one
 * (-1 when there is none, and for null). The terminator is never matched. */
RUVO_API int32_t ruvo_str_chrcnt(const char *text, int32_t limit, char c) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_str_chrpos(const char *text, int32_t limit, char c) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The first (nchr) or last (nrchr) byte equal to `c` among the `len` bytes
 * at `buf`, zero bytes included, or null. A length of 0 gives null; `buf`
 * must be valid otherwise. */
RUVO_API const char *ruvo_str_nchr(const char *buf, int32_t len, char c) RUVO_NOEXCEPT;
RUVO_API const char *ruvo_str_nrchr(const char *buf, int32_t len, char c) RUVO_NOEXCEPT;
/**@}*/

/** Offset from `text` of the first occurrence of the `pattern_len` bytes at
 * `pattern` that begins at `start` or later and lies within the `text_len`
 * bytes at `text`; -1 when there is none. Both are counted byte strings, so
 * zero bytes match like any other. -1 also for null pointers, an empty
 * pattern, a pattern of 512 bytes or more, and a start outside the text.
 * Allocates nothing. */
RUVO_API int32_t ruvo_str_find(const char *text, int32_t text_len, const char *pattern,
                               int32_t pattern_len, int32_t start) RUVO_NOEXCEPT;

/** ruvo_str_find from offset 0, as a pointer into `text`, or null. */
RUVO_API const char *ruvo_str_nstr(const char *text, int32_t text_len, const char *pattern,
                                   int32_t pattern_len) RUVO_NOEXCEPT;

/* ---- changes in place ---- */

/** Replaces the first occurrence of `pattern` in `text` by `replacement`, in
 * place. `size` is the size of the whole buffer from `text` on, terminator
 * included. Returns the position just behind the inserted replacement, or
 * null when there is no match or the new text with its terminator does not
 * fit; the text is then unchanged. An empty pattern never matches, nor does
 * one of 512 bytes or more.
 * With `all` non-zero, goes on replacing behind each inserted replacement
 * (inserted text is not searched again) until no match is left or the next
 * one does not fit, and returns `text`; null, with the text unchanged, when
 * not even the first replacement could be made.
 * Null for a null text, pattern or replacement. */
RUVO_API char *ruvo_str_replace(char *text, int32_t size, const char *pattern,
                                const char *replacement, int32_t all) RUVO_NOEXCEPT;

/**@{*/
/** Changes each byte of `text` in place with the C runtime's tolower or
 * toupper and returns `text`; null gives null. */
RUVO_API char *ruvo_str_tolower(char *text) RUVO_NOEXCEPT;
RUVO_API char *ruvo_str_toupper(char *text) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Strips the byte 0x20 (trim), or `c` (trim_char), from both ends of `text`
 * in place: a terminator is written behind the last other byte, and the
 * result is the position of the first other byte inside `text`, not a new
 * string. A text made only of that byte gives the position of its last byte,
 * now holding an empty string. Tabs and line ends are not blanks. Null and an
 * empty text are given back as they are. */
RUVO_API char *ruvo_str_trim(char *text) RUVO_NOEXCEPT;
RUVO_API char *ruvo_str_trim_char(char *text, char c) RUVO_NOEXCEPT;
/**@}*/

/* ---- splitting ---- */

/** Splits `text` at runs of bytes from `delimiters`, as strtok would, but
 * without touching `text` and without state shared between calls, so
 * threads may split at the same time. Leading and trailing delimiters give
 * no empty token. At most 31 tokens are kept; further ones are dropped
 * silently. Returns a null-terminated array of new strings, always, even
 * when it holds no token; free it with ruvo_str_split_free. The number of
 * tokens is stored in *count when `count` is not null. Out of memory ends the
 * process. A null `delimiters` splits at nothing; a null `text` gives an
 * empty array. */
RUVO_API char **ruvo_str_split(const char *text, const char *delimiters, int32_t *count) RUVO_NOEXCEPT;

/** Frees an array of ruvo_str_split and its strings. Null does nothing. */
RUVO_API void ruvo_str_split_free(char **tokens) RUVO_NOEXCEPT;

/* ---- bounded copies ---- */

/** Copies at most size - 1 bytes of `src` to `dst` and terminates it. Returns
 * the whole length of `src`, so a result of `size` or more tells that the
 * copy was cut. A size of 0 writes nothing and returns 0. Neither pointer may
 * be null. */
RUVO_API size_t ruvo_str_strlcpy(char *dst, const char *src, size_t size) RUVO_NOEXCEPT;

/** Appends all of `src` to the text in `dst`, a buffer of `size` bytes, and
 * returns `dst`. Null, with `dst` unchanged, when both texts with one
 * terminator do not fit: nothing is ever appended in part. Null also for a
 * null pointer and a size below 1. */
RUVO_API char *ruvo_str_strncat(char *dst, const char *src, int32_t size) RUVO_NOEXCEPT;

/** Writes the `count` bytes at `bytes` as lower-case hexadecimal, two digits
 * each, and a terminator into `out` (`out_size` bytes). Returns 0;
 * RUVO_E_INVAL for a null pointer or a count below 1; RUVO_E_SMALL when
 * `out_size` is less than 2 * count + 1 (nothing is written then);
 * RUVO_E_NOMEM when the working buffer cannot be had. */
RUVO_API uint32_t ruvo_str_bin2hexstr(const void *bytes, int32_t count, char *out,
                                      int32_t out_size) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_STR_H */
