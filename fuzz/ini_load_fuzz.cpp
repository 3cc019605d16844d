// Loads the input as a plain INI file, case-blind or not by its first byte;
// every text is a document, and that document saves and loads back the same.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "ini_fuzz_check.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const std::string path = ini_fuzz::scratch("_in.ini");
  ini_fuzz::write_file(path, data + 1, size - 1);
  ruvo_ini_file_st *ini = ruvo_ini_file_load_ex(path.c_str(), data[0] & 1);
  if (ini == nullptr) std::abort();
  ini_fuzz::check_round_trip(ini);
  ruvo_ini_file_free(ini);
  std::remove(path.c_str());
  return 0;
}
