// File-system questions with non-ASCII names in all three encodings, and the wide absolute form.
#include <windows.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>

#include "ruvo/base/charset.h"
#include "ruvo/base/path.h"
#include "support/support.hpp"

namespace {

template <char *(*To)(const wchar_t *) noexcept> std::string narrow(const std::wstring &w) {
  const std::unique_ptr<char, void (*)(void *) noexcept> s(To(w.c_str()), ruvo_str_free);
  return s.get();
}

#define FILES(E, S, T, FROM)                                                        \
  struct E {                                                                        \
    static T from(const std::wstring &w) { return FROM; }                           \
    static int exist(const T::value_type *p) { return ruvo_path_is_exist_##S(p); } \
    static int dir(const T::value_type *p) { return ruvo_path_is_dir_##S(p); }      \
    static uint32_t del(const T::value_type *p) { return ruvo_path_del_file_##S(p); } \
  };
FILES(A, a, std::string, narrow<ruvo_str_unicode_to_ansi>(w))
FILES(U, u, std::string, narrow<ruvo_str_unicode_to_utf8>(w))
FILES(W, w, std::wstring, w)

template <class E> class PathFiles : public ::testing::Test {};
using Encodings = ::testing::Types<A, U, W>;
TYPED_TEST_SUITE(PathFiles, Encodings);

// A non-ASCII name that the ANSI code page (1252 under Wine) has too.
TYPED_TEST(PathFiles, ExistDirAndDeleteOnRealFiles) {
  wchar_t tmp[MAX_PATH];
  ::GetTempPathW(MAX_PATH, tmp);
  const std::wstring name = tmp + (L"ruvo-caf\u00e9 " + std::to_wstring(::GetCurrentProcessId()));
  const auto path = TypeParam::from(name);
  EXPECT_EQ(TypeParam::exist(path.c_str()) + TypeParam::dir(path.c_str()), 0);
  EXPECT_EQ(TypeParam::del(path.c_str()), uint32_t(ERROR_FILE_NOT_FOUND));
  ::CloseHandle(::CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
  EXPECT_EQ(TypeParam::exist(path.c_str()) * 2 + TypeParam::dir(path.c_str()), 2);
  EXPECT_EQ(TypeParam::del(path.c_str()), RUVO_OK);
  EXPECT_EQ(TypeParam::exist(path.c_str()), 0);
  ASSERT_TRUE(::CreateDirectoryW(name.c_str(), nullptr));
  EXPECT_EQ(TypeParam::exist(path.c_str()) * 2 + TypeParam::dir(path.c_str()), 3);
  EXPECT_NE(TypeParam::del(path.c_str()), RUVO_OK);
  ::RemoveDirectoryW(name.c_str());
  const decltype(TypeParam::from(L"")) empty;  // null and empty are refused
  EXPECT_EQ(TypeParam::exist(nullptr) + TypeParam::exist(empty.c_str()) + TypeParam::dir(nullptr) + TypeParam::dir(empty.c_str()), 0);
  for (const uint32_t r : {TypeParam::del(nullptr), TypeParam::del(empty.c_str())}) EXPECT_EQ(r, RUVO_E_INVAL);
}

// Exactly the length with its terminator fits (the wide form wants one unit more); one less: 122.
TEST(PathFiles, CurrentProcessInEveryEncoding) {
  wchar_t want[MAX_PATH], w[MAX_PATH];
  char u[4 * MAX_PATH], a[4 * MAX_PATH];
  const DWORD n = ::GetModuleFileNameW(nullptr, want, MAX_PATH);
  EXPECT_EQ(ruvo_path_get_cur_proc_w(w, n + 2), RUVO_OK);
  EXPECT_EQ(std::wstring(w), want);
  EXPECT_EQ(ruvo_path_get_cur_proc_w(w, n + 1), uint32_t(ERROR_INSUFFICIENT_BUFFER));
  const std::string want_u = U::from(want);
  EXPECT_EQ(ruvo_path_get_cur_proc_u(u, want_u.size() + 1), RUVO_OK);
  EXPECT_EQ(std::string(u), want_u);
  EXPECT_EQ(ruvo_path_get_cur_proc_u(u, want_u.size()), uint32_t(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(ruvo_path_get_cur_proc_a(a, sizeof a), RUVO_OK);
  EXPECT_EQ(std::string(a), A::from(want));
  EXPECT_EQ(ruvo_path_get_cur_proc_a(a, 2), uint32_t(ERROR_INSUFFICIENT_BUFFER));
  for (const uint32_t r : {ruvo_path_get_cur_proc_w(nullptr, 8), ruvo_path_get_cur_proc_w(w, 0), ruvo_path_get_cur_proc_u(nullptr, 8),
                           ruvo_path_get_cur_proc_u(u, 0), ruvo_path_get_cur_proc_a(nullptr, 8), ruvo_path_get_cur_proc_a(a, 0)})
    EXPECT_EQ(r, RUVO_E_INVAL);
  ::SetErrorMode(0);  // is_exist leaves critical errors failing
  EXPECT_EQ(ruvo_path_is_exist_u("C:\\"), 1);
  EXPECT_EQ(::GetErrorMode() & SEM_FAILCRITICALERRORS, UINT(SEM_FAILCRITICALERRORS));
}

// The narrow forms and the wide absolute form free their copies.
TEST(PathFiles, ConversionsFreeWhatTheyTake) {
  wchar_t out[MAX_PATH];
  size_t before = 0;
  for (int i = 0; i <= 200; ++i) {
    (void)(ruvo_path_is_exist_a("C:\\nope") + ruvo_path_is_dir_u("C:\\nope") + ruvo_path_del_file_u("C:\\nope"));
    ruvo_path_absolute_w(L"C:\\x", out, MAX_PATH);
    if (i == 0) before = ruvo_test::busy_process_heap_blocks();
  }
  EXPECT_LT(ruvo_test::busy_process_heap_blocks(), before + 100);
}

TEST(PathAbsoluteW, Utf8LimitsAndTheLongPathPrefix) {
  static wchar_t out[5000];
  EXPECT_EQ(ruvo_path_absolute_w(L"c:/d\u00e9j\u00e0//\u540d/../x", out, MAX_PATH), out);
  EXPECT_EQ(std::wstring(out), L"C:\\d\u00e9j\u00e0\\\u540d\\..\\x");
  EXPECT_EQ(ruvo_path_absolute_w(L"C:/x", out, 5), out);  // "C:\x" and its terminator
  ::SetLastError(0);
  EXPECT_EQ(ruvo_path_absolute_w(L"C:/x", out, 4), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD(ERROR_INSUFFICIENT_BUFFER));
  // 259 bytes of UTF-8 stay as they are, 260 get "\\?\"; below 4096 with it.
  const std::wstring short_path = L"C:\\" + std::wstring(254, L'a') + L"\u00e9", limit = L"C:\\" + std::wstring(4088, L'a');
  EXPECT_EQ(std::wstring(ruvo_path_absolute_w(short_path.c_str(), out, 5000)), short_path);
  EXPECT_EQ(std::wstring(ruvo_path_absolute_w((short_path + L"b").c_str(), out, 5000)), L"\\\\?\\" + short_path + L"b");
  EXPECT_EQ(std::wstring(ruvo_path_absolute_w(limit.c_str(), out, 5000)).size(), 4095u);
  EXPECT_EQ(ruvo_path_absolute_w((limit + L"a").c_str(), out, 5000), nullptr);
  for (const auto &[path, buf, cap] : {std::tuple{(const wchar_t *)nullptr, out, size_t(8)}, {L"a", out, 0}, {L"a", nullptr, 8}}) {
    ::SetLastError(0);
    EXPECT_EQ(ruvo_path_absolute_w(path, buf, cap), nullptr);
    EXPECT_EQ(::GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
  }
}

}  // namespace
