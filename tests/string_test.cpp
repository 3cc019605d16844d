#include "ruvo/base/string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ruvo/base/memory.h"

namespace {

using wchar = ruvo_wchar_t;

// The twins under one set of names, so one typed suite runs both.
struct Narrow {
  using C = char;
  static size_t len(const C *s) { return ruvo_strlen(s); }
  static size_t nlen(const C *s, size_t n) { return ruvo_strnlen(s, n); }
  static int cmp(const C *a, const C *b) { return ruvo_strcmp(a, b); }
  static int ncmp(const C *a, const C *b, size_t n) { return ruvo_strncmp(a, b, n); }
  static int icmp(const C *a, const C *b) { return ruvo_stricmp(a, b); }
  static int nicmp(const C *a, const C *b, size_t n) { return ruvo_strnicmp(a, b, n); }
  static C *ncpy(C *d, const C *s, size_t n) { return ruvo_strncpy(d, s, n); }
  static size_t lcpy(C *d, const C *s, size_t n) { return ruvo_strlcpy(d, s, n); }
  static C *dup(const C *s) { return ruvo_strdup(s); }
  static C *ndup(const C *s, size_t n) { return ruvo_strndup(s, n); }
  static C *chr(const C *s, C c) { return ruvo_strchr(s, c); }
  static C *rchr(const C *s, C c) { return ruvo_strrchr(s, c); }
  static C *ichr(const C *s, C c) { return ruvo_strichr(s, c); }
  static C *irchr(const C *s, C c) { return ruvo_strirchr(s, c); }
  static C *nrchr(const C *s, size_t n, C c) { return ruvo_strnrchr(s, n, c); }
  static C *nirchr(const C *s, size_t n, C c) { return ruvo_strnirchr(s, n, c); }
  static C *str(const C *s, const C *p) { return ruvo_strstr(s, p); }
  static C *istr(const C *s, const C *p) { return ruvo_stristr(s, p); }
  // Case-blind folding as the narrow set does it: the C locale's tolower.
  static unsigned fold(C c) { return std::tolower(static_cast<unsigned char>(c)); }
};

struct Wide {
  using C = wchar;
  static size_t len(const C *s) { return ruvo_wcslen(s); }
  static size_t nlen(const C *s, size_t n) { return ruvo_wcsnlen(s, n); }
  static int cmp(const C *a, const C *b) { return ruvo_wcscmp(a, b); }
  static int ncmp(const C *a, const C *b, size_t n) { return ruvo_wcsncmp(a, b, n); }
  static int icmp(const C *a, const C *b) { return ruvo_wcsicmp(a, b); }
  static int nicmp(const C *a, const C *b, size_t n) { return ruvo_wcsnicmp(a, b, n); }
  static C *ncpy(C *d, const C *s, size_t n) { return ruvo_wcsncpy(d, s, n); }
  static size_t lcpy(C *d, const C *s, size_t n) { return ruvo_wcslcpy(d, s, n); }
  static C *dup(const C *s) { return ruvo_wcsdup(s); }
  static C *ndup(const C *s, size_t n) { return ruvo_wcsndup(s, n); }
  static C *chr(const C *s, C c) { return ruvo_wcschr(s, c); }
  static C *rchr(const C *s, C c) { return ruvo_wcsrchr(s, c); }
  static C *ichr(const C *s, C c) { return ruvo_wcsichr(s, c); }
  static C *irchr(const C *s, C c) { return ruvo_wcsirchr(s, c); }
  static C *nrchr(const C *s, size_t n, C c) { return ruvo_wcsnrchr(s, n, c); }
  static C *nirchr(const C *s, size_t n, C c) { return ruvo_wcsnirchr(s, n, c); }
  static C *str(const C *s, const C *p) { return ruvo_wcsstr(s, p); }
  static C *istr(const C *s, const C *p) { return ruvo_wcsistr(s, p); }
  // The wide searches fold A-Z only.
  static unsigned fold(C c) {
    const unsigned u = static_cast<unsigned>(c) & 0xFFFFu;
    return u >= 'A' && u <= 'Z' ? u + 32 : u;
  }
};

// Each byte of `bytes` becomes one unit, widened as unsigned: "\xC0" is
// U+00C0 in the wide form.
template <class C>
std::basic_string<C> S(const char *bytes) {
  std::basic_string<C> out;
  for (const char *p = bytes; *p != '\0'; ++p) out.push_back(C(static_cast<unsigned char>(*p)));
  return out;
}

template <class C>
C U(unsigned v) { return static_cast<C>(v); }

template <class T>
class StringTwins : public ::testing::Test {};
using Encodings = ::testing::Types<Narrow, Wide>;
TYPED_TEST_SUITE(StringTwins, Encodings);

TYPED_TEST(StringTwins, NullAndZeroSizesGiveNeutralResults) {
  using T = TypeParam;
  using C = typename T::C;
  const auto abc = S<C>("abc");
  const C *a = abc.c_str();
  C buf[4] = {C('x'), C('x'), C('x'), C('x')};

  EXPECT_EQ(T::len(nullptr), 0u);
  EXPECT_EQ(T::nlen(nullptr, 5), 0u);
  EXPECT_EQ(T::nlen(a, 0), 0u);
  EXPECT_EQ(T::cmp(nullptr, a), 0);
  EXPECT_EQ(T::cmp(a, nullptr), 0);
  EXPECT_EQ(T::ncmp(nullptr, a, 3), 0);
  EXPECT_EQ(T::ncmp(a, S<C>("b").c_str(), 0), 0);
  EXPECT_EQ(T::icmp(nullptr, a), 0);
  EXPECT_EQ(T::nicmp(a, nullptr, 3), 0);
  EXPECT_EQ(T::nicmp(a, S<C>("b").c_str(), 0), 0);
  EXPECT_EQ(T::ncpy(nullptr, a, 3), nullptr);
  EXPECT_EQ(T::ncpy(buf, nullptr, 3), nullptr);
  EXPECT_EQ(T::ncpy(buf, a, 0), nullptr);
  EXPECT_EQ(T::lcpy(nullptr, a, 4), 0u);
  EXPECT_EQ(T::lcpy(buf, nullptr, 4), 0u);
  EXPECT_EQ(T::lcpy(buf, a, 0), 0u);
  EXPECT_EQ(buf[0], C('x')) << "nothing may be written for size 0";
  EXPECT_EQ(T::dup(nullptr), nullptr);
  EXPECT_EQ(T::ndup(nullptr, 3), nullptr);
  EXPECT_EQ(T::chr(nullptr, C('a')), nullptr);
  EXPECT_EQ(T::rchr(nullptr, C('a')), nullptr);
  EXPECT_EQ(T::ichr(nullptr, C('a')), nullptr);
  EXPECT_EQ(T::irchr(nullptr, C('a')), nullptr);
  EXPECT_EQ(T::nrchr(nullptr, 3, C('a')), nullptr);
  EXPECT_EQ(T::nrchr(a, 0, C('a')), nullptr);
  EXPECT_EQ(T::nirchr(a, 0, C('a')), nullptr);
  EXPECT_EQ(T::str(nullptr, a), nullptr);
  EXPECT_EQ(T::str(a, nullptr), nullptr);
  EXPECT_EQ(T::istr(nullptr, a), nullptr);
  EXPECT_EQ(T::istr(a, nullptr), nullptr);
}

TYPED_TEST(StringTwins, LengthsStopAtTerminatorOrLimit) {
  using T = TypeParam;
  const auto abc = S<typename T::C>("abc");
  EXPECT_EQ(T::len(abc.c_str()), 3u);
  EXPECT_EQ(T::nlen(abc.c_str(), 2), 2u);
  EXPECT_EQ(T::nlen(abc.c_str(), 100), 3u);
}

TYPED_TEST(StringTwins, CompareGivesMinusOneZeroOneOnUnsignedUnits) {
  using T = TypeParam;
  using C = typename T::C;
  EXPECT_EQ(T::cmp(S<C>("a").c_str(), S<C>("b").c_str()), -1);
  EXPECT_EQ(T::cmp(S<C>("z").c_str(), S<C>("a").c_str()), 1);
  EXPECT_EQ(T::cmp(S<C>("ab").c_str(), S<C>("abc").c_str()), -1);
  EXPECT_EQ(T::cmp(S<C>("abc").c_str(), S<C>("abc").c_str()), 0);
  EXPECT_EQ(T::cmp(S<C>("\xC0").c_str(), S<C>("a").c_str()), 1);

  // Against the standard library's ordering on random texts, high units
  // included.
  std::mt19937 rng(7);
  const unsigned units[] = {'a', 'b', 0x7F, 0x80, 0xFF};
  for (int round = 0; round < 2000; ++round) {
    std::basic_string<C> x, y;
    for (int i = rng() % 4; i > 0; --i) x.push_back(U<C>(units[rng() % 5]));
    for (int i = rng() % 4; i > 0; --i) y.push_back(U<C>(units[rng() % 5]));
    const int want = x.compare(y);
    EXPECT_EQ(T::cmp(x.c_str(), y.c_str()), (want > 0) - (want < 0));
  }
}

TYPED_TEST(StringTwins, BoundedCompareLooksAtLimitUnitsOnly) {
  using T = TypeParam;
  using C = typename T::C;
  const auto x = S<C>("abcx"), y = S<C>("abcy");
  EXPECT_EQ(T::ncmp(x.c_str(), y.c_str(), 3), 0);
  EXPECT_LT(T::ncmp(x.c_str(), y.c_str(), 4), 0);
  EXPECT_GT(T::ncmp(y.c_str(), x.c_str(), 100), 0);
  EXPECT_EQ(T::ncmp(x.c_str(), S<C>("abcx").c_str(), 100), 0);
}

TYPED_TEST(StringTwins, CaseBlindCompareFoldsToLowerCase) {
  using T = TypeParam;
  using C = typename T::C;
  EXPECT_EQ(T::icmp(S<C>("Hello").c_str(), S<C>("hELLO").c_str()), 0);
  EXPECT_LT(T::icmp(S<C>("a").c_str(), S<C>("B").c_str()), 0);
  EXPECT_LT(T::icmp(S<C>("abc").c_str(), S<C>("ABCD").c_str()), 0);
  // '_' lies between the cases: below 'a' once both sides are lower case.
  EXPECT_LT(T::icmp(S<C>("_").c_str(), S<C>("A").c_str()), 0);
  EXPECT_EQ(T::nicmp(S<C>("abcX").c_str(), S<C>("ABCy").c_str(), 3), 0);
  EXPECT_GT(T::nicmp(S<C>("abcZ").c_str(), S<C>("ABCy").c_str(), 4), 0);
}

TYPED_TEST(StringTwins, BoundedCopyPadsAndLeavesCutCopyOpen) {
  using T = TypeParam;
  using C = typename T::C;
  C buf[6];
  std::fill(buf, buf + 6, C('x'));
  EXPECT_EQ(T::ncpy(buf, S<C>("ab").c_str(), 5), buf);
  EXPECT_EQ(std::basic_string<C>(buf, 6), S<C>("ab") + std::basic_string<C>(3, C(0)) + C('x'));
  std::fill(buf, buf + 6, C('x'));
  T::ncpy(buf, S<C>("abcdef").c_str(), 3);
  EXPECT_EQ(std::basic_string<C>(buf, 6), S<C>("abcxxx"));
}

TYPED_TEST(StringTwins, DuplicatesAreNewTerminatedCopies) {
  using T = TypeParam;
  using C = typename T::C;
  const auto text = S<C>("abcdef");
  C *whole = T::dup(text.c_str());
  C *none = T::ndup(text.c_str(), 0);
  C *cut = T::ndup(text.c_str(), 3);
  C *all = T::ndup(text.c_str(), 10);
  ASSERT_TRUE(whole && none && cut && all);
  EXPECT_NE(whole, text.c_str());
  EXPECT_EQ(std::basic_string<C>(whole), text);
  EXPECT_EQ(std::basic_string<C>(none), S<C>(""));
  EXPECT_EQ(std::basic_string<C>(cut), S<C>("abc"));
  EXPECT_EQ(std::basic_string<C>(all), text);
  for (C *p : {whole, none, cut, all}) ruvo_free_(p);
}

TYPED_TEST(StringTwins, PlainForwardSearchFindsTerminatorCaseBlindDoesNot) {
  using T = TypeParam;
  using C = typename T::C;
  const auto text = S<C>("Abc");
  const C *t = text.c_str();
  EXPECT_EQ(T::chr(t, C(0)), t + 3);
  EXPECT_EQ(T::ichr(t, C(0)), nullptr);
  EXPECT_EQ(T::chr(t, C('a')), nullptr);
  EXPECT_EQ(T::ichr(t, C('a')), t);
  EXPECT_EQ(T::ichr(t, C('B')), t + 1);
}

TYPED_TEST(StringTwins, ReverseSearchStopsAtFirstTerminatorMet) {
  using T = TypeParam;
  using C = typename T::C;
  const auto abcabc = S<C>("abcabc");
  EXPECT_EQ(T::nrchr(abcabc.c_str(), 6, C('a')), abcabc.c_str() + 3);
  EXPECT_EQ(T::nirchr(abcabc.c_str(), 6, C('A')), abcabc.c_str() + 3);
  EXPECT_EQ(T::nrchr(abcabc.c_str(), 3, C('c')), abcabc.c_str() + 2);

  const C buf[5] = {C('a'), C('b'), C(0), C('x'), C('y')};
  EXPECT_EQ(T::nrchr(buf, 5, C('y')), buf + 4);
  EXPECT_EQ(T::nrchr(buf, 5, C('a')), nullptr);
  EXPECT_EQ(T::nrchr(buf, 5, C(0)), nullptr);
  EXPECT_EQ(T::nrchr(buf, 2, C('a')), buf);
  // A limit past the end meets the terminator first.
  EXPECT_EQ(T::nrchr(abcabc.c_str(), 7, C('a')), nullptr);

  EXPECT_EQ(T::irchr(S<C>("").c_str(), C('a')), nullptr);
  const auto mixed = S<C>("aXbx");
  EXPECT_EQ(T::irchr(mixed.c_str(), C('X')), mixed.c_str() + 3);
}

TYPED_TEST(StringTwins, PatternSearchAndEmptyPattern) {
  using T = TypeParam;
  using C = typename T::C;
  const auto hello = S<C>("Hello");
  const C *h = hello.c_str();
  EXPECT_EQ(T::str(h, S<C>("ll").c_str()), h + 2);
  EXPECT_EQ(T::str(h, S<C>("LL").c_str()), nullptr);
  EXPECT_EQ(T::str(h, S<C>("").c_str()), h);
  EXPECT_EQ(T::str(h, S<C>("Hello!").c_str()), nullptr);
  EXPECT_EQ(T::istr(h, S<C>("LL").c_str()), h + 2);
  EXPECT_EQ(T::istr(h, S<C>("").c_str()), h);
  EXPECT_EQ(T::istr(h, S<C>("hELLO").c_str()), h);
  EXPECT_EQ(T::istr(h, S<C>("lox").c_str()), nullptr);
}

// ---- randomized searches against naive references ----

template <class T, class C>
bool same(C a, C b, bool blind) { return a == b || (blind && T::fold(a) == T::fold(b)); }

// First s with the pattern wholly inside [0, min(limit, length)).
template <class T, class C>
long ref_find(const std::vector<C> &text, size_t limit, const std::vector<C> &pat, bool blind) {
  const size_t end = std::min<size_t>(limit, std::find(text.begin(), text.end(), C(0)) - text.begin());
  for (size_t s = 0; s + pat.size() <= end; ++s) {
    size_t i = 0;
    while (i < pat.size() && same<T>(text[s + i], pat[i], blind)) ++i;
    if (i == pat.size()) return static_cast<long>(s);
  }
  return -1;
}

// Last match after the last zero of buf[0, limit): the walk back meets that
// zero before anything in front of it.
template <class T, class C>
long ref_rfind(const std::vector<C> &buf, size_t limit, C c, bool blind) {
  size_t lo = 0;
  for (size_t i = 0; i < limit; ++i) if (buf[i] == C(0)) lo = i + 1;
  for (size_t i = limit; i > lo; --i) if (same<T>(buf[i - 1], c, blind)) return static_cast<long>(i - 1);
  return -1;
}

template <class C>
long at(const C *hit, const C *base) { return hit == nullptr ? -1 : static_cast<long>(hit - base); }

template <class C>
std::vector<C> random_units(std::mt19937 &rng, size_t n, bool zeros) {
  // Letters of both cases, the neighbours of the A-Z and a-z ranges, and
  // high units that no case folding of the C locale or of ASCII touches.
  static const unsigned pool[] = {'a', 'b', 'A', 'B', '@', '[', '`', '{', 0xC0, 0xE0};
  std::vector<C> out(n);
  for (auto &u : out) u = U<C>(zeros && rng() % 8 == 0 ? 0 : pool[rng() % (sizeof pool / sizeof *pool)]);
  return out;
}

TYPED_TEST(StringTwins, SearchesAgreeWithNaiveReference) {
  using T = TypeParam;
  using C = typename T::C;
  std::mt19937 rng(2024);
  for (int round = 0; round < 3000; ++round) {
    auto text = random_units<C>(rng, rng() % 12, false);
    const auto pat = random_units<C>(rng, rng() % 4, false);
    const size_t n = text.size();
    text.push_back(C(0));
    auto pz = pat;
    pz.push_back(C(0));
    const C *t = text.data();
    const C c = pat.empty() ? C('a') : pat[0];
    const size_t all = static_cast<size_t>(-1);

    EXPECT_EQ(at(T::str(t, pz.data()), t), ref_find<T>(text, all, pat, false));
    EXPECT_EQ(at(T::istr(t, pz.data()), t), ref_find<T>(text, all, pat, true));
    EXPECT_EQ(at(T::ichr(t, c), t), ref_find<T>(text, all, std::vector<C>{c}, true));
    EXPECT_EQ(at(T::irchr(t, c), t), ref_rfind<T>(text, n, c, true));

    // The reverse walks over a buffer with zeros inside.
    const auto buf = random_units<C>(rng, 1 + rng() % 12, true);
    const size_t limit = rng() % (buf.size() + 1);
    EXPECT_EQ(at(T::nrchr(buf.data(), limit, c), buf.data()), ref_rfind<T>(buf, limit, c, false));
    EXPECT_EQ(at(T::nirchr(buf.data(), limit, c), buf.data()), ref_rfind<T>(buf, limit, c, true));
  }
}

TEST(NarrowSearches, BoundedSearchesAgreeWithNaiveReference) {
  std::mt19937 rng(99);
  for (int round = 0; round < 4000; ++round) {
    auto text = random_units<char>(rng, rng() % 12, false);
    const auto pat = random_units<char>(rng, rng() % 4, false);
    const size_t limit = 1 + rng() % 14;
    text.push_back('\0');
    auto pz = pat;
    pz.push_back('\0');
    const char *t = text.data();
    const char c = pat.empty() ? 'a' : pat[0];
    EXPECT_EQ(at(ruvo_strnstr(t, limit, pz.data()), t), ref_find<Narrow>(text, limit, pat, false));
    EXPECT_EQ(at(ruvo_strnistr(t, limit, pz.data()), t), ref_find<Narrow>(text, limit, pat, true));
    EXPECT_EQ(at(ruvo_strnchr(t, limit, c), t), ref_find<Narrow>(text, limit, std::vector<char>{c}, false));
    EXPECT_EQ(at(ruvo_strnichr(t, limit, c), t), ref_find<Narrow>(text, limit, std::vector<char>{c}, true));
  }
}

// ---- narrow only ----

TEST(NarrowStrings, BoundedSearchesWithNullAndZeroLimit) {
  EXPECT_EQ(ruvo_strnstr(nullptr, 3, "a"), nullptr);
  EXPECT_EQ(ruvo_strnstr("abc", 3, nullptr), nullptr);
  EXPECT_EQ(ruvo_strnstr("abc", 0, ""), nullptr);
  EXPECT_EQ(ruvo_strnistr("abc", 0, "a"), nullptr);
  EXPECT_EQ(ruvo_strnchr(nullptr, 3, 'a'), nullptr);
  EXPECT_EQ(ruvo_strnichr("abc", 0, 'a'), nullptr);
  EXPECT_EQ(ruvo_strnchr("abc", 2, 'c'), nullptr);
  EXPECT_EQ(ruvo_strnchr("abc", 9, '\0'), nullptr);
  const char *text = "abcdef";
  EXPECT_EQ(ruvo_strnstr(text, 3, "cd"), nullptr);
  EXPECT_EQ(ruvo_strnstr(text, 4, "cd"), text + 2);
  EXPECT_EQ(ruvo_strnstr(text, 1, ""), text);
}

TEST(NarrowStrings, StrrchrFindsTheTerminator) {
  const char *text = "abca";
  EXPECT_EQ(ruvo_strrchr(text, '\0'), text + 4);
  EXPECT_EQ(ruvo_strrchr(text, 'a'), text + 3);
  EXPECT_EQ(ruvo_strirchr(text, '\0'), nullptr);
}

TEST(NarrowStrings, StrlcpyAlwaysTerminatesAndGivesSourceLength) {
  char d[8];
  std::memset(d, 'x', sizeof d);
  EXPECT_EQ(ruvo_strlcpy(d, "abcdef", 4), 6u);
  EXPECT_STREQ(d, "abc");
  EXPECT_EQ(ruvo_strlcpy(d, "abc", 8), 3u);
  EXPECT_STREQ(d, "abc");
  EXPECT_EQ(ruvo_strlcpy(d, "abc", 1), 3u);
  EXPECT_STREQ(d, "");
}

TEST(NarrowStrings, StrcpyAndStrncmpPassThrough) {
  char d[8];
  EXPECT_EQ(ruvo_strcpy(d, "hi"), d);
  EXPECT_STREQ(d, "hi");
  EXPECT_EQ(ruvo_strcpy(nullptr, "hi"), nullptr);
  EXPECT_EQ(ruvo_strcpy(d, nullptr), nullptr);
  EXPECT_GT(ruvo_strncmp("\xC0", "a", 1), 0);
  EXPECT_EQ(ruvo_strcmp(nullptr, nullptr), 0);
}

TEST(MemoryPrimitives, ZeroLengthAndNullGiveNull) {
  char d[8] = "abcdefg";
  const char s[8] = "0123456";
  EXPECT_EQ(ruvo_memcpy(d, s, 0), nullptr);
  EXPECT_EQ(ruvo_memcpy(nullptr, s, 3), nullptr);
  EXPECT_EQ(ruvo_memcpy(d, nullptr, 3), nullptr);
  EXPECT_EQ(ruvo_memmov(d, s, 0), nullptr);
  EXPECT_EQ(ruvo_memset(d, 0, 0), nullptr);
  EXPECT_EQ(ruvo_memset(nullptr, 0, 3), nullptr);
  EXPECT_STREQ(d, "abcdefg");
  EXPECT_EQ(ruvo_memcmp(nullptr, s, 3), 0);
  EXPECT_EQ(ruvo_memcmp(d, s, 0), 0);
}

TEST(MemoryPrimitives, CopyMoveFillCompare) {
  char d[8] = "abcdefg";
  EXPECT_EQ(ruvo_memcpy(d, "XY", 2), d);
  EXPECT_STREQ(d, "XYcdefg");
  EXPECT_EQ(ruvo_memmov(d + 1, d, 4), d + 1);  // overlapping
  EXPECT_STREQ(d, "XXYcdfg");
  EXPECT_EQ(ruvo_memset(d, 'z', 2), d);
  EXPECT_STREQ(d, "zzYcdfg");
  EXPECT_LT(ruvo_memcmp("a\x01", "a\xF0", 2), 0);
  EXPECT_EQ(ruvo_memcmp("ab", "ab", 2), 0);
}

// ---- wide only ----

TEST(WideStrings, WcslcpyCutCopyFillsSizeWithoutTerminator) {
  wchar d[8];
  std::fill(d, d + 8, wchar('x'));
  const auto abcdef = S<wchar>("abcdef"), abc = S<wchar>("abc");
  EXPECT_EQ(ruvo_wcslcpy(d, abcdef.c_str(), 4), 4u);
  EXPECT_EQ(std::basic_string<wchar>(d, 5), S<wchar>("abcdx"));
  std::fill(d, d + 8, wchar('x'));
  EXPECT_EQ(ruvo_wcslcpy(d, abc.c_str(), 4), 3u);
  EXPECT_EQ(std::basic_string<wchar>(d, 5), abc + wchar(0) + wchar('x'));
  std::fill(d, d + 8, wchar('x'));
  EXPECT_EQ(ruvo_wcslcpy(d, abc.c_str(), 3), 3u);
  EXPECT_EQ(std::basic_string<wchar>(d, 4), S<wchar>("abcx"));
  // The same buffer: nothing copied, the whole length given.
  d[4] = 0;
  EXPECT_EQ(ruvo_wcslcpy(d, d, 2), 4u);
}

TEST(WideStrings, WcsncmpGivesUnitDifference) {
  const auto a = S<wchar>("a"), c = S<wchar>("c"), hi = S<wchar>("a\xFF");
  EXPECT_EQ(ruvo_wcsncmp(a.c_str(), c.c_str(), 1), -2);
  EXPECT_EQ(ruvo_wcsncmp(hi.c_str(), a.c_str(), 5), 0xFF);
  const wchar top[] = {wchar(0xFFFF), 0};
  EXPECT_EQ(ruvo_wcsncmp(a.c_str(), top, 1), 'a' - 0xFFFF);
  EXPECT_EQ(ruvo_wcscmp(top, a.c_str()), 1);
  // The same pointer is equal without a read: the text need not even exist.
  const wchar *bogus = reinterpret_cast<const wchar *>(alignof(wchar) * 16);
  EXPECT_EQ(ruvo_wcsncmp(bogus, bogus, 5), 0);
}

TEST(WideStrings, WcsrchrNeverFindsTerminator) {
  const auto text = S<wchar>("abca");
  EXPECT_EQ(ruvo_wcsrchr(text.c_str(), 0), nullptr);
  EXPECT_EQ(ruvo_wcsrchr(text.c_str(), 'a'), text.c_str() + 3);
  EXPECT_EQ(ruvo_wcsrchr(S<wchar>("").c_str(), 'a'), nullptr);
  EXPECT_EQ(ruvo_wcschr(text.c_str(), 0), text.c_str() + 4);
}

TEST(WideStrings, CaseBlindSearchesFoldAsciiOnly) {
  const wchar text[] = {'x', 0xC0, 'Q', 0x130, 0};  // x, A grave, Q, capital I with dot
  const wchar agrave[] = {0xE0, 0};
  const wchar q[] = {'q', 0};
  const wchar i[] = {'i', 0};
  EXPECT_EQ(ruvo_wcsistr(text, agrave), nullptr);
  EXPECT_EQ(ruvo_wcsichr(text, 0xE0), nullptr);
  EXPECT_EQ(ruvo_wcsirchr(text, 0xE0), nullptr);
  EXPECT_EQ(ruvo_wcsistr(text, i), nullptr);
  EXPECT_EQ(ruvo_wcsistr(text, q), text + 2);
  EXPECT_EQ(ruvo_wcsichr(text, 0xC0), text + 1);
}

}  // namespace
