// The end of an existing archive: the end record (found by scanning back
// over at most a 65535-byte comment), the Zip64 end record when a locator
// points to one, and the central directory, whose records are walked once so
// that a damaged archive is refused before anything is added to it.
#include "directory.hpp"

#include <algorithm>

#include "ruvo/zip/zip.h"

namespace ruvo::zip {
namespace {

bool read_at(FILE *f, uint64_t pos, void *buf, size_t n) noexcept {
  return seek_to(f, pos) && std::fread(buf, 1, n, f) == n;
}

// The end record is the one whose comment ends exactly at the end of the
// file; a signature inside a comment or in entry data does not satisfy that.
const uint8_t *find_end(const uint8_t *tail, size_t len) noexcept {
  for (size_t at = len - kEndSize + 1; at-- > 0;) {
    const uint8_t *e = tail + at;
    if (get32(e) == kEndSig && at + kEndSize + get16(e + 20) == len) return e;
  }
  return nullptr;
}

// Replaces the 32-bit counts with those of the Zip64 end record when a
// locator stands right before the end record. `end` becomes where the
// directory's end records start.
int read_zip64_end(FILE *f, Directory *dir, uint64_t *cd_size, uint64_t *end) noexcept {
  uint8_t loc[kLocatorSize];
  if (*end < kLocatorSize) return RUVO_ZIP_OK;
  if (!read_at(f, *end - kLocatorSize, loc, sizeof loc)) return RUVO_ZIP_ERRNO;
  if (get32(loc) != kLocatorSig) return RUVO_ZIP_OK;
  const uint64_t at = get64(loc + 8);
  uint8_t rec[kEnd64Size];
  if (at > *end - kLocatorSize || !read_at(f, at, rec, sizeof rec) || get32(rec) != kEnd64Sig) {
    return RUVO_ZIP_BADZIPFILE;
  }
  dir->count = get64(rec + 32);
  *cd_size = get64(rec + 40);
  dir->offset = get64(rec + 48);
  *end = at;
  return RUVO_ZIP_OK;
}

// Every record must be a central record that fits, and together they must
// fill the directory exactly.
bool walk_central(const uint8_t *c, size_t size, uint64_t count) noexcept {
  size_t p = 0;
  for (uint64_t i = 0; i < count; ++i) {
    if (size - p < kCentralSize || get32(c + p) != kCentralSig) return false;
    const size_t len = kCentralSize + get16(c + p + 28) + get16(c + p + 30) + get16(c + p + 32);
    if (size - p < len) return false;
    p += len;
  }
  return p == size;
}

}  // namespace

int read_directory(FILE *f, Directory *dir) noexcept {
  if (!size_of(f, &dir->file_size)) return RUVO_ZIP_ERRNO;
  if (dir->file_size < kEndSize) return RUVO_ZIP_BADZIPFILE;

  const size_t tail_len = static_cast<size_t>(std::min<uint64_t>(dir->file_size, kEndSize + kMax16));
  Bytes tail;
  uint8_t *t = tail.grow(tail_len);
  if (t == nullptr) return RUVO_ZIP_INTERNALERROR;
  if (!read_at(f, dir->file_size - tail_len, t, tail_len)) return RUVO_ZIP_ERRNO;
  const uint8_t *e = find_end(t, tail_len);
  if (e == nullptr) return RUVO_ZIP_BADZIPFILE;
  // Archives split over several disks are not ours to add to.
  if (get16(e + 4) != 0 || get16(e + 6) != 0 || get16(e + 8) != get16(e + 10)) return RUVO_ZIP_BADZIPFILE;

  dir->count = get16(e + 10);
  uint64_t cd_size = get32(e + 12);
  dir->offset = get32(e + 16);
  if (!dir->comment.append(e + kEndSize, get16(e + 20))) return RUVO_ZIP_INTERNALERROR;
  uint64_t end = dir->file_size - tail_len + static_cast<size_t>(e - t);
  if (const int r = read_zip64_end(f, dir, &cd_size, &end); r != RUVO_ZIP_OK) return r;

  // New entries go where the directory starts, so it must lie right before
  // the end records: data in front of the archive would shift every offset.
  if (dir->offset > end || end - dir->offset != cd_size) return RUVO_ZIP_BADZIPFILE;
  uint8_t *c = dir->central.grow(static_cast<size_t>(cd_size));
  if (c == nullptr) return RUVO_ZIP_INTERNALERROR;
  if (!read_at(f, dir->offset, c, static_cast<size_t>(cd_size))) return RUVO_ZIP_ERRNO;
  return walk_central(c, static_cast<size_t>(cd_size), dir->count) ? RUVO_ZIP_OK : RUVO_ZIP_BADZIPFILE;
}

}  // namespace ruvo::zip
