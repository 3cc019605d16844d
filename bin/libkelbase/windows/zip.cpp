// Zip helpers: files put into an archive through libruvozip, read in
// 1024-byte pieces so memory use does not grow with the file. Rests on the
// file family (ruvo_file_stat, ruvo_file_open, ruvo_file_size) and the C
// runtime's _gmtime64_s.
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "internal/fault.hpp"
#include "ruvo/base/file.h"
#include "ruvo/base/memory.h"
#include "ruvo/base/path.h"
#include "ruvo/base/zip.h"
#include "ruvo/zip/zip.h"

namespace {

constexpr size_t kPathSize = 260;
constexpr size_t kPiece = 1024;
constexpr int kAddToArchive = 2, kNewArchive = 0;
constexpr int kDeflate = 8;

struct FileClose {
  void operator()(FILE *f) const noexcept { ruvo_file_close(f); }
};
using unique_file = std::unique_ptr<FILE, FileClose>;

struct ZipClose {
  void operator()(void *zf) const noexcept { ruvoZipClose(zf, nullptr); }
};
using unique_zip = std::unique_ptr<void, ZipClose>;

struct Free {
  void operator()(char *p) const noexcept { std::free(p); }
};

// Entry times are UTC, so an archive reads the same in every time zone. A
// time the runtime can't convert leaves the fields 0.
ruvo_zip_fileinfo_st utc_info(__time64_t mtime) noexcept {
  ruvo_zip_fileinfo_st info{};
  struct tm t {};
  if (_gmtime64_s(&t, &mtime) == 0) {
    info.tm_sec = t.tm_sec;
    info.tm_min = t.tm_min;
    info.tm_hour = t.tm_hour;
    info.tm_mday = t.tm_mday;
    info.tm_mon = t.tm_mon;
    info.tm_year = t.tm_year;
  }
  return info;
}

// One piece of the file; *failed tells a read error from the end. The
// white-box tests fail a read, or the start of an entry, through the step
// seam: neither can be made to fail on a real file under test.
size_t read_piece(char *buf, size_t want, FILE *f, bool *failed) noexcept {
  if (ruvo::fault::save_step_fails()) {
    *failed = true;
    return 0;
  }
  const size_t got = std::fread(buf, 1, want, f);
  *failed = std::ferror(f) != 0;
  return got;
}

// Copies the open file into the open entry; the last write's result, or 1
// when reading fails.
int32_t copy_into_entry(void *zf, FILE *f) noexcept {
  int32_t result = 0;
  while (!std::feof(f)) {
    char buf[kPiece] = {};
    bool failed = false;
    const size_t got = read_piece(buf, sizeof buf, f, &failed);
    result = ruvoZipWriteInFileInZip(zf, buf, static_cast<uint32_t>(got));
    if (failed) return 1;
  }
  return result;
}

// Streams exactly `size` bytes; a short read means the file changed under us.
bool copy_exact(void *zf, FILE *f, uint32_t size) noexcept {
  char buf[kPiece];
  while (size > 0) {
    const size_t want = std::min<size_t>(size, kPiece);
    bool failed = false;
    if (read_piece(buf, want, f, &failed) != want) return false;
    size -= static_cast<uint32_t>(want);
    ruvoZipWriteInFileInZip(zf, buf, static_cast<uint32_t>(want));
  }
  return true;
}

}  // namespace

extern "C" {

RUVO_API void *ruvo_create_zipfile(const char *zip_path) noexcept {
  if (zip_path == nullptr) return nullptr;
  void *zf = ruvoZipOpen64(zip_path, kAddToArchive);
  return zf != nullptr ? zf : ruvoZipOpen64(zip_path, kNewArchive);
}

RUVO_API int32_t ruvo_add_file_intozfile(void *zf, const char *dir, const char *name) noexcept {
  if (zf == nullptr || name == nullptr) return 1;
  char path[kPathSize];
  const int need = dir != nullptr ? std::snprintf(path, sizeof path, "%s/%s", dir, name)
                                  : std::snprintf(path, sizeof path, "%s", name);
  if (need < 0 || static_cast<size_t>(need) >= sizeof path) return 1;

  struct _stat64 st;
  std::memset(&st, 0, sizeof st);
  if (ruvo_file_stat(path, &st) != 0) return 1;
  ruvo_zip_fileinfo_st info = utc_info(st.st_mtime);

  const unique_file f(ruvo_file_open(path, "rb"));
  if (f == nullptr) return 1;
  if (ruvo::fault::save_step_fails() ||
      ruvoZipOpenNewFileInZip64(zf, name, &info, nullptr, 0, nullptr, 0, nullptr, kDeflate, -1,
                                1) != 0) {
    return 1;
  }
  const int32_t result = copy_into_entry(zf, f.get());
  ruvoZipCloseFileInZip(zf);
  return result;
}

RUVO_API int32_t ruvo_compress_zip(const char *zip_path, const char *file_path,
                                   const char *password) noexcept {
  if (zip_path == nullptr || *zip_path == '\0' || file_path == nullptr || *file_path == '\0') return 0;
  // The entry's sizes are held in 32 signed bits: a larger file is refused
  // rather than packed in part.
  const uint64_t size = ruvo_file_size(file_path);
  if (size > INT32_MAX) return 0;
  const std::unique_ptr<char, Free> copy(ruvo_xstrdup(file_path));
  const char *name = ruvo_path_get_name_a(copy.get());

  const int mode = ruvo_file_size(zip_path) > 0 ? kAddToArchive : kNewArchive;
  const unique_zip zf(ruvoZipOpen64(zip_path, mode));
  if (zf == nullptr) return 0;

  ruvo_zip_fileinfo_st info{};
  char buf[kPiece];
  uint32_t crc = 0;
  getFileCrc(file_path, buf, sizeof buf, &crc);
  if (ruvo::fault::save_step_fails() ||
      ruvoZipOpenNewFileInZip3_64(zf.get(), name, &info, nullptr, 0, nullptr, 0, nullptr, kDeflate, 9,
                                  0, -15, 8, 0, password, crc, 0) != 0) {
    return 0;
  }
  // The archive's close finishes the entry: no ruvoZipCloseFileInZip here.
  const unique_file f(ruvo_file_open(file_path, "rb"));
  if (f == nullptr) return 0;
  return copy_exact(zf.get(), f.get(), static_cast<uint32_t>(size)) ? 1 : 0;
}

}  // extern "C"
