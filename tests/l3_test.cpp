// L3 addresses through the exported calls. Text is checked against glibc's
// inet_pton and inet_ntop; masks, networks and folding against Python's
// ipaddress (data/l3_vectors.txt, written by data/l3_vectors.py); arithmetic,
// sorting and searching against 128-bit integers, std::sort and linear scans.
// The tables hold the edge cases and every result code.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ruvo/base/l3.h"
#include "support/inet_oracle.hpp"

namespace {

using Addr = ruvo_l3_addr_st;
using Range = ruvo_l3_range_st;
using u128 = unsigned __int128;
using Key = std::pair<bool, u128>;  // (IPv6, address bits): the order ruvo_l3_addr_cmp gives
constexpr size_t npos = std::string::npos;
const char *const kTop4 = "255.255.255.255", *const kTop6 = "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff";

std::mt19937_64 rng(20240917u);
uint64_t below(uint64_t n) { return rng() % n; }
u128 r128(int bits) { return bits == 0 ? 0 : ((u128(rng()) << 64) | rng()) >> (128 - bits); }
bool is6(const Addr &a) { return !(a.u8[0] == 0xff && a.u8[1] == 0xbf); }
u128 val(const Addr &a) {
  u128 v = 0;
  for (int i = is6(a) ? 0 : 12; i < 16; ++i) v = v << 8 | a.u8[i];
  return v;
}
Key key(const Addr &a) { return {is6(a), val(a)}; }
bool same_range(const Range &a, const Range &b) { return key(a.low) == key(b.low) && key(a.high) == key(b.high); }
u128 top(bool six) { return six ? ~u128(0) : 0xffffffffu; }
Addr make(bool six, u128 v) {
  Addr a{};
  for (int i = 15; i >= (six ? 0 : 12); --i, v >>= 8) a.u8[i] = uint8_t(v);
  if (!six) a.u8[0] = 0xff, a.u8[1] = 0xbf;
  return a;
}
// Of an IPv4 record only the mark and word 3 may be read: fill the rest.
Addr dirty(Addr a) {
  for (int i = 2; i < 12 && !is6(a); ++i) a.u8[i] = uint8_t(0x35 * i);
  return a;
}
bool same(const void *a, const void *b, size_t n = sizeof(Addr)) { return n == 0 || std::memcmp(a, b, n) == 0; }
// An exact-size heap copy: a read past the terminator is an ASan report.
std::unique_ptr<char[]> exact(const std::string &t) {
  auto p = std::make_unique<char[]>(t.size() + 1);
  std::memcpy(p.get(), t.c_str(), t.size() + 1);
  return p;
}
Addr A(const std::string &text) {
  Addr a{};
  EXPECT_EQ(ruvo_l3_string_to_addr(exact(text).get(), &a), 0) << text;
  return a;
}
std::string S(const Addr &a) {
  char b[64];
  const int32_t n = ruvo_l3_addr_to_string(&a, b, sizeof b);
  return n < 0 ? "(-1)" : std::string(b, size_t(n));
}
// Words of 0 and of ones carry and borrow across words, and give zero runs
// of every length, ::a.b.c.d and ::ffff:a.b.c.d; an IPv6 address ending
// ..bfff reads as IPv4 in host form.
Addr random_addr(bool six) {
  static const uint32_t words[] = {0, 0, 1, 0xffff, 0xffffffffu, 0xfffffffeu, 0x80000000u, 0x1234bfffu};
  for (;;) {
    u128 v = 0;
    for (int w = six ? 4 : 1; w > 0; --w) v = v << 32 | (below(3) ? words[below(8)] : uint32_t(rng()));
    if (!six || v >> 112 != 0xffbf) return dirty(make(six, v));
  }
}

// glibc refuses leading zeros in dotted parts, which we read as decimal; a
// first dotted part of more than four digits is a hex group both refuse.
std::string glibc_spelling(const std::string &t) {
  const size_t tail = t.rfind(':') == npos ? 0 : t.rfind(':') + 1;
  std::string out = t.substr(0, tail);
  for (size_t i = tail, k = 0; i <= t.size(); ++k, i = std::min(t.find('.', i), t.size()) + 1) {
    std::string p = t.substr(i, std::min(t.find('.', i), t.size()) - i);
    if (!p.empty() && p.find_first_not_of("0123456789") == npos && !(tail && k == 0 && p.size() > 4))
      p.erase(0, std::min(p.find_first_not_of('0'), p.size() - 1));
    out += p + (t.find('.', i) == npos ? "" : ".");
  }
  return out;
}

// Another spelling of `a`: zeros in front of groups and parts, either case,
// any run of zero groups (one too) as "::", a dotted tail; then maybe edits.
std::string respell(const Addr &a) {
  std::string s;
  const auto pad = [] { return std::string(below(3) ? 0 : below(30) ? below(4) : 5, '0'); };
  for (int i = 12; i < 16 && !is6(a); ++i) s += (i > 12 ? "." : "") + pad() + std::to_string(a.u8[i]);
  const int groups = is6(a) ? (below(3) ? 8 : 6) : 0;
  int run = int(below(groups + 1)), len = 0;
  while (run + len < groups && a.u16[run + len] == 0 && below(6)) ++len;
  for (int g = 0; g < groups; ++g) {
    if (g == run && len > 0) s += g == 0 ? "::" : ":";
    if (g >= run && g < run + len) continue;
    char h[8];
    std::snprintf(h, sizeof h, below(2) ? "%x" : "%X", (a.u8[2 * g] << 8) | a.u8[2 * g + 1]);
    s += pad() + h + (g < groups - 1 ? ":" : "");
  }
  for (int i = 12; i < 16 && groups == 6; ++i)
    s += (i > 12 ? "." : run + len == 6 && len > 0 ? "" : ":") + pad() + std::to_string(a.u8[i]);
  static const char alphabet[] = "0123456789abcdefABCDEF::..  g";
  for (int e = below(3) ? 0 : 1 + int(below(3)); e > 0; --e)  // replace, insert or delete a character
    s.replace(below(s.size() + 1), below(2), below(3) ? std::string(1, alphabet[below(sizeof alphabet - 1)]) : "");
  return s;
}

TEST(L3Text, ParsingAndPrintingAgreeWithGlibc) {
  if (!ruvo_test::kHaveInetOracle) GTEST_SKIP() << "no inet_pton and inet_ntop to compare with on Windows";
  int accepted = 0, refused = 0;
  for (int i = 0; i < 60000; ++i) {
    const bool six = below(3) != 0;
    const Addr a = make(six, val(random_addr(six)));
    char want[64], got[64];
    ASSERT_NE(ruvo_test::inet_ntop_ref(six, six ? a.u8 : a.u8 + 12, want, sizeof want), nullptr);
    ASSERT_EQ(ruvo_l3_addr_to_string(&a, got, sizeof got), int32_t(std::strlen(want))) << want;
    ASSERT_STREQ(got, want);
    // What glibc refuses is refused, and so is IPv6 beginning ff bf, which no record holds.
    const std::string t = below(4) ? respell(a) : want;
    const bool colon = t.find(':') != npos;
    uint8_t b[16];
    Addr expect = make(colon, 0), out, before;
    std::memset(&out, 0xa5, sizeof out), before = out;
    const bool ok = ruvo_test::inet_pton_ref(colon, glibc_spelling(t).c_str(), b) == 1 &&
                    !(colon && b[0] == 0xff && b[1] == 0xbf);
    std::memcpy(colon ? expect.u8 : expect.u8 + 12, b, colon ? 16 : 4);
    ASSERT_EQ(ruvo_l3_string_to_addr(exact(t).get(), &out), ok ? 0 : -1) << t;
    ASSERT_TRUE(same(&out, ok ? &expect : &before)) << t << " gave " << S(out);
    const int32_t family = ok ? colon ? RUVO_L3_AF_IPV6 : RUVO_L3_AF_IPV4 : RUVO_L3_AF_NONE;
    ASSERT_EQ(ruvo_l3_string_type(exact(t).get()), family) << t;
    (ok ? accepted : refused) += 1;
  }
  EXPECT_GT(std::min(accepted, refused), 15000);  // both sides well fed
}

std::vector<Range> ranges_of(const std::string &list) {  // "low-high,low-high,..."
  std::vector<Range> out;
  std::stringstream s(list);
  for (std::string r; std::getline(s, r, ',');)
    out.push_back({A(r.substr(0, r.find('-'))), A(r.substr(r.find('-') + 1))});
  return out;
}

TEST(L3Vectors, MasksNetworksAndFoldingAgreeWithPythonIpaddress) {
  const std::string file = __FILE__, path = file.substr(0, file.find_last_of("/\\") + 1) + "data/l3_vectors.txt";
  std::ifstream in(path);
  ASSERT_TRUE(in.is_open()) << path;
  int cases = 0;
  for (std::string line, kind, text, lo, hi; std::getline(in, line); ++cases) {
    std::istringstream f(line);
    Addr m, pattern;
    std::memset(&pattern, 0xa5, sizeof pattern), m = pattern;
    uint32_t got = 999;
    int p = 0;
    if (f >> kind; kind == "mask" && f >> p >> p >> text) {  // the family shows in the text
      ASSERT_EQ((text.find(':') != npos ? ruvo_l3_get_ipv6_mask : ruvo_l3_get_ipv4_mask)(p, &m), 0);
      EXPECT_TRUE(same(&m, &(pattern = A(text)))) << line;  // a whole fresh record
      ASSERT_EQ(ruvo_l3_get_mask_prefix(&m, &got), 0);
      EXPECT_EQ(int(got), p) << line;
      EXPECT_EQ(S(m), text);
    } else if (kind == "valid" && f >> text >> p) {
      const Addr a = dirty(A(text));
      EXPECT_EQ(ruvo_l3_is_mask_valid(&a), p >= 0) << line;
      EXPECT_EQ(ruvo_l3_get_mask_prefix(&a, &got), p >= 0 ? 0 : -1) << line;
      EXPECT_EQ(p >= 0 ? int(got) : p, p) << line;
      EXPECT_EQ(ruvo_l3_string_to_mask(exact(text).get(), &m), p >= 0 ? 0 : -1) << line;
      EXPECT_TRUE(same(&m, p >= 0 ? &(pattern = A(text)) : &pattern)) << line;
    } else if (kind == "net" && f >> text >> lo >> hi) {
      const Addr a = dirty(A(text.substr(0, text.find('/'))));
      const int form = (text.find_first_of(".:", text.find('/')) != npos ? 5 : 3) + is6(a);
      Range r, back;
      ASSERT_EQ(ruvo_l3_string_to_range(exact(text).get(), &r), form) << line;
      ASSERT_EQ(ruvo_l3_get_string_mask(exact(text).get(), &m), 0) << line;
      ASSERT_EQ(ruvo_l3_get_range_from_mask(&back, &a, &m), 0) << line;
      EXPECT_TRUE(same_range(r, {A(lo), A(hi)}) && same_range(back, r)) << line;
    } else if (kind == "trim" && f >> lo >> hi) {
      std::vector<Range> rs = ranges_of(lo), want = ranges_of(hi);
      uint32_t n = uint32_t(rs.size());
      ASSERT_EQ(ruvo_l3_range_trim(rs.data(), &n), 0) << line;
      ASSERT_EQ(n, want.size()) << line;
      for (uint32_t i = 0; i < n; ++i) {
        char buf[100];
        Range back;
        const std::string text = S(rs[i].low) + "-" + S(rs[i].high);
        EXPECT_TRUE(same_range(rs[i], want[i])) << line;
        ASSERT_EQ(ruvo_l3_range_to_string(&rs[i], buf, sizeof buf), int32_t(text.size()));
        EXPECT_EQ(buf, text);
        EXPECT_EQ(ruvo_l3_string_to_range(buf, &back), 7 + is6(rs[i].low)) << buf;
        EXPECT_EQ(ruvo_l3_is_range_equal(&back, &rs[i]), 1) << buf;
      }
    }
  }
  EXPECT_GT(cases, 1000);
}

TEST(L3Arith, StepsComparisonsPrefixesAndMasksAgreeWithIntegers) {
  for (int i = 0; i < 40000; ++i) {
    const bool six = below(2);
    const int width = six ? 128 : 32, k = int(below(width)), p = int(below(width + 1));
    const Addr a = random_addr(six);
    const u128 v = val(a), t = top(six), bit = u128(1) << (width - 1 - k), m = p == width ? t : t ^ (t >> p);
    if (six && ((v ^ bit) >> 112 == 0xffbf || (v + 1) >> 112 == 0xffbf)) continue;  // no record holds these
    Addr x = a, y = a, out, h, mask = random_addr(!six);
    ASSERT_EQ(ruvo_l3_addr_inc(&x), v == t ? -1 : 0);
    ASSERT_EQ(ruvo_l3_addr_dec(&y), v == 0 ? -1 : 0);
    ASSERT_TRUE(v == t ? same(&x, &a) : key(x) == key(make(six, v + 1))) << S(a);
    ASSERT_TRUE(v == 0 ? same(&y, &a) : key(y) == key(make(six, v - 1))) << S(a);
    // A neighbour one above, a bit away, both, itself, or of the other family.
    const uint64_t pick = below(5);
    const Addr b = pick == 4 ? random_addr(!six) : dirty(make(six, (pick & 1 ? v + 1 : v) ^ (pick & 2 ? bit : 0)));
    const int want = pick == 4 ? (six ? 3 : -3) : (val(b) < v) - (v < val(b));
    ASSERT_EQ(ruvo_l3_addr_cmp(&a, &b), want) << S(a) << " " << S(b);
    ASSERT_EQ(ruvo_l3_addr_cmp(&b, &a), -want) << S(a) << " " << S(b);
    ASSERT_EQ(ruvo_l3_is_addr_close_to(&a, &b), pick == 4 ? -2 : int(v != t && val(b) == v + 1)) << S(a) << " " << S(b);
    // Equal on the first k bits only; a length past the width gives 0.
    const Addr c = dirty(make(six, v ^ bit));
    for (uint32_t len : {uint32_t(k), uint32_t(k + 1), uint32_t(width + 1), uint32_t(p)})
      ASSERT_EQ(ruvo_l3_addr_prefix_equal(&a, &c, len) * 2 + ruvo_l3_addr_prefix_equal(&a, &a, len),
                (len <= uint32_t(k)) * 2 + (len <= uint32_t(width))) << S(a) << " /" << len;
    ASSERT_EQ((six ? ruvo_l3_get_ipv6_mask : ruvo_l3_get_ipv4_mask)(p, &mask), 0);
    ASSERT_TRUE(key(mask) == key(make(six, m)));
    ASSERT_EQ(ruvo_l3_ipv4_addr_mask_equal(&a, &c, &mask), int(!six && p <= k));
    ASSERT_EQ(ruvo_l3_addr_and_mask(&a, &mask, &out), &out);
    ASSERT_EQ(ruvo_l3_addr_or_not_mask(&(x = a), &mask, &x), &x);  // in place
    ASSERT_TRUE(key(out) == key(make(six, v & m)) && key(x) == key(make(six, v | (t ^ m))));
    Range r;
    ASSERT_EQ(ruvo_l3_get_range_from_mask(&r, &a, &mask), 0);
    ASSERT_TRUE(same_range(r, {out, x}));
    ASSERT_TRUE(six || !(r.low.u8[2] | r.low.u8[3] | r.high.u8[2] | r.high.u8[3]));  // the mark anew
    // Host form: IPv6 bytes reversed; IPv4 keeps the mark, word 3 a host integer.
    const int32_t rc = six && a.u8[14] == 0xbf && a.u8[15] == 0xff ? -3 : 0;
    ASSERT_EQ(ruvo_l3_addr_ntoh(&a, &h), rc);
    for (int j = 0; j < 16 && six; ++j) ASSERT_EQ(h.u8[j], a.u8[15 - j]);
    ASSERT_TRUE(six || (h.u8[0] == 0xff && h.u8[1] == 0xbf && !h.u32[1] && !h.u32[2] && h.u32[3] == uint32_t(v)));
    ASSERT_EQ(ruvo_l3_addr_ntoh2(&(y = a)), rc);
    ASSERT_TRUE(six ? same(&y, &h) : same(&y.u32[1], &a.u32[1], 8) && same(&y.u32[3], &h.u32[3], 4));
    ASSERT_EQ(ruvo_l3_addr_ntoh(&(x = a), &x), rc);
    ASSERT_TRUE(same(&x, &h));
  }
}

TEST(L3Ranges, SortOrdersLowsLikeStdSortAndMovesWholeRanges) {
  const auto asc = [](const Range &a, const Range &b) { return key(a.low) < key(b.low); };
  const auto bytes = [](const Range &a, const Range &b) { return std::memcmp(&a, &b, sizeof a) < 0; };
  for (int shape = 0; shape < 4; ++shape) {  // random, ascending, descending, all lows equal
    for (uint32_t n : {0u, 1u, 2u, 3u, 17u, 300u}) {
      std::vector<Range> rs(n);
      for (Range &r : rs) r = {shape == 3 && n > 1 ? rs[0].low : random_addr(below(2)), random_addr(below(2))};
      if (shape == 1 || shape == 2) std::sort(rs.begin(), rs.end(), asc);
      if (shape == 2) std::reverse(rs.begin(), rs.end());
      for (int32_t order : {0, 1, 2, -1}) {  // others leave the array as it is
        std::vector<Range> got = rs, want = rs;
        ASSERT_EQ(ruvo_l3_range_sort(got.data(), n, order), 0);
        if (order == 0 || order == 1) std::stable_sort(want.begin(), want.end(), asc);
        if (order == 1) std::reverse(want.begin(), want.end());
        for (uint32_t i = 0; i < n; ++i) ASSERT_TRUE(key(got[i].low) == key(want[i].low)) << shape << n << order;
        ASSERT_TRUE((order == 0 || order == 1) || same(got.data(), rs.data(), n * sizeof(Range))) << order;
        std::sort(got.begin(), got.end(), bytes), std::sort(want.begin(), want.end(), bytes);
        ASSERT_TRUE(same(got.data(), want.data(), n * sizeof(Range)));
      }
    }
  }
  std::vector<Range> big(100000);  // reverse-sorted, IPv6 first
  for (uint32_t i = 0; i < big.size(); ++i) big[i].low = big[i].high = make(i < 50000, big.size() - i);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(ruvo_l3_range_sort(big.data(), uint32_t(big.size()), 0), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_TRUE(std::is_sorted(big.begin(), big.end(), asc) && !is6(big[0].low));
}

// Disjoint ascending ranges, IPv4 then IPv6, some touching; each boundary and
// its outer neighbour is a probe, and so are a few random addresses.
TEST(L3Ranges, SearchesAndRangeTestsAgreeWithLinearScan) {
  const auto holdable = [](bool six, u128 v) { return !six || (v >> 112 != 0xffbf && (v & 0xffff) != 0xbfff); };
  for (int trial = 0; trial < 300; ++trial) {
    std::vector<Range> rs;
    std::vector<Addr> probes;
    for (bool six : {false, true}) {
      const int bits = six ? (below(2) ? 126 : 60) : 28;
      for (u128 at = r128(int(below(bits))), n = below(3) ? below(30) : 0; n > 0; --n) {
        const u128 lo = at + (below(4) ? r128(int(below(bits))) : 0), hi = lo + r128(int(below(bits)));
        if (lo < at || hi < lo || hi > top(six)) break;
        if (holdable(six, lo) && holdable(six, hi)) rs.push_back({dirty(make(six, lo)), dirty(make(six, hi))});
        for (u128 q : {lo - 1, lo, hi, hi + 1, lo + r128(int(below(bits)))})
          if (holdable(six, q) && q <= top(six)) probes.push_back(dirty(make(six, q)));
        if (hi == top(six)) break;
        at = hi + 1;
      }
    }
    std::vector<Range> host(rs);
    for (Range &r : host) ASSERT_EQ(ruvo_l3_addr_ntoh(&r.low, &r.low) + ruvo_l3_addr_ntoh2(&r.high), 0);
    for (const Addr &q : probes) {
      Addr hq;
      ASSERT_EQ(ruvo_l3_addr_ntoh(&q, &hq), 0);
      for (int32_t n : {int32_t(rs.size()), int32_t(below(rs.size() + 1))}) {
        bool hit = false;
        for (int32_t i = 0; i < n; ++i)
          hit |= is6(q) == is6(rs[i].low) && val(rs[i].low) <= val(q) && val(q) <= val(rs[i].high);
        ASSERT_EQ(ruvo_l3_net_addr_binary_search(&q, rs.data(), n), int(hit)) << S(q) << " in " << n;
        ASSERT_EQ(ruvo_l3_addr_binary_search(&hq, host.data(), n), int(hit)) << S(q) << " in " << n;
      }
      for (const Range &r : rs) {
        const int want = is6(q) != is6(r.low) ? -2 : val(q) < val(r.low) ? -1 : int(val(q) > val(r.high));
        ASSERT_EQ(ruvo_l3_addr_in_range(&q, &r), want) << S(q);
        ASSERT_EQ(ruvo_l3_addr_in_range2(&q, &r.low, &r.high), want) << S(q);
      }
    }
  }
}

// ---- edge cases, one row each ----

// Calls `f` with each text turned into its record (IPv4 with junk where
// nothing may read); other arguments go as they are.
template <class T> auto arg(T v, Addr *slot) {
  if constexpr (std::is_same_v<T, const char *>) return &(*slot = dirty(A(v)));
  else return v;
}
template <class F, class... T> int32_t on(F f, T... v) {
  Addr slots[sizeof...(T)];
  const auto call = [&]<size_t... I>(std::index_sequence<I...>) { return f(arg(v, &slots[I])...); };
  return call(std::index_sequence_for<T...>{});
}
// The result of an in-place call, and the address after it.
std::string after(int32_t (*f)(Addr *) noexcept, const char *text) {
  Addr a = dirty(A(text));
  const int32_t rc = f(&a);
  return std::to_string(rc) + " " + S(a);
}

TEST(L3Edge, AddressOperationsFollowTheirTables) {
  const auto inc = ruvo_l3_addr_inc, dec = ruvo_l3_addr_dec, C = ruvo_l3_ipv4_to_ipv6_compatible,
             M = ruvo_l3_ipv4_to_ipv6_mapping, X = ruvo_l3_ipv6_to_ipv4_special;
  const std::pair<std::string, std::string> steps[] = {
      {after(inc, kTop6), "-1 " + std::string(kTop6)}, {after(dec, "::"), "-1 ::"},
      {after(C, "1.2.3.4"), "0 ::1.2.3.4"}, {after(M, "1.2.3.4"), "0 ::ffff:1.2.3.4"}, {after(C, "::1"), "-1 ::1"},
      {after(M, "::1"), "-1 ::1"}, {after(X, "::ffff:1.2.3.4"), "0 1.2.3.4"}, {after(X, "::1.2.3.4"), "0 1.2.3.4"},
      {after(X, "::"), "0 0.0.0.0"}, {after(X, "::1"), "-1 ::1"}, {after(X, "1.2.3.4"), "-1 1.2.3.4"},
      {after(X, "::fffe:1.2.3.4"), "-1 ::fffe:102:304"}, {after(X, "1::1.2.3.4"), "-1 1::102:304"}};
  for (const auto &[got, want] : steps) EXPECT_EQ(got, want);
  Addr mapped = A("::ffff:1.2.3.4"), four = A("1.2.3.4");  // words 1 and 2 keep what they held
  ASSERT_EQ(X(&mapped), 0);
  EXPECT_TRUE(ruvo_l3_addr_cmp(&mapped, &four) == 0 && mapped.u8[10] == 0xff && mapped.u8[11] == 0xff);
  const auto Z = ruvo_l3_is_addr_zero, F = ruvo_l3_is_addr_all_set, CP = ruvo_l3_is_ipv6_addr_compatible,
             MP = ruvo_l3_is_ipv6_addr_mapping;
  const auto meq = ruvo_l3_ipv4_addr_mask_equal;
  const auto set = [](const Addr *l, const Addr *h) {  // writes only on success
    Range r, was;
    std::memset(&r, 0xa5, sizeof r), was = r;
    const int32_t rc = ruvo_l3_set_range(&r, l, h);
    EXPECT_TRUE(rc ? same(&r, &was, sizeof r) : same(&r.low, l) && same(&r.high, h)) << S(*l) << " " << S(*h);
    return rc;
  };
  const auto span = [](const Addr *a, const Addr *m) { Range r; return ruvo_l3_get_range_from_mask(&r, a, m); };
  const std::pair<int32_t, int32_t> rows[] = {
      {on(Z, "0.0.0.0"), 1}, {on(Z, "0.0.0.1"), 0}, {on(Z, "::"), 1}, {on(Z, "::1"), 0}, {on(Z, "8000::"), 0},
      {on(Z, "0:0:0:1::"), 0}, {on(F, kTop4), 1}, {on(F, "255.255.255.254"), 0}, {on(F, kTop6), 1},
      {on(F, "7fff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"), 0}, {on(F, "ffff:ffff:ffff:ffff:ffff:ffff:fffe:ffff"), 0},
      {on(CP, "::"), 1}, {on(CP, "::1"), 0}, {on(CP, "::2"), 1}, {on(CP, "::1.0.0.0"), 1}, {on(CP, "::1:0:0"), 0},
      {on(CP, "::ffff:1.2.3.4"), 0}, {on(CP, "1::1.2.3.4"), 0}, {on(CP, "1.2.3.4"), 0}, {on(MP, "::ffff:1.2.3.4"), 1},
      {on(MP, "::fffe:1.2.3.4"), 0}, {on(MP, "::7fff:1.2.3.4"), 0}, {on(MP, "::1:ffff:1.2.3.4"), 0},
      {on(MP, "1::ffff:1.2.3.4"), 0}, {on(MP, "1.2.3.4"), 0}, {on(ruvo_l3_get_ipv4_mask, -1, "::"), -4},
      {on(ruvo_l3_get_ipv4_mask, 33, "::"), -4}, {on(ruvo_l3_get_ipv6_mask, -1, "::"), -6},
      {on(ruvo_l3_get_ipv6_mask, 129, "::"), -6}, {on(ruvo_l3_is_addr_close_to, kTop6, "::"), 0},
      {on(ruvo_l3_addr_prefix_equal, "1.2.3.4", "::1.2.3.4", 8u), 0},
      {on(meq, "10.1.0.0", "10.1.0.0", "255.0.255.0"), 0}, {on(meq, "10.1.0.0", "10.1.0.0", "ffff::"), 0},
      {on(meq, "10.1.0.0", "::a01:0", "255.0.0.0"), 0}, {on(ruvo_l3_addr_in_range2, "1.2.3.4", "::", "1.2.3.5"), -2},
      {on(ruvo_l3_addr_in_range2, "1.2.3.4", "1.2.3.0", "::"), -2}, {on(set, "1.2.3.4", "1.2.3.5"), 0},
      {on(set, "1.2.3.4", "1.2.3.4"), 0}, {on(set, "1.2.3.5", "1.2.3.4"), -2}, {on(set, "::1:0:0", "::ffff:ffff"), -2},
      {on(set, "1.2.3.4", "::1"), -1}, {on(set, "::1", "1.2.3.4"), -1}, {on(span, "1.2.3.4", "ffff:0:ffff::"), -10},
      {on(span, "1.2.3.4", "255.0.255.0"), -10}, {on(span, "1.2.3.4", "ffff::"), -9},
      {on(span, "::1", "255.0.0.0"), -9}};
  for (size_t i = 0; i < std::size(rows); ++i) EXPECT_EQ(rows[i].first, rows[i].second) << "row " << i;
  for (uint8_t fam : {2, 23, 0}) {  // family 2 is IPv4, any other IPv6: a whole record each time
    Addr zero = dirty(make(false, 5)), one = zero, z = make(fam != 2, 0), o = make(fam != 2, top(fam != 2));
    ruvo_l3_gen_addr_all_zero_one(&zero, fam, 0), ruvo_l3_gen_addr_all_zero_one(&one, fam, 7);
    EXPECT_TRUE(same(&zero, &z) && same(&one, &o)) << int(fam);
  }
  const Range mixed{A("1.2.3.0"), A("::1")}, r{A("1.2.3.4"), A("1.2.3.9")}, d{dirty(r.low), dirty(r.high)};
  EXPECT_NE(ruvo_l3_addr_in_range(&four, &mixed), -2);  // only the low end's family counts
  const Range e{r.low, r.low}, f{r.high, r.high};  // equal, then each end alone differing
  EXPECT_EQ(ruvo_l3_is_range_equal(&r, &d) * 10 + ruvo_l3_is_range_equal(&r, &e) + ruvo_l3_is_range_equal(&d, &f), 10);
  for (const auto &[a, m] : {std::pair{"10.1.2.3", "255.0.255.0"}, {"10.1.2.3", "ffff::"}, {"::1", "255.0.0.0"}}) {
    Addr x = A(a), y = A(m), out = four;
    EXPECT_TRUE(!ruvo_l3_addr_and_mask(&x, &y, &out) && !ruvo_l3_addr_or_not_mask(&x, &y, &out)) << a << " " << m;
    EXPECT_TRUE(same(&out, &four)) << a << " " << m;
  }
}

TEST(L3Edge, TextFormsFollowTheirTables) {
  const std::pair<const char *, const char *> good[] = {  // text, then as printed and its family
      {"001.002.003.004", "1.2.3.4 2"}, {"1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0 23"}, {"::0001.2.3.4", "::1.2.3.4 23"},
      {"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1 23"}, {"::ffff:102:304", "::ffff:1.2.3.4 23"},
      {"::1:2", "::0.1.0.2 23"}, {"ffbe::", "ffbe:: 23"}};
  for (const auto &[text, want] : good) EXPECT_EQ(S(A(text)) + " " + std::to_string(ruvo_l3_string_type(text)), want);
  for (const char *text : {"1.2.3", "1.2.3.4.5", "1.2.3.4.", "1..2.3", "256.1.1.1", "", " 1.2.3.4", "1.2.3.4 ",
                           "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9", "1:2:3:4:5:6:7:8:9:0", ":1::", "1:", "1::2::3", "00001::", "ffbf::",
                           "1:2:3:4:5:6:7:8::", "::1.2.3", "1:2:3:4:5:6:7:1.2.3.4", "::1.2.3.4:5", "g::", ":::"}) {
    Addr a = A("9.9.9.9"), m = a;
    const auto t = exact(text);
    EXPECT_EQ(ruvo_l3_string_to_addr(t.get(), &a) + ruvo_l3_string_to_mask(t.get(), &m), -2) << text;
    EXPECT_EQ(S(a) + S(m) + std::to_string(ruvo_l3_string_type(exact(text).get())), "9.9.9.99.9.9.924") << text;
  }
  // A size of the text's length fails and leaves the buffer; one more fits.
  for (const char *text : {kTop4, "1:2:3:4:5:6:7:8", "::ffff:1.2.3.4", "1.2.3.4-1.2.3.9", "::1-ffff::"}) {
    Range r;
    const bool range = ruvo_l3_string_to_range(text, &r) >= 7;
    const uint32_t len = uint32_t(std::strlen(text));
    for (uint32_t size = 0; size <= len + 1; ++size) {
      char a[64], b[64];
      std::memset(a, '#', sizeof a), std::memset(b, '#', sizeof b);
      const int32_t want = size > len ? int32_t(len) : -1;
      EXPECT_EQ(range ? ruvo_l3_range_to_string(&r, a, size) : ruvo_l3_addr_to_string(&r.low, a, size), want) << text;
      EXPECT_EQ(range ? want : ruvo_l3_mask_to_string(&r.low, b, size), want) << text;
      EXPECT_EQ(std::string(a, len + 1), want < 0 ? std::string(len + 1, '#') : text + std::string(1, '\0'));
      EXPECT_TRUE(range || same(a, b, sizeof a)) << text;
    }
  }
  const std::string long_text = "10.0.0.1/24" + std::string(116, ' ');  // 127 bytes fit; 128 do not
  const std::pair<std::string, std::string> masks[] = {
      {"10.0.0.1/24", "255.255.255.0"}, {"nonsense/255.255.0.0", "255.255.0.0"}, {"10.0.0.1/ffff::", "ffff::"},
      {" 10.0.0.1 / 32 ", kTop4}, {"10.0.0.1/0", "0.0.0.0"}, {"::1/128", kTop6}, {"::1/0", "::"},
      {long_text, "255.255.255.0"}, {long_text + " ", "-2"}, {"10.0.0.1", "-1"}, {"10.0.0.1-10.0.0.2", "-1"},
      {"10.0.0.1/255.0.255.0", "-2"}, {"10.0.0.1/1.2.3", "-2"}, {"nonsense/24", "-3"}, {"10.0.0.1/33", "-4"},
      {"10.0.0.1/-1", "-4"}, {"10.0.0.1/2x", "-4"}, {"nonsense/x", "-4"}, {"10.0.0.1/4294967297", "-4"},
      {"::1/129", "-6"}, {"::1/4294967297", "-6"}, {"", "-1"}, {"10.0.0.1/:", "-2"}};
  for (const auto &[text, want] : masks) {
    Addr out{};
    const int32_t rc = ruvo_l3_get_string_mask(exact(text).get(), &out);
    EXPECT_EQ(rc ? std::to_string(rc) : S(out), want) << text;
  }
  // The result, then the bytes stored: all six, or those read before the failure.
  const std::pair<const char *, const char *> macs[] = {
      {"00:1A:2b:3c:4D:5e", "0 001a2b3c4d5e"}, {"00-1a-2b-3c-4d-5exyz", "0 001a2b3c4d5e"},
      {"00:1a:2b:3c:4d:5e:ff", "0 001a2b3c4d5e"}, {"00:1a-2b:3c:4d:5e", "-1 001aeeeeeeee"},
      {"001a2b3c4d5e", "-1 00eeeeeeeeee"}, {"0:1:2:3:4:5", "-1 eeeeeeeeeeee"}, {"", "-1 eeeeeeeeeeee"},
      {"00:1a:2b:3c:4d:", "-1 001a2b3c4dee"}, {"00:1a:2b:3c:4d:5", "-1 001a2b3c4dee"},
      {"00:1g:2b:3c:4d:5e", "-1 00eeeeeeeeee"}, {"00.1a.2b.3c.4d.5e", "-1 00eeeeeeeeee"},
      {"00::1a:2b:3c:4d", "-1 00eeeeeeeeee"}};
  for (const auto &[text, want] : macs) {
    uint8_t mac[6];
    std::memset(mac, 0xee, sizeof mac);
    std::string got = std::to_string(ruvo_string_to_macaddr(exact(text).get(), mac)) + " ";
    for (uint8_t byte : mac) got += "0123456789abcdef"[byte >> 4], got += "0123456789abcdef"[byte & 15];
    EXPECT_EQ(got, want) << text;
  }
}

TEST(L3Edge, RangeTextsAndFoldingFollowTheirTables) {
  const std::string long_text = "10.1.2.3/24" + std::string(116, ' ');
  const std::pair<std::string, std::string> rows[] = {
      {"10.1.2.3/24", "3 10.1.2.0-10.1.2.255"}, {"10.1.2.3/0", "3 0.0.0.0-255.255.255.255"},
      {"10.1.2.3/32", "3 10.1.2.3-10.1.2.3"}, {long_text, "3 10.1.2.0-10.1.2.255"},
      {"2001:db8::1/126", "4 2001:db8::-2001:db8::3"}, {"::1/128", "4 ::1-::1"},
      {"::1/0", "4 ::-" + std::string(kTop6)}, {"10.1.2.3/255.255.0.0", "5 10.1.0.0-10.1.255.255"},
      {"::1/ffff::", "6 ::-0:ffff:ffff:ffff:ffff:ffff:ffff:ffff"}, {"1.2.3.4 - 1.2.3.9", "7 1.2.3.4-1.2.3.9"},
      {"1.2.3.4-1.2.3.4", "7 1.2.3.4-1.2.3.4"}, {"::1-::2", "8 ::1-::2"}, {"1.2.3.4", "1 1.2.3.4-1.2.3.4"},
      {" ::1 ", "2 ::1-::1"}, {long_text + " ", "-1"}, {"10.1.2.3/33", "-6"}, {"10.1.2.3/-1", "-6"},
      {"10.1.2.3/4294967297", "-6"}, {"10.1.2.3/2x", "-6"}, {"nonsense/x", "-6"}, {"::1/129", "-6"},
      {"nonsense/24", "-7"}, {"1.2.3.4-1.2.3.5/24", "-7"}, {"10.1.2.3/255.0.255.0", "-10"},
      {"10.1.2.3/ffff:0:ffff::", "-10"}, {"10.1.2.3/ffff::", "-9"}, {"::1/255.255.0.0", "-9"},
      {"nonsense/255.255.0.0", "-8"}, {"10.1.2.3/1.2.3", "-8"}, {"10.1.2.3/:", "-8"},
      {"1.2.3.4-1.2.3.1", "-5"}, {"::2-::1", "-5"}, {"1.2.3.4-::1", "-4"}, {"::1-1.2.3.4", "-4"},
      {"1.2.3.4-x", "-3"}, {"x-1.2.3.4", "-3"}, {"x", "-3"}, {"", "-3"}};
  for (const auto &[text, want] : rows) {
    Range r, was;
    std::memset(&r, 0xa5, sizeof r), was = r;
    const int32_t rc = ruvo_l3_string_to_range(exact(text).get(), &r);
    EXPECT_EQ(std::to_string(rc) + (rc > 0 ? " " + S(r.low) + "-" + S(r.high) : ""), want) << text;
    EXPECT_TRUE(rc > 0 || same(&r, &was, sizeof r)) << text << ": touched on failure";
    const bool kept = same(&r.low.u32[1], &was.low.u32[1], 8) && same(&r.high.u32[1], &was.high.u32[1], 8);
    EXPECT_TRUE(rc != 3 || kept) << text << ": IPv4 words 1 and 2 written";
  }
  const std::pair<const char *, const char *> trims[] = {  // bad ranges are found before anything moves
      {"1.1.1.5-1.1.1.9,1.1.1.1-1.1.1.3,1.1.1.4-1.1.1.4", "1.1.1.1-1.1.1.9"},
      {"::2-::3,0.0.0.0-0.0.0.0,::-::1", "0.0.0.0-0.0.0.0,::-::3"},
      {"1.1.1.1-1.1.1.3,1.1.1.5-::1,1.1.1.4-1.1.1.4", "-1"}, {"1.1.1.3-1.1.1.1,1.1.1.5-1.1.1.7", "-2"},
      {"1.1.1.5-1.1.1.7,1.1.1.9-1.1.1.8", "-2"}};
  for (const auto &[in, out] : trims) {
    std::vector<Range> rs = ranges_of(in), want = *out == '-' ? rs : ranges_of(out);
    uint32_t n = uint32_t(rs.size());
    ASSERT_EQ(ruvo_l3_range_trim(rs.data(), &n), *out == '-' ? std::atoi(out) : 0) << in;
    ASSERT_EQ(n, want.size()) << in;
    for (uint32_t i = 0; i < n; ++i)
      EXPECT_TRUE(*out == '-' ? same(&rs[i], &want[i], 32) : same_range(rs[i], want[i])) << in;
  }
}

// Each row is the sum of calls that share a code, one null argument each.
TEST(L3Edge, NullArgumentsGiveTheirCodes) {
  Addr a = A("1.2.3.4"), m = A("255.0.0.0"), *o = nullptr;
  Range r{a, a}, *no = nullptr;
  uint32_t n = 1, p = 0, *np = nullptr;
  char buf[64], *s = nullptr;
  uint8_t mac[6];
  const int64_t rows[][2] = {
      {ruvo_l3_addr_cmp(o, &a) + ruvo_l3_addr_cmp(&a, o), -4},
      {ruvo_l3_addr_inc(o) + ruvo_l3_addr_dec(o) + ruvo_l3_addr_in_range(o, &r) + ruvo_l3_addr_in_range(&a, no), -12},
      {ruvo_l3_addr_in_range2(o, &a, &a) + ruvo_l3_addr_in_range2(&a, o, &a) + ruvo_l3_addr_in_range2(&a, &a, o), -9},
      {ruvo_l3_is_addr_close_to(o, &a) + ruvo_l3_is_addr_close_to(&a, o), -2},
      {ruvo_l3_addr_prefix_equal(o, &a, 8) + ruvo_l3_addr_prefix_equal(&a, o, 8) + ruvo_l3_is_mask_valid(o), 0},
      {ruvo_l3_ipv4_addr_mask_equal(o, &a, &m) + ruvo_l3_ipv4_addr_mask_equal(&a, o, &m), 0},
      {ruvo_l3_ipv4_addr_mask_equal(&a, &a, o) + ruvo_l3_is_addr_zero(o) + ruvo_l3_is_addr_all_set(o), 0},
      {!!ruvo_l3_addr_and_mask(o, &m, &a) + !!ruvo_l3_addr_and_mask(&a, o, &a) + !!ruvo_l3_addr_and_mask(&a, &m, o), 0},
      {!!ruvo_l3_addr_or_not_mask(o, &m, &a) + !!ruvo_l3_addr_or_not_mask(&a, o, &a), 0},
      {!!ruvo_l3_addr_or_not_mask(&a, &m, o) + ruvo_l3_is_ipv6_addr_compatible(o), 0},
      {ruvo_l3_get_mask_prefix(o, &p) + ruvo_l3_get_mask_prefix(&m, np) + ruvo_l3_get_ipv4_mask(8, o), -3},
      {ruvo_l3_get_ipv6_mask(8, o) + ruvo_l3_ipv4_to_ipv6_compatible(o) + ruvo_l3_ipv4_to_ipv6_mapping(o), -3},
      {ruvo_l3_is_ipv6_addr_mapping(o) + ruvo_l3_is_range_equal(no, &r) + ruvo_l3_is_range_equal(&r, no), 0},
      {ruvo_l3_ipv6_to_ipv4_special(o) + ruvo_l3_addr_ntoh(o, &a) + ruvo_l3_addr_ntoh(&m, o), -3},
      {ruvo_l3_addr_ntoh2(o) + ruvo_l3_string_to_mask("255.0.0.0", o), -2},
      {ruvo_l3_string_to_addr(s, &a) + ruvo_l3_string_to_addr("1.2.3.4", o) + ruvo_l3_string_to_mask(s, &a), -3},
      {ruvo_l3_addr_to_string(o, buf, 64) + ruvo_l3_addr_to_string(&a, s, 64), -2},
      {ruvo_l3_mask_to_string(o, buf, 64) + ruvo_l3_mask_to_string(&m, s, 64) + ruvo_string_to_macaddr(s, mac), -3},
      {ruvo_string_to_macaddr("00:1a:2b:3c:4d:5e", nullptr) + ruvo_l3_string_to_range(s, &r), -2},
      {ruvo_l3_string_type(s), RUVO_L3_AF_NONE},
      {ruvo_l3_get_string_mask(s, &a) + ruvo_l3_get_string_mask("1.2.3.4/8", o), -10},
      {ruvo_l3_set_range(no, &a, &a) + ruvo_l3_set_range(&r, o, &a) + ruvo_l3_set_range(&r, &a, o), -3},
      {ruvo_l3_get_range_from_mask(no, &a, &m) + ruvo_l3_get_range_from_mask(&r, o, &m), -20},
      {ruvo_l3_get_range_from_mask(&r, &a, o) + ruvo_l3_string_to_range("1.2.3.4", no), -11},
      {ruvo_l3_range_to_string(no, buf, 64) + ruvo_l3_range_to_string(&r, s, 64) + ruvo_l3_range_sort(no, 5, 0), -3},
      {ruvo_l3_range_trim(no, &n) + ruvo_l3_range_trim(&r, np) + ruvo_l3_range_sort(&r, 0, 0), -2},
      {ruvo_l3_net_addr_binary_search(o, &r, 1) + ruvo_l3_net_addr_binary_search(&a, no, 1), 0},
      {ruvo_l3_addr_binary_search(o, &r, 1) + ruvo_l3_addr_binary_search(&a, no, 1), 0},
      {ruvo_l3_net_addr_binary_search(&a, &r, -1) + ruvo_l3_addr_binary_search(&a, &r, -1), 0},
      {ruvo_l3_net_addr_binary_search(&a, &r, 1), 1}};
  for (size_t i = 0; i < std::size(rows); ++i) EXPECT_EQ(rows[i][0], rows[i][1]) << "row " << i;
  EXPECT_EQ(ruvo_l3_range_trim(&r, &(n = 0)), 0);  // nothing to fold
  EXPECT_EQ(n, 0u);
  ruvo_l3_gen_addr_all_zero_one(o, 2, 1);
}

TEST(L3Edge, PrintingWritesTheTextOrInvalid) {
  const Addr a = A("::ffff:1.2.3.4"), m = A("255.255.0.0");
  testing::internal::CaptureStdout();
  ruvo_l3_print_addr(&a), ruvo_l3_print_addr(nullptr), ruvo_l3_print_mask(&m), ruvo_l3_print_mask(nullptr);
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "::ffff:1.2.3.4Invalid L3 Address255.255.0.0Invalid L3 Address");
}

}  // namespace
