// Text conversions for the Linux build, which has no platform converter:
// UTF-8 through the library's own codec, and ANSI as ISO 8859-1.
#include <cstdlib>
#include <cstring>
#include <limits>

#include "internal/platform.hpp"
#include "internal/utf.hpp"

namespace ruvo::sys {
namespace {

constexpr uint32_t kInvalidParameter = 87;
constexpr uint32_t kInsufficientBuffer = 122;

template <class Unit>
size_t length_of(const Unit *s) noexcept {
  size_t n = 0;
  while (s[n] != 0) ++n;
  return n;
}

// A count that the converter gives back as an int; npos or a count past
// INT_MAX is a failure.
int finish(size_t count) noexcept {
  if (count == utf::npos) {
    set_last_error(kInsufficientBuffer);
    return 0;
  }
  if (count > static_cast<size_t>(std::numeric_limits<int>::max())) {
    set_last_error(kInvalidParameter);
    return 0;
  }
  return static_cast<int>(count);
}

bool bad_arguments(const void *src, const void *dst, int cap) noexcept {
  if (src != nullptr && cap >= 0 && (dst != nullptr || cap == 0)) return false;
  set_last_error(kInvalidParameter);
  return true;
}

size_t latin1_to_wide(const char *src, size_t n, ruvo_wchar_t *dst, size_t cap) noexcept {
  if (dst == nullptr) return n;
  if (n > cap) return utf::npos;
  for (size_t i = 0; i < n; ++i) dst[i] = static_cast<unsigned char>(src[i]);
  return n;
}

size_t wide_to_latin1(const ruvo_wchar_t *src, size_t n, char *dst, size_t cap) noexcept {
  if (dst == nullptr) return n;
  if (n > cap) return utf::npos;
  for (size_t i = 0; i < n; ++i) dst[i] = src[i] <= 0xFF ? static_cast<char>(src[i]) : '?';
  return n;
}

}  // namespace

int to_wide(unsigned code_page, const char *src, ruvo_wchar_t *dst, int cap) noexcept {
  if (bad_arguments(src, dst, cap)) return 0;
  const size_t n = std::strlen(src) + 1;  // the terminator converts too
  const size_t room = static_cast<size_t>(cap);
  if (code_page == code_page_utf8) return finish(utf::utf8_to_utf16(src, n, dst, room));
  if (code_page == code_page_ansi) return finish(latin1_to_wide(src, n, dst, room));
  set_last_error(kInvalidParameter);
  return 0;
}

int from_wide(unsigned code_page, const ruvo_wchar_t *src, char *dst, int cap) noexcept {
  if (bad_arguments(src, dst, cap)) return 0;
  const size_t n = length_of(src) + 1;
  const size_t room = static_cast<size_t>(cap);
  if (code_page == code_page_utf8) return finish(utf::utf16_to_utf8(src, n, dst, room));
  if (code_page == code_page_ansi) return finish(wide_to_latin1(src, n, dst, room));
  set_last_error(kInvalidParameter);
  return 0;
}

void *process_heap_alloc(size_t bytes) noexcept { return std::calloc(1, bytes == 0 ? 1 : bytes); }
void process_heap_free(void *block) noexcept { std::free(block); }

}  // namespace ruvo::sys
