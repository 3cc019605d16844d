// String utilities: bounded formatting, form checks, a counted KMP search,
// in-place replacing and trimming, a reentrant token splitter and hex output.
// Leaf code: nothing here logs, and only the splitter allocates fatally.
#include "ruvo/base/str.h"

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ruvo/base/memory.h"

namespace {

// The runtime's bounded formatter: the length the whole text needs, or -1.
int32_t ruvo_str_vformat(char *buf, size_t size, const char *format, va_list args) noexcept {
  const int n = std::vsnprintf(buf, size, format, args);
  return n < 0 ? -1 : n;
}

}  // namespace

extern "C" {

RUVO_API int32_t ruvo_str_magic_vsprintf(char *buf, size_t size, const char *format,
                                         va_list args) noexcept {
  if (size == 0 || buf == nullptr) return 0;
  if (format == nullptr) {
    buf[0] = '\0';
    return 0;
  }
  // Results are 32-bit; no text can be longer than that anyway.
  if (size > INT32_MAX) size = INT32_MAX;
  const int32_t n = ruvo_str_vformat(buf, size, format, args);
  if (n >= 0 && static_cast<size_t>(n) < size) return n;
  // Cut or failed: the caller still gets a terminated buffer and an offset
  // it can append at.
  buf[size - 1] = '\0';
  return static_cast<int32_t>(size - 1);
}

RUVO_API int32_t ruvo_str_snprintf(char *buf, size_t size, const char *format, ...) noexcept {
  va_list args;
  va_start(args, format);
  const int32_t n = ruvo_str_magic_vsprintf(buf, size, format, args);
  va_end(args);
  return n;
}

}  // extern "C"

// ---- form checks ----

namespace {

bool is_dec(char c) noexcept { return c >= '0' && c <= '9'; }

// ASCII only: the runtime's isxdigit would follow the locale.
bool is_hex(char c) noexcept {
  return is_dec(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

template <bool (*Accept)(char)>
uint32_t check_digits(const char *text, size_t limit) noexcept {
  for (size_t i = 0; i < limit && text[i] != '\0'; ++i) {
    if (!Accept(text[i])) return RUVO_E_FORMAT;
  }
  return RUVO_OK;
}

// Bytes are compared as signed chars whatever the platform's char is, so a
// caller passing -85 and one passing (char)0xAB mean the same byte.
bool same_byte(char a, char b) noexcept {
  return static_cast<signed char>(a) == static_cast<signed char>(b);
}

}  // namespace

extern "C" {

RUVO_API uint32_t ruvo_string_check_integer(const char *text, size_t limit) noexcept {
  return check_digits<is_dec>(text, limit);
}

RUVO_API uint32_t ruvo_string_check_hex_integer(const char *text, size_t limit) noexcept {
  return check_digits<is_hex>(text, limit);
}

RUVO_API uint32_t ruvo_string_check_ipv4(const char *text, size_t limit) noexcept {
  if (limit == 0) return RUVO_E_FORMAT;
  int value = 0;        // the present octet so far
  bool digits = false;  // the present octet has a digit
  int octets = 0;       // octets begun
  for (size_t i = 0; i < limit && text[i] != '\0'; ++i) {
    const char c = text[i];
    if (is_dec(c)) {
      // A second digit after a 0 is a leading zero: "0" passes, "01" not.
      if (digits && value == 0) return RUVO_E_FORMAT;
      value = value * 10 + (c - '0');
      if (value > 255) return RUVO_E_FORMAT;
      if (!digits) {
        if (++octets > 4) return RUVO_E_FORMAT;
        digits = true;
      }
    } else if (c == '.') {
      if (!digits || octets == 4) return RUVO_E_FORMAT;
      digits = false;
      value = 0;
    } else {
      return RUVO_E_FORMAT;
    }
  }
  return octets < 4 ? RUVO_E_FORMAT : RUVO_OK;
}

RUVO_API int32_t ruvo_str_isdigit(const char *text) noexcept {
  if (text == nullptr) return 1;
  for (; *text != '\0'; ++text) {
    if (!is_dec(*text)) return 0;
  }
  return 1;
}

// ---- searches ----

RUVO_API int32_t ruvo_str_chrcnt(const char *text, int32_t limit, char c) noexcept {
  if (text == nullptr) return 0;
  int32_t n = 0;
  for (int32_t i = 0; i < limit && text[i] != '\0'; ++i) {
    if (same_byte(text[i], c)) ++n;
  }
  return n;
}

RUVO_API int32_t ruvo_str_chrpos(const char *text, int32_t limit, char c) noexcept {
  if (text == nullptr) return -1;
  for (int32_t i = 0; i < limit && text[i] != '\0'; ++i) {
    if (same_byte(text[i], c)) return i;
  }
  return -1;
}

RUVO_API const char *ruvo_str_nchr(const char *buf, int32_t len, char c) noexcept {
  for (int32_t i = 0; i < len; ++i) {
    if (same_byte(buf[i], c)) return buf + i;
  }
  return nullptr;
}

RUVO_API const char *ruvo_str_nrchr(const char *buf, int32_t len, char c) noexcept {
  for (int32_t i = len - 1; i >= 0; --i) {
    if (same_byte(buf[i], c)) return buf + i;
  }
  return nullptr;
}

// Knuth-Morris-Pratt. The failure table lives on the stack so that a search
// never allocates; its 512 entries are what limits a pattern to 511 bytes.
RUVO_API int32_t ruvo_str_find(const char *text, int32_t text_len, const char *pattern,
                               int32_t pattern_len, int32_t start) noexcept {
  constexpr int32_t kTable = 512;
  if (text == nullptr || pattern == nullptr) return -1;
  if (pattern_len <= 0 || pattern_len >= kTable) return -1;
  if (start < 0 || start >= text_len) return -1;

  // fail[q]: the longest proper border of the first q pattern bytes, the
  // place to go on from after a mismatch at pattern byte q; -1 at q = 0
  // moves the text on by one.
  int32_t fail[kTable];
  fail[0] = -1;
  fail[1] = 0;
  for (int32_t i = 1, k = 0; i + 1 < pattern_len; ++i) {
    while (k > 0 && pattern[i] != pattern[k]) k = fail[k];
    if (pattern[i] == pattern[k]) ++k;
    fail[i + 1] = k;
  }

  const int32_t rest = text_len - start;
  if (rest < pattern_len) return -1;
  const char *t = text + start;
  int32_t s = 0;  // alignment of the pattern within the rest
  int32_t q = 0;  // pattern bytes matched at that alignment
  while (s + q < rest) {
    if (pattern[q] == t[s + q]) {
      if (q == pattern_len - 1) return s + start;
      ++q;
    } else {
      const int32_t f = fail[q];
      s += q - f;
      q = f < 0 ? 0 : f;
    }
  }
  return -1;
}

RUVO_API const char *ruvo_str_nstr(const char *text, int32_t text_len, const char *pattern,
                                   int32_t pattern_len) noexcept {
  const int32_t at = ruvo_str_find(text, text_len, pattern, pattern_len, 0);
  return at < 0 ? nullptr : text + at;
}

}  // extern "C"

// ---- changes in place ----

namespace {

int32_t length32(const char *text) noexcept {
  const size_t n = std::strlen(text);
  return n > static_cast<size_t>(INT32_MAX) ? INT32_MAX : static_cast<int32_t>(n);
}

// One replacement in the `size` bytes at `text`: the position behind the
// inserted text, or null with nothing changed.
char *replace_once(char *text, int32_t size, const char *pattern, int32_t m,
                   const char *replacement, int32_t k) noexcept {
  const int32_t n = length32(text);
  const int32_t at = ruvo_str_find(text, n, pattern, m, 0);
  if (at < 0) return nullptr;
  // The new text and its terminator must fit: size - n > k - m. Widened so
  // that a huge replacement cannot wrap around into "fits".
  if (int64_t{size} - n <= int64_t{k} - m) return nullptr;
  char *hit = text + at;
  std::memmove(hit + k, hit + m, static_cast<size_t>(n - at - m) + 1);
  std::memcpy(hit, replacement, static_cast<size_t>(k));
  return hit + k;
}

char *trim_t(char *text, char c) noexcept {
  if (text == nullptr || *text == '\0') return text;
  const ptrdiff_t last = static_cast<ptrdiff_t>(std::strlen(text)) - 1;
  ptrdiff_t first = 0;
  while (first < last && same_byte(text[first], c)) ++first;
  ptrdiff_t end = last;
  while (end >= first && same_byte(text[end], c)) --end;
  if (end < first) {
    // Nothing but `c`: the forward walk stopped at the last byte.
    text[first] = '\0';
    return text + first;
  }
  text[end + 1] = '\0';
  return text + first;
}

}  // namespace

extern "C" {

RUVO_API char *ruvo_str_replace(char *text, int32_t size, const char *pattern,
                                const char *replacement, int32_t all) noexcept {
  if (text == nullptr || pattern == nullptr || replacement == nullptr) return nullptr;
  const int32_t m = length32(pattern);
  const int32_t k = length32(replacement);
  char *next = replace_once(text, size, pattern, m, replacement, k);
  if (next == nullptr || all == 0) return next;
  // Go on behind each insertion, so inserted text is never searched again,
  // with the size cut by what lies in front.
  while (next != nullptr) {
    const int32_t used = static_cast<int32_t>(next - text);
    next = replace_once(next, size - used, pattern, m, replacement, k);
  }
  return text;
}

RUVO_API char *ruvo_str_tolower(char *text) noexcept {
  if (text == nullptr) return nullptr;
  for (char *p = text; *p != '\0'; ++p) {
    *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
  }
  return text;
}

RUVO_API char *ruvo_str_toupper(char *text) noexcept {
  if (text == nullptr) return nullptr;
  for (char *p = text; *p != '\0'; ++p) {
    *p = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
  }
  return text;
}

RUVO_API char *ruvo_str_trim(char *text) noexcept { return trim_t(text, ' '); }

RUVO_API char *ruvo_str_trim_char(char *text, char c) noexcept { return trim_t(text, c); }

// ---- splitting ----

// strtok's rules, but the position is a local and the text is only read, so
// no working copy is needed and any number of threads may split at once.
RUVO_API char **ruvo_str_split(const char *text, const char *delimiters, int32_t *count) noexcept {
  constexpr int32_t kSlots = 32;  // the last slot always stays null
  char **tokens = static_cast<char **>(
      ruvo_zero_malloc(static_cast<int32_t>(kSlots * sizeof(char *))));
  int32_t n = 0;
  if (text != nullptr) {
    const char *delims = delimiters != nullptr ? delimiters : "";
    const char *p = text;
    while (n < kSlots - 1) {
      p += std::strspn(p, delims);
      if (*p == '\0') break;
      const size_t len = std::strcspn(p, delims);
      char *token = static_cast<char *>(ruvo_malloc(static_cast<int32_t>(len + 1)));
      std::memcpy(token, p, len);
      token[len] = '\0';
      tokens[n++] = token;
      p += len;
    }
  }
  if (count != nullptr) *count = n;
  return tokens;
}

RUVO_API void ruvo_str_split_free(char **tokens) noexcept {
  if (tokens == nullptr) return;
  for (char **p = tokens; *p != nullptr; ++p) std::free(*p);
  std::free(tokens);
}

// ---- bounded copies ----

RUVO_API size_t ruvo_str_strlcpy(char *dst, const char *src, size_t size) noexcept {
  if (size == 0) return 0;
  const size_t n = std::strlen(src);
  const size_t copy = n < size ? n : size - 1;
  // memmove, as ruvo_strlcpy does: a copy within one buffer stays defined.
  std::memmove(dst, src, copy);
  dst[copy] = '\0';
  return n;
}

RUVO_API char *ruvo_str_strncat(char *dst, const char *src, int32_t size) noexcept {
  if (dst == nullptr || src == nullptr || size < 1) return nullptr;
  const size_t have = std::strlen(dst);
  const size_t add = std::strlen(src);
  if (have + add + 1 > static_cast<size_t>(size)) return nullptr;
  std::memcpy(dst + have, src, add + 1);
  return dst;
}

RUVO_API uint32_t ruvo_str_bin2hexstr(const void *bytes, int32_t count, char *out,
                                      int32_t out_size) noexcept {
  if (bytes == nullptr || out == nullptr || count < 1) return RUVO_E_INVAL;
  const int64_t need = int64_t{count} * 2 + 1;
  if (int64_t{out_size} < need) return RUVO_E_SMALL;
  // Built aside and copied whole, so the caller's buffer is written only on
  // success.
  char *work = static_cast<char *>(ruvo_zero_malloc_(static_cast<size_t>(need)));
  if (work == nullptr) return RUVO_E_NOMEM;
  static const char kDigits[] = "0123456789abcdef";
  const auto *in = static_cast<const unsigned char *>(bytes);
  for (int32_t i = 0; i < count; ++i) {
    work[2 * i] = kDigits[in[i] >> 4];
    work[2 * i + 1] = kDigits[in[i] & 0x0F];
  }
  std::memcpy(out, work, static_cast<size_t>(need));
  ruvo_free_(work);
  return RUVO_OK;
}

}  // extern "C"
