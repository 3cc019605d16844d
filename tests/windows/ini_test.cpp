// INI saves on Windows against a real locked target: a file held open
// without sharing can't be replaced, the save fails with the rename code and
// leaves the target's bytes and no temporary file; the retrying save gets
// through once the holder lets go. Plain files have Windows line ends.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "ruvo/base/ini.h"

namespace {

namespace fs = std::filesystem;

TEST(WindowsIni, LockedTargetKeepsItsBytesAndRetryWaitsForIt) {
  const fs::path dir = fs::temp_directory_path() / ("ini_lock_" + std::to_string(::GetCurrentProcessId()));
  const fs::path tmp = dir / "tmp";
  fs::create_directories(tmp);
  ASSERT_TRUE(::SetEnvironmentVariableW(L"TMP", tmp.wstring().c_str()));
  ruvo_ini_file_st *doc = ruvo_ini_file_load(nullptr);
  ruvo_ini_file_set(doc, "s", "k", "new");
  for (const char *name : {"t.ini", "t.eni"}) {
    const std::string target = (dir / name).string();
    std::ofstream(target, std::ios::binary) << "old";
    HANDLE lock = ::CreateFileA(target.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(lock, INVALID_HANDLE_VALUE);
    EXPECT_EQ(ruvo_ini_file_save(doc, target.c_str(), 0), RUVO_INI_E_RENAME);
    EXPECT_EQ(ruvo_ini_file_save_directio(doc, target.c_str(), 0), RUVO_INI_E_RENAME);
    EXPECT_TRUE(fs::is_empty(tmp));
    char old[8];
    DWORD got = 0;  // read through the lock: nobody else can
    EXPECT_TRUE(::ReadFile(lock, old, sizeof old, &got, nullptr));
    EXPECT_EQ(std::string(old, got), "old");
    std::thread release([lock] {
      ::Sleep(250);
      ::CloseHandle(lock);
    });
    EXPECT_EQ(ruvo_ini_file_save_retry(doc, target.c_str(), 0, 20), 0);
    release.join();
    ruvo_ini_file_st *back = ruvo_ini_file_load(target.c_str());
    EXPECT_STREQ(ruvo_ini_file_get(back, "s", "k"), "new");
    ruvo_ini_file_free(back);
    std::ifstream saved(target, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(saved), {}};
    if (name[2] == 'i') {
      EXPECT_EQ(text, "[s]\r\nk = new\r\n\r\n");  // text mode
    }
    EXPECT_TRUE(fs::is_empty(tmp));
  }
  ruvo_ini_file_free(doc);
  fs::remove_all(dir);
}

}  // namespace
