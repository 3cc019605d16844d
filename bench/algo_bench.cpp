// The algorithm library against OpenSSL in the same run: SHA-256 (also its
// portable path, forced) and MD5 of 256 MiB, through EVP, which takes
// OpenSSL's fastest code for this CPU; and DES-ECB over 32 MiB against the
// legacy DES_ecb_encrypt, one block per call as ruvo_des_encrypt is called.
// After the run the throughput of each, from the fastest of three
// repetitions in CPU time, and the ratios ours/OpenSSL (above 1 is faster)
// are printed with the targets.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "ruvo/algo/algo.h"
#include "sha256_dispatch.hpp"

// DES_* is deprecated in OpenSSL 3 but is the reference for block-at-a-time
// DES; the warning is silenced for this header only.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <openssl/des.h>
#pragma GCC diagnostic pop

namespace {

constexpr size_t kDigestBytes = size_t{256} << 20;
constexpr size_t kCipherBytes = size_t{32} << 20;
constexpr int kRepetitions = 3;

const std::vector<uint8_t> &input() {
  static const std::vector<uint8_t> data = [] {
    std::vector<uint8_t> d(kDigestBytes);
    std::mt19937_64 rng(42);
    for (size_t i = 0; i < d.size(); i += 8) {
      const uint64_t v = rng();
      for (int b = 0; b < 8; ++b) d[i + b] = static_cast<uint8_t>(v >> (8 * b));
    }
    return d;
  }();
  return data;
}

const uint8_t kKey[8] = {0x13, 0x34, 0x57, 0x79, 0x9b, 0xbc, 0xdf, 0xf1};

void BM_sha256_ruvo(benchmark::State &state) {
  uint8_t d[32];
  for (auto _ : state) {
    ruvo_sha256_ctx ctx;
    ruvo_sha256_init(&ctx);
    ruvo_sha256_update(&ctx, input().data(), kDigestBytes);
    ruvo_sha256_final(&ctx, d);
    benchmark::DoNotOptimize(d);
  }
}

// The portable code, for CPUs without the SHA extensions.
void BM_sha256_portable(benchmark::State &state) {
  ruvo::algo::sha256_force(ruvo::algo::sha256_path::portable);
  BM_sha256_ruvo(state);
  ruvo::algo::sha256_force(ruvo::algo::sha256_path::automatic);
}

void BM_md5_ruvo(benchmark::State &state) {
  uint8_t d[16];
  for (auto _ : state) {
    ruvo_md5_ctx ctx;
    ruvo_md5_init(&ctx);
    ruvo_md5_update(&ctx, input().data(), kDigestBytes);
    ruvo_md5_final(&ctx, d);
    benchmark::DoNotOptimize(d);
  }
}

void evp_digest(benchmark::State &state, const EVP_MD *md) {
  unsigned char d[EVP_MAX_MD_SIZE];
  unsigned int n = 0;
  for (auto _ : state) {
    EVP_Digest(input().data(), kDigestBytes, d, &n, md, nullptr);
    benchmark::DoNotOptimize(d);
  }
}

void BM_sha256_openssl(benchmark::State &state) { evp_digest(state, EVP_sha256()); }
void BM_md5_openssl(benchmark::State &state) { evp_digest(state, EVP_md5()); }

void BM_des_ruvo(benchmark::State &state) {
  static std::vector<uint8_t> out(kCipherBytes);
  ruvo_des_ctx ctx;
  ruvo_des_set_key(&ctx, kKey);
  for (auto _ : state) {
    for (size_t i = 0; i < kCipherBytes; i += 8) ruvo_des_encrypt(&ctx, input().data() + i, out.data() + i);
    benchmark::DoNotOptimize(out.data());
  }
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
void BM_des_openssl(benchmark::State &state) {
  static std::vector<uint8_t> out(kCipherBytes);
  DES_key_schedule ks;
  DES_cblock key;
  std::copy(kKey, kKey + 8, key);
  DES_set_key_unchecked(&key, &ks);
  for (auto _ : state) {
    for (size_t i = 0; i < kCipherBytes; i += 8) {
      // const_DES_cblock is not const in OpenSSL 3, though the input is only read.
      DES_ecb_encrypt(reinterpret_cast<const_DES_cblock *>(const_cast<uint8_t *>(input().data() + i)),
                      reinterpret_cast<DES_cblock *>(out.data() + i), &ks, DES_ENCRYPT);
    }
    benchmark::DoNotOptimize(out.data());
  }
}
#pragma GCC diagnostic pop

struct pair {
  const char *name;
  void (*ruvo)(benchmark::State &);
  void (*openssl)(benchmark::State &);
  size_t bytes;
  double target;  // least ratio ours/OpenSSL in throughput
};

const pair kPairs[] = {{"sha256", BM_sha256_ruvo, BM_sha256_openssl, kDigestBytes, 0.9},
                       {"sha256-portable", BM_sha256_portable, BM_sha256_openssl, kDigestBytes, 0.0},
                       {"md5", BM_md5_ruvo, BM_md5_openssl, kDigestBytes, 0.0},
                       {"des", BM_des_ruvo, BM_des_openssl, kCipherBytes, 1.0}};

// Prints as usual and keeps the fastest time per iteration of each name.
class keeping_reporter : public benchmark::ConsoleReporter {
 public:
  keeping_reporter() : ConsoleReporter(OO_Tabular) {}

  std::map<std::string, double> best_s;

  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      if (run.error_occurred || run.iterations == 0) continue;
      // CPU time: on a shared machine the wall clock also counts the time
      // the process waited for a core.
      const double s = run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
      const std::string name = run.benchmark_name().substr(0, run.benchmark_name().find("/iter"));
      auto it = best_s.find(name);
      if (it == best_s.end() || s < it->second) best_s[name] = s;
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

int main(int argc, char **argv) {
  input();  // made once, outside the timings
  for (const pair &p : kPairs) {
    for (int r = 0; r < kRepetitions; ++r) {
      benchmark::RegisterBenchmark((std::string(p.name) + "/ruvo").c_str(), p.ruvo)
          ->Iterations(2)->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark((std::string(p.name) + "/openssl").c_str(), p.openssl)
          ->Iterations(2)->Unit(benchmark::kMillisecond);
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  keeping_reporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  std::printf("\nthroughput, fastest of %d runs each (ratio ours/OpenSSL; higher is better)\n",
              kRepetitions);
  bool all_met = true;
  for (const pair &p : kPairs) {
    const auto r = reporter.best_s.find(std::string(p.name) + "/ruvo");
    const auto o = reporter.best_s.find(std::string(p.name) + "/openssl");
    if (r == reporter.best_s.end() || o == reporter.best_s.end()) continue;
    const double mb = static_cast<double>(p.bytes) / 1e6;
    const double ratio = o->second / r->second;
    const bool met = ratio >= p.target;
    all_met = all_met && met;
    std::printf("  %-15s ruvo %8.1f MB/s  openssl %8.1f MB/s  ratio %.3f", p.name, mb / r->second,
                mb / o->second, ratio);
    if (p.target > 0) std::printf("  (target >= %.2f: %s)", p.target, met ? "met" : "missed");
    std::printf("\n");
  }
  std::printf("%s\n", all_met ? "all targets met" : "some target missed");
  return 0;
}
