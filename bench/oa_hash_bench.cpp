// Robin Hood hash against tsl::robin_map and absl::flat_hash_map: one
// million random 16-byte keys, inserted, looked up (all present, then all
// absent, each in a shuffled order) and deleted. After the runs the ratios
// of ruvo_oa_hash's times to the others' are printed; the lookups should
// stay within 1.5 times tsl::robin_map's.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <absl/container/flat_hash_map.h>
#include <tsl/robin_map.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ruvo/base/oa_hash.h"

namespace {

constexpr size_t kKeys = 1000000;
constexpr size_t kKeyBytes = 16;
constexpr int kIterations = 2;
constexpr int kRepetitions = 5;

// The same std::string objects feed every container, so each reads its
// query keys from the same memory.
struct Data {
  std::vector<std::string> keys;    // insertion order
  std::vector<std::string> hits;    // the same keys, shuffled
  std::vector<std::string> misses;  // other keys, none of them inserted
};

std::string random_key(std::mt19937_64 &rng) {
  std::string k(kKeyBytes, '\0');
  for (size_t i = 0; i < kKeyBytes; i += 8) {
    const uint64_t r = rng();
    for (size_t j = 0; j < 8; ++j) k[i + j] = static_cast<char>(r >> (8 * j));
  }
  return k;
}

const Data &data() {
  static const Data d = [] {
    Data out;
    std::mt19937_64 rng(20240611);
    out.keys.reserve(kKeys);
    out.misses.reserve(kKeys);
    for (size_t i = 0; i < kKeys; ++i) out.keys.push_back(random_key(rng));
    for (size_t i = 0; i < kKeys; ++i) out.misses.push_back(random_key(rng));
    out.hits = out.keys;
    std::shuffle(out.hits.begin(), out.hits.end(), rng);
    return out;
  }();
  return d;
}

struct RuvoTable {
  static constexpr const char *name = "ruvo_oa_hash";
  RuvoTable() : t(ruvo_oa_hash_create(nullptr)) {}
  ~RuvoTable() { ruvo_oa_hash_destroy(t); }
  void insert(const std::string &k, uint64_t v) {
    ruvo_oa_hash_insert(t, k.data(), static_cast<uint32_t>(k.size()), v);
  }
  bool find(const std::string &k, uint64_t *v) const {
    return ruvo_oa_hash_search(t, k.data(), static_cast<uint32_t>(k.size()), v) == 0;
  }
  void erase(const std::string &k) {
    ruvo_oa_hash_delete(t, k.data(), static_cast<uint32_t>(k.size()));
  }
  ruvo_oa_hash_st *t;
};

template <class Map>
struct StdLikeTable {
  void insert(const std::string &k, uint64_t v) { m.insert_or_assign(k, v); }
  bool find(const std::string &k, uint64_t *v) const {
    auto it = m.find(k);
    if (it == m.end()) return false;
    *v = it->second;
    return true;
  }
  void erase(const std::string &k) { m.erase(k); }
  Map m;
};

struct TslTable : StdLikeTable<tsl::robin_map<std::string, uint64_t>> {
  static constexpr const char *name = "tsl::robin_map";
};
struct AbslTable : StdLikeTable<absl::flat_hash_map<std::string, uint64_t>> {
  static constexpr const char *name = "absl::flat_hash_map";
};

template <class T>
std::unique_ptr<T> filled() {
  auto t = std::make_unique<T>();
  uint64_t v = 0;
  for (const auto &k : data().keys) t->insert(k, v++);
  return t;
}

template <class T>
void bm_insert(benchmark::State &state) {
  for (auto _ : state) {
    auto t = std::make_unique<T>();
    uint64_t v = 0;
    for (const auto &k : data().keys) t->insert(k, v++);
    state.PauseTiming();
    t.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kKeys));
}

template <class T>
void bm_lookup(benchmark::State &state, const std::vector<std::string> &queries,
               size_t expect_found) {
  const auto t = filled<T>();
  for (auto _ : state) {
    size_t found = 0;
    uint64_t sum = 0;
    for (const auto &k : queries) {
      uint64_t v = 0;
      if (t->find(k, &v)) {
        ++found;
        sum += v;
      }
    }
    benchmark::DoNotOptimize(sum);
    if (found != expect_found) state.SkipWithError("wrong number of keys found");
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * queries.size()));
}

template <class T>
void bm_hit(benchmark::State &state) { bm_lookup<T>(state, data().hits, kKeys); }

template <class T>
void bm_miss(benchmark::State &state) { bm_lookup<T>(state, data().misses, 0); }

template <class T>
void bm_delete(benchmark::State &state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto t = filled<T>();
    state.ResumeTiming();
    for (const auto &k : data().hits) t->erase(k);
    state.PauseTiming();
    t.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kKeys));
}

const char *const kOps[] = {"insert", "hit", "miss", "delete"};
constexpr size_t kOpCount = 4;

template <class T>
void register_op(size_t op) {
  using Fn = void (*)(benchmark::State &);
  const Fn fns[kOpCount] = {bm_insert<T>, bm_hit<T>, bm_miss<T>, bm_delete<T>};
  benchmark::RegisterBenchmark((std::string(kOps[op]) + "/" + T::name).c_str(), fns[op])
      ->Iterations(kIterations)
      ->Repetitions(kRepetitions)
      ->DisplayAggregatesOnly(true)
      ->Unit(benchmark::kMillisecond);
}

// Keeps the median over the repetitions of each benchmark's CPU time per
// iteration for the ratios: on a shared machine the wall clock also counts
// other processes' turns, and single runs scatter.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter() : ConsoleReporter(isatty(1) ? OO_Defaults : OO_Tabular) {}
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const auto &r : runs) {
      if (!r.error_occurred && r.run_type == Run::RT_Aggregate && r.aggregate_name == "median")
        times[r.run_name.function_name] = r.GetAdjustedCPUTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  data();  // generate the keys before anything is timed
  // Neighbours in time share the machine's state, so each operation runs
  // for all three tables before the next.
  for (size_t op = 0; op < kOpCount; ++op) {
    register_op<RuvoTable>(op);
    register_op<TslTable>(op);
    register_op<AbslTable>(op);
  }

  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  std::printf("\nCPU time of ruvo_oa_hash / CPU time of the other"
              " (below 1: ruvo_oa_hash is faster)\n");
  std::printf("%-8s %16s %20s\n", "op", "tsl::robin_map", "absl::flat_hash_map");
  bool lookups_ok = true;
  bool complete = true;
  for (const char *op : kOps) {
    const std::string o = op;
    const auto ruvo = reporter.times.find(o + "/" + RuvoTable::name);
    const auto tsl = reporter.times.find(o + "/" + TslTable::name);
    const auto absl = reporter.times.find(o + "/" + AbslTable::name);
    if (ruvo == reporter.times.end() || tsl == reporter.times.end() ||
        absl == reporter.times.end()) {
      complete = false;
      continue;
    }
    const double to_tsl = ruvo->second / tsl->second;
    std::printf("%-8s %16.2f %20.2f\n", op, to_tsl, ruvo->second / absl->second);
    if ((o == "hit" || o == "miss") && to_tsl > 1.5) lookups_ok = false;
  }
  if (complete) {
    std::printf("lookups within 1.5x of tsl::robin_map: %s\n", lookups_ok ? "yes" : "NO");
  }
  return 0;
}
