// Helpers shared by the test programs.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ruvo_test {

// A function that a test program runs when it is started as a child with
// --ruvo-child=<name>; its result is the child's exit status.
using child_fn = int (*)(const std::vector<std::string> &args);

// Registers a child function at static-initialisation time:
//   static const bool reg = ruvo_test::register_child("reader", &reader_main);
bool register_child(const char *name, child_fn fn);

// Runs this test program again as the child `name` with extra arguments,
// waits for it, and returns its exit status (-1 if it could not start).
// Standard output of the child is appended to *output when given.
int run_child(const char *name, const std::vector<std::string> &args,
              std::string *output = nullptr);

// Starts this test program as the child `name` with `args` (UTF-8) and
// returns at once with its process handle, which the caller closes, and its
// id in *pid; null when it could not start. The whole command line goes to
// *command_line when given. Windows only.
void *start_child(const char *name, const std::vector<std::string> &args, unsigned long *pid,
                  std::wstring *command_line = nullptr);

// True when the program runs under Wine.
bool under_wine();

// Runs body(i) on n threads at once and joins them all.
template <class F>
void run_threads(int n, F body) {
  std::vector<std::thread> threads;
  for (int i = 0; i < n; ++i) threads.emplace_back(body, i);
  for (auto &th : threads) th.join();
}

// Makes a crash end the program with a non-zero status (Windows; the
// default elsewhere already does).
void fail_on_crash();

// Busy blocks on the process's heaps, counted by walking them (Windows only):
// a count that does not grow over many operations shows nothing leaked.
size_t busy_process_heap_blocks();

// While one lives, what the calling thread allocates is not reported as a
// leak by the sanitizer build. For memory that the library keeps on
// purpose past a thread's end, such as a thread's timer heap; elsewhere a
// no-op.
class leaks_ignored {
 public:
  leaks_ignored();
  ~leaks_ignored();
  leaks_ignored(const leaks_ignored &) = delete;
  leaks_ignored &operator=(const leaks_ignored &) = delete;
};

// Ends the process with a message on standard error when its scope is not
// left within `seconds`, so that a deadlocked concurrency test fails at once
// and says what hung, instead of waiting for ctest's time limit.
class watchdog {
 public:
  watchdog(const char *what, int seconds);
  ~watchdog();
  watchdog(const watchdog &) = delete;
  watchdog &operator=(const watchdog &) = delete;

 private:
  std::mutex mutex_;
  std::condition_variable done_cv_;
  bool done_ = false;
  std::thread thread_;
};

}  // namespace ruvo_test
