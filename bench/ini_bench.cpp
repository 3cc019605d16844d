// INI loading and lookups against GLib's GKeyFile and inih (whose handler
// stores into a std::unordered_map, as a caller of it must), on one document
// of 1 000 sections of 1 000 keys (about 11 MB); and the enciphered form's
// save plus load against DES alone over the same bytes, enciphered and
// deciphered, which bounds it. The ratios are printed at the end.
#include <benchmark/benchmark.h>
#include <glib.h>
#include <ini.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ruvo/algo/algo.h"
#include "ruvo/base/ini.h"

namespace {

constexpr int kSections = 1000, kKeys = 1000;

struct Data {
  std::string path = "/tmp/ini_bench_" + std::to_string(getpid()) + ".ini";
  std::string eni = "/tmp/ini_bench_" + std::to_string(getpid()) + ".eni";
  size_t bytes = 0;
  std::vector<std::pair<std::string, std::string>> lookups;  // every key, shuffled
  std::vector<std::string> names;  // "sk0"...: section names, and key names past the s
  Data() {
    for (int i = 0; i < kKeys; ++i) names.push_back("sk" + std::to_string(i));
    std::string text;
    for (int s = 0; s < kSections; ++s) {
      text += "[sk" + std::to_string(s) + "]\n";
      for (int k = 0; k < kKeys; ++k) {
        text += "k" + std::to_string(k) + " = " + std::to_string((s * 7 + k) % 1000) + "\n";
        lookups.emplace_back("sk" + std::to_string(s), "k" + std::to_string(k));
      }
    }
    std::shuffle(lookups.begin(), lookups.end(), std::mt19937(5));
    bytes = text.size();
    std::FILE *f = std::fopen(path.c_str(), "wb");
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
  }
  ~Data() {
    std::remove(path.c_str());
    std::remove(eni.c_str());
  }
};
Data &data() {
  static Data d;
  return d;
}

void BM_ruvo_load(benchmark::State &state) {
  for (auto _ : state) {
    ruvo_ini_file_st *ini = ruvo_ini_file_load(data().path.c_str());
    state.PauseTiming();  // freeing two million blocks is not loading
    ruvo_ini_file_free(ini);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(int64_t(state.iterations() * data().bytes));
}

void BM_glib_load(benchmark::State &state) {
  for (auto _ : state) {
    GKeyFile *kf = g_key_file_new();
    g_key_file_load_from_file(kf, data().path.c_str(), G_KEY_FILE_NONE, nullptr);
    state.PauseTiming();
    g_key_file_free(kf);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(int64_t(state.iterations() * data().bytes));
}

using Flat = std::unordered_map<std::string, std::string>;
int store(void *user, const char *section, const char *name, const char *value) {
  (*static_cast<Flat *>(user))[std::string(section) + '\n' + name] = value;
  return 1;
}

void BM_inih_load(benchmark::State &state) {
  for (auto _ : state) {
    auto *flat = new Flat;
    ini_parse(data().path.c_str(), store, flat);
    state.PauseTiming();
    delete flat;
    state.ResumeTiming();
  }
  state.SetBytesProcessed(int64_t(state.iterations() * data().bytes));
}

void BM_ruvo_lookup(benchmark::State &state) {
  ruvo_ini_file_st *ini = ruvo_ini_file_load(data().path.c_str());
  if (ruvo_ini_file_get(ini, "sk999", "k999") == nullptr) state.SkipWithError("keys not found");
  for (auto _ : state) {
    for (const auto &[s, k] : data().lookups) {
      benchmark::DoNotOptimize(ruvo_ini_file_get(ini, s.c_str(), k.c_str()));
    }
  }
  ruvo_ini_file_free(ini);
  state.SetItemsProcessed(int64_t(state.iterations() * data().lookups.size()));
}

// The same keys section by section, as a caller reading its settings does.
void BM_ruvo_lookup_in_order(benchmark::State &state) {
  ruvo_ini_file_st *ini = ruvo_ini_file_load(data().path.c_str());
  for (auto _ : state) {
    for (int s = 0; s < kSections; ++s) {
      for (int k = 0; k < kKeys; ++k) {
        benchmark::DoNotOptimize(ruvo_ini_file_get(ini, data().names[s].c_str(), data().names[k].c_str() + 1));
      }
    }
  }
  ruvo_ini_file_free(ini);
  state.SetItemsProcessed(int64_t(state.iterations() * kSections * kKeys));
}

void BM_glib_lookup(benchmark::State &state) {
  GKeyFile *kf = g_key_file_new();
  g_key_file_load_from_file(kf, data().path.c_str(), G_KEY_FILE_NONE, nullptr);
  for (auto _ : state) {
    for (const auto &[s, k] : data().lookups) g_free(g_key_file_get_value(kf, s.c_str(), k.c_str(), nullptr));
  }
  g_key_file_free(kf);
  state.SetItemsProcessed(int64_t(state.iterations() * data().lookups.size()));
}

// The enciphered clear text is as long as the plain text less the empty
// lines, plus its padding: measured from the file, less the digest.
void BM_eni_save_load(benchmark::State &state) {
  ruvo_ini_file_st *ini = ruvo_ini_file_load(data().path.c_str());
  for (auto _ : state) {
    ruvo_ini_file_save(ini, data().eni.c_str(), 0);
    ruvo_ini_file_st *back = ruvo_ini_file_load(data().eni.c_str());
    state.PauseTiming();
    ruvo_ini_file_free(back);
    state.ResumeTiming();
  }
  ruvo_ini_file_free(ini);
  std::FILE *f = std::fopen(data().eni.c_str(), "rb");
  std::fseek(f, 0, SEEK_END);
  state.SetBytesProcessed(int64_t(state.iterations() * (std::ftell(f) - 16)));
  std::fclose(f);
}

void BM_des_both_ways(benchmark::State &state) {
  std::vector<uint8_t> buf(data().bytes / 8 * 8, 'x'), out(buf.size());
  ruvo_des_ctx des;
  ruvo_des_set_key(&des, reinterpret_cast<const uint8_t *>("01234567"));
  for (auto _ : state) {
    for (size_t i = 0; i < buf.size(); i += 8) ruvo_des_encrypt(&des, &buf[i], &out[i]);
    for (size_t i = 0; i < buf.size(); i += 8) ruvo_des_decrypt(&des, &out[i], &buf[i]);
    benchmark::DoNotOptimize(buf.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations() * buf.size()));
}

BENCHMARK(BM_ruvo_load)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_glib_load)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_inih_load)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ruvo_lookup)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ruvo_lookup_in_order)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_glib_lookup)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_eni_save_load)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_des_both_ways)->Unit(benchmark::kMillisecond);

// Keeps each benchmark's bytes or items per second for the ratios.
class RateReporter : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, double> rate;
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const auto &r : runs) {
      if (r.run_type != Run::RT_Iteration) continue;
      for (const char *c : {"bytes_per_second", "items_per_second"}) {
        if (auto it = r.counters.find(c); it != r.counters.end()) rate[r.benchmark_name()] = it->second;
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  data();
  RateReporter rep;
  benchmark::RunSpecifiedBenchmarks(&rep);
  auto mb = [&](const char *n) { return rep.rate[n] / 1e6; };
  auto ns = [&](const char *n) { return rep.rate[n] > 0 ? 1e9 / rep.rate[n] : 0.0; };
  std::printf("\nload of %zu bytes: ruvo %.1f MB/s (target >= 60), GKeyFile %.1f MB/s, inih %.1f MB/s:"
              " ratio ruvo/GKeyFile %.2f, ruvo/inih %.2f\n",
              data().bytes, mb("BM_ruvo_load"), mb("BM_glib_load"), mb("BM_inih_load"),
              mb("BM_ruvo_load") / mb("BM_glib_load"), mb("BM_ruvo_load") / mb("BM_inih_load"));
  std::printf("lookup in random order: ruvo %.1f ns (target <= 150), GKeyFile %.1f ns: ratio %.2f;"
              " section by section: ruvo %.1f ns\n",
              ns("BM_ruvo_lookup"), ns("BM_glib_lookup"), ns("BM_ruvo_lookup") / ns("BM_glib_lookup"),
              ns("BM_ruvo_lookup_in_order"));
  std::printf("ENI save + load %.1f MB/s, DES both ways %.1f MB/s: ratio %.2f (target >= 0.80)\n",
              mb("BM_eni_save_load"), mb("BM_des_both_ways"),
              mb("BM_eni_save_load") / mb("BM_des_both_ways"));
  return 0;
}
