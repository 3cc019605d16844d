// File operations on the platform's wide calls. The UTF-8 forms convert at
// the edge and run the wide body. Copy, rename and link make the target's
// folders and try once more after any failure of the first attempt: the
// retry, not the folder creation, decides the result.
#include "ruvo/base/file.h"

#include <windows.h>
#include <sys/stat.h>

#include <cstdio>
#include <ctime>

#include "handle.hpp"
#include "internal/dll_api.hpp"
#include "internal/log.hpp"
#include "ruvo/base/charset.h"
#include "ruvo/base/path.h"

namespace {

// The path limit of the family, in UTF-16 units with the terminator.
constexpr size_t kMaxPath = 260;

// A UTF-16 heap copy of a UTF-8 argument; null when the argument is null or
// does not convert.
class wide_arg {
 public:
  explicit wide_arg(const char *text) noexcept
      : text_(text == nullptr ? nullptr : ruvo_str_utf8_to_unicode(text)) {}
  ~wide_arg() {
    ruvo::win::last_error_guard keep;
    ruvo_str_free(text_);
  }
  wide_arg(const wide_arg &) = delete;
  wide_arg &operator=(const wide_arg &) = delete;
  const wchar_t *get() const noexcept { return text_; }

 private:
  wchar_t *text_;
};

bool is_separator(wchar_t c) noexcept { return c == L'\\' || c == L'/'; }

// Creates each folder above the file `target` names. Outcomes are not
// looked at: the caller's retry shows whether it helped.
void make_parent_dirs(const wchar_t *target) noexcept {
  wchar_t prefix[kMaxPath] = {};
  size_t n = 0;
  for (const wchar_t *p = target; *p != L'\0' && n < kMaxPath - 1;) {
    prefix[n++] = *p;
    if (!is_separator(*p++)) continue;
    if (::GetFileAttributesW(prefix) == INVALID_FILE_ATTRIBUTES) ::CreateDirectoryW(prefix, nullptr);
    while (is_separator(*p)) ++p;
  }
}

// Both paths made absolute into the caller's buffers of kMaxPath units.
bool absolute_pair(const wchar_t *source, const wchar_t *target, wchar_t *abs_source,
                   wchar_t *abs_target) noexcept {
  return ruvo_path_absolute_w(source, abs_source, kMaxPath) != nullptr &&
         ruvo_path_absolute_w(target, abs_target, kMaxPath) != nullptr;
}

// Opened for writing, without sharing, as the copy and the flush need it.
ruvo::win::unique_file open_for_flush(const wchar_t *path) noexcept {
  return ruvo::win::unique_file(::CreateFileW(path, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                              FILE_ATTRIBUTE_NORMAL, nullptr));
}

// Runs a two-path wide operation on the UTF-8 forms: both conversions are
// attempted, and either failing gives -1.
template <int32_t (*Wide)(const wchar_t *, const wchar_t *)>
int32_t narrow_pair(const char *source, const char *target) noexcept {
  const wide_arg s(source), t(target);
  if (s.get() == nullptr || t.get() == nullptr) return -1;
  return Wide(s.get(), t.get());
}

// A UTF-8 path in a buffer of kMaxPath units; false when it needs more.
bool to_bounded_wide(const char *path, wchar_t (&out)[kMaxPath]) noexcept {
  return path != nullptr && ruvo_str_utf8_to_unicode_ex(path, out, kMaxPath) == 0;
}

// A FILETIME in UTC as the C runtime's local 64-bit time; 0 for null.
__time64_t file_time_to_time64(const FILETIME *utc) noexcept {
  if (utc == nullptr) return 0;
  FILETIME local;
  SYSTEMTIME st;
  if (!::FileTimeToLocalFileTime(utc, &local) || !::FileTimeToSystemTime(&local, &st)) return 0;
  std::tm tm = {};
  tm.tm_sec = st.wSecond;
  tm.tm_min = st.wMinute;
  tm.tm_hour = st.wHour;
  tm.tm_mday = st.wDay;
  tm.tm_mon = st.wMonth - 1;
  tm.tm_year = st.wYear - 1900;
  tm.tm_isdst = -1;
  return ::_mktime64(&tm);
}

}  // namespace

extern "C" {

RUVO_API FILE *ruvo_file_open_w(const wchar_t *path, const wchar_t *mode) noexcept {
  if (path == nullptr || mode == nullptr) return nullptr;
  return ::_wfopen(path, mode);
}

RUVO_API FILE *ruvo_file_open(const char *path, const char *mode) noexcept {
  const wide_arg p(path), m(mode);
  if (p.get() == nullptr || m.get() == nullptr) return nullptr;
  return ruvo_file_open_w(p.get(), m.get());
}

RUVO_API void ruvo_file_close(FILE *file) noexcept {
  if (file != nullptr) std::fclose(file);
}

RUVO_API int32_t ruvo_file_copy_w(const wchar_t *source, const wchar_t *target) noexcept {
  if (source == nullptr || target == nullptr) return -1;
  wchar_t s[kMaxPath] = {}, t[kMaxPath] = {};
  if (!absolute_pair(source, target, s, t)) return -1;
  if (!::CopyFileW(s, t, FALSE)) {
    make_parent_dirs(t);
    if (!::CopyFileW(s, t, FALSE)) return -1;
  }
  // The copy is on disk before the caller goes on; a failed flush does not
  // undo a good copy.
  if (const auto file = open_for_flush(t)) ::FlushFileBuffers(file.get());
  return 0;
}

RUVO_API int32_t ruvo_file_copy(const char *source, const char *target) noexcept {
  return narrow_pair<ruvo_file_copy_w>(source, target);
}

RUVO_API int32_t ruvo_file_rename_w(const wchar_t *source, const wchar_t *target) noexcept {
  if (source == nullptr || target == nullptr) return -1;
  wchar_t s[kMaxPath] = {}, t[kMaxPath] = {};
  if (!absolute_pair(source, target, s, t)) return -1;
  constexpr DWORD flags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED;
  if (::MoveFileExW(s, t, flags)) return 0;
  make_parent_dirs(t);
  if (::MoveFileExW(s, t, flags)) return 0;
  return static_cast<int32_t>(::GetLastError());
}

RUVO_API int32_t ruvo_file_rename(const char *source, const char *target) noexcept {
  return narrow_pair<ruvo_file_rename_w>(source, target);
}

RUVO_API int32_t ruvo_file_link_w(const wchar_t *source, const wchar_t *target) noexcept {
  if (source == nullptr || target == nullptr) return -1;
  const ruvo_kernel_api_st *api = ruvo_kernel_api();
  const auto create_link = ruvo_api_entry<BOOLEAN(WINAPI *)(LPCWSTR, LPCWSTR, DWORD)>(
      api == nullptr ? nullptr : api->slot[RUVO_KERNEL_CreateSymbolicLinkW]);
  if (create_link == nullptr) return -1;

  wchar_t s[kMaxPath] = {}, t[kMaxPath] = {};
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (ruvo_path_absolute_w(source, s, kMaxPath) == nullptr ||
      !::GetFileAttributesExW(s, GetFileExInfoStandard, &data) ||
      ruvo_path_absolute_w(target, t, kMaxPath) == nullptr)
    return -1;
  const bool dir = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  if (!dir) make_parent_dirs(t);

  // First with unprivileged creation allowed, which older systems refuse as
  // an unknown flag; then without it.
  const DWORD dir_flag = dir ? SYMBOLIC_LINK_FLAG_DIRECTORY : 0;
  if (create_link(t, s, dir_flag | 2)) return 0;
  return create_link(t, s, dir_flag) ? 0 : -1;
}

RUVO_API int32_t ruvo_file_link(const char *source, const char *target) noexcept {
  return narrow_pair<ruvo_file_link_w>(source, target);
}

RUVO_API int32_t ruvo_file_flush_w(const wchar_t *path) noexcept {
  if (path == nullptr) return 1;
  const auto file = open_for_flush(path);
  if (!file) return -634;
  return ::FlushFileBuffers(file.get()) ? 0 : -640;
}

RUVO_API int32_t ruvo_file_flush(const char *path) noexcept {
  const wide_arg p(path);
  return p.get() == nullptr ? 1 : ruvo_file_flush_w(p.get());
}

RUVO_API uint64_t ruvo_file_size_w(const wchar_t *path) noexcept {
  if (path == nullptr || path[0] == L'\0') return 0;
  // From the directory entry: the file is never opened, so a file that
  // another process holds exclusively still has a size.
  WIN32_FIND_DATAW found;
  const HANDLE find = ::FindFirstFileW(path, &found);
  if (find == INVALID_HANDLE_VALUE) return 0;
  ::FindClose(find);
  return (static_cast<uint64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
}

RUVO_API uint64_t ruvo_file_size(const char *path) noexcept {
  wchar_t wide[kMaxPath];
  if (path == nullptr || path[0] == '\0' || !to_bounded_wide(path, wide)) return 0;
  return ruvo_file_size_w(wide);
}

RUVO_API int32_t ruvo_file_stat_w(const wchar_t *path, struct _stat64 *st) noexcept {
  if (path == nullptr || path[0] == L'\0' || st == nullptr) return 1;
  if (::_wstat64(path, st) == 0) return 0;
  // The runtime could not read it (a file in use, say): the three times
  // still come from the attributes, and nothing else is written.
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!::GetFileAttributesExW(path, GetFileExInfoStandard, &data)) {
    RUVO_LOG(RUVO_LOG_WARN, "warn", "get attribute failed %d\n", static_cast<int>(::GetLastError()));
    return 1;
  }
  st->st_ctime = file_time_to_time64(&data.ftCreationTime);
  st->st_atime = file_time_to_time64(&data.ftLastAccessTime);
  st->st_mtime = file_time_to_time64(&data.ftLastWriteTime);
  return 0;
}

RUVO_API int32_t ruvo_file_stat(const char *path, struct _stat64 *st) noexcept {
  if (path == nullptr || path[0] == '\0' || st == nullptr) return 1;
  const wide_arg p(path);
  return p.get() == nullptr ? 1 : ruvo_file_stat_w(p.get(), st);
}

RUVO_API int32_t ruvo_file_unlink_w(const wchar_t *path) noexcept {
  return path == nullptr ? -1 : ::_wunlink(path);
}

RUVO_API int32_t ruvo_file_unlink(const char *path) noexcept {
  wchar_t wide[kMaxPath];
  return to_bounded_wide(path, wide) ? ruvo_file_unlink_w(wide) : -1;
}

}  // extern "C"
