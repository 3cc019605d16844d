// Shared by the INI fuzz targets: a document as text, and the check that an
// accepted document saves and loads back the same, plain and enciphered.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "ruvo/base/ini.h"

namespace ini_fuzz {

// Sections and keys in order. Keys that begin with a comment mark or '['
// come only from indented lines and can't read back as keys, so they are
// left out.
inline std::string dump(ruvo_ini_file_st *ini, bool readable_only) {
  struct Arg { std::string out; bool readable; } arg{"", readable_only};
  ruvo_ini_file_foreach(ini, &arg, [](ruvo_ini_file_st *d, const char *s, void *a) -> int32_t {
    static_cast<Arg *>(a)->out += "[" + std::string(s) + "]\n";
    return ruvo_ini_file_section_foreach(d, s, a, [](const char *, const char *k, const char *v, void *a) -> int32_t {
      auto &w = *static_cast<Arg *>(a);
      if (!w.readable || std::string("#;'[").find(k[0]) == std::string::npos) w.out += std::string(k) + "=" + v + "\n";
      return 0;
    });
  });
  return arg.out;
}

inline std::string scratch(const char *name) {
  return "/tmp/ini_fuzz_" + std::to_string(::getpid()) + name;
}

inline void write_file(const std::string &path, const void *data, size_t size) {
  std::FILE *f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) std::abort();
  if (size != 0 && std::fwrite(data, 1, size, f) != size) std::abort();
  std::fclose(f);
}

// Saves the document plain and enciphered and loads both back. A key that
// can't read back as a key can read back as a section line instead, so a
// document with one is saved and loaded but not compared.
inline void check_round_trip(ruvo_ini_file_st *ini) {
  const std::string want = dump(ini, true);
  const bool comparable = want == dump(ini, false);
  for (const char *name : {".ini", ".eni"}) {
    const std::string path = scratch(name);
    if (ruvo_ini_file_save(ini, path.c_str(), 0) != 0) std::abort();
    ruvo_ini_file_st *back = ruvo_ini_file_load_ex(path.c_str(), ini->case_sensitive);
    if (back == nullptr || (comparable && dump(back, false) != want)) std::abort();
    ruvo_ini_file_free(back);
    std::remove(path.c_str());
  }
}

}  // namespace ini_fuzz
