// Directories: a POSIX-shaped stream on FindFirstFileW/FindNextFileW, the
// listing and recursive removal built on it, recursive creation with the C
// runtime's _wmkdir, a depth-first walker, the current directory
// (GetCurrentDirectoryW/SetCurrentDirectoryW), the home folder through the
// shell (SHGetSpecialFolderLocation), GetTempPathW, and the "~" wildcard.
#include <windows.h>
#include <shlobj.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "ruvo/base/charset.h"
#include "ruvo/base/dir.h"
#include "ruvo/base/memory.h"
#include "ruvo/base/path.h"
#include "ruvo/base/str.h"

// The record names the platform's parts by size only, so that the public
// header needs no <windows.h>.
static_assert(sizeof(WIN32_FIND_DATAW) == sizeof(ruvo_dir_st::find_data));
static_assert(alignof(WIN32_FIND_DATAW) <= alignof(uint32_t));
static_assert(sizeof(HANDLE) == sizeof(void *));
static_assert(sizeof(ruvo_wchar_t) == sizeof(WCHAR));

namespace {

constexpr int kWide = 260;           // UTF-16 units of every platform buffer here
constexpr size_t kListPath = 1040;   // bytes of a listing's full path
constexpr uint32_t kDevice = RUVO_DIR_TYPE_DEVICE;
constexpr uint32_t kDirectory = RUVO_DIR_TYPE_DIR;
constexpr uint32_t kRegular = RUVO_DIR_TYPE_REGULAR;

HANDLE find_handle(const ruvo_dir_st *d) noexcept { return static_cast<HANDLE>(d->find_handle); }

bool is_dot_or_dotdot(const char *name) noexcept {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

bool is_sep(char c) noexcept { return c == '/' || c == '\\'; }

// Fills the readable fields from the entry in find_data.
void take_entry(ruvo_dir_st *d, const WIN32_FIND_DATAW &fd) noexcept {
  const int n = ::WideCharToMultiByte(CP_UTF8, 0, fd.cFileName, -1, d->name,
                                      static_cast<int>(sizeof d->name), nullptr, nullptr);
  if (n < 1) d->name[0] = '\0';
  d->name[sizeof d->name - 1] = '\0';
  d->namelen = static_cast<uint16_t>(std::strlen(d->name));
  const DWORD attr = fd.dwFileAttributes;
  d->is_reparse = (attr & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ? 1 : 0;
  if ((attr & FILE_ATTRIBUTE_DEVICE) != 0) {
    d->type = kDevice;
  } else if ((attr & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    d->type = kDirectory;
  } else {
    d->type = kRegular;
  }
}

// FindFirstFileW on the stream's pattern, keeping the entry for readdir.
HANDLE find_first(ruvo_dir_st *d) noexcept {
  WIN32_FIND_DATAW fd;
  const HANDLE h = ::FindFirstFileW(reinterpret_cast<const wchar_t *>(d->pattern), &fd);
  if (h != INVALID_HANDLE_VALUE) std::memcpy(d->find_data, &fd, sizeof fd);
  return h;
}

// UTF-8 into a 260-unit buffer; false when it does not fit or is refused.
bool to_wide(const char *path, wchar_t (&out)[kWide]) noexcept {
  return ::MultiByteToWideChar(CP_UTF8, 0, path, -1, out, kWide) >= 1;
}

// Removes one entry of a tree; the callback of the listing that it runs on
// a directory. It always gives 0, so a listing runs to its end whatever
// could not be removed.
int32_t remove_entry(int32_t is_dir, const char *path, void *ctx) {
  wchar_t wide[kWide];
  if (!to_wide(path, wide)) return 0;
  if (is_dir == 0) {
    ::_wunlink(wide);
    return 0;
  }
  // A link to a directory goes by itself: its target's contents are not ours.
  const DWORD attr = ::GetFileAttributesW(wide);
  if (attr != INVALID_FILE_ATTRIBUTES && (attr & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    ::_wrmdir(wide);
    return 0;
  }
  if (ruvo_dirutils_listdir(path, ctx, remove_entry) == 0) ::_wrmdir(wide);
  return 0;
}

// The directory of the running program, "/"-separated, with no trailing
// separator; "C:/" when it cannot be had.
void program_dir(char (&dir)[kWide]) noexcept {
  wchar_t wide[kWide];
  const DWORD n = ::GetModuleFileNameW(nullptr, wide, kWide);
  wide[kWide - 1] = L'\0';
  int m = 0;
  if (n != 0) {
    m = ::WideCharToMultiByte(CP_UTF8, 0, wide, -1, dir, kWide - 1, nullptr, nullptr);
  }
  if (m >= 1) {
    char *cut = std::strrchr(dir, '/');
    if (cut == nullptr) cut = std::strrchr(dir, '\\');
    if (cut == nullptr) m = 0;
    else *cut = '\0';
  }
  if (m < 1 || dir[0] == '\0') {
    std::memcpy(dir, "C:/", 4);
    return;
  }
  for (char *p = dir; *p != '\0'; ++p) {
    if (*p == '\\') *p = '/';
  }
}

// ---- walker levels ----

// One open level of a walk: 40 bytes, the link first so that a link of the
// stack is the level.
struct level {
  ruvo_dir_link_st link;
  char *path;              // heap copy of the level's directory
  ruvo_dir_st *dir;        // its stream
  uint32_t reparse_count;  // reparse points passed on the way here
  uint32_t depth;          // 0 for the top directory
};
static_assert(sizeof(level) == 40 && offsetof(level, link) == 0);

void push_front(ruvo_dirwalk_st *w, const char *path, ruvo_dir_st *dir, uint32_t reparse_count,
                uint32_t depth) noexcept {
  auto *lv = static_cast<level *>(ruvo_malloc(static_cast<int32_t>(sizeof(level))));
  lv->path = ruvo_xstrdup(path);
  lv->dir = dir;
  lv->reparse_count = reparse_count;
  lv->depth = depth;
  lv->link.prev = &w->stack;
  lv->link.next = w->stack.next;
  w->stack.next->prev = &lv->link;
  w->stack.next = &lv->link;
}

void drop_level(level *lv) noexcept {
  ruvo_closedir(lv->dir);
  std::free(lv->path);
  lv->link.next->prev = lv->link.prev;
  lv->link.prev->next = lv->link.next;
  lv->link.next = reinterpret_cast<ruvo_dir_link_st *>(0x100100);
  lv->link.prev = reinterpret_cast<ruvo_dir_link_st *>(0x200200);
  std::free(lv);
}

}  // namespace

extern "C" {

// ---- the stream ----

RUVO_API ruvo_dir_st *ruvo_opendir(const char *path) noexcept {
  if (path == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  const int need = ::MultiByteToWideChar(CP_UTF8, 0, path, -1, nullptr, 0);
  if (need > kWide) {
    errno = ENOENT;
    return nullptr;
  }
  wchar_t wide[kWide];
  const int n = ::MultiByteToWideChar(CP_UTF8, 0, path, -1, wide, kWide);
  if (n < 1) {
    errno = ENOENT;
    return nullptr;
  }
  // Room for "\*" and the terminator behind the longest full form.
  if (n - 1 + 3 >= kWide) {
    errno = ENAMETOOLONG;
    return nullptr;
  }
  auto *d = static_cast<ruvo_dir_st *>(ruvo_zero_malloc_(sizeof(ruvo_dir_st)));
  if (d == nullptr) {
    errno = ENOMEM;
    return nullptr;
  }
  d->find_handle = INVALID_HANDLE_VALUE;
  auto *pattern = reinterpret_cast<wchar_t *>(d->pattern);
  const DWORD full = ::GetFullPathNameW(wide, kWide, pattern, nullptr);
  if (full == 0 || full >= static_cast<DWORD>(kWide)) {
    ruvo_free_(d);
    errno = full == 0 ? ENOMEM : ENAMETOOLONG;
    return nullptr;
  }
  size_t len = full;
  if (pattern[len - 1] != L'\\' && pattern[len - 1] != L':') pattern[len++] = L'\\';
  pattern[len++] = L'*';
  pattern[len] = L'\0';
  const HANDLE h = find_first(d);
  if (h == INVALID_HANDLE_VALUE) {
    ruvo_free_(d);
    errno = ENOENT;
    return nullptr;
  }
  d->find_handle = h;
  d->first = 1;
  return d;
}

RUVO_API ruvo_dir_st *ruvo_readdir(ruvo_dir_st *d) noexcept {
  if (d == nullptr) {
    errno = EBADF;
    return nullptr;
  }
  WIN32_FIND_DATAW fd;
  if (d->first == 1) {
    d->first = 0;
  } else {
    if (find_handle(d) == INVALID_HANDLE_VALUE) return nullptr;
    if (!::FindNextFileW(find_handle(d), &fd)) {
      ::FindClose(find_handle(d));
      d->find_handle = INVALID_HANDLE_VALUE;
      return nullptr;
    }
    std::memcpy(d->find_data, &fd, sizeof fd);
  }
  // The entry given out is always the one the record holds.
  std::memcpy(&fd, d->find_data, sizeof fd);
  take_entry(d, fd);
  return d;
}

RUVO_API void ruvo_rewinddir(ruvo_dir_st *d) noexcept {
  if (d == nullptr) return;
  if (find_handle(d) != INVALID_HANDLE_VALUE) ::FindClose(find_handle(d));
  const HANDLE h = find_first(d);
  d->find_handle = h;
  d->first = h != INVALID_HANDLE_VALUE ? 1 : 0;
}

RUVO_API int32_t ruvo_closedir(ruvo_dir_st *d) noexcept {
  if (d == nullptr) {
    errno = EBADF;
    return -1;
  }
  if (find_handle(d) != INVALID_HANDLE_VALUE) ::FindClose(find_handle(d));
  d->find_handle = INVALID_HANDLE_VALUE;
  ruvo_free_(d);
  return 0;
}

// ---- listing, removal, creation ----

RUVO_API int32_t ruvo_dirutils_listdir(const char *path, void *ctx,
                                       ruvo_dirutils_listdir_fn fn) noexcept {
  if (path == nullptr || fn == nullptr) return -1;
  const size_t len = std::strlen(path);
  const bool slash = len != 0 && path[len - 1] == '/';
  ruvo_dir_st *d = ruvo_opendir(path);
  if (d == nullptr) return -1;
  char full[kListPath];
  for (ruvo_dir_st *e; (e = ruvo_readdir(d)) != nullptr;) {
    if (is_dot_or_dotdot(e->name)) continue;
    ruvo_str_snprintf(full, sizeof full, slash ? "%s%s" : "%s/%s", path, e->name);
    const int32_t r = fn(e->type == kDirectory ? 1 : 0, full, ctx);
    if (r != 0) {
      ruvo_closedir(d);
      return r;
    }
  }
  ruvo_closedir(d);
  return 0;
}

RUVO_API int32_t ruvo_dirutils_rmdir(const char *path) noexcept {
  if (path != nullptr) remove_entry(1, path, nullptr);
  return 0;
}

RUVO_API int32_t ruvo_dirutils_mkdir(const char *path, uint32_t mode) noexcept {
  (void)mode;
  if (path == nullptr) return -1;
  wchar_t wide[kWide];
  if (!to_wide(path, wide)) return -1;
  if (::_waccess(wide, 0) == 0) return 0;
  if (::_wmkdir(wide) == 0) return 0;
  if (errno != ENOENT) return errno == EEXIST ? 0 : -1;
  // A parent is missing: make each level from the top.
  for (int i = 1; i < kWide - 1 && wide[i] != L'\0'; ++i) {
    const wchar_t c = wide[i];
    if ((c != L'/' && c != L'\\') || wide[i + 1] == L'\0') continue;
    wide[i] = L'\0';
    if (::_waccess(wide, 0) != 0 && ::_wmkdir(wide) != 0 && errno != EEXIST) return -1;
    wide[i] = c;
  }
  return ::_wmkdir(wide) == 0 || errno == EEXIST ? 0 : -1;
}

RUVO_API int32_t ruvo_dirutils_path_transform(const char *in, char *out, size_t cap) noexcept {
  if (in == nullptr || out == nullptr || cap == 0) {
    if (out != nullptr && cap != 0) out[0] = '\0';
    return 0;
  }
  if (in[0] != '@') return ruvo_str_snprintf(out, cap, "%s", in);
  char dir[kWide];
  program_dir(dir);
  return ruvo_str_snprintf(out, cap, "%s%s", dir, in + 1);
}

// ---- the walker ----

RUVO_API ruvo_dirwalk_st *ruvo_dirwalk_create2(const char *path, uint32_t recursive,
                                               uint32_t max_reparse, uint32_t max_depth) noexcept {
  if (path == nullptr) return nullptr;
  ruvo_dir_st *d = ruvo_opendir(path);
  if (d == nullptr) return nullptr;
  auto *w = static_cast<ruvo_dirwalk_st *>(
      ruvo_zero_malloc(static_cast<int32_t>(sizeof(ruvo_dirwalk_st))));
  w->recursive = recursive;
  w->max_reparse = max_reparse;
  w->max_depth = max_depth;
  w->stack.next = w->stack.prev = &w->stack;
  push_front(w, path, d, 0, 0);
  return w;
}

RUVO_API ruvo_dirwalk_st *ruvo_dirwalk_create(const char *path, uint32_t recursive,
                                              uint32_t max_reparse) noexcept {
  return ruvo_dirwalk_create2(path, recursive, max_reparse, 0);
}

RUVO_API const char *ruvo_dirwalk_read(ruvo_dirwalk_st *w, int32_t *is_dir) noexcept {
  if (w == nullptr) return nullptr;
  while (w->stack.next != &w->stack) {
    auto *lv = reinterpret_cast<level *>(w->stack.next);
    ruvo_dir_st *e = ruvo_readdir(lv->dir);
    if (e == nullptr) {
      drop_level(lv);
      continue;
    }
    if (is_dot_or_dotdot(e->name)) continue;
    const size_t len = std::strlen(lv->path);
    const bool sep = len != 0 && is_sep(lv->path[len - 1]);
    ruvo_str_snprintf(w->path, sizeof w->path, sep ? "%s%s" : "%s\\%s", lv->path, e->name);
    bool stop = false;
    uint32_t reparse_count = lv->reparse_count;
    uint32_t depth = lv->depth;
    if (e->is_reparse != 0) {
      ++reparse_count;
      stop = reparse_count > w->max_reparse;
    }
    const bool dir = e->type == kDirectory;
    if (dir) {
      if (w->max_depth != 0 && ++depth >= w->max_depth) stop = true;
      if (w->recursive != 0 && !stop) {
        // A directory that cannot be opened is given out but not entered.
        ruvo_dir_st *sub = ruvo_opendir(w->path);
        if (sub != nullptr) push_front(w, w->path, sub, reparse_count, depth);
      }
    }
    if (is_dir != nullptr) *is_dir = dir ? 1 : 0;
    return w->path;
  }
  return nullptr;
}

RUVO_API void ruvo_dirwalk_destroy(ruvo_dirwalk_st *w) noexcept {
  if (w == nullptr) return;
  while (w->stack.next != &w->stack) drop_level(reinterpret_cast<level *>(w->stack.next));
  std::free(w);
}

// ---- current, home and temporary directories ----

RUVO_API size_t ruvo_current_dir_get(char *out, size_t cap) noexcept {
  if (out == nullptr || cap < 5) return 0;
  wchar_t wide[kWide] = {};
  const DWORD n = ::GetCurrentDirectoryW(kWide, wide);
  if (n == 0 || n >= static_cast<DWORD>(kWide)) return 0;
  if (ruvo_str_unicode_to_utf8_ex(wide, out, cap) != 0) return 0;
  return std::strlen(out);
}

RUVO_API int32_t ruvo_current_dir_set(const char *path) noexcept {
  if (path == nullptr || path[0] == '\0') return 0;
  wchar_t wide[kWide];
  if (!to_wide(path, wide)) return 0;
  wchar_t absolute[kWide];
  if (ruvo_path_absolute_w(wide, absolute, kWide) == nullptr) return 0;
  return ::SetCurrentDirectoryW(absolute) ? 1 : 0;
}

RUVO_API size_t ruvo_home_dir(char *buf, size_t size) noexcept {
  if (buf == nullptr || size == 0) return 0;
  wchar_t wide[kWide] = {};
  LPITEMIDLIST list = nullptr;
  if (SUCCEEDED(::SHGetSpecialFolderLocation(nullptr, CSIDL_LOCAL_APPDATA, &list)) &&
      list != nullptr) {
    ::SHGetPathFromIDListW(list, wide);
    // An item list is shell memory: CoTaskMemFree is its documented release.
    ::CoTaskMemFree(list);
  }
  if (ruvo_str_unicode_to_utf8_ex(wide, buf, size) != 0) return 0;
  return std::strlen(buf);
}

RUVO_API size_t ruvo_temporary_dir(char *buf, size_t size) noexcept {
  if (buf == nullptr || size == 0) return 0;
  wchar_t wide[kWide] = {};
  const DWORD n = ::GetTempPathW(kWide, wide);
  if (n == 0 || n >= static_cast<DWORD>(kWide)) return 0;
  if (ruvo_str_unicode_to_utf8_ex(wide, buf, size) != 0) return 0;
  return std::strlen(buf);
}

// ---- wildcards ----

RUVO_API int32_t ruvo_wildcard_path_expand(const char *pattern, ruvo_dir_link_st *out) noexcept {
  if (pattern == nullptr || out == nullptr) return -1;
  const size_t len = std::strlen(pattern);
  const char drive = static_cast<char>(pattern[0] | 0x20);
  if (len < 2 || drive < 'a' || drive > 'z' || pattern[1] != ':') return -1;
  out->next = out->prev = out;

  size_t tilde = len;     // index of the one "~"
  size_t before = len;    // last separator before it
  size_t after = len;     // first separator behind it
  for (size_t i = 0; i < len; ++i) {
    if (pattern[i] == '~') {
      if (tilde != len) return -1;
      tilde = i;
    } else if (is_sep(pattern[i])) {
      if (tilde == len) before = i;
      else if (after == len) after = i;
    }
  }
  // No "~", or none of its directory to open ("C:ab~c"): refused.
  if (tilde == len || before == len) return -1;

  const size_t dir_len = before + 1;
  const char *prefix = pattern + dir_len;
  const size_t prefix_len = tilde - dir_len;
  const char *suffix = pattern + tilde + 1;
  const size_t suffix_len = after - tilde - 1;
  const char *tail = pattern + after;
  const size_t tail_len = len - after;

  auto *dir = static_cast<char *>(ruvo_malloc(static_cast<int32_t>(dir_len + 1)));
  std::memcpy(dir, pattern, dir_len);
  dir[dir_len] = '\0';
  ruvo_dir_st *d = ruvo_opendir(dir);
  std::free(dir);
  if (d == nullptr) return -1;

  for (ruvo_dir_st *e; (e = ruvo_readdir(d)) != nullptr;) {
    if (is_dot_or_dotdot(e->name)) continue;
    const size_t name_len = e->namelen;
    if (name_len < prefix_len + suffix_len) continue;
    if (std::memcmp(e->name, prefix, prefix_len) != 0) continue;
    if (std::memcmp(e->name + name_len - suffix_len, suffix, suffix_len) != 0) continue;
    const size_t size = dir_len + name_len + tail_len + 1;
    auto *path = static_cast<char *>(ruvo_zero_malloc(static_cast<int32_t>(size)));
    std::memcpy(path, pattern, dir_len);
    std::memcpy(path + dir_len, e->name, name_len);
    std::memcpy(path + dir_len + name_len, tail, tail_len);
    if (tail_len != 0 && ruvo_path_is_exist_u(path) == 0) {
      std::free(path);
      continue;
    }
    auto *node = static_cast<ruvo_wildcard_path_st *>(
        ruvo_malloc(static_cast<int32_t>(sizeof(ruvo_wildcard_path_st))));
    node->path = path;
    node->link.next = out;
    node->link.prev = out->prev;
    out->prev->next = &node->link;
    out->prev = &node->link;
  }
  ruvo_closedir(d);
  return 0;
}

RUVO_API void ruvo_wildcard_path_free(ruvo_dir_link_st *head) noexcept {
  if (head == nullptr) return;
  ruvo_dir_link_st *p = head->next;
  while (p != nullptr && p != head) {
    ruvo_dir_link_st *next = p->next;
    auto *node = reinterpret_cast<ruvo_wildcard_path_st *>(p);
    std::free(node->path);
    std::free(node);
    p = next;
  }
}

}  // extern "C"
