// Folding and searching arrays of ranges built from untrusted input. Each
// range takes four bytes: a flag (family, neighbourhood, and now and then a
// broken range), a 16-bit offset and a length, so that ranges of one input
// overlap, touch, repeat and sit on word boundaries or at the top. The fold
// must match a sort-and-merge reference on 128-bit integers, refuse a broken
// array before moving anything, and both searches must agree with a linear
// scan of the folded array.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "ruvo/base/l3.h"

namespace {

using Addr = ruvo_l3_addr_st;
using Range = ruvo_l3_range_st;
using u128 = unsigned __int128;

void require(bool ok) {
  if (!ok) std::abort();
}

struct Ref {  // one range as the reference sees it
  bool six;
  u128 low, high;
};

Addr make(bool six, u128 v) {
  Addr a{};
  for (int i = 15; i >= (six ? 0 : 12); --i, v >>= 8) a.u8[i] = uint8_t(v);
  if (!six) a.u8[0] = 0xff, a.u8[1] = 0xbf;
  return a;
}

bool is6(const Addr &a) { return !(a.u8[0] == 0xff && a.u8[1] == 0xbf); }

u128 val(const Addr &a) {
  u128 v = 0;
  for (int i = is6(a) ? 0 : 12; i < 16; ++i) v = v << 8 | a.u8[i];
  return v;
}

u128 top(bool six) { return six ? ~u128(0) : 0xffffffffu; }

// Neither end may begin ff bf (no record holds it) nor end bf ff (its host
// form reads as IPv4).
bool holdable(bool six, u128 v) { return !six || (v >> 112 != 0xffbf && (v & 0xffff) != 0xbfff); }

u128 base(bool six, int which) {
  static const u128 v4[] = {0, 0x0a000000u, 0x00ffff00u, 0xffff0000u};
  static const u128 v6[] = {0, u128(1) << 32, u128(1) << 64, ~u128(0) - 0xffff};
  return (six ? v6 : v4)[which] - (which == 1 || which == 2 ? 0x8000 : 0);
}

bool contains(const std::vector<Ref> &rs, bool six, u128 v) {
  for (const Ref &r : rs)
    if (r.six == six && r.low <= v && v <= r.high) return true;
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::vector<Range> ranges;
  std::vector<Ref> refs;
  int broken = 0;  // 1: a range of two families, 2: one with low above high
  for (size_t i = 0; i + 4 <= size && ranges.size() < 64; i += 4) {
    const uint8_t flag = data[i];
    const bool six = flag & 1;
    const u128 low = base(six, (flag >> 1) & 3) + (data[i + 1] << 8 | data[i + 2]);
    u128 high = low + data[i + 3];
    if (high < low || high > top(six)) high = top(six);
    if (!holdable(six, low) || !holdable(six, high)) continue;
    Range r{make(six, low), make(six, high)};
    if ((flag & 0xf0) == 0xf0 && high > low) {
      broken |= flag & 8 ? 1 : 2;
      if (flag & 8) r.high = make(!six, 0);
      else std::swap(r.low, r.high);
    }
    ranges.push_back(r);
    refs.push_back({six, low, high});
  }
  const std::vector<Range> before = ranges;
  uint32_t n = uint32_t(ranges.size());
  const int32_t rc = ruvo_l3_range_trim(ranges.data(), &n);
  if (broken != 0) {
    require(broken == 3 ? (rc == -1 || rc == -2) : rc == -broken);
    require(n == before.size() && (n == 0 || std::memcmp(ranges.data(), before.data(), n * sizeof(Range)) == 0));
    return 0;
  }
  require(rc == 0);

  std::sort(refs.begin(), refs.end(), [](const Ref &a, const Ref &b) {
    return a.six != b.six ? !a.six : a.low < b.low;
  });
  std::vector<Ref> folded;
  for (const Ref &r : refs) {
    Ref *last = folded.empty() ? nullptr : &folded.back();
    if (last != nullptr && last->six == r.six && (r.low <= last->high || r.low - 1 == last->high))
      last->high = std::max(last->high, r.high);
    else
      folded.push_back(r);
  }
  require(n == folded.size());
  for (uint32_t i = 0; i < n; ++i)
    require(is6(ranges[i].low) == folded[i].six && is6(ranges[i].high) == folded[i].six &&
            val(ranges[i].low) == folded[i].low && val(ranges[i].high) == folded[i].high);

  std::vector<Range> host(ranges.begin(), ranges.begin() + n);
  for (Range &r : host) require(ruvo_l3_addr_ntoh(&r.low, &r.low) == 0 && ruvo_l3_addr_ntoh(&r.high, &r.high) == 0);
  for (const Ref &r : refs) {
    for (const u128 v : {r.low - 1, r.low, r.high, r.high + 1}) {
      if (v > top(r.six) || !holdable(r.six, v)) continue;
      const Addr q = make(r.six, v);
      Addr hq;
      require(ruvo_l3_addr_ntoh(&q, &hq) == 0);
      const int want = contains(folded, r.six, v);
      require(ruvo_l3_net_addr_binary_search(&q, ranges.data(), int32_t(n)) == want);
      require(ruvo_l3_addr_binary_search(&hq, host.data(), int32_t(n)) == want);
    }
  }
  return 0;
}
