/*
 * ruvo/base/str.h - string utilities: bounded formatting.
 */
#ifndef RUVO_BASE_STR_H
#define RUVO_BASE_STR_H

#include <stdarg.h>
#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/* Bounded printf. Returns the number of characters written, without the
 * terminator, and never more than size - 1 nor a negative value: text that
 * does not fit is cut and terminated, so the result can be used directly as
 * the offset to append at. A size of 0 gives 0 and leaves `buf` untouched.
 * 64-bit integers are written with %I64d and %I64u on Windows. */
RUVO_API int32_t ruvo_str_snprintf(char *buf, size_t size, const char *format, ...) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_str_magic_vsprintf(char *buf, size_t size, const char *format, va_list args) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_STR_H */
