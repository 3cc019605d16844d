// Builds archives with libruvozip from random entry lists (names, sizes,
// methods, levels, deflate parameters, passwords, Zip64 flags, additions to
// the archive) and reads each back with the test reader: the local and
// central records must agree, and every entry must inflate to what was
// written and match its CRC.
#include <fuzzer/FuzzedDataProvider.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ruvo/zip/zip.h"
#include "support/zip_reader.hpp"

namespace {

std::string slurp(const std::string &path) {
  std::string s;
  if (FILE *f = std::fopen(path.c_str(), "rb")) {
    char buf[65536];
    for (size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;) s.append(buf, n);
    std::fclose(f);
  }
  return s;
}

// The C string the library sees: up to the first zero byte.
std::string c_text(FuzzedDataProvider &in, size_t max) {
  std::string s = in.ConsumeRandomLengthString(max);
  return s.substr(0, s.find('\0'));
}

// Entry data: a repeated random piece, so sizes up to 100 kB cost little
// input and still range from compressible to not.
std::string content(FuzzedDataProvider &in) {
  const size_t size = in.ConsumeIntegralInRange<size_t>(0, 100000);
  const std::string piece = in.ConsumeRandomLengthString(64);
  std::string s;
  for (size_t i = 0; s.size() < size; ++i) s += piece.empty() ? std::string(1, char(i * 7)) : piece;
  s.resize(size);
  return s;
}

void check(bool ok) {
  if (!ok) __builtin_trap();
}

}  // namespace

// One scratch archive per process, removed when the process ends.
struct Scratch {
  std::string path = "/tmp/ruvo_zip_fuzz_" + std::to_string(getpid()) + ".zip";
  ~Scratch() { std::remove(path.c_str()); }
};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const Scratch scratch;
  const std::string &zip = scratch.path;
  FuzzedDataProvider in(data, size);
  const std::string password = in.ConsumeBool() ? c_text(in, 16) : "";
  std::vector<std::pair<std::string, std::string>> want;  // name, data
  std::string comment;
  for (int step = 0, steps = in.ConsumeIntegralInRange(1, 3); step < steps; ++step) {
    void *zf = ruvoZipOpen64(zip.c_str(), step == 0 ? RUVO_ZIP_APPEND_CREATE : RUVO_ZIP_APPEND_ADD);
    check(zf != nullptr);
    for (int e = 0, n = in.ConsumeIntegralInRange(0, 4); e < n; ++e) {
      const std::string name = c_text(in, 20);
      const std::string body = content(in);
      const bool cipher = !password.empty() && in.ConsumeBool();
      const int method = in.ConsumeBool() ? 8 : 0;
      const int level = in.ConsumeIntegralInRange(-1, 9);
      const int wbits = in.ConsumeIntegralInRange(-15, -9), mem = in.ConsumeIntegralInRange(1, 9);
      const int strategy = in.ConsumeIntegralInRange(0, 4), zip64 = in.ConsumeIntegralInRange(0, 1);
      const uint32_t crc = static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef *>(body.data()),
                                                       static_cast<uInt>(body.size())));
      check(ruvoZipOpenNewFileInZip3_64(zf, name.c_str(), nullptr, nullptr, 0, nullptr, 0, nullptr, method, level,
                                        0, wbits, mem, strategy, cipher ? password.c_str() : nullptr, crc,
                                        zip64) == RUVO_ZIP_OK);
      for (size_t at = 0; at < body.size();) {
        const size_t len = std::min(body.size() - at, in.ConsumeIntegralInRange<size_t>(1, 70000));
        check(ruvoZipWriteInFileInZip(zf, body.data() + at, static_cast<uint32_t>(len)) == RUVO_ZIP_OK);
        at += len;
      }
      if (in.ConsumeBool()) check(ruvoZipCloseFileInZip(zf) == RUVO_ZIP_OK);
      want.emplace_back(name, body);
    }
    const bool keep = in.ConsumeBool();
    if (!keep) comment = c_text(in, 30);
    check(ruvoZipClose(zf, keep ? nullptr : comment.c_str()) == RUVO_ZIP_OK);
  }
  const ruvo_test::ZipRead got = ruvo_test::read_zip(slurp(zip), password);
  if (!got.error.empty()) std::fprintf(stderr, "reader: %s\n", got.error.c_str());
  check(got.error.empty() && got.items.size() == want.size() && got.comment == comment);
  for (size_t i = 0; i < want.size(); ++i) {
    check(got.items[i].name == want[i].first && got.items[i].data == want[i].second);
  }
  return 0;
}
