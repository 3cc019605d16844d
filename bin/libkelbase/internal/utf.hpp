// UTF-8 <-> UTF-16 with the platform converter's rules for bad input, for
// builds whose platform has no converter of its own (Linux), and as the
// reference that tests hold the Windows converter to.
//
// Decoding replaces each maximal subpart of an ill-formed sequence with
// U+FFFD: a lead byte followed by fewer continuation bytes than it needs, a
// byte that can never start a sequence, overlong forms, surrogates and code
// points above U+10FFFF. Encoding replaces a lone surrogate with U+FFFD.
// Both count what they would write when `out` is null, and otherwise stop
// with `npos` at the first unit that does not fit in `cap`. A length of `npos`
// reads a terminated source through its terminator, which is converted too.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ruvo::utf {

inline constexpr size_t npos = static_cast<size_t>(-1);
inline constexpr char32_t replacement = 0xFFFD;

namespace detail {

// The range the second byte of a sequence must lie in depends on the lead
// byte; that is what keeps overlongs, surrogates and values past U+10FFFF
// out. Later continuation bytes are always 80..BF.
struct lead_rule {
  uint8_t trail;  // continuation bytes needed; 0: not a lead byte
  uint8_t lo, hi;
};

constexpr lead_rule rule_for(uint8_t b) noexcept {
  if (b >= 0xC2 && b <= 0xDF) return {1, 0x80, 0xBF};
  if (b == 0xE0) return {2, 0xA0, 0xBF};
  if (b == 0xED) return {2, 0x80, 0x9F};
  if (b >= 0xE1 && b <= 0xEF) return {2, 0x80, 0xBF};
  if (b == 0xF0) return {3, 0x90, 0xBF};
  if (b >= 0xF1 && b <= 0xF3) return {3, 0x80, 0xBF};
  if (b == 0xF4) return {3, 0x80, 0x8F};
  return {0, 0, 0};
}

struct lead_table {
  lead_rule rule[256];
  constexpr lead_table() : rule() {
    for (unsigned b = 0; b < 256; ++b) rule[b] = rule_for(static_cast<uint8_t>(b));
  }
};
inline constexpr lead_table leads{};

// Reads one code point at s[i], advancing i past what it consumed: the whole
// sequence, or the maximal subpart that it replaces with U+FFFD.
inline char32_t next_code_point(const uint8_t *s, size_t n, size_t &i) noexcept {
  const uint8_t lead = s[i++];
  if (lead < 0x80) return lead;
  const lead_rule r = leads.rule[lead];
  if (r.trail == 0) return replacement;
  // Whole two- and three-byte forms are most of what is not ASCII; each
  // byte is read only once the one before it proved to be no terminator.
  if (r.trail == 1 && i < n && (s[i] & 0xC0) == 0x80) {
    return static_cast<char32_t>((lead & 0x1F) << 6 | (s[i++] & 0x3F));
  }
  if (r.trail == 2 && i + 1 < n && s[i] >= r.lo && s[i] <= r.hi && (s[i + 1] & 0xC0) == 0x80) {
    const char32_t cp = static_cast<char32_t>((lead & 0x0F) << 12 | (s[i] & 0x3F) << 6 | (s[i + 1] & 0x3F));
    i += 2;
    return cp;
  }
  char32_t cp = lead & (0x3F >> r.trail);
  for (unsigned k = 0; k < r.trail; ++k) {
    const uint8_t lo = k == 0 ? r.lo : 0x80, hi = k == 0 ? r.hi : 0xBF;
    if (i >= n || s[i] < lo || s[i] > hi) return replacement;
    cp = (cp << 6) | (s[i++] & 0x3F);
  }
  return cp;
}

template <bool Write, class Unit>
size_t decode(const uint8_t *s, size_t n, Unit *out, size_t cap) noexcept {
  size_t len = 0;
  for (size_t i = 0; i < n;) {
    if (s[i] < 0x80) {
      if constexpr (Write) {
        if (len == cap) return npos;
        out[len] = static_cast<Unit>(s[i]);
      }
      ++len;
      if (s[i++] == 0 && n == npos) break;
      continue;
    }
    const char32_t cp = next_code_point(s, n, i);
    const size_t count = cp >= 0x10000 ? 2 : 1;
    if constexpr (Write) {
      if (cap - len < count) return npos;
      if (count == 2) {
        out[len] = static_cast<Unit>(0xD800 + ((cp - 0x10000) >> 10));
        out[len + 1] = static_cast<Unit>(0xDC00 + ((cp - 0x10000) & 0x3FF));
      } else {
        out[len] = static_cast<Unit>(cp);
      }
    }
    len += count;
  }
  return len;
}

template <bool Write, class Unit>
size_t encode(const Unit *w, size_t n, char *out, size_t cap) noexcept {
  size_t len = 0;
  for (size_t i = 0; i < n;) {
    char32_t cp = static_cast<uint16_t>(w[i++]);
    if (cp < 0x80) {
      if constexpr (Write) {
        if (len == cap) return npos;
        out[len] = static_cast<char>(cp);
      }
      ++len;
      if (cp == 0 && n == npos) break;
      continue;
    }
    if (cp >= 0xD800 && cp <= 0xDFFF) {
      const bool paired = cp <= 0xDBFF && i < n && static_cast<uint16_t>(w[i]) >= 0xDC00 &&
                          static_cast<uint16_t>(w[i]) <= 0xDFFF;
      cp = paired ? 0x10000 + ((cp - 0xD800) << 10) + (static_cast<uint16_t>(w[i++]) - 0xDC00)
                  : replacement;
    }
    const size_t count = cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4;
    if constexpr (Write) {
      if (cap - len < count) return npos;
      char *b = out + len;
      if (count == 2) {
        b[0] = static_cast<char>(0xC0 | (cp >> 6));
      } else if (count == 3) {
        b[0] = static_cast<char>(0xE0 | (cp >> 12));
        b[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      } else {
        b[0] = static_cast<char>(0xF0 | (cp >> 18));
        b[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        b[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      }
      b[count - 1] = static_cast<char>(0x80 | (cp & 0x3F));
    }
    len += count;
  }
  return len;
}

}  // namespace detail

// Converts the n bytes at `text`; gives the number of 16-bit units, or npos
// when `out` is not null and they don't fit in `cap`.
template <class Unit>
size_t utf8_to_utf16(const char *text, size_t n, Unit *out, size_t cap) noexcept {
  static_assert(sizeof(Unit) == 2);
  const auto *s = reinterpret_cast<const uint8_t *>(text);
  return out == nullptr ? detail::decode<false>(s, n, out, cap) : detail::decode<true>(s, n, out, cap);
}

// Converts the n units at w; gives the number of bytes, or npos when `out`
// is not null and they don't fit in `cap`.
template <class Unit>
size_t utf16_to_utf8(const Unit *w, size_t n, char *out, size_t cap) noexcept {
  static_assert(sizeof(Unit) == 2);
  return out == nullptr ? detail::encode<false>(w, n, out, cap) : detail::encode<true>(w, n, out, cap);
}

}  // namespace ruvo::utf
