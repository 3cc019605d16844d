// L3 addresses through the exported calls, against independent oracles:
// glibc's inet_pton and inet_ntop for text; Python's ipaddress for masks,
// networks and folding (data/l3_vectors.txt, by data/l3_vectors.py, with its
// edge texts); 128-bit integers, std::sort and linear scans for the rest.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
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
std::vector<char> exact(const std::string &t) { return {t.c_str(), t.c_str() + t.size() + 1}; }
Addr A(const std::string &text) {
  Addr a{};
  EXPECT_EQ(ruvo_l3_string_to_addr(exact(text).data(), &a), 0) << text;
  return a;
}
std::string S(const Addr &a) {
  char b[64];
  const int32_t n = ruvo_l3_addr_to_string(&a, b, sizeof b);
  return n < 0 ? "(-1)" : std::string(b, size_t(n));
}
// A result code, then what the call wrote when that is worth a look.
std::string said(int32_t rc, bool wrote, const std::string &s) { return std::to_string(rc) + (wrote ? " " + s : ""); }
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

// Texts at the edges of the grammar go first; glibc judges them like the rest.
const char *const kEdgeTexts[] = {
    "001.002.003.004", "::0001.2.3.4", "1:2:3:4:5:6:7::", "ffbf::", "1:2:3:4:5:6:7", ":1::", ":::", "::1.2.3.4:5",
    "1:2:3:4:5:6:7:8:9", "1:2:3:4:5:6:7:8:9:0", "1::2::3", "00001::", "1:2:3:4:5:6:7:8::", "1:2:3:4:5:6:7:1.2.3.4"};

TEST(L3Text, ParsingAndPrintingAgreeWithGlibc) {
  if (!ruvo_test::kHaveInetOracle) GTEST_SKIP() << "no inet_pton and inet_ntop to compare with on Windows";
  for (size_t i = 0; i < 60000; ++i) {
    const bool six = below(3) != 0;
    const Addr a = make(six, val(random_addr(six)));
    char want[64], got[64], small[64] = "#";
    ASSERT_NE(ruvo_test::inet_ntop_ref(six, six ? a.u8 : a.u8 + 12, want, sizeof want), nullptr);
    // The terminator just fits; one byte less fails and leaves the buffer.
    const uint32_t len = uint32_t(std::strlen(want));
    ASSERT_EQ(ruvo_l3_addr_to_string(&a, got, len + 1), int32_t(len)) << want;
    ASSERT_STREQ(got, want);
    ASSERT_TRUE(ruvo_l3_mask_to_string(&a, small, len) == -1 && small[0] == '#') << want;
    // What glibc refuses is refused, and so is IPv6 beginning ff bf, which no record holds.
    const std::string t = i < std::size(kEdgeTexts) ? kEdgeTexts[i] : below(4) ? respell(a) : want;
    const bool colon = t.find(':') != npos;
    uint8_t b[16];
    Addr expect = make(colon, 0), out, before;
    std::memset(&out, 0xa5, sizeof out), before = out;
    const bool ok = ruvo_test::inet_pton_ref(colon, glibc_spelling(t).c_str(), b) == 1 &&
                    !(colon && b[0] == 0xff && b[1] == 0xbf);
    std::memcpy(colon ? expect.u8 : expect.u8 + 12, b, colon ? 16 : 4);
    ASSERT_EQ(ruvo_l3_string_to_addr(exact(t).data(), &out), ok ? 0 : -1) << t;
    ASSERT_TRUE(same(&out, ok ? &expect : &before)) << t << " gave " << S(out);
    ASSERT_EQ(ruvo_l3_string_type(exact(t).data()), ok ? colon ? RUVO_L3_AF_IPV6 : RUVO_L3_AF_IPV4 : RUVO_L3_AF_NONE);
  }
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
    if (f >> kind; kind == "valid" && f >> text >> p) {
      const Addr a = dirty(A(text));
      EXPECT_EQ(ruvo_l3_is_mask_valid(&a), p >= 0) << line;
      EXPECT_EQ(ruvo_l3_get_mask_prefix(&a, &got) + int(p >= 0 ? got : 0), p) << line;  // -1 when no mask
      EXPECT_EQ(ruvo_l3_string_to_mask(exact(text).data(), &m), p >= 0 ? 0 : -1) << line;
      EXPECT_TRUE(same(&m, p >= 0 ? &(pattern = A(text)) : &pattern)) << line;
    } else if (kind == "net" && f >> text >> lo >> hi) {
      const Addr a = dirty(A(text.substr(0, text.find('/'))));
      const int form = (text.find_first_of(".:", text.find('/')) != npos ? 5 : 3) + is6(a);
      Range r, back;
      ASSERT_EQ(ruvo_l3_string_to_range(exact(text).data(), &r), form) << line;
      ASSERT_EQ(ruvo_l3_get_string_mask(exact(text).data(), &m), 0) << line;
      ASSERT_EQ(ruvo_l3_get_range_from_mask(&back, &a, &m), 0) << line;
      EXPECT_TRUE(same_range(r, {A(lo), A(hi)}) && same_range(back, r)) << line;
    } else if (kind == "edge" && std::getline(f.ignore(), lo, '\t') && std::getline(f, hi, '\t')) {
      std::getline(f, text);  // then the mask's result and the range's
      Range r, was;
      std::memset(&r, 0xa5, sizeof r), was = r;
      const int32_t mask_rc = ruvo_l3_get_string_mask(exact(text).data(), &m);
      const int32_t rc = ruvo_l3_string_to_range(exact(text).data(), &r);
      EXPECT_EQ(said(mask_rc, mask_rc == 0, S(m)), lo) << line;
      EXPECT_EQ(said(rc, rc > 0, S(r.low) + "-" + S(r.high)), hi) << line;
      const bool kept = same(&r.low.u32[1], &was.low.u32[1], 8) && same(&r.high.u32[1], &was.high.u32[1], 8);
      EXPECT_TRUE(rc > 0 ? rc != 3 || kept : same(&r, &was, sizeof r)) << line;  // IPv4 /n writes words 0 and 3
    } else if (kind == "mac" && std::getline(f.ignore(), lo, '\t')) {
      std::getline(f, text);  // the result, then the bytes stored
      uint8_t mac[6] = {0xee, 0xee, 0xee, 0xee, 0xee, 0xee};
      const int32_t rc = ruvo_string_to_macaddr(exact(text).data(), mac);
      std::string bytes;
      for (uint8_t byte : mac) bytes += "0123456789abcdef"[byte >> 4], bytes += "0123456789abcdef"[byte & 15];
      EXPECT_EQ(said(rc, true, bytes), lo) << line;
    } else if (kind == "trim" && f >> lo >> hi) {
      std::vector<Range> rs = ranges_of(lo), want = ranges_of(hi);
      uint32_t n = uint32_t(rs.size());
      ASSERT_EQ(ruvo_l3_range_trim(rs.data(), &n), 0) << line;
      ASSERT_EQ(n, want.size()) << line;
      for (uint32_t i = 0; i < n; ++i) {
        std::string buf(100, '#');  // no zero in it but the terminator the call writes
        Range back{};
        const std::string text = S(want[i].low) + "-" + S(want[i].high);  // texts are as unique as ranges
        const uint32_t len = uint32_t(text.size());  // one byte short of the terminator fails untouched
        ASSERT_TRUE(ruvo_l3_range_to_string(&rs[i], buf.data(), len) == -1 && buf[0] == '#') << text;
        ASSERT_EQ(ruvo_l3_range_to_string(&rs[i], buf.data(), len + 1), int32_t(len)) << line;
        EXPECT_EQ(buf.substr(0, len + 1), text + '\0') << line;
        EXPECT_TRUE(ruvo_l3_string_to_range(buf.data(), &back) == 7 + is6(back.low) && same_range(back, rs[i])) << text;
      }
    }
  }
  EXPECT_GT(cases, 1000);
}

TEST(L3Arith, StepsComparisonsPrefixesMasksAndKindsAgreeWithIntegers) {
  for (int i = 0; i < 40000; ++i) {
    const bool six = below(2);
    const int width = six ? 128 : 32, k = int(below(width)), p = int(below(width + 1));
    const u128 t = top(six), bit = u128(1) << (width - 1 - k), m = p == width ? t : t ^ (t >> p);
    // Now and then an end of the family, where steps stop, or 1, since ::1 is no ::a.b.c.d.
    const Addr a = below(30) ? random_addr(six) : dirty(make(six, below(2) ? t : below(2)));
    const u128 v = val(a);
    if (six && ((v ^ bit) >> 112 == 0xffbf || (v + 1) >> 112 == 0xffbf)) continue;  // no record holds these
    Addr x = a, y = a, out, h, mask = random_addr(!six);
    ASSERT_EQ(ruvo_l3_addr_inc(&x) * 2 + ruvo_l3_addr_dec(&y), (v == t ? -2 : 0) + (v == 0 ? -1 : 0)) << S(a);
    ASSERT_TRUE(v == t ? same(&x, &a) : key(x) == key(make(six, v + 1))) << S(a);
    ASSERT_TRUE(v == 0 ? same(&y, &a) : key(y) == key(make(six, v - 1))) << S(a);
    // Kinds, and the in-place moves between ::a.b.c.d or ::ffff:a.b.c.d and IPv4; word 0 alone changes back.
    const bool compat = six && v >> 32 == 0 && v != 1, mapped = six && v >> 32 == 0xffff;
    ASSERT_EQ(ruvo_l3_is_addr_zero(&a) + 2 * ruvo_l3_is_addr_all_set(&a), (v == 0) + 2 * (v == t)) << S(a);
    ASSERT_EQ(ruvo_l3_is_ipv6_addr_compatible(&a) + 2 * ruvo_l3_is_ipv6_addr_mapping(&a), compat + 2 * mapped);
    Addr cv = a, mv = a, back = a;  // as IPv6 records, keys hold all 16 bytes
    ASSERT_EQ(ruvo_l3_ipv4_to_ipv6_compatible(&cv) + 2 * ruvo_l3_ipv4_to_ipv6_mapping(&mv), six ? -3 : 0);
    ASSERT_TRUE(key(cv) == Key(true, v) && key(mv) == Key(true, six ? v : v | u128(0xffff) << 32)) << S(a);
    ASSERT_EQ(ruvo_l3_ipv6_to_ipv4_special(&back), compat || mapped ? 0 : -1) << S(a);
    ASSERT_TRUE(compat || mapped ? key(back) == Key(false, v & 0xffffffffu) && same(&back.u32[1], &a.u32[1], 8)
                                 : same(&back, &a)) << S(a);
    // A neighbour one above, a bit away, both, itself, or of the other family.
    const uint64_t pick = below(5);
    const Addr b = pick == 4 ? random_addr(!six) : dirty(make(six, (pick & 1 ? v + 1 : v) ^ (pick & 2 ? bit : 0)));
    const int want = pick == 4 ? (six ? 3 : -3) : (val(b) < v) - (v < val(b));
    ASSERT_EQ(ruvo_l3_addr_cmp(&a, &b), want) << S(a) << " " << S(b);
    ASSERT_EQ(ruvo_l3_is_addr_close_to(&a, &b), pick == 4 ? -2 : int(v != t && val(b) == v + 1)) << S(a) << " " << S(b);
    ASSERT_EQ(ruvo_l3_addr_prefix_equal(&a, &b, 0), int(pick != 4));  // across families never equal
    // Equal on the first k bits only; a length past the width gives 0.
    const Addr c = dirty(make(six, v ^ bit));
    for (uint32_t len : {uint32_t(k), uint32_t(k + 1), uint32_t(width + 1), uint32_t(p)})
      ASSERT_EQ(ruvo_l3_addr_prefix_equal(&a, &c, len) * 2 + ruvo_l3_addr_prefix_equal(&a, &a, len),
                (len <= uint32_t(k)) * 2 + (len <= uint32_t(width))) << S(a) << " /" << len;
    const auto get_mask = six ? ruvo_l3_get_ipv6_mask : ruvo_l3_get_ipv4_mask;
    ASSERT_EQ(get_mask(below(2) ? -1 : width + 1, &out), six ? -6 : -4);
    uint32_t got = 999;  // a whole fresh record, whose length reads back
    ASSERT_EQ(get_mask(p, &mask), 0);
    ASSERT_TRUE(same(&mask, &(h = make(six, m))) && !ruvo_l3_get_mask_prefix(&mask, &got) && got == uint32_t(p));
    ASSERT_EQ(ruvo_l3_ipv4_addr_mask_equal(&a, &c, &mask), int(!six && p <= k));
    ASSERT_EQ(ruvo_l3_addr_and_mask(&a, &mask, &out), &out);
    ASSERT_EQ(ruvo_l3_addr_or_not_mask(&(x = a), &mask, &x), &x);  // in place
    ASSERT_TRUE(key(out) == key(make(six, v & m)) && key(x) == key(make(six, v | (t ^ m))));
    Range r;
    // A high end in the FF BF block cannot be held, and the range is refused.
    const auto unholdable = [&](u128 mask_bits) { return six && (v | (t ^ mask_bits)) >> 112 == 0xffbf; };
    ASSERT_EQ(ruvo_l3_get_range_from_mask(&r, &a, &mask), unholdable(m) ? -10 : 0);
    ASSERT_TRUE(unholdable(m) || same_range(r, {out, x}));
    ASSERT_TRUE(six || !(r.low.u8[2] | r.low.u8[3] | r.high.u8[2] | r.high.u8[3]));  // the mark anew
    // The neighbour as a mask: mostly no mask at all, or of the other family; `out` is then untouched.
    const bool fits = pick != 4 && ruvo_l3_is_mask_valid(&b), agree = !six && pick != 4 && !((v ^ val(b)) & m);
    ASSERT_EQ(!!ruvo_l3_addr_and_mask(&a, &b, &(x = b)) + !!ruvo_l3_addr_or_not_mask(&a, &b, &(y = b)), 2 * fits);
    ASSERT_TRUE(fits || (same(&x, &b) && same(&y, &b))) << S(a) << " " << S(b);
    ASSERT_EQ(ruvo_l3_get_range_from_mask(&r, &a, &b),
              !ruvo_l3_is_mask_valid(&b) ? -10 : pick == 4 ? -9 : unholdable(val(b)) ? -10 : 0);
    ASSERT_EQ(ruvo_l3_ipv4_addr_mask_equal(&a, &a, &b) + 2 * ruvo_l3_ipv4_addr_mask_equal(&a, &b, &mask),
              (!six && fits) + 2 * agree) << S(a) << " " << S(b);
    // Family 2 is IPv4, any other IPv6: a whole record each time.
    const Addr gw = make(six, k & 7 ? t : 0);
    ruvo_l3_gen_addr_all_zero_one(&(y = a), six ? uint8_t(below(2) ? 23 : 0) : 2, uint8_t(k & 7));
    ASSERT_TRUE(same(&y, &gw)) << S(a);
    // Host form: IPv6 bytes reversed; IPv4 keeps the mark, word 3 a host integer.
    const int32_t rc = six && a.u8[14] == 0xbf && a.u8[15] == 0xff ? -3 : 0;
    ASSERT_EQ(ruvo_l3_addr_ntoh(&a, &h) * 10 + ruvo_l3_addr_ntoh2(&(y = a)), rc * 11);
    for (int j = 0; j < 16 && six; ++j) ASSERT_EQ(h.u8[j], a.u8[15 - j]);
    ASSERT_TRUE(six || (h.u8[0] == 0xff && h.u8[1] == 0xbf && !h.u32[1] && !h.u32[2] && h.u32[3] == uint32_t(v)));
    ASSERT_TRUE(six ? same(&y, &h) : same(&y.u32[1], &a.u32[1], 8) && same(&y.u32[3], &h.u32[3], 4));
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
        const Range s{q, r.high};  // equal at the high end, and at the low end too when q is r's low
        ASSERT_EQ(ruvo_l3_is_range_equal(&s, &r), int(key(q) == key(r.low))) << S(q);
      }
    }
  }
  const Addr four = A("1.2.3.4"), low = A("1.2.3.0"), one = A("::1");  // between two addresses each end's family counts
  EXPECT_EQ(ruvo_l3_addr_in_range2(&four, &one, &low) + ruvo_l3_addr_in_range2(&four, &low, &one), -4);
}

TEST(L3Edge, BadRangesNullArgumentsAndPrintingFollowTheirTables) {
  // A bad range is found before anything moves.
  for (const auto &[in, code] : {std::pair{"1.1.1.1-1.1.1.3,1.1.1.5-::1,1.1.1.4-1.1.1.4", -1},
                                 {"1.1.1.3-1.1.1.1,1.1.1.5-1.1.1.7", -2}, {"1.1.1.5-1.1.1.7,1.1.1.9-1.1.1.8", -2}}) {
    std::vector<Range> rs = ranges_of(in), was = rs;
    uint32_t n = uint32_t(rs.size());
    EXPECT_EQ(ruvo_l3_range_trim(rs.data(), &n), code) << in;
    EXPECT_TRUE(n == was.size() && same(rs.data(), was.data(), n * sizeof(Range))) << in;
  }
  // Rows sum the codes of calls with one null argument: each function once, the null where it meets every test.
  Addr a = A("1.2.3.4"), m = A("255.0.0.0"), *o = nullptr;
  Range r{a, a}, *no = nullptr;
  uint32_t n = 1, *np = nullptr;
  char *s = nullptr;
  const int64_t nulls[][2] = {
      {ruvo_l3_addr_cmp(&a, o) + ruvo_l3_addr_inc(o) + ruvo_l3_addr_dec(o) + ruvo_l3_addr_in_range(&a, no), -11},
      {ruvo_l3_addr_in_range2(&a, o, &a) + ruvo_l3_is_addr_close_to(&a, o) + ruvo_l3_get_mask_prefix(&m, np), -5},
      {ruvo_l3_get_ipv4_mask(8, o) + ruvo_l3_get_ipv6_mask(8, o) + ruvo_l3_ipv4_to_ipv6_compatible(o), -3},
      {ruvo_l3_ipv4_to_ipv6_mapping(o) + ruvo_l3_ipv6_to_ipv4_special(o) + ruvo_l3_addr_ntoh(&m, o), -3},
      {ruvo_l3_addr_ntoh2(o) + ruvo_l3_string_to_addr(s, &a) + ruvo_l3_string_to_mask(s, &a), -3},
      {ruvo_l3_get_string_mask(s, &a) + ruvo_l3_addr_to_string(&a, s, 64) + ruvo_l3_mask_to_string(&m, s, 64), -7},
      {ruvo_string_to_macaddr(s, a.u8) + ruvo_l3_string_to_range(s, &r) + ruvo_l3_set_range(&r, o, &a), -3},
      {ruvo_l3_get_range_from_mask(&r, o, &m) + ruvo_l3_range_to_string(&r, s, 64), -11},
      {ruvo_l3_range_sort(no, 5, 0) + ruvo_l3_range_trim(no, &n) + ruvo_l3_range_trim(&r, np), -3},
      {ruvo_l3_addr_prefix_equal(&a, o, 8) + ruvo_l3_ipv4_addr_mask_equal(&a, o, &m) + ruvo_l3_is_mask_valid(o), 0},
      {!!ruvo_l3_addr_and_mask(&a, o, &a) + !!ruvo_l3_addr_or_not_mask(&a, o, &a) + ruvo_l3_is_addr_zero(o), 0},
      {ruvo_l3_is_addr_all_set(o) + ruvo_l3_is_ipv6_addr_compatible(o) + ruvo_l3_is_ipv6_addr_mapping(o), 0},
      {ruvo_l3_is_range_equal(&r, no) + ruvo_l3_net_addr_binary_search(&a, no, 1) + ruvo_l3_string_type(s), 24},
      {ruvo_l3_addr_binary_search(&a, no, 1) + ruvo_l3_net_addr_binary_search(&a, &r, -1), 0},
      {ruvo_l3_addr_binary_search(&a, &r, -1), 0}};
  for (size_t i = 0; i < std::size(nulls); ++i) EXPECT_EQ(nulls[i][0], nulls[i][1]) << "row " << i;
  EXPECT_TRUE(ruvo_l3_range_trim(&r, &(n = 0)) == 0 && n == 0);  // nothing to fold
  ruvo_l3_gen_addr_all_zero_one(o, 2, 1);
  testing::internal::CaptureStdout();
  ruvo_l3_print_addr(&a), ruvo_l3_print_addr(o), ruvo_l3_print_mask(&m), ruvo_l3_print_mask(o);
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "1.2.3.4Invalid L3 Address255.0.0.0Invalid L3 Address");
}

}  // namespace
