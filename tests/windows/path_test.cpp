// The path questions put to the file system, in a fresh temporary folder per
// case, with ASCII and non-ASCII names through all three encodings; and the
// wide form of making a path absolute, which goes through UTF-8.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "ruvo/base/charset.h"
#include "ruvo/base/path.h"

namespace {

// A narrow text from the library's own converter; empty when it fails or
// when the text doesn't come back the same (a name the ANSI code page lacks).
template <char *(*To)(const wchar_t *) noexcept, wchar_t *(*From)(const char *) noexcept>
std::string narrow(const std::wstring &w) {
  char *s = To(w.c_str());
  wchar_t *back = s == nullptr ? nullptr : From(s);
  const std::string out = back != nullptr && w == back ? s : "";
  ruvo_str_free(s);
  ruvo_str_free(back);
  return out;
}

struct A {
  using S = std::string;
  static S from(const std::wstring &w) { return narrow<ruvo_str_unicode_to_ansi, ruvo_str_ansi_to_unicode>(w); }
  static int exist(const char *p) { return ruvo_path_is_exist_a(p); }
  static int dir(const char *p) { return ruvo_path_is_dir_a(p); }
  static uint32_t del(const char *p) { return ruvo_path_del_file_a(p); }
};
struct U {
  using S = std::string;
  static S from(const std::wstring &w) { return narrow<ruvo_str_unicode_to_utf8, ruvo_str_utf8_to_unicode>(w); }
  static int exist(const char *p) { return ruvo_path_is_exist_u(p); }
  static int dir(const char *p) { return ruvo_path_is_dir_u(p); }
  static uint32_t del(const char *p) { return ruvo_path_del_file_u(p); }
};
struct W {
  using S = std::wstring;
  static S from(const std::wstring &w) { return w; }
  static int exist(const wchar_t *p) { return ruvo_path_is_exist_w(p); }
  static int dir(const wchar_t *p) { return ruvo_path_is_dir_w(p); }
  static uint32_t del(const wchar_t *p) { return ruvo_path_del_file_w(p); }
};

// A new empty folder under the temporary directory for each case.
class TempFolder {
 public:
  TempFolder() {
    wchar_t tmp[MAX_PATH];
    ::GetTempPathW(MAX_PATH, tmp);
    dir_ = std::wstring(tmp) + L"ruvo-path-" + std::to_wstring(::GetCurrentProcessId()) + L"-" +
           std::to_wstring(::GetTickCount64());
    ::CreateDirectoryW(dir_.c_str(), nullptr);
  }
  ~TempFolder() {
    WIN32_FIND_DATAW found;
    HANDLE find = ::FindFirstFileW((dir_ + L"\\*").c_str(), &found);
    for (BOOL more = find != INVALID_HANDLE_VALUE; more; more = ::FindNextFileW(find, &found)) {
      const std::wstring path = dir_ + L"\\" + found.cFileName;
      if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) ::DeleteFileW(path.c_str());
      else if (found.cFileName[0] != L'.') ::RemoveDirectoryW(path.c_str());
    }
    if (find != INVALID_HANDLE_VALUE) ::FindClose(find);
    ::RemoveDirectoryW(dir_.c_str());
  }
  std::wstring operator/(const std::wstring &name) const { return dir_ + L"\\" + name; }

 private:
  std::wstring dir_;
};

template <class E> class PathFiles : public ::testing::Test {};
using Encodings = ::testing::Types<A, U, W>;
TYPED_TEST_SUITE(PathFiles, Encodings);

TYPED_TEST(PathFiles, ExistDirAndDeleteOnRealFiles) {
  const TempFolder tmp;
  for (const wchar_t *name : {L"plain.txt", L"caf\u00e9 \u00fc.txt", L"\u540d\u524d-\u0416.txt"}) {
    const auto file = TypeParam::from(tmp / name), folder = TypeParam::from(tmp / (std::wstring(name) + L".d"));
    if (file.empty()) continue;  // the ANSI code page has no such characters
    SCOPED_TRACE(testing::Message() << "name #" << (name[0] == L'p' ? 0 : name[0] == L'c' ? 1 : 2));
    EXPECT_EQ(TypeParam::exist(file.c_str()), 0);
    EXPECT_EQ(TypeParam::del(file.c_str()), uint32_t(ERROR_FILE_NOT_FOUND));
    HANDLE h = ::CreateFileW((tmp / name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    ASSERT_NE(h, INVALID_HANDLE_VALUE);
    ::CloseHandle(h);
    EXPECT_EQ(TypeParam::exist(file.c_str()), 1);
    EXPECT_EQ(TypeParam::dir(file.c_str()), 0);
    EXPECT_EQ(TypeParam::del(file.c_str()), RUVO_OK);
    EXPECT_EQ(TypeParam::exist(file.c_str()), 0);
    ASSERT_TRUE(::CreateDirectoryW((tmp / (std::wstring(name) + L".d")).c_str(), nullptr));
    EXPECT_EQ(TypeParam::exist(folder.c_str()), 1);
    EXPECT_EQ(TypeParam::dir(folder.c_str()), 1);
    EXPECT_NE(TypeParam::del(folder.c_str()), RUVO_OK);
    EXPECT_EQ(TypeParam::dir(file.c_str()), 0);
  }
}

TYPED_TEST(PathFiles, NullAndEmptyAreRefused) {
  const typename TypeParam::S empty;
  EXPECT_EQ(TypeParam::exist(nullptr), 0);
  EXPECT_EQ(TypeParam::exist(empty.c_str()), 0);
  EXPECT_EQ(TypeParam::dir(nullptr), 0);
  EXPECT_EQ(TypeParam::dir(empty.c_str()), 0);
  EXPECT_EQ(TypeParam::del(nullptr), RUVO_E_INVAL);
  EXPECT_EQ(TypeParam::del(empty.c_str()), RUVO_E_INVAL);
}

TEST(PathFiles, ExistLeavesCriticalErrorsFailing) {
  ::SetErrorMode(0);
  EXPECT_EQ(ruvo_path_is_exist_u("C:\\"), 1);
  EXPECT_EQ(::GetErrorMode() & SEM_FAILCRITICALERRORS, UINT(SEM_FAILCRITICALERRORS));
}

TEST(PathFiles, CurrentProcessInEveryEncoding) {
  wchar_t want[MAX_PATH];
  const DWORD n = ::GetModuleFileNameW(nullptr, want, MAX_PATH);
  ASSERT_GT(n, 0u);
  wchar_t w[MAX_PATH];
  char u[4 * MAX_PATH], a[4 * MAX_PATH];
  EXPECT_EQ(ruvo_path_get_cur_proc_w(w, MAX_PATH), RUVO_OK);
  EXPECT_EQ(std::wstring(w), want);
  EXPECT_EQ(ruvo_path_get_cur_proc_u(u, sizeof u), RUVO_OK);
  EXPECT_EQ(std::string(u), U::from(want));
  EXPECT_EQ(ruvo_path_get_cur_proc_a(a, sizeof a), RUVO_OK);
  EXPECT_EQ(std::string(a), A::from(want));
  // Exactly the length with its terminator fits; one less does not.
  EXPECT_EQ(ruvo_path_get_cur_proc_w(w, n + 2), RUVO_OK);
  EXPECT_EQ(ruvo_path_get_cur_proc_w(w, n + 1), uint32_t(ERROR_INSUFFICIENT_BUFFER));
  const size_t un = std::string(u).size();
  EXPECT_EQ(ruvo_path_get_cur_proc_u(u, un + 1), RUVO_OK);
  EXPECT_EQ(std::string(u), U::from(want));
  EXPECT_EQ(ruvo_path_get_cur_proc_u(u, un), uint32_t(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(ruvo_path_get_cur_proc_a(a, 2), uint32_t(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(ruvo_path_get_cur_proc_w(nullptr, 8), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_path_get_cur_proc_w(w, 0), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_path_get_cur_proc_u(nullptr, 8), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_path_get_cur_proc_u(u, 0), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_path_get_cur_proc_a(nullptr, 8), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_path_get_cur_proc_a(a, 0), RUVO_E_INVAL);
}

// ---- the wide absolute form ----

TEST(PathAbsoluteW, GoesThroughUtf8AndKeepsNonAsciiNames) {
  wchar_t out[MAX_PATH];
  EXPECT_EQ(ruvo_path_absolute_w(L"c:/d\u00e9j\u00e0//\u540d/../x", out, MAX_PATH), out);
  EXPECT_EQ(std::wstring(out), L"C:\\d\u00e9j\u00e0\\\u540d\\..\\x");
  wchar_t cwd[MAX_PATH];
  ::GetCurrentDirectoryW(MAX_PATH, cwd);
  EXPECT_EQ(ruvo_path_absolute_w(L"a\\.\\\u00e9", out, MAX_PATH), out);
  EXPECT_EQ(std::wstring(out), std::wstring(cwd) + L"\\a\\\u00e9");
  // "C:\x" and its terminator: 5 units fit, 4 do not.
  EXPECT_EQ(ruvo_path_absolute_w(L"C:/x", out, 5), out);
  ::SetLastError(0);
  EXPECT_EQ(ruvo_path_absolute_w(L"C:/x", out, 4), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD(ERROR_INSUFFICIENT_BUFFER));
}

TEST(PathAbsoluteW, LongResultsGetTheLongPathPrefix) {
  static wchar_t out[5000];
  // 259 bytes of UTF-8 stay as they are; 260 get "\\?\". A two-byte
  // character counts twice.
  const std::wstring short_path = L"C:\\" + std::wstring(254, L'a') + L"\u00e9";
  EXPECT_EQ(ruvo_path_absolute_w(short_path.c_str(), out, 5000), out);
  EXPECT_EQ(std::wstring(out), short_path);
  const std::wstring long_path = short_path + L"b";
  EXPECT_EQ(ruvo_path_absolute_w(long_path.c_str(), out, 5000), out);
  EXPECT_EQ(std::wstring(out), L"\\\\?\\" + long_path);
  // With the prefix the text must stay below 4096 bytes.
  const std::wstring limit = L"C:\\" + std::wstring(4088, L'a');
  EXPECT_EQ(ruvo_path_absolute_w(limit.c_str(), out, 5000), out);
  EXPECT_EQ(std::wstring(out).size(), 4095u);
  EXPECT_EQ(ruvo_path_absolute_w((limit + L"a").c_str(), out, 5000), nullptr);
}

TEST(PathAbsoluteW, BadArgumentsSetInvalidParameter) {
  wchar_t out[8];
  for (const auto &[path, buf, cap] : {std::tuple{(const wchar_t *)nullptr, out, size_t(8)},
                                      {L"a", out, 0}, {L"a", nullptr, 8}}) {
    ::SetLastError(0);
    EXPECT_EQ(ruvo_path_absolute_w(path, buf, cap), nullptr);
    EXPECT_EQ(::GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
  }
}

}  // namespace
