// libruvozip, natively: random archives (names with high bytes, empty and
// multi-buffer entries, levels, ciphers, Zip64 fields, additions to existing
// archives) read back by Python's zipfile and unzip -t through
// tests/data/zip_oracle.py and by the test reader; bad input by table.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "ruvo/zip/zip.h"
#include "support/zip_reader.hpp"

namespace {

std::string hex(const std::string &s) {
  std::string h = "x";  // never empty, so the oracle can split at blanks
  for (unsigned char c : s) h += {"0123456789abcdef"[c >> 4], "0123456789abcdef"[c & 15]};
  return h;
}

std::string slurp(const std::string &path) {
  std::ifstream f(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
}

void spill(const std::string &path, const std::string &data) {
  std::ofstream(path, std::ios::binary) << data;
}

uint32_t crc_of(const std::string &s) {
  return uint32_t(crc32(0, reinterpret_cast<const Bytef *>(s.data()), uInt(s.size())));
}

// Opens an entry without a record, extra fields or comment.
int add(void *zf, const char *name, int method = 0, int level = 0, int zip64 = 0) {
  return ruvoZipOpenNewFileInZip64(zf, name, nullptr, nullptr, 0, nullptr, 0, nullptr, method, level,
                                   zip64);
}

// What an entry should read back as; the large entry gives size and CRC only.
struct Want {
  std::string name, data, comment;
  ruvo_zip_fileinfo_st info{};
  int flags = 0;  // without the UTF-8 bit
  uint64_t big_size = 0;
  uint32_t big_crc = 0;
};

// The oracle's manifest for one archive: "archive <path> <password> <comment>", then
// "entry <name> <data> <comment> <flags> <size> <crc>" and the record's fields, in the
// order tm_year, tm_mon, tm_mday, tm_hour, tm_min, tm_sec, external_fa, internal_fa.
std::string manifest(const std::string &path, const std::string &password,
                     const std::string &comment, const std::vector<Want> &entries) {
  std::string m = "archive " + path + " " + hex(password) + " " + hex(comment) + "\n";
  for (const Want &w : entries) {
    const ruvo_zip_fileinfo_st &i = w.info;
    m += "entry " + hex(w.name) + " " + hex(w.data) + " " + hex(w.comment);
    for (uint64_t v : {uint64_t(w.flags), w.big_size, uint64_t(w.big_crc), uint64_t(i.tm_year),
                       uint64_t(i.tm_mon), uint64_t(i.tm_mday), uint64_t(i.tm_hour),
                       uint64_t(i.tm_min), uint64_t(i.tm_sec), uint64_t(i.external_fa),
                       uint64_t(i.internal_fa)}) {
      m += " " + std::to_string(v);
    }
    m += "\n";
  }
  return m;
}

// Deflate's effort in flag bits 1 and 2, by level -1..9.
const int kLevelFlags[] = {0, 0, 6, 4, 0, 0, 0, 0, 0, 2, 2};

class ZipLib : public ::testing::Test {
 protected:
  void SetUp() override {
    char t[] = "/tmp/ruvo_ziplib_XXXXXX";
    ASSERT_NE(mkdtemp(t), nullptr);
    dir_ = t;
  }
  void TearDown() override { std::system(("rm -rf " + dir_).c_str()); }
  std::string path(const std::string &name) const { return dir_ + "/" + name; }

  // Python's zipfile and unzip -t on the archives; they print their faults.
  bool oracle(const std::string &archives) const {
    spill(path("manifest"), archives);
    const std::string script = "python3 " RUVO_TEST_DATA "/zip_oracle.py ";
    return std::system((script + path("manifest")).c_str()) == 0;
  }

  std::string dir_;
};

TEST_F(ZipLib, RandomArchivesReadBackByZipfileUnzipAndTheTestReader) {
  std::mt19937 rng(20261124);
  auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
  auto u = [&](int lo, int hi) { return uint32_t(pick(lo, hi)); };
  auto bytes = [&](size_t n, bool text) {
    static const std::string words[] = {"INFO ", "connect ", "2026-11-24 ", "pid:4711 ", "\n",
                                        "error "};
    std::string s;
    while (s.size() < n) s += text ? words[pick(0, 5)] : std::string(1, char(pick(0, 255)));
    return s.substr(0, n);
  };
  const std::string name_chars = "abcXYZ019._- \x80\xa9\xc3\xe9\xff";
  std::string archives;
  for (int a = 0; a < 10; ++a) {
    const std::string zip = path("r" + std::to_string(a) + ".zip");
    const std::string password = pick(0, 1) ? bytes(pick(1, 12), true) : "";
    std::vector<Want> want;
    std::string comment;
    for (int step = 0, steps = pick(1, 3); step < steps; ++step) {
      void *zf = ruvoZipOpen64(zip.c_str(), step == 0 ? 0 : RUVO_ZIP_APPEND_ADD);
      ASSERT_NE(zf, nullptr) << zip << " step " << step;
      for (int e = 0, n = pick(0, 4); e < n; ++e) {
        Want &w = want.emplace_back();
        for (int k = pick(1, 12); k > 0; --k) {
          w.name += name_chars[pick(0, int(name_chars.size()) - 1)];
        }
        const int size_kind = pick(0, 3);
        const int size = size_kind == 0 ? 0 : size_kind == 1 ? pick(1, 3000) : pick(60000, 200000);
        w.data = bytes(size, pick(0, 1));
        w.comment = pick(0, 3) == 0 ? bytes(pick(1, 20), true) : "";
        // Without a record the entry is dated 1980-01-01 and has no attributes.
        const bool no_info = pick(0, 4) == 0;
        const ruvo_zip_fileinfo_st drawn = {u(0, 59), u(0, 59), u(0, 23), u(1, 28), u(0, 11),
                                            u(60, 207), 0, u(0, 1), u(0, 1) << 5};
        if (!no_info) w.info = drawn;
        const std::string local = pick(0, 1) ? std::string("\xfe\xca\x03\x00xyz", 7) : "";
        const std::string global = pick(0, 1) ? std::string("\xfe\xca\x02\x00gx", 6) : "";
        const auto ln = uint32_t(local.size()), gn = uint32_t(global.size());
        const int method = pick(0, 3) == 0 ? 0 : 8, level = pick(-1, 9), zip64 = pick(0, 1);
        const bool cipher = !password.empty() && pick(0, 2) != 0;
        w.flags = (method == 8 ? kLevelFlags[level + 1] : 0) | (cipher ? 1 : 0);
        const char *c = w.comment.empty() ? nullptr : w.comment.c_str();
        const ruvo_zip_fileinfo_st *info = no_info ? nullptr : &w.info;
        const char *key = cipher ? password.c_str() : nullptr;
        const int r = cipher || pick(0, 1)
            ? ruvoZipOpenNewFileInZip3_64(zf, w.name.c_str(), info, local.data(), ln, global.data(),
                                          gn, c, method, level, 0, pick(-15, -9), pick(1, 9),
                                          pick(0, 4), key, crc_of(w.data), zip64)
            : ruvoZipOpenNewFileInZip64(zf, w.name.c_str(), info, local.data(), ln, global.data(),
                                        gn, c, method, level, zip64);
        ASSERT_EQ(r, RUVO_ZIP_OK);
        for (size_t at = 0; at < w.data.size();) {
          const uint32_t len = uint32_t(std::min<size_t>(w.data.size() - at, pick(1, 70000)));
          ASSERT_EQ(ruvoZipWriteInFileInZip(zf, w.data.data() + at, len), RUVO_ZIP_OK);
          at += len;
        }
        // The last entry is sometimes left for the archive's close to finish.
        if (e + 1 < n || pick(0, 1)) {
          ASSERT_EQ(ruvoZipCloseFileInZip(zf), RUVO_ZIP_OK);
        }
      }
      const int comment_kind = pick(0, 2);  // keep the old one, none, a new one
      if (comment_kind != 0) comment = comment_kind == 1 ? "" : bytes(pick(1, 40), true);
      ASSERT_EQ(ruvoZipClose(zf, comment_kind == 0 ? nullptr : comment.c_str()), RUVO_ZIP_OK);
    }
    // The reader also holds each local header to its central record.
    EXPECT_EQ(ruvo_test::read_zip(slurp(zip), password).error, "") << zip;
    archives += manifest(zip, password, comment, want);
  }
  EXPECT_TRUE(oracle(archives));
}

// 70000 entries need the Zip64 end record; adding to such an archive reads it.
TEST_F(ZipLib, ManyEntriesUseTheZip64EndRecord) {
  const std::string zip = path("many.zip");
  std::vector<Want> want(70001);
  for (size_t i = 0; i < want.size(); ++i) want[i].name = "e" + std::to_string(i);
  for (size_t from : {0, 70000}) {
    void *zf = ruvoZipOpen64(zip.c_str(), from == 0 ? RUVO_ZIP_APPEND_CREATE : RUVO_ZIP_APPEND_ADD);
    ASSERT_NE(zf, nullptr);
    for (size_t i = from; i < std::min<size_t>(from + 70000, want.size()); ++i) {
      ASSERT_EQ(add(zf, want[i].name.c_str()), 0);
    }
    ASSERT_EQ(ruvoZipClose(zf, "many"), 0);
  }
  EXPECT_TRUE(ruvo_test::read_zip(slurp(zip)).zip64_end);
  EXPECT_TRUE(oracle(manifest(zip, "", "many", want)));
}

// An entry past 4 GiB, streamed and never held, then one that starts past
// 4 GiB: both need Zip64 fields. Several seconds of disk and CPU, so it runs
// only when RUVO_ZIP_BIG is set.
TEST_F(ZipLib, EntryPastFourGiBThroughZip64) {
  if (std::getenv("RUVO_ZIP_BIG") == nullptr) GTEST_SKIP() << "set RUVO_ZIP_BIG=1 to write 4 GiB";
  const std::string zip = path("big.zip");
  void *zf = ruvoZipOpen64(zip.c_str(), RUVO_ZIP_APPEND_CREATE);
  std::vector<Want> want(2);
  want[0].name = "big";
  want[0].big_size = (uint64_t{1} << 32) + 12345;
  want[1].name = "after";
  want[1].data = "tail";
  ASSERT_EQ(add(zf, "big", 0, 0, 1), 0);
  std::string chunk(1 << 20, '\0');
  uLong crc = crc32(0, nullptr, 0);
  for (uint64_t left = want[0].big_size, i = 0; left > 0; ++i) {
    const uint32_t len = uint32_t(std::min<uint64_t>(left, chunk.size()));
    for (size_t k = 0; k < chunk.size(); k += 4096) chunk[k] = char(i + k);
    crc = crc32(crc, reinterpret_cast<const Bytef *>(chunk.data()), len);
    ASSERT_EQ(ruvoZipWriteInFileInZip(zf, chunk.data(), len), 0);
    left -= len;
  }
  want[0].big_crc = uint32_t(crc);
  ASSERT_EQ(add(zf, "after", 8, 6), 0);
  ASSERT_EQ(ruvoZipWriteInFileInZip(zf, "tail", 4), 0);
  ASSERT_EQ(ruvoZipClose(zf, nullptr), 0);
  EXPECT_TRUE(oracle(manifest(zip, "", "", want)));
}

// Any buffer size gives zlib's CRC; a file that can't be read gives 0.
TEST_F(ZipLib, GetFileCrc) {
  const std::string data = std::string(5000, 'x') + "tail", f = path("f"), e = path("empty");
  spill(f, data);
  spill(e, "");
  const std::tuple<std::string, uint32_t, int, uint32_t> rows[] = {
      {f, 1, 0, crc_of(data)}, {f, 3, 0, crc_of(data)}, {f, 1024, 0, crc_of(data)},
      {e, 1024, 0, 0}, {path("missing"), 1024, RUVO_ZIP_ERRNO, 0}, {dir_, 1024, RUVO_ZIP_ERRNO, 0}};
  char buf[1024];
  for (const auto &[file, size, want, want_crc] : rows) {
    uint32_t crc = 7;
    EXPECT_EQ(getFileCrc(file.c_str(), buf, size, &crc), want) << file << " " << size;
    EXPECT_EQ(crc, want_crc) << file << " " << size;
  }
  uint32_t crc = 0;  // each argument missing in turn
  EXPECT_EQ(getFileCrc(nullptr, buf, 4, &crc) + getFileCrc(f.c_str(), nullptr, 4, &crc) +
                getFileCrc(f.c_str(), buf, 0, &crc) + getFileCrc(f.c_str(), buf, 4, nullptr),
            4 * RUVO_ZIP_PARAMERROR);
}

// Archives that can't be added to, entry settings out of range, and calls
// out of order. The sound archive is one added to with a shorter comment than
// it had, which must leave no old bytes behind the new end record.
TEST_F(ZipLib, BadInputIsRefused) {
  void *zf = ruvoZipOpen64(path("one.zip").c_str(), 0);
  // An entry without a name: its central record is the bare 46 bytes.
  ASSERT_EQ(add(zf, ""), 0);
  ASSERT_EQ(ruvoZipClose(zf, "a long comment of the first version"), 0);
  zf = ruvoZipOpen64(path("one.zip").c_str(), RUVO_ZIP_APPEND_ADD);
  ASSERT_EQ(ruvoZipClose(zf, "short"), 0);
  const std::string good = slurp(path("one.zip")), end = std::string("PK\x05\x06", 4);
  EXPECT_EQ(good.size(), 30u + 46u + 22u + 5u);
  EXPECT_EQ(ruvo_test::read_zip(good).comment, "short");
  std::string overrun = good;  // the central record's extra runs past the directory
  overrun[overrun.find("PK\x01\x02") + 30] = 1;
  const std::pair<const char *, std::string> files[] = {
      {"text", "not a zip at all, longer than an end record"}, {"empty", ""},
      {"cut.zip", end + std::string(17, '\0')}, {"prefixed.zip", "MZ" + good},
      {"junk.zip", good + "\xff\xff\xff\xff\xff"}, {"overrun.zip", overrun},
      // A Zip64 locator at the very start that points to no Zip64 end record.
      {"locator.zip", std::string("PK\x06\x07", 4) + std::string(16, '\0') + end +
                          std::string(12, '\0') + std::string("\x14\0\0\0\0\0", 6)}};
  for (const auto &[name, bytes] : files) {
    spill(path(name), bytes);
    EXPECT_EQ(ruvoZipOpen64(path(name).c_str(), RUVO_ZIP_APPEND_ADD), nullptr) << name;
  }
  spill(path("bare.zip"), end + std::string(18, '\0'));  // the smallest sound archive
  zf = ruvoZipOpen64(path("bare.zip").c_str(), RUVO_ZIP_APPEND_ADD);
  EXPECT_NE(zf, nullptr);
  EXPECT_EQ(ruvoZipClose(zf, nullptr), 0);
  EXPECT_EQ(ruvoZipOpen64(path("missing.zip").c_str(), RUVO_ZIP_APPEND_ADD), nullptr);
  EXPECT_EQ(ruvoZipOpen64(nullptr, 0), nullptr);
  EXPECT_EQ(ruvoZipOpen64(path("one.zip").c_str(), 1), nullptr);
  EXPECT_EQ(ruvoZipOpen64(path("no/such/dir.zip").c_str(), 0), nullptr);

  zf = ruvoZipOpen64(path("bad.zip").c_str(), 0);
  ASSERT_NE(zf, nullptr);
  const std::string n65535(65535, 'n'), n65536(65536, 'n'), extra(65536, '\0');
  const auto t = [](uint32_t year, uint32_t mon, uint32_t mday, uint32_t hour, uint32_t min,
                    uint32_t sec) { return ruvo_zip_fileinfo_st{sec, min, hour, mday, mon, year, 0, 0, 0}; };
  const ruvo_zip_fileinfo_st times[] = {
      t(207, 11, 31, 23, 59, 59), t(208, 0, 1, 0, 0, 0),  t(80, 12, 1, 0, 0, 0),
      t(80, 0, 0, 0, 0, 0),       t(80, 0, 32, 0, 0, 0),  t(80, 0, 1, 24, 0, 0),
      t(80, 0, 1, 0, 60, 0),      t(80, 0, 1, 0, 0, 60),  t(79, 12, 0, 24, 60, 60)};
  const int P = RUVO_ZIP_PARAMERROR;
  const struct Row {
    const char *name = "a", *comment = nullptr;
    const ruvo_zip_fileinfo_st *info = nullptr;
    int method = 8, level = 9, raw = 0, wbits = -15, mem = 8, strategy = 0, zip64 = 0;
    uint32_t local = 0, global = 0;
    int want = P;
  } rows[] = {
      {.level = -1, .want = 0}, {.name = nullptr}, {.method = 12}, {.level = -2}, {.level = 10},
      {.raw = 1}, {.wbits = -9, .mem = 1, .strategy = 4, .zip64 = 1, .want = 0}, {.wbits = -8},
      {.wbits = -16}, {.wbits = 15}, {.mem = 0}, {.mem = 10}, {.strategy = -1}, {.strategy = 5},
      {.zip64 = 2}, {.zip64 = -1},
      {.name = n65535.c_str(), .comment = n65535.c_str(), .method = 0, .want = 0},
      {.name = n65536.c_str(), .method = 0}, {.comment = n65536.c_str(), .method = 0},
      {.method = 0, .local = 65515, .global = 65507, .want = 0}, {.method = 0, .local = 65516},
      {.method = 0, .global = 65508},
      {.info = &times[0], .want = 0}, {.info = &times[1]}, {.info = &times[2]}, {.info = &times[3]},
      {.info = &times[4]}, {.info = &times[5]}, {.info = &times[6]}, {.info = &times[7]},
      {.info = &times[8], .want = 0},
  };
  for (const Row &r : rows) {
    EXPECT_EQ(ruvoZipOpenNewFileInZip3_64(zf, r.name, r.info, extra.data(), r.local, extra.data(),
                                          r.global, r.comment, r.method, r.level, r.raw, r.wbits,
                                          r.mem, r.strategy, nullptr, 0, r.zip64), r.want)
        << "row " << &r - rows;
  }
  // Extra fields that are sized but missing.
  EXPECT_EQ(ruvoZipOpenNewFileInZip64(zf, "a", nullptr, nullptr, 1, nullptr, 0, nullptr, 0, 0, 0), P);
  EXPECT_EQ(ruvoZipOpenNewFileInZip64(zf, "a", nullptr, nullptr, 0, nullptr, 1, nullptr, 0, 0, 0), P);
  EXPECT_EQ(add(nullptr, "a"), P);
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, nullptr, 1), P);
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, nullptr, 0), 0);
  // Past 0xFFFFFFFE bytes an entry without Zip64 fields is refused before a
  // byte is read: the buffer here is far smaller than the length.
  const char x[1] = {0};
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, x, 0xFFFFFFFFu), RUVO_ZIP_TOOLARGE);
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, x, 1), 0);
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, x, 0xFFFFFFFEu), RUVO_ZIP_TOOLARGE);
  EXPECT_EQ(ruvoZipCloseFileInZip(zf), 0);
  EXPECT_EQ(ruvoZipCloseFileInZip(zf), P);
  EXPECT_EQ(ruvoZipCloseFileInZip(nullptr), P);
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, x, 1), P);
  EXPECT_EQ(ruvoZipWriteInFileInZip(nullptr, x, 1), P);
  // A cipher entry whose data does not match the announced CRC is reported.
  ASSERT_EQ(ruvoZipOpenNewFileInZip3_64(zf, "c", nullptr, nullptr, 0, nullptr, 0, nullptr, 8, 9, 0,
                                        -15, 8, 0, "pw", 1234, 0), 0);
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, "data", 4), 0);
  EXPECT_EQ(ruvoZipCloseFileInZip(zf), P);
  EXPECT_EQ(ruvoZipClose(zf, n65536.c_str()), P);
  EXPECT_EQ(ruvoZipClose(nullptr, nullptr), P);
  // The refused comment leaves none; the entries that opened are all there.
  const ruvo_test::ZipRead got = ruvo_test::read_zip(slurp(path("bad.zip")), "pw");
  EXPECT_EQ(got.comment, "");
  EXPECT_NE(got.error, "");  // the cipher entry's check byte is wrong on purpose
}

// A write the file system refuses (past a file size limit, in a child) fails
// the call that made it. The child's status is the step that failed, 0 for none.
TEST_F(ZipLib, RefusedWritesFailTheCallThatMadeThem) {
  const std::string zip = path("limit.zip"), data(100000, 'd');
  auto build = [&](rlim_t limit) {
    const pid_t pid = fork();
    if (pid == 0) {
      signal(SIGXFSZ, SIG_IGN);
      const rlimit rl{limit, limit};
      setrlimit(RLIMIT_FSIZE, &rl);
      void *zf = ruvoZipOpen64(zip.c_str(), 0);
      if (add(zf, "a") != 0) _exit(1);
      if (ruvoZipWriteInFileInZip(zf, data.data(), 100000) != 0) _exit(2);
      if (ruvoZipCloseFileInZip(zf) != 0) _exit(3);
      _exit(ruvoZipClose(zf, "comment") != 0 ? 4 : 0);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  };
  // Local header 31 bytes, data 100000, central record 47, end 22 + 7.
  const rlim_t limits[] = {10, 1000, 66000, 100040, 100106, 100107};
  const int steps[] = {1, 2, 3, 4, 4, 0};
  for (size_t i = 0; i < std::size(limits); ++i) EXPECT_EQ(build(limits[i]), steps[i]) << limits[i];
}

}  // namespace
