// Valid text against an encoder written here from code points; bad input and the
// encoding tests one row each.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "ruvo/base/charset.h"
#include "support/support.hpp"

namespace {

using wstr = std::basic_string<ruvo_wchar_t>;

// One code point appended in UTF-8 and in UTF-16, from the definitions.
void append(std::string &u8, wstr &u16, char32_t cp) {
  static const unsigned char lead[] = {0x00, 0xC0, 0xE0, 0xF0};
  const int tail = (cp >= 0x80) + (cp >= 0x800) + (cp >= 0x10000);
  u8 += char(lead[tail] | cp >> 6 * tail);
  for (int i = tail - 1; i >= 0; --i) u8 += char(0x80 | (cp >> 6 * i & 0x3F));
  if (cp < 0x10000) {
    u16 += ruvo_wchar_t(cp);
  } else {
    u16 += {ruvo_wchar_t(0xD800 + ((cp - 0x10000) >> 10)), ruvo_wchar_t(0xDC00 + ((cp - 0x10000) & 0x3FF))};
  }
}

template <class T>
std::basic_string<T> owned(T *s) {
  std::basic_string<T> out = s == nullptr ? std::basic_string<T>() : std::basic_string<T>(s);
  ruvo_str_free(s);
  return out;
}

// The _ex forms fill exactly what fits and leave a buffer one unit short untouched.
template <class From, class To>
void expect_exact_fit(uint32_t (*convert)(const From *, To *, size_t), const std::basic_string<From> &in,
                      const std::basic_string<To> &want) {
  std::vector<To> out(want.size() + 1, To('Z'));
  ASSERT_EQ(convert(in.c_str(), out.data(), out.size() - 1), 122u);
  ASSERT_EQ(out[0], To('Z'));
  ASSERT_EQ(convert(in.c_str(), out.data(), out.size()), 0u);
  ASSERT_EQ(std::basic_string<To>(out.data()), want);
}

// Code points from every length class and plane, never a surrogate or NUL.
TEST(Charset, RandomTextRoundTripsThroughBothSets) {
  std::mt19937 rng(20261124u);
  static const char32_t top[] = {0x7F, 0x7FF, 0xFFFF, 0x10FFFF};
  for (int round = 0; round < 400; ++round) {
    std::string u8;
    wstr u16;
    for (int n = int(rng() % 40); n > 0; --n) {
      const char32_t cp = 1 + rng() % top[rng() % 4];
      if (cp < 0xD800 || cp > 0xDFFF) append(u8, u16, cp);
    }
    ASSERT_EQ(owned(ruvo_str_utf8_to_unicode(u8.c_str())), u16) << round;
    ASSERT_EQ(owned(ruvo_str_unicode_to_utf8(u16.c_str())), u8) << round;
    ASSERT_NO_FATAL_FAILURE(expect_exact_fit(ruvo_str_utf8_to_unicode_ex, u8, u16));
    ASSERT_NO_FATAL_FAILURE(expect_exact_fit(ruvo_str_unicode_to_utf8_ex, u16, u8));
  }
}

// Each maximal subpart of a bad sequence becomes one U+FFFD. Wine counts the
// subparts of an overlong, surrogate or too large form differently (E0 80 80
// gives two); there only the replacing is checked, not the count.
TEST(Charset, BadInputIsReplacedNotRefused) {
  const struct { const char *utf8; std::vector<uint16_t> utf16; bool counted; } rows[] = {
      {"a\xC3" "A", {'a', 0xFFFD, 'A'}, true},
      {"\x80x", {0xFFFD, 'x'}, true},
      {"\xC0\xAFx", {0xFFFD, 0xFFFD, 'x'}, true},              // overlong '/'
      {"\xE0\x80\x80x", {0xFFFD, 0xFFFD, 0xFFFD, 'x'}, false},  // overlong NUL
      {"\xED\xA0\x80x", {0xFFFD, 0xFFFD, 0xFFFD, 'x'}, false},  // a surrogate
      {"\xF4\x90\x80\x80x", {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 'x'}, false},  // past U+10FFFF
      {"\xE2\x82x", {0xFFFD, 'x'}, true},                      // cut three-byte form
      {"\xF0\x9F\x98x", {0xFFFD, 'x'}, true},
      {"\xF8\x88\x80\x80\x80x", {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 'x'}, true},
      {"\xEF\xBF\xBF\xF0\x9F\x98\x80", {0xFFFF, 0xD83D, 0xDE00}, true},
  };
  for (const auto &row : rows) {
    const wstr want(row.utf16.begin(), row.utf16.end());
    const wstr got = owned(ruvo_str_utf8_to_unicode(row.utf8));
    if (row.counted || !ruvo_test::under_wine()) {
      EXPECT_EQ(got, want) << row.utf8;
    } else {
      EXPECT_EQ(got.find_first_not_of(ruvo_wchar_t(0xFFFD)), got.size() - 1) << row.utf8;
      EXPECT_EQ(got.back(), 'x');
    }
  }
  const ruvo_wchar_t top[] = {0xDBFF, 0xDFFF, 0};  // U+10FFFF, the last pair
  EXPECT_EQ(owned(ruvo_str_unicode_to_utf8(top)), "\xF4\x8F\xBF\xBF");
  const ruvo_wchar_t lone[] = {'a', 0xD800, 'b', 0xDFFF, 0};  // both ends of the range
  EXPECT_EQ(owned(ruvo_str_unicode_to_utf8(lone)), "a\xEF\xBF\xBD" "b\xEF\xBF\xBD");
}

// e-acute and y-diaeresis (the last unit the ANSI page holds) are 0xE9 and 0xFF
// both in ISO 8859-1 and in code page 1252.
TEST(Charset, AnsiFormsGoThroughUtf16AndNullsAreRefused) {
  const std::string ansi = "caf\xE9 \xFFk", utf8 = "caf\xC3\xA9 \xC3\xBFk";
  const wstr wide = {'c', 'a', 'f', 0xE9, ' ', 0xFF, 'k'};
  EXPECT_EQ(owned(ruvo_str_ansi_to_unicode(ansi.c_str())), wide);
  EXPECT_EQ(owned(ruvo_str_unicode_to_ansi(wide.c_str())), ansi);
  EXPECT_EQ(owned(ruvo_str_ansi_to_utf8(ansi.c_str())), utf8);
  EXPECT_EQ(owned(ruvo_str_utf8_to_ansi(utf8.c_str())), ansi);
  expect_exact_fit(ruvo_str_ansi_to_utf8_ex, ansi, utf8);  // the UTF-16 step fits, the result not
  expect_exact_fit(ruvo_str_ansi_to_unicode_ex, ansi, wide);
  expect_exact_fit(ruvo_str_unicode_to_ansi_ex, wide, ansi);
  // The destination size bounds the UTF-16 text in between as well.
  char out[16];
  EXPECT_EQ(ruvo_str_utf8_to_ansi_ex(utf8.c_str(), out, 7), RUVO_E_FAIL);
  EXPECT_EQ(ruvo_str_utf8_to_ansi_ex(utf8.c_str(), out, 8), 0u);
  EXPECT_EQ(out, ansi);

  EXPECT_EQ(owned(ruvo_str_utf8_to_unicode("")), wstr());
  ruvo_str_free(nullptr);
  EXPECT_FALSE(ruvo_str_utf8_to_unicode(nullptr) || ruvo_str_unicode_to_utf8(nullptr) || ruvo_str_ansi_to_utf8(nullptr));
  ruvo_wchar_t w[4];
  for (uint32_t rc : {ruvo_str_utf8_to_unicode_ex(nullptr, w, 4), ruvo_str_utf8_to_unicode_ex("a", nullptr, 4),
                      ruvo_str_unicode_to_utf8_ex(nullptr, out, 4), ruvo_str_utf8_to_ansi_ex("a", nullptr, 4),
                      ruvo_str_ansi_to_utf8_ex(nullptr, out, 4)})
    EXPECT_EQ(rc, RUVO_E_INVAL);
  EXPECT_EQ(ruvo_str_utf8_to_unicode_ex("a", nullptr, 0), 122u);
}

TEST(Charset, EncodingTestsByInspection) {
  enum { A = 1, U8 = 2, U16 = 4 };  // which tests say yes
  using B = std::string;
  const struct { std::string bytes; int yes; } rows[] = {
      {"", A}, {"abc\n", A}, {B("a\0b", 3), 0}, {"\x07\x08\x09\x0A\x0C\x0D\x1B ~", A}, {"\x0B", 0},
      {"\x0E", 0}, {"\x1A", 0}, {"\x1C", 0}, {"\x1F", 0}, {"\x7F", 0}, {"\x06", 0}, {"\xE9", 0}, {"\xFF", 0},
      {"\xC3\xA9", U8}, {"\xC3", 0}, {"\xC3\xA9\xC3", U8}, {"\xC3\xA9\xE2\x82", U8}, {"\x80", 0},
      {"\xC3" "A", 0}, {"\xE2\x82\xAC\x01", 0}, {"\xC0\xAF", U8}, {"\xFC\x80\x80\x80\x80\x80", U8},
      {"\xF8\x80\x80\x80\x80", U8}, {"\xFE\x80", 0}, {"\xFF\xFE", U16}, {"\xFE\xFF", U16},
      {"\xFF\xFE\x41", U16}, {B("\xFF\xFE\x41\x00", 4), U16}, {B("\xFF\xFE\x01\x00", 4), 0},
      {B("\xFF\xFE\x7F\x00", 4), 0}, {B("\xFF\xFE\x1B\x00\x80\x00\xAC\x20", 8), U16},
      {B("\xFF\xFE\xFE\xFF", 4), 0}, {B("\xFE\xFF\x00\x41", 4), U16}, {B("\xFE\xFF\x41\x00", 4), U16},
      {B("\xFE\xFF\x00\x0B", 4), 0}, {B("\x41\x00", 2), 0},
  };
  for (const auto &row : rows) {
    const void *p = row.bytes.data();
    const size_t n = row.bytes.size();
    const int got = ruvo_str_is_ascii(p, n) * A + ruvo_str_is_utf8(p, n) * U8 + ruvo_str_is_utf16(p, n) * U16;
    EXPECT_EQ(got, row.yes) << testing::PrintToString(row.bytes);
  }
  EXPECT_EQ(ruvo_str_is_utf8(nullptr, 3) + ruvo_str_is_utf16(nullptr, 3) + ruvo_str_is_ascii(nullptr, 3), 0);
}

}  // namespace
