// L3 addresses against the C library and the standard algorithms, in the
// same binary and run: parsing and printing 1 000 000 IPv4 and 1 000 000 IPv6
// addresses against glibc's inet_pton and inet_ntop; folding 100 000 IPv4 and
// 100 000 IPv6 random ranges against std::sort and a linear merge written
// here; searching the folded array against std::lower_bound. Each pair is
// registered interleaved, and the ratios ruvo / reference are taken from the
// fastest CPU time of each and printed at the end.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "ruvo/base/l3.h"

namespace {

using Addr = ruvo_l3_addr_st;
using Range = ruvo_l3_range_st;

constexpr size_t kAddrs = 1000000;
constexpr size_t kRanges = 100000;  // of each family
constexpr size_t kProbes = 1000000;

bool is6(const Addr &a) { return !(a.u8[0] == 0xff && a.u8[1] == 0xbf); }

Addr v4(uint32_t v) {
  Addr a{};
  a.u8[0] = 0xff, a.u8[1] = 0xbf;
  for (int i = 15; i >= 12; --i, v >>= 8) a.u8[i] = uint8_t(v);
  return a;
}

// The high 64 bits under 0xffbf... so that every value is an IPv6 record.
Addr v6(uint64_t hi, uint64_t lo) {
  Addr a{};
  for (int i = 7; i >= 0; --i, hi >>= 8) a.u8[i] = uint8_t(hi);
  for (int i = 15; i >= 8; --i, lo >>= 8) a.u8[i] = uint8_t(lo);
  return a;
}

// The reference order: IPv4 first, then the address bytes, big-endian.
bool ref_less(const Addr &a, const Addr &b) {
  if (is6(a) != is6(b)) return !is6(a);
  return is6(a) ? std::memcmp(a.u8, b.u8, 16) < 0 : std::memcmp(a.u8 + 12, b.u8 + 12, 4) < 0;
}

// b == a + 1 within a family.
bool ref_next(const Addr &a, const Addr &b) {
  if (is6(a) != is6(b)) return false;
  Addr n = a;
  int i = 15, stop = is6(a) ? 0 : 12;
  while (i >= stop && ++n.u8[i] == 0) --i;
  return i >= stop && std::memcmp(n.u8 + stop, b.u8 + stop, size_t(16 - stop)) == 0;
}

// std::sort by low, then one pass folding overlapping and touching ranges.
uint32_t ref_trim(Range *r, uint32_t n) {
  if (n == 0) return 0;
  std::sort(r, r + n, [](const Range &a, const Range &b) { return ref_less(a.low, b.low); });
  uint32_t w = 0;
  for (uint32_t i = 1; i < n; ++i) {
    if (is6(r[i].low) == is6(r[w].high) && (!ref_less(r[w].high, r[i].low) || ref_next(r[w].high, r[i].low))) {
      if (ref_less(r[w].high, r[i].high)) r[w].high = r[i].high;
    } else {
      r[++w] = r[i];
    }
  }
  return w + 1;
}

struct Data {
  std::vector<Addr> addrs4, addrs6;
  std::vector<std::string> texts4, texts6;
  std::vector<Range> ranges;   // unsorted, overlapping
  std::vector<Range> folded;   // ruvo_l3_range_trim of `ranges`
  std::vector<Addr> probes;    // half inside ranges, half anywhere

  Data() {
    std::mt19937_64 rng(0x13579bdf2468aceull);
    char buf[64];
    for (size_t i = 0; i < kAddrs; ++i) {
      const uint32_t x = uint32_t(rng());
      addrs4.push_back(v4(x >> (rng() % 4 == 0 ? rng() % 24 : 0)));
      inet_ntop(AF_INET, addrs4.back().u8 + 12, buf, sizeof buf);
      texts4.emplace_back(buf);
      // Random groups, each zero one time in three: runs of zeros of all lengths.
      Addr a{};
      for (int g = 0; g < 8; ++g) {
        const uint16_t w = rng() % 3 == 0 ? 0 : uint16_t(rng() >> (rng() % 2 ? 48 : 60));
        a.u8[2 * g] = uint8_t(w >> 8), a.u8[2 * g + 1] = uint8_t(w);
      }
      if (!is6(a)) a.u8[0] = 0x20;
      addrs6.push_back(a);
      inet_ntop(AF_INET6, a.u8, buf, sizeof buf);
      texts6.emplace_back(buf);
    }
    for (size_t i = 0; i < kRanges; ++i) {
      const uint32_t lo4 = uint32_t(rng()), len4 = uint32_t(rng() % (1u << (rng() % 20)));
      ranges.push_back({v4(lo4), v4(lo4 + len4 < lo4 ? 0xffffffffu : lo4 + len4)});
      const uint64_t hi6 = 0x20010db800000000ull, lo6 = rng() >> 24, len6 = rng() % (1ull << (rng() % 28));
      ranges.push_back({v6(hi6, lo6), v6(hi6, lo6 + len6)});
    }
    std::shuffle(ranges.begin(), ranges.end(), rng);
    folded = ranges;
    uint32_t n = uint32_t(folded.size());
    ruvo_l3_range_trim(folded.data(), &n);
    folded.resize(n);
    for (size_t i = 0; i < kProbes; ++i) {
      const Range &r = ranges[rng() % ranges.size()];
      if (i % 2 == 0) probes.push_back(r.low);
      else if (is6(r.low)) probes.push_back(v6(0x20010db800000000ull, rng() >> 24));
      else probes.push_back(v4(uint32_t(rng())));
    }
  }
};

const Data &data() {
  static const Data d;
  return d;
}

// ---- parsing ----

void BM_Parse4_Ruvo(benchmark::State &state) {
  Addr out;
  for (auto _ : state)
    for (const auto &t : data().texts4) benchmark::DoNotOptimize(ruvo_l3_string_to_addr(t.c_str(), &out));
  state.SetItemsProcessed(int64_t(state.iterations() * kAddrs));
}

void BM_Parse4_Glibc(benchmark::State &state) {
  in_addr out;
  for (auto _ : state)
    for (const auto &t : data().texts4) benchmark::DoNotOptimize(inet_pton(AF_INET, t.c_str(), &out));
  state.SetItemsProcessed(int64_t(state.iterations() * kAddrs));
}

void BM_Parse6_Ruvo(benchmark::State &state) {
  Addr out;
  for (auto _ : state)
    for (const auto &t : data().texts6) benchmark::DoNotOptimize(ruvo_l3_string_to_addr(t.c_str(), &out));
  state.SetItemsProcessed(int64_t(state.iterations() * kAddrs));
}

void BM_Parse6_Glibc(benchmark::State &state) {
  in6_addr out;
  for (auto _ : state)
    for (const auto &t : data().texts6) benchmark::DoNotOptimize(inet_pton(AF_INET6, t.c_str(), &out));
  state.SetItemsProcessed(int64_t(state.iterations() * kAddrs));
}

// ---- printing ----

void BM_Print4_Ruvo(benchmark::State &state) {
  char buf[64];
  for (auto _ : state)
    for (const auto &a : data().addrs4) benchmark::DoNotOptimize(ruvo_l3_addr_to_string(&a, buf, sizeof buf));
  state.SetItemsProcessed(int64_t(state.iterations() * kAddrs));
}

void BM_Print4_Glibc(benchmark::State &state) {
  char buf[64];
  for (auto _ : state)
    for (const auto &a : data().addrs4) benchmark::DoNotOptimize(inet_ntop(AF_INET, a.u8 + 12, buf, sizeof buf));
  state.SetItemsProcessed(int64_t(state.iterations() * kAddrs));
}

void BM_Print6_Ruvo(benchmark::State &state) {
  char buf[64];
  for (auto _ : state)
    for (const auto &a : data().addrs6) benchmark::DoNotOptimize(ruvo_l3_addr_to_string(&a, buf, sizeof buf));
  state.SetItemsProcessed(int64_t(state.iterations() * kAddrs));
}

void BM_Print6_Glibc(benchmark::State &state) {
  char buf[64];
  for (auto _ : state)
    for (const auto &a : data().addrs6) benchmark::DoNotOptimize(inet_ntop(AF_INET6, a.u8, buf, sizeof buf));
  state.SetItemsProcessed(int64_t(state.iterations() * kAddrs));
}

// ---- folding: each iteration works on a fresh copy, made outside the timing ----

void BM_Trim_Ruvo(benchmark::State &state) {
  std::vector<Range> work;
  for (auto _ : state) {
    state.PauseTiming();
    work = data().ranges;
    state.ResumeTiming();
    uint32_t n = uint32_t(work.size());
    benchmark::DoNotOptimize(ruvo_l3_range_trim(work.data(), &n));
    if (n != data().folded.size()) state.SkipWithError("folded to another count than before");
  }
  state.SetItemsProcessed(int64_t(state.iterations() * data().ranges.size()));
}

void BM_Trim_SortMerge(benchmark::State &state) {
  std::vector<Range> work;
  for (auto _ : state) {
    state.PauseTiming();
    work = data().ranges;
    state.ResumeTiming();
    const uint32_t n = ref_trim(work.data(), uint32_t(work.size()));
    if (n != data().folded.size()) state.SkipWithError("the reference folds to another count");
  }
  state.SetItemsProcessed(int64_t(state.iterations() * data().ranges.size()));
}

// ---- searching the folded array ----

void BM_Search_Ruvo(benchmark::State &state) {
  const auto &f = data().folded;
  for (auto _ : state) {
    int hits = 0;
    for (const auto &p : data().probes) hits += ruvo_l3_net_addr_binary_search(&p, f.data(), int32_t(f.size()));
    benchmark::DoNotOptimize(hits);
  }
  state.SetItemsProcessed(int64_t(state.iterations() * kProbes));
}

void BM_Search_LowerBound(benchmark::State &state) {
  const auto &f = data().folded;
  const auto high_below = [](const Range &r, const Addr &a) { return ref_less(r.high, a); };
  for (auto _ : state) {
    int hits = 0;
    for (const auto &p : data().probes) {
      const auto it = std::lower_bound(f.begin(), f.end(), p, high_below);
      hits += it != f.end() && !ref_less(p, it->low);
    }
    benchmark::DoNotOptimize(hits);
  }
  state.SetItemsProcessed(int64_t(state.iterations() * kProbes));
}

struct Pair {
  const char *name;
  void (*ruvo)(benchmark::State &);
  void (*ref)(benchmark::State &);
  double target;
};
const Pair kPairs[] = {{"Parse4", BM_Parse4_Ruvo, BM_Parse4_Glibc, 1.0},
                       {"Parse6", BM_Parse6_Ruvo, BM_Parse6_Glibc, 1.0},
                       {"Print4", BM_Print4_Ruvo, BM_Print4_Glibc, 1.0},
                       {"Print6", BM_Print6_Ruvo, BM_Print6_Glibc, 1.0},
                       {"Trim", BM_Trim_Ruvo, BM_Trim_SortMerge, 2.0},
                       {"Search", BM_Search_Ruvo, BM_Search_LowerBound, 1.2}};
constexpr int kRepetitions = 5;

// Prints as usual and keeps the fastest CPU time per iteration of each name:
// on a shared machine that is the least disturbed figure.
class KeepingReporter : public benchmark::ConsoleReporter {
 public:
  KeepingReporter() : ConsoleReporter(OO_Tabular) {}  // plain text, no colour codes
  std::map<std::string, double> best_ms;

  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      if (run.error_occurred || run.iterations == 0) continue;
      const double ms = run.GetAdjustedCPUTime();  // the unit is set to ms below
      auto it = best_ms.find(run.run_name.function_name);
      if (it == best_ms.end() || ms < it->second) best_ms[run.run_name.function_name] = ms;
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

int main(int argc, char **argv) {
  for (int r = 0; r < kRepetitions; ++r)
    for (const Pair &p : kPairs) {
      for (const auto &[side, fn] : {std::pair{"/ruvo", p.ruvo}, {"/ref", p.ref}})
        benchmark::RegisterBenchmark((std::string(p.name) + side).c_str(), fn)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(2);
    }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  data();  // built once, before any timing
  KeepingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  std::printf("\nruvo / reference, fastest CPU time of %d runs (references: glibc inet_pton and inet_ntop,\n"
              "std::sort with a linear merge, std::lower_bound; %zu folded ranges)\n",
              kRepetitions, data().folded.size());
  bool all_within = true;
  for (const Pair &p : kPairs) {
    const auto r = reporter.best_ms.find(std::string(p.name) + "/ruvo");
    const auto g = reporter.best_ms.find(std::string(p.name) + "/ref");
    if (r == reporter.best_ms.end() || g == reporter.best_ms.end() || g->second <= 0) continue;
    const double ratio = r->second / g->second;
    all_within = all_within && ratio <= p.target;
    std::printf("  %-7s ruvo %8.2f ms  ref %8.2f ms  ratio %.3f  (target <= %.1f)%s\n", p.name, r->second, g->second,
                ratio, p.target, ratio > p.target ? "  above target" : "");
  }
  std::printf("%s\n", all_within ? "all within target" : "some ratio above target");
  return 0;
}
