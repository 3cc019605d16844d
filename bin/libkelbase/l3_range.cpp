// L3 ranges: closed intervals of one family made from records or text,
// printed, sorted, folded into the fewest disjoint ranges, and searched.
// Arrays belong to the caller; nothing here allocates.
#include <algorithm>
#include <cstring>
#include <initializer_list>

#include "l3_impl.hpp"

using ruvo::l3::compare;
using ruvo::l3::is_v4;

namespace {

// Fills `range` from an address and a prefix length the caller has checked
// against the family. Only words 0 and 3 of IPv4 ends are written. False when
// the high end would begin FF BF (prefixes 10 to 15 around ff80::): no
// record can hold it, and it would read as IPv4.
bool range_from_prefix(ruvo_l3_range_st &range, const ruvo_l3_addr_st &addr, int32_t prefix) noexcept {
  ruvo_l3_addr_st mask;
  if (is_v4(addr)) {
    ruvo_l3_get_ipv4_mask(prefix, &mask);
    const uint32_t a = ruvo::l3::v4_value(addr), m = ruvo::l3::v4_value(mask);
    for (ruvo_l3_addr_st *end : {&range.low, &range.high}) {
      ruvo::l3::store_be32(end->u8, RUVO_L3_IPV4_MARK);
    }
    ruvo::l3::store_be32(range.low.u8 + 12, a & m);
    ruvo::l3::store_be32(range.high.u8 + 12, a | ~m);
    return true;
  }
  // The mask form makes whole IPv6 records and refuses an FF BF high end.
  ruvo_l3_get_ipv6_mask(prefix, &mask);
  return ruvo_l3_get_range_from_mask(&range, &addr, &mask) == 0;
}

// The form code of a parsed range text: IPv4 odd, IPv6 even.
int32_t form_code(int form, const ruvo_l3_addr_st &addr) noexcept {
  return 2 * form + (is_v4(addr) ? 1 : 2);
}

int32_t parse_range(char *text, ruvo_l3_range_st &out) noexcept {
  using namespace ruvo::l3;
  char *first, *second;
  const int form = split_text(text, &first, &second);
  ruvo_l3_addr_st a, b;
  switch (form) {
    case kPrefix: {
      const int32_t prefix = parse_prefix(second);
      if (prefix < 0) return -6;
      if (!parse_addr(first, a)) return -7;
      if (prefix > (is_v4(a) ? 32 : 128) || !range_from_prefix(out, a, prefix)) return -6;
      break;
    }
    case kMask: {
      if (!parse_addr(first, a) || !parse_addr(second, b)) return -8;
      const int32_t rc = ruvo_l3_get_range_from_mask(&out, &a, &b);
      if (rc != 0) return rc;
      break;
    }
    default:  // one address, read twice, or low-high
      if (!parse_addr(first, a) || !parse_addr(second, b)) return -3;
      if (is_v4(a) != is_v4(b)) return -4;
      if (compare(a, b) > 0) return -5;
      out.low = a;
      out.high = b;
      break;
  }
  return form_code(form, a);
}

// Sort key of a range: its low, IPv4 before IPv6.
bool low_before(const ruvo_l3_range_st &x, const ruvo_l3_range_st &y) noexcept {
  return compare(x.low, y.low) < 0;
}

// The order the searches see in a host-form array: IPv4 by word 3, IPv6 by
// words 3 down to 0, each as it stands; IPv6 above IPv4.
int compare_host(const ruvo_l3_addr_st &a, const ruvo_l3_addr_st &b) noexcept {
  const bool va = is_v4(a);
  if (va != is_v4(b)) return va ? -1 : 1;
  for (int i = 3; i >= (va ? 3 : 0); --i) {
    if (a.u32[i] != b.u32[i]) return a.u32[i] < b.u32[i] ? -1 : 1;
  }
  return 0;
}

template <class Cmp>
int32_t binary_search(const ruvo_l3_addr_st *addr, const ruvo_l3_range_st *ranges, int32_t count,
                      Cmp cmp) noexcept {
  if (addr == nullptr || ranges == nullptr || count <= 0) return 0;
  uint32_t lo = 0, hi = uint32_t(count);
  while (lo < hi) {
    const uint32_t mid = (lo + hi) / 2;
    if (cmp(*addr, ranges[mid].low) < 0) {
      hi = mid;
    } else if (cmp(*addr, ranges[mid].high) <= 0) {
      return 1;
    } else {
      lo = mid + 1;
    }
  }
  return 0;
}

}  // namespace

extern "C" {

RUVO_API int32_t ruvo_l3_set_range(ruvo_l3_range_st *range, const ruvo_l3_addr_st *low,
                                   const ruvo_l3_addr_st *high) noexcept {
  if (range == nullptr || low == nullptr || high == nullptr) return -1;
  const int c = compare(*low, *high);
  if (c == 3 || c == -3) return -1;
  if (c > 0) return -2;
  // Copy through temporaries: the ends may lie inside `range` itself.
  const ruvo_l3_addr_st l = *low, h = *high;
  range->low = l;
  range->high = h;
  return 0;
}

RUVO_API int32_t ruvo_l3_is_range_equal(const ruvo_l3_range_st *a, const ruvo_l3_range_st *b) noexcept {
  if (a == nullptr || b == nullptr) return 0;
  return compare(a->low, b->low) == 0 && compare(a->high, b->high) == 0 ? 1 : 0;
}

RUVO_API int32_t ruvo_l3_get_range_from_mask(ruvo_l3_range_st *range, const ruvo_l3_addr_st *addr,
                                             const ruvo_l3_addr_st *mask) noexcept {
  if (range == nullptr || addr == nullptr || mask == nullptr) return -10;
  if (ruvo_l3_is_mask_valid(mask) != 1) return -10;
  if (is_v4(*addr) != is_v4(*mask)) return -9;
  ruvo_l3_range_st r;
  ruvo_l3_addr_and_mask(addr, mask, &r.low);
  ruvo_l3_addr_or_not_mask(addr, mask, &r.high);
  // Setting the host bits of an address below ffbf:: can reach the FF BF
  // block, which no IPv6 record can hold: that mask does not fit there.
  if (is_v4(r.high) != is_v4(*addr)) return -10;
  if (is_v4(*addr)) {
    // Both ends are made anew: the mark, zeros, the address.
    ruvo::l3::set_v4(r.low, ruvo::l3::v4_value(r.low));
    ruvo::l3::set_v4(r.high, ruvo::l3::v4_value(r.high));
  }
  *range = r;
  return 0;
}

RUVO_API int32_t ruvo_l3_string_to_range(const char *text, ruvo_l3_range_st *range) noexcept {
  if (text == nullptr || range == nullptr) return -1;
  char copy[ruvo::l3::kCompositeSize];
  const size_t n = ruvo::l3::bounded_length(text, sizeof copy);
  if (n >= sizeof copy) return -1;
  std::memcpy(copy, text, n + 1);
  // Parse into a copy of the caller's range, so that a failure leaves it
  // alone and a prefix form keeps words 1 and 2 of IPv4 ends as they were.
  ruvo_l3_range_st r = *range;
  const int32_t rc = parse_range(copy, r);
  if (rc > 0) *range = r;
  return rc;
}

RUVO_API int32_t ruvo_l3_range_to_string(const ruvo_l3_range_st *range, char *buf, uint32_t size) noexcept {
  if (range == nullptr || buf == nullptr) return -1;
  char text[2 * ruvo::l3::kTextSize];
  size_t n = ruvo::l3::format_addr(range->low, text);
  text[n++] = '-';
  n += ruvo::l3::format_addr(range->high, text + n);
  if (n + 1 > size) return -1;
  std::memcpy(buf, text, n + 1);
  return int32_t(n);
}

RUVO_API int32_t ruvo_l3_range_sort(ruvo_l3_range_st *ranges, uint32_t count, int32_t order) noexcept {
  if (count == 0) return 0;
  if (ranges == nullptr) return -1;
  // std::sort is an introsort: in place, no allocation, and O(n log n) on
  // any input, where an exchange sort would take seconds on a large list.
  if (order == 0) {
    std::sort(ranges, ranges + count, low_before);
  } else if (order == 1) {
    std::sort(ranges, ranges + count,
              [](const ruvo_l3_range_st &x, const ruvo_l3_range_st &y) { return low_before(y, x); });
  }
  return 0;
}

RUVO_API int32_t ruvo_l3_range_trim(ruvo_l3_range_st *ranges, uint32_t *count) noexcept {
  if (count == nullptr) return -1;
  const uint32_t n = *count;
  if (n == 0) return 0;
  if (ranges == nullptr) return -1;
  // Every range is checked before anything moves, so a bad one leaves the
  // array as the caller had it.
  for (uint32_t i = 0; i < n; ++i) {
    ruvo_l3_range_st probe;
    const int32_t rc = ruvo_l3_set_range(&probe, &ranges[i].low, &ranges[i].high);
    if (rc != 0) return rc;
  }
  ruvo_l3_range_sort(ranges, n, 0);

  uint32_t w = 0;
  for (uint32_t i = 1; i < n; ++i) {
    ruvo_l3_range_st &out = ranges[w];
    const ruvo_l3_range_st &next = ranges[i];
    // Overlapping (high at or past the next low) or adjacent (no address
    // between them) ranges fold; across families neither test holds.
    const int c = compare(out.high, next.low);
    if (c == 0 || c == 1 || ruvo_l3_is_addr_close_to(&out.high, &next.low) == 1) {
      if (compare(next.high, out.high) == 1) out.high = next.high;
      continue;
    }
    ranges[++w] = next;
  }
  *count = w + 1;
  return 0;
}

RUVO_API int32_t ruvo_l3_net_addr_binary_search(const ruvo_l3_addr_st *addr, const ruvo_l3_range_st *ranges,
                                                int32_t count) noexcept {
  return binary_search(addr, ranges, count, compare);
}

RUVO_API int32_t ruvo_l3_addr_binary_search(const ruvo_l3_addr_st *addr, const ruvo_l3_range_st *ranges,
                                            int32_t count) noexcept {
  return binary_search(addr, ranges, count, compare_host);
}

}  // extern "C"
