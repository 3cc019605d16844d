// One record to the auto log's file against spdlog's synchronous file logger
// (header-only, built into this program), from 1 and 2 threads: the same
// 60-byte text, formatted by each, into a file of its own in the temporary
// folder. Prints nanoseconds per record and the ratio to spdlog.
#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include "ruvo/base/autolog.h"
#include "ruvo/base/log.h"

namespace {

constexpr long kRecords = 400000;  // per thread

double now_ns() {
  LARGE_INTEGER f, c;
  ::QueryPerformanceFrequency(&f);
  ::QueryPerformanceCounter(&c);
  return static_cast<double>(c.QuadPart) * 1e9 / static_cast<double>(f.QuadPart);
}

// Nanoseconds per record when `threads` threads each write kRecords.
template <class Write>
double ns_per_record(int threads, Write write) {
  const double start = now_ns();
  std::vector<std::thread> pool;
  for (int t = 0; t < threads; ++t) {
    pool.emplace_back([&, t] {
      for (long i = 0; i < kRecords; ++i) write(t, i);
    });
  }
  for (auto &th : pool) th.join();
  return (now_ns() - start) / static_cast<double>(kRecords * threads);
}

}  // namespace

int main() {
  const std::filesystem::path root =
      std::filesystem::temp_directory_path() / ("ruvo-autolog-bench-" + std::to_string(::GetCurrentProcessId()));
  std::filesystem::create_directories(root / "ours");
  ruvo_autolog_init((root / "ours").string().c_str(), -1);
  auto peer = spdlog::basic_logger_mt("peer", (root / "spdlog.log").string(), true);
  peer->set_pattern("%v");

  std::printf("%-28s %10s %10s %8s\n", "record to a file", "ours ns", "spdlog ns", "ratio");
  for (int threads : {1, 2}) {
    // Best of three runs each, interleaved, on a machine that others share.
    double ours = 1e18, theirs = 1e18;
    for (int run = 0; run < 3; ++run) {
      ours = std::min(ours, ns_per_record(threads, [](int t, long i) {
        ruvo_log_output(RUVO_LOG_INFO, "thread %d record %ld of the benchmark, some text\n", t, i);
      }));
      theirs = std::min(theirs, ns_per_record(threads, [&](int t, long i) {
        peer->info("thread {} record {} of the benchmark, some text", t, i);
      }));
    }
    std::printf("%d thread%-20s %10.1f %10.1f %8.2f\n", threads, threads == 1 ? "" : "s", ours,
                theirs, ours / theirs);
  }
  ruvo_autolog_finit();
  peer.reset();
  spdlog::drop_all();
  std::filesystem::remove_all(root);
  return 0;
}
