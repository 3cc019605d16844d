// Late binding: LoadLibraryW by UTF-8 path, GetProcAddress, FreeLibrary; the
// once-filled tables of kernel32, ntdll and psapi entries that other
// families call through; the NT 6 test on RtlGetVersion; and the shell's
// folder picker (SHBrowseForFolderW rooted at the drives).
#include <windows.h>
#include <shlobj.h>

#include <cstring>

#include "internal/dll_api.hpp"
#include "ruvo/base/atomic.h"
#include "ruvo/base/charset.h"
#include "ruvo/base/dll.h"

#define STRSAFE_NO_DEPRECATE
#include <strsafe.h>

static_assert(sizeof(ruvo_kernel_api_st) == RUVO_KERNEL_SLOTS * sizeof(FARPROC));
static_assert(sizeof(ruvo_ntdll_api_st) == RUVO_NTDLL_SLOTS * sizeof(FARPROC));
static_assert(sizeof(ruvo_psapi_api_st) == RUVO_PSAPI_SLOTS * sizeof(FARPROC));
static_assert(sizeof(RTL_OSVERSIONINFOEXW) == 284);

namespace ruvo::dll {
namespace {

constexpr const char *kKernelNames[RUVO_KERNEL_SLOTS] = {
    "RtlCaptureStackBackTrace",
    "GetFileSizeEx",
    "GetQueuedCompletionStatusEx",
    "GetEnvironmentVariableW",
    "SetEnvironmentVariableW",
    "CreateProcessW",
    "WaitForMultipleObjects",
    "GetExitCodeProcess",
    "TerminateProcess",
    "SuspendThread",
    "ResumeThread",
    "GetEnvironmentStringsW",
    "FreeEnvironmentStringsW",
    "SetHandleInformation",
    "SetFileCompletionNotificationModes",
    "CreateSymbolicLinkW",
    "CreateJobObjectW",
    "TerminateJobObject",
    "AssignProcessToJobObject",
    "SetInformationJobObject",
    "GetActiveProcessorCount",
    "GetLogicalProcessorInformationEx",
    "GetNativeSystemInfo",
    "QueryFullProcessImageNameW",
};

constexpr const char *kNtdllNames[RUVO_NTDLL_SLOTS] = {
    "RtlNtStatusToDosError",
    "RtlInitUnicodeString",
    "RtlIsDosDeviceName_U",
    "RtlDosPathNameToNtPathName_U",
    "RtlNtPathNameToDosPathName",
    "RtlFreeUnicodeString",
    "NtQueryInformationProcess",
    "NtSetInformationProcess",
    "NtTerminateProcess",
    "NtSuspendProcess",
    "NtResumeProcess",
    "NtOpenSymbolicLinkObject",
    "NtQuerySymbolicLinkObject",
    "NtClose",
    "RtlGetVersion",
};

constexpr const char *kPsapiNames[RUVO_PSAPI_SLOTS] = {
    "GetModuleFileNameExW",
    "GetProcessImageFileNameW",
};

}  // namespace

const table_desc kernel_desc = {"kernel32.dll", kKernelNames, RUVO_KERNEL_SLOTS};
const table_desc ntdll_desc = {"ntdll.dll", kNtdllNames, RUVO_NTDLL_SLOTS};
const table_desc psapi_desc = {"psapi.dll", kPsapiNames, RUVO_PSAPI_SLOTS};

int32_t fill_table(void *table, void *arg) {
  const auto *desc = static_cast<const table_desc *>(arg);
  if (table == nullptr || desc == nullptr) return 0;
  HMODULE module = ::GetModuleHandleA(desc->module);
  // Loaded for good: the table's entries must stay valid for the process.
  if (module == nullptr) ruvo_dll_open(desc->module, &module);
  if (module == nullptr) return 0;
  auto *slots = static_cast<FARPROC *>(table);
  for (uint32_t i = 0; i < desc->count; ++i) slots[i] = ::GetProcAddress(module, desc->names[i]);
  return 1;
}

namespace {

volatile int32_t g_kernel_state = RUVO_SINGLETON_IDLE;
volatile int32_t g_ntdll_state = RUVO_SINGLETON_IDLE;
volatile int32_t g_psapi_state = RUVO_SINGLETON_IDLE;
ruvo_kernel_api_st g_kernel;
ruvo_ntdll_api_st g_ntdll;
ruvo_psapi_api_st g_psapi;

template <class Table>
Table *filled(volatile int32_t *state, Table *table, const table_desc &desc) noexcept {
  return ruvo_singleton_once(state, table, fill_table, const_cast<table_desc *>(&desc)) == 1
             ? table
             : nullptr;
}

}  // namespace

// BFFM_INITIALIZED selects `initial`, an ANSI path, so the dialog opens there;
// BFFM_VALIDATEFAILEDW keeps the dialog open on a name typed wrong.
int CALLBACK browse_callback(HWND window, UINT message, LPARAM, LPARAM data) {
  if (message == BFFM_INITIALIZED) {
    ::SendMessageA(window, BFFM_SETSELECTIONA, TRUE, data);
  } else if (message == BFFM_VALIDATEFAILEDW) {
    return 1;
  }
  return 0;
}

HRESULT copy_chosen(LPCITEMIDLIST chosen, wchar_t *buffer, wchar_t *path, size_t chars) noexcept {
  if (!::SHGetPathFromIDListW(chosen, buffer)) return E_FAIL;
  return ::StringCchCopyW(path, chars, buffer);
}

}  // namespace ruvo::dll

ruvo_kernel_api_st *ruvo_kernel_api() noexcept {
  return ruvo::dll::filled(&ruvo::dll::g_kernel_state, &ruvo::dll::g_kernel,
                           ruvo::dll::kernel_desc);
}

ruvo_ntdll_api_st *ruvo_ntdll_api() noexcept {
  return ruvo::dll::filled(&ruvo::dll::g_ntdll_state, &ruvo::dll::g_ntdll,
                           ruvo::dll::ntdll_desc);
}

ruvo_psapi_api_st *ruvo_psapi_api() noexcept {
  return ruvo::dll::filled(&ruvo::dll::g_psapi_state, &ruvo::dll::g_psapi,
                           ruvo::dll::psapi_desc);
}

int32_t ruvo_os_is_nt6() noexcept {
  return ruvo::dll::is_nt6_by(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion"));
}

int32_t ruvo::dll::is_nt6_by(FARPROC entry) noexcept {
  using get_version_fn = LONG(WINAPI *)(RTL_OSVERSIONINFOEXW *);
  const auto get_version = ruvo_api_entry<get_version_fn>(entry);
  if (get_version == nullptr) return 0;
  RTL_OSVERSIONINFOEXW info;
  std::memset(&info, 0, sizeof info);
  info.dwOSVersionInfoSize = sizeof info;
  if (get_version(&info) != 0) return 0;
  return info.dwMajorVersion >= 6 ? 1 : 0;
}

namespace {

// The last error of a call that failed; never 0, which would read as success.
uint32_t failure() noexcept {
  const DWORD error = ::GetLastError();
  return error != 0 ? error : RUVO_E_FAIL;
}

}  // namespace

extern "C" {

RUVO_API uint32_t ruvo_dll_open(const char *path, HMODULE *module) noexcept {
  if (path == nullptr || path[0] == '\0' || module == nullptr) return RUVO_E_INVAL;
  *module = nullptr;
  wchar_t wide[260] = {};
  const uint32_t converted = ruvo_str_utf8_to_unicode_ex(path, wide, 260);
  if (converted != 0) return converted;
  const HMODULE h = ::LoadLibraryW(wide);
  if (h == nullptr) return failure();
  *module = h;
  return RUVO_OK;
}

RUVO_API uint32_t ruvo_dll_get_addr(HMODULE module, const char *name, void **entry) noexcept {
  if (module == nullptr || name == nullptr || name[0] == '\0' || entry == nullptr) {
    return RUVO_E_INVAL;
  }
  *entry = nullptr;
  const FARPROC proc = ::GetProcAddress(module, name);
  if (proc == nullptr) return failure();
  *entry = reinterpret_cast<void *>(proc);
  return RUVO_OK;
}

RUVO_API uint32_t ruvo_dll_close(HMODULE module) noexcept {
  if (module == nullptr) return RUVO_E_INVAL;
  return ::FreeLibrary(module) ? RUVO_OK : failure();
}

RUVO_API int32_t ruvo_shbrowse_folder_open(HWND owner, uint32_t flags, const wchar_t *title,
                                           const char *initial, wchar_t *path,
                                           size_t chars) noexcept {
  if (path == nullptr || chars == 0 || chars > STRSAFE_MAX_CCH) return E_INVALIDARG;
  auto *buffer = static_cast<wchar_t *>(::CoTaskMemAlloc(MAX_PATH * sizeof(wchar_t)));
  if (buffer == nullptr) return E_OUTOFMEMORY;
  std::memset(buffer, 0, MAX_PATH * sizeof(wchar_t));
  LPITEMIDLIST root = nullptr;
  HRESULT hr = ::SHGetFolderLocation(owner, CSIDL_DRIVES, nullptr, 0, &root);
  if (FAILED(hr)) {
    ::CoTaskMemFree(buffer);
    return hr;
  }
  BROWSEINFOW info{};
  info.hwndOwner = owner;
  info.pidlRoot = root;
  info.pszDisplayName = buffer;
  info.lpszTitle = title;
  info.ulFlags = flags;
  info.lpfn = ruvo::dll::browse_callback;
  info.lParam = reinterpret_cast<LPARAM>(initial);
  info.iImage = 0;
  LPITEMIDLIST chosen = ::SHBrowseForFolderW(&info);
  if (chosen == nullptr) {
    hr = S_FALSE;  // cancelled
  } else {
    hr = ruvo::dll::copy_chosen(chosen, buffer, path, chars);
    ::CoTaskMemFree(chosen);
  }
  ::CoTaskMemFree(root);
  ::CoTaskMemFree(buffer);
  return hr;
}

}  // extern "C"
