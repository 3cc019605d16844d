// Process queries and control on real children of this test program: a
// counter that runs until it is ended, one that starts a grandchild, and one
// that burns some processor time and exits with a given code. Expected
// values come from the Win32 calls themselves.
#include <windows.h>
#include <psapi.h>
#include <winternl.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "ruvo/base/charset.h"
#include "ruvo/base/process.h"
#include "support/support.hpp"

namespace {

struct shared_block {
  volatile LONG count;       // advanced by a counter child every millisecond
  volatile DWORD grandchild; // pid that a spawner child started
};

std::string block_name() { return "ruvo_process_test_" + std::to_string(::GetCurrentProcessId()); }

shared_block *open_block(const std::string &name, bool create) {
  HANDLE m = create ? ::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                           sizeof(shared_block), name.c_str())
                    : ::OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name.c_str());
  return static_cast<shared_block *>(::MapViewOfFile(m, FILE_MAP_ALL_ACCESS, 0, 0, 0));
}

int counter_main(const std::vector<std::string> &args) {
  shared_block *b = open_block(args.at(0), false);
  if (args.size() > 1 && args[1] == "offsets") {
    // The parameters as a system before NT 6 may leave them: offsets from
    // the block, flag bit 0 clear.
    HMODULE ntdll = ::GetModuleHandleA("ntdll.dll");
    const auto query = reinterpret_cast<LONG(WINAPI *)(HANDLE, ULONG, void *, ULONG, ULONG *)>(
        reinterpret_cast<void (*)()>(::GetProcAddress(ntdll, "NtQueryInformationProcess")));
    const auto denormalize = reinterpret_cast<void *(WINAPI *)(void *)>(
        reinterpret_cast<void (*)()>(::GetProcAddress(ntdll, "RtlDeNormalizeProcessParams")));
    PROCESS_BASIC_INFORMATION basic{};
    query(::GetCurrentProcess(), 0, &basic, sizeof basic, nullptr);
    denormalize(basic.PebBaseAddress->ProcessParameters);
  }
  for (;;) {
    ::InterlockedIncrement(&b->count);
    ::Sleep(1);
  }
}

int spawner_main(const std::vector<std::string> &args) {
  unsigned long pid = 0;
  ruvo_test::start_child("counter", args, &pid);
  open_block(args.at(0), false)->grandchild = pid;
  ::Sleep(INFINITE);
  return 0;
}

int exiter_main(const std::vector<std::string> &args) {
  const ULONGLONG end = ::GetTickCount64() + std::stoul(args.at(1));
  while (::GetTickCount64() < end) {
  }
  return std::stoi(args.at(0));
}

const bool registered = ruvo_test::register_child("counter", counter_main) &&
                        ruvo_test::register_child("spawner", spawner_main) &&
                        ruvo_test::register_child("exiter", exiter_main);

// A child that is ended, if still running, when the test leaves.
struct child {
  ruvo_process_st proc{};
  std::wstring command;
  child(const char *name, const std::vector<std::string> &args) {
    unsigned long pid = 0;
    proc.handle = ruvo_test::start_child(name, args, &pid, &command);
    proc.pid = pid;
  }
  ~child() {
    ::TerminateProcess(proc.handle, 1);
    ::CloseHandle(proc.handle);
  }
};

void wait_for_count(shared_block *b, LONG above) {
  ruvo_test::watchdog dog("counter child", 20);
  while (b->count <= above) ::Sleep(1);
}

std::string utf8(const std::wstring &w) {
  char *t = ruvo_str_unicode_to_utf8(w.c_str());
  std::string s(t);
  ruvo_str_free(t);
  return s;
}

// While one lives, an entry of ntdll jumps to a stand-in of the test's: for
// answers no test system gives (a critical child, a system older than NT 6)
// and one Wine lacks (ProcessBreakOnTermination, on which kill rests). Only
// the call under test may use the entry meanwhile.
class ntdll_patch {
 public:
  ntdll_patch(const char *entry, const void *to) {
    target_ = reinterpret_cast<unsigned char *>(
        ::GetProcAddress(::GetModuleHandleA("ntdll.dll"), entry));
    unsigned char jump[12] = {0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0};  // mov rax; jmp rax
    std::memcpy(jump + 2, &to, sizeof to);
    DWORD old;
    ::VirtualProtect(target_, sizeof jump, PAGE_EXECUTE_READWRITE, &old);
    std::memcpy(saved_, target_, sizeof saved_);
    write(jump);
  }
  ~ntdll_patch() { write(saved_); }

 private:
  void write(const unsigned char *code) {
    std::memcpy(target_, code, sizeof saved_);
    ::FlushInstructionCache(::GetCurrentProcess(), target_, sizeof saved_);
  }
  unsigned char *target_;
  unsigned char saved_[12];
};

LONG g_status;
ULONG g_critical;
LONG WINAPI break_on_termination(HANDLE, ULONG, void *out, ULONG, ULONG *) {
  *static_cast<ULONG *>(out) = g_critical;
  return g_status;
}
LONG WINAPI windows_xp(OSVERSIONINFOW *version) {
  version->dwMajorVersion = 5;
  version->dwMinorVersion = 1;
  return 0;
}

LONG WINAPI access_denied(HANDLE *, ACCESS_MASK, void *, void *) {
  return static_cast<LONG>(0xC0000022);
}

int32_t kill_with_answer(uint32_t pid, int32_t wait, LONG status, ULONG critical) {
  g_status = status;
  g_critical = critical;
  ntdll_patch fake("NtQueryInformationProcess", reinterpret_cast<const void *>(&break_on_termination));
  return ruvo_process_kill(pid, wait);
}

TEST(Process, RefusesBadInputWithItsError) {
  wchar_t wbuf[8];
  char buf[8];
  wchar_t *wtext;
  char *text;
  uint32_t u32;
  uint64_t u64;
  ruvo_process_cpu_ticks_st ticks;
  const ruvo_process_st none{nullptr, 0}, negative{nullptr, 0x80000000u}, pid_only{nullptr, 8};
  const DWORD self = ::GetCurrentProcessId();
  const std::string long_name(300, 'a');
  const struct {
    std::function<int32_t()> call;
    DWORD error;
  } rows[] = {
      {[&] { return ruvo_process_get_path_w(0, wbuf, 8); }, 87},
      {[&] { return ruvo_process_get_path_w(self, nullptr, 8); }, 87},
      {[&] { return ruvo_process_get_path_w(self, wbuf, 0); }, 87},
      {[&] { return ruvo_process_get_path(0, buf, 8); }, 87},
      {[&] { return ruvo_process_get_path(self, nullptr, 8); }, 87},
      {[&] { return ruvo_process_get_path(self, buf, 0); }, 87},
      {[&] { return ruvo_process_get_cmd_w(0, &wtext); }, 87},
      {[&] { return ruvo_process_get_cmd_w(self, nullptr); }, 87},
      {[&] { return ruvo_process_get_cmd(0, &text); }, 87},
      {[&] { return ruvo_process_get_cmd(self, nullptr); }, 87},
      {[&] { return ruvo_process_get_info(0, &u32, nullptr, nullptr); }, 87},
      {[&] { return ruvo_process_get_info(self, nullptr, nullptr, nullptr); }, 87},
      {[&] { return ruvo_process_get_memory_usage(nullptr, 0, &u64); }, 87},
      {[&] { return ruvo_process_get_memory_usage(&none, 0, &u64); }, 87},
      {[&] { return ruvo_process_get_memory_usage(&negative, 0, &u64); }, 87},
      {[&] { return ruvo_process_get_memory_usage(&pid_only, 2, &u64); }, 87},
      {[&] { return ruvo_process_get_memory_usage(&pid_only, 1, nullptr); }, 87},
      {[&] { return ruvo_process_get_memory_usage(&pid_only, 1, &u64); }, ERROR_INVALID_HANDLE},
      {[&] { return ruvo_process_get_proc_cpu_ticks(nullptr, &ticks); }, 87},
      {[&] { return ruvo_process_get_proc_cpu_ticks(&none, &ticks); }, 87},
      {[&] { return ruvo_process_get_proc_cpu_ticks(&pid_only, nullptr); }, 87},
      {[&] { return ruvo_process_get_proc_cpu_ticks(&pid_only, &ticks); }, ERROR_INVALID_HANDLE},
      {[&] { return ruvo_process_is_child(0, 0); }, 87},
      {[&] { return ruvo_process_is_child(4, 1); }, 87},
      {[&] { return ruvo_process_kill(0, 0); }, 87},
      {[&] { return ruvo_process_kill(4, 1); }, 87},
      {[&] { return ruvo_process_suspend(0); }, 87},
      {[&] { return ruvo_process_suspend(4); }, 87},
      {[&] { return ruvo_process_resume(0); }, 87},
      {[&] { return ruvo_process_resume(4); }, 87},
      {[&] { return ruvo_process_path_is_exist_w(nullptr, L"", &u32); }, 87},
      {[&] { return ruvo_process_path_is_exist_w(L"", nullptr, &u32); }, 87},
      {[&] { return ruvo_process_path_is_exist(nullptr, "", &u32); }, 87},
      {[&] { return ruvo_process_path_is_exist("", nullptr, &u32); }, 87},
      {[&] { return ruvo_process_path_and_pid_is_exist("C:\\a.exe", self); }, 0},
      {[&] { return ruvo_process_wait(nullptr, 0, &u32); }, 87},
      {[&] { return ruvo_process_wait(&negative, 0, &u32); }, 87},
      {[&] { return ruvo_process_wait(&pid_only, intptr_t{0xFFFFFFFF}, &u32); }, 87},
  };
  // Refused before anything is opened: an open here would give 5.
  DWORD errors[std::size(rows)];
  {
    ntdll_patch no_open("NtOpenProcess", reinterpret_cast<const void *>(&access_denied));
    for (size_t i = 0; i < std::size(rows); ++i) {
      ::SetLastError(0);
      EXPECT_EQ(rows[i].call(), 0) << "row " << i;
      errors[i] = ::GetLastError();
    }
  }
  for (size_t i = 0; i < std::size(rows); ++i) EXPECT_EQ(errors[i], rows[i].error) << "row " << i;
  ::SetLastError(0);
  EXPECT_EQ(ruvo_process_is_child(self, 0), 0);
  EXPECT_EQ(::GetLastError(), ERROR_NOT_FOUND);
  // A name too long for the buffer matches nothing; but under Wine a
  // process that is ending has an empty name, and refuses its modules (5).
  ::SetLastError(0);
  EXPECT_EQ(ruvo_process_path_is_exist(long_name.c_str(), "C:\\a.exe", &u32), 0);
  EXPECT_TRUE(::GetLastError() == ERROR_NOT_FOUND || ::GetLastError() == ERROR_ACCESS_DENIED);
}

TEST(Process, PathAndCommandLineOfAChild) {
  shared_block *b = open_block(block_name(), true);
  child c("counter", {block_name(), "a \"quoted\" word", "Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC"});
  wait_for_count(b, 0);  // running, so its parameters are in place
  wchar_t expected[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, expected, MAX_PATH);  // the child runs this program
  const std::wstring path = expected;
  EXPECT_EQ(ruvo_process_get_pid(), ::GetCurrentProcessId());
  for (const uint32_t pid : {c.proc.pid, ruvo_process_get_pid()}) {
    for (const uint32_t size : {1u, 4u, uint32_t(path.size()), uint32_t(path.size() + 1), 300u}) {
      std::wstring wide(size, L'#');
      std::string narrow(size, '#');
      ASSERT_EQ(ruvo_process_get_path_w(pid, wide.data(), size), 1);
      ASSERT_EQ(ruvo_process_get_path(pid, narrow.data(), size), 1);
      EXPECT_EQ(wide.c_str(), path.substr(0, size - 1));
      EXPECT_EQ(narrow.c_str(), utf8(path).substr(0, size - 1));
    }
  }
  wchar_t *wtext = nullptr;
  char *text = nullptr;
  for (const bool before_nt6 : {false, true}) {
    {
      // An older system reads the offsets form first, and on a normalised
      // block goes on with the absolute one.
      std::unique_ptr<ntdll_patch> old;
      if (before_nt6) old = std::make_unique<ntdll_patch>("RtlGetVersion", reinterpret_cast<const void *>(&windows_xp));
      ASSERT_EQ(ruvo_process_get_cmd_w(c.proc.pid, &wtext), 1);
    }
    ASSERT_EQ(ruvo_process_get_cmd(c.proc.pid, &text), 1);
    EXPECT_EQ(std::wstring(wtext), c.command);
    EXPECT_EQ(std::string(text), utf8(c.command));
    ruvo_str_free(wtext);
    ruvo_str_free(text);
  }
  const size_t blocks = ruvo_test::busy_process_heap_blocks();
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(ruvo_process_get_cmd(c.proc.pid, &text), 1);
    ruvo_str_free(text);
  }
  EXPECT_LT(ruvo_test::busy_process_heap_blocks(), blocks + 10);  // the wide copy is freed
}

TEST(Process, CommandLineHeldAsOffsets) {
  shared_block *b = open_block(block_name(), true);
  child c("counter", {block_name(), "offsets"});
  wait_for_count(b, 0);
  wchar_t *text = nullptr;
  {
    ntdll_patch old("RtlGetVersion", reinterpret_cast<const void *>(&windows_xp));
    ASSERT_EQ(ruvo_process_get_cmd_w(c.proc.pid, &text), 1);
  }
  EXPECT_EQ(std::wstring(text), c.command);
  ruvo_str_free(text);
}

TEST(Process, EmptyCommandLineGivesAnEmptyString) {
  if (ruvo_test::under_wine())
    GTEST_SKIP() << "Wine's CreateProcessW puts the quoted program path in an empty command line";
  wchar_t app[MAX_PATH] = {}, line[1] = {};
  ::GetModuleFileNameW(nullptr, app, MAX_PATH);
  STARTUPINFOW si{};
  si.cb = sizeof si;
  PROCESS_INFORMATION pi{};
  ASSERT_TRUE(::CreateProcessW(app, line, nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr,
                               nullptr, &si, &pi));
  wchar_t *text = nullptr;
  EXPECT_EQ(ruvo_process_get_cmd_w(pi.dwProcessId, &text), 1);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, L"");
  ruvo_str_free(text);
  ::TerminateProcess(pi.hProcess, 1);
  ::CloseHandle(pi.hThread);
  ::CloseHandle(pi.hProcess);
}

TEST(Process, InfoTimesAndMemoryAgreeWithThePlatform) {
  child c("exiter", {"7", "200"});
  ASSERT_EQ(::WaitForSingleObject(c.proc.handle, 20000), WAIT_OBJECT_0);
  FILETIME created, exited, kernel, user;
  ASSERT_TRUE(::GetProcessTimes(c.proc.handle, &created, &exited, &kernel, &user));
  const auto as64 = [](FILETIME t) { return (uint64_t{t.dwHighDateTime} << 32) | t.dwLowDateTime; };
  ruvo_process_cpu_ticks_st ticks{};
  ASSERT_EQ(ruvo_process_get_proc_cpu_ticks(&c.proc, &ticks), 1);
  EXPECT_EQ(ticks.user, as64(user));
  EXPECT_EQ(ticks.kernel, as64(kernel));
  EXPECT_EQ(ticks.total, as64(user) + as64(kernel));

  // Memory and info of a live child, held still; info asked one out at a
  // time and all at once.
  shared_block *b = open_block(block_name(), true);
  child live("counter", {block_name()});
  wait_for_count(b, 0);
  ASSERT_EQ(ruvo_process_suspend(live.proc.pid), 1);
  ::Sleep(50);
  PROCESS_MEMORY_COUNTERS_EX mem{};
  ASSERT_TRUE(::GetProcessMemoryInfo(
      live.proc.handle, reinterpret_cast<PROCESS_MEMORY_COUNTERS *>(&mem), sizeof mem));
  uint64_t bytes[2] = {~0ull, ~0ull};
  ASSERT_EQ(ruvo_process_get_memory_usage(&live.proc, 0, &bytes[0]), 1);
  ASSERT_EQ(ruvo_process_get_memory_usage(&live.proc, 1, &bytes[1]), 1);
  EXPECT_EQ(bytes[0], mem.PrivateUsage);
  EXPECT_EQ(bytes[1], mem.PeakWorkingSetSize);
  EXPECT_NE(bytes[1], 0u);
  ASSERT_TRUE(::GetProcessTimes(live.proc.handle, &created, &exited, &kernel, &user));
  const int64_t start = static_cast<int64_t>((as64(created) - 116444736000000000ull) / 10000000);
  DWORD session = 0;
  ASSERT_TRUE(::ProcessIdToSessionId(live.proc.pid, &session));
  for (int mask = 1; mask < 8; ++mask) {
    uint32_t parent = 1, sess = 1;
    int64_t when = 1;
    ASSERT_EQ(ruvo_process_get_info(live.proc.pid, mask & 1 ? &parent : nullptr,
                                    mask & 2 ? &when : nullptr, mask & 4 ? &sess : nullptr),
              1);
    EXPECT_EQ(parent, mask & 1 ? ::GetCurrentProcessId() : 1u);
    EXPECT_EQ(when, mask & 2 ? start : 1);
    EXPECT_EQ(sess, mask & 4 ? session : 1u);
  }
}

TEST(Process, SuspendFreezesTheCounterAndResumeRestartsIt) {
  shared_block *b = open_block(block_name(), true);
  child c("counter", {block_name()});
  wait_for_count(b, 0);
  ASSERT_EQ(ruvo_process_suspend(c.proc.pid), 1);
  ::Sleep(50);
  const LONG frozen = b->count;
  ::Sleep(200);
  EXPECT_EQ(b->count, frozen);
  ASSERT_EQ(ruvo_process_resume(c.proc.pid), 1);
  wait_for_count(b, frozen);
}

TEST(Process, WaitForExitAndTimeOut) {
  ruvo_test::watchdog dog("process wait", 60);
  shared_block *b = open_block(block_name(), true);
  child running("counter", {block_name()});
  for (const intptr_t ms : {0, 50}) {
    ::SetLastError(0);
    EXPECT_EQ(ruvo_process_wait(&running.proc, ms, nullptr), 0);
    EXPECT_EQ(::GetLastError(), ERROR_TIMEOUT);
  }
  child by_handle("exiter", {"7", "50"}), by_pid("exiter", {"9", "1000"});
  uint32_t code = 1;
  EXPECT_EQ(ruvo_process_wait(&by_handle.proc, -1, &code), 1);
  EXPECT_EQ(code, 7u);
  EXPECT_EQ(ruvo_process_wait(&by_handle.proc, 0, nullptr), 1);
  const ruvo_process_st pid_only{nullptr, by_pid.proc.pid};
  EXPECT_EQ(ruvo_process_wait(&pid_only, 20000, &code), 1);
  EXPECT_EQ(code, 0u);  // a handle opened only to wait may not read the code
  (void)b;
}

TEST(Process, ExistenceByIdNameAndPath) {
  wchar_t path[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::wstring upper = path, name = std::wstring(path).substr(upper.rfind(L'\\') + 1);
  for (auto &ch : upper) ch = static_cast<wchar_t>(::towupper(ch));
  const DWORD self = ::GetCurrentProcessId();
  EXPECT_EQ(ruvo_process_is_exist(self), 1);
  {
    child gone("exiter", {"0", "0"});
    ::WaitForSingleObject(gone.proc.handle, 20000);
    ::CloseHandle(gone.proc.handle);
    gone.proc.handle = nullptr;
    EXPECT_EQ(ruvo_process_is_exist(gone.proc.pid), 0);
  }
  // An id that no process has: every call that opens it fails.
  const uint32_t missing = 0x7FFFFFF0;
  char *text = nullptr;
  uint32_t session = 0;
  const ruvo_process_st by_pid{nullptr, missing};
  EXPECT_EQ(ruvo_process_is_exist(missing), 0);
  EXPECT_EQ(ruvo_process_get_path_w(missing, path + 200, 8), 0);
  wchar_t *wtext = nullptr;
  EXPECT_EQ(ruvo_process_get_cmd(missing, &text), 0);
  EXPECT_EQ(ruvo_process_get_cmd_w(missing, &wtext), 0);
  EXPECT_EQ(ruvo_process_kill(missing, 0), 0);
  EXPECT_EQ(ruvo_process_suspend(missing), 0);
  EXPECT_EQ(ruvo_process_resume(missing), 0);
  EXPECT_EQ(ruvo_process_is_child(missing, 1), 0);
  EXPECT_EQ(ruvo_process_wait(&by_pid, 0, nullptr), 0);
  EXPECT_EQ(ruvo_process_get_info(missing, nullptr, nullptr, &session), 0);
  if (!ruvo_test::under_wine()) {
    EXPECT_EQ(ruvo_process_is_exist(0), 1);  // Wine lists no pid 0
  }

  const std::wstring other = L"not-" + name, elsewhere = L"C:\\elsewhere\\" + name;
  const struct {
    const wchar_t *name, *path;
    int32_t found;
  } rows[] = {
      {name.c_str(), nullptr, 1},        {nullptr, path, 1},
      {name.c_str(), upper.c_str(), 1},  {other.c_str(), nullptr, 0},
      {other.c_str(), path, 0},          {name.c_str(), elsewhere.c_str(), 0},
  };
  for (const auto &row : rows) {
    uint32_t pid = 0;
    ::SetLastError(0);
    ASSERT_EQ(ruvo_process_path_is_exist_w(row.name, row.path, &pid), row.found) << row.found;
    EXPECT_EQ(ruvo_process_path_is_exist(row.name ? utf8(row.name).c_str() : nullptr,
                                         row.path ? utf8(row.path).c_str() : nullptr, nullptr),
              row.found);
    // A run of this program that is just ending refuses its module list (5).
    const DWORD error = ::GetLastError();
    if (error != ERROR_ACCESS_DENIED) {
      EXPECT_EQ(error, row.found ? 0u : ERROR_NOT_FOUND);
    }
    // Other runs of this program may come and go, so any one of them will do.
    EXPECT_EQ(pid != 0, row.found == 1);
  }
}

TEST(Process, ChildAndDescendant) {
  shared_block *b = open_block(block_name(), true);
  child spawner("spawner", {block_name()});
  wait_for_count(b, 0);
  const DWORD grandchild = b->grandchild;
  EXPECT_EQ(ruvo_process_is_child(spawner.proc.pid, 0), 1);
  ::SetLastError(0);
  EXPECT_EQ(ruvo_process_is_child(grandchild, 0), 0);
  EXPECT_EQ(::GetLastError(), ERROR_NOT_FOUND);
  EXPECT_EQ(ruvo_process_is_child(grandchild, 1), 1);
  EXPECT_EQ(ruvo_process_is_child(::GetCurrentProcessId(), 1), 0);  // the walk ends above us
  HANDLE g = ::OpenProcess(PROCESS_TERMINATE, FALSE, grandchild);
  ::TerminateProcess(g, 1);
  ::CloseHandle(g);
}

TEST(Process, KillEndsTheProcessWithTheDebuggerStatus) {
  if (ruvo_test::under_wine())
    GTEST_SKIP() << "Wine does not implement ProcessBreakOnTermination, which kill asks first";
  shared_block *b = open_block(block_name(), true);
  child c("counter", {block_name()});
  wait_for_count(b, 0);
  ASSERT_EQ(ruvo_process_kill(c.proc.pid, 1), 1);
  DWORD code = 0;
  EXPECT_EQ(::WaitForSingleObject(c.proc.handle, 0), WAIT_OBJECT_0);
  ASSERT_TRUE(::GetExitCodeProcess(c.proc.handle, &code));
  EXPECT_EQ(code, 0x40010004u);
  EXPECT_EQ(ruvo_process_kill(c.proc.pid, 1), 1);  // already ending: still a success
}

TEST(Process, KillRefusesCriticalProcessesAndTakesTerminatingOnes) {
  ruvo_test::watchdog dog("process kill", 60);
  shared_block *b = open_block(block_name(), true);
  child c("counter", {block_name()});
  wait_for_count(b, 0);
  const struct {
    LONG status;
    ULONG critical;
    int32_t result;
    DWORD error;
  } rows[] = {
      {0, 1, 0, ERROR_ACCESS_DENIED},                        // critical: never ended
      {static_cast<LONG>(0xC0000008), 0, 0, ERROR_INVALID_HANDLE},  // the query's failure
      {static_cast<LONG>(0xC000010A), 0, 1, 0},              // ending already: nothing to do
  };
  for (const auto &row : rows) {
    ::SetLastError(0);
    EXPECT_EQ(kill_with_answer(c.proc.pid, 0, row.status, row.critical), row.result);
    EXPECT_EQ(::GetLastError(), row.error);
    EXPECT_EQ(::WaitForSingleObject(c.proc.handle, 0), WAIT_TIMEOUT);
  }
  EXPECT_EQ(kill_with_answer(c.proc.pid, 1, 0, 0), 1);
  EXPECT_EQ(::WaitForSingleObject(c.proc.handle, 0), WAIT_OBJECT_0);
  DWORD code = 0;
  EXPECT_TRUE(::GetExitCodeProcess(c.proc.handle, &code));
  EXPECT_EQ(code, 0x40010004u);
}

}  // namespace
