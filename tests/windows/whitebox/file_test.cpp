// A system without CreateSymbolicLinkW: the late-bound slot is emptied for
// the length of the test, and a link to an existing file gives -1 and makes
// nothing.
#include <windows.h>

#include <gtest/gtest.h>

#include "internal/dll_api.hpp"
#include "ruvo/base/file.h"

TEST(FileLink, MissingEntryGivesMinusOne) {
  ruvo_kernel_api_st *api = ruvo_kernel_api();
  ASSERT_NE(api, nullptr);
  wchar_t tmp[MAX_PATH], source[MAX_PATH], target[MAX_PATH];
  ::GetTempPathW(MAX_PATH, tmp);
  ::GetTempFileNameW(tmp, L"rvl", 0, source);  // creates the file
  ::wsprintfW(target, L"%ls.link", source);
  const FARPROC saved = api->slot[RUVO_KERNEL_CreateSymbolicLinkW];
  api->slot[RUVO_KERNEL_CreateSymbolicLinkW] = nullptr;
  EXPECT_EQ(ruvo_file_link_w(source, target), -1);
  api->slot[RUVO_KERNEL_CreateSymbolicLinkW] = saved;
  EXPECT_EQ(::GetFileAttributesW(target), INVALID_FILE_ATTRIBUTES);
  ::DeleteFileW(source);
}
