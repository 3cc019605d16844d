// Fuzzes in-place replacing against a std::string model. Input: a flag byte
// (bit 0: all), a byte of buffer slack, the pattern and the replacement each
// behind a length byte, then the text. The buffer is exactly its stated size,
// so a write past it is a sanitizer report.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ruvo/base/str.h"

namespace {

bool take(const uint8_t *&data, size_t &size, std::string &out) {
  if (size < 1) return false;
  size_t n = data[0] % 8;
  ++data;
  --size;
  if (n > size) n = size;
  out.assign(reinterpret_cast<const char *>(data), n);
  out = out.c_str();
  data += n;
  size -= n;
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  const bool all = (data[0] & 1) != 0;
  const int slack = data[1] % 48;
  data += 2;
  size -= 2;
  std::string pat, rep;
  if (!take(data, size, pat) || !take(data, size, rep)) return 0;
  std::string text(reinterpret_cast<const char *>(data), size);
  text = text.c_str();

  // A size below the text's own is a caller's error; keep to honest sizes.
  const int32_t bufsize = static_cast<int32_t>(text.size()) + 1 + slack;
  std::vector<char> buf(static_cast<size_t>(bufsize));
  std::memcpy(buf.data(), text.c_str(), text.size() + 1);

  std::string want = text;
  bool changed = false;
  size_t from = 0, last_end = 0;
  while (!pat.empty()) {
    const size_t at = want.find(pat, from);
    if (at == std::string::npos) break;
    if (want.size() - pat.size() + rep.size() + 1 > static_cast<size_t>(bufsize)) break;
    want.replace(at, pat.size(), rep);
    changed = true;
    from = last_end = at + rep.size();
    if (!all) break;
  }

  char *r = ruvo_str_replace(buf.data(), bufsize, pat.c_str(), rep.c_str(), all ? 1 : 0);
  if ((r != nullptr) != changed) std::abort();
  if (want != buf.data()) std::abort();
  if (changed && r != (all ? buf.data() : buf.data() + last_end)) std::abort();
  return 0;
}
