// SHA-256 digests of files. The file is read with the C runtime's narrow
// fopen, so the name is in the system's ANSI code page on Windows and UTF-8
// on Linux; digests come from the algorithm library.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "ruvo/algo/algo.h"
#include "ruvo/base/file.h"
#include "ruvo/base/str.h"
#include "ruvo/base/string.h"

namespace {

constexpr int32_t kDigest = 32;
constexpr size_t kBlock = 4096;

struct file_closer {
  void operator()(FILE *f) const noexcept { std::fclose(f); }
};

}  // namespace

extern "C" {

RUVO_API uint32_t ruvo_file_sha256_byte(const char *path, void *out, int32_t cap) noexcept {
  if (cap < kDigest) return RUVO_E_INVAL;
  if (path == nullptr || out == nullptr) return RUVO_E_INVAL;
  ruvo_sha256_ctx ctx;
  ruvo_sha256_init(&ctx);
  std::unique_ptr<FILE, file_closer> file(std::fopen(path, "rb"));
  if (file == nullptr) return RUVO_E_OPEN;

  unsigned char block[kBlock];
  errno = 0;
  for (size_t n; (n = std::fread(block, 1, kBlock, file.get())) != 0;)
    ruvo_sha256_update(&ctx, block, n);
  // A read error ends the loop as the end of the file does; only the
  // stream's error flag tells them apart.
  if (std::ferror(file.get())) return errno != 0 ? static_cast<uint32_t>(errno) : RUVO_E_FAIL;

  uint8_t digest[kDigest];
  ruvo_sha256_final(&ctx, digest);
  std::memcpy(out, digest, kDigest);
  return 0;
}

RUVO_API uint32_t ruvo_file_sha256_str(const char *path, char *out, int32_t cap) noexcept {
  uint8_t digest[kDigest];
  const uint32_t status = ruvo_file_sha256_byte(path, digest, kDigest);
  return status != 0 ? status : ruvo_str_bin2hexstr(digest, kDigest, out, cap);
}

RUVO_API uint32_t ruvo_file_compare_by_sha256(const char *path1, const char *path2) noexcept {
  if (path1 == nullptr) return RUVO_E_ARG1;
  if (path2 == nullptr) return RUVO_E_ARG2;
  uint8_t first[kDigest], second[kDigest];
  uint32_t status = ruvo_file_sha256_byte(path1, first, kDigest);
  if (status == 0) status = ruvo_file_sha256_byte(path2, second, kDigest);
  if (status != 0) return status;
  return std::memcmp(first, second, kDigest) == 0 ? 0 : RUVO_E_FAIL;
}

RUVO_API uint32_t ruvo_file_verify_sha256(const char *path, const char *expected_hex) noexcept {
  if (path == nullptr) return RUVO_E_ARG1;
  if (expected_hex == nullptr) return RUVO_E_ARG2;
  char text[2 * kDigest + 1] = {};
  const uint32_t status = ruvo_file_sha256_str(path, text, sizeof text);
  if (status != 0) return status;
  return ruvo_stricmp(text, expected_hex) == 0 ? 0 : RUVO_E_FAIL;
}

}  // extern "C"
