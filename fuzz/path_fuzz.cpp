// Fuzzes the normaliser, ruvo_path_absolute_to and ruvo_path_relative_to.
// Input: a byte choosing the operation and whether a base is given, two
// bytes of capacity, then the path, and behind a zero byte the base. Every
// output lies in a heap block of exactly `cap` bytes, so a write past the
// capacity is an overrun that ASan reports. Besides memory safety it checks
// that every result is terminated within cap and that normalising again
// changes nothing.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "ruvo/base/path.h"

namespace {

void check(bool ok) {
  if (!ok) std::abort();
}

// The normaliser on a block of exactly `cap` bytes filled from the text, at
// times without a terminator.
void fuzz_translate(const std::string &text, size_t cap, bool measure) {
  if (cap == 0) return;
  const auto buf = std::make_unique<char[]>(cap);
  const size_t n = text.size() < cap ? text.size() : cap;
  std::memcpy(buf.get(), text.data(), n);
  if (n < cap) buf[n] = '\0';
  const size_t len = measure ? 0 : std::strlen(text.c_str());
  const size_t got = ruvo_path_translate(buf.get(), len, cap);
  if (got == 0) return;
  check(got < cap && std::strlen(buf.get()) == got);
  const std::string once(buf.get());
  check(ruvo_path_translate(buf.get(), 0, cap) == got && once == buf.get());
}

void fuzz_pair(const char *base, const char *path, size_t cap, bool relative) {
  const auto out = std::make_unique<char[]>(cap == 0 ? 1 : cap);
  const char *got = relative ? ruvo_path_relative_to(base, path, out.get(), cap)
                             : ruvo_path_absolute_to(base, path, out.get(), cap);
  if (got == nullptr) return;
  check(cap > 0);
  if (got != out.get()) {
    check(relative && std::strcmp(got, ".") == 0 && cap < 2);
    return;
  }
  check(std::memchr(out.get(), '\0', cap) != nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 3) return 0;
  const unsigned mode = data[0];
  const size_t cap = (size_t(data[1]) | size_t(data[2]) << 8) % 600;
  const std::string rest(reinterpret_cast<const char *>(data + 3), size - 3);
  const std::string path = rest.c_str();
  const bool has_base = (mode & 4) != 0 && path.size() < rest.size();
  const std::string base = has_base ? std::string(rest.c_str() + path.size() + 1) : std::string();
  switch (mode % 4) {
    case 0:
      fuzz_translate(rest, cap, (mode & 8) != 0);
      break;
    case 1:
      fuzz_pair(has_base ? base.c_str() : nullptr, path.c_str(), cap, false);
      break;
    default:
      fuzz_pair(has_base ? base.c_str() : nullptr, path.c_str(), cap, true);
      break;
  }
  return 0;
}
