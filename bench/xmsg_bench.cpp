// Packing and unpacking a 1 MiB keyed message against memcpy of the same
// bytes. Packing is one checksum pass and one copy, fused in one pass over
// the store, so memcpy's bandwidth is the ceiling; the aim is at least half.
// The plain hash kernels are measured too, to show where the time goes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "ruvo/base/xmsg.h"
#include "xmsg_impl.hpp"

namespace {

namespace xm = ruvo::xmsg;

// 1023 elements of exactly 1024 bytes (8-byte key, 1003-byte value) behind
// the creator: a store of 1 MiB less one element plus 24 bytes.
struct fixture {
  ruvo_xmsg_st *msg = nullptr;
  std::vector<uint8_t> image;
  std::vector<uint8_t> out;

  fixture() {
    msg = ruvo_xmsg_new("bench");
    std::vector<uint8_t> value(1003);
    for (int i = 0; i < 1023; ++i) {
      char key[9];
      std::snprintf(key, sizeof key, "key%05d", i);
      for (size_t j = 0; j < value.size(); ++j) value[j] = static_cast<uint8_t>(i * 131 + j * 7);
      ruvo_xmsg_add(msg, key, 8, value.data(), static_cast<uint32_t>(value.size()));
    }
    image.resize(ruvo_xmsg_pack_size(msg));
    out.resize(image.size());
    ruvo_xmsg_pack(msg, image.data(), static_cast<uint32_t>(image.size()));
  }
};

fixture &f() {
  static fixture fx;
  return fx;
}

void set_bytes(benchmark::State &state, size_t n) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n));
}

void BM_Memcpy(benchmark::State &state) {
  fixture &fx = f();
  for (auto _ : state) {
    std::memcpy(fx.out.data(), fx.image.data(), fx.image.size());
    benchmark::ClobberMemory();
  }
  set_bytes(state, fx.image.size());
}

void BM_Pack(benchmark::State &state) {
  fixture &fx = f();
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        ruvo_xmsg_pack(fx.msg, fx.out.data(), static_cast<uint32_t>(fx.out.size())));
    benchmark::ClobberMemory();
  }
  set_bytes(state, fx.image.size());
}

void BM_Unpack(benchmark::State &state) {
  fixture &fx = f();
  for (auto _ : state) {
    ruvo_xmsg_st *msg = ruvo_xmsg_unpack(fx.image.data(), static_cast<uint32_t>(fx.image.size()));
    benchmark::DoNotOptimize(msg);
    ruvo_xmsg_release(msg);
  }
  set_bytes(state, fx.image.size());
}

void hash_with(benchmark::State &state, xm::hash_kernel kernel) {
  fixture &fx = f();
  if (kernel == nullptr) {
    state.SkipWithError("kernel not available on this processor");
    return;
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(kernel(fx.image.data(), nullptr, fx.image.size(), xm::kHashStart));
  }
  set_bytes(state, fx.image.size());
}

void BM_HashBytewise(benchmark::State &state) {
  fixture &fx = f();
  for (auto _ : state) {
    benchmark::DoNotOptimize(xm::hash_bytewise(fx.image.data(), fx.image.size()));
  }
  set_bytes(state, fx.image.size());
}
void BM_HashScalar8(benchmark::State &state) { hash_with(state, xm::available_kernels().scalar); }
void BM_HashSse2(benchmark::State &state) { hash_with(state, xm::available_kernels().sse2); }
void BM_HashAvx2(benchmark::State &state) { hash_with(state, xm::available_kernels().avx2); }

BENCHMARK(BM_Memcpy);
BENCHMARK(BM_Pack);
BENCHMARK(BM_Unpack);
BENCHMARK(BM_HashBytewise);
BENCHMARK(BM_HashScalar8);
BENCHMARK(BM_HashSse2);
BENCHMARK(BM_HashAvx2);

// Keeps each benchmark's CPU time per iteration for the ratios: on a shared
// machine the wall clock also counts the time other processes took.
class ratio_reporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        times[run.benchmark_name()] = run.GetAdjustedCPUTime();
      }
    }
  }
  std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  ratio_reporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  const auto &t = reporter.times;
  const auto copy = t.find("BM_Memcpy");
  if (copy == t.end()) return 0;
  std::printf("\n%zu-byte wire image; CPU-time bandwidth relative to memcpy (target: pack >= 0.50):\n",
              f().image.size());
  for (const char *name : {"BM_Pack", "BM_Unpack", "BM_HashBytewise", "BM_HashScalar8",
                           "BM_HashSse2", "BM_HashAvx2"}) {
    const auto it = t.find(name);
    if (it == t.end()) continue;
    std::printf("  %-16s %5.2f x memcpy bandwidth  (%.2f x memcpy time)\n", name + 3,
                copy->second / it->second, it->second / copy->second);
  }
  return 0;
}
