// The temporary names of INI saves: in the temporary folder, named after the
// process and a counter in hexadecimal, never one that exists, and none when
// the folder leaves no room for the name.
#include <windows.h>

#include <gtest/gtest.h>

#include <cwchar>
#include <string>

#include "internal/platform.hpp"

namespace {

std::wstring expected(unsigned long counter) {
  wchar_t dir[MAX_PATH], name[64];
  ::GetTempPathW(MAX_PATH, dir);
  std::swprintf(name, 64, L"ini%lx-%lx.tmp", ::GetCurrentProcessId(), counter);
  return std::wstring(dir) + name;
}

TEST(IniTempName, FreshNamesInTheTemporaryFolder) {
  const std::wstring first = ruvo::sys::temp_file_name();
  const unsigned long n = std::wcstoul(first.c_str() + first.rfind(L'-') + 1, nullptr, 16);
  EXPECT_EQ(first, expected(n));
  EXPECT_EQ(n, 1u);  // the first name of the process, as each test runs in one of its own
  // The next name exists already, so it is passed over.
  const std::wstring taken = expected(n + 1);
  ::CloseHandle(::CreateFileW(taken.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
  EXPECT_EQ(ruvo::sys::temp_file_name(), expected(n + 2));
  ::DeleteFileW(taken.c_str());
  for (unsigned long i = n + 3; i < n + 20; ++i) EXPECT_EQ(ruvo::sys::temp_file_name(), expected(i));

  // A folder of 236 units with its separator leaves no room for 24 more.
  for (const auto &[length, fits] : {std::pair{235, true}, std::pair{236, false}}) {
    const std::wstring dir = L"C:\\" + std::wstring(length - 4, L'd') + L"\\";
    ::SetEnvironmentVariableW(L"TMP", dir.c_str());
    const ruvo_wchar_t *name = ruvo::sys::temp_file_name();
    EXPECT_EQ(name != nullptr, fits) << length;
    if (name != nullptr) {
      EXPECT_EQ(std::wstring(name).substr(0, dir.size()), dir);
    }
  }
}

}  // namespace
