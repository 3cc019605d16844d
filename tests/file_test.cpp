// Tests for the file family's calls that both builds have: digests of real
// files against Python's hashlib, and opening, renaming, sizing, flushing
// and removing files in a fresh temporary folder.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <string>

#include "ruvo/base/file.h"
#include "ruvo/base/str.h"

namespace {

namespace fs = std::filesystem;

struct Digest {
  size_t length;
  const char *hex;
};
constexpr Digest kDigests[] = {
#include "file_digests.inc"
};

std::string content(size_t n) {
  std::string s(n, '\0');
  for (size_t i = 0; i < n; ++i) s[i] = char((i * 31 + (i >> 9)) & 0xFF);
  return s;
}

class File : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = fs::temp_directory_path() /
            ("ruvo-file-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "-" +
             ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(root_);
    fs::create_directories(root_);
  }
  void TearDown() override { fs::remove_all(root_); }

  std::string path(const std::string &name) const { return (root_ / name).string(); }
  std::string put(const std::string &name, const std::string &bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }
  static std::string read(const std::string &p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  fs::path root_;
};

TEST_F(File, DigestsMatchHashlib) {
  for (const Digest &d : kDigests) {
    SCOPED_TRACE(d.length);
    const std::string p = put("d.bin", content(d.length));
    char hex[65] = {};
    ASSERT_EQ(ruvo_file_sha256_str(p.c_str(), hex, 65), 0u);
    EXPECT_STREQ(hex, d.hex);
    uint8_t bytes[33] = {};
    bytes[32] = 0xA5;
    ASSERT_EQ(ruvo_file_sha256_byte(p.c_str(), bytes, 33), 0u);
    EXPECT_EQ(bytes[32], 0xA5);  // exactly 32 bytes written
    std::string upper(d.hex);
    for (char &c : upper) c = char(std::toupper(static_cast<unsigned char>(c)));
    EXPECT_EQ(ruvo_file_verify_sha256(p.c_str(), upper.c_str()), 0u);
    EXPECT_EQ(ruvo_file_verify_sha256(p.c_str(), upper.substr(0, 63).c_str()), RUVO_E_FAIL);
  }
}

TEST_F(File, DigestResults) {
  const std::string a = put("a", "alpha"), b = put("b", "beta"), a2 = put("a2", "alpha");
  const std::string missing = path("missing");
  uint8_t out[32];
  char hex[65];
  EXPECT_EQ(ruvo_file_sha256_byte(a.c_str(), out, 31), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_file_sha256_byte(missing.c_str(), out, 32), RUVO_E_OPEN);
  EXPECT_EQ(ruvo_file_sha256_byte(nullptr, out, 32), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_file_sha256_str(a.c_str(), hex, 64), RUVO_E_SMALL);
  EXPECT_EQ(ruvo_file_sha256_str(missing.c_str(), hex, 65), RUVO_E_OPEN);

  struct Row {
    const char *first, *second;
    uint32_t result;
  } rows[] = {
      {a.c_str(), a.c_str(), 0},           {a.c_str(), a2.c_str(), 0},
      {a.c_str(), b.c_str(), RUVO_E_FAIL}, {a.c_str(), missing.c_str(), RUVO_E_OPEN},
      {missing.c_str(), a.c_str(), RUVO_E_OPEN}, {nullptr, a.c_str(), RUVO_E_ARG1},
      {a.c_str(), nullptr, RUVO_E_ARG2},
  };
  for (const Row &r : rows) EXPECT_EQ(ruvo_file_compare_by_sha256(r.first, r.second), r.result);
  EXPECT_EQ(ruvo_file_verify_sha256(nullptr, "00"), RUVO_E_ARG1);
  EXPECT_EQ(ruvo_file_verify_sha256(a.c_str(), nullptr), RUVO_E_ARG2);
  EXPECT_EQ(ruvo_file_verify_sha256(missing.c_str(), "00"), RUVO_E_OPEN);
}

TEST_F(File, OpenRenameSizeFlushUnlink) {
  const std::string src = put("src.txt", "0123456789");
  const std::string target = path("new/deeper/dst.txt");  // its folders are missing
  EXPECT_EQ(ruvo_file_size(src.c_str()), 10u);
  EXPECT_EQ(ruvo_file_flush(src.c_str()), 0);
  EXPECT_EQ(ruvo_file_rename(src.c_str(), target.c_str()), 0);
  EXPECT_EQ(read(target), "0123456789");
  EXPECT_FALSE(fs::exists(src));

  // Onto an existing target: replaced.
  const std::string other = put("other.txt", "xy");
  EXPECT_EQ(ruvo_file_rename(other.c_str(), target.c_str()), 0);
  EXPECT_EQ(read(target), "xy");
  EXPECT_GT(ruvo_file_rename(other.c_str(), target.c_str()), 0);  // the platform's error
  EXPECT_EQ(read(target), "xy");

  FILE *f = ruvo_file_open(target.c_str(), "ab");
  ASSERT_NE(f, nullptr);
  EXPECT_NE(std::fputs("z", f), EOF);
  ruvo_file_close(f);
  ruvo_file_close(nullptr);
  EXPECT_EQ(ruvo_file_size(target.c_str()), 3u);

  EXPECT_EQ(ruvo_file_unlink(target.c_str()), 0);
  EXPECT_EQ(ruvo_file_unlink(target.c_str()), -1);
  EXPECT_EQ(ruvo_file_size(target.c_str()), 0u);
  EXPECT_EQ(ruvo_file_flush(target.c_str()), -634);
}

TEST_F(File, NullAndEmptyArguments) {
  const std::string p = put("x", "x");
  EXPECT_EQ(ruvo_file_open(nullptr, "rb"), nullptr);
  EXPECT_EQ(ruvo_file_open(p.c_str(), nullptr), nullptr);
  EXPECT_EQ(ruvo_file_open_w(nullptr, nullptr), nullptr);
  EXPECT_EQ(ruvo_file_rename(nullptr, p.c_str()), -1);
  EXPECT_EQ(ruvo_file_rename(p.c_str(), nullptr), -1);
  EXPECT_EQ(ruvo_file_rename_w(nullptr, nullptr), -1);
  EXPECT_EQ(ruvo_file_flush(nullptr), 1);
  EXPECT_EQ(ruvo_file_flush_w(nullptr), 1);
  EXPECT_EQ(ruvo_file_size(nullptr), 0u);
  EXPECT_EQ(ruvo_file_size(""), 0u);
  EXPECT_EQ(ruvo_file_size_w(nullptr), 0u);
  EXPECT_EQ(ruvo_file_unlink(nullptr), -1);
  EXPECT_EQ(ruvo_file_unlink_w(nullptr), -1);
  EXPECT_TRUE(fs::exists(p));
}

}  // namespace
