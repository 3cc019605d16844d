// The zip helpers' failures that no real file under test produces: an entry
// that cannot be started, a read that fails, a read that comes up short.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "internal/fault.hpp"
#include "ruvo/base/zip.h"
#include "ruvo/zip/zip.h"

namespace {

TEST(ZipFaults, AFailedEntryStartOrReadIsReported) {
  const auto dir = std::filesystem::temp_directory_path() / "ruvo-zip-faults";
  std::filesystem::create_directories(dir);
  const std::string data = (dir / "data.txt").string(), zip = (dir / "out.zip").string();
  FILE *f = std::fopen(data.c_str(), "wb");
  std::fputs(std::string(3000, 'z').c_str(), f);
  std::fclose(f);
  // Steps: the start of the entry, then each 1024-byte piece read.
  const struct {
    long successes;
    int32_t add, compress;
  } rows[] = {{0, 1, 0}, {1, 1, 0}, {3, 1, 0}, {-1, 0, 1}};
  for (const auto &r : rows) {
    void *zf = ruvo_create_zipfile(zip.c_str());
    ruvo::fault::fail_save_step(r.successes);
    EXPECT_EQ(ruvo_add_file_intozfile(zf, dir.string().c_str(), "data.txt"), r.add) << r.successes;
    ruvoZipClose(zf, nullptr);
    std::filesystem::remove(zip);
    ruvo::fault::fail_save_step(r.successes);
    EXPECT_EQ(ruvo_compress_zip(zip.c_str(), data.c_str(), nullptr), r.compress) << r.successes;
    ruvo::fault::fail_save_step(-1);
    std::filesystem::remove(zip);
  }
  std::filesystem::remove_all(dir);
}

}  // namespace
