// Text conversions for the Linux build, which has no platform converter:
// UTF-8 through the library's own codec, and ANSI as ISO 8859-1.
#include <cstdlib>
#include <limits>
#include <type_traits>

#include "internal/platform.hpp"
#include "internal/utf.hpp"
#include "string_impl.hpp"

namespace ruvo::sys {
namespace {

constexpr uint32_t kInvalidParameter = 87;
constexpr uint32_t kInsufficientBuffer = 122;

// A count that the converter gives back as an int: npos (it did not fit) or
// a count past INT_MAX is a failure.
int finish(size_t count) noexcept {
  if (count == utf::npos || count > static_cast<size_t>(std::numeric_limits<int>::max())) {
    set_last_error(count == utf::npos ? kInsufficientBuffer : kInvalidParameter);
    return 0;
  }
  return static_cast<int>(count);
}

bool bad_arguments(const void *src, const void *dst, int cap) noexcept {
  if (src != nullptr && cap >= 0 && (dst != nullptr || cap == 0)) return false;
  set_last_error(kInvalidParameter);
  return true;
}

// ISO 8859-1 both ways, terminator included; a code point above 0xFF has
// no byte and becomes '?'.
template <class From, class To>
size_t latin1(const From *src, To *dst, size_t cap) noexcept {
  const size_t n = detail::len_t(src) + 1;
  if (dst == nullptr) return n;
  if (n > cap) return utf::npos;
  for (size_t i = 0; i < n; ++i) {
    const auto unit = static_cast<std::make_unsigned_t<From>>(src[i]);
    dst[i] = unit <= 0xFF ? static_cast<To>(unit) : To('?');
  }
  return n;
}

}  // namespace

int to_wide(unsigned code_page, const char *src, ruvo_wchar_t *dst, int cap) noexcept {
  if (bad_arguments(src, dst, cap)) return 0;
  const size_t n = utf::npos;  // through the terminator, which converts too
  const size_t room = static_cast<size_t>(cap);
  if (code_page == code_page_utf8) return finish(utf::utf8_to_utf16(src, n, dst, room));
  if (code_page == code_page_ansi) return finish(latin1(src, dst, room));
  set_last_error(kInvalidParameter);
  return 0;
}

int from_wide(unsigned code_page, const ruvo_wchar_t *src, char *dst, int cap) noexcept {
  if (bad_arguments(src, dst, cap)) return 0;
  const size_t n = utf::npos;
  const size_t room = static_cast<size_t>(cap);
  if (code_page == code_page_utf8) return finish(utf::utf16_to_utf8(src, n, dst, room));
  if (code_page == code_page_ansi) return finish(latin1(src, dst, room));
  set_last_error(kInvalidParameter);
  return 0;
}

void *process_heap_alloc(size_t bytes) noexcept { return std::calloc(1, bytes == 0 ? 1 : bytes); }
void process_heap_free(void *block) noexcept { std::free(block); }

}  // namespace ruvo::sys
