// L3 text forms: strict address and mask parsers, the splitter that the
// composite forms share, the canonical printer and the MAC parser. The
// parsers accept one exact grammar and no surrounding blanks; only the
// splitter trims. Digits are converted by hand, not through the C library,
// because these run once per line of an allow-list.
#include <cstdio>
#include <cstdlib>

#include "l3_impl.hpp"

namespace ruvo::l3 {

namespace {

int hex_digit(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

char *put_decimal(char *p, unsigned v) noexcept {
  if (v >= 100) *p++ = char('0' + v / 100);
  if (v >= 10) *p++ = char('0' + v / 10 % 10);
  *p++ = char('0' + v % 10);
  return p;
}

char *put_dotted(char *p, const uint8_t *b) noexcept {
  for (int i = 0; i < 4; ++i) {
    if (i != 0) *p++ = '.';
    p = put_decimal(p, b[i]);
  }
  return p;
}

// "%x": lower case, no leading zeros.
char *put_hex(char *p, unsigned v) noexcept {
  static const char digits[] = "0123456789abcdef";
  int shift = 12;
  while (shift > 0 && (v >> shift) == 0) shift -= 4;
  for (; shift >= 0; shift -= 4) *p++ = digits[(v >> shift) & 0xF];
  return p;
}

size_t format_v6(const uint8_t *a, char *buf) noexcept {
  unsigned words[8];
  for (int i = 0; i < 8; ++i) words[i] = unsigned(a[2 * i]) << 8 | a[2 * i + 1];

  // The longest run of zero words, the first of equals; a run of one word
  // is written out, not compressed.
  int best = -1, best_len = 0;
  for (int i = 0; i < 8;) {
    if (words[i] != 0) {
      ++i;
      continue;
    }
    int j = i;
    while (j < 8 && words[j] == 0) ++j;
    if (j - i > best_len) {
      best = i;
      best_len = j - i;
    }
    i = j;
  }
  if (best_len < 2) best = -1;

  char *p = buf;
  for (int i = 0; i < 8; ++i) {
    if (best >= 0 && i >= best && i < best + best_len) {
      if (i == best) *p++ = ':';
      continue;
    }
    if (i != 0) *p++ = ':';
    // ::a.b.c.d and ::ffff:a.b.c.d keep their dotted tail.
    if (i == 6 && best == 0 && (best_len == 6 || (best_len == 5 && words[5] == 0xFFFF))) {
      p = put_dotted(p, a + 12);
      break;
    }
    p = put_hex(p, words[i]);
  }
  if (best >= 0 && best + best_len == 8) *p++ = ':';
  *p = '\0';
  return size_t(p - buf);
}

char *trim_blanks(char *s) noexcept {
  while (*s == ' ') ++s;
  char *end = s + std::strlen(s);
  while (end > s && end[-1] == ' ') --end;
  *end = '\0';
  return s;
}

}  // namespace

bool ipv4_parse(const char *text, uint8_t out[4]) noexcept {
  uint8_t parts[4];
  int n = 0;            // parts finished
  unsigned value = 0;   // the present part
  bool digit = false;   // the present part has a digit
  for (const char *p = text; *p != '\0'; ++p) {
    if (*p >= '0' && *p <= '9') {
      value = value * 10 + unsigned(*p - '0');
      if (value > 255) return false;
      digit = true;
    } else if (*p == '.') {
      if (!digit || n == 3) return false;
      parts[n++] = uint8_t(value);
      value = 0;
      digit = false;
    } else {
      return false;
    }
  }
  if (n != 3 || !digit) return false;
  parts[3] = uint8_t(value);
  std::memcpy(out, parts, 4);
  return true;
}

bool ipv6_parse(const char *text, uint8_t out[16]) noexcept {
  uint8_t area[16] = {};
  int pos = 0;           // bytes stored
  int gap = -1;          // where "::" stands, if seen
  unsigned value = 0;    // the present group
  int digits = 0;        // its digit count
  const char *p = text;
  if (*p == ':') {
    if (p[1] != ':') return false;
    ++p;  // the second colon below is then a colon behind no group
  }
  const char *group = p;
  for (; *p != '\0'; ++p) {
    const int d = hex_digit(*p);
    if (d >= 0) {
      if (++digits > 4) return false;
      value = value << 4 | unsigned(d);
    } else if (*p == ':') {
      if (digits != 0) {
        if (p[1] == '\0' || pos + 2 > 16) return false;
        area[pos++] = uint8_t(value >> 8);
        area[pos++] = uint8_t(value);
        value = 0;
        digits = 0;
      } else {
        if (gap >= 0) return false;
        gap = pos;
      }
      group = p + 1;
    } else if (*p == '.') {
      // A dotted tail runs from the start of its group to the end.
      if (pos + 4 > 16 || !ipv4_parse(group, area + pos)) return false;
      pos += 4;
      digits = 0;
      break;
    } else {
      return false;
    }
  }
  if (digits != 0) {
    if (pos + 2 > 16) return false;
    area[pos++] = uint8_t(value >> 8);
    area[pos++] = uint8_t(value);
  }
  if (gap >= 0) {
    // "::" stands for at least one group of zeros.
    if (pos == 16) return false;
    const int tail = pos - gap;
    std::memmove(area + 16 - tail, area + gap, size_t(tail));
    std::memset(area + gap, 0, size_t(16 - tail - gap));
  } else if (pos != 16) {
    return false;
  }
  // FF BF is the IPv4 mark: such an address could not be told from IPv4.
  if (area[0] == 0xFF && area[1] == 0xBF) return false;
  std::memcpy(out, area, 16);
  return true;
}

bool parse_addr(const char *text, ruvo_l3_addr_st &out) noexcept {
  ruvo_l3_addr_st r;
  uint8_t v4[4];
  if (ipv4_parse(text, v4)) {
    set_v4(r, load_be32(v4));
  } else if (!ipv6_parse(text, r.u8)) {
    return false;
  }
  out = r;
  return true;
}

size_t format_addr(const ruvo_l3_addr_st &a, char *buf) noexcept {
  if (!is_v4(a)) return format_v6(a.u8, buf);
  char *end = put_dotted(buf, a.u8 + 12);
  *end = '\0';
  return size_t(end - buf);
}

int split_text(char *text, char **first, char **second) noexcept {
  int form = kSingle;
  char *cut = std::strchr(text, '/');
  if (cut != nullptr) {
    form = std::strpbrk(cut + 1, ".:") != nullptr ? kMask : kPrefix;
  } else if ((cut = std::strchr(text, '-')) != nullptr) {
    form = kPair;
  }
  if (cut != nullptr) *cut = '\0';
  *first = trim_blanks(text);
  *second = cut != nullptr ? trim_blanks(cut + 1) : *first;
  return form;
}

int32_t parse_prefix(const char *text) noexcept {
  char *end = nullptr;
  const long v = std::strtol(text, &end, 10);
  if (end == text || *end != '\0' || v < 0) return -1;
  // long is 32 bits on Windows and 64 elsewhere: saturate alike.
  return v > INT32_MAX ? INT32_MAX : int32_t(v);
}

}  // namespace ruvo::l3

namespace {

int32_t to_string(const ruvo_l3_addr_st *addr, char *buf, uint32_t size) noexcept {
  if (addr == nullptr || buf == nullptr) return -1;
  char text[ruvo::l3::kTextSize];
  const size_t n = ruvo::l3::format_addr(*addr, text);
  if (n + 1 > size) return -1;
  std::memcpy(buf, text, n + 1);
  return int32_t(n);
}

void print(const ruvo_l3_addr_st *addr) noexcept {
  char text[ruvo::l3::kTextSize];
  if (to_string(addr, text, sizeof text) < 0) std::strcpy(text, "Invalid L3 Address");
  std::printf("%s", text);
}

}  // namespace

extern "C" {

RUVO_API int32_t ruvo_l3_string_to_addr(const char *text, ruvo_l3_addr_st *out) noexcept {
  if (text == nullptr || out == nullptr) return -1;
  return ruvo::l3::parse_addr(text, *out) ? 0 : -1;
}

RUVO_API int32_t ruvo_l3_string_to_mask(const char *text, ruvo_l3_addr_st *out) noexcept {
  if (text == nullptr || out == nullptr) return -1;
  ruvo_l3_addr_st m;
  if (!ruvo::l3::parse_addr(text, m) || ruvo_l3_is_mask_valid(&m) != 1) return -1;
  *out = m;
  return 0;
}

RUVO_API int32_t ruvo_l3_string_type(const char *text) noexcept {
  if (text == nullptr) return RUVO_L3_AF_NONE;
  uint8_t bytes[16];
  if (ruvo::l3::ipv4_parse(text, bytes)) return RUVO_L3_AF_IPV4;
  if (ruvo::l3::ipv6_parse(text, bytes)) return RUVO_L3_AF_IPV6;
  return RUVO_L3_AF_NONE;
}

RUVO_API int32_t ruvo_l3_get_string_mask(const char *text, ruvo_l3_addr_st *out) noexcept {
  using namespace ruvo::l3;
  if (text == nullptr || out == nullptr) return -5;
  const size_t n = ruvo::l3::bounded_length(text, kCompositeSize);
  if (n >= kCompositeSize) return -2;
  char copy[kCompositeSize];
  std::memcpy(copy, text, n + 1);
  char *addr_text, *mask_text;
  switch (split_text(copy, &addr_text, &mask_text)) {
    case kPrefix: {
      const int32_t prefix = parse_prefix(mask_text);
      if (prefix < 0) return -4;
      ruvo_l3_addr_st addr;
      if (!parse_addr(addr_text, addr)) return -3;
      return is_v4(addr) ? ruvo_l3_get_ipv4_mask(prefix, out) : ruvo_l3_get_ipv6_mask(prefix, out);
    }
    case kMask:
      // The address in front of a mask plays no part, not even its family.
      return ruvo_l3_string_to_mask(mask_text, out) == 0 ? 0 : -2;
    default:
      return -1;
  }
}

RUVO_API int32_t ruvo_l3_addr_to_string(const ruvo_l3_addr_st *addr, char *buf, uint32_t size) noexcept {
  return to_string(addr, buf, size);
}

RUVO_API int32_t ruvo_l3_mask_to_string(const ruvo_l3_addr_st *mask, char *buf, uint32_t size) noexcept {
  return to_string(mask, buf, size);
}

RUVO_API void ruvo_l3_print_addr(const ruvo_l3_addr_st *addr) noexcept { print(addr); }

RUVO_API void ruvo_l3_print_mask(const ruvo_l3_addr_st *mask) noexcept { print(mask); }

RUVO_API int32_t ruvo_string_to_macaddr(const char *text, uint8_t *mac) noexcept {
  if (text == nullptr || mac == nullptr) return -1;
  // Three states: first digit of a byte, second digit, separator.
  enum { kHigh, kLow, kSep } state = kHigh;
  char kind = '\0';  // the separator, fixed by the first one seen
  int high = 0, stored = 0;
  for (const char *p = text;; ++p) {
    switch (state) {
      case kHigh:
        if ((high = ruvo::l3::hex_digit(*p)) < 0) return -1;
        state = kLow;
        break;
      case kLow: {
        const int low = ruvo::l3::hex_digit(*p);
        if (low < 0) return -1;
        mac[stored++] = uint8_t(high << 4 | low);
        if (stored == 6) return 0;
        state = kSep;
        break;
      }
      case kSep:
        if ((*p != ':' && *p != '-') || (kind != '\0' && *p != kind)) return -1;
        kind = *p;
        state = kHigh;
        break;
    }
  }
}

}  // extern "C"
