// The narrow primitives against glibc on 4 KiB texts. Each pair runs the
// same work through ruvo_* and through the C library, in this binary and
// this run; after the run the ratios (ruvo time / glibc time) are printed,
// taken from the fastest repetition of each in CPU time, which is the least
// disturbed by other load on the machine.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "ruvo/base/string.h"

namespace {

constexpr size_t kText = 4096;

struct texts {
  std::vector<char> text;     // kText letters and a terminator
  std::vector<char> copy;     // the same bytes
  std::vector<char> dst;      // kText bytes to copy into
  std::string pattern;        // found only at the very end of `text`

  texts() : text(kText + 1), dst(kText) {
    std::mt19937 rng(12345);
    for (size_t i = 0; i < kText; ++i) text[i] = static_cast<char>('a' + rng() % 4);
    // A tail that the random part cannot hold: the search reads everything.
    pattern = "abcdabcdxyzzyabcd";
    std::memcpy(text.data() + kText - pattern.size(), pattern.data(), pattern.size());
    text[kText] = '\0';
    copy = text;
  }
};

const texts &data() {
  static const texts t;
  return t;
}

// ---- strlen ----

void BM_strlen_ruvo(benchmark::State &state) {
  const char *p = data().text.data();
  for (auto _ : state) {
    benchmark::DoNotOptimize(p);
    benchmark::DoNotOptimize(ruvo_strlen(p));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kText));
}

void BM_strlen_glibc(benchmark::State &state) {
  const char *p = data().text.data();
  for (auto _ : state) {
    benchmark::DoNotOptimize(p);
    benchmark::DoNotOptimize(std::strlen(p));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kText));
}

// ---- memcpy ----

void BM_memcpy_ruvo(benchmark::State &state) {
  const char *src = data().text.data();
  std::vector<char> dst(kText);
  for (auto _ : state) {
    benchmark::DoNotOptimize(src);
    benchmark::DoNotOptimize(ruvo_memcpy(dst.data(), src, kText));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kText));
}

void BM_memcpy_glibc(benchmark::State &state) {
  const char *src = data().text.data();
  std::vector<char> dst(kText);
  for (auto _ : state) {
    benchmark::DoNotOptimize(src);
    benchmark::DoNotOptimize(std::memcpy(dst.data(), src, kText));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kText));
}

// ---- strstr ----

void BM_strstr_ruvo(benchmark::State &state) {
  const char *text = data().text.data();
  const char *pattern = data().pattern.c_str();
  for (auto _ : state) {
    benchmark::DoNotOptimize(text);
    benchmark::DoNotOptimize(ruvo_strstr(text, pattern));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kText));
}

void BM_strstr_glibc(benchmark::State &state) {
  const char *text = data().text.data();
  const char *pattern = data().pattern.c_str();
  for (auto _ : state) {
    benchmark::DoNotOptimize(text);
    benchmark::DoNotOptimize(std::strstr(text, pattern));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kText));
}

// ---- memcmp (equal buffers: every byte is read) ----

void BM_memcmp_ruvo(benchmark::State &state) {
  const char *a = data().text.data();
  const char *b = data().copy.data();
  for (auto _ : state) {
    benchmark::DoNotOptimize(a);
    benchmark::DoNotOptimize(ruvo_memcmp(a, b, kText));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kText));
}

void BM_memcmp_glibc(benchmark::State &state) {
  const char *a = data().text.data();
  const char *b = data().copy.data();
  for (auto _ : state) {
    benchmark::DoNotOptimize(a);
    benchmark::DoNotOptimize(std::memcmp(a, b, kText));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kText));
}

constexpr int kRepetitions = 15;

// Each pair is registered interleaved (ruvo, glibc, ruvo, glibc, ...) so a
// burst of load elsewhere hits both sides alike.
void register_all() {
  struct pair {
    const char *name;
    void (*ruvo)(benchmark::State &);
    void (*glibc)(benchmark::State &);
  };
  const pair pairs[] = {{"strlen", BM_strlen_ruvo, BM_strlen_glibc},
                        {"memcpy", BM_memcpy_ruvo, BM_memcpy_glibc},
                        {"strstr", BM_strstr_ruvo, BM_strstr_glibc},
                        {"memcmp", BM_memcmp_ruvo, BM_memcmp_glibc}};
  for (const pair &p : pairs) {
    for (int r = 0; r < kRepetitions; ++r) {
      benchmark::RegisterBenchmark((std::string(p.name) + "/ruvo").c_str(), p.ruvo)
          ->MinTime(0.03);
      benchmark::RegisterBenchmark((std::string(p.name) + "/glibc").c_str(), p.glibc)
          ->MinTime(0.03);
    }
  }
}

// Prints as usual and keeps the fastest time per iteration of each name.
class keeping_reporter : public benchmark::ConsoleReporter {
 public:
  keeping_reporter() : ConsoleReporter(OO_Tabular) {}  // plain text, no colour codes

  std::map<std::string, double> best_ns;

  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      if (run.error_occurred || run.iterations == 0) continue;
      // CPU time: on a shared machine the wall clock also counts the time
      // the process waited for a core.
      const double ns = run.GetAdjustedCPUTime();  // in the run's time unit
      const double scale = run.time_unit == benchmark::kNanosecond    ? 1.0
                           : run.time_unit == benchmark::kMicrosecond ? 1e3
                           : run.time_unit == benchmark::kMillisecond ? 1e6
                                                                      : 1e9;
      std::string name = run.benchmark_name();
      name = name.substr(0, name.find("/min_time"));
      auto it = best_ns.find(name);
      if (it == best_ns.end() || ns * scale < it->second) best_ns[name] = ns * scale;
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

int main(int argc, char **argv) {
  register_all();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  keeping_reporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  std::printf("\nratio ruvo/glibc on %zu-byte texts (fastest of %d runs each; target <= 1.10)\n",
              kText, kRepetitions);
  bool all_within = true;
  int shown = 0;
  for (const char *name : {"strlen", "memcpy", "strstr", "memcmp"}) {
    const auto r = reporter.best_ns.find(std::string(name) + "/ruvo");
    const auto g = reporter.best_ns.find(std::string(name) + "/glibc");
    if (r == reporter.best_ns.end() || g == reporter.best_ns.end() || g->second <= 0) continue;
    const double ratio = r->second / g->second;
    all_within = all_within && ratio <= 1.10;
    ++shown;
    std::printf("  %-7s ruvo %8.1f ns  glibc %8.1f ns  ratio %.3f\n", name, r->second, g->second,
                ratio);
  }
  if (shown < 4) {
    std::printf("some pairs did not run (filtered out?)\n");
  } else {
    std::printf("%s\n", all_within ? "all within 1.10x" : "some ratio above 1.10x");
  }
  return 0;
}
