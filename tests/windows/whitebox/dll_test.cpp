// The late-bound tables against GetProcAddress, a table with a missing entry or library, the
// version test, and the folder picker's callback and its copy of the chosen path.
#include <windows.h>
#include <shlobj.h>

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "internal/dll_api.hpp"

namespace {

FARPROC entry_of(const char *module, const char *name) { return ::GetProcAddress(::GetModuleHandleA(module), name); }

TEST(DllTables, SlotsHoldTheirEntriesAndAMissingEntryOrLibraryShows) {
  EXPECT_EQ(ruvo_kernel_api()->slot[RUVO_KERNEL_QueryFullProcessImageNameW], entry_of("kernel32.dll", "QueryFullProcessImageNameW"));
  const FARPROC psapi = ruvo_psapi_api()->slot[RUVO_PSAPI_GetProcessImageFileNameW];  // loads psapi
  EXPECT_TRUE(psapi != nullptr && psapi == entry_of("psapi.dll", "GetProcessImageFileNameW"));

  const char *names[] = {"GetTickCount", "RuvoNoSuchEntry", "Sleep"};
  ruvo::dll::table_desc desc{"kernel32.dll", names, 3};
  const FARPROC mark = reinterpret_cast<FARPROC>(1);
  FARPROC slots[4] = {nullptr, mark, nullptr, mark};
  ASSERT_EQ(ruvo::dll::fill_table(slots, &desc), 1);
  EXPECT_TRUE(slots[0] == entry_of("kernel32.dll", "GetTickCount") && slots[1] == nullptr && slots[2] == entry_of("kernel32.dll", "Sleep"));
  EXPECT_EQ(slots[3], mark);  // the count is kept
  EXPECT_EQ(ruvo::dll::fill_table(nullptr, &desc) + ruvo::dll::fill_table(slots, nullptr), 0);
  desc.module = "ruvo-no-such-library.dll";
  EXPECT_EQ(ruvo::dll::fill_table(slots, &desc), 0);
}

LONG g_status = 0;
DWORD g_major = 0;
// A stand-in for RtlGetVersion that wants the record as the caller must pass it.
LONG WINAPI fake_version(RTL_OSVERSIONINFOEXW *info) {
  if (info->dwOSVersionInfoSize != 284 || info->dwMajorVersion != 0) return -1;
  info->dwMajorVersion = g_major;
  return g_status;
}

TEST(DllTables, Nt6FollowsRtlGetVersion) {
  EXPECT_EQ(ruvo_os_is_nt6(), 1);  // every system this library runs on
  const auto fake = reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(fake_version));
  for (const auto &[status, major, want] : {std::tuple{0L, 5ul, 0}, {0L, 6ul, 1}, {0L, 10ul, 1}, {-1L, 10ul, 0}, {1L, 10ul, 0}}) {
    std::tie(g_status, g_major) = std::tuple(status, major);
    EXPECT_EQ(ruvo::dll::is_nt6_by(fake), want) << status << " " << major;
  }
  EXPECT_EQ(ruvo::dll::is_nt6_by(nullptr), 0);
}

// A message-only window that keeps what it is sent.
std::vector<std::tuple<UINT, WPARAM, LPARAM>> g_sent;
LRESULT CALLBACK keep(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
  if (msg >= WM_USER) g_sent.emplace_back(msg, wp, lp);
  return ::DefWindowProcW(w, msg, wp, lp);
}

TEST(FolderPicker, TheCallbackSelectsTheInitialPathAndKeepsAFailedValidationOpen) {
  const WNDCLASSW wc{0, keep, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, L"ruvo-dll-test"};
  ASSERT_NE(::RegisterClassW(&wc), 0);
  HWND w = ::CreateWindowW(L"ruvo-dll-test", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
  const LPARAM data = reinterpret_cast<LPARAM>("C:\\windows");
  EXPECT_EQ(ruvo::dll::browse_callback(w, BFFM_INITIALIZED, 0, data), 0);
  EXPECT_EQ(ruvo::dll::browse_callback(w, BFFM_VALIDATEFAILEDW, 0, data), 1);
  EXPECT_EQ(ruvo::dll::browse_callback(w, BFFM_SELCHANGED, 0, data), 0);
  EXPECT_EQ(g_sent, (std::vector{std::make_tuple(UINT(1126), WPARAM(1), data)}));  // BFFM_SETSELECTIONA
  ::DestroyWindow(w);
}

// The path fits with its terminator, not one unit shorter; the drives have no path: E_FAIL.
TEST(FolderPicker, TheChosenPathIsCopiedWhenItFits) {
  LPITEMIDLIST folder = nullptr, drives = nullptr;
  ASSERT_EQ(::SHGetFolderLocation(nullptr, CSIDL_WINDOWS, nullptr, 0, &folder), S_OK);
  ASSERT_EQ(::SHGetFolderLocation(nullptr, CSIDL_DRIVES, nullptr, 0, &drives), S_OK);
  wchar_t want[MAX_PATH], buffer[MAX_PATH], path[MAX_PATH] = L"untouched";
  const size_t n = ::GetWindowsDirectoryW(want, MAX_PATH);
  EXPECT_EQ(ruvo::dll::copy_chosen(drives, buffer, path, MAX_PATH), E_FAIL);
  EXPECT_EQ(ruvo::dll::copy_chosen(folder, buffer, path, n), HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(ruvo::dll::copy_chosen(folder, buffer, path, n + 1), S_OK);
  EXPECT_EQ(::lstrcmpiW(path, want), 0) << path;
  ::CoTaskMemFree(folder);
  ::CoTaskMemFree(drives);
}

}  // namespace
