// INI documents: a table of sections, each a table of keys, read line by line
// from a plain or an enciphered (.eni) file and written back in canonical
// form through a temporary file that replaces the target only when it is
// complete. The enciphered form changes only how bytes reach the line parser
// and leave the line writers: DES blocks behind an MD5 digest of the clear
// text, from libruvoalgo.
#include "ruvo/base/ini.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "internal/fault.hpp"
#include "internal/log.hpp"
#include "internal/platform.hpp"
#include "ruvo/algo/algo.h"
#include "ruvo/base/charset.h"
#include "ruvo/base/file.h"
#include "ruvo/base/memory.h"
#include "ruvo/base/str.h"

#if defined(RUVO_BASE_TESTING)
namespace ruvo::fault {
namespace {
thread_local long t_save_steps_left = -1;
}

void fail_save_step(long successes) noexcept { t_save_steps_left = successes; }

bool save_step_fails() noexcept {
  if (t_save_steps_left < 0) return false;
  return t_save_steps_left-- == 0;
}
}  // namespace ruvo::fault
#endif

namespace {

using ruvo::fault::save_step_fails;

constexpr size_t kLineMax = 1024;  // a line this long or longer is written in pieces
constexpr size_t kDigestSize = 16;
constexpr size_t kKeySize = 8;
constexpr size_t kBlock = 8;

struct FileCloser {
  void operator()(std::FILE *f) const noexcept { ruvo_file_close(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

struct FreeBlock {
  void operator()(void *p) const noexcept { std::free(p); }
};
using Buffer = std::unique_ptr<char[], FreeBlock>;

// ---- names ----

// _strnicmp in the C locale: only ASCII letters fold.
inline unsigned char fold(unsigned char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

// Seed 5318, as the INI tables have always hashed; the zero that ends a name
// is part of its key.
uint32_t hash_nocase(const void *key, int32_t len) noexcept {
  const auto *p = static_cast<const unsigned char *>(key);
  uint32_t h = 5318;
  for (int32_t i = 0; i < len; ++i) h = h * 33 + fold(p[i]);
  return h;
}

uint32_t hash_case(const void *key, int32_t len) noexcept {
  const auto *p = static_cast<const unsigned char *>(key);
  uint32_t h = 5318;
  for (int32_t i = 0; i < len; ++i) h = h * 33 + p[i];
  return h;
}

int32_t cmp_nocase(const void *a, int32_t alen, const void *b, int32_t blen) noexcept {
  if (alen != blen) return 1;
  const auto *x = static_cast<const unsigned char *>(a);
  const auto *y = static_cast<const unsigned char *>(b);
  for (int32_t i = 0; i < alen; ++i) {
    if (fold(x[i]) != fold(y[i])) return 1;
  }
  return 0;
}

int32_t cmp_case(const void *a, int32_t alen, const void *b, int32_t blen) noexcept {
  return alen == blen && std::memcmp(a, b, static_cast<size_t>(alen)) == 0 ? 0 : 1;
}

void free_value(void *value) noexcept { std::free(value); }
void free_section(void *section) noexcept {
  ruvo_xhash_destroy(static_cast<ruvo_xhash_st *>(section));
}

ruvo_xhash_st *make_table(uint32_t case_sensitive, ruvo_xhash_free_fn free_fn) noexcept {
  return case_sensitive != 0 ? ruvo_xhash_create2(free_fn, hash_case, cmp_case, 0)
                             : ruvo_xhash_create2(free_fn, hash_nocase, cmp_nocase, 0);
}

ruvo_ini_file_st *make_document(uint32_t case_sensitive) noexcept {
  auto *ini = static_cast<ruvo_ini_file_st *>(ruvo_malloc(sizeof(ruvo_ini_file_st)));
  ini->case_sensitive = case_sensitive;
  ini->root = make_table(case_sensitive, free_section);
  return ini;
}

// A name's key is its text with the terminating zero. Names too long for a
// 32-bit key length are no keys at all.
int32_t key_len(const char *name) noexcept {
  const size_t n = std::strlen(name);
  return n < INT32_MAX ? static_cast<int32_t>(n + 1) : -1;
}

ruvo_xhash_st *find_section(const ruvo_ini_file_st *ini, const char *section) noexcept {
  void *table = nullptr;
  if (ruvo_xhash_search(ini->root, section, key_len(section), &table) != 0) return nullptr;
  return static_cast<ruvo_xhash_st *>(table);
}

bool usable(const ruvo_ini_file_st *ini, const char *section, const char *key) noexcept {
  return ini != nullptr && ini->root != nullptr && section != nullptr && key != nullptr;
}

// ---- the line grammar ----

inline bool is_trim(char c) noexcept { return c == '\t' || c == '\n' || c == '\r' || c == ' '; }

// Trims [begin, end) in place and terminates it.
char *trim(char *begin, char *end) noexcept {
  while (begin < end && is_trim(*begin)) ++begin;
  while (end > begin && is_trim(end[-1])) --end;
  *end = '\0';
  return begin;
}

struct Parser {
  ruvo_ini_file_st *ini;
  ruvo_xhash_st *section;  // the current section, null ahead of the first
};

// Takes one terminated line; writes zeros into it.
void parse_line(Parser &p, char *line) noexcept {
  switch (line[0]) {
    case '#':
    case '\'':
    case ';':
      return;
    case '[': {
      char *close = std::strrchr(line + 1, ']');
      if (close == nullptr) return;
      *close = '\0';
      ruvo_xhash_st *table = make_table(p.ini->case_sensitive, free_value);
      // A repeated name destroys the earlier section in its slot of the order.
      ruvo_xhash_insert(p.ini->root, line + 1, key_len(line + 1), table);
      p.section = table;
      return;
    }
    default:
      break;
  }
  char *eq = std::strchr(line, '=');
  if (eq == nullptr) return;
  char *key = trim(line, eq);
  char *value = trim(eq + 1, eq + 1 + std::strlen(eq + 1));
  if (p.section == nullptr || *key == '\0') return;
  ruvo_xhash_insert(p.section, key, key_len(key), ruvo_xstrdup(value));
}

// ---- numbers ----

// Decimal text as the C runtime's strtol and strtoul read it with a 32-bit
// long: white space, a sign, digits up to the first other byte; the
// magnitude is kept only up to where every result saturates.
struct Decimal {
  bool negative = false;
  uint64_t magnitude = 0;  // at most 2^32
};

Decimal read_decimal(const char *s) noexcept {
  Decimal d;
  while (*s == ' ' || (*s >= '\t' && *s <= '\r')) ++s;
  if (*s == '+' || *s == '-') d.negative = *s++ == '-';
  for (; *s >= '0' && *s <= '9'; ++s) {
    d.magnitude = d.magnitude * 10 + static_cast<uint64_t>(*s - '0');
    if (d.magnitude > UINT32_MAX) d.magnitude = uint64_t{UINT32_MAX} + 1;
  }
  return d;
}

int32_t to_signed(Decimal d) noexcept {
  if (d.negative) {
    return d.magnitude > uint64_t{INT32_MAX} + 1 ? INT32_MIN
                                                 : static_cast<int32_t>(-static_cast<int64_t>(d.magnitude));
  }
  return d.magnitude > INT32_MAX ? INT32_MAX : static_cast<int32_t>(d.magnitude);
}

// strtoul negates in unsigned arithmetic: "-1" is 4294967295.
uint32_t to_unsigned(Decimal d) noexcept {
  if (d.magnitude > UINT32_MAX) return UINT32_MAX;
  const auto m = static_cast<uint32_t>(d.magnitude);
  return d.negative ? 0u - m : m;
}

template <class T>
void set_number(ruvo_ini_file_st *ini, const char *section, const char *key, T value) noexcept {
  char text[32] = {};  // 21 characters hold any 64-bit number; the rest terminate it
  std::to_chars(text, text + 31, value);
  ruvo_ini_file_set(ini, section, key, text);
}

// ---- the key ----

bool is_eni_path(const char *path, size_t shortest) noexcept {
  const size_t n = std::strlen(path);
  return n >= shortest && std::memcmp(path + n - 4, ".eni", 4) == 0;
}

bool key_ok(const char *sk) noexcept { return sk == nullptr || std::strlen(sk) == kKeySize; }

int hex_value(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 0;
}

// The built-in key, put together from three local tables at each call so
// that the key itself lies in no stored data: picks run forward through
// `digits`, each after skipping `steps[i]`, and `order` shuffles them.
void ruvo_eni_default_key(uint8_t *dst, size_t len) noexcept {
  const char digits[] = "79f4bAf0C2DaF8376c2BdcE44E4B50825e1108fDc";
  const uint8_t steps[16] = {1, 0, 2, 1, 3, 0, 1, 2, 0, 1, 3, 2, 0, 1, 2, 1};
  const uint8_t order[16] = {6, 2, 7, 5, 8, 3, 10, 0, 12, 4, 13, 1, 14, 11, 15, 9};
  char first[16];
  size_t pos = 0;
  for (size_t i = 0; i < 16; ++i) {
    pos += steps[i];
    first[i] = digits[pos++];
  }
  if (len < kKeySize) return;
  for (size_t i = 0; i < kKeySize; ++i) {
    dst[i] = static_cast<uint8_t>(hex_value(first[order[2 * i]]) << 4 |
                                  hex_value(first[order[2 * i + 1]]));
  }
}

void prepare_cipher(const char *sk, ruvo_des_ctx *des, ruvo_md5_ctx *md5) noexcept {
  uint8_t key[kKeySize];
  if (sk != nullptr) {
    std::memcpy(key, sk, kKeySize);
  } else {
    ruvo_eni_default_key(key, sizeof key);
  }
  ruvo_des_set_key(des, key);
  ruvo_md5_init(md5);
}

// ---- loading ----

// The size by seeking, as the line buffer is made for the longest line the
// file can hold. Null when it can't be told or doesn't fit a checked
// allocation.
long file_size(std::FILE *f) noexcept {
  if (std::fseek(f, 0, SEEK_END) != 0) return -1;
  const long size = std::ftell(f);
  if (std::fseek(f, 0, SEEK_SET) != 0) return -1;
  return size >= 0 && size < INT32_MAX - 2 ? size : -1;
}

// The whole file at once, in text mode so that line ends are the platform's,
// then line by line: one read instead of a locked fgets call per line,
// with the same lines (a last one without a line feed counts).
ruvo_ini_file_st *load_plain(const char *path, uint32_t case_sensitive) noexcept {
  const File f(std::fopen(path, "r"));
  if (f == nullptr) return nullptr;
  const long size = file_size(f.get());
  if (size < 0) return nullptr;
  const Buffer text(static_cast<char *>(ruvo_malloc(static_cast<int32_t>(size) + 1)));
  const size_t len = std::fread(text.get(), 1, static_cast<size_t>(size), f.get());
  text[len] = '\0';
  Parser p{make_document(case_sensitive), nullptr};
  for (char *line = text.get(), *end = text.get() + len; line < end;) {
    char *nl = static_cast<char *>(std::memchr(line, '\n', static_cast<size_t>(end - line)));
    char *next = nl != nullptr ? nl + 1 : end;
    if (nl != nullptr) *nl = '\0';
    parse_line(p, line);
    line = next;
  }
  return p.ini;
}

// Parses the lines that end in [text, text + len) and returns the length of
// the unfinished rest, which it moves to the start. White space after a line
// feed is the padding of the blocks or indentation, never part of a line.
size_t parse_clear_text(Parser &p, char *text, size_t len) noexcept {
  size_t pos = 0;
  while (char *nl = static_cast<char *>(std::memchr(text + pos, '\n', len - pos))) {
    *nl = '\0';
    parse_line(p, text + pos);
    pos = static_cast<size_t>(nl - text) + 1;
    while (pos < len && is_trim(text[pos])) ++pos;
  }
  std::memmove(text, text + pos, len - pos);
  return len - pos;
}

// Lines are parsed as the blocks come, but the document reaches the caller
// only when the digest of the whole clear text has proved right.
ruvo_ini_file_st *load_eni(const char *path, uint32_t case_sensitive, const char *sk) noexcept {
  const File f(std::fopen(path, "rb"));
  if (f == nullptr) return nullptr;
  const long size = file_size(f.get());
  uint8_t digest[kDigestSize];
  if (size < 0 || std::fread(digest, 1, sizeof digest, f.get()) != sizeof digest) return nullptr;
  ruvo_des_ctx des;
  ruvo_md5_ctx md5;
  prepare_cipher(sk, &des, &md5);
  const size_t cap = static_cast<size_t>(size) + 1;
  const Buffer text(static_cast<char *>(ruvo_malloc(static_cast<int32_t>(cap))));
  std::unique_ptr<ruvo_ini_file_st, decltype(&ruvo_ini_file_free)> ini(
      make_document(case_sensitive), &ruvo_ini_file_free);
  Parser p{ini.get(), nullptr};
  size_t carried = 0;
  uint8_t block[kLineMax];
  size_t n;
  while ((n = std::fread(block, 1, sizeof block, f.get())) != 0) {
    // A file that grew since it was measured could overrun the buffer.
    if (n % kBlock != 0 || carried + n >= cap) return nullptr;
    auto *clear = reinterpret_cast<uint8_t *>(text.get() + carried);
    for (size_t i = 0; i < n; i += kBlock) ruvo_des_decrypt(&des, block + i, clear + i);
    ruvo_md5_update(&md5, clear, n);
    carried = parse_clear_text(p, text.get(), carried + n);
  }
  uint8_t computed[kDigestSize];
  ruvo_md5_final(&md5, computed);
  if (std::memcmp(computed, digest, sizeof digest) != 0) return nullptr;
  return ini.release();
}

// ---- saving ----

struct Saver {
  std::FILE *stream;
  uint32_t skip_empty;
  bool eni;
  ruvo_md5_ctx md5;  // digest of the clear text so far
  ruvo_des_ctx des;
};

// Pads to whole blocks, adds to the digest, enciphers and writes in one call.
// Requires: len <= kLineMax.
int write_block(Saver &s, const char *bytes, size_t len) noexcept {
  uint8_t clear[kLineMax];
  uint8_t out[kLineMax];
  std::memcpy(clear, bytes, len);
  while (len % kBlock != 0) clear[len++] = ' ';
  ruvo_md5_update(&s.md5, clear, len);
  for (size_t i = 0; i < len; i += kBlock) ruvo_des_encrypt(&s.des, clear + i, out + i);
  if (!save_step_fails() && std::fwrite(out, 1, len, s.stream) == len) return 0;
  RUVO_LOG(RUVO_LOG_WARN, "warn", "Failed to write data\n");
  if (std::ferror(s.stream)) RUVO_LOG(RUVO_LOG_WARN, "warn", "Error: %s\n", std::strerror(errno));
  return -1;
}

// One enciphered line: short ones from a buffer on the stack, longer ones
// from an allocation, in pieces of a block-multiple so that the pieces don't
// show in the clear text.
int write_eni_line(Saver &s, const char *a, const char *between, const char *b,
                   const char *after) noexcept {
  const size_t len = std::strlen(a) + std::strlen(between) + std::strlen(b) + std::strlen(after);
  char line[kLineMax + 1];
  if (len < kLineMax) {
    ruvo_str_snprintf(line, sizeof line, "%s%s%s%s", a, between, b, after);
    return write_block(s, line, len);
  }
  if (len > INT32_MAX - 2) return -1;
  const Buffer whole(static_cast<char *>(ruvo_malloc(static_cast<int32_t>(len + 2))));
  char *end = whole.get();
  for (const char *part : {a, between, b, after}) {
    const size_t n = std::strlen(part);
    std::memcpy(end, part, n);
    end += n;
  }
  for (size_t at = 0; at < len; at += kLineMax) {
    if (write_block(s, whole.get() + at, std::min(len - at, kLineMax)) != 0) {
      return -1;
    }
  }
  return 0;
}

int write_line(Saver &s, const char *a, const char *between, const char *b,
               const char *after) noexcept {
  if (s.eni) return write_eni_line(s, a, between, b, after);
  if (save_step_fails()) return -1;
  return std::fprintf(s.stream, "%s%s%s%s", a, between, b, after) < 1 ? -1 : 0;
}

int32_t write_key(const void *key, int32_t, void *value, void *arg) noexcept {
  return write_line(*static_cast<Saver *>(arg), static_cast<const char *>(key), " = ",
                    static_cast<const char *>(value), "\n");
}

int32_t write_section(const void *name, int32_t, void *table, void *arg) noexcept {
  Saver &s = *static_cast<Saver *>(arg);
  auto *keys = static_cast<ruvo_xhash_st *>(table);
  if (s.skip_empty != 0 && ruvo_xhash_count(keys) == 0) return 0;
  if (write_line(s, "[", static_cast<const char *>(name), "]", "\n") != 0) return -1;
  if (ruvo_xhash_walk(keys, &s, write_key) != 0) return -1;
  if (s.eni) return 0;
  return write_line(s, "", "", "", "\n");
}

// The enciphered body: blocks from offset 16, then the digest in front.
int32_t write_eni(Saver &s, const char *sk, ruvo_ini_file_st *ini) noexcept {
  if (save_step_fails() || std::fseek(s.stream, kDigestSize, SEEK_SET) != 0) {
    return RUVO_INI_E_SEEK_BODY;
  }
  prepare_cipher(sk, &s.des, &s.md5);
  if (ruvo_xhash_walk(ini->root, &s, write_section) != 0) return RUVO_INI_E_WRITE;
  if (save_step_fails() || std::fseek(s.stream, 0, SEEK_SET) != 0) return RUVO_INI_E_SEEK_HEAD;
  uint8_t digest[kDigestSize] = {};
  ruvo_md5_final(&s.md5, digest);
  static const uint8_t zero[kDigestSize] = {};
  if (save_step_fails() || std::memcmp(digest, zero, sizeof digest) == 0) {
    RUVO_LOG(RUVO_LOG_WARN, "warn",
             "eni_cs is NULL, md5_ctx.state 0x%x 0x%x 0x%x 0x%x, md5_ctx.count %u %u\n",
             s.md5.state[0], s.md5.state[1], s.md5.state[2], s.md5.state[3], s.md5.count[0],
             s.md5.count[1]);
    return RUVO_INI_E_DIGEST;
  }
  if (save_step_fails() || std::fwrite(digest, 1, sizeof digest, s.stream) != sizeof digest) {
    return RUVO_INI_E_WRITE_HEAD;
  }
  return 0;
}

int32_t write_document(Saver &s, const char *sk, ruvo_ini_file_st *ini) noexcept {
  if (s.eni) return write_eni(s, sk, ini);
  return ruvo_xhash_walk(ini->root, &s, write_section) != 0 ? RUVO_INI_E_WRITE : 0;
}

// A temporary name from the platform, in UTF-8 as ruvo_file_open takes it.
bool temp_name(char (&name)[260]) noexcept {
  const ruvo_wchar_t *wide = save_step_fails() ? nullptr : ruvo::sys::temp_file_name();
  if (ruvo_str_unicode_to_utf8_ex(wide, name, sizeof name) == 0) return true;
  RUVO_LOG(RUVO_LOG_WARN, "warn", "_wtmpnam to utf8 failed\n");
  return false;
}

// Writes, and before the stream is closed makes sure that everything it
// buffered reached the file: a save that fails here never gets renamed.
int32_t write_and_flush(Saver &s, const char *sk, ruvo_ini_file_st *ini,
                        uint32_t direct_io) noexcept {
  if (const int32_t rc = write_document(s, sk, ini); rc != 0) return rc;
  if (save_step_fails() || std::fflush(s.stream) != 0 || std::ferror(s.stream)) {
    return RUVO_INI_E_WRITE;
  }
  if (direct_io != 0) ruvo::sys::commit_to_disk(s.stream);
  return 0;
}

int32_t save_impl(ruvo_ini_file_st *ini, const char *path, uint32_t skip_empty, const char *sk,
                  uint32_t direct_io) noexcept {
  if (!key_ok(sk)) return RUVO_INI_E_KEY;
  if (ini == nullptr || ini->root == nullptr || path == nullptr) {
    return static_cast<int32_t>(RUVO_E_INVAL);
  }
  const bool eni = is_eni_path(path, 4);
  // "c" is msvcrt's commit-on-flush; elsewhere it is harmless.
  const char *mode = eni ? "wb+" : direct_io != 0 ? "wc+" : "w+";
  char tmp[260];
  if (!temp_name(tmp)) return RUVO_INI_E_TEMP_NAME;
  std::FILE *stream = save_step_fails() ? nullptr : ruvo_file_open(tmp, mode);
  if (stream == nullptr) return RUVO_INI_E_TEMP_OPEN;
  Saver s{stream, skip_empty, eni, {}, {}};
  const int32_t rc = write_and_flush(s, sk, ini, direct_io);
  ruvo_file_close(stream);
  if (rc == 0 && !save_step_fails() && ruvo_file_rename(tmp, path) == 0) return 0;
  ruvo_file_unlink(tmp);
  return rc != 0 ? rc : RUVO_INI_E_RENAME;
}

}  // namespace

extern "C" {

// ---- loading and freeing ----

RUVO_API ruvo_ini_file_st *ruvo_ini_file_load_with_sk_ex(const char *path, uint32_t case_sensitive,
                                                         const char *sk) noexcept {
  if (!key_ok(sk)) return nullptr;
  if (path == nullptr) return make_document(case_sensitive);
  if (is_eni_path(path, 5)) return load_eni(path, case_sensitive, sk);
  return load_plain(path, case_sensitive);
}

RUVO_API ruvo_ini_file_st *ruvo_ini_file_load(const char *path) noexcept {
  return ruvo_ini_file_load_with_sk_ex(path, 0, nullptr);
}

RUVO_API ruvo_ini_file_st *ruvo_ini_file_load_ex(const char *path,
                                                 uint32_t case_sensitive) noexcept {
  return ruvo_ini_file_load_with_sk_ex(path, case_sensitive, nullptr);
}

RUVO_API ruvo_ini_file_st *ruvo_ini_file_load_with_sk(const char *path, const char *sk) noexcept {
  return ruvo_ini_file_load_with_sk_ex(path, 0, sk);
}

RUVO_API void ruvo_ini_file_free(ruvo_ini_file_st *ini) noexcept {
  if (ini == nullptr) return;
  ruvo_xhash_destroy(ini->root);
  std::free(ini);
}

// ---- reading ----

RUVO_API const char *ruvo_ini_file_get(ruvo_ini_file_st *ini, const char *section,
                                       const char *key) noexcept {
  if (!usable(ini, section, key)) return nullptr;
  ruvo_xhash_st *table = find_section(ini, section);
  void *value = nullptr;
  if (table == nullptr || ruvo_xhash_search(table, key, key_len(key), &value) != 0) return nullptr;
  return static_cast<const char *>(value);
}

RUVO_API const char *ruvo_ini_file_get_cstr(ruvo_ini_file_st *ini, const char *section,
                                            const char *key, const char *def) noexcept {
  const char *value = ruvo_ini_file_get(ini, section, key);
  return value != nullptr ? value : def;
}

RUVO_API int32_t ruvo_ini_file_get_int(ruvo_ini_file_st *ini, const char *section, const char *key,
                                       int32_t def) noexcept {
  const char *value = ruvo_ini_file_get(ini, section, key);
  return value != nullptr ? to_signed(read_decimal(value)) : def;
}

RUVO_API int64_t ruvo_ini_file_get_long(ruvo_ini_file_st *ini, const char *section,
                                        const char *key, int64_t def) noexcept {
  const char *value = ruvo_ini_file_get(ini, section, key);
  return value != nullptr ? to_signed(read_decimal(value)) : def;
}

RUVO_API uint32_t ruvo_ini_file_get_uint(ruvo_ini_file_st *ini, const char *section,
                                         const char *key, uint32_t def) noexcept {
  const char *value = ruvo_ini_file_get(ini, section, key);
  return value != nullptr ? to_unsigned(read_decimal(value)) : def;
}

RUVO_API uint64_t ruvo_ini_file_get_ulong(ruvo_ini_file_st *ini, const char *section,
                                          const char *key, uint64_t def) noexcept {
  const char *value = ruvo_ini_file_get(ini, section, key);
  return value != nullptr ? to_unsigned(read_decimal(value)) : def;
}

// ---- changing ----

RUVO_API void ruvo_ini_file_set(ruvo_ini_file_st *ini, const char *section, const char *key,
                                const char *value) noexcept {
  if (!usable(ini, section, key)) return;
  ruvo_xhash_st *table = find_section(ini, section);
  if (table == nullptr) {
    table = make_table(ini->case_sensitive, free_value);
    ruvo_xhash_insert(ini->root, section, key_len(section), table);
  }
  // A line break in a value would end its line in the file.
  char *copy = ruvo_xstrdup(value != nullptr ? value : "");
  for (char *c = copy; *c != '\0'; ++c) {
    if (*c == '\r' || *c == '\n') *c = ' ';
  }
  ruvo_xhash_insert(table, key, key_len(key), copy);
}

RUVO_API void ruvo_ini_file_set_int(ruvo_ini_file_st *ini, const char *section, const char *key,
                                    int32_t value) noexcept {
  set_number(ini, section, key, value);
}

RUVO_API void ruvo_ini_file_set_long(ruvo_ini_file_st *ini, const char *section, const char *key,
                                     int64_t value) noexcept {
  set_number(ini, section, key, value);
}

RUVO_API void ruvo_ini_file_set_uint(ruvo_ini_file_st *ini, const char *section, const char *key,
                                     uint32_t value) noexcept {
  set_number(ini, section, key, value);
}

RUVO_API void ruvo_ini_file_set_ulong(ruvo_ini_file_st *ini, const char *section,
                                      const char *key, uint64_t value) noexcept {
  set_number(ini, section, key, value);
}

RUVO_API void ruvo_ini_file_unset(ruvo_ini_file_st *ini, const char *section,
                                  const char *key) noexcept {
  if (!usable(ini, section, key)) return;
  if (ruvo_xhash_st *table = find_section(ini, section)) {
    ruvo_xhash_delete(table, key, key_len(key));
  }
}

RUVO_API void ruvo_ini_file_del(ruvo_ini_file_st *ini, const char *section) noexcept {
  if (!usable(ini, section, "")) return;
  ruvo_xhash_delete(ini->root, section, key_len(section));
}

// ---- walking ----

namespace {

struct SectionWalk {
  ruvo_ini_file_st *ini;
  void *arg;
  ruvo_ini_section_fn fn;
};

struct KeyWalk {
  const char *section;
  void *arg;
  ruvo_ini_key_fn fn;
};

int32_t visit_section(const void *name, int32_t, void *, void *arg) noexcept {
  const auto &w = *static_cast<SectionWalk *>(arg);
  return w.fn(w.ini, static_cast<const char *>(name), w.arg);
}

int32_t visit_key(const void *key, int32_t, void *value, void *arg) noexcept {
  const auto &w = *static_cast<KeyWalk *>(arg);
  return w.fn(w.section, static_cast<const char *>(key), static_cast<const char *>(value), w.arg);
}

}  // namespace

RUVO_API int32_t ruvo_ini_file_foreach(ruvo_ini_file_st *ini, void *arg,
                                       ruvo_ini_section_fn fn) noexcept {
  if (ini == nullptr || ini->root == nullptr || fn == nullptr) return 0;
  SectionWalk w{ini, arg, fn};
  return ruvo_xhash_walk(ini->root, &w, visit_section);
}

RUVO_API int32_t ruvo_ini_file_section_foreach(ruvo_ini_file_st *ini, const char *section,
                                               void *arg, ruvo_ini_key_fn fn) noexcept {
  if (!usable(ini, section, "") || fn == nullptr) return 0;
  ruvo_xhash_st *table = find_section(ini, section);
  if (table == nullptr) return 0;
  KeyWalk w{section, arg, fn};
  return ruvo_xhash_walk(table, &w, visit_key);
}

// ---- saving ----

RUVO_API int32_t ruvo_ini_file_save_with_sk(ruvo_ini_file_st *ini, const char *path,
                                            uint32_t skip_empty, const char *sk,
                                            uint32_t direct_io) noexcept {
  return save_impl(ini, path, skip_empty, sk, direct_io);
}

RUVO_API int32_t ruvo_ini_file_save(ruvo_ini_file_st *ini, const char *path,
                                    uint32_t skip_empty) noexcept {
  return save_impl(ini, path, skip_empty, nullptr, 0);
}

RUVO_API int32_t ruvo_ini_file_save_directio(ruvo_ini_file_st *ini, const char *path,
                                             uint32_t skip_empty) noexcept {
  return save_impl(ini, path, skip_empty, nullptr, 1);
}

// A target held open elsewhere often frees up within moments (a reader, a
// scanner); the pause gives it that time.
RUVO_API int32_t ruvo_ini_file_save_retry(ruvo_ini_file_st *ini, const char *path,
                                          uint32_t skip_empty, int32_t retries) noexcept {
  int32_t rc = save_impl(ini, path, skip_empty, nullptr, 0);
  for (; rc != 0 && retries > 0; --retries) {
    ruvo::sys::sleep_ms(100);
    rc = save_impl(ini, path, skip_empty, nullptr, 0);
    RUVO_LOG(RUVO_LOG_INFO, "info", "retry ini save ret:%d\n", rc);
  }
  return rc;
}

}  // extern "C"
