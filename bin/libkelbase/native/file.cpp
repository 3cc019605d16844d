// Linux stand-ins for the file operations that the portable families use
// (opening, renaming, removing, flushing and sizing a file), so that those
// families run natively under the sanitizers. Paths are UTF-8 as the Windows
// forms take them; the _w twins convert and call these.
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "ruvo/base/charset.h"
#include "ruvo/base/file.h"

namespace {

struct StrFree {
  void operator()(char *p) const noexcept { ruvo_str_free(p); }
};
using Utf8 = std::unique_ptr<char, StrFree>;

Utf8 narrow(const ruvo_wchar_t *text) noexcept {
  return Utf8(text == nullptr ? nullptr : ruvo_str_unicode_to_utf8(text));
}

// Creates the folders above a file, as the Windows form does before its
// second attempt; failures show in the retry.
void make_parent_dirs(const char *target) noexcept {
  std::string prefix;
  for (const char *p = target; *p != '\0'; ++p) {
    prefix.push_back(*p);
    if (*p == '/' && prefix.size() > 1) ::mkdir(prefix.c_str(), 0777);
  }
}

}  // namespace

extern "C" {

RUVO_API FILE *ruvo_file_open(const char *path, const char *mode) noexcept {
  if (path == nullptr || mode == nullptr) return nullptr;
  return std::fopen(path, mode);
}

RUVO_API FILE *ruvo_file_open_w(const ruvo_wchar_t *path, const ruvo_wchar_t *mode) noexcept {
  const Utf8 p = narrow(path), m = narrow(mode);
  return ruvo_file_open(p.get(), m.get());
}

RUVO_API void ruvo_file_close(FILE *file) noexcept {
  if (file != nullptr) std::fclose(file);
}

RUVO_API int32_t ruvo_file_rename(const char *source, const char *target) noexcept {
  if (source == nullptr || target == nullptr) return -1;
  if (std::rename(source, target) == 0) return 0;
  make_parent_dirs(target);
  return std::rename(source, target) == 0 ? 0 : errno;
}

RUVO_API int32_t ruvo_file_rename_w(const ruvo_wchar_t *source, const ruvo_wchar_t *target) noexcept {
  const Utf8 s = narrow(source), t = narrow(target);
  if (s == nullptr || t == nullptr) return -1;
  return ruvo_file_rename(s.get(), t.get());
}

RUVO_API int32_t ruvo_file_flush(const char *path) noexcept {
  if (path == nullptr) return 1;
  const int fd = ::open(path, O_WRONLY);
  if (fd < 0) return -634;
  const int r = ::fsync(fd);
  ::close(fd);
  return r == 0 ? 0 : -640;
}

RUVO_API int32_t ruvo_file_flush_w(const ruvo_wchar_t *path) noexcept {
  const Utf8 p = narrow(path);
  return p == nullptr ? 1 : ruvo_file_flush(p.get());
}

RUVO_API uint64_t ruvo_file_size(const char *path) noexcept {
  struct stat st;
  if (path == nullptr || *path == '\0' || ::stat(path, &st) != 0) return 0;
  return static_cast<uint64_t>(st.st_size);
}

RUVO_API uint64_t ruvo_file_size_w(const ruvo_wchar_t *path) noexcept {
  const Utf8 p = narrow(path);
  return ruvo_file_size(p.get());
}

RUVO_API int32_t ruvo_file_unlink(const char *path) noexcept {
  return path == nullptr ? -1 : ::unlink(path);
}

RUVO_API int32_t ruvo_file_unlink_w(const ruvo_wchar_t *path) noexcept {
  const Utf8 p = narrow(path);
  return ruvo_file_unlink(p.get());
}

}  // extern "C"
