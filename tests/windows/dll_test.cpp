// Loading real system libraries and a copy of this library at a non-ASCII
// path; the folder picker as far as it goes without a person.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "ruvo/base/dll.h"
#include "support/support.hpp"

namespace {

TEST(Dll, OpensFindsAndClosesRealLibraries) {
  HMODULE m = nullptr;
  ASSERT_EQ(ruvo_dll_open("kernel32.dll", &m), RUVO_OK);
  EXPECT_EQ(m, ::GetModuleHandleW(L"kernel32.dll"));
  void *entry = nullptr;
  EXPECT_EQ(ruvo_dll_get_addr(m, "GetTickCount", &entry), RUVO_OK);
  EXPECT_EQ(entry, reinterpret_cast<void *>(::GetProcAddress(m, "GetTickCount")));
  EXPECT_EQ(ruvo_dll_get_addr(m, "RuvoNoSuchEntry", &entry), 127u);
  EXPECT_EQ(entry, nullptr);
  EXPECT_EQ(ruvo_dll_close(m), RUVO_OK);

  // A copy of this library under a non-ASCII name is a module of its own.
  wchar_t tmp[MAX_PATH], self[MAX_PATH];
  ::GetTempPathW(MAX_PATH, tmp);
  const std::wstring dir = std::wstring(tmp) + L"ruvo-dll-\u00e4\u65e5-" + std::to_wstring(::GetCurrentProcessId());
  ::CreateDirectoryW(dir.c_str(), nullptr);
  const HMODULE lib = ::GetModuleHandleW(L"libruvobase.dll");
  ASSERT_NE(lib, nullptr);
  ::GetModuleFileNameW(lib, self, MAX_PATH);
  const std::wstring copy = dir + L"\\c\u00f6py.dll";
  ASSERT_TRUE(::CopyFileW(self, copy.c_str(), FALSE));
  char utf8[MAX_PATH * 3];
  ::WideCharToMultiByte(CP_UTF8, 0, copy.c_str(), -1, utf8, sizeof utf8, nullptr, nullptr);
  ASSERT_EQ(ruvo_dll_open(utf8, &m), RUVO_OK);
  EXPECT_NE(m, lib);
  EXPECT_EQ(ruvo_dll_get_addr(m, "ruvo_dll_open", &entry), RUVO_OK);
  EXPECT_EQ(entry, reinterpret_cast<void *>(::GetProcAddress(m, "ruvo_dll_open")));
  EXPECT_NE(entry, reinterpret_cast<void *>(&ruvo_dll_open));
  EXPECT_EQ(ruvo_dll_close(m), RUVO_OK);
  EXPECT_TRUE(::DeleteFileW(copy.c_str()));  // no longer mapped
  ::RemoveDirectoryW(dir.c_str());
}

TEST(Dll, BadArgumentsAndMissingNamesGiveTheirStatus) {
  HMODULE m = reinterpret_cast<HMODULE>(1);
  EXPECT_EQ(ruvo_dll_open("ruvo-no-such-library.dll", &m), 126u);
  EXPECT_EQ(m, nullptr);
  m = reinterpret_cast<HMODULE>(1);
  EXPECT_EQ(ruvo_dll_open(std::string(260, 'a').c_str(), &m), 122u);
  EXPECT_EQ(m, nullptr);
  m = reinterpret_cast<HMODULE>(1);
  EXPECT_EQ(ruvo_dll_open("", &m), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_dll_open(nullptr, &m), RUVO_E_INVAL);
  EXPECT_EQ(m, reinterpret_cast<HMODULE>(1));
  EXPECT_EQ(ruvo_dll_open("kernel32.dll", nullptr), RUVO_E_INVAL);
  const HMODULE k = ::GetModuleHandleW(L"kernel32.dll");
  void *entry = &m;
  EXPECT_EQ(ruvo_dll_get_addr(k, "", &entry), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_dll_get_addr(k, nullptr, &entry), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_dll_get_addr(nullptr, "GetTickCount", &entry), RUVO_E_INVAL);
  EXPECT_EQ(entry, &m);
  EXPECT_EQ(ruvo_dll_get_addr(k, "GetTickCount", nullptr), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_dll_close(nullptr), RUVO_E_INVAL);
  // Not a module: the platform's own answer (6 on Windows, 126 under Wine).
  ::SetLastError(0);
  EXPECT_FALSE(::FreeLibrary(reinterpret_cast<HMODULE>(8)));
  const DWORD refused = ::GetLastError();
  EXPECT_NE(refused, 0u);
  EXPECT_EQ(ruvo_dll_close(reinterpret_cast<HMODULE>(8)), refused);
}

TEST(Dll, FolderPickerChecksItsBufferAndGivesOneWhenNoDialogCanShow) {
  wchar_t path[MAX_PATH] = L"untouched";
  EXPECT_EQ(ruvo_shbrowse_folder_open(nullptr, 0, L"t", "C:\\", nullptr, MAX_PATH), E_INVALIDARG);
  EXPECT_EQ(ruvo_shbrowse_folder_open(nullptr, 0, L"t", "C:\\", path, 0), E_INVALIDARG);
  EXPECT_EQ(ruvo_shbrowse_folder_open(nullptr, 0, L"t", "C:\\", path, size_t(1) << 31), E_INVALIDARG);
  if (!ruvo_test::under_wine() || ::GetEnvironmentVariableW(L"DISPLAY", nullptr, 0) != 0) {
    GTEST_SKIP() << "the dialog would wait for a person: only Wine without a display returns at once";
  }
  EXPECT_EQ(ruvo_shbrowse_folder_open(nullptr, 1 /* BIF_RETURNONLYFSDIRS */, L"t", "C:\\", path, MAX_PATH), S_FALSE);
  EXPECT_EQ(ruvo_shbrowse_folder_open(nullptr, 0, nullptr, nullptr, path, 2147483647), S_FALSE);
  EXPECT_STREQ(path, L"untouched");
}

}  // namespace
