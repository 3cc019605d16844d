// Path questions put to the file system, over GetFileAttributesW,
// DeleteFileW and GetModuleFileNameW, and the wide form of making a path
// absolute. Narrow forms convert to a UTF-16 heap string at the edge (ANSI
// code page for _a, UTF-8 for _u) and run the wide body.
#include "ruvo/base/path.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

#include "ruvo/base/charset.h"
#include "handle.hpp"
#include "wide_arg.hpp"

namespace {

using ruvo::win::converter;
using ruvo::win::wide_arg;

// Work buffer of ruvo_path_absolute_w, in UTF-8 bytes.
constexpr size_t kAbsolute = 4096;
// From this length on a path needs the "\\?\" prefix.
constexpr size_t kMaxPath = 260;

bool empty(const char *path) noexcept { return path == nullptr || path[0] == '\0'; }
bool empty(const wchar_t *path) noexcept { return path == nullptr || path[0] == L'\0'; }

int is_exist(const wchar_t *path) noexcept {
  // No "insert a disk" box for a drive without a medium; the mode stays set.
  ::SetErrorMode(SEM_FAILCRITICALERRORS);
  if (::GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES) return 1;
  return ::GetLastError() == ERROR_ACCESS_DENIED ? 1 : 0;
}

int is_dir(const wchar_t *path) noexcept {
  const DWORD attributes = ::GetFileAttributesW(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// The last error after a failure, never 0.
uint32_t failure() noexcept {
  const DWORD error = ::GetLastError();
  return error != 0 ? error : RUVO_E_FAIL;
}

uint32_t del_file(const wchar_t *path) noexcept {
  if (empty(path)) return RUVO_E_INVAL;
  return ::DeleteFileW(path) ? RUVO_OK : failure();
}

// A yes/no question on a narrow path: no for an empty one or one that does
// not convert.
template <converter Convert, int (*Ask)(const wchar_t *)>
int ask_narrow(const char *path) noexcept {
  if (empty(path)) return 0;
  const wide_arg wide(path, Convert);
  return wide.get() != nullptr && Ask(wide.get());
}

template <converter Convert>
uint32_t del_file_narrow(const char *path) noexcept {
  if (empty(path)) return RUVO_E_INVAL;
  const wide_arg wide(path, Convert);
  return wide.get() == nullptr ? failure() : del_file(wide.get());
}

// GetModuleFileNameW cuts a path that doesn't fit and says so with 122.
uint32_t module_path(wchar_t *out, DWORD size) noexcept {
  const DWORD n = ::GetModuleFileNameW(nullptr, out, size);
  if (n == 0) return RUVO_E_FAIL;
  if (n == size && ::GetLastError() == ERROR_INSUFFICIENT_BUFFER) return ERROR_INSUFFICIENT_BUFFER;
  return RUVO_OK;
}

}  // namespace

extern "C" {

RUVO_API wchar_t *ruvo_path_absolute_w(const wchar_t *path, wchar_t *out, size_t cap) noexcept {
  if (path == nullptr || out == nullptr || cap == 0) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  char *utf8 = ruvo_str_unicode_to_utf8(path);
  if (utf8 == nullptr) return nullptr;
  char buf[kAbsolute];
  const char *absolute = ruvo_path_absolute_to(nullptr, utf8, buf, sizeof buf);
  ruvo_str_free(utf8);
  if (absolute == nullptr) return nullptr;
  const size_t n = std::strlen(buf);
  if (n >= kMaxPath) {
    if (n + 4 >= sizeof buf) return nullptr;
    std::memmove(buf + 4, buf, n + 1);
    std::memcpy(buf, "\\\\?\\", 4);
  }
  const uint32_t status = ruvo_str_utf8_to_unicode_ex(buf, out, cap);
  if (status != 0) {
    ::SetLastError(status);
    return nullptr;
  }
  return out;
}

RUVO_API int ruvo_path_is_exist_a(const char *path) noexcept {
  return ask_narrow<ruvo_str_ansi_to_unicode, is_exist>(path);
}
RUVO_API int ruvo_path_is_exist_u(const char *path) noexcept {
  return ask_narrow<ruvo_str_utf8_to_unicode, is_exist>(path);
}
RUVO_API int ruvo_path_is_exist_w(const wchar_t *path) noexcept {
  return empty(path) ? 0 : is_exist(path);
}

RUVO_API int ruvo_path_is_dir_a(const char *path) noexcept {
  return ask_narrow<ruvo_str_ansi_to_unicode, is_dir>(path);
}
RUVO_API int ruvo_path_is_dir_u(const char *path) noexcept {
  return ask_narrow<ruvo_str_utf8_to_unicode, is_dir>(path);
}
RUVO_API int ruvo_path_is_dir_w(const wchar_t *path) noexcept {
  return empty(path) ? 0 : is_dir(path);
}

RUVO_API uint32_t ruvo_path_del_file_a(const char *path) noexcept {
  return del_file_narrow<ruvo_str_ansi_to_unicode>(path);
}
RUVO_API uint32_t ruvo_path_del_file_u(const char *path) noexcept {
  return del_file_narrow<ruvo_str_utf8_to_unicode>(path);
}
RUVO_API uint32_t ruvo_path_del_file_w(const wchar_t *path) noexcept { return del_file(path); }

RUVO_API uint32_t ruvo_path_get_cur_proc_a(char *out, size_t cap) noexcept {
  if (out == nullptr || cap == 0) return RUVO_E_INVAL;
  wchar_t buf[kMaxPath] = {};
  const uint32_t status = module_path(buf, kMaxPath - 1);
  if (status != RUVO_OK) return status;
  return ruvo_str_unicode_to_ansi_ex(buf, out, cap);
}

RUVO_API uint32_t ruvo_path_get_cur_proc_u(char *out, size_t cap) noexcept {
  if (out == nullptr || cap == 0) return RUVO_E_INVAL;
  wchar_t buf[kMaxPath] = {};
  const uint32_t status = module_path(buf, kMaxPath - 1);
  if (status != RUVO_OK) return status;
  const int need = ::WideCharToMultiByte(CP_UTF8, 0, buf, -1, nullptr, 0, nullptr, nullptr);
  if (need <= 0) return failure();
  if (static_cast<size_t>(need) > cap) return ERROR_INSUFFICIENT_BUFFER;
  if (::WideCharToMultiByte(CP_UTF8, 0, buf, -1, out, need, nullptr, nullptr) == 0) {
    return failure();
  }
  return RUVO_OK;
}

RUVO_API uint32_t ruvo_path_get_cur_proc_w(wchar_t *out, size_t cap) noexcept {
  if (out == nullptr || cap == 0) return RUVO_E_INVAL;
  return module_path(out, static_cast<DWORD>(std::min<size_t>(cap - 1, MAXDWORD)));
}

}  // extern "C"
