// The zip helpers on real files in a fresh temporary folder, read back with
// the tests' zip reader: entry names without the folder, modification times
// in UTC (the test runs nine hours east of it), empty files, adding to an
// existing archive, a password entry, and the refusals.
#include <windows.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "ruvo/base/zip.h"
#include "ruvo/zip/zip.h"
#include "support/support.hpp"
#include "support/zip_reader.hpp"

namespace {

ruvo_test::ZipRead read_back(const std::string &zip, const std::string &password = "") {
  std::ifstream in(zip, std::ios::binary);
  return ruvo_test::read_zip({std::istreambuf_iterator<char>(in), {}}, password);
}

uint32_t dos_time(uint32_t y, uint32_t mo, uint32_t d, uint32_t h, uint32_t mi, uint32_t s) {
  return (y - 1980) << 25 | mo << 21 | d << 16 | h << 11 | mi << 5 | s / 2;
}

class WinZip : public ::testing::Test {
 protected:
  void SetUp() override {
    // Local time nine hours from UTC, so a local entry time would show.
    _putenv("TZ=JST-9");
    _tzset();
    char tmp[MAX_PATH];
    ::GetTempPathA(MAX_PATH, tmp);
    root_ = std::string(tmp) + "ruvo-zip-" + std::to_string(::GetCurrentProcessId());
    ASSERT_TRUE(::CreateDirectoryA(root_.c_str(), nullptr));
  }
  void TearDown() override { std::filesystem::remove_all(root_); }
  // Writes a file whose modification time is `mtime` (seconds since 1970).
  std::string put(const std::string &name, const std::string &bytes,
                  int64_t mtime = 1623760496) const {
    const std::string p = root_ + "\\" + name;
    std::ofstream(p, std::ios::binary) << bytes;
    const std::chrono::sys_seconds when{std::chrono::seconds{mtime}};
    std::filesystem::last_write_time(p, std::chrono::file_clock::from_sys(when));
    return p;
  }
  std::string root_;
};

TEST_F(WinZip, AutoLogBatchNamesWithoutFolderTimesInUtcAndAdds) {
  const std::string zip = root_ + "\\l.zip";
  EXPECT_EQ(ruvo_create_zipfile(nullptr), nullptr);
  ruvoZipClose(ruvo_create_zipfile(zip.c_str()), nullptr);
  EXPECT_EQ(read_back(zip).error, "");  // with no member still an archive
  EXPECT_TRUE(read_back(zip).items.empty());

  const std::string text(3000, 'L');
  put("a.txt", text);
  put("empty.txt", "", 946684799);  // 1999-12-31 23:59:59 UTC, a day later in Tokyo
  // 259 bytes of path fit the buffer with its terminator; 260 do not.
  const std::string fit(259 - root_.size() - 1, 'n'), over = fit + "n";
  put(fit, "");
  put(over, "");
  void *zf = ruvo_create_zipfile(zip.c_str());
  ASSERT_NE(zf, nullptr);
  EXPECT_EQ(ruvo_add_file_intozfile(zf, root_.c_str(), "a.txt"), 0);
  EXPECT_EQ(ruvo_add_file_intozfile(zf, root_.c_str(), "empty.txt"), 0);
  EXPECT_EQ(ruvo_add_file_intozfile(zf, root_.c_str(), "missing.txt"), 1);
  EXPECT_EQ(ruvo_add_file_intozfile(zf, nullptr, "missing.txt"), 1);
  EXPECT_EQ(ruvo_add_file_intozfile(zf, root_.c_str(), nullptr), 1);
  EXPECT_EQ(ruvo_add_file_intozfile(nullptr, root_.c_str(), "a.txt"), 1);
  EXPECT_EQ(ruvo_add_file_intozfile(zf, root_.c_str(), fit.c_str()), 0);
  EXPECT_EQ(ruvo_add_file_intozfile(zf, root_.c_str(), over.c_str()), 1);
  EXPECT_EQ(ruvo_add_file_intozfile(zf, nullptr, root_.c_str()), 1);  // a folder does not open
  ruvoZipClose(zf, nullptr);

  // A second batch adds behind the first; without a folder the name is the path.
  const std::string full = put("b.bin", "second batch");
  zf = ruvo_create_zipfile(zip.c_str());
  EXPECT_EQ(ruvo_add_file_intozfile(zf, nullptr, full.c_str()), 0);
  ruvoZipClose(zf, nullptr);

  const ruvo_test::ZipRead got = read_back(zip);
  ASSERT_EQ(got.error, "");
  const struct {
    std::string name, data;
    uint32_t time;
  } want[] = {
      {"a.txt", text, dos_time(2021, 6, 15, 12, 34, 56)},
      {"empty.txt", "", dos_time(1999, 12, 31, 23, 59, 59)},
      {fit, "", dos_time(2021, 6, 15, 12, 34, 56)},
      {full, "second batch", dos_time(2021, 6, 15, 12, 34, 56)},
  };
  ASSERT_EQ(got.items.size(), std::size(want));
  for (size_t i = 0; i < std::size(want); ++i) {
    EXPECT_EQ(got.items[i].name, want[i].name);
    EXPECT_EQ(got.items[i].data, want[i].data);
    EXPECT_EQ(got.items[i].dos_time, want[i].time) << want[i].name;
    EXPECT_EQ(got.items[i].method, 8);
  }
}

TEST_F(WinZip, CompressPacksOneFileWithOrWithoutPassword) {
  const std::string zip = root_ + "\\p.zip";
  const std::string body(5000, 'q');
  const std::string a = put("a.txt", body), e = put("empty.txt", "");
  // A zero-byte archive counts as missing and is made anew.
  put("p.zip", "");
  EXPECT_EQ(ruvo_compress_zip(zip.c_str(), a.c_str(), "secret"), 1);
  EXPECT_EQ(ruvo_compress_zip(zip.c_str(), e.c_str(), nullptr), 1);
  EXPECT_EQ(ruvo_compress_zip(zip.c_str(), (root_ + "\\missing.txt").c_str(), nullptr), 0);
  for (const char *z : {"", static_cast<const char *>(nullptr)}) {
    EXPECT_EQ(ruvo_compress_zip(z, a.c_str(), nullptr), 0);
    EXPECT_EQ(ruvo_compress_zip(zip.c_str(), z, nullptr), 0);
  }
  EXPECT_EQ(ruvo_compress_zip((root_ + "\\no\\such\\dir.zip").c_str(), a.c_str(), nullptr), 0);

  const ruvo_test::ZipRead got = read_back(zip, "secret");
  ASSERT_EQ(got.error, "");
  // The missing file leaves the empty entry it had started.
  ASSERT_EQ(got.items.size(), 3u);
  EXPECT_EQ(got.items[0].name, "a.txt");
  EXPECT_EQ(got.items[0].flags & 7, 3);  // enciphered, level 9
  EXPECT_EQ(got.items[0].data, body);
  EXPECT_EQ(got.items[0].dos_time, 0x00210000u);  // 1980-01-01, the earliest
  EXPECT_EQ(got.items[1].name, "empty.txt");
  EXPECT_EQ(got.items[1].flags & 1, 0);
  EXPECT_EQ(got.items[1].data, "");
  EXPECT_EQ(got.items[2].name, "missing.txt");
}

// Sizes are held in 32 signed bits: 2^31 - 1 bytes are packed, 2^31 refused
// before the archive is touched. The files are sparse, so only reading costs.
TEST_F(WinZip, CompressTakesFilesBelowTwoGiB) {
  const std::string zip = root_ + "\\z0.zip", big = root_ + "\\b.bin";
  for (const LONGLONG size : {LONGLONG{1} << 31, (LONGLONG{1} << 31) - 1}) {
    HANDLE h = ::CreateFileA(big.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    LARGE_INTEGER at;
    at.QuadPart = size;
    ASSERT_TRUE(::SetFilePointerEx(h, at, nullptr, FILE_BEGIN) && ::SetEndOfFile(h));
    ::CloseHandle(h);
    const bool fits = size < (LONGLONG{1} << 31);
    EXPECT_EQ(ruvo_compress_zip(zip.c_str(), big.c_str(), nullptr), fits ? 1 : 0);
    EXPECT_EQ(::GetFileAttributesA(zip.c_str()) != INVALID_FILE_ATTRIBUTES, fits);
  }
  // An entry that can't start (its name is too long for the format) fails.
  const std::string long_name = root_ + "\\" + std::string(70000, 'x');
  EXPECT_EQ(ruvo_compress_zip(zip.c_str(), long_name.c_str(), nullptr), 0);
}

}  // namespace
