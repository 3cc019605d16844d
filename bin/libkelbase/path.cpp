// Path strings: normalising, making absolute or relative, and splitting off
// directory, name and extension, on caller's buffers. Every scan goes one
// code unit at a time and tests ASCII units only, so the _a and _u forms are
// one char instance of each template and the _w forms its 16-bit instance.
// The only outside facts are the current and the home directory.
#include "ruvo/base/path.h"

#include <cstring>

#include "ruvo/base/dir.h"
#include "ruvo/base/string.h"
#include "string_impl.hpp"

namespace {

using wchar = ruvo_wchar_t;

// Work buffers of ruvo_path_relative_to: paths of 1 to 259 bytes.
constexpr size_t kWork = 260;
// ruvo_home_dir's limit in ruvo_path_translate.
constexpr size_t kHome = 1039;

template <class C>
constexpr bool is_sep(C c) noexcept {
  return c == C('/') || c == C('\\');
}

constexpr bool is_letter(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// A letter and ':'; reads the second byte only behind a letter.
constexpr bool has_drive(const char *p) noexcept { return is_letter(p[0]) && p[1] == ':'; }

template <class C>
uint32_t format_t(C *path) noexcept {
  if (path == nullptr || path[0] == C(0)) return RUVO_E_INVAL;
  // Collapsing runs and turning separators into '/' in one pass gives what
  // the two passes give: a run keeps its first unit, which becomes '/'.
  size_t w = 0;
  for (size_t r = 0; path[r] != C(0); ++r) {
    if (!is_sep(path[r])) {
      path[w++] = path[r];
    } else if (w == 0 || path[w - 1] != C('/')) {
      path[w++] = C('/');
    }
  }
  path[w] = C(0);
  return RUVO_OK;
}

template <class C>
C *get_name_t(const C *path) noexcept {
  if (path == nullptr) return nullptr;
  const C *name = nullptr;
  const C *p = path;
  for (; *p != C(0); ++p) {
    if ((is_sep(*p) || *p == C(':')) && p[1] != C(0) && !is_sep(p[1])) name = p + 1;
  }
  // The result points into the caller's string, as strrchr's does.
  return const_cast<C *>(name != nullptr ? name : p);
}

template <class C>
C *get_ext_t(const C *path) noexcept {
  if (path == nullptr) return nullptr;
  const C *dot = nullptr;
  const C *p = path;
  for (; *p != C(0); ++p) {
    if (*p == C('.')) {
      dot = p;
    } else if (*p == C(' ') || is_sep(*p)) {
      dot = nullptr;
    }
  }
  return const_cast<C *>(dot != nullptr ? dot : p);
}

template <class C>
int remove_ext_t(C *path) noexcept {
  C *ext = get_ext_t(path);
  if (ext == nullptr) return 0;
  *ext = C(0);
  return 1;
}

template <class C>
int remove_name_t(C *path) noexcept {
  if (path == nullptr) return 0;
  size_t cut = 0;
  for (size_t i = 0; path[i] != C(0); ++i) {
    if (is_sep(path[i])) {
      cut = i;
    } else if (path[i] == C(':')) {
      if (is_sep(path[i + 1])) ++i;  // "C:\" keeps its '\'
      cut = i + 1;
    }
  }
  if (path[cut] == C(0)) return 0;
  // A rooted single name ("\abc") and a bare network prefix ("\\abc") keep
  // their separators.
  const bool rooted = cut == 0 && is_sep(path[0]);
  const bool network = cut == 1 && is_sep(path[0]) && is_sep(path[1]);
  if (rooted || network) {
    if (path[cut + 1] == C(0)) return 0;
    path[cut + 1] = C(0);
    return 1;
  }
  path[cut] = C(0);
  return 1;
}

template <class C>
const C *directory_t(const C *path, C *out, size_t cap) noexcept {
  static constexpr C dot[] = {C('.'), C(0)};
  if (path == nullptr || out == nullptr || cap == 0) return nullptr;
  size_t end = ruvo::detail::len_t(path);
  while (end > 0 && !is_sep(path[end - 1])) --end;
  if (end == 0) return dot;
  const size_t n = end - 1;  // the part before the separator
  if (n >= cap) return nullptr;
  std::memcpy(out, path, n * sizeof(C));
  out[n] = C(0);
  return out;
}

// Copies `text` into `out` and translates it: out, or null if it doesn't
// fit or the translation fails.
char *copy_translated(const char *text, char *out, size_t cap) noexcept {
  if (ruvo_strlcpy(out, text, cap) >= cap) return nullptr;
  return ruvo_path_translate(out, 0, cap) == 0 ? nullptr : out;
}

// Appends `n` bytes of `seg` as a new name at out[cur]. False if the name
// and the terminator don't fit cap.
bool append_name(char *out, size_t &cur, size_t cap, const char *seg, size_t n) noexcept {
  // Only a root ("C:\", "\") ends in '\' here: translate drops any other.
  const size_t sep = cur > 0 && out[cur - 1] == '\\' ? 0 : 1;
  if (cur + sep + n >= cap) return false;
  if (sep != 0) out[cur++] = '\\';
  std::memcpy(out + cur, seg, n);
  cur += n;
  out[cur] = '\0';
  return true;
}

}  // namespace

extern "C" {

// ---- normalising ----

RUVO_API size_t ruvo_path_translate(char *path, size_t len, size_t cap) noexcept {
  if (path == nullptr || cap == 0 || path[0] == '\0') return 0;
  size_t n = ruvo_strnlen(path, cap);
  if (n == cap || (len != 0 && len != n)) return 0;
  // Kept for a bare drive without room for its backslash (cap 3).
  char saved[3] = {};
  std::memcpy(saved, path, cap < sizeof saved ? cap : sizeof saved);
  if (path[0] == '~') {
    char home[kHome];
    const size_t h = ruvo_home_dir(home, sizeof home);
    if (h == 0) return 0;
    if (h - 1 + n >= cap) return 0;
    std::memmove(path + h, path + 1, n);  // the text behind '~' and the terminator
    std::memcpy(path, home, h);
    n += h - 1;
  }
  size_t w = 0;
  for (size_t r = 0; r < n; ++r) {
    if (!is_sep(path[r])) {
      path[w++] = path[r];
    } else if (w == 0 || path[w - 1] != '\\') {
      path[w++] = '\\';
    }
  }
  if (w >= 2 && path[w - 1] == '\\') --w;
  path[w] = '\0';
  if (w < 2 || !has_drive(path)) return w;
  // A bare drive gets its '\' or, without room for it, the string is put
  // back as it came.
  if (w == 2 && w + 1 >= cap) {
    std::memcpy(path, saved, sizeof saved);
    return 0;
  }
  if (path[0] >= 'a') path[0] = static_cast<char>(path[0] - ('a' - 'A'));
  if (w == 2) {
    path[w++] = '\\';
    path[w] = '\0';
  }
  return w;
}

RUVO_API uint32_t ruvo_path_format_a(char *path) noexcept { return format_t(path); }
RUVO_API uint32_t ruvo_path_format_u(char *path) noexcept { return format_t(path); }
RUVO_API uint32_t ruvo_path_format_w(wchar *path) noexcept { return format_t(path); }

// ---- absolute and relative ----

RUVO_API int ruvo_path_is_absolute(const char *path) noexcept {
  if (path == nullptr) return 0;
  return path[0] == '~' || is_sep(path[0]) || has_drive(path) ? 1 : 0;
}

RUVO_API char *ruvo_path_absolute_to(const char *base, const char *path, char *out,
                                     size_t cap) noexcept {
  if (path == nullptr || out == nullptr || cap == 0) return nullptr;
  if (ruvo_path_is_absolute(path)) return copy_translated(path, out, cap);

  if (base != nullptr) {
    if (ruvo_strlcpy(out, base, cap) >= cap) return nullptr;
  } else {
    if (ruvo_current_dir_get(out, cap) == 0) return nullptr;
  }
  size_t cur = ruvo_path_translate(out, 0, cap);
  if (cur == 0) return nullptr;
  // ".." never takes off the drive root: the walk's root is the '\' of "C:\".
  const size_t root = has_drive(out) && out[2] == '\\' ? 2 : 0;

  const char *seg = path;
  for (;;) {
    while (is_sep(*seg)) ++seg;
    if (*seg == '\0') break;
    const char *end = seg;
    while (*end != '\0' && !is_sep(*end)) ++end;
    const size_t n = static_cast<size_t>(end - seg);
    if (n == 2 && seg[0] == '.' && seg[1] == '.') {
      if (cur > root) --cur;
      while (cur > root && out[cur] != '\\') --cur;
      out[cur] = '\0';
    } else if (n != 1 || seg[0] != '.') {
      if (!append_name(out, cur, cap, seg, n)) return nullptr;
    }
    seg = end;
  }
  if (cur <= root) {
    // Back at the root: "C:" becomes "C:\", and "" becomes "\".
    out[root] = '\\';
    out[root + 1] = '\0';
  }
  return out;
}

RUVO_API char *ruvo_path_absolute(const char *path, char *out, size_t cap) noexcept {
  return ruvo_path_absolute_to(nullptr, path, out, cap);
}

RUVO_API const char *ruvo_path_relative_to(const char *base, const char *path, char *out,
                                           size_t cap) noexcept {
  if (path == nullptr || out == nullptr || cap == 0) return nullptr;
  if (base == nullptr && !ruvo_path_is_absolute(path)) return copy_translated(path, out, cap);

  // Both results fit kWork, so their lengths are 1 to 259: absolute_to never
  // gives an empty string.
  char p[kWork];
  char b[kWork];
  if (ruvo_path_absolute_to(base, path, p, kWork) == nullptr) return nullptr;
  const size_t pn = ruvo_strlen(p);
  size_t bn = 0;
  if (base != nullptr) {
    if (ruvo_path_absolute_to(nullptr, base, b, kWork) == nullptr) return nullptr;
    bn = ruvo_strlen(b);
  } else {
    if (ruvo_current_dir_get(b, kWork) == 0) return nullptr;
    bn = ruvo_path_translate(b, 0, kWork);
    if (bn == 0) return nullptr;
  }

  if (pn == bn && ruvo_strncmp(p, b, pn) == 0) {
    if (cap < 2) return ".";
    out[0] = '.';
    out[1] = '\0';
    return out;
  }

  // Each is compared as if a '\' followed it, so that its last name is a
  // whole directory in the prefix test; `last` is the last '\' of the common
  // prefix, 0 also for none.
  const auto p_at = [&](size_t i) { return i < pn ? p[i] : i == pn ? '\\' : '\0'; };
  const auto b_at = [&](size_t i) { return i < bn ? b[i] : i == bn ? '\\' : '\0'; };
  size_t last = 0;
  for (size_t i = 0; p_at(i) != '\0' && p_at(i) == b_at(i); ++i) {
    if (p_at(i) == '\\') last = i;
  }
  // Nothing in common, or only the drive root: the absolute path.
  if (last == 0 || (last == 2 && b[1] == ':')) {
    if (pn >= cap) return nullptr;
    std::memcpy(out, p, pn + 1);
    return out;
  }
  // "..\" for each name of base below the common directory, then the rest of
  // path; without a rest the last "..\" loses its '\'. A result that doesn't
  // fit cap with its terminator gives null.
  size_t ups = 0;
  for (size_t i = last + 1; i <= bn; ++i) ups += b_at(i) == '\\' ? 1 : 0;
  const size_t rest = last < pn ? pn - last - 1 : 0;
  const size_t n = 3 * ups + rest - (rest == 0 ? 1 : 0);
  if (n >= cap) return nullptr;
  for (size_t u = 0; u < ups; ++u) std::memcpy(out + 3 * u, "..\\", 3);
  std::memcpy(out + 3 * ups, p + last + 1, rest);
  out[n] = '\0';
  return out;
}

RUVO_API const char *ruvo_path_relative(const char *path, char *out, size_t cap) noexcept {
  return ruvo_path_relative_to(nullptr, path, out, cap);
}

// ---- splitting ----

RUVO_API const char *ruvo_path_directory(const char *path, char *out, size_t cap) noexcept {
  return directory_t(path, out, cap);
}

RUVO_API const wchar *ruvo_path_directory_w(const wchar *path, wchar *out, size_t cap) noexcept {
  return directory_t(path, out, cap);
}

RUVO_API char *ruvo_path_get_name_a(const char *path) noexcept { return get_name_t(path); }
RUVO_API char *ruvo_path_get_name_u(const char *path) noexcept { return get_name_t(path); }
RUVO_API wchar *ruvo_path_get_name_w(const wchar *path) noexcept { return get_name_t(path); }

RUVO_API char *ruvo_path_get_ext_a(const char *path) noexcept { return get_ext_t(path); }
RUVO_API char *ruvo_path_get_ext_u(const char *path) noexcept { return get_ext_t(path); }
RUVO_API wchar *ruvo_path_get_ext_w(const wchar *path) noexcept { return get_ext_t(path); }

RUVO_API int ruvo_path_remove_ext_a(char *path) noexcept { return remove_ext_t(path); }
RUVO_API int ruvo_path_remove_ext_u(char *path) noexcept { return remove_ext_t(path); }
RUVO_API int ruvo_path_remove_ext_w(wchar *path) noexcept { return remove_ext_t(path); }

RUVO_API int ruvo_path_remove_name_a(char *path) noexcept { return remove_name_t(path); }
RUVO_API int ruvo_path_remove_name_u(char *path) noexcept { return remove_name_t(path); }
RUVO_API int ruvo_path_remove_name_w(wchar *path) noexcept { return remove_name_t(path); }

}  // extern "C"
