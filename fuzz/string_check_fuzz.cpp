// Fuzzes the three form checks against reference grammars. Input: a byte of
// limit, then the text. The text is handed over as an exact-size copy with
// no terminator when the limit is within it, so a read past the limit is a
// sanitizer report.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ruvo/base/str.h"

namespace {

bool all_of(const std::string &s, const char *set) {
  return s.find_first_not_of(set) == std::string::npos;
}

// Four parts between dots, each 1 to 3 digits with no leading zero, <= 255.
bool ipv4_grammar(const std::string &s) {
  std::vector<std::string> parts(1);
  for (char c : s) {
    if (c == '.') parts.emplace_back();
    else parts.back() += c;
  }
  if (parts.size() != 4) return false;
  for (const std::string &p : parts) {
    if (p.empty() || p.size() > 3 || !all_of(p, "0123456789")) return false;
    if (p.size() > 1 && p[0] == '0') return false;
    if (std::atoi(p.c_str()) > 255) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  const size_t limit = data[0] % 24;
  ++data;
  --size;
  std::vector<char> buf(data, data + size);
  if (limit > size) buf.push_back('\0');  // past the text the walk needs a terminator
  const std::string seen = std::string(buf.data(), std::min(limit, buf.size())).c_str();

  const uint32_t dec = ruvo_string_check_integer(buf.data(), limit);
  const uint32_t hex = ruvo_string_check_hex_integer(buf.data(), limit);
  const uint32_t ip = ruvo_string_check_ipv4(buf.data(), limit);
  if (dec != (all_of(seen, "0123456789") ? RUVO_OK : RUVO_E_FORMAT)) std::abort();
  if (hex != (all_of(seen, "0123456789abcdefABCDEF") ? RUVO_OK : RUVO_E_FORMAT)) std::abort();
  if (ip != (limit > 0 && ipv4_grammar(seen) ? RUVO_OK : RUVO_E_FORMAT)) std::abort();
  return 0;
}
