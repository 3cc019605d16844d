// Little-endian record fields, a growing byte buffer whose growth failure is
// a result rather than an exception, and the 64-bit file positions that
// archives past 4 GiB need.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(_WIN32)
#include <io.h>
#else
#include <sys/types.h>
#include <unistd.h>
#endif

namespace ruvo::zip {

inline void put16(uint8_t *p, uint64_t v) noexcept {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
inline void put32(uint8_t *p, uint64_t v) noexcept {
  put16(p, v);
  put16(p + 2, v >> 16);
}
inline void put64(uint8_t *p, uint64_t v) noexcept {
  put32(p, v);
  put32(p + 4, v >> 32);
}
inline uint32_t get16(const uint8_t *p) noexcept { return p[0] | static_cast<uint32_t>(p[1]) << 8; }
inline uint32_t get32(const uint8_t *p) noexcept { return get16(p) | get16(p + 2) << 16; }
inline uint64_t get64(const uint8_t *p) noexcept { return get32(p) | static_cast<uint64_t>(get32(p + 4)) << 32; }

// Bytes kept for the central directory and the texts of the open entry.
class Bytes {
 public:
  Bytes() noexcept = default;
  Bytes(const Bytes &) = delete;
  Bytes &operator=(const Bytes &) = delete;
  ~Bytes() { std::free(data_); }

  [[nodiscard]] const uint8_t *data() const noexcept { return data_; }
  [[nodiscard]] size_t size() const noexcept { return size_; }
  void clear() noexcept { size_ = 0; }

  // Room for n more bytes at the end, which the caller then fills; null when
  // memory runs out. Never null for n == 0 otherwise.
  uint8_t *grow(size_t n) noexcept {
    if (size_ + n > cap_ || data_ == nullptr) {
      size_t cap = cap_ == 0 ? 256 : cap_;
      while (cap < size_ + n) cap *= 2;
      void *p = std::realloc(data_, cap);
      if (p == nullptr) return nullptr;
      data_ = static_cast<uint8_t *>(p);
      cap_ = cap;
    }
    uint8_t *at = data_ + size_;
    size_ += n;
    return at;
  }

  bool append(const void *p, size_t n) noexcept {
    uint8_t *at = grow(n);
    if (at == nullptr) return false;
    if (n != 0) std::memcpy(at, p, n);
    return true;
  }

 private:
  uint8_t *data_ = nullptr;
  size_t size_ = 0;
  size_t cap_ = 0;
};

// The C runtime's long positions differ by platform: msvcrt has _fseeki64,
// glibc fseeko with a 64-bit off_t.
inline bool seek_to(FILE *f, uint64_t pos) noexcept {
#if defined(_WIN32)
  return _fseeki64(f, static_cast<long long>(pos), SEEK_SET) == 0;
#else
  return fseeko(f, static_cast<off_t>(pos), SEEK_SET) == 0;
#endif
}

inline bool size_of(FILE *f, uint64_t *size) noexcept {
#if defined(_WIN32)
  if (_fseeki64(f, 0, SEEK_END) != 0) return false;
  const long long end = _ftelli64(f);
#else
  if (fseeko(f, 0, SEEK_END) != 0) return false;
  const off_t end = ftello(f);
#endif
  if (end < 0) return false;
  *size = static_cast<uint64_t>(end);
  return true;
}

inline bool truncate_to(FILE *f, uint64_t size) noexcept {
  if (std::fflush(f) != 0) return false;
#if defined(_WIN32)
  return _chsize_s(_fileno(f), static_cast<long long>(size)) == 0;
#else
  return ftruncate(fileno(f), static_cast<off_t>(size)) == 0;
#endif
}

}  // namespace ruvo::zip
