// Process queries and control on real children of this test program: a
// counter that runs until it is ended (and may start a grandchild), and one
// that burns processor time and exits with a given code. Expected values
// come from the Win32 calls themselves.
#include <windows.h>
#include <psapi.h>
#include <winternl.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <optional>
#include <string>

#include "ruvo/base/charset.h"
#include "ruvo/base/process.h"
#include "support/support.hpp"

namespace {

struct shared_block {
  volatile LONG count;       // advanced by a counter child every millisecond
  volatile DWORD grandchild; // pid of the counter that a "spawn" counter started
};

shared_block *open_block(const std::string &name, bool create) {
  HANDLE m = create ? ::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                           sizeof(shared_block), name.c_str())
                    : ::OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name.c_str());
  return static_cast<shared_block *>(::MapViewOfFile(m, FILE_MAP_ALL_ACCESS, 0, 0, 0));
}

int counter_main(const std::vector<std::string> &args) {
  shared_block *b = open_block(args.at(0), false);
  if (args.size() > 1 && args[1] == "spawn") {
    unsigned long pid = 0;
    ruvo_test::start_child("counter", {args[0]}, &pid);
    b->grandchild = pid;
  }
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

int exiter_main(const std::vector<std::string> &args) {
  const ULONGLONG end = ::GetTickCount64() + std::stoul(args.at(1));
  while (::GetTickCount64() < end) {
  }
  return std::stoi(args.at(0));
}

const bool registered = ruvo_test::register_child("counter", counter_main) &&
                        ruvo_test::register_child("exiter", exiter_main);

// A child that is ended, if still running, when the test leaves. A counter
// gets a block of its own and is waited for until it counts: by then its
// parameters are in place.
struct child {
  ruvo_process_st proc{};
  std::wstring command;
  shared_block *block = nullptr;
  child(const char *kind, std::vector<std::string> args = {}) {
    static int made = 0;
    const bool counts = std::string(kind) == "counter";
    if (counts) {
      args.insert(args.begin(), "ruvo_process_test_" + std::to_string(::GetCurrentProcessId()) +
                                    "_" + std::to_string(++made));
      block = open_block(args[0], true);
    }
    unsigned long pid = 0;
    proc.handle = ruvo_test::start_child(kind, args, &pid, &command);
    proc.pid = pid;
    if (counts) wait_above(0);
  }
  ~child() {
    ::TerminateProcess(proc.handle, 1);
    ::CloseHandle(proc.handle);
  }
  void wait_above(LONG above) const {
    ruvo_test::watchdog dog("counter child", 20);
    while (block->count <= above) ::Sleep(1);
  }
};

std::string utf8(const std::wstring &w) {
  char *t = ruvo_str_unicode_to_utf8(w.c_str());
  std::string s(t);
  ruvo_str_free(t);
  return s;
}

uint64_t as64(FILETIME t) { return (uint64_t{t.dwHighDateTime} << 32) | t.dwLowDateTime; }

// While one lives, an entry of ntdll jumps to a stand-in of the test's: for
// answers no test system gives (a critical child, a system older than NT 6)
// and one Wine lacks (ProcessBreakOnTermination, on which kill rests). Only
// the call under test may use the entry meanwhile.
class ntdll_patch {
 public:
  template <class Function>
  ntdll_patch(const char *entry, Function *to) {
    target_ = reinterpret_cast<unsigned char *>(
        ::GetProcAddress(::GetModuleHandleA("ntdll.dll"), entry));
    unsigned char jump[12] = {0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0};  // mov rax; jmp rax
    std::memcpy(jump + 2, &to, sizeof to);
    DWORD old;
    ::VirtualProtect(target_, sizeof jump, PAGE_EXECUTE_READWRITE, &old);
    std::memcpy(saved_, target_, sizeof saved_);
    write(jump);
  }
  ntdll_patch(const ntdll_patch &) = delete;
  ~ntdll_patch() { write(saved_); }

 private:
  void write(const unsigned char *code) {
    std::memcpy(target_, code, sizeof saved_);
    ::FlushInstructionCache(::GetCurrentProcess(), target_, sizeof saved_);
  }
  unsigned char *target_;
  unsigned char saved_[12];
};

LONG WINAPI windows_xp(OSVERSIONINFOW *version) {
  version->dwMajorVersion = 5;
  version->dwMinorVersion = 1;
  return 0;
}

int32_t kill_with_answer(uint32_t pid, int32_t wait, LONG status, ULONG critical) {
  static LONG answer;
  static ULONG critical_flag;
  answer = status;
  critical_flag = critical;
  const ntdll_patch fake("NtQueryInformationProcess",
                         +[](HANDLE, ULONG, void *out, ULONG, ULONG *) -> LONG {
                           *static_cast<ULONG *>(out) = critical_flag;
                           return answer;
                         });
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
  const uint32_t self = ::GetCurrentProcessId(), missing = 0x7FFFFFF0;
  const ruvo_process_st none{nullptr, 0}, negative{nullptr, 0x80000000u}, pid_only{nullptr, 8},
      by_pid{nullptr, missing};
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
      // Good input whose open fails: the platform's error.
      {[&] { return ruvo_process_get_path_w(missing, wbuf, 8); }, 5},
      {[&] { return ruvo_process_get_path(missing, buf, 8); }, 5},
      {[&] { return ruvo_process_get_cmd_w(missing, &wtext); }, 5},
      {[&] { return ruvo_process_get_cmd(missing, &text); }, 5},
      {[&] { return ruvo_process_get_info(missing, nullptr, nullptr, &u32); }, 5},
      {[&] { return ruvo_process_is_child(missing, 1); }, 5},
      {[&] { return ruvo_process_kill(missing, 0); }, 5},
      {[&] { return ruvo_process_suspend(missing); }, 5},
      {[&] { return ruvo_process_resume(missing); }, 5},
      {[&] { return ruvo_process_wait(&by_pid, 0, nullptr); }, 5},
  };
  // Every open is refused meanwhile (5): bad input gives 87 before any.
  DWORD errors[std::size(rows)];
  {
    const ntdll_patch no_open("NtOpenProcess", +[](HANDLE *, ACCESS_MASK, void *, void *) -> LONG {
      return static_cast<LONG>(0xC0000022);
    });
    for (size_t i = 0; i < std::size(rows); ++i) {
      ::SetLastError(0);
      EXPECT_EQ(rows[i].call(), 0) << "row " << i;
      errors[i] = ::GetLastError();
    }
  }
  for (size_t i = 0; i < std::size(rows); ++i) EXPECT_EQ(errors[i], rows[i].error) << "row " << i;
  // A name too long for the buffer matches nothing; but under Wine a
  // process that is ending has an empty name, and refuses its modules (5).
  ::SetLastError(0);
  EXPECT_EQ(ruvo_process_path_is_exist(std::string(300, 'a').c_str(), "C:\\a.exe", &u32), 0);
  EXPECT_TRUE(::GetLastError() == ERROR_NOT_FOUND || ::GetLastError() == ERROR_ACCESS_DENIED);
}

TEST(Process, PathAndCommandLineOfAChild) {
  const child c("counter", {"a \"quoted\" word", "Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC"});
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
  // An older system reads the offsets form first, and on a normalised block
  // goes on with the absolute one; a child that left its block as offsets
  // is read by the first form alone.
  const child offsets("counter", {"offsets"});
  const struct {
    const child &of;
    bool before_nt6;
  } rows[] = {{c, false}, {c, true}, {offsets, true}};
  for (const auto &row : rows) {
    wchar_t *wtext = nullptr;
    {
      std::optional<ntdll_patch> old;
      if (row.before_nt6) old.emplace("RtlGetVersion", &windows_xp);
      ASSERT_EQ(ruvo_process_get_cmd_w(row.of.proc.pid, &wtext), 1);
    }
    EXPECT_EQ(std::wstring(wtext), row.of.command);
    ruvo_str_free(wtext);
  }
  const size_t blocks = ruvo_test::busy_process_heap_blocks();
  for (int i = 0; i < 20; ++i) {
    char *text = nullptr;
    ASSERT_EQ(ruvo_process_get_cmd(c.proc.pid, &text), 1);
    EXPECT_EQ(std::string(text), utf8(c.command));
    ruvo_str_free(text);
  }
  EXPECT_LT(ruvo_test::busy_process_heap_blocks(), blocks + 10);  // the wide copy is freed
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

// While suspended the counter stands still, and memory, start time, parent
// and session read as through Win32 (info one out at a time and all at once).
TEST(Process, SuspendedChildFreezesAndAgreesWithThePlatformTillResumed) {
  const child c("counter");
  ASSERT_EQ(ruvo_process_suspend(c.proc.pid), 1);
  ::Sleep(50);
  const LONG frozen = c.block->count;
  PROCESS_MEMORY_COUNTERS_EX mem{};
  ASSERT_TRUE(::GetProcessMemoryInfo(
      c.proc.handle, reinterpret_cast<PROCESS_MEMORY_COUNTERS *>(&mem), sizeof mem));
  uint64_t bytes[2] = {~0ull, ~0ull};
  ASSERT_EQ(ruvo_process_get_memory_usage(&c.proc, 0, &bytes[0]), 1);
  ASSERT_EQ(ruvo_process_get_memory_usage(&c.proc, 1, &bytes[1]), 1);
  EXPECT_EQ(bytes[0], mem.PrivateUsage);
  EXPECT_EQ(bytes[1], mem.PeakWorkingSetSize);
  EXPECT_NE(bytes[1], 0u);
  FILETIME created, exited, kernel, user;
  ASSERT_TRUE(::GetProcessTimes(c.proc.handle, &created, &exited, &kernel, &user));
  const int64_t start = static_cast<int64_t>((as64(created) - 116444736000000000ull) / 10000000);
  DWORD session = 0;
  ASSERT_TRUE(::ProcessIdToSessionId(c.proc.pid, &session));
  for (int mask = 1; mask < 8; ++mask) {
    uint32_t parent = 1, sess = 1;
    int64_t when = 1;
    ASSERT_EQ(ruvo_process_get_info(c.proc.pid, mask & 1 ? &parent : nullptr,
                                    mask & 2 ? &when : nullptr, mask & 4 ? &sess : nullptr),
              1);
    EXPECT_EQ(parent, mask & 1 ? ::GetCurrentProcessId() : 1u);
    EXPECT_EQ(when, mask & 2 ? start : 1);
    EXPECT_EQ(sess, mask & 4 ? session : 1u);
  }
  ::Sleep(200);
  EXPECT_EQ(c.block->count, frozen);
  ASSERT_EQ(ruvo_process_resume(c.proc.pid), 1);
  c.wait_above(frozen);
}

// Exit codes and processor times of ended children, and time-outs.
TEST(Process, WaitForExitAndTimeOut) {
  ruvo_test::watchdog dog("process wait", 60);
  const child running("counter");
  for (const intptr_t ms : {0, 50}) {
    ::SetLastError(0);
    EXPECT_EQ(ruvo_process_wait(&running.proc, ms, nullptr), 0);
    EXPECT_EQ(::GetLastError(), ERROR_TIMEOUT);
  }
  const child by_handle("exiter", {"7", "200"}), by_pid("exiter", {"9", "1000"});
  uint32_t code = 1;
  EXPECT_EQ(ruvo_process_wait(&by_handle.proc, -1, &code), 1);
  EXPECT_EQ(code, 7u);
  EXPECT_EQ(ruvo_process_wait(&by_handle.proc, 0, nullptr), 1);
  FILETIME created, exited, kernel, user;
  ASSERT_TRUE(::GetProcessTimes(by_handle.proc.handle, &created, &exited, &kernel, &user));
  ruvo_process_cpu_ticks_st ticks{};
  ASSERT_EQ(ruvo_process_get_proc_cpu_ticks(&by_handle.proc, &ticks), 1);
  EXPECT_EQ(ticks.user, as64(user));
  EXPECT_EQ(ticks.kernel, as64(kernel));
  EXPECT_EQ(ticks.total, as64(user) + as64(kernel));
  const ruvo_process_st pid_only{nullptr, by_pid.proc.pid};
  EXPECT_EQ(ruvo_process_wait(&pid_only, 20000, &code), 1);
  EXPECT_EQ(code, 0u);  // a handle opened only to wait may not read the code
}

TEST(Process, ExistenceByIdNameAndPath) {
  wchar_t path[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::wstring upper = path, name = std::wstring(path).substr(upper.rfind(L'\\') + 1);
  for (auto &ch : upper) ch = static_cast<wchar_t>(::towupper(ch));
  EXPECT_EQ(ruvo_process_is_exist(::GetCurrentProcessId()), 1);
  EXPECT_EQ(ruvo_process_is_exist(0x7FFFFFF0), 0);
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
  const child spawner("counter", {"spawn"});
  while (spawner.block->grandchild == 0) ::Sleep(1);  // stored once the grandchild runs
  const DWORD grandchild = spawner.block->grandchild;
  EXPECT_EQ(ruvo_process_is_child(spawner.proc.pid, 0), 1);
  EXPECT_EQ(ruvo_process_is_child(grandchild, 1), 1);
  for (const DWORD pid : {grandchild, ::GetCurrentProcessId()}) {
    ::SetLastError(0);
    EXPECT_EQ(ruvo_process_is_child(pid, 0), 0);  // another process's child
    EXPECT_EQ(::GetLastError(), ERROR_NOT_FOUND);
  }
  EXPECT_EQ(ruvo_process_is_child(::GetCurrentProcessId(), 1), 0);  // the walk ends above us
  HANDLE g = ::OpenProcess(PROCESS_TERMINATE, FALSE, grandchild);
  ::TerminateProcess(g, 1);
  ::CloseHandle(g);
}

// Kill asks ProcessBreakOnTermination first: a stand-in gives the answers no
// test system gives (and Wine none at all), then on Windows the real one.
TEST(Process, KillEndsWithTheDebuggerStatusButNeverACriticalProcess) {
  ruvo_test::watchdog dog("process kill", 60);
  const auto expect_killed = [](const child &c) {
    DWORD code = 0;
    EXPECT_EQ(::WaitForSingleObject(c.proc.handle, 0), WAIT_OBJECT_0);
    EXPECT_TRUE(::GetExitCodeProcess(c.proc.handle, &code));
    EXPECT_EQ(code, 0x40010004u);
  };
  const child c("counter");
  const struct {
    LONG status;
    ULONG critical;
    int32_t result;
    DWORD error;
  } rows[] = {
      {0, 1, 0, ERROR_ACCESS_DENIED},                               // critical: never ended
      {static_cast<LONG>(0xC0000008), 0, 0, ERROR_INVALID_HANDLE},  // the query's failure
      {static_cast<LONG>(0xC000010A), 0, 1, 0},                     // ending already: nothing to do
  };
  for (const auto &row : rows) {
    ::SetLastError(0);
    EXPECT_EQ(kill_with_answer(c.proc.pid, 0, row.status, row.critical), row.result);
    EXPECT_EQ(::GetLastError(), row.error);
    EXPECT_EQ(::WaitForSingleObject(c.proc.handle, 0), WAIT_TIMEOUT);
  }
  EXPECT_EQ(kill_with_answer(c.proc.pid, 1, 0, 0), 1);
  expect_killed(c);
  if (ruvo_test::under_wine())
    GTEST_SKIP() << "Wine does not implement ProcessBreakOnTermination, which kill asks first";
  const child real("counter");
  ASSERT_EQ(ruvo_process_kill(real.proc.pid, 1), 1);
  expect_killed(real);
  EXPECT_EQ(ruvo_process_kill(real.proc.pid, 1), 1);  // already ending: still a success
}

}  // namespace
