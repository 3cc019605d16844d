// The late-bound tables against GetProcAddress, a table with an entry the
// system lacks, a library that will not load, and the parts of the folder
// picker that need no person.
#include <windows.h>
#include <shlobj.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <tuple>
#include <vector>

#include "internal/dll_api.hpp"
#include "support/support.hpp"

namespace {

// The slot order, written out again: callers index the tables by it.
const std::vector<const char *> kKernel = {
    "RtlCaptureStackBackTrace", "GetFileSizeEx", "GetQueuedCompletionStatusEx",
    "GetEnvironmentVariableW", "SetEnvironmentVariableW", "CreateProcessW",
    "WaitForMultipleObjects", "GetExitCodeProcess", "TerminateProcess", "SuspendThread",
    "ResumeThread", "GetEnvironmentStringsW", "FreeEnvironmentStringsW", "SetHandleInformation",
    "SetFileCompletionNotificationModes", "CreateSymbolicLinkW", "CreateJobObjectW",
    "TerminateJobObject", "AssignProcessToJobObject", "SetInformationJobObject",
    "GetActiveProcessorCount", "GetLogicalProcessorInformationEx", "GetNativeSystemInfo",
    "QueryFullProcessImageNameW"};
const std::vector<const char *> kNtdll = {
    "RtlNtStatusToDosError", "RtlInitUnicodeString", "RtlIsDosDeviceName_U",
    "RtlDosPathNameToNtPathName_U", "RtlNtPathNameToDosPathName", "RtlFreeUnicodeString",
    "NtQueryInformationProcess", "NtSetInformationProcess", "NtTerminateProcess",
    "NtSuspendProcess", "NtResumeProcess", "NtOpenSymbolicLinkObject",
    "NtQuerySymbolicLinkObject", "NtClose", "RtlGetVersion"};
const std::vector<const char *> kPsapi = {"GetModuleFileNameExW", "GetProcessImageFileNameW"};

void expect_table(const FARPROC *slots, const char *module, const std::vector<const char *> &names) {
  const HMODULE m = ::GetModuleHandleA(module);
  ASSERT_NE(m, nullptr) << module;
  for (size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(slots[i], ::GetProcAddress(m, names[i])) << names[i];
  }
}

TEST(DllTables, EachSlotHoldsItsEntryAndTheTablesAreFilledOnce) {
  std::vector<void *> seen[3];
  std::mutex lock;
  ruvo_test::run_threads(8, [&](int) {
    void *t[3] = {ruvo_kernel_api(), ruvo_ntdll_api(), ruvo_psapi_api()};
    std::lock_guard<std::mutex> hold(lock);
    for (int i = 0; i < 3; ++i) seen[i].push_back(t[i]);
  });
  for (auto &s : seen) {
    ASSERT_NE(s[0], nullptr);
    EXPECT_EQ(std::count(s.begin(), s.end(), s[0]), 8);
  }
  expect_table(ruvo_kernel_api()->slot, "kernel32.dll", kKernel);
  expect_table(ruvo_ntdll_api()->slot, "ntdll.dll", kNtdll);
  expect_table(ruvo_psapi_api()->slot, "psapi.dll", kPsapi);  // loaded by the fill
  EXPECT_NE(ruvo_kernel_api()->slot[RUVO_KERNEL_QueryFullProcessImageNameW], nullptr);
  EXPECT_NE(ruvo_ntdll_api()->slot[RUVO_NTDLL_RtlGetVersion], nullptr);
  if (ruvo_test::under_wine()) {  // Wine 8's ntdll lacks this one entry
    EXPECT_EQ(ruvo_ntdll_api()->slot[RUVO_NTDLL_RtlNtPathNameToDosPathName], nullptr);
  }
  using tick_fn = DWORD(WINAPI *)();
  auto tick = ruvo_api_entry<tick_fn>(::GetProcAddress(::GetModuleHandleA("kernel32.dll"), "GetTickCount"));
  EXPECT_NE(tick(), 0u);
  EXPECT_EQ(ruvo_api_entry<tick_fn>(nullptr), nullptr);
}

TEST(DllTables, AMissingEntryIsNullAndAMissingLibraryFailsTheTable) {
  const char *names[] = {"GetTickCount", "RuvoNoSuchEntry", "Sleep"};
  ruvo::dll::table_desc desc{"kernel32.dll", names, 3};
  FARPROC slots[4] = {nullptr, reinterpret_cast<FARPROC>(1), nullptr, reinterpret_cast<FARPROC>(1)};
  EXPECT_EQ(ruvo::dll::fill_table(slots, &desc), 1);
  expect_table(slots, "kernel32.dll", {"GetTickCount", "RuvoNoSuchEntry", "Sleep"});
  EXPECT_TRUE(slots[0] != nullptr && slots[1] == nullptr && slots[2] != nullptr);
  EXPECT_EQ(slots[3], reinterpret_cast<FARPROC>(1));  // count is kept
  desc.module = "ruvo-no-such-library.dll";
  EXPECT_EQ(ruvo::dll::fill_table(slots, &desc), 0);
  EXPECT_EQ(ruvo::dll::fill_table(nullptr, &desc), 0);
  EXPECT_EQ(ruvo::dll::fill_table(slots, nullptr), 0);
}

LONG g_status = 0;
DWORD g_major = 0;
LONG WINAPI fake_version(RTL_OSVERSIONINFOEXW *info) {
  if (info->dwOSVersionInfoSize != 284 || info->dwMajorVersion != 0) return -1;
  info->dwMajorVersion = g_major;
  return g_status;
}

TEST(DllTables, Nt6FollowsRtlGetVersion) {
  RTL_OSVERSIONINFOEXW info{};
  info.dwOSVersionInfoSize = sizeof info;
  using get_version_fn = LONG(WINAPI *)(RTL_OSVERSIONINFOEXW *);
  auto get_version = ruvo_api_entry<get_version_fn>(ruvo_ntdll_api()->slot[RUVO_NTDLL_RtlGetVersion]);
  ASSERT_EQ(get_version(&info), 0);
  EXPECT_EQ(ruvo_os_is_nt6(), info.dwMajorVersion >= 6 ? 1 : 0);
  EXPECT_EQ(ruvo_os_is_nt6(), 1);  // every system this library runs on
  const auto fake = reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(fake_version));
  for (const auto &[status, major, want] : {std::tuple{0L, 5ul, 0}, {0L, 6ul, 1}, {0L, 10ul, 1},
                                             {-1L, 10ul, 0}, {1L, 10ul, 0}}) {
    g_status = status;
    g_major = major;
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
  WNDCLASSW wc{};
  wc.lpfnWndProc = keep;
  wc.lpszClassName = L"ruvo-dll-test";
  ASSERT_NE(::RegisterClassW(&wc), 0);
  HWND w = ::CreateWindowW(L"ruvo-dll-test", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
  ASSERT_NE(w, nullptr);
  const char *initial = "C:\\windows";
  const LPARAM data = reinterpret_cast<LPARAM>(initial);
  EXPECT_EQ(ruvo::dll::browse_callback(w, BFFM_INITIALIZED, 0, data), 0);
  EXPECT_EQ(ruvo::dll::browse_callback(w, BFFM_VALIDATEFAILEDW, 0, data), 1);
  for (UINT other : {UINT(BFFM_SELCHANGED), UINT(BFFM_VALIDATEFAILEDA), UINT(BFFM_IUNKNOWN), 0u}) {
    EXPECT_EQ(ruvo::dll::browse_callback(w, other, 0, data), 0);
  }
  ASSERT_EQ(g_sent.size(), 1u);
  EXPECT_EQ(g_sent[0], std::make_tuple(UINT(1126), WPARAM(1), data));
  ::DestroyWindow(w);
}

TEST(FolderPicker, TheChoiceIsCopiedOrCutOrRefused) {
  LPITEMIDLIST windows = nullptr, drives = nullptr;
  ASSERT_EQ(::SHGetFolderLocation(nullptr, CSIDL_WINDOWS, nullptr, 0, &windows), S_OK);
  ASSERT_EQ(::SHGetFolderLocation(nullptr, CSIDL_DRIVES, nullptr, 0, &drives), S_OK);
  wchar_t want[MAX_PATH], buffer[MAX_PATH], path[MAX_PATH];
  ::GetWindowsDirectoryW(want, MAX_PATH);
  EXPECT_EQ(ruvo::dll::copy_chosen(windows, buffer, path, MAX_PATH), S_OK);
  EXPECT_STREQ(path, want);
  EXPECT_EQ(ruvo::dll::copy_chosen(windows, buffer, path, 4), HRESULT(0x8007007A));
  EXPECT_EQ(std::wstring(path), std::wstring(want).substr(0, 3));
  wcscpy(path, L"kept");
  EXPECT_EQ(ruvo::dll::copy_chosen(drives, buffer, path, MAX_PATH), E_FAIL);
  EXPECT_STREQ(path, L"kept");
  ::CoTaskMemFree(windows);
  ::CoTaskMemFree(drives);
}

}  // namespace
