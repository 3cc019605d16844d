// Loading real system libraries; the folder picker as far as it goes without a person.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "ruvo/base/dll.h"
#include "support/support.hpp"

namespace {

TEST(Dll, OpensFindsAndClosesRealLibrariesAndRefusesBadArguments) {
  const HMODULE k = ::GetModuleHandleW(L"kernel32.dll"), mark = reinterpret_cast<HMODULE>(1);
  HMODULE m = nullptr;
  void *entry = nullptr;
  ASSERT_EQ(ruvo_dll_open("kernel32.dll", &m), RUVO_OK);
  EXPECT_EQ(ruvo_dll_get_addr(m, "GetTickCount", &entry), RUVO_OK);
  EXPECT_TRUE(m == k && entry == reinterpret_cast<void *>(::GetProcAddress(k, "GetTickCount")));
  EXPECT_EQ(ruvo_dll_close(m), RUVO_OK);
  // {status, what *module or *entry holds after}: null on a failure once the arguments are good.
  auto open = [&](const char *path) { m = mark; return std::pair<uint32_t, void *>(ruvo_dll_open(path, &m), m); };
  auto find = [&](HMODULE mod, const char *name) { entry = &m; return std::pair(ruvo_dll_get_addr(mod, name, &entry), entry); };
  const std::pair<uint32_t, void *> rows[][2] = {
      {open("ruvo-no-such-library.dll"), {126, nullptr}}, {open(std::string(260, 'a').c_str()), {122, nullptr}},
      {open(""), {RUVO_E_INVAL, mark}}, {open(nullptr), {RUVO_E_INVAL, mark}}, {find(k, "RuvoNoSuchEntry"), {127, nullptr}},
      {find(k, ""), {RUVO_E_INVAL, &m}}, {find(k, nullptr), {RUVO_E_INVAL, &m}}, {find(nullptr, "GetTickCount"), {RUVO_E_INVAL, &m}},
      {{ruvo_dll_open("kernel32.dll", nullptr), nullptr}, {RUVO_E_INVAL, nullptr}}, {{ruvo_dll_close(nullptr), nullptr}, {RUVO_E_INVAL, nullptr}},
      {{ruvo_dll_get_addr(k, "GetTickCount", nullptr), nullptr}, {RUVO_E_INVAL, nullptr}}};
  for (const auto &[got, want] : rows) EXPECT_EQ(got, want) << want.first;
}

TEST(FolderPicker, ChecksItsBufferAndGivesOneWhenNoDialogCanShow) {
  wchar_t path[MAX_PATH] = L"untouched";
  for (const auto &[buffer, chars] : {std::pair{(wchar_t *)nullptr, size_t(MAX_PATH)}, {path, 0}, {path, size_t(1) << 31}}) {
    EXPECT_EQ(ruvo_shbrowse_folder_open(nullptr, 0, L"t", "C:\\", buffer, chars), E_INVALIDARG) << chars;
  }
  if (!ruvo_test::under_wine() || ::GetEnvironmentVariableW(L"DISPLAY", nullptr, 0) != 0) {
    GTEST_SKIP() << "the dialog would wait for a person: only Wine without a display returns at once";
  }
  EXPECT_EQ(ruvo_shbrowse_folder_open(nullptr, 1 /* BIF_RETURNONLYFSDIRS */, L"t", "C:\\", path, MAX_PATH), S_FALSE);
  EXPECT_EQ(ruvo_shbrowse_folder_open(nullptr, 0, nullptr, nullptr, path, 2147483647), S_FALSE);  // the largest
  EXPECT_STREQ(path, L"untouched");
}

}  // namespace
