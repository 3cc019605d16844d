// String utilities: bounded formatting.
#include "ruvo/base/str.h"

#include <cstdint>
#include <cstdio>

namespace {

// The runtime's bounded formatter: the length the whole text needs, or -1.
int32_t ruvo_str_vformat(char *buf, size_t size, const char *format, va_list args) noexcept {
  const int n = std::vsnprintf(buf, size, format, args);
  return n < 0 ? -1 : n;
}

}  // namespace

extern "C" {

RUVO_API int32_t ruvo_str_magic_vsprintf(char *buf, size_t size, const char *format,
                                         va_list args) noexcept {
  if (size == 0 || buf == nullptr) return 0;
  if (format == nullptr) {
    buf[0] = '\0';
    return 0;
  }
  // Results are 32-bit; no text can be longer than that anyway.
  if (size > INT32_MAX) size = INT32_MAX;
  const int32_t n = ruvo_str_vformat(buf, size, format, args);
  if (n >= 0 && static_cast<size_t>(n) < size) return n;
  // Cut or failed: the caller still gets a terminated buffer and an offset
  // it can append at.
  buf[size - 1] = '\0';
  return static_cast<int32_t>(size - 1);
}

RUVO_API int32_t ruvo_str_snprintf(char *buf, size_t size, const char *format, ...) noexcept {
  va_list args;
  va_start(args, format);
  const int32_t n = ruvo_str_magic_vsprintf(buf, size, format, args);
  va_end(args);
  return n;
}

}  // extern "C"
