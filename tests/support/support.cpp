// Child processes and platform detection for the test programs.
#include "support/support.hpp"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif
#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace ruvo_test {

namespace {

std::string quote(const std::string &arg) {
  std::string out = "\"";
  for (char c : arg) {
    if (c == '"') out += '\\';
    out += c;
  }
  return out + "\"";
}

std::string self_path() {
#if defined(_WIN32)
  char path[MAX_PATH];
  const DWORD n = ::GetModuleFileNameA(nullptr, path, MAX_PATH);
  return std::string(path, n);
#else
  char path[4096];
  const ssize_t n = ::readlink("/proc/self/exe", path, sizeof path);
  return n > 0 ? std::string(path, static_cast<size_t>(n)) : std::string();
#endif
}

}  // namespace

int run_child(const char *name, const std::vector<std::string> &args, std::string *output) {
  std::string command = quote(self_path()) + " --ruvo-child=" + name;
  for (const auto &arg : args) command += " " + quote(arg);
#if defined(_WIN32)
  // popen through cmd.exe wants the whole line quoted once more.
  command = "\"" + command + "\"";
  FILE *pipe = ::_popen(command.c_str(), "rb");
#else
  FILE *pipe = ::popen(command.c_str(), "r");
#endif
  if (pipe == nullptr) return -1;
  char buf[4096];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, pipe)) > 0) {
    if (output != nullptr) output->append(buf, n);
  }
#if defined(_WIN32)
  return ::_pclose(pipe);
#else
  const int status = ::pclose(pipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
}

#if defined(_WIN32)
void *start_child(const char *name, const std::vector<std::string> &args, unsigned long *pid,
                  std::wstring *command_line) {
  std::string command = quote(self_path()) + " --ruvo-child=" + name;
  for (const auto &arg : args) command += " " + quote(arg);
  std::wstring wide(command.size() + 1, L'\0');
  wide.resize(static_cast<size_t>(::MultiByteToWideChar(CP_UTF8, 0, command.c_str(), -1,
                                                        wide.data(), static_cast<int>(wide.size())) -
                                  1));
  if (command_line != nullptr) *command_line = wide;
  STARTUPINFOW si{};
  si.cb = sizeof si;
  PROCESS_INFORMATION pi{};
  if (!::CreateProcessW(nullptr, wide.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si,
                        &pi))
    return nullptr;
  ::CloseHandle(pi.hThread);
  *pid = pi.dwProcessId;
  return pi.hProcess;
}
#endif

bool under_wine() {
#if defined(_WIN32)
  HMODULE ntdll = ::GetModuleHandleA("ntdll.dll");
  return ntdll != nullptr && ::GetProcAddress(ntdll, "wine_get_version") != nullptr;
#else
  return false;
#endif
}

#if defined(_WIN32)
// Every heap of the process: the C runtime's malloc has a heap of its own.
size_t busy_process_heap_blocks() {
  HANDLE heaps[64];
  const DWORD count = ::GetProcessHeaps(64, heaps);
  size_t n = 0;
  for (DWORD i = 0; i < count && i < 64; ++i) {
    ::HeapLock(heaps[i]);
    PROCESS_HEAP_ENTRY entry{};
    while (::HeapWalk(heaps[i], &entry)) {
      if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) ++n;
    }
    ::HeapUnlock(heaps[i]);
  }
  return n;
}

// Wine's debugger ends a crashed program with status 0, which ctest takes
// for a pass; end it here instead, with the exception code as the status.
namespace {
LONG WINAPI exit_on_crash(EXCEPTION_POINTERS *info) {
  const DWORD code = info->ExceptionRecord->ExceptionCode;
  std::fprintf(stderr, "crash: exception 0x%08lx at %p\n", static_cast<unsigned long>(code),
               info->ExceptionRecord->ExceptionAddress);
  std::fflush(stderr);
  ::TerminateProcess(::GetCurrentProcess(), code);
  return EXCEPTION_EXECUTE_HANDLER;
}
}  // namespace

void fail_on_crash() { ::SetUnhandledExceptionFilter(exit_on_crash); }
#else
void fail_on_crash() {}
#endif

#if defined(__SANITIZE_ADDRESS__)
leaks_ignored::leaks_ignored() { __lsan_disable(); }
leaks_ignored::~leaks_ignored() { __lsan_enable(); }
#else
leaks_ignored::leaks_ignored() = default;
leaks_ignored::~leaks_ignored() = default;
#endif

watchdog::watchdog(const char *what, int seconds)
    : thread_([this, what, seconds] {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!done_cv_.wait_for(lock, std::chrono::seconds(seconds), [this] { return done_; })) {
          std::fprintf(stderr, "watchdog: %s did not finish within %d s\n", what, seconds);
          std::fflush(stderr);
          std::_Exit(3);
        }
      }) {}

watchdog::~watchdog() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    done_ = true;
  }
  done_cv_.notify_one();
  thread_.join();
}

}  // namespace ruvo_test
