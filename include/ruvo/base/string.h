/**
 * \file
 * ruvo/base/string.h - memory and string primitives that take null.
 *
 * The C library's primitives under the library's names, plus bounded,
 * reverse and case-blind searches and bounded duplicates. Every pointer may
 * be null: a null operand never reaches the C library, a comparison with a
 * null operand gives 0 (so a missing text compares equal to anything; test
 * for null first when that matters), and a search or copy gives null or 0.
 *
 * The narrow set works on bytes. The wide set works on 16-bit units
 * (ruvo_wchar_t), whatever width the platform's own wchar_t has; its limits
 * and sizes count units. Sizes and counts are size_t. A narrow search
 * character is a byte, a wide one a unit. A position result points into the
 * searched text.
 *
 * Case folding: the narrow case-blind operations fold both sides with the C
 * library's tolower (the byte widened as unsigned), so they follow whatever
 * locale the process has set; the library never sets one. The wide searches
 * ruvo_wcsichr, ruvo_wcsirchr, ruvo_wcsnirchr and ruvo_wcsistr fold only the
 * ASCII letters A-Z. A case-blind pair matches when the units are equal as
 * they stand or equal after folding.
 *
 * Copies from ruvo_strdup, ruvo_strndup, ruvo_wcsdup and ruvo_wcsndup come
 * from the C runtime heap: free them with ruvo_free_.
 *
 * Nothing here logs, locks, keeps state or ends the process.
 */
#ifndef RUVO_BASE_STRING_H
#define RUVO_BASE_STRING_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/* ---- memory ---- */

/** memcmp's result; 0 when a or b is null or the length is 0. */
RUVO_API int ruvo_memcmp(const void *a, const void *b, size_t length) RUVO_NOEXCEPT;

/**@{*/
/** Copy `length` bytes and give `dst`. Null, copying nothing, when either
 * pointer is null or the length is 0 (not `dst`). ruvo_memmov allows the
 * regions to overlap. */
RUVO_API void *ruvo_memcpy(void *dst, const void *src, size_t length) RUVO_NOEXCEPT;
RUVO_API void *ruvo_memmov(void *dst, const void *src, size_t length) RUVO_NOEXCEPT;
/**@}*/

/** Fill `length` bytes with the byte `value` and give `dst`; null when `dst`
 * is null or the length is 0. */
RUVO_API void *ruvo_memset(void *dst, int value, size_t length) RUVO_NOEXCEPT;

/* ---- lengths ---- */

/**@{*/
/** Length in bytes or units without the terminator; 0 for null. */
RUVO_API size_t ruvo_strlen(const char *text) RUVO_NOEXCEPT;
RUVO_API size_t ruvo_wcslen(const ruvo_wchar_t *text) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The length, but at most `limit`; reads no further. 0 for null or limit 0. */
RUVO_API size_t ruvo_strnlen(const char *text, size_t limit) RUVO_NOEXCEPT;
RUVO_API size_t ruvo_wcsnlen(const ruvo_wchar_t *text, size_t limit) RUVO_NOEXCEPT;
/**@}*/

/* ---- comparison (0 whenever an operand is null) ---- */

/**@{*/
/** Exactly -1, 0 or 1: bytes or units compared as unsigned values up to the
 * first difference or a common terminator. */
RUVO_API int ruvo_strcmp(const char *a, const char *b) RUVO_NOEXCEPT;
RUVO_API int ruvo_wcscmp(const ruvo_wchar_t *a, const ruvo_wchar_t *b) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** ruvo_strncmp: strncmp's result over at most `limit` bytes (only its sign
 * is meaningful). ruvo_wcsncmp: over at most `limit` units, the first
 * differing unit of `a` less that of `b` as a signed number, so not limited
 * to -1..1. Both give 0 for limit 0; ruvo_wcsncmp also gives 0 for a == b
 * without reading the text. */
RUVO_API int ruvo_strncmp(const char *a, const char *b, size_t limit) RUVO_NOEXCEPT;
RUVO_API int ruvo_wcsncmp(const ruvo_wchar_t *a, const ruvo_wchar_t *b, size_t limit) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Case-blind comparison as the Windows runtime's _stricmp/_wcsicmp (and
 * their bounded _strnicmp/_wcsnicmp) do it: both sides folded to lower case
 * by the runtime (tolower, towlower), and the folded difference at the first
 * mismatch, so only the sign is meaningful. Limit 0 gives 0. */
RUVO_API int ruvo_stricmp(const char *a, const char *b) RUVO_NOEXCEPT;
RUVO_API int ruvo_strnicmp(const char *a, const char *b, size_t limit) RUVO_NOEXCEPT;
RUVO_API int ruvo_wcsicmp(const ruvo_wchar_t *a, const ruvo_wchar_t *b) RUVO_NOEXCEPT;
RUVO_API int ruvo_wcsnicmp(const ruvo_wchar_t *a, const ruvo_wchar_t *b, size_t limit) RUVO_NOEXCEPT;
/**@}*/

/* ---- copies ---- */

/** strcpy: copies with the terminator and gives `dst`; null when either
 * pointer is null. */
RUVO_API char *ruvo_strcpy(char *dst, const char *src) RUVO_NOEXCEPT;

/**@{*/
/** strncpy/wcsncpy: writes exactly `limit` bytes or units, padding with
 * zeros, and leaves a cut copy unterminated. Gives `dst`; null when either
 * pointer is null or limit is 0. */
RUVO_API char *ruvo_strncpy(char *dst, const char *src, size_t limit) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_wcsncpy(ruvo_wchar_t *dst, const ruvo_wchar_t *src, size_t limit) RUVO_NOEXCEPT;
/**@}*/

/** Copies at most size - 1 bytes, always terminates, and gives the whole
 * length of `src`: a result of `size` or more means the copy was cut. With
 * a null pointer or size 0 it writes nothing and gives 0. */
RUVO_API size_t ruvo_strlcpy(char *dst, const char *src, size_t size) RUVO_NOEXCEPT;

/** The wide bounded copy has rules of its own. With n the length of `src`,
 * it copies min(n + 1, size) units, the terminator only when it fits, and
 * gives min(n, size): a cut copy fills all `size` units, has no terminator,
 * and gives `size`, so a caller whose text may be cut terminates it itself.
 * With dst == src it copies nothing and gives n. With a null pointer or
 * size 0 it writes nothing and gives 0. */
RUVO_API size_t ruvo_wcslcpy(ruvo_wchar_t *dst, const ruvo_wchar_t *src, size_t size) RUVO_NOEXCEPT;

/* ---- duplicates (free with ruvo_free_) ---- */

/**@{*/
/** A new terminated copy; null for null and when allocation fails. */
RUVO_API char *ruvo_strdup(const char *text) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_wcsdup(const ruvo_wchar_t *text) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** A new copy of at most `limit` bytes or units, always terminated; limit 0
 * gives a new empty string. Null for null text and when allocation fails. */
RUVO_API char *ruvo_strndup(const char *text, size_t limit) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_wcsndup(const ruvo_wchar_t *text, size_t limit) RUVO_NOEXCEPT;
/**@}*/

/* ---- character searches (null for null text) ---- */

/**@{*/
/** strchr/wcschr: the first `c`; a search for 0 finds the terminator. */
RUVO_API char *ruvo_strchr(const char *text, char c) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_wcschr(const ruvo_wchar_t *text, ruvo_wchar_t c) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The last `c`. ruvo_strrchr is strrchr: a search for 0 finds the
 * terminator. ruvo_wcsrchr walks back from the last unit and never finds the
 * terminator; null for empty text. */
RUVO_API char *ruvo_strrchr(const char *text, char c) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_wcsrchr(const ruvo_wchar_t *text, ruvo_wchar_t c) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The first case-blind `c`, stopping at the terminator without testing it:
 * a search for 0 gives null. */
RUVO_API char *ruvo_strichr(const char *text, char c) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_wcsichr(const ruvo_wchar_t *text, ruvo_wchar_t c) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The last case-blind `c` of the whole text, the terminator never tested;
 * null for empty text. */
RUVO_API char *ruvo_strirchr(const char *text, char c) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_wcsirchr(const ruvo_wchar_t *text, ruvo_wchar_t c) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The first `c` (ruvo_strnichr: case-blind) among at most `limit` bytes,
 * stopping at a terminator met earlier without testing it: a search for 0
 * gives null. Null for limit 0. */
RUVO_API char *ruvo_strnchr(const char *text, size_t limit, char c) RUVO_NOEXCEPT;
RUVO_API char *ruvo_strnichr(const char *text, size_t limit, char c) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The last `c` (the "i" forms: case-blind) found by walking from index
 * limit - 1 towards index 0. The walk ends with null at the first
 * terminator it meets, so index limit - 1 must lie inside the caller's
 * buffer; a limit equal to the text's length searches the whole text.
 * Null for limit 0. */
RUVO_API char *ruvo_strnrchr(const char *text, size_t limit, char c) RUVO_NOEXCEPT;
RUVO_API char *ruvo_strnirchr(const char *text, size_t limit, char c) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_wcsnrchr(const ruvo_wchar_t *text, size_t limit, ruvo_wchar_t c) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_wcsnirchr(const ruvo_wchar_t *text, size_t limit, ruvo_wchar_t c) RUVO_NOEXCEPT;
/**@}*/

/* ---- pattern searches (null when text or pattern is null) ---- */

/**@{*/
/** The first occurrence of `pattern` (the "i" forms: case-blind); an empty
 * pattern gives `text`. */
RUVO_API char *ruvo_strstr(const char *text, const char *pattern) RUVO_NOEXCEPT;
RUVO_API char *ruvo_stristr(const char *text, const char *pattern) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_wcsstr(const ruvo_wchar_t *text, const ruvo_wchar_t *pattern) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_wcsistr(const ruvo_wchar_t *text, const ruvo_wchar_t *pattern) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The first occurrence lying wholly within the first `limit` bytes of
 * `text` (ruvo_strnistr: case-blind); an empty pattern gives `text`. Null
 * for limit 0. */
RUVO_API char *ruvo_strnstr(const char *text, size_t limit, const char *pattern) RUVO_NOEXCEPT;
RUVO_API char *ruvo_strnistr(const char *text, size_t limit, const char *pattern) RUVO_NOEXCEPT;
/**@}*/

RUVO_END_DECLS

#endif /* RUVO_BASE_STRING_H */
