// The chained hash against uthash (same design class: chained, one
// allocation per element) and std::unordered_map, on 1 000 000 random 16-byte
// keys; and the binary heap against std::priority_queue. Each benchmark
// iteration does the whole million, so times per operation are the iteration
// time divided by the key count. The ratios that matter are printed at the
// end.
#include <benchmark/benchmark.h>
#include <uthash.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <queue>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ruvo/base/heap.h"
#include "ruvo/base/xhash.h"

namespace {

constexpr size_t kKeys = 1000000;
constexpr int32_t kKeyLen = 16;

struct Key {
  char b[kKeyLen];
  bool operator==(const Key &o) const { return std::memcmp(b, o.b, kKeyLen) == 0; }
};
struct KeyHash {
  size_t operator()(const Key &k) const {
    return std::hash<std::string_view>()(std::string_view(k.b, kKeyLen));
  }
};

struct Data {
  std::vector<Key> keys;    // inserted in this order
  std::vector<Key> lookup;  // the same keys, shuffled
  std::vector<Key> misses;  // keys that are in no table
  std::vector<uint32_t> heap_items;
  Data() {
    std::mt19937_64 rng(77);
    auto fill = [&](std::vector<Key> &v) {
      v.resize(kKeys);
      for (Key &k : v) {
        for (int i = 0; i < kKeyLen; i += 8) {
          const uint64_t x = rng();
          std::memcpy(k.b + i, &x, 8);
        }
      }
    };
    fill(keys);
    fill(misses);
    lookup = keys;
    std::shuffle(lookup.begin(), lookup.end(), rng);
    heap_items.resize(kKeys);
    // Kept below 2^30 so that the default compare's 32-bit difference is exact.
    for (uint32_t &x : heap_items) x = 1 + static_cast<uint32_t>(rng() % (1u << 30));
  }
};
const Data &data() {
  static const Data d;
  return d;
}

void *as_value(size_t i) { return reinterpret_cast<void *>(i + 1); }

// ---- ruvo_xhash ----

ruvo_xhash_st *xhash_filled() {
  ruvo_xhash_st *t = ruvo_xhash_create(nullptr, nullptr);
  const Data &d = data();
  for (size_t i = 0; i < kKeys; ++i) ruvo_xhash_insert(t, d.keys[i].b, kKeyLen, as_value(i));
  return t;
}

void BM_xhash_insert(benchmark::State &state) {
  const Data &d = data();
  for (auto _ : state) {
    ruvo_xhash_st *t = ruvo_xhash_create(nullptr, nullptr);
    for (size_t i = 0; i < kKeys; ++i) ruvo_xhash_insert(t, d.keys[i].b, kKeyLen, as_value(i));
    state.PauseTiming();
    ruvo_xhash_destroy(t);
    state.ResumeTiming();
  }
}

void BM_xhash_search_hit(benchmark::State &state) {
  const Data &d = data();
  ruvo_xhash_st *t = xhash_filled();
  for (auto _ : state) {
    uintptr_t sum = 0;
    for (const Key &k : d.lookup) {
      void *v = nullptr;
      if (ruvo_xhash_search(t, k.b, kKeyLen, &v) != 0) std::abort();
      sum += reinterpret_cast<uintptr_t>(v);
    }
    benchmark::DoNotOptimize(sum);
  }
  ruvo_xhash_destroy(t);
}

void BM_xhash_search_miss(benchmark::State &state) {
  const Data &d = data();
  ruvo_xhash_st *t = xhash_filled();
  for (auto _ : state) {
    int found = 0;
    for (const Key &k : d.misses) found += ruvo_xhash_search(t, k.b, kKeyLen, nullptr) == 0;
    benchmark::DoNotOptimize(found);
  }
  ruvo_xhash_destroy(t);
}

void BM_xhash_delete(benchmark::State &state) {
  const Data &d = data();
  for (auto _ : state) {
    state.PauseTiming();
    ruvo_xhash_st *t = xhash_filled();
    state.ResumeTiming();
    for (const Key &k : d.lookup) {
      if (ruvo_xhash_delete(t, k.b, kKeyLen) != 0) std::abort();
    }
    state.PauseTiming();
    ruvo_xhash_destroy(t);
    state.ResumeTiming();
  }
}

int32_t sum_value(const void *, int32_t, void *value, void *arg) {
  *static_cast<uintptr_t *>(arg) += reinterpret_cast<uintptr_t>(value);
  return 0;
}

void BM_xhash_walk(benchmark::State &state) {
  ruvo_xhash_st *t = xhash_filled();
  for (auto _ : state) {
    uintptr_t sum = 0;
    ruvo_xhash_walk(t, &sum, sum_value);
    benchmark::DoNotOptimize(sum);
  }
  ruvo_xhash_destroy(t);
}

// ---- uthash ----

struct UtItem {
  char key[kKeyLen];
  void *value;
  UT_hash_handle hh;
};

void ut_destroy(UtItem *&head) {
  UtItem *e, *tmp;
  HASH_ITER(hh, head, e, tmp) {
    HASH_DEL(head, e);
    std::free(e);
  }
}

// Insert with the table's meaning: replace the value when the key is there.
void ut_insert(UtItem *&head, const Key &k, void *value) {
  UtItem *e = nullptr;
  HASH_FIND(hh, head, k.b, kKeyLen, e);
  if (e != nullptr) {
    e->value = value;
    return;
  }
  e = static_cast<UtItem *>(std::malloc(sizeof(UtItem)));
  std::memcpy(e->key, k.b, kKeyLen);
  e->value = value;
  HASH_ADD(hh, head, key, kKeyLen, e);
}

UtItem *ut_filled() {
  UtItem *head = nullptr;
  const Data &d = data();
  for (size_t i = 0; i < kKeys; ++i) ut_insert(head, d.keys[i], as_value(i));
  return head;
}

void BM_uthash_insert(benchmark::State &state) {
  const Data &d = data();
  for (auto _ : state) {
    UtItem *head = nullptr;
    for (size_t i = 0; i < kKeys; ++i) ut_insert(head, d.keys[i], as_value(i));
    state.PauseTiming();
    ut_destroy(head);
    state.ResumeTiming();
  }
}

// uthash's bare add, which trusts the caller that the key is new.
void BM_uthash_add_only(benchmark::State &state) {
  const Data &d = data();
  for (auto _ : state) {
    UtItem *head = nullptr;
    for (size_t i = 0; i < kKeys; ++i) {
      auto *e = static_cast<UtItem *>(std::malloc(sizeof(UtItem)));
      std::memcpy(e->key, d.keys[i].b, kKeyLen);
      e->value = as_value(i);
      HASH_ADD(hh, head, key, kKeyLen, e);
    }
    state.PauseTiming();
    ut_destroy(head);
    state.ResumeTiming();
  }
}

void BM_uthash_search_hit(benchmark::State &state) {
  const Data &d = data();
  UtItem *head = ut_filled();
  for (auto _ : state) {
    uintptr_t sum = 0;
    for (const Key &k : d.lookup) {
      UtItem *e = nullptr;
      HASH_FIND(hh, head, k.b, kKeyLen, e);
      if (e == nullptr) std::abort();
      sum += reinterpret_cast<uintptr_t>(e->value);
    }
    benchmark::DoNotOptimize(sum);
  }
  ut_destroy(head);
}

void BM_uthash_search_miss(benchmark::State &state) {
  const Data &d = data();
  UtItem *head = ut_filled();
  for (auto _ : state) {
    int found = 0;
    for (const Key &k : d.misses) {
      UtItem *e = nullptr;
      HASH_FIND(hh, head, k.b, kKeyLen, e);
      found += e != nullptr;
    }
    benchmark::DoNotOptimize(found);
  }
  ut_destroy(head);
}

void BM_uthash_delete(benchmark::State &state) {
  const Data &d = data();
  for (auto _ : state) {
    state.PauseTiming();
    UtItem *head = ut_filled();
    state.ResumeTiming();
    for (const Key &k : d.lookup) {
      UtItem *e = nullptr;
      HASH_FIND(hh, head, k.b, kKeyLen, e);
      if (e == nullptr) std::abort();
      HASH_DEL(head, e);
      std::free(e);
    }
  }
}

void BM_uthash_walk(benchmark::State &state) {
  UtItem *head = ut_filled();
  for (auto _ : state) {
    uintptr_t sum = 0;
    for (UtItem *e = head; e != nullptr; e = static_cast<UtItem *>(e->hh.next)) {
      sum += reinterpret_cast<uintptr_t>(e->value);
    }
    benchmark::DoNotOptimize(sum);
  }
  ut_destroy(head);
}

// ---- std::unordered_map ----

using StdMap = std::unordered_map<Key, void *, KeyHash>;

void std_fill(StdMap &m) {
  const Data &d = data();
  for (size_t i = 0; i < kKeys; ++i) m.insert_or_assign(d.keys[i], as_value(i));
}

void BM_std_insert(benchmark::State &state) {
  for (auto _ : state) {
    auto *m = new StdMap;
    std_fill(*m);
    state.PauseTiming();
    delete m;
    state.ResumeTiming();
  }
}

void BM_std_search_hit(benchmark::State &state) {
  const Data &d = data();
  StdMap m;
  std_fill(m);
  for (auto _ : state) {
    uintptr_t sum = 0;
    for (const Key &k : d.lookup) {
      auto it = m.find(k);
      if (it == m.end()) std::abort();
      sum += reinterpret_cast<uintptr_t>(it->second);
    }
    benchmark::DoNotOptimize(sum);
  }
}

void BM_std_search_miss(benchmark::State &state) {
  const Data &d = data();
  StdMap m;
  std_fill(m);
  for (auto _ : state) {
    int found = 0;
    for (const Key &k : d.misses) found += m.find(k) != m.end();
    benchmark::DoNotOptimize(found);
  }
}

void BM_std_delete(benchmark::State &state) {
  const Data &d = data();
  for (auto _ : state) {
    state.PauseTiming();
    auto *m = new StdMap;
    std_fill(*m);
    state.ResumeTiming();
    for (const Key &k : d.lookup) {
      if (m->erase(k) != 1) std::abort();
    }
    state.PauseTiming();
    delete m;
    state.ResumeTiming();
  }
}

void BM_std_walk(benchmark::State &state) {
  StdMap m;
  std_fill(m);
  for (auto _ : state) {
    uintptr_t sum = 0;
    for (const auto &kv : m) sum += reinterpret_cast<uintptr_t>(kv.second);
    benchmark::DoNotOptimize(sum);
  }
}

// ---- binary heap ----

void BM_heap_push_pop(benchmark::State &state) {
  const Data &d = data();
  for (auto _ : state) {
    ruvo_heap_st *h = ruvo_heap_create(nullptr, 0);
    for (uint32_t x : d.heap_items) ruvo_heap_push(h, reinterpret_cast<void *>(uintptr_t{x}));
    uintptr_t sum = 0;
    void *out = nullptr;
    while (ruvo_heap_pop(h, &out) == 0) sum += reinterpret_cast<uintptr_t>(out);
    benchmark::DoNotOptimize(sum);
    ruvo_heap_destroy(h);
  }
}

void BM_priority_queue_push_pop(benchmark::State &state) {
  const Data &d = data();
  for (auto _ : state) {
    std::priority_queue<uintptr_t, std::vector<uintptr_t>, std::greater<>> q;
    for (uint32_t x : d.heap_items) q.push(x);
    uintptr_t sum = 0;
    while (!q.empty()) {
      sum += q.top();
      q.pop();
    }
    benchmark::DoNotOptimize(sum);
  }
}

#define RUVO_BENCH(fn) BENCHMARK(fn)->Unit(benchmark::kMillisecond)
RUVO_BENCH(BM_xhash_insert);
RUVO_BENCH(BM_uthash_insert);
RUVO_BENCH(BM_uthash_add_only);
RUVO_BENCH(BM_std_insert);
RUVO_BENCH(BM_xhash_search_hit);
RUVO_BENCH(BM_uthash_search_hit);
RUVO_BENCH(BM_std_search_hit);
RUVO_BENCH(BM_xhash_search_miss);
RUVO_BENCH(BM_uthash_search_miss);
RUVO_BENCH(BM_std_search_miss);
RUVO_BENCH(BM_xhash_delete);
RUVO_BENCH(BM_uthash_delete);
RUVO_BENCH(BM_std_delete);
RUVO_BENCH(BM_xhash_walk);
RUVO_BENCH(BM_uthash_walk);
RUVO_BENCH(BM_std_walk);
RUVO_BENCH(BM_heap_push_pop);
RUVO_BENCH(BM_priority_queue_push_pop);

// Keeps each benchmark's time per operation, in nanoseconds, for the ratios.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, double> ns_per_op;
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &r : runs) {
      if (r.run_type != Run::RT_Iteration) continue;
      // CPU milliseconds per iteration of kKeys operations: on a shared
      // machine CPU time is steadier than wall time.
      ns_per_op[r.benchmark_name()] = r.GetAdjustedCPUTime() * 1e6 / kKeys;
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  data();  // build the keys before any timing
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  auto ns = [&](const char *name) {
    auto it = reporter.ns_per_op.find(name);
    return it != reporter.ns_per_op.end() ? it->second : 0.0;
  };
  std::printf("\nCPU ns per operation (%zu random 16-byte keys):\n", kKeys);
  std::printf("%-12s %10s %10s %10s\n", "", "ruvo_xhash", "uthash", "std::um");
  for (const char *op : {"insert", "search_hit", "search_miss", "delete", "walk"}) {
    const std::string x = std::string("BM_xhash_") + op, u = std::string("BM_uthash_") + op,
                      s = std::string("BM_std_") + op;
    std::printf("%-12s %10.1f %10.1f %10.1f   ratio xhash/uthash %.2f, xhash/std %.2f\n", op,
                ns(x.c_str()), ns(u.c_str()), ns(s.c_str()),
                ns(x.c_str()) / ns(u.c_str()), ns(x.c_str()) / ns(s.c_str()));
  }
  const double xi = ns("BM_xhash_insert") + ns("BM_xhash_search_hit");
  const double ui = ns("BM_uthash_insert") + ns("BM_uthash_search_hit");
  const double ua = ns("BM_uthash_add_only") + ns("BM_uthash_search_hit");
  std::printf("insert + search hit: ruvo_xhash %.1f ns, uthash %.1f ns (find + add) / %.1f ns"
              " (bare add): ratio %.2f / %.2f (target <= 1.00)\n",
              xi, ui, ua, xi / ui, xi / ua);
  std::printf("heap push + pop: ruvo_heap %.1f ns, std::priority_queue %.1f ns: ratio %.2f\n",
              ns("BM_heap_push_pop"), ns("BM_priority_queue_push_pop"),
              ns("BM_heap_push_pop") / ns("BM_priority_queue_push_pop"));
  return 0;
}
