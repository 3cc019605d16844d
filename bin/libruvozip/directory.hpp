// Reading the end of an existing archive so that entries can be added to it.
#pragma once

#include <cstdint>
#include <cstdio>

#include "records.hpp"

namespace ruvo::zip {

// Record signatures and fixed sizes of the zip format.
constexpr uint32_t kLocalSig = 0x04034b50u;
constexpr uint32_t kCentralSig = 0x02014b50u;
constexpr uint32_t kEndSig = 0x06054b50u;
constexpr uint32_t kEnd64Sig = 0x06064b50u;
constexpr uint32_t kLocatorSig = 0x07064b50u;
constexpr size_t kLocalSize = 30, kCentralSize = 46, kEndSize = 22, kEnd64Size = 56, kLocatorSize = 20;
constexpr uint32_t kMax16 = 0xFFFFu;
constexpr uint64_t kMax32 = 0xFFFFFFFFu;

// What an archive holds behind its last entry.
struct Directory {
  uint64_t offset = 0;      // where the central directory starts, bytes from the file's start
  uint64_t count = 0;       // central records in it
  uint64_t file_size = 0;   // the archive's size as found
  Bytes central;            // the records themselves
  Bytes comment;            // the archive comment
};

// Fills `dir` from the end records and central directory of `f`: 0, or
// RUVO_ZIP_BADZIPFILE / RUVO_ZIP_ERRNO / RUVO_ZIP_INTERNALERROR.
int read_directory(FILE *f, Directory *dir) noexcept;

}  // namespace ruvo::zip
