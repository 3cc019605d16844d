// Questions about processes by id and the commands kill, suspend, resume and
// wait. The native entries come from the late-bound ntdll table; a peer's
// command line is read out of its own memory through its environment block.
#define PSAPI_VERSION 2  // the K32 entries of kernel32, not psapi.dll
#include <windows.h>
#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>

#include "internal/dll_api.hpp"
#include "ruvo/base/charset.h"
#include "ruvo/base/clock.h"
#include "ruvo/base/memory.h"
#include "ruvo/base/path.h"
#include "ruvo/base/process.h"
#include "ruvo/base/str.h"
#include "windows/handle.hpp"

namespace {

using ruvo::win::unique_file;
using ruvo::win::unique_handle;

constexpr DWORD kPathChars = 260;
constexpr DWORD kIdleProcess = 0;
constexpr DWORD kSystemProcess = 4;
constexpr NTSTATUS kNotImplemented = static_cast<NTSTATUS>(0xC0000002);
constexpr NTSTATUS kProcessIsTerminating = static_cast<NTSTATUS>(0xC000010A);
constexpr NTSTATUS kDebuggerTerminated = static_cast<NTSTATUS>(0x40010004);
// Longest parent walk: ids are reused, so a walk could meet itself again.
constexpr int kMaxAncestors = 1024;

// Offsets in the 64-bit layout of the records behind a command line.
constexpr size_t kBasicSize = 48, kBasicPeb = 8, kBasicParent = 40;
constexpr size_t kPebSize = 616, kPebParameters = 32;
constexpr size_t kParamsFlags = 8, kParamsCommandLine = 112;
constexpr size_t kUnicodeStringSize = 16, kUnicodeStringBuffer = 8;
constexpr ULONG kInfoBasic = 0, kInfoSession = 24, kInfoBreakOnTermination = 29;

int32_t fail(DWORD error) noexcept {
  ::SetLastError(error);
  return 0;
}

template <class T>
T field(const unsigned char *record, size_t offset) noexcept {
  T value;
  std::memcpy(&value, record + offset, sizeof value);
  return value;
}

FARPROC ntdll_slot(ruvo_ntdll_slot slot) noexcept {
  const ruvo_ntdll_api_st *api = ruvo_ntdll_api();
  return api == nullptr ? nullptr : api->slot[slot];
}

// Status values become last-error values before a caller sees them.
DWORD dos_error(NTSTATUS status) noexcept {
  const auto map = ruvo_api_entry<ULONG(WINAPI *)(NTSTATUS)>(
      ntdll_slot(RUVO_NTDLL_RtlNtStatusToDosError));
  return map == nullptr ? ERROR_CALL_NOT_IMPLEMENTED : map(status);
}

NTSTATUS query_process(HANDLE process, ULONG info_class, void *out, ULONG size) noexcept {
  const auto query = ruvo_api_entry<NTSTATUS(WINAPI *)(HANDLE, ULONG, void *, ULONG, ULONG *)>(
      ntdll_slot(RUVO_NTDLL_NtQueryInformationProcess));
  return query == nullptr ? kNotImplemented : query(process, info_class, out, size, nullptr);
}

// The parent id out of the basic information; 0 with the mapped error set.
int32_t query_parent(HANDLE process, uint32_t *parent) noexcept {
  unsigned char basic[kBasicSize] = {};
  const NTSTATUS status = query_process(process, kInfoBasic, basic, kBasicSize);
  if (status < 0) return fail(dos_error(status));
  *parent = static_cast<uint32_t>(field<uint64_t>(basic, kBasicParent));
  return 1;
}

bool read_peer(HANDLE process, uint64_t address, void *out, size_t size) noexcept {
  return ::ReadProcessMemory(process, reinterpret_cast<const void *>(address), out, size,
                             nullptr) != 0;
}

// Reads the command line of `process` into a new process-heap string in
// *text. The relative form first refuses parameters whose pointers are
// already absolute (13), since then the buffer address stands alone.
// Returns the error, 0 for success; a read that fails without an error
// leaves *text null and still gives 0.
DWORD read_command_line(HANDLE process, bool relative, wchar_t **text) noexcept {
  *text = nullptr;
  unsigned char basic[kBasicSize] = {};
  const NTSTATUS status = query_process(process, kInfoBasic, basic, kBasicSize);
  if (status < 0) return dos_error(status);

  unsigned char peb[kPebSize] = {}, line[kUnicodeStringSize] = {};
  uint32_t flags = 0;
  if (!read_peer(process, field<uint64_t>(basic, kBasicPeb), peb, kPebSize))
    return ::GetLastError();
  const auto params = field<uint64_t>(peb, kPebParameters);
  if (relative && !read_peer(process, params + kParamsFlags, &flags, sizeof flags))
    return ::GetLastError();
  if (flags & 1) return ERROR_INVALID_DATA;
  if (!read_peer(process, params + kParamsCommandLine, line, kUnicodeStringSize))
    return ::GetLastError();

  const auto bytes = field<uint16_t>(line, 0);
  const uint64_t buffer = field<uint64_t>(line, kUnicodeStringBuffer) + (relative ? params : 0);
  void *copy = ::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, bytes + 2u);
  if (copy == nullptr) return ERROR_INVALID_ADDRESS;
  if (!read_peer(process, buffer, copy, bytes)) {
    ::HeapFree(::GetProcessHeap(), 0, copy);
    return ERROR_INVALID_ADDRESS;
  }
  *text = static_cast<wchar_t *>(copy);  // zeroed, so terminated at byte `bytes`
  return 0;
}

bool valid(const ruvo_process_st *proc) noexcept {
  return proc != nullptr && (static_cast<int32_t>(proc->pid) > 0 || proc->handle != nullptr);
}

bool empty(const wchar_t *text) noexcept { return text == nullptr || *text == L'\0'; }

// The one native call of suspend and resume, on a handle with just that right.
template <ruvo_ntdll_slot Slot>
int32_t suspend_or_resume(uint32_t pid) noexcept {
  if (pid == kIdleProcess || pid == kSystemProcess) return fail(ERROR_INVALID_PARAMETER);
  unique_handle process(::OpenProcess(PROCESS_SUSPEND_RESUME, FALSE, pid));
  if (!process) return 0;
  const auto call = ruvo_api_entry<NTSTATUS(WINAPI *)(HANDLE)>(ntdll_slot(Slot));
  const NTSTATUS status = call == nullptr ? kNotImplemented : call(process.get());
  return status < 0 ? fail(dos_error(status)) : 1;
}

// 1 when some module of process `pid` lies at `path`; else 0 with *error
// set to what the walk found.
int32_t has_module(DWORD pid, const wchar_t *path, DWORD *error) noexcept {
  unique_file modules(::CreateToolhelp32Snapshot(TH32CS_SNAPMODULE | TH32CS_SNAPMODULE32, pid));
  if (!modules) {
    *error = ::GetLastError();
    return 0;
  }
  MODULEENTRY32W module{};
  module.dwSize = sizeof module;
  for (BOOL more = ::Module32FirstW(modules.get(), &module); more;
       more = ::Module32NextW(modules.get(), &module)) {
    if (::_wcsicmp(module.szExePath, path) == 0) return 1;
  }
  *error = ERROR_NOT_FOUND;
  return 0;
}

}  // namespace

static_assert(sizeof(PROCESSENTRY32W) == 568 && sizeof(MODULEENTRY32W) == 1080);
static_assert(sizeof(PROCESS_MEMORY_COUNTERS_EX) == 80);

extern "C" {

RUVO_API uint32_t ruvo_process_get_pid(void) noexcept {
  // Two threads may both ask the system first: they store the same value.
  static std::atomic<uint32_t> cached{0};
  uint32_t pid = cached.load(std::memory_order_relaxed);
  if (pid == 0) {
    pid = ::GetCurrentProcessId();
    cached.store(pid, std::memory_order_relaxed);
  }
  return pid;
}

RUVO_API int32_t ruvo_process_get_path_w(uint32_t pid, wchar_t *buf, uint32_t chars) noexcept {
  if (pid == 0 || buf == nullptr || chars == 0) return fail(ERROR_INVALID_PARAMETER);
  const ruvo_kernel_api_st *kernel = ruvo_kernel_api();
  const ruvo_psapi_api_st *psapi = ruvo_psapi_api();
  const auto query_image = ruvo_api_entry<BOOL(WINAPI *)(HANDLE, DWORD, LPWSTR, PDWORD)>(
      kernel == nullptr ? nullptr : kernel->slot[RUVO_KERNEL_QueryFullProcessImageNameW]);
  const auto module_name = ruvo_api_entry<DWORD(WINAPI *)(HANDLE, HMODULE, LPWSTR, DWORD)>(
      psapi == nullptr ? nullptr : psapi->slot[RUVO_PSAPI_GetModuleFileNameExW]);
  if (query_image == nullptr && module_name == nullptr) return fail(ERROR_CALL_NOT_IMPLEMENTED);

  wchar_t local[kPathChars] = {};
  unique_handle process;
  bool found;
  if (query_image != nullptr) {
    process.reset(::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, pid));
    DWORD length = kPathChars;
    found = process && query_image(process.get(), 0, local, &length);
  } else {
    process.reset(::OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, pid));
    found = process && module_name(process.get(), nullptr, local, kPathChars) != 0;
  }
  if (!found) return 0;
  const size_t n = std::min<size_t>(std::wcslen(local), chars - 1);
  std::wmemcpy(buf, local, n);
  buf[n] = L'\0';
  return 1;
}

RUVO_API int32_t ruvo_process_get_path(uint32_t pid, char *buf, uint32_t size) noexcept {
  if (pid == 0 || buf == nullptr || size == 0) return fail(ERROR_INVALID_PARAMETER);
  wchar_t wide[kPathChars] = {};
  char *text = nullptr;
  if (ruvo_process_get_path_w(pid, wide, kPathChars) &&
      (text = ruvo_str_unicode_to_utf8(wide)) != nullptr) {
    ruvo_str_strlcpy(buf, text, size);
    ruvo_str_free(text);
    return 1;
  }
  // A step that failed without saying why leaves the buffer as it was.
  return ::GetLastError() == 0 ? 1 : 0;
}

RUVO_API int32_t ruvo_process_get_cmd_w(uint32_t pid, wchar_t **out) noexcept {
  if (pid == 0 || out == nullptr) return fail(ERROR_INVALID_PARAMETER);
  unique_handle process(::OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, pid));
  if (!process) return 0;
  wchar_t *text = nullptr;
  // Before NT 6 the parameters may still hold offsets; a block that the
  // loader has normalised says so, and is read by the absolute form.
  DWORD error;
  if (ruvo_os_is_nt6()) {
    error = read_command_line(process.get(), false, &text);
  } else {
    error = read_command_line(process.get(), true, &text);
    if (error == ERROR_INVALID_DATA) error = read_command_line(process.get(), false, &text);
  }
  process.reset();
  if (text != nullptr) *out = text;
  return error != 0 ? fail(error) : 1;
}

RUVO_API int32_t ruvo_process_get_cmd(uint32_t pid, char **out) noexcept {
  if (pid == 0 || out == nullptr) return fail(ERROR_INVALID_PARAMETER);
  wchar_t *wide = nullptr;
  if (!ruvo_process_get_cmd_w(pid, &wide)) return 0;
  char *text = ruvo_str_unicode_to_utf8(wide);
  ruvo_str_free(wide);
  if (text == nullptr) return 0;
  *out = text;
  return 1;
}

RUVO_API int32_t ruvo_process_get_info(uint32_t pid, uint32_t *parent, int64_t *start_time,
                                       uint32_t *session) noexcept {
  if (pid == 0 || (parent == nullptr && start_time == nullptr && session == nullptr))
    return fail(ERROR_INVALID_PARAMETER);
  unique_handle process(::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, pid));
  if (!process) return 0;
  if (parent != nullptr && !query_parent(process.get(), parent)) return 0;
  if (start_time != nullptr) {
    FILETIME created, exited, kernel, user;
    if (!::GetProcessTimes(process.get(), &created, &exited, &kernel, &user)) return 0;
    ruvo_filetime_to_timet(created, start_time);
  }
  if (session != nullptr) {
    ULONG id = 0;
    const NTSTATUS status = query_process(process.get(), kInfoSession, &id, sizeof id);
    if (status < 0) return fail(dos_error(status));
    *session = id;
  }
  return 1;
}

RUVO_API int32_t ruvo_process_get_memory_usage(const ruvo_process_st *proc, uint32_t kind,
                                               uint64_t *out) noexcept {
  if (!valid(proc) || kind > 1 || out == nullptr) return fail(ERROR_INVALID_PARAMETER);
  PROCESS_MEMORY_COUNTERS_EX counters{};
  if (!::GetProcessMemoryInfo(proc->handle, reinterpret_cast<PROCESS_MEMORY_COUNTERS *>(&counters),
                              sizeof counters))
    return 0;
  *out = kind == 0 ? counters.PrivateUsage : counters.PeakWorkingSetSize;
  return 1;
}

RUVO_API int32_t ruvo_process_get_proc_cpu_ticks(const ruvo_process_st *proc,
                                                 ruvo_process_cpu_ticks_st *out) noexcept {
  if (!valid(proc) || out == nullptr) return fail(ERROR_INVALID_PARAMETER);
  FILETIME created, exited, kernel, user;
  if (!::GetProcessTimes(proc->handle, &created, &exited, &kernel, &user)) return 0;
  const auto ticks = [](FILETIME t) { return (uint64_t{t.dwHighDateTime} << 32) | t.dwLowDateTime; };
  out->user = ticks(user);
  out->kernel = ticks(kernel);
  out->total = out->user + out->kernel;
  return 1;
}

RUVO_API int32_t ruvo_process_is_exist(uint32_t pid) noexcept {
  // Grow until the list comes back with room to spare, so it was read whole.
  int32_t size = 2048;
  DWORD needed = 0;
  std::unique_ptr<DWORD, decltype(&std::free)> ids(nullptr, &std::free);
  do {
    ids.reset(static_cast<DWORD *>(ruvo_zero_malloc(size)));
    if (!::EnumProcesses(ids.get(), static_cast<DWORD>(size), &needed)) return 0;
    if (needed < static_cast<DWORD>(size)) break;
    size *= 2;
  } while (true);
  const DWORD *begin = ids.get(), *end = begin + needed / sizeof(DWORD);
  return std::find(begin, end, DWORD{pid}) != end ? 1 : 0;
}

RUVO_API int32_t ruvo_process_is_child(uint32_t pid, int32_t recursive) noexcept {
  if (pid == kIdleProcess || pid == kSystemProcess) return fail(ERROR_INVALID_PARAMETER);
  const DWORD self = ::GetCurrentProcessId();
  uint32_t current = pid;
  for (int step = 0; step < kMaxAncestors; ++step) {
    unique_handle process(::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, current));
    uint32_t parent = 0;
    if (!process || !query_parent(process.get(), &parent)) return 0;
    if (parent == self) return 1;
    if (!recursive) return fail(ERROR_NOT_FOUND);
    if (parent == 0) return fail(ERROR_INVALID_PARAMETER);
    current = parent;
  }
  return fail(ERROR_NOT_FOUND);
}

RUVO_API int32_t ruvo_process_path_is_exist_w(const wchar_t *name, const wchar_t *path,
                                              uint32_t *pid_out) noexcept {
  if (empty(name) && empty(path)) return fail(ERROR_INVALID_PARAMETER);
  unique_file processes(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  if (!processes) return 0;
  if (name == nullptr) name = ruvo_path_get_name_w(path);

  DWORD error = ERROR_NOT_FOUND;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = ::Process32FirstW(processes.get(), &entry); more;
       more = ::Process32NextW(processes.get(), &entry)) {
    if (::_wcsicmp(entry.szExeFile, name) != 0) continue;
    if (path == nullptr || has_module(entry.th32ProcessID, path, &error)) {
      if (pid_out != nullptr) *pid_out = entry.th32ProcessID;
      return 1;
    }
  }
  return fail(error);
}

RUVO_API int32_t ruvo_process_path_is_exist(const char *name, const char *path,
                                            uint32_t *pid_out) noexcept {
  const auto blank = [](const char *text) { return text == nullptr || *text == '\0'; };
  if (blank(name) && blank(path)) return fail(ERROR_INVALID_PARAMETER);
  // A string that needs more than the buffer stays empty and matches nothing.
  const auto widen = [](const char *text, wchar_t *wide) -> const wchar_t * {
    if (text == nullptr) return nullptr;
    if (!::MultiByteToWideChar(CP_UTF8, 0, text, -1, wide, kPathChars)) wide[0] = L'\0';
    return wide;
  };
  wchar_t wide_name[kPathChars] = {}, wide_path[kPathChars] = {};
  return ruvo_process_path_is_exist_w(widen(name, wide_name), widen(path, wide_path), pid_out);
}

RUVO_API int32_t ruvo_process_path_and_pid_is_exist(const char *, uint32_t) noexcept { return 0; }

RUVO_API int32_t ruvo_process_kill(uint32_t pid, int32_t wait) noexcept {
  if (pid == kIdleProcess || pid == kSystemProcess) return fail(ERROR_INVALID_PARAMETER);
  constexpr DWORD kRights =
      SYNCHRONIZE | PROCESS_QUERY_INFORMATION | PROCESS_SET_INFORMATION | PROCESS_TERMINATE;
  unique_handle process(::OpenProcess(kRights, FALSE, pid));
  if (!process) return 0;
  // A process marked critical takes the system down with it: never end one.
  ULONG critical = 0;
  NTSTATUS status =
      query_process(process.get(), kInfoBreakOnTermination, &critical, sizeof critical);
  if (status >= 0 && critical == 1) return fail(ERROR_ACCESS_DENIED);
  if (status >= 0) {
    const auto terminate = ruvo_api_entry<NTSTATUS(WINAPI *)(HANDLE, NTSTATUS)>(
        ntdll_slot(RUVO_NTDLL_NtTerminateProcess));
    status = terminate == nullptr ? kNotImplemented : terminate(process.get(), kDebuggerTerminated);
  }
  if (status < 0 && status != kProcessIsTerminating) return fail(dos_error(status));
  if (wait) ::WaitForSingleObject(process.get(), INFINITE);
  return 1;
}

RUVO_API int32_t ruvo_process_suspend(uint32_t pid) noexcept {
  return suspend_or_resume<RUVO_NTDLL_NtSuspendProcess>(pid);
}

RUVO_API int32_t ruvo_process_resume(uint32_t pid) noexcept {
  return suspend_or_resume<RUVO_NTDLL_NtResumeProcess>(pid);
}

RUVO_API int32_t ruvo_process_wait(const ruvo_process_st *proc, intptr_t timeout_ms,
                                   uint32_t *exit_code) noexcept {
  // INFINITE is the one 32-bit value a non-negative timeout cannot take.
  if (!valid(proc) || timeout_ms > static_cast<intptr_t>(INFINITE - 1))
    return fail(ERROR_INVALID_PARAMETER);
  unique_handle opened;
  HANDLE process = proc->handle;
  if (process == nullptr) {
    opened.reset(::OpenProcess(SYNCHRONIZE, FALSE, proc->pid));
    if (!opened) return 0;
    process = opened.get();
  }
  const DWORD timeout = timeout_ms < 0 ? INFINITE : static_cast<DWORD>(timeout_ms);
  const DWORD waited = ::WaitForSingleObject(process, timeout);
  if (waited == WAIT_TIMEOUT) return fail(ERROR_TIMEOUT);
  if (waited != WAIT_OBJECT_0) return 0;
  DWORD code = 0;
  ::GetExitCodeProcess(process, &code);
  if (exit_code != nullptr) *exit_code = code;
  return 1;
}

}  // extern "C"
