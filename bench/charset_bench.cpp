// UTF-8 -> UTF-16 and back on 1 MiB of mixed text (ASCII, Latin, CJK and
// emoji), the library's _ex converters against glibc's iconv in the same
// run. After the run the ratios (ruvo time / iconv time, fastest repetition
// in CPU time) are printed; the target is at most 1. The library is timed
// into a buffer of the worst-case size, which converts in one pass, and into
// one of the exact size, which first asks for the size, as the platform's
// converter does.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "ruvo/base/charset.h"

namespace {

constexpr size_t kBytes = 1 << 20;

struct texts {
  std::string utf8;
  std::basic_string<ruvo_wchar_t> utf16;
  std::vector<char> narrow_out;
  std::vector<ruvo_wchar_t> wide_out;

  texts() {
    std::mt19937 rng(7);
    // Mostly ASCII words, as in paths and logs, with non-ASCII runs between.
    const char *pieces[] = {"path", "/", "log ", "caf\xC3\xA9", "\xE6\x97\xA5\xE6\x9C\xAC",
                            "\xF0\x9F\x98\x80", "K\xC3\xB6ln ", "data.txt "};
    while (utf8.size() < kBytes) utf8 += pieces[rng() % 8];
    ruvo_wchar_t *w = ruvo_str_utf8_to_unicode(utf8.c_str());
    utf16 = w;
    ruvo_str_free(w);
    // Each direction twice: into a buffer of the worst-case size, as a
    // caller that doesn't know the result's size passes (one pass), and into
    // one of the exact size (a size query, then the conversion).
    narrow_out.resize(3 * utf16.size() + 1);
    wide_out.resize(utf8.size() + 1);
  }
};

texts &data() {
  static texts t;
  return t;
}

void BM_to_utf16_ruvo(benchmark::State &state) {
  texts &t = data();
  const size_t size = state.range(0) ? t.wide_out.size() : t.utf16.size() + 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ruvo_str_utf8_to_unicode_ex(t.utf8.c_str(), t.wide_out.data(), size));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations() * t.utf8.size()));
}

void BM_to_utf8_ruvo(benchmark::State &state) {
  texts &t = data();
  const size_t size = state.range(0) ? t.narrow_out.size() : t.utf8.size() + 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ruvo_str_unicode_to_utf8_ex(t.utf16.c_str(), t.narrow_out.data(), size));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations() * t.utf8.size()));
}

// iconv gets the same work: the whole text with its terminator.
void run_iconv(benchmark::State &state, const char *to, const char *from, const void *src, size_t src_bytes,
               void *dst, size_t dst_bytes) {
  iconv_t cd = iconv_open(to, from);
  for (auto _ : state) {
    char *in = static_cast<char *>(const_cast<void *>(src)), *out = static_cast<char *>(dst);
    size_t in_left = src_bytes, out_left = dst_bytes;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    benchmark::DoNotOptimize(iconv(cd, &in, &in_left, &out, &out_left));
    benchmark::ClobberMemory();
  }
  iconv_close(cd);
  state.SetBytesProcessed(int64_t(state.iterations() * data().utf8.size()));
}

void BM_to_utf16_iconv(benchmark::State &state) {
  texts &t = data();
  run_iconv(state, "UTF-16LE", "UTF-8", t.utf8.c_str(), t.utf8.size() + 1, t.wide_out.data(), t.wide_out.size() * 2);
}

void BM_to_utf8_iconv(benchmark::State &state) {
  texts &t = data();
  run_iconv(state, "UTF-8", "UTF-16LE", t.utf16.c_str(), (t.utf16.size() + 1) * 2, t.narrow_out.data(),
            t.narrow_out.size());
}

class keeping_reporter : public benchmark::ConsoleReporter {
 public:
  keeping_reporter() : ConsoleReporter(OO_Tabular) {}
  std::map<std::string, double> best;

  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      if (run.error_occurred || run.iterations == 0) continue;
      std::string name = run.benchmark_name();
      name = name.substr(0, name.find_first_of("/", name.find_first_of("/") + 1));
      const double t = run.GetAdjustedCPUTime();
      if (!best.count(name) || t < best[name]) best[name] = t;
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

int main(int argc, char **argv) {
  const struct { const char *name; void (*ruvo)(benchmark::State &); void (*iconv)(benchmark::State &); } pairs[] = {
      {"utf8_to_utf16", BM_to_utf16_ruvo, BM_to_utf16_iconv}, {"utf16_to_utf8", BM_to_utf8_ruvo, BM_to_utf8_iconv}};
  for (const auto &p : pairs) {
    for (int r = 0; r < 5; ++r) {  // interleaved, so load elsewhere hits both alike
      benchmark::RegisterBenchmark((std::string(p.name) + "/ruvo_exact").c_str(), p.ruvo)->Arg(0)->MinTime(0.1);
      benchmark::RegisterBenchmark((std::string(p.name) + "/ruvo_roomy").c_str(), p.ruvo)->Arg(1)->MinTime(0.1);
      benchmark::RegisterBenchmark((std::string(p.name) + "/iconv").c_str(), p.iconv)->MinTime(0.1);
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  keeping_reporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  std::printf("\nratio ruvo/iconv on %zu bytes of mixed text (fastest of 5; target <= 1.00)\n", data().utf8.size());
  std::printf("  %-14s %12s %12s\n", "", "roomy buffer", "exact buffer");
  for (const auto &p : pairs) {
    const std::string n = p.name;
    const double i = reporter.best[n + "/iconv"];
    if (i > 0) {
      std::printf("  %-14s %12.2f %12.2f\n", p.name, reporter.best[n + "/ruvo_roomy"] / i,
                  reporter.best[n + "/ruvo_exact"] / i);
    }
  }
  return 0;
}
