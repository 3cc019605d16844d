// Loads the input as an ENI file. With the first byte even, the rest is a
// clear text that gets enciphered behind its right digest, so the line
// parser behind the container is reached and the load must succeed; with it
// odd, the rest is the file as it stands and may be refused. An accepted
// document saves and loads back the same.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ini_fuzz_check.hpp"
#include "ruvo/algo/algo.h"

namespace {

constexpr char kKey[] = "fuzz-key";

std::string encipher(std::string clear) {
  clear.resize((clear.size() + 7) / 8 * 8, ' ');
  ruvo_des_ctx des;
  ruvo_des_set_key(&des, reinterpret_cast<const uint8_t *>(kKey));
  std::string out(16, '\0');
  ruvo_md5_calc(clear.data(), static_cast<uint32_t>(clear.size()),
                reinterpret_cast<uint8_t *>(out.data()));
  for (size_t i = 0; i < clear.size(); i += 8) {
    uint8_t block[8];
    ruvo_des_encrypt(&des, reinterpret_cast<const uint8_t *>(clear.data() + i), block);
    out.append(reinterpret_cast<const char *>(block), 8);
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const bool raw = data[0] & 1;
  const std::string rest(reinterpret_cast<const char *>(data) + 1, size - 1);
  const std::string file = raw ? rest : encipher(rest);
  const std::string path = ini_fuzz::scratch("_in.eni");
  ini_fuzz::write_file(path, file.data(), file.size());
  ruvo_ini_file_st *ini = ruvo_ini_file_load_with_sk_ex(path.c_str(), data[0] >> 1 & 1, kKey);
  if (ini == nullptr && !raw) std::abort();
  if (ini != nullptr) ini_fuzz::check_round_trip(ini);
  ruvo_ini_file_free(ini);
  std::remove(path.c_str());
  return 0;
}
