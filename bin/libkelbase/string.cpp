// Memory and string primitives that take null: the C library's operations
// behind a null check, plus the bounded, reverse and case-blind searches it
// lacks. Narrow and wide twins share the bodies of string_impl.hpp.
#include "ruvo/base/string.h"

#include <cstring>

#include "ruvo/base/memory.h"
#include "string_impl.hpp"

namespace {

namespace d = ruvo::detail;
using wchar = ruvo_wchar_t;

// Duplicates report running out of memory as a null result, so they use the
// plain allocator rather than the checked one.
void *plain_alloc(size_t size) noexcept { return ruvo_malloc_(size); }

}  // namespace

extern "C" {

// ---- memory ----

RUVO_API int ruvo_memcmp(const void *a, const void *b, size_t length) noexcept {
  if (a == nullptr || b == nullptr || length == 0) return 0;
  return std::memcmp(a, b, length);
}

RUVO_API void *ruvo_memcpy(void *dst, const void *src, size_t length) noexcept {
  if (dst == nullptr || src == nullptr || length == 0) return nullptr;
  return std::memcpy(dst, src, length);
}

RUVO_API void *ruvo_memmov(void *dst, const void *src, size_t length) noexcept {
  if (dst == nullptr || src == nullptr || length == 0) return nullptr;
  return std::memmove(dst, src, length);
}

RUVO_API void *ruvo_memset(void *dst, int value, size_t length) noexcept {
  if (dst == nullptr || length == 0) return nullptr;
  return std::memset(dst, value, length);
}

// ---- lengths ----

RUVO_API size_t ruvo_strlen(const char *text) noexcept {
  return text == nullptr ? 0 : d::len_t(text);
}

RUVO_API size_t ruvo_wcslen(const wchar *text) noexcept {
  return text == nullptr ? 0 : d::len_t(text);
}

RUVO_API size_t ruvo_strnlen(const char *text, size_t limit) noexcept {
  return text == nullptr || limit == 0 ? 0 : d::nlen_t(text, limit);
}

RUVO_API size_t ruvo_wcsnlen(const wchar *text, size_t limit) noexcept {
  return text == nullptr || limit == 0 ? 0 : d::nlen_t(text, limit);
}

// ---- comparison ----

RUVO_API int ruvo_strcmp(const char *a, const char *b) noexcept {
  return a == nullptr || b == nullptr ? 0 : d::cmp_t(a, b);
}

RUVO_API int ruvo_wcscmp(const wchar *a, const wchar *b) noexcept {
  return a == nullptr || b == nullptr ? 0 : d::cmp_t(a, b);
}

RUVO_API int ruvo_strncmp(const char *a, const char *b, size_t limit) noexcept {
  return a == nullptr || b == nullptr || limit == 0 ? 0 : d::ncmp_t(a, b, limit);
}

RUVO_API int ruvo_wcsncmp(const wchar *a, const wchar *b, size_t limit) noexcept {
  return a == nullptr || b == nullptr || limit == 0 ? 0 : d::ncmp_t(a, b, limit);
}

RUVO_API int ruvo_stricmp(const char *a, const char *b) noexcept {
  return a == nullptr || b == nullptr ? 0 : d::icmp_t(a, b);
}

RUVO_API int ruvo_strnicmp(const char *a, const char *b, size_t limit) noexcept {
  return a == nullptr || b == nullptr ? 0 : d::nicmp_t(a, b, limit);
}

RUVO_API int ruvo_wcsicmp(const wchar *a, const wchar *b) noexcept {
  return a == nullptr || b == nullptr ? 0 : d::icmp_t(a, b);
}

RUVO_API int ruvo_wcsnicmp(const wchar *a, const wchar *b, size_t limit) noexcept {
  return a == nullptr || b == nullptr ? 0 : d::nicmp_t(a, b, limit);
}

// ---- copies ----

RUVO_API char *ruvo_strcpy(char *dst, const char *src) noexcept {
  if (dst == nullptr || src == nullptr) return nullptr;
  return std::strcpy(dst, src);
}

RUVO_API char *ruvo_strncpy(char *dst, const char *src, size_t limit) noexcept {
  if (dst == nullptr || src == nullptr || limit == 0) return nullptr;
  return d::ncpy_t(dst, src, limit);
}

RUVO_API wchar *ruvo_wcsncpy(wchar *dst, const wchar *src, size_t limit) noexcept {
  if (dst == nullptr || src == nullptr || limit == 0) return nullptr;
  return d::ncpy_t(dst, src, limit);
}

RUVO_API size_t ruvo_strlcpy(char *dst, const char *src, size_t size) noexcept {
  if (dst == nullptr || src == nullptr || size == 0) return 0;
  return d::lcpy_t(dst, src, size);
}

RUVO_API size_t ruvo_wcslcpy(wchar *dst, const wchar *src, size_t size) noexcept {
  if (dst == nullptr || src == nullptr || size == 0) return 0;
  return d::lcpy_t(dst, src, size);
}

// ---- duplicates ----

RUVO_API char *ruvo_strdup(const char *text) noexcept {
  if (text == nullptr) return nullptr;
  return d::dup_n_t(text, d::len_t(text), plain_alloc);
}

RUVO_API wchar *ruvo_wcsdup(const wchar *text) noexcept {
  if (text == nullptr) return nullptr;
  return d::dup_n_t(text, d::len_t(text), plain_alloc);
}

RUVO_API char *ruvo_strndup(const char *text, size_t limit) noexcept {
  if (text == nullptr) return nullptr;
  return d::dup_n_t(text, d::nlen_t(text, limit), plain_alloc);
}

RUVO_API wchar *ruvo_wcsndup(const wchar *text, size_t limit) noexcept {
  if (text == nullptr) return nullptr;
  return d::dup_n_t(text, d::nlen_t(text, limit), plain_alloc);
}

// ---- character searches ----

RUVO_API char *ruvo_strchr(const char *text, char c) noexcept {
  return text == nullptr ? nullptr : d::chr_t(text, c);
}

RUVO_API wchar *ruvo_wcschr(const wchar *text, wchar c) noexcept {
  return text == nullptr ? nullptr : d::chr_t(text, c);
}

RUVO_API char *ruvo_strrchr(const char *text, char c) noexcept {
  return text == nullptr ? nullptr : d::rchr_t(text, c);
}

RUVO_API wchar *ruvo_wcsrchr(const wchar *text, wchar c) noexcept {
  return text == nullptr ? nullptr : d::rchr_t(text, c);
}

RUVO_API char *ruvo_strichr(const char *text, char c) noexcept {
  return text == nullptr ? nullptr : d::nchr_t<d::blind>(text, static_cast<size_t>(-1), c);
}

RUVO_API wchar *ruvo_wcsichr(const wchar *text, wchar c) noexcept {
  return text == nullptr ? nullptr : d::nchr_t<d::blind>(text, static_cast<size_t>(-1), c);
}

// Both measure the text and walk back over its whole length, so the
// terminator is never tested.
RUVO_API char *ruvo_strirchr(const char *text, char c) noexcept {
  return text == nullptr ? nullptr : ruvo_strnirchr(text, d::len_t(text), c);
}

RUVO_API wchar *ruvo_wcsirchr(const wchar *text, wchar c) noexcept {
  return text == nullptr ? nullptr : ruvo_wcsnirchr(text, d::len_t(text), c);
}

RUVO_API char *ruvo_strnchr(const char *text, size_t limit, char c) noexcept {
  return text == nullptr || limit == 0 ? nullptr : d::nchr_t<d::exact>(text, limit, c);
}

RUVO_API char *ruvo_strnichr(const char *text, size_t limit, char c) noexcept {
  return text == nullptr || limit == 0 ? nullptr : d::nchr_t<d::blind>(text, limit, c);
}

RUVO_API char *ruvo_strnrchr(const char *text, size_t limit, char c) noexcept {
  return text == nullptr || limit == 0 ? nullptr : d::nrchr_t<d::exact>(text, limit, c);
}

RUVO_API char *ruvo_strnirchr(const char *text, size_t limit, char c) noexcept {
  return text == nullptr || limit == 0 ? nullptr : d::nrchr_t<d::blind>(text, limit, c);
}

RUVO_API wchar *ruvo_wcsnrchr(const wchar *text, size_t limit, wchar c) noexcept {
  return text == nullptr || limit == 0 ? nullptr : d::nrchr_t<d::exact>(text, limit, c);
}

RUVO_API wchar *ruvo_wcsnirchr(const wchar *text, size_t limit, wchar c) noexcept {
  return text == nullptr || limit == 0 ? nullptr : d::nrchr_t<d::blind>(text, limit, c);
}

// ---- pattern searches ----

RUVO_API char *ruvo_strstr(const char *text, const char *pattern) noexcept {
  if (text == nullptr || pattern == nullptr) return nullptr;
  return d::str_t<d::exact>(text, pattern);
}

RUVO_API char *ruvo_stristr(const char *text, const char *pattern) noexcept {
  if (text == nullptr || pattern == nullptr) return nullptr;
  return d::str_t<d::blind>(text, pattern);
}

RUVO_API wchar *ruvo_wcsstr(const wchar *text, const wchar *pattern) noexcept {
  if (text == nullptr || pattern == nullptr) return nullptr;
  return d::str_t<d::exact>(text, pattern);
}

RUVO_API wchar *ruvo_wcsistr(const wchar *text, const wchar *pattern) noexcept {
  if (text == nullptr || pattern == nullptr) return nullptr;
  return d::str_t<d::blind>(text, pattern);
}

RUVO_API char *ruvo_strnstr(const char *text, size_t limit, const char *pattern) noexcept {
  if (text == nullptr || pattern == nullptr || limit == 0) return nullptr;
  return d::nstr_t<d::exact>(text, limit, pattern);
}

RUVO_API char *ruvo_strnistr(const char *text, size_t limit, const char *pattern) noexcept {
  if (text == nullptr || pattern == nullptr || limit == 0) return nullptr;
  return d::nstr_t<d::blind>(text, limit, pattern);
}

}  // extern "C"
