// ruvo_rbtree against std::map<std::string, void *> on the same 1 000 000
// keys: distinct random 64-bit numbers written big-endian, so that the byte
// order of both containers is the numeric order. Each pair runs in the same
// binary and process; the ratios rbtree/std::map are printed at the end.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "ruvo/base/rbtree.h"

namespace {

constexpr size_t kKeys = 1000000;

struct Keys {
  std::vector<std::string> insert_order;  // the keys, in random order
  std::vector<std::string> probe_order;   // the same keys, shuffled again
  std::vector<std::string> bound_probes;  // random numbers, mostly absent
};

std::string be64(uint64_t v) {
  char b[8];
  for (int i = 7; i >= 0; --i, v >>= 8) b[i] = static_cast<char>(v & 0xff);
  return std::string(b, 8);
}

const Keys &keys() {
  static const Keys k = [] {
    Keys out;
    std::mt19937_64 rng(0x9e3779b97f4a7c15ull);
    std::unordered_set<uint64_t> seen;
    while (out.insert_order.size() < kKeys) {
      const uint64_t v = rng();
      if (seen.insert(v).second) out.insert_order.push_back(be64(v));
    }
    out.probe_order = out.insert_order;
    std::shuffle(out.probe_order.begin(), out.probe_order.end(), rng);
    for (size_t i = 0; i < kKeys; ++i) out.bound_probes.push_back(be64(rng()));
    return out;
  }();
  return k;
}

uint32_t len32(const std::string &s) { return static_cast<uint32_t>(s.size()); }

ruvo_rbtree_st *full_tree() {
  ruvo_rbtree_st *t = ruvo_rbtree_create(nullptr, nullptr, 0);
  uintptr_t v = 1;
  for (const auto &k : keys().insert_order) ruvo_rbtree_insert(t, k.data(), len32(k), reinterpret_cast<void *>(v++));
  return t;
}

std::map<std::string, void *> full_map() {
  std::map<std::string, void *> m;
  uintptr_t v = 1;
  for (const auto &k : keys().insert_order) m.emplace(k, reinterpret_cast<void *>(v++));
  return m;
}

// ---- insert ----

void BM_Insert_Rbtree(benchmark::State &state) {
  const auto &ks = keys().insert_order;
  for (auto _ : state) {
    ruvo_rbtree_st *t = ruvo_rbtree_create(nullptr, nullptr, 0);
    uintptr_t v = 1;
    for (const auto &k : ks) ruvo_rbtree_insert(t, k.data(), len32(k), reinterpret_cast<void *>(v++));
    benchmark::DoNotOptimize(t->count);
    state.PauseTiming();
    ruvo_rbtree_destroy(t);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * ks.size()));
}

void BM_Insert_StdMap(benchmark::State &state) {
  const auto &ks = keys().insert_order;
  for (auto _ : state) {
    auto *m = new std::map<std::string, void *>;
    uintptr_t v = 1;
    for (const auto &k : ks) m->emplace(k, reinterpret_cast<void *>(v++));
    benchmark::DoNotOptimize(m->size());
    state.PauseTiming();
    delete m;
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * ks.size()));
}

// ---- find ----

void BM_Find_Rbtree(benchmark::State &state) {
  ruvo_rbtree_st *t = full_tree();
  for (auto _ : state) {
    uintptr_t sum = 0;
    for (const auto &k : keys().probe_order) {
      void *v = nullptr;
      ruvo_rbtree_search(t, k.data(), len32(k), &v);
      sum += reinterpret_cast<uintptr_t>(v);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kKeys));
  ruvo_rbtree_destroy(t);
}

void BM_Find_StdMap(benchmark::State &state) {
  const auto m = full_map();
  for (auto _ : state) {
    uintptr_t sum = 0;
    for (const auto &k : keys().probe_order) {
      auto it = m.find(k);
      sum += reinterpret_cast<uintptr_t>(it->second);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kKeys));
}

// ---- in-order walk ----

void BM_Walk_Rbtree(benchmark::State &state) {
  ruvo_rbtree_st *t = full_tree();
  for (auto _ : state) {
    uintptr_t sum = 0;
    for (const ruvo_rbtree_node_st *n = ruvo_rbtree_first(t); n != nullptr; n = ruvo_rbtree_next(n))
      sum += reinterpret_cast<uintptr_t>(n->value);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kKeys));
  ruvo_rbtree_destroy(t);
}

void BM_Walk_StdMap(benchmark::State &state) {
  const auto m = full_map();
  for (auto _ : state) {
    uintptr_t sum = 0;
    for (const auto &[k, v] : m) sum += reinterpret_cast<uintptr_t>(v);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kKeys));
}

// ---- lower_bound ----

void BM_LowerBound_Rbtree(benchmark::State &state) {
  ruvo_rbtree_st *t = full_tree();
  for (auto _ : state) {
    uintptr_t sum = 0;
    for (const auto &k : keys().bound_probes) {
      const ruvo_rbtree_node_st *n = ruvo_rbtree_lower_bound(t, k.data(), len32(k));
      if (n != nullptr) sum += reinterpret_cast<uintptr_t>(n->value);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kKeys));
  ruvo_rbtree_destroy(t);
}

void BM_LowerBound_StdMap(benchmark::State &state) {
  const auto m = full_map();
  for (auto _ : state) {
    uintptr_t sum = 0;
    for (const auto &k : keys().bound_probes) {
      auto it = m.lower_bound(k);
      if (it != m.end()) sum += reinterpret_cast<uintptr_t>(it->second);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kKeys));
}

BENCHMARK(BM_Insert_Rbtree)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Insert_StdMap)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Find_Rbtree)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Find_StdMap)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Walk_Rbtree)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_Walk_StdMap)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_LowerBound_Rbtree)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_LowerBound_StdMap)->Unit(benchmark::kMillisecond)->Iterations(3);

// Prints the usual table and remembers each run's CPU time per iteration:
// on a shared machine that is steadier than the wall clock.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const auto &r : runs)
      if (r.run_type == Run::RT_Iteration && r.iterations > 0)
        times_[r.run_name.function_name] = r.GetAdjustedCPUTime();
  }
  std::map<std::string, double> times_;
};

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  keys();  // built once, before any timing
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\nruvo_rbtree / std::map, CPU time (1 000 000 keys, target <= 1.20):\n");
  for (const char *op : {"Insert", "Find", "Walk", "LowerBound"}) {
    const std::string a = std::string("BM_") + op + "_Rbtree";
    const std::string b = std::string("BM_") + op + "_StdMap";
    auto ia = reporter.times_.find(a);
    auto ib = reporter.times_.find(b);
    if (ia == reporter.times_.end() || ib == reporter.times_.end()) continue;
    const double ratio = ia->second / ib->second;
    std::printf("  %-11s %.3f%s\n", op, ratio, ratio > 1.2 ? "  (above target)" : "");
  }
  benchmark::Shutdown();
  return 0;
}
