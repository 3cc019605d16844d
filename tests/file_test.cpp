// The file calls that both builds have: digests of real files against
// Python's hashlib, and opening, moving, sizing, flushing and removing files
// in a fresh temporary folder, through the UTF-8 forms and their twins.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <string>

#include "ruvo/base/file.h"

namespace {

namespace fs = std::filesystem;
using wstr = std::basic_string<ruvo_wchar_t>;

struct Digest {
  size_t length;
  const char *hex;
} constexpr kDigests[] = {
#include "file_digests.inc"
};

class File : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(root_);
    fs::create_directories(root_);
  }
  void TearDown() override { fs::remove_all(root_); }
  std::string put(const std::string &name, const std::string &bytes) const {
    std::ofstream((root_ / name).string(), std::ios::binary) << bytes;
    return (root_ / name).string();
  }
  const fs::path root_ = fs::temp_directory_path() /
      ("ruvo-file-" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
};

// byte i of the oracle's file of length n is (i * 31 + (i >> 9)) & 0xFF.
TEST_F(File, DigestsMatchHashlib) {
  for (const Digest &d : kDigests) {
    SCOPED_TRACE(d.length);
    std::string bytes(d.length, '\0'), upper(d.hex);
    for (size_t i = 0; i < d.length; ++i) bytes[i] = char((i * 31 + (i >> 9)) & 0xFF);
    for (char &c : upper) c = char(std::toupper(static_cast<unsigned char>(c)));
    const std::string p = put("d.bin", bytes);
    char hex[65] = {};
    uint8_t raw[33] = {};
    raw[32] = 0xA5;  // exactly 32 bytes are written
    ASSERT_EQ(ruvo_file_sha256_str(p.c_str(), hex, 65) + ruvo_file_sha256_byte(p.c_str(), raw, 33), 0u);
    EXPECT_STREQ(hex, d.hex);
    EXPECT_EQ(raw[32], 0xA5);
    EXPECT_EQ(ruvo_file_verify_sha256(p.c_str(), upper.c_str()), 0u);
    EXPECT_EQ(ruvo_file_verify_sha256(p.c_str(), upper.substr(1).c_str()), RUVO_E_FAIL);
  }
}

TEST_F(File, DigestResults) {
  const std::string a = put("a", "alpha"), b = put("b", "beta"), a2 = put("a2", "alpha");
  const std::string none = (root_ / "none").string();
  uint8_t out[32];
  char hex[65];
  const std::pair<uint32_t, uint32_t> rows[] = {  // the result and the one expected
      {ruvo_file_sha256_byte(a.c_str(), out, 31), RUVO_E_INVAL},
      {ruvo_file_sha256_byte(nullptr, out, 32), RUVO_E_INVAL},
      {ruvo_file_sha256_byte(none.c_str(), out, 32), RUVO_E_OPEN},
      {ruvo_file_sha256_str(a.c_str(), hex, 64), RUVO_E_SMALL},
      {ruvo_file_sha256_str(none.c_str(), hex, 65), RUVO_E_OPEN},
      {ruvo_file_compare_by_sha256(a.c_str(), a.c_str()), 0},
      {ruvo_file_compare_by_sha256(a.c_str(), a2.c_str()), 0},
      {ruvo_file_compare_by_sha256(a.c_str(), b.c_str()), RUVO_E_FAIL},
      {ruvo_file_compare_by_sha256(a.c_str(), none.c_str()), RUVO_E_OPEN},
      {ruvo_file_compare_by_sha256(none.c_str(), a.c_str()), RUVO_E_OPEN},
      {ruvo_file_compare_by_sha256(nullptr, a.c_str()), RUVO_E_ARG1},
      {ruvo_file_compare_by_sha256(a.c_str(), nullptr), RUVO_E_ARG2},
      {ruvo_file_verify_sha256(nullptr, "00"), RUVO_E_ARG1},
      {ruvo_file_verify_sha256(a.c_str(), nullptr), RUVO_E_ARG2},
      {ruvo_file_verify_sha256(none.c_str(), "00"), RUVO_E_OPEN},
  };
  for (const auto &[got, want] : rows) EXPECT_EQ(got, want) << "row " << &got - &rows[0].first;
}

TEST_F(File, MoveIntoMissingFoldersSizeFlushAndRemove) {
  const std::string src = put("src.txt", "0123456789"), other = put("other.txt", "xy");
  const std::string target = (root_ / "new/deeper/dst.txt").string();
  EXPECT_EQ(ruvo_file_flush(src.c_str()), 0);
  EXPECT_EQ(ruvo_file_rename(src.c_str(), target.c_str()), 0);
  EXPECT_EQ(ruvo_file_size(target.c_str()), 10u);
  EXPECT_FALSE(fs::exists(src));
  EXPECT_EQ(ruvo_file_rename(other.c_str(), target.c_str()), 0);  // replaces
  EXPECT_GT(ruvo_file_rename(other.c_str(), target.c_str()), 0);  // the platform's error
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

// ASCII paths, so that the same units name the same file in both builds.
TEST_F(File, WideTwinsAndNullArguments) {
  const auto wide = [](const std::string &s) { return wstr(s.begin(), s.end()); };
  const wstr src = wide(put("w1", "wide")), dst = wide((root_ / "w/w2").string()), mode = wide("rb");
  EXPECT_EQ(ruvo_file_flush_w(src.c_str()), 0);
  EXPECT_EQ(ruvo_file_rename_w(src.c_str(), nullptr) + ruvo_file_rename_w(nullptr, dst.c_str()), -2);
  EXPECT_EQ(ruvo_file_rename_w(src.c_str(), dst.c_str()), 0);
  EXPECT_EQ(ruvo_file_size_w(dst.c_str()), 4u);
  FILE *f = ruvo_file_open_w(dst.c_str(), mode.c_str());
  ASSERT_NE(f, nullptr);
  ruvo_file_close(f);
  EXPECT_EQ(ruvo_file_unlink_w(dst.c_str()), 0);
  EXPECT_EQ(ruvo_file_size_w(dst.c_str()), 0u);
  const char *p = "x";
  EXPECT_TRUE(ruvo_file_open(nullptr, "rb") == nullptr && ruvo_file_open(p, nullptr) == nullptr &&
              ruvo_file_open_w(nullptr, nullptr) == nullptr);
  EXPECT_EQ(ruvo_file_rename(nullptr, p) + ruvo_file_rename(p, nullptr) +
                ruvo_file_rename_w(nullptr, nullptr), -3);
  EXPECT_EQ(ruvo_file_flush(nullptr) + ruvo_file_flush_w(nullptr), 2);
  EXPECT_EQ(ruvo_file_size(nullptr) + ruvo_file_size("") + ruvo_file_size_w(nullptr), 0u);
  EXPECT_EQ(ruvo_file_unlink(nullptr) + ruvo_file_unlink_w(nullptr), -2);
}

}  // namespace
