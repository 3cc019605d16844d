// Conversions between UTF-8, UTF-16 and the ANSI code page, and the tests
// that tell an encoding by inspection. The converting itself is the
// platform's (internal/platform.hpp); this file owns the sizes, the buffers
// and the statuses.
#include "ruvo/base/charset.h"

#include <climits>
#include <cstring>

#include "internal/fault.hpp"
#include "internal/platform.hpp"
#include "string_impl.hpp"

namespace {

using ruvo::sys::code_page_ansi;
using ruvo::sys::code_page_utf8;

constexpr uint32_t kOutOfMemory = 14;
constexpr uint32_t kInvalidParameter = 87;
constexpr uint32_t kInsufficientBuffer = 122;

// The platform converters count in int; a larger buffer is as good as one of
// INT_MAX units, since no terminated text reaching them is longer.
int clamp(size_t size) noexcept { return size > INT_MAX ? INT_MAX : static_cast<int>(size); }

// One direction of conversion through the platform: to UTF-16 from a byte
// code page, or back. Both converters share the plain and _ex shapes below.
// `most` bounds the result's size, terminator included, from the source's
// length: a byte never gives more than one UTF-16 unit, and a unit never
// more than three bytes in UTF-8 or two in an ANSI code page.
struct to_wide_t {
  using from = char;
  using to = ruvo_wchar_t;
  static int run(unsigned cp, const from *src, to *dst, int cap) noexcept {
    return ruvo::sys::to_wide(cp, src, dst, cap);
  }
  static size_t most(const from *src) noexcept { return std::strlen(src) + 1; }
};

struct from_wide_t {
  using from = ruvo_wchar_t;
  using to = char;
  static int run(unsigned cp, const from *src, to *dst, int cap) noexcept {
    return ruvo::sys::from_wide(cp, src, dst, cap);
  }
  static size_t most(const from *src) noexcept { return 3 * ruvo::detail::len_t(src) + 1; }
};

// A zeroed process-heap block; the white-box tests can make it fail.
void *heap_block(size_t bytes) noexcept {
  return ruvo::fault::allocation_fails() ? nullptr : ruvo::sys::process_heap_alloc(bytes);
}

// A new process-heap string, or null. A conversion that fails after its size
// was known frees the block rather than hand out an unfilled one.
template <class Dir>
typename Dir::to *convert_new(unsigned cp, const typename Dir::from *src) noexcept {
  using to = typename Dir::to;
  if (src == nullptr) {
    ruvo::sys::set_last_error(kInvalidParameter);
    return nullptr;
  }
  const int need = Dir::run(cp, src, nullptr, 0);
  if (need <= 0) return nullptr;
  auto *out = static_cast<to *>(heap_block(static_cast<size_t>(need) * sizeof(to)));
  if (out == nullptr) {
    ruvo::sys::set_last_error(kOutOfMemory);
    return nullptr;
  }
  if (Dir::run(cp, src, out, need) <= 0) {
    ruvo::sys::process_heap_free(out);
    return nullptr;
  }
  return out;
}

// Fills the caller's buffer of `size` units; a result that does not fit,
// terminator included, leaves it untouched. A buffer that holds the longest
// result the source could give needs no size query first, which halves the
// work for the common caller with a buffer of the worst-case size.
template <class Dir>
uint32_t convert_into(unsigned cp, const typename Dir::from *src, typename Dir::to *dst,
                      size_t size) noexcept {
  if (src == nullptr || (dst == nullptr && size != 0)) return RUVO_E_INVAL;
  if (size >= Dir::most(src) && size <= INT_MAX) {
    return Dir::run(cp, src, dst, clamp(size)) > 0 ? 0 : ruvo::sys::last_error();
  }
  const int need = Dir::run(cp, src, nullptr, 0);
  if (need <= 0) return ruvo::sys::last_error();
  if (static_cast<size_t>(need) > size) return kInsufficientBuffer;
  return Dir::run(cp, src, dst, clamp(size)) > 0 ? 0 : ruvo::sys::last_error();
}

// Between two byte code pages through UTF-16. The destination size also
// bounds the UTF-16 text in between, counted in units; a first stage that
// fails (or would not fit that bound) is RUVO_E_FAIL whatever it said.
uint32_t convert_via_wide(unsigned from_cp, unsigned to_cp, const char *src, char *dst,
                          size_t bytes) noexcept {
  if (src == nullptr || (dst == nullptr && bytes != 0)) return RUVO_E_INVAL;
  const int need = ruvo::sys::to_wide(from_cp, src, nullptr, 0);
  if (need <= 0 || static_cast<size_t>(need) > bytes) return RUVO_E_FAIL;
  auto *wide = static_cast<ruvo_wchar_t *>(heap_block(static_cast<size_t>(need) * sizeof(ruvo_wchar_t)));
  if (wide == nullptr) return kOutOfMemory;
  uint32_t status = convert_into<to_wide_t>(from_cp, src, wide, static_cast<size_t>(need));
  if (status == 0) {
    status = convert_into<from_wide_t>(to_cp, wide, dst, bytes);
  } else {
    status = RUVO_E_FAIL;
  }
  ruvo::sys::process_heap_free(wide);
  return status;
}

char *convert_new_via_wide(unsigned from_cp, unsigned to_cp, const char *src) noexcept {
  ruvo_wchar_t *wide = convert_new<to_wide_t>(from_cp, src);
  if (wide == nullptr) return nullptr;
  char *out = convert_new<from_wide_t>(to_cp, wide);
  ruvo::sys::process_heap_free(wide);
  return out;
}

// 7-bit codes that count as text: BEL, BS, TAB, LF, FF, CR, ESC and the
// printable range. NUL, VT, the other controls and DEL do not.
constexpr bool is_text_code(unsigned c) noexcept {
  return c == 7 || c == 8 || c == 9 || c == 10 || c == 12 || c == 13 || c == 27 ||
         (c >= 32 && c <= 126);
}

// Continuation bytes that a lead byte announces, from its form; 0 for a
// byte that can't lead (10xxxxxx, 1111111x).
int trail_count(uint8_t lead) noexcept {
  if ((lead & 0xE0) == 0xC0) return 1;
  if ((lead & 0xF0) == 0xE0) return 2;
  if ((lead & 0xF8) == 0xF0) return 3;
  if ((lead & 0xFC) == 0xF8) return 4;
  if ((lead & 0xFE) == 0xFC) return 5;
  return 0;
}

}  // namespace

extern "C" {

ruvo_wchar_t *ruvo_str_ansi_to_unicode(const char *src) noexcept {
  return convert_new<to_wide_t>(code_page_ansi, src);
}

ruvo_wchar_t *ruvo_str_utf8_to_unicode(const char *src) noexcept {
  return convert_new<to_wide_t>(code_page_utf8, src);
}

char *ruvo_str_unicode_to_ansi(const ruvo_wchar_t *src) noexcept {
  return convert_new<from_wide_t>(code_page_ansi, src);
}

char *ruvo_str_unicode_to_utf8(const ruvo_wchar_t *src) noexcept {
  return convert_new<from_wide_t>(code_page_utf8, src);
}

char *ruvo_str_ansi_to_utf8(const char *src) noexcept {
  return convert_new_via_wide(code_page_ansi, code_page_utf8, src);
}

char *ruvo_str_utf8_to_ansi(const char *src) noexcept {
  return convert_new_via_wide(code_page_utf8, code_page_ansi, src);
}

void ruvo_str_free(void *str) noexcept {
  if (str != nullptr) ruvo::sys::process_heap_free(str);
}

uint32_t ruvo_str_ansi_to_unicode_ex(const char *src, ruvo_wchar_t *dst, size_t units) noexcept {
  return convert_into<to_wide_t>(code_page_ansi, src, dst, units);
}

uint32_t ruvo_str_utf8_to_unicode_ex(const char *src, ruvo_wchar_t *dst, size_t units) noexcept {
  return convert_into<to_wide_t>(code_page_utf8, src, dst, units);
}

uint32_t ruvo_str_unicode_to_ansi_ex(const ruvo_wchar_t *src, char *dst, size_t bytes) noexcept {
  return convert_into<from_wide_t>(code_page_ansi, src, dst, bytes);
}

uint32_t ruvo_str_unicode_to_utf8_ex(const ruvo_wchar_t *src, char *dst, size_t bytes) noexcept {
  return convert_into<from_wide_t>(code_page_utf8, src, dst, bytes);
}

uint32_t ruvo_str_ansi_to_utf8_ex(const char *src, char *dst, size_t bytes) noexcept {
  return convert_via_wide(code_page_ansi, code_page_utf8, src, dst, bytes);
}

uint32_t ruvo_str_utf8_to_ansi_ex(const char *src, char *dst, size_t bytes) noexcept {
  return convert_via_wide(code_page_utf8, code_page_ansi, src, dst, bytes);
}

int ruvo_str_is_ascii(const void *buf, size_t len) noexcept {
  if (len == 0) return 1;
  if (buf == nullptr) return 0;
  const auto *b = static_cast<const uint8_t *>(buf);
  for (size_t i = 0; i < len; ++i) {
    if (!is_text_code(b[i])) return 0;
  }
  return 1;
}

// Structure alone: overlongs, surrogates and five- and six-byte forms pass.
// Pure 7-bit text gives 0, since the question is whether the buffer holds
// UTF-8 that is not also ASCII.
int ruvo_str_is_utf8(const void *buf, size_t len) noexcept {
  if (len == 0 || buf == nullptr) return 0;
  const auto *b = static_cast<const uint8_t *>(buf);
  int seen_sequence = 0;
  for (size_t i = 0; i < len;) {
    const uint8_t lead = b[i++];
    if (lead < 0x80) {
      if (!is_text_code(lead)) return 0;
      continue;
    }
    const int trail = trail_count(lead);
    if (trail == 0) return 0;
    for (int k = 0; k < trail; ++k, ++i) {
      if (i == len) return seen_sequence;  // a sequence cut by the end
      if ((b[i] & 0xC0) != 0x80) return 0;
    }
    seen_sequence = 1;
  }
  return seen_sequence;
}

// Needs a byte-order mark; units of 128 and above pass untested except a
// reversed mark. A trailing odd byte is not looked at.
int ruvo_str_is_utf16(const void *buf, size_t len) noexcept {
  if (len < 2 || buf == nullptr) return 0;
  const auto *b = static_cast<const uint8_t *>(buf);
  bool little;
  if (b[0] == 0xFF && b[1] == 0xFE) {
    little = true;
  } else if (b[0] == 0xFE && b[1] == 0xFF) {
    little = false;
  } else {
    return 0;
  }
  for (size_t i = 2; i + 1 < len; i += 2) {
    const unsigned unit = little ? b[i] | b[i + 1] << 8 : b[i] << 8 | b[i + 1];
    if (unit == 0xFFFE) return 0;
    if (unit < 128 && !is_text_code(unit)) return 0;
  }
  return 1;
}

}  // extern "C"
