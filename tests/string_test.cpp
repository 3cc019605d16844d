// The null-taking primitives: one typed suite runs the narrow and wide twins
// against naive references over random texts.
#include "ruvo/base/string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <type_traits>

#include "ruvo/base/memory.h"

namespace {

// x(...) calls ruvo_str<x> on char text and ruvo_wcs<x> on ruvo_wchar_t text.
#define TWIN(x) template <class P, class... A> auto x(P p, A... a) {                         \
    if constexpr (sizeof(*p) == 1) return ruvo_str##x(p, a...); else return ruvo_wcs##x(p, a...); }
TWIN(len) TWIN(nlen) TWIN(cmp) TWIN(ncmp) TWIN(icmp) TWIN(nicmp) TWIN(ncpy) TWIN(lcpy) TWIN(dup)
TWIN(ndup) TWIN(chr) TWIN(rchr) TWIN(ichr) TWIN(irchr) TWIN(nrchr) TWIN(nirchr) TWIN(str) TWIN(istr)

template <class C> using Str = std::basic_string<C>;
template <class C> unsigned unit(C c) { return static_cast<std::make_unsigned_t<C>>(c); }
unsigned fold(unsigned u) { return u >= 'A' && u <= 'Z' ? u + 32 : u; }  // the C locale's and the wide folding
template <class C> unsigned folded(C c, bool blind) { return blind ? fold(unit(c)) : unit(c); }
template <class C> long at(const C *hit, const C *base) { return hit == nullptr ? -1 : long(hit - base); }
int sign(long v) { return (v > 0) - (v < 0); }

// Both ends of A-Z and a-z, their neighbours, high units, and zeros on request.
std::mt19937 rng(2024);
template <class C> Str<C> random_units(size_t n, bool zeros = false, size_t pool_size = 12) {
  static const unsigned pool[] = {'a', 'b', 'z', 'A', 'B', 'Z', '@', '[', '`', '{', 0xC0, 0xE0};
  Str<C> out(n, C(0));
  for (C &u : out) u = (zeros && rng() % 8 == 0) ? C(0) : C(pool[rng() % pool_size]);
  return out;
}

// First match lying wholly inside [0, min(limit, length)), or -1.
template <class C> long ref_find(const Str<C> &text, size_t limit, const Str<C> &pat, bool blind) {
  const size_t end = std::min(limit, Str<C>(text.c_str()).size());
  for (size_t s = 0, i = 0; s + pat.size() <= end; ++s, i = 0) {
    while (i < pat.size() && folded(text[s + i], blind) == folded(pat[i], blind)) ++i;
    if (i == pat.size()) return long(s);
  }
  return -1;
}

// The difference of the first mismatch within `limit` units, or 0.
template <class C> long ref_cmp(const Str<C> &x, const Str<C> &y, size_t limit, bool blind) {
  for (size_t i = 0; i < limit; ++i)
    if (const long d = long(folded(x[i], blind)) - long(folded(y[i], blind)); d != 0 || x[i] == C(0)) return d;
  return 0;
}

// Last match walking back from limit - 1; the walk stops at the first zero.
template <class C> long ref_rfind(const Str<C> &buf, size_t limit, C c, bool blind) {
  for (size_t i = limit; i > 0 && buf[i - 1] != C(0); --i)
    if (folded(buf[i - 1], blind) == folded(c, blind)) return long(i - 1);
  return -1;
}

template <class C> class StringTwins : public ::testing::Test {};
using Encodings = ::testing::Types<char, ruvo_wchar_t>;
TYPED_TEST_SUITE(StringTwins, Encodings);

TYPED_TEST(StringTwins, NullOperandsAndZeroSizesGiveNeutralResults) {
  using C = TypeParam;
  const C *none = nullptr, a[] = {C('a'), C('b'), C('c'), C(0)}, b[] = {C('b'), C(0)}, x = C('a');
  C buf[4] = {C('x'), C('x'), C('x'), C('x')};
  for (size_t r : {len(none), nlen(none, 5), nlen(a, 0), lcpy(buf, none, 4), lcpy(buf, a, 0)}) EXPECT_EQ(r, 0u);
  for (int r : {cmp(none, a), cmp(a, none), ncmp(none, a, 3), ncmp(a, b, 0), icmp(none, a), nicmp(a, none, 3),
                nicmp(a, b, 0)}) EXPECT_EQ(r, 0);
  EXPECT_EQ(buf[0], C('x')) << "nothing may be written for size 0";
  for (const C *r : {ncpy(buf, none, 3), ncpy(buf, a, 0), dup(none), ndup(none, 3), chr(none, x), rchr(none, x),
                     ichr(none, x), irchr(none, x), nrchr(none, 3, x), nrchr(a, 0, x), nirchr(a, 0, x), str(none, a),
                     str(a, none), istr(none, a), istr(a, none)})
    EXPECT_EQ(r, nullptr);
}

TYPED_TEST(StringTwins, ComparisonsAgreeWithReference) {
  using C = TypeParam;
  for (int round = 0; round < 4000; ++round) {
    // No U+00E0 here: towlower may fold U+00C0 to it, the reference does not.
    const Str<C> x = random_units<C>(rng() % 5, false, 11), y = rng() % 4 ? random_units<C>(rng() % 5, false, 11) : x;
    const size_t limit = rng() % 6, all = size_t(-1);
    EXPECT_EQ(cmp(x.c_str(), y.c_str()), sign(ref_cmp(x, y, all, false)));  // exactly -1, 0 or 1, on unsigned units
    EXPECT_EQ(sign(icmp(x.c_str(), y.c_str())), sign(ref_cmp(x, y, all, true)));
    EXPECT_EQ(sign(nicmp(x.c_str(), y.c_str(), limit)), sign(ref_cmp(x, y, limit, true)));
    const long n = ncmp(x.c_str(), y.c_str(), limit), want = ref_cmp(x, y, limit, false);
    EXPECT_EQ(sizeof(C) == 1 ? sign(n) : n, sizeof(C) == 1 ? sign(want) : want);  // wide: the unit difference
  }
  const C *p = reinterpret_cast<const C *>(alignof(C) * 16);  // the same pointer: equal without a read
  if constexpr (sizeof(C) == 2) { EXPECT_EQ(ncmp(p, p, 5), 0); }
}

TYPED_TEST(StringTwins, LengthsCopiesAndDuplicatesAgreeWithReference) {
  using C = TypeParam;
  for (int round = 0; round < 2000; ++round) {
    const Str<C> src = random_units<C>(rng() % 7);
    const size_t n = src.size(), size = rng() % 9;
    EXPECT_EQ(len(src.c_str()), n);
    EXPECT_EQ(nlen(src.c_str(), size), std::min(n, size));
    // ncpy writes exactly `size` units, zero padded; a cut copy stays open.
    Str<C> buf(10, C('#')), want = (src + Str<C>(10, C(0))).substr(0, size) + Str<C>(10 - size, C('#'));
    EXPECT_EQ(ncpy(buf.data(), src.c_str(), size), size ? buf.data() : nullptr);
    EXPECT_EQ(buf, want);
    // strlcpy: size - 1 units, a terminator, gives n. wcslcpy: min(n + 1, size)
    // units, the terminator only when it fits, gives min(n, size).
    const bool narrow = sizeof(C) == 1;
    const size_t copied = narrow ? std::min(n, size ? size - 1 : 0) : std::min(n + 1, size);
    want = Str<C>(src.c_str(), copied) + (narrow && size ? Str<C>(1, C(0)) : Str<C>()) + Str<C>(10, C('#'));
    buf.assign(10, C('#'));
    EXPECT_EQ(lcpy(buf.data(), src.c_str(), size), narrow ? (size ? n : 0) : std::min(n, size));
    EXPECT_EQ(buf, want.substr(0, 10));
    C *whole = dup(src.c_str()), *cut = ndup(src.c_str(), size);
    ASSERT_TRUE(whole && cut);
    EXPECT_EQ(Str<C>(whole) + C('|') + Str<C>(cut), src + C('|') + src.substr(0, size));
    ruvo_free_(whole), ruvo_free_(cut);
  }
  C self[] = {C('a'), C('b'), C('c'), C(0)};  // wcslcpy onto itself copies nothing and gives the length
  if constexpr (sizeof(C) == 2) { EXPECT_EQ(lcpy(self, self, 2), 3u); }
}

TYPED_TEST(StringTwins, SearchesAgreeWithNaiveReference) {
  using C = TypeParam;
  for (int round = 0; round < 4000; ++round) {
    const Str<C> text = random_units<C>(rng() % 12), pat = random_units<C>(rng() % 4);
    const C *t = text.c_str(), c = rng() % 6 == 0 ? C(0) : pat.empty() ? C('a') : pat[0];
    const size_t all = size_t(-1), n = text.size();
    EXPECT_EQ(at(str(t, pat.c_str()), t), ref_find(text, all, pat, false));
    EXPECT_EQ(at(istr(t, pat.c_str()), t), ref_find(text, all, pat, true));
    // A search for 0 finds the terminator in chr and strrchr only.
    EXPECT_EQ(at(chr(t, c), t), c == C(0) ? long(n) : ref_find(text, all, Str<C>(1, c), false));
    EXPECT_EQ(at(ichr(t, c), t), c == C(0) ? -1 : ref_find(text, all, Str<C>(1, c), true));
    EXPECT_EQ(at(rchr(t, c), t), c == C(0) ? (sizeof(C) == 1 ? long(n) : -1) : ref_rfind(text, n, c, false));
    EXPECT_EQ(at(irchr(t, c), t), ref_rfind(text, n, c, true));
    // The reverse walks stop at the first zero they meet inside a buffer.
    const Str<C> buf = random_units<C>(1 + rng() % 12, true);
    const size_t limit = rng() % (buf.size() + 1);
    EXPECT_EQ(at(nrchr(buf.data(), limit, c), buf.data()), ref_rfind(buf, limit, c, false));
    EXPECT_EQ(at(nirchr(buf.data(), limit, c), buf.data()), ref_rfind(buf, limit, c, true));
    if constexpr (sizeof(C) == 1) {  // the bounded narrow searches, over at most `lim` bytes
      const size_t lim = 1 + rng() % 14;
      EXPECT_EQ(at(ruvo_strnstr(t, lim, pat.c_str()), t), ref_find(text, lim, pat, false));
      EXPECT_EQ(at(ruvo_strnistr(t, lim, pat.c_str()), t), ref_find(text, lim, pat, true));
      EXPECT_EQ(at(ruvo_strnchr(t, lim, c), t), ref_find(text, lim, Str<C>(1, c), false));
      EXPECT_EQ(at(ruvo_strnichr(t, lim, c), t), ref_find(text, lim, Str<C>(1, c), true));
    }
  }
}

TEST(NarrowStrings, NarrowOnlyFormsTakeNullAndPassThrough) {
  char d[8] = "abcdefg";
  for (const void *r : std::initializer_list<const void *>{
           ruvo_strnstr(nullptr, 3, "a"), ruvo_strnstr("abc", 3, nullptr), ruvo_strnstr("abc", 0, ""),
           ruvo_strnistr("abc", 0, "a"), ruvo_strnchr(nullptr, 3, 'a'), ruvo_strnichr("abc", 0, 'a'),
           ruvo_strcpy(nullptr, "hi"), ruvo_strcpy(d, nullptr), ruvo_memcpy(d, "0", 0), ruvo_memcpy(nullptr, "0", 1),
           ruvo_memcpy(d, nullptr, 1), ruvo_memmov(d, "0", 0), ruvo_memset(d, 0, 0), ruvo_memset(nullptr, 0, 1)})
    EXPECT_EQ(r, nullptr);
  EXPECT_STREQ(d, "abcdefg");
  for (int r : {ruvo_memcmp(nullptr, d, 3), ruvo_memcmp(d, nullptr, 3), ruvo_memcmp(d, "z", 0)}) EXPECT_EQ(r, 0);
  EXPECT_EQ(ruvo_memcpy(d, "XY", 2), d);
  EXPECT_EQ(ruvo_memmov(d + 1, d, 4), d + 1);  // overlapping
  EXPECT_EQ(ruvo_memset(d + 6, 'z', 1), d + 6);
  EXPECT_STREQ(d, "XXYcdfz");
  EXPECT_LT(ruvo_memcmp("a\x01", "a\xF0", 2), 0);  // unsigned bytes
  EXPECT_STREQ(ruvo_strcpy(d, "hi"), "hi");
}

}  // namespace
