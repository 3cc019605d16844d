// Late-bound entries of kernel32, ntdll and psapi, for the families that need
// newer or unofficial calls. Each table is filled once, at its first use, by
// GetProcAddress in slot order; a slot is null where the system lacks the
// entry. An accessor gives null when the table could not be filled (its
// library would not load), for good. Tables never change once filled and
// live for the process. Windows only, and not exported.
#pragma once

#include <windows.h>
#include <shlobj.h>

#include <cstdint>

// ---- kernel32.dll ----

enum ruvo_kernel_slot : uint32_t {
  RUVO_KERNEL_RtlCaptureStackBackTrace,
  RUVO_KERNEL_GetFileSizeEx,
  RUVO_KERNEL_GetQueuedCompletionStatusEx,
  RUVO_KERNEL_GetEnvironmentVariableW,
  RUVO_KERNEL_SetEnvironmentVariableW,
  RUVO_KERNEL_CreateProcessW,
  RUVO_KERNEL_WaitForMultipleObjects,
  RUVO_KERNEL_GetExitCodeProcess,
  RUVO_KERNEL_TerminateProcess,
  RUVO_KERNEL_SuspendThread,
  RUVO_KERNEL_ResumeThread,
  RUVO_KERNEL_GetEnvironmentStringsW,
  RUVO_KERNEL_FreeEnvironmentStringsW,
  RUVO_KERNEL_SetHandleInformation,
  RUVO_KERNEL_SetFileCompletionNotificationModes,
  RUVO_KERNEL_CreateSymbolicLinkW,
  RUVO_KERNEL_CreateJobObjectW,
  RUVO_KERNEL_TerminateJobObject,
  RUVO_KERNEL_AssignProcessToJobObject,
  RUVO_KERNEL_SetInformationJobObject,
  RUVO_KERNEL_GetActiveProcessorCount,
  RUVO_KERNEL_GetLogicalProcessorInformationEx,
  RUVO_KERNEL_GetNativeSystemInfo,
  RUVO_KERNEL_QueryFullProcessImageNameW,
  RUVO_KERNEL_SLOTS
};
static_assert(RUVO_KERNEL_SLOTS == 24);

struct ruvo_kernel_api_st {
  FARPROC slot[RUVO_KERNEL_SLOTS];  // null where kernel32 lacks the entry
};

// ---- ntdll.dll ----

enum ruvo_ntdll_slot : uint32_t {
  RUVO_NTDLL_RtlNtStatusToDosError,
  RUVO_NTDLL_RtlInitUnicodeString,
  RUVO_NTDLL_RtlIsDosDeviceName_U,
  RUVO_NTDLL_RtlDosPathNameToNtPathName_U,
  RUVO_NTDLL_RtlNtPathNameToDosPathName,
  RUVO_NTDLL_RtlFreeUnicodeString,
  RUVO_NTDLL_NtQueryInformationProcess,
  RUVO_NTDLL_NtSetInformationProcess,
  RUVO_NTDLL_NtTerminateProcess,
  RUVO_NTDLL_NtSuspendProcess,
  RUVO_NTDLL_NtResumeProcess,
  RUVO_NTDLL_NtOpenSymbolicLinkObject,
  RUVO_NTDLL_NtQuerySymbolicLinkObject,
  RUVO_NTDLL_NtClose,
  RUVO_NTDLL_RtlGetVersion,
  RUVO_NTDLL_SLOTS
};
static_assert(RUVO_NTDLL_SLOTS == 15);

struct ruvo_ntdll_api_st {
  FARPROC slot[RUVO_NTDLL_SLOTS];  // null where ntdll lacks the entry
};

// ---- psapi.dll ----

enum ruvo_psapi_slot : uint32_t {
  RUVO_PSAPI_GetModuleFileNameExW,
  RUVO_PSAPI_GetProcessImageFileNameW,
  RUVO_PSAPI_SLOTS
};

struct ruvo_psapi_api_st {
  FARPROC slot[RUVO_PSAPI_SLOTS];  // null where psapi lacks the entry
};

// The filled tables, or null when the library could not be loaded. Any
// number of threads may call them at once.
ruvo_kernel_api_st *ruvo_kernel_api() noexcept;
ruvo_ntdll_api_st *ruvo_ntdll_api() noexcept;
ruvo_psapi_api_st *ruvo_psapi_api() noexcept;

// 1 when RtlGetVersion reports a major version of 6 or more, else 0 (also
// when the entry is missing or fails). Asked afresh at every call.
int32_t ruvo_os_is_nt6() noexcept;

// A slot as the caller's function type; null stays null. Fn is a pointer to
// function, e.g. decltype(&::CreateSymbolicLinkW).
template <class Fn>
Fn ruvo_api_entry(FARPROC slot) noexcept {
  // Through void(*)(): the one cast between function types that GCC takes
  // as deliberate.
  return reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(slot));
}

namespace ruvo::dll {

// What one table is filled from: its library and its entries in slot order.
struct table_desc {
  const char *module;        // ANSI name for GetModuleHandleA and the load
  const char *const *names;  // entry names, one per slot
  uint32_t count;            // slots
};

extern const table_desc kernel_desc;
extern const table_desc ntdll_desc;
extern const table_desc psapi_desc;

// The once-initialiser's function: fills `table` (count FARPROCs) from the
// table_desc in `desc`. 1 when the library was found, else 0; 0 for a null
// table or desc.
int32_t fill_table(void *table, void *desc);

// ruvo_os_is_nt6 on RtlGetVersion found at `entry` (null: 0).
int32_t is_nt6_by(FARPROC entry) noexcept;

// The folder picker's callback: selects the ANSI path `data` when the dialog
// starts, keeps it open on a failed validation, and gives 0 otherwise.
int CALLBACK browse_callback(HWND window, UINT message, LPARAM param, LPARAM data);

// The chosen item's file system path, through `buffer` (260 units), into
// `path`: StringCchCopyW's HRESULT, or E_FAIL when the item has no path.
HRESULT copy_chosen(LPCITEMIDLIST chosen, wchar_t *buffer, wchar_t *path, size_t chars) noexcept;

}  // namespace ruvo::dll
