// UTF-8 <-> UTF-16 with the platform converter's rules for bad input, for
// builds whose platform has no converter of its own (Linux), and as the
// reference that tests hold the Windows converter to.
//
// Decoding replaces each maximal subpart of an ill-formed sequence with
// U+FFFD: a lead byte followed by fewer continuation bytes than it needs, a
// byte that can never start a sequence, overlong forms, surrogates and code
// points above U+10FFFF. Encoding replaces a lone surrogate with U+FFFD.
// Both count what they would write when `out` is null, and otherwise stop
// with `npos` at the first unit that does not fit in `cap`.
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

// Reads one code point at s[i], advancing i past what it consumed: the whole
// sequence, or the maximal subpart that it replaces with U+FFFD.
inline char32_t next_code_point(const uint8_t *s, size_t n, size_t &i) noexcept {
  const uint8_t lead = s[i++];
  if (lead < 0x80) return lead;
  const lead_rule r = rule_for(lead);
  if (r.trail == 0) return replacement;
  char32_t cp = lead & (0x3F >> r.trail);
  for (unsigned k = 0; k < r.trail; ++k) {
    const uint8_t lo = k == 0 ? r.lo : 0x80, hi = k == 0 ? r.hi : 0xBF;
    if (i >= n || s[i] < lo || s[i] > hi) return replacement;
    cp = (cp << 6) | (s[i++] & 0x3F);
  }
  return cp;
}

// Appends `count` units from `units` at out[len], or only counts them.
template <class Unit>
inline bool put(Unit *out, size_t cap, size_t &len, const Unit *units, size_t count) noexcept {
  if (out != nullptr) {
    if (cap - len < count) return false;
    for (size_t k = 0; k < count; ++k) out[len + k] = units[k];
  }
  len += count;
  return true;
}

}  // namespace detail

// Converts the n bytes at s; gives the number of 16-bit units, or npos when
// `out` is not null and they don't fit in `cap`.
template <class Unit>
size_t utf8_to_utf16(const char *text, size_t n, Unit *out, size_t cap) noexcept {
  static_assert(sizeof(Unit) == 2);
  const auto *s = reinterpret_cast<const uint8_t *>(text);
  size_t len = 0;
  for (size_t i = 0; i < n;) {
    // Runs of 7-bit text are the common case and need no decoding.
    if (s[i] < 0x80) {
      if (out != nullptr && len == cap) return npos;
      if (out != nullptr) out[len] = static_cast<Unit>(s[i]);
      ++len;
      ++i;
      continue;
    }
    const char32_t cp = detail::next_code_point(s, n, i);
    Unit units[2];
    size_t count = 1;
    if (cp >= 0x10000) {
      units[0] = static_cast<Unit>(0xD800 + ((cp - 0x10000) >> 10));
      units[1] = static_cast<Unit>(0xDC00 + ((cp - 0x10000) & 0x3FF));
      count = 2;
    } else {
      units[0] = static_cast<Unit>(cp);
    }
    if (!detail::put(out, cap, len, units, count)) return npos;
  }
  return len;
}

// Converts the n units at w; gives the number of bytes, or npos when `out`
// is not null and they don't fit in `cap`.
template <class Unit>
size_t utf16_to_utf8(const Unit *w, size_t n, char *out, size_t cap) noexcept {
  static_assert(sizeof(Unit) == 2);
  size_t len = 0;
  for (size_t i = 0; i < n;) {
    char32_t cp = static_cast<uint16_t>(w[i++]);
    if (cp < 0x80) {
      if (out != nullptr && len == cap) return npos;
      if (out != nullptr) out[len] = static_cast<char>(cp);
      ++len;
      continue;
    }
    if (cp >= 0xD800 && cp <= 0xDFFF) {
      const bool paired = cp <= 0xDBFF && i < n && static_cast<uint16_t>(w[i]) >= 0xDC00 &&
                          static_cast<uint16_t>(w[i]) <= 0xDFFF;
      cp = paired ? 0x10000 + ((cp - 0xD800) << 10) + (static_cast<uint16_t>(w[i++]) - 0xDC00)
                  : replacement;
    }
    char bytes[4];
    size_t count;
    if (cp < 0x800) {
      bytes[0] = static_cast<char>(0xC0 | (cp >> 6));
      count = 2;
    } else if (cp < 0x10000) {
      bytes[0] = static_cast<char>(0xE0 | (cp >> 12));
      bytes[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      count = 3;
    } else {
      bytes[0] = static_cast<char>(0xF0 | (cp >> 18));
      bytes[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
      bytes[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      count = 4;
    }
    bytes[count - 1] = static_cast<char>(0x80 | (cp & 0x3F));
    if (!detail::put(out, cap, len, bytes, count)) return npos;
  }
  return len;
}

}  // namespace ruvo::utf
