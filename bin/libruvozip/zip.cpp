// The zip writer: local header, entry data through deflate and the optional
// cipher, then the local header patched with CRC and sizes, so no entry needs
// a data descriptor and the cipher's check byte can be the CRC's high byte.
// The central records wait in memory until the archive is closed.
#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ctime>
#include <new>

#include "crypt.hpp"
#include "directory.hpp"
#include "records.hpp"
#include "ruvo/zip/zip.h"

namespace ruvo::zip {
namespace {

constexpr uint16_t kZip64Tag = 0x0001;
constexpr size_t kLocalZip64Size = 20;    // tag, length, both sizes
constexpr size_t kCentralZip64Max = 28;   // tag, length, both sizes, offset
constexpr size_t kCryptHeaderSize = 12;
// Without a Zip64 field 0xFFFFFFFF means "look in the Zip64 field", so the
// largest size a plain entry can state is one less.
constexpr uint64_t kPlainLimit = kMax32 - 1;
constexpr uint32_t kDosEpoch = 0x00210000u;  // 1980-01-01 00:00:00
constexpr size_t kOutSize = 1 << 16;

struct Entry {
  bool open = false;
  bool zip64 = false;         // the local header has a Zip64 field
  bool deflating = false;
  bool encrypted = false;
  uint16_t method = 0;
  uint16_t flags = 0;
  uint32_t dos_time = 0;
  uint32_t internal_fa = 0, external_fa = 0;
  uint64_t header_offset = 0; // bytes from the archive's start
  uint64_t in_size = 0;       // bytes given by the caller
  uint64_t out_size = 0;      // bytes behind the local header, cipher header included
  uint32_t crc = 0;
  uint32_t check_crc = 0;     // the CRC the caller announced for the cipher's check byte
  size_t out_used = 0;        // bytes waiting in Archive::out
  Bytes name, extra, comment; // for the central record
  z_stream z{};
  ZipCrypto cipher;
};

struct Archive {
  FILE *file = nullptr;
  uint64_t pos = 0;           // where the next byte goes
  uint64_t found_size = 0;    // the file's size when it was opened to add to
  uint64_t count = 0;         // central records, old and new
  Bytes central;
  Bytes comment;              // the comment of the archive that was added to
  Entry entry;
  uint8_t out[kOutSize];

  ~Archive() {
    if (entry.deflating) deflateEnd(&entry.z);
    if (file != nullptr) std::fclose(file);
  }
};

Archive *as_archive(void *zip) noexcept { return static_cast<Archive *>(zip); }

// The stream is unbuffered (Archive::out buffers entry data), so a write the
// file system refuses fails the call that made it, not a later close.
bool unbuffered(Archive *a) noexcept { return std::setvbuf(a->file, nullptr, _IONBF, 0) == 0; }

bool write_all(Archive *a, const void *p, size_t n) noexcept {
  if (n != 0 && std::fwrite(p, 1, n, a->file) != n) return false;
  a->pos += n;
  return true;
}

// ---- opening ----

Archive *open_new(const char *path) noexcept {
  Archive *a = new (std::nothrow) Archive;
  if (a == nullptr) return nullptr;
  a->file = std::fopen(path, "wb");
  if (a->file != nullptr && unbuffered(a)) return a;
  delete a;
  return nullptr;
}

Archive *open_existing(const char *path) noexcept {
  Archive *a = new (std::nothrow) Archive;
  if (a == nullptr) return nullptr;
  a->file = std::fopen(path, "r+b");
  Directory dir;
  if (a->file == nullptr || !unbuffered(a) || read_directory(a->file, &dir) != RUVO_ZIP_OK ||
      !a->central.append(dir.central.data(), dir.central.size()) ||
      !a->comment.append(dir.comment.data(), dir.comment.size()) || !seek_to(a->file, dir.offset)) {
    delete a;
    return nullptr;
  }
  a->pos = dir.offset;
  a->count = dir.count;
  a->found_size = dir.file_size;
  return a;
}

// ---- entry data ----

// The cipher runs over everything behind the local header, its own 12-byte
// header included, so the buffer is enciphered as it leaves.
bool flush_out(Archive *a) noexcept {
  Entry &e = a->entry;
  if (e.encrypted) {
    for (size_t i = 0; i < e.out_used; ++i) a->out[i] = e.cipher.encrypt(a->out[i]);
  }
  if (!write_all(a, a->out, e.out_used)) return false;
  e.out_size += e.out_used;
  e.out_used = 0;
  return true;
}

int put_stored(Archive *a, const uint8_t *p, size_t n) noexcept {
  Entry &e = a->entry;
  while (n > 0) {
    const size_t take = std::min(n, kOutSize - e.out_used);
    std::memcpy(a->out + e.out_used, p, take);
    e.out_used += take;
    p += take;
    n -= take;
    if (e.out_used == kOutSize && !flush_out(a)) return RUVO_ZIP_ERRNO;
  }
  return RUVO_ZIP_OK;
}

// Runs deflate until it has taken all input (Z_NO_FLUSH) or ended the
// stream (Z_FINISH), writing each full output buffer.
int run_deflate(Archive *a, int flush) noexcept {
  Entry &e = a->entry;
  for (;;) {
    e.z.next_out = a->out + e.out_used;
    e.z.avail_out = static_cast<uInt>(kOutSize - e.out_used);
    const int r = deflate(&e.z, flush);
    e.out_used = kOutSize - e.z.avail_out;
    if (r != Z_OK && r != Z_STREAM_END) return RUVO_ZIP_INTERNALERROR;
    if (e.out_used == kOutSize && !flush_out(a)) return RUVO_ZIP_ERRNO;
    if (flush == Z_FINISH ? r == Z_STREAM_END : e.z.avail_in == 0) return RUVO_ZIP_OK;
  }
}

// ---- local and central records ----

uint32_t dos_time_of(const ruvo_zip_fileinfo_st *info) noexcept {
  if (info == nullptr) return kDosEpoch;
  if (info->dos_date != 0) return info->dos_date;
  if (info->tm_year < 80) return kDosEpoch;
  return (info->tm_year - 80) << 25 | (info->tm_mon + 1) << 21 | info->tm_mday << 16 |
         info->tm_hour << 11 | info->tm_min << 5 | info->tm_sec / 2;
}

// A DOS time holds the years 1980 to 2107 and a field for each part; values
// that would spill into the next field are refused rather than cut.
bool time_fits(const ruvo_zip_fileinfo_st *info) noexcept {
  if (info == nullptr || info->dos_date != 0 || info->tm_year < 80) return true;
  return info->tm_year <= 207 && info->tm_mon <= 11 && info->tm_mday >= 1 && info->tm_mday <= 31 &&
         info->tm_hour <= 23 && info->tm_min <= 59 && info->tm_sec <= 59;
}

uint16_t version_needed(bool zip64) noexcept { return zip64 ? 45 : 20; }

// Writes the local header with zero CRC and sizes; closing the entry
// patches them in.
bool write_local_header(Archive *a, const void *extra, uint32_t extra_size) noexcept {
  Entry &e = a->entry;
  uint8_t h[kLocalSize + kLocalZip64Size] = {};
  const size_t zip64_size = e.zip64 ? kLocalZip64Size : 0;
  put32(h, kLocalSig);
  put16(h + 4, version_needed(e.zip64));
  put16(h + 6, e.flags);
  put16(h + 8, e.method);
  put32(h + 10, e.dos_time);
  put16(h + 26, e.name.size());
  put16(h + 28, zip64_size + extra_size);
  uint8_t *z = h + kLocalSize;
  if (e.zip64) {
    put32(h + 18, kMax32);
    put32(h + 22, kMax32);
    put16(z, kZip64Tag);
    put16(z + 2, kLocalZip64Size - 4);
  }
  return write_all(a, h, kLocalSize) && write_all(a, e.name.data(), e.name.size()) &&
         write_all(a, z, zip64_size) && write_all(a, extra, extra_size);
}

bool patch_local_header(Archive *a) noexcept {
  Entry &e = a->entry;
  uint8_t b[16];
  put32(b, e.crc);
  put32(b + 4, e.zip64 ? kMax32 : e.out_size);
  put32(b + 8, e.zip64 ? kMax32 : e.in_size);
  if (!seek_to(a->file, e.header_offset + 14) || std::fwrite(b, 1, 12, a->file) != 12) return false;
  if (e.zip64) {
    put64(b, e.in_size);
    put64(b + 8, e.out_size);
    const uint64_t at = e.header_offset + kLocalSize + e.name.size() + 4;
    if (!seek_to(a->file, at) || std::fwrite(b, 1, 16, a->file) != 16) return false;
  }
  return seek_to(a->file, a->pos);
}

// A central record states a 32-bit field as 0xFFFFFFFF and puts the value in
// its Zip64 field when it does not fit, in the order the format fixes.
bool add_central_record(Archive *a) noexcept {
  Entry &e = a->entry;
  uint8_t z[kCentralZip64Max];
  size_t zn = 4;
  const uint64_t wide[3] = {e.in_size, e.out_size, e.header_offset};
  for (uint64_t v : wide) {
    if (v >= kMax32) {
      put64(z + zn, v);
      zn += 8;
    }
  }
  if (zn == 4) zn = 0;
  put16(z, kZip64Tag);
  put16(z + 2, zn - 4);
  const bool zip64 = e.zip64 || zn != 0;

  uint8_t *c = a->central.grow(kCentralSize + e.name.size() + zn + e.extra.size() + e.comment.size());
  if (c == nullptr) return false;
  put32(c, kCentralSig);
  put16(c + 4, version_needed(zip64));
  put16(c + 6, version_needed(zip64));
  put16(c + 8, e.flags);
  put16(c + 10, e.method);
  put32(c + 12, e.dos_time);
  put32(c + 16, e.crc);
  put32(c + 20, std::min<uint64_t>(e.out_size, kMax32));
  put32(c + 24, std::min<uint64_t>(e.in_size, kMax32));
  put16(c + 28, e.name.size());
  put16(c + 30, zn + e.extra.size());
  put16(c + 32, e.comment.size());
  put16(c + 34, 0);
  put16(c + 36, e.internal_fa);
  put32(c + 38, e.external_fa);
  put32(c + 42, std::min<uint64_t>(e.header_offset, kMax32));
  c += kCentralSize;
  if (e.name.size() != 0) std::memcpy(c, e.name.data(), e.name.size());
  c += e.name.size();
  if (zn != 0) std::memcpy(c, z, zn);
  c += zn;
  if (e.extra.size() != 0) std::memcpy(c, e.extra.data(), e.extra.size());
  c += e.extra.size();
  if (e.comment.size() != 0) std::memcpy(c, e.comment.data(), e.comment.size());
  ++a->count;
  return true;
}

// ---- the steps of an entry ----

struct NewEntry {
  const char *name;
  const ruvo_zip_fileinfo_st *info;
  const void *extra_local;
  uint32_t extra_local_size;
  const void *extra_global;
  uint32_t extra_global_size;
  const char *comment;
  int method, level, raw, window_bits, mem_level, strategy;
  const char *password;
  uint32_t crc;
  int zip64;
};

bool text_fits(const char *text) noexcept { return text == nullptr || std::strlen(text) <= kMax16; }

bool extra_fits(const void *p, uint32_t size, size_t reserved) noexcept {
  return (p != nullptr || size == 0) && size + reserved <= kMax16;
}

bool arguments_fit(const NewEntry &n) noexcept {
  return n.name != nullptr && text_fits(n.name) && text_fits(n.comment) && time_fits(n.info) &&
         (n.method == 0 || n.method == Z_DEFLATED) && n.level >= -1 && n.level <= 9 && n.raw == 0 &&
         n.window_bits >= -15 && n.window_bits <= -9 && n.mem_level >= 1 && n.mem_level <= 9 &&
         n.strategy >= 0 && n.strategy <= Z_FIXED && (n.zip64 == 0 || n.zip64 == 1) &&
         extra_fits(n.extra_local, n.extra_local_size, kLocalZip64Size) &&
         extra_fits(n.extra_global, n.extra_global_size, kCentralZip64Max);
}

// The general-purpose flag bits: 0 for the cipher; 1 and 2 tell readers
// which deflate effort made the data.
uint16_t flags_of(const NewEntry &n) noexcept {
  uint16_t f = n.password != nullptr ? 1 : 0;
  if (n.method == Z_DEFLATED) {
    if (n.level >= 8) f |= 2;
    if (n.level == 2) f |= 4;
    if (n.level == 1) f |= 6;
  }
  return f;
}

// Random bytes for the cipher header only have to differ between entries;
// the cipher is not a secret keeper, so a mixed clock and counter will do.
void fill_random(uint8_t *p, size_t n) noexcept {
  static std::atomic<uint64_t> counter{0};
  uint64_t x = static_cast<uint64_t>(std::time(nullptr)) ^ static_cast<uint64_t>(std::clock()) << 32 ^
               (counter.fetch_add(1) + 1) * 0x9E3779B97F4A7C15ull;
  for (size_t i = 0; i < n; ++i) {
    x += 0x9E3779B97F4A7C15ull;
    uint64_t z = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    p[i] = static_cast<uint8_t>(z ^ (z >> 31));
  }
}

int close_entry(Archive *a) noexcept;

int open_entry(Archive *a, const NewEntry &n) noexcept {
  if (a->entry.open) {
    if (const int r = close_entry(a); r != RUVO_ZIP_OK) return r;
  }
  Entry &e = a->entry;
  e.name.clear();
  e.extra.clear();
  e.comment.clear();
  if (!e.name.append(n.name, std::strlen(n.name)) || !e.extra.append(n.extra_global, n.extra_global_size) ||
      (n.comment != nullptr && !e.comment.append(n.comment, std::strlen(n.comment)))) {
    return RUVO_ZIP_INTERNALERROR;
  }
  e.zip64 = n.zip64 != 0;
  e.method = static_cast<uint16_t>(n.method);
  e.flags = flags_of(n);
  e.dos_time = dos_time_of(n.info);
  e.internal_fa = n.info != nullptr ? n.info->internal_fa : 0;
  e.external_fa = n.info != nullptr ? n.info->external_fa : 0;
  e.header_offset = a->pos;
  e.in_size = e.out_size = 0;
  e.crc = 0;
  e.check_crc = n.crc;
  e.out_used = 0;
  e.encrypted = n.password != nullptr;
  if (!write_local_header(a, n.extra_local, n.extra_local_size)) return RUVO_ZIP_ERRNO;
  if (n.method == Z_DEFLATED) {
    e.z = z_stream{};
    if (deflateInit2(&e.z, n.level, Z_DEFLATED, n.window_bits, n.mem_level, n.strategy) != Z_OK) {
      return RUVO_ZIP_INTERNALERROR;
    }
    e.deflating = true;
  }
  if (e.encrypted) {
    // Readers test the password on the last header byte: the CRC's high byte.
    e.cipher.init(n.password);
    fill_random(a->out, kCryptHeaderSize - 2);
    a->out[kCryptHeaderSize - 2] = static_cast<uint8_t>(n.crc >> 16);
    a->out[kCryptHeaderSize - 1] = static_cast<uint8_t>(n.crc >> 24);
    e.out_used = kCryptHeaderSize;
  }
  e.open = true;
  return RUVO_ZIP_OK;
}

int write_entry(Archive *a, const void *buf, uint32_t len) noexcept {
  Entry &e = a->entry;
  if (!e.zip64 && e.in_size + len > kPlainLimit) return RUVO_ZIP_TOOLARGE;
  e.crc = static_cast<uint32_t>(crc32(e.crc, static_cast<const Bytef *>(buf), len));
  e.in_size += len;
  int r = RUVO_ZIP_OK;
  if (e.deflating) {
    e.z.next_in = static_cast<Bytef *>(const_cast<void *>(buf));
    e.z.avail_in = len;
    r = run_deflate(a, Z_NO_FLUSH);
  } else {
    r = put_stored(a, static_cast<const uint8_t *>(buf), len);
  }
  if (r == RUVO_ZIP_OK && !e.zip64 && e.out_size > kPlainLimit) r = RUVO_ZIP_TOOLARGE;
  return r;
}

int close_entry(Archive *a) noexcept {
  Entry &e = a->entry;
  e.open = false;
  int r = RUVO_ZIP_OK;
  if (e.deflating) {
    e.z.avail_in = 0;
    r = run_deflate(a, Z_FINISH);
    deflateEnd(&e.z);
    e.deflating = false;
  }
  if (r == RUVO_ZIP_OK && !flush_out(a)) r = RUVO_ZIP_ERRNO;
  if (r == RUVO_ZIP_OK && !e.zip64 && e.out_size > kPlainLimit) r = RUVO_ZIP_TOOLARGE;
  if (r == RUVO_ZIP_OK && !patch_local_header(a)) r = RUVO_ZIP_ERRNO;
  // The entry goes into the directory even when a step failed, so the bytes
  // already written stay reachable.
  if (!add_central_record(a)) return RUVO_ZIP_INTERNALERROR;
  if (r == RUVO_ZIP_OK && e.encrypted && e.crc != e.check_crc) r = RUVO_ZIP_PARAMERROR;
  return r;
}

// ---- the end of the archive ----

bool write_end_records(Archive *a, const Bytes &comment) noexcept {
  const uint64_t cd_offset = a->pos;
  const uint64_t cd_size = a->central.size();
  if (!write_all(a, a->central.data(), a->central.size())) return false;
  if (a->count >= kMax16 || cd_size >= kMax32 || cd_offset >= kMax32) {
    uint8_t z[kEnd64Size + kLocatorSize] = {};
    put32(z, kEnd64Sig);
    put64(z + 4, kEnd64Size - 12);
    put16(z + 12, version_needed(true));
    put16(z + 14, version_needed(true));
    put64(z + 24, a->count);
    put64(z + 32, a->count);
    put64(z + 40, cd_size);
    put64(z + 48, cd_offset);
    put32(z + kEnd64Size, kLocatorSig);
    put64(z + kEnd64Size + 8, a->pos);
    put32(z + kEnd64Size + 16, 1);
    if (!write_all(a, z, sizeof z)) return false;
  }
  uint8_t e[kEndSize] = {};
  put32(e, kEndSig);
  put16(e + 8, std::min<uint64_t>(a->count, kMax16));
  put16(e + 10, std::min<uint64_t>(a->count, kMax16));
  put32(e + 12, std::min<uint64_t>(cd_size, kMax32));
  put32(e + 16, std::min<uint64_t>(cd_offset, kMax32));
  put16(e + 20, comment.size());
  return write_all(a, e, sizeof e) && write_all(a, comment.data(), comment.size());
}

int close_archive(Archive *a, const char *comment) noexcept {
  int r = a->entry.open ? close_entry(a) : RUVO_ZIP_OK;
  // A comment too long for its 16-bit length is refused, not cut: the
  // archive ends without one.
  Bytes given;
  if (comment != nullptr && (!text_fits(comment) || !given.append(comment, std::strlen(comment)))) {
    given.clear();
    r = RUVO_ZIP_PARAMERROR;
  }
  if (!write_end_records(a, comment != nullptr ? given : a->comment)) r = RUVO_ZIP_ERRNO;
  // A shorter comment than the old one leaves the old end behind.
  if (a->pos < a->found_size && !truncate_to(a->file, a->pos)) r = RUVO_ZIP_ERRNO;
  if (std::fclose(a->file) != 0 && r == RUVO_ZIP_OK) r = RUVO_ZIP_ERRNO;
  a->file = nullptr;
  return r;
}

}  // namespace
}  // namespace ruvo::zip

using namespace ruvo::zip;

extern "C" {

RUVO_ZIP_API void *ruvoZipOpen64(const char *path, int append) noexcept {
  if (path == nullptr) return nullptr;
  if (append == RUVO_ZIP_APPEND_CREATE) return open_new(path);
  if (append == RUVO_ZIP_APPEND_ADD) return open_existing(path);
  return nullptr;
}

RUVO_ZIP_API int ruvoZipOpenNewFileInZip3_64(void *zip, const char *name, const ruvo_zip_fileinfo_st *info,
                                             const void *extra_local, uint32_t extra_local_size,
                                             const void *extra_global, uint32_t extra_global_size,
                                             const char *comment, int method, int level, int raw,
                                             int window_bits, int mem_level, int strategy,
                                             const char *password, uint32_t crc_for_crypting,
                                             int zip64) noexcept {
  const NewEntry n{name,    info,   extra_local, extra_local_size, extra_global, extra_global_size,
                   comment, method, level,       raw,              window_bits,  mem_level,
                   strategy, password, crc_for_crypting, zip64};
  if (zip == nullptr || !arguments_fit(n)) return RUVO_ZIP_PARAMERROR;
  return open_entry(as_archive(zip), n);
}

RUVO_ZIP_API int ruvoZipOpenNewFileInZip64(void *zip, const char *name, const ruvo_zip_fileinfo_st *info,
                                           const void *extra_local, uint32_t extra_local_size,
                                           const void *extra_global, uint32_t extra_global_size,
                                           const char *comment, int method, int level,
                                           int zip64) noexcept {
  return ruvoZipOpenNewFileInZip3_64(zip, name, info, extra_local, extra_local_size, extra_global,
                                     extra_global_size, comment, method, level, 0, -MAX_WBITS,
                                     8, Z_DEFAULT_STRATEGY, nullptr, 0, zip64);
}

RUVO_ZIP_API int ruvoZipWriteInFileInZip(void *zip, const void *buf, uint32_t len) noexcept {
  if (zip == nullptr || !as_archive(zip)->entry.open || (buf == nullptr && len != 0)) {
    return RUVO_ZIP_PARAMERROR;
  }
  return len == 0 ? RUVO_ZIP_OK : write_entry(as_archive(zip), buf, len);
}

RUVO_ZIP_API int ruvoZipCloseFileInZip(void *zip) noexcept {
  if (zip == nullptr || !as_archive(zip)->entry.open) return RUVO_ZIP_PARAMERROR;
  return close_entry(as_archive(zip));
}

RUVO_ZIP_API int ruvoZipClose(void *zip, const char *comment) noexcept {
  if (zip == nullptr) return RUVO_ZIP_PARAMERROR;
  Archive *a = as_archive(zip);
  const int r = close_archive(a, comment);
  delete a;
  return r;
}

RUVO_ZIP_API int getFileCrc(const char *path, void *buf, uint32_t size, uint32_t *crc) noexcept {
  if (path == nullptr || buf == nullptr || size == 0 || crc == nullptr) return RUVO_ZIP_PARAMERROR;
  *crc = 0;
  FILE *f = std::fopen(path, "rb");
  if (f == nullptr) return RUVO_ZIP_ERRNO;
  uLong sum = crc32(0, nullptr, 0);
  size_t got = 0;
  while ((got = std::fread(buf, 1, size, f)) > 0) sum = crc32(sum, static_cast<const Bytef *>(buf), static_cast<uInt>(got));
  const bool failed = std::ferror(f) != 0;
  std::fclose(f);
  if (failed) return RUVO_ZIP_ERRNO;
  *crc = static_cast<uint32_t>(sum);
  return RUVO_ZIP_OK;
}

}  // extern "C"
