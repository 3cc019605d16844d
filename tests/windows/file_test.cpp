// The Win32 file operations on real files in a fresh temporary folder with
// non-ASCII names: copies, moves and links into missing folders, the
// flush and stat results, and the 260-unit limit of the UTF-8 forms.
#include <windows.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

#include "ruvo/base/file.h"
#include "support/support.hpp"

namespace {

std::wstring wide(const std::string &s) {
  std::wstring w(s.size() + 1, L'\0');
  w.resize(::MultiByteToWideChar(CP_UTF8, 0, s.c_str(), -1, w.data(), int(w.size())) - 1);
  return w;
}

std::string read(const std::string &p) {
  std::ifstream in(std::filesystem::path(wide(p)), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

bool exists(const std::string &p) { return ::GetFileAttributesW(wide(p).c_str()) != INVALID_FILE_ATTRIBUTES; }

class WinFile : public ::testing::Test {
 protected:
  void SetUp() override {
    wchar_t tmp[MAX_PATH];
    ::GetTempPathW(MAX_PATH, tmp);
    char utf8[4 * MAX_PATH];
    ::WideCharToMultiByte(CP_UTF8, 0, tmp, -1, utf8, sizeof utf8, nullptr, nullptr);
    root_ = std::string(utf8) + "ruvo-file-" + std::to_string(::GetCurrentProcessId()) + "-\xC3\xA4\xE6\x97\xA5";
    ASSERT_TRUE(::CreateDirectoryW(wide(root_).c_str(), nullptr));
  }
  void TearDown() override { std::filesystem::remove_all(wide(root_)); }
  std::string put(const char *name, const std::string &bytes) const {
    std::ofstream(std::filesystem::path(wide(root_ + name)), std::ios::binary) << bytes;
    return root_ + name;
  }
  std::string root_;
};

TEST_F(WinFile, CopyIntoMissingFoldersFlushesAndReplaces) {
  const std::string src = put("/src.txt", "first");
  // Forward slashes and a doubled separator: each folder is made once.
  const std::string dst = root_ + "/n\xC3\xBC//d/f.txt";
  EXPECT_EQ(ruvo_file_copy(src.c_str(), dst.c_str()), 0);
  EXPECT_EQ(read(dst), "first");
  put("/src.txt", "second");
  EXPECT_EQ(ruvo_file_copy_w(wide(src).c_str(), wide(dst).c_str()), 0);
  EXPECT_EQ(read(dst), "second");
  EXPECT_EQ(read(src), "second");
  // A missing source fails after the retry, and nothing appears.
  const std::string none = root_ + "/none.txt", other = root_ + "/sub/x.txt";
  EXPECT_EQ(ruvo_file_copy(none.c_str(), other.c_str()), -1);
  EXPECT_FALSE(exists(other));
  EXPECT_EQ(ruvo_file_copy(nullptr, dst.c_str()), -1);
  EXPECT_EQ(ruvo_file_copy_w(wide(src).c_str(), nullptr), -1);
  // The wide open makes a file that the wide flush and unlink find.
  ruvo_file_close(ruvo_file_open_w(wide(none).c_str(), L"wb"));
  EXPECT_TRUE(exists(none));
  EXPECT_EQ(ruvo_file_flush_w(wide(none).c_str()), 0);
  EXPECT_EQ(ruvo_file_unlink_w(wide(none).c_str()), 0);
  EXPECT_FALSE(exists(none));
}

TEST_F(WinFile, RenameIntoMissingFoldersAndItsErrors) {
  const std::string src = put("/src.txt", "moved");
  const std::string dst = root_ + "/n\xC3\xBC/d/g.txt";
  EXPECT_EQ(ruvo_file_rename(src.c_str(), dst.c_str()), 0);
  EXPECT_EQ(read(dst), "moved");
  EXPECT_FALSE(exists(src));
  EXPECT_EQ(ruvo_file_rename(src.c_str(), dst.c_str()), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(read(dst), "moved");
  // A target held open without sharing can't be replaced: the platform's
  // error, and both files stay as they were.
  put("/src.txt", "new");
  const HANDLE held = ::CreateFileW(wide(dst).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(held, INVALID_HANDLE_VALUE);
  EXPECT_EQ(ruvo_file_rename_w(wide(src).c_str(), wide(dst).c_str()), ERROR_ACCESS_DENIED);
  EXPECT_EQ(ruvo_file_flush(dst.c_str()), -634);  // nor opened to be flushed
  ::CloseHandle(held);
  EXPECT_EQ(read(src), "new");
  EXPECT_EQ(ruvo_file_rename_w(wide(src).c_str(), wide(dst).c_str()), 0);
  EXPECT_EQ(read(dst), "new");
}

TEST_F(WinFile, LinkNeedsAnExistingSource) {
  const std::string none = root_ + "/none.txt", link = root_ + "/sub/l.txt";
  EXPECT_EQ(ruvo_file_link(none.c_str(), link.c_str()), -1);
  EXPECT_FALSE(exists(root_ + "/sub"));  // nothing made for a missing source
  EXPECT_EQ(ruvo_file_link(nullptr, link.c_str()), -1);
  EXPECT_EQ(ruvo_file_link_w(wide(none).c_str(), nullptr), -1);
  const std::string src = put("/src.txt", "target"), file_link = root_ + "/n\xC3\xBC/d/f.txt";
  EXPECT_EQ(ruvo_file_link(src.c_str(), file_link.c_str()), 0);
  EXPECT_TRUE(exists(root_ + "/n\xC3\xBC/d"));  // the folders above a file link
  if (ruvo_test::under_wine()) GTEST_SKIP() << "Wine's CreateSymbolicLinkW succeeds and makes no link";
  EXPECT_EQ(read(file_link), "target");
  EXPECT_NE(::GetFileAttributesW(wide(file_link).c_str()) & FILE_ATTRIBUTE_REPARSE_POINT, 0u);
}

TEST_F(WinFile, SizeReadsTheDirectoryEntry) {
  const std::string big = root_ + "/big";
  const HANDLE h = ::CreateFileW(wide(big).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  LARGE_INTEGER at;
  at.QuadPart = 5LL << 30;  // 5 GiB, sparse on the host
  ASSERT_TRUE(::SetFilePointerEx(h, at, nullptr, FILE_BEGIN) && ::SetEndOfFile(h));
  // Held without sharing: the size is still there, from the entry.
  EXPECT_EQ(ruvo_file_size(big.c_str()), 5ULL << 30);
  ::CloseHandle(h);
  put("/a1", "1");
  put("/a2", "22");
  EXPECT_EQ(ruvo_file_size((root_ + "/a?").c_str()), 1u);  // the first match
  EXPECT_EQ(ruvo_file_size_w(wide(root_ + "/none").c_str()), 0u);
  EXPECT_EQ(ruvo_file_size_w(L""), 0u);
  // The UTF-8 forms take 259 units and a terminator, not one more.
  const std::string rel259(259, 'a'), rel260(260, 'a');
  EXPECT_EQ(ruvo_file_size(rel260.c_str()), 0u);
  EXPECT_EQ(ruvo_file_unlink(rel260.c_str()), -1);
  EXPECT_EQ(ruvo_file_unlink(rel259.c_str()), -1);  // fits, and is simply missing
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(WinFile, StatFillsTheRuntimeRecord) {
  const std::string p = put("/src.txt", "12345");
  struct _stat64 st = {};
  const __time64_t before = ::_time64(nullptr);
  ASSERT_EQ(ruvo_file_stat(p.c_str(), &st), 0);
  EXPECT_EQ(st.st_size, 5);
  EXPECT_NE(st.st_mode & _S_IFREG, 0);
  EXPECT_LE(std::llabs(st.st_mtime - before), 5);
  EXPECT_EQ(ruvo_file_stat(p.c_str(), nullptr), 1);
  EXPECT_EQ(ruvo_file_stat("", &st), 1);
  EXPECT_EQ(ruvo_file_stat_w(L"", &st), 1);
  EXPECT_EQ(ruvo_file_stat(nullptr, &st), 1);
  EXPECT_EQ(ruvo_file_stat((root_ + "/none").c_str(), &st), 1);
  // The runtime refuses a folder with a trailing separator; the attributes
  // still give its three times, and nothing else is written.
  struct _stat64 dir = {};
  dir.st_size = 77;
  ASSERT_EQ(ruvo_file_stat_w((wide(root_) + L"\\").c_str(), &dir), 0);
  EXPECT_EQ(dir.st_size, 77);
  EXPECT_EQ(dir.st_mode, 0);
  EXPECT_LE(std::llabs(dir.st_ctime - before), 5);
  EXPECT_LE(std::llabs(dir.st_mtime - before), 5);
}

}  // namespace
