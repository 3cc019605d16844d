// Normalising 1 000 000 random paths with ruvo_path_translate, and, for
// scale, copying the same paths into the work buffer alone. Each iteration
// copies every path into one buffer and normalises it there; at the end the
// fastest iteration is printed as a total time and a time per path.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ruvo/base/path.h"

namespace {

constexpr size_t kPaths = 1000000;

// Drive-letter and relative paths of 1 to 8 names, mixed separators, runs
// of them, trailing ones; 40 bytes long on average.
const std::vector<std::string> &paths() {
  static const std::vector<std::string> all = [] {
    std::mt19937 rng(2026);
    const char *const names[] = {"Windows", "system32", "a", "Program Files", "x.txt", "..", ".", "dir"};
    std::vector<std::string> out;
    out.reserve(kPaths);
    for (size_t i = 0; i < kPaths; ++i) {
      std::string s = rng() % 2 ? std::string(1, char('a' + rng() % 26)) + ":" : "";
      for (size_t n = 1 + rng() % 8; n > 0; --n) {
        s += std::string(1 + (rng() % 8 == 0), "/\\"[rng() % 2]);
        s += names[rng() % 8];
      }
      if (rng() % 4 == 0) s += '/';
      out.push_back(std::move(s));
    }
    return out;
  }();
  return all;
}

double best_ms[2] = {1e300, 1e300};

void run(benchmark::State &state, bool normalise) {
  const auto &all = paths();
  char buf[512];
  for (auto _ : state) {
    size_t total = 0;
    for (const std::string &p : all) {
      std::memcpy(buf, p.c_str(), p.size() + 1);
      benchmark::DoNotOptimize(buf);
      total += normalise ? ruvo_path_translate(buf, p.size(), sizeof buf) : p.size();
      benchmark::ClobberMemory();
    }
    benchmark::DoNotOptimize(total);
  }
  state.SetItemsProcessed(int64_t(state.iterations() * kPaths));
}

void BM_translate(benchmark::State &state) { run(state, true); }
void BM_copy_only(benchmark::State &state) { run(state, false); }

class keeping_reporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &r : runs) {
      if (r.run_type == Run::RT_Aggregate) continue;
      const int which = r.benchmark_name().find("translate") != std::string::npos ? 0 : 1;
      best_ms[which] = std::min(best_ms[which], r.GetAdjustedRealTime());
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

BENCHMARK(BM_translate)->Unit(benchmark::kMillisecond)->Repetitions(5);
BENCHMARK(BM_copy_only)->Unit(benchmark::kMillisecond)->Repetitions(5);

int main(int argc, char **argv) {
  paths();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  keeping_reporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  if (best_ms[0] < 1e300) {
    std::printf("\nnormalised %zu random paths in %.1f ms (%.1f ns a path; copying alone %.1f ms)\n",
                kPaths, best_ms[0], best_ms[0] * 1e6 / double(kPaths), best_ms[1]);
  }
  return 0;
}
