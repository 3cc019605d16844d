// The conversion seam held to the platform converter's contract in both builds,
// the codec on counted input, and the out-of-memory paths.
#include <gtest/gtest.h>

#include <string>

#include "internal/fault.hpp"
#include "internal/platform.hpp"
#include "internal/utf.hpp"
#include "ruvo/base/charset.h"

namespace {

namespace sys = ruvo::sys;

// A call that fails, giving 0 or null, and sets `error` as the last error.
template <class F>
void expect_failure(F call, uint32_t error) {
  sys::set_last_error(0);
  EXPECT_FALSE(call());
  EXPECT_EQ(sys::last_error(), error);
}

TEST(CharsetSeam, SizeQueryExactBufferAndOneShort) {
  ruvo_wchar_t w[8] = {};
  char b[8] = {};
  const ruvo_wchar_t wide[] = {'a', 0xE9, 0};
  for (unsigned cp : {sys::code_page_utf8, sys::code_page_ansi}) {
    const char *narrow = cp == sys::code_page_utf8 ? "a\xC3\xA9" : "a\xE9";
    const int bytes = cp == sys::code_page_utf8 ? 4 : 3;
    EXPECT_EQ(sys::to_wide(cp, narrow, nullptr, 0) + sys::to_wide(cp, narrow, w, 3), 3 + 3);
    EXPECT_EQ(std::basic_string<ruvo_wchar_t>(w), wide);
    expect_failure([&] { return sys::to_wide(cp, narrow, w, 2); }, 122);
    EXPECT_EQ(sys::from_wide(cp, wide, nullptr, 0) + sys::from_wide(cp, wide, b, bytes), 2 * bytes);
    EXPECT_STREQ(b, narrow);
    expect_failure([&] { return sys::from_wide(cp, wide, b, bytes - 1); }, 122);
  }
  // No source; no such code page.
  expect_failure([&] { return sys::to_wide(sys::code_page_utf8, nullptr, w, 8); }, 87);
  expect_failure([&] { return sys::to_wide(12345u, "a", w, 8); }, 87);
  expect_failure([&] { return sys::from_wide(sys::code_page_utf8, nullptr, b, 8); }, 87);
  expect_failure([&] { return sys::from_wide(12345u, wide, b, 8); }, 87);
}

// Counted input has no terminator, so the last unit of a sequence must fit exactly.
TEST(CharsetCodec, CountedInputFillsToTheLastUnit) {
  const char text[] = "\xC3\xA9\xF4\x8F\xBF\xBF";  // U+00E9 U+10FFFF
  char16_t w[3];
  EXPECT_EQ(ruvo::utf::utf8_to_utf16(text, 6, w, 2), ruvo::utf::npos);
  EXPECT_EQ(ruvo::utf::utf8_to_utf16(text, 6, w, 3), 3u);
  EXPECT_EQ(std::u16string(w, 3), u"\u00E9\U0010FFFF");
  char b[6];
  EXPECT_EQ(ruvo::utf::utf16_to_utf8(w, 3, b, 5), ruvo::utf::npos);
  EXPECT_EQ(ruvo::utf::utf16_to_utf8(w, 3, b, 6), 6u);
  EXPECT_EQ(std::string(b, 6), text);
  // A sequence cut by the count stays cut, though the rest of it follows in memory.
  EXPECT_EQ(ruvo::utf::utf16_to_utf8(u"\U0001F600", 1, b, 6), 3u);  // EF BF BD
  EXPECT_EQ(ruvo::utf::utf8_to_utf16("\xE2\x82\xAC", 2, w, 3), 1u);
  EXPECT_EQ(w[0], u'\uFFFD');
}

// The result fails; then the UTF-16 step succeeds and the result fails.
TEST(CharsetFaults, FailedHeapBlockGivesNullAndError14) {
  char b[16];
  for (long succeed : {0L, 1L}) {
    ruvo::fault::fail_allocations_after(succeed);
    expect_failure([] { return ruvo_str_ansi_to_utf8("abc"); }, 14);
  }
  ruvo::fault::fail_allocations_after(0);
  expect_failure([] { return ruvo_str_utf8_to_unicode("abc"); }, 14);
  ruvo::fault::fail_allocations_after(0);
  EXPECT_EQ(ruvo_str_utf8_to_ansi_ex("abc", b, sizeof b), 14u);
  ruvo::fault::fail_allocations_after(-1);
  EXPECT_EQ(ruvo_str_utf8_to_ansi_ex("abc", b, sizeof b), 0u);
}

}  // namespace
