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
#include <vector>

#include "ruvo/zip/zip.h"
#include "support/zip_reader.hpp"

namespace {

std::string hex(const std::string &s) {
  static const char *digits = "0123456789abcdef";
  std::string h;
  for (unsigned char c : s) h += {digits[c >> 4], digits[c & 15]};
  return h;
}

std::string slurp(const std::string &path) {
  std::ifstream f(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
}

void spill(const std::string &path, const std::string &data) { std::ofstream(path, std::ios::binary) << data; }

uint32_t crc_of(const std::string &s) {
  return static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef *>(s.data()), static_cast<uInt>(s.size())));
}

// What an entry should read back as.
struct Want {
  std::string name, data, comment;
  ruvo_zip_fileinfo_st info;
  uint64_t big_size = 0;  // the large test gives size and CRC only
  uint32_t big_crc = 0;
};

std::string time_json(const ruvo_zip_fileinfo_st &i) {
  if (i.tm_year < 80) return "[1980,1,1,0,0,0]";
  return "[" + std::to_string(i.tm_year + 1900) + "," + std::to_string(i.tm_mon + 1) + "," +
         std::to_string(i.tm_mday) + "," + std::to_string(i.tm_hour) + "," + std::to_string(i.tm_min) +
         "," + std::to_string(i.tm_sec / 2 * 2) + "]";
}

std::string archive_json(const std::string &path, const std::string &password, const std::string &comment,
                         const std::vector<Want> &entries) {
  std::string j = "{\"path\":\"" + path + "\",\"password\":" +
                  (password.empty() ? "null" : "\"" + hex(password) + "\"") + ",\"comment\":\"" + hex(comment) +
                  "\",\"entries\":[";
  for (const Want &w : entries) {
    const std::string data = w.big_size != 0 ? "{\"size\":" + std::to_string(w.big_size) +
                                                   ",\"crc\":" + std::to_string(w.big_crc) + "}"
                                             : "\"" + hex(w.data) + "\"";
    j += "{\"name\":\"" + hex(w.name) + "\",\"data\":" + data + ",\"time\":" + time_json(w.info) +
         ",\"ext\":" + std::to_string(w.info.external_fa) + ",\"int\":" +
         std::to_string(w.info.internal_fa & 0xFFFF) + ",\"comment\":\"" + hex(w.comment) + "\"},";
  }
  if (!entries.empty()) j.pop_back();
  return j + "]}";
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
  bool oracle(const std::vector<std::string> &archives) const {
    std::string manifest = "[";
    for (const std::string &a : archives) manifest += a + ",";
    manifest.back() = ']';
    spill(path("manifest.json"), manifest);
    return std::system(("python3 " RUVO_TEST_DATA "/zip_oracle.py " + path("manifest.json")).c_str()) == 0;
  }

  std::string dir_;
};

TEST_F(ZipLib, RandomArchivesReadBackByZipfileUnzipAndTheTestReader) {
  std::mt19937 rng(20261124);
  auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
  auto bytes = [&](size_t n, bool text) {
    static const std::string words[] = {"INFO ", "connect ", "2026-11-24 ", "pid:4711 ", "\n", "error "};
    std::string s;
    while (s.size() < n) s += text ? words[pick(0, 5)] : std::string(1, static_cast<char>(pick(0, 255)));
    return s.substr(0, n);
  };
  const std::string name_chars = "abcXYZ019._- \x80\xa9\xc3\xe9\xff";
  std::vector<std::string> manifest;
  for (int a = 0; a < 10; ++a) {
    const std::string zip = path("r" + std::to_string(a) + ".zip");
    const std::string password = pick(0, 1) ? bytes(pick(1, 12), true) : "";
    std::vector<Want> want;
    std::vector<int> flags;
    std::string comment;
    for (int step = 0, steps = pick(1, 3); step < steps; ++step) {
      void *zf = ruvoZipOpen64(zip.c_str(), step == 0 ? RUVO_ZIP_APPEND_CREATE : RUVO_ZIP_APPEND_ADD);
      ASSERT_NE(zf, nullptr) << zip << " step " << step;
      for (int e = 0, n = pick(0, 4); e < n; ++e) {
        Want w;
        for (int k = pick(1, 12); k > 0; --k) w.name += name_chars[pick(0, static_cast<int>(name_chars.size()) - 1)];
        const int size_kind = pick(0, 3);
        w.data = bytes(size_kind == 0 ? 0 : size_kind == 1 ? pick(1, 3000) : pick(60000, 200000), pick(0, 1));
        w.comment = pick(0, 3) == 0 ? bytes(pick(1, 20), true) : "";
        // Without a record the entry is dated 1980-01-01 and has no attributes.
        const bool no_info = pick(0, 4) == 0;
        w.info = {static_cast<uint32_t>(pick(0, 59)), static_cast<uint32_t>(pick(0, 59)),
                  static_cast<uint32_t>(pick(0, 23)), static_cast<uint32_t>(pick(1, 28)),
                  static_cast<uint32_t>(pick(0, 11)), static_cast<uint32_t>(pick(60, 207)), 0,
                  static_cast<uint32_t>(pick(0, 1)), static_cast<uint32_t>(pick(0, 1) << 5)};
        if (no_info) w.info = {};
        const std::string local_extra = pick(0, 1) ? std::string("\xfe\xca\x03\x00xyz", 7) : "";
        const std::string global_extra = pick(0, 1) ? std::string("\xfe\xca\x02\x00gx", 6) : "";
        const int method = pick(0, 3) == 0 ? 0 : 8, level = pick(-1, 9), zip64 = pick(0, 1);
        const bool cipher = !password.empty() && pick(0, 2) != 0;
        flags.push_back((method == 8 ? kLevelFlags[level + 1] : 0) | (cipher ? 1 : 0));
        const char *c = w.comment.empty() ? nullptr : w.comment.c_str();
        const ruvo_zip_fileinfo_st *info = no_info ? nullptr : &w.info;
        int r;
        if (cipher || pick(0, 1)) {
          r = ruvoZipOpenNewFileInZip3_64(zf, w.name.c_str(), info, local_extra.data(),
                                          static_cast<uint32_t>(local_extra.size()), global_extra.data(),
                                          static_cast<uint32_t>(global_extra.size()), c, method, level, 0,
                                          pick(-15, -9), pick(1, 9), pick(0, 4),
                                          cipher ? password.c_str() : nullptr, crc_of(w.data), zip64);
        } else {
          r = ruvoZipOpenNewFileInZip64(zf, w.name.c_str(), info, local_extra.data(),
                                        static_cast<uint32_t>(local_extra.size()), global_extra.data(),
                                        static_cast<uint32_t>(global_extra.size()), c, method, level, zip64);
        }
        ASSERT_EQ(r, RUVO_ZIP_OK);
        for (size_t at = 0; at < w.data.size();) {
          const size_t len = std::min<size_t>(w.data.size() - at, pick(1, 70000));
          ASSERT_EQ(ruvoZipWriteInFileInZip(zf, w.data.data() + at, static_cast<uint32_t>(len)), RUVO_ZIP_OK);
          at += len;
        }
        // The last entry is sometimes left for the archive's close to finish.
        if (e + 1 < n || pick(0, 1)) {
          ASSERT_EQ(ruvoZipCloseFileInZip(zf), RUVO_ZIP_OK);
        }
        want.push_back(w);
      }
      const int comment_kind = pick(0, 2);  // keep the old one, none, a new one
      if (comment_kind != 0) comment = comment_kind == 1 ? "" : bytes(pick(1, 40), true);
      ASSERT_EQ(ruvoZipClose(zf, comment_kind == 0 ? nullptr : comment.c_str()), RUVO_ZIP_OK);
    }
    const ruvo_test::ZipRead got = ruvo_test::read_zip(slurp(zip), password);
    ASSERT_EQ(got.error, "") << zip;
    ASSERT_EQ(got.items.size(), want.size());
    EXPECT_EQ(got.comment, comment);
    for (size_t i = 0; i < want.size(); ++i) {
      EXPECT_EQ(got.items[i].name, want[i].name);
      EXPECT_EQ(got.items[i].data, want[i].data);
      EXPECT_EQ(got.items[i].flags & ~0x800, flags[i]) << zip << " " << i;
    }
    manifest.push_back(archive_json(zip, password, comment, want));
  }
  EXPECT_TRUE(oracle(manifest));
}

// 70000 entries need the Zip64 end record; adding to such an archive reads it.
TEST_F(ZipLib, ManyEntriesUseTheZip64EndRecord) {
  const std::string zip = path("many.zip");
  std::vector<Want> want(70001);
  for (int step = 0; step < 2; ++step) {
    void *zf = ruvoZipOpen64(zip.c_str(), step * RUVO_ZIP_APPEND_ADD);
    ASSERT_NE(zf, nullptr);
    for (size_t i = step * 70000; i < (step + 1) * 70000u && i < want.size(); ++i) {
      want[i].name = "e" + std::to_string(i);
      want[i].info = {};
      ASSERT_EQ(ruvoZipOpenNewFileInZip64(zf, want[i].name.c_str(), nullptr, nullptr, 0, nullptr, 0, nullptr, 0,
                                          0, 0), 0);
    }
    ASSERT_EQ(ruvoZipClose(zf, "many"), 0);
  }
  EXPECT_TRUE(ruvo_test::read_zip(slurp(zip)).zip64_end);
  EXPECT_TRUE(oracle({archive_json(zip, "", "many", want)}));
}

// An entry past 4 GiB, streamed and never held, then one that starts past
// 4 GiB: both need Zip64 fields. Several seconds of disk and CPU, so it runs
// only when RUVO_ZIP_BIG is set.
TEST_F(ZipLib, EntryPastFourGiBThroughZip64) {
  if (std::getenv("RUVO_ZIP_BIG") == nullptr) GTEST_SKIP() << "set RUVO_ZIP_BIG=1 to write a 4 GiB archive";
  const std::string zip = path("big.zip");
  void *zf = ruvoZipOpen64(zip.c_str(), RUVO_ZIP_APPEND_CREATE);
  std::vector<Want> want(2);
  want[0] = {"big", "", "", {}, (uint64_t{1} << 32) + 12345, 0};
  want[1] = {"after", "tail", "", {}, 0, 0};
  ASSERT_EQ(ruvoZipOpenNewFileInZip64(zf, "big", nullptr, nullptr, 0, nullptr, 0, nullptr, 0, 0, 1), 0);
  std::string chunk(1 << 20, '\0');
  uLong crc = crc32(0, nullptr, 0);
  for (uint64_t left = want[0].big_size, i = 0; left > 0; ++i) {
    const uint32_t len = static_cast<uint32_t>(std::min<uint64_t>(left, chunk.size()));
    for (size_t k = 0; k < chunk.size(); k += 4096) chunk[k] = static_cast<char>(i + k);
    crc = crc32(crc, reinterpret_cast<const Bytef *>(chunk.data()), len);
    ASSERT_EQ(ruvoZipWriteInFileInZip(zf, chunk.data(), len), 0);
    left -= len;
  }
  want[0].big_crc = static_cast<uint32_t>(crc);
  ASSERT_EQ(ruvoZipOpenNewFileInZip64(zf, "after", nullptr, nullptr, 0, nullptr, 0, nullptr, 8, 6, 0), 0);
  ASSERT_EQ(ruvoZipWriteInFileInZip(zf, "tail", 4), 0);
  ASSERT_EQ(ruvoZipClose(zf, nullptr), 0);
  EXPECT_TRUE(oracle({archive_json(zip, "", "", want)}));
}

// Any buffer size gives zlib's CRC; a file that can't be read gives 0.
TEST_F(ZipLib, GetFileCrc) {
  const std::string data = std::string(5000, 'x') + "tail";
  spill(path("f"), data);
  spill(path("empty"), "");
  struct Row {
    std::string file;
    uint32_t size;
    int want;
    uint32_t crc;
  } rows[] = {{path("f"), 1, 0, crc_of(data)},     {path("f"), 3, 0, crc_of(data)},
              {path("f"), 1024, 0, crc_of(data)},  {path("empty"), 1024, 0, 0},
              {path("missing"), 1024, RUVO_ZIP_ERRNO, 0}, {dir_, 1024, RUVO_ZIP_ERRNO, 0}};
  char buf[1024];
  for (const Row &r : rows) {
    uint32_t crc = 7;
    EXPECT_EQ(getFileCrc(r.file.c_str(), buf, r.size, &crc), r.want) << r.file << " " << r.size;
    EXPECT_EQ(crc, r.crc) << r.file << " " << r.size;
  }
}

TEST_F(ZipLib, BadInputIsRefused) {
  spill(path("text"), "not a zip at all, longer than an end record");
  spill(path("empty"), "");
  void *ok = ruvoZipOpen64(path("ok.zip").c_str(), 0);
  ASSERT_EQ(ruvoZipClose(ok, nullptr), 0);
  const std::string good = slurp(path("ok.zip"));
  spill(path("cut.zip"), good.substr(0, good.size() - 1));
  spill(path("prefixed.zip"), "MZ" + good);
  // A Zip64 locator at the very start that points to no Zip64 end record.
  spill(path("locator.zip"), std::string("PK\x06\x07", 4) + std::string(16, '\0') + good.substr(0, 16) +
                                 std::string("\x14\0\0\0\0\0", 6));
  for (const char *p : {"text", "empty", "missing.zip", "cut.zip", "prefixed.zip", "locator.zip"}) {
    EXPECT_EQ(ruvoZipOpen64(path(p).c_str(), RUVO_ZIP_APPEND_ADD), nullptr) << p;
  }
  EXPECT_EQ(ruvoZipOpen64(nullptr, 0), nullptr);
  EXPECT_EQ(ruvoZipOpen64(path("ok.zip").c_str(), 1), nullptr);
  EXPECT_EQ(ruvoZipOpen64(path("no/such/dir.zip").c_str(), 0), nullptr);

  void *zf = ruvoZipOpen64(path("bad.zip").c_str(), 0);
  ASSERT_NE(zf, nullptr);
  const std::string n65535(65535, 'n'), n65536(65536, 'n');
  const char x[1] = {0};
  auto t = [](uint32_t year, uint32_t mon, uint32_t mday, uint32_t hour, uint32_t min, uint32_t sec) {
    return ruvo_zip_fileinfo_st{sec, min, hour, mday, mon, year, 0, 0, 0};
  };
  const ruvo_zip_fileinfo_st times[] = {t(207, 11, 31, 23, 59, 59), t(208, 0, 1, 0, 0, 0), t(80, 12, 1, 0, 0, 0),
                                        t(80, 0, 0, 0, 0, 0),       t(80, 0, 32, 0, 0, 0), t(80, 0, 1, 24, 0, 0),
                                        t(80, 0, 1, 0, 60, 0),      t(80, 0, 1, 0, 0, 60), t(79, 12, 0, 24, 60, 60)};
  // Each row: the entry's name, comment, info, method, level, raw, window
  // bits, memory level, strategy, zip64, extra sizes, and the result.
  struct Row {
    const char *name;
    const char *comment;
    const ruvo_zip_fileinfo_st *info;
    int method, level, raw, wbits, mem, strategy, zip64;
    uint32_t local, global;
    int want;
  };
  const int P = RUVO_ZIP_PARAMERROR;
  const Row rows[] = {
      {"a", nullptr, nullptr, 8, -1, 0, -15, 8, 0, 0, 0, 0, 0},      {nullptr, nullptr, nullptr, 8, -1, 0, -15, 8, 0, 0, 0, 0, P},
      {"a", nullptr, nullptr, 12, -1, 0, -15, 8, 0, 0, 0, 0, P},     {"a", nullptr, nullptr, 8, -2, 0, -15, 8, 0, 0, 0, 0, P},
      {"a", nullptr, nullptr, 8, 10, 0, -15, 8, 0, 0, 0, 0, P},      {"a", nullptr, nullptr, 8, 9, 1, -15, 8, 0, 0, 0, 0, P},
      {"a", nullptr, nullptr, 8, 9, 0, -9, 1, 4, 1, 0, 0, 0},        {"a", nullptr, nullptr, 8, 9, 0, -8, 8, 0, 0, 0, 0, P},
      {"a", nullptr, nullptr, 8, 9, 0, -16, 8, 0, 0, 0, 0, P},       {"a", nullptr, nullptr, 8, 9, 0, 15, 8, 0, 0, 0, 0, P},
      {"a", nullptr, nullptr, 8, 9, 0, -15, 0, 0, 0, 0, 0, P},       {"a", nullptr, nullptr, 8, 9, 0, -15, 10, 0, 0, 0, 0, P},
      {"a", nullptr, nullptr, 8, 9, 0, -15, 9, -1, 0, 0, 0, P},      {"a", nullptr, nullptr, 8, 9, 0, -15, 8, 5, 0, 0, 0, P},
      {"a", nullptr, nullptr, 8, 9, 0, -15, 8, 0, 2, 0, 0, P},       {"a", nullptr, nullptr, 8, 9, 0, -15, 8, 0, -1, 0, 0, P},
      {n65535.c_str(), n65535.c_str(), nullptr, 0, 0, 0, -15, 8, 0, 0, 0, 0, 0},
      {n65536.c_str(), nullptr, nullptr, 0, 0, 0, -15, 8, 0, 0, 0, 0, P},
      {"a", n65536.c_str(), nullptr, 0, 0, 0, -15, 8, 0, 0, 0, 0, P},
      {"a", nullptr, nullptr, 0, 0, 0, -15, 8, 0, 0, 65515, 65507, 0}, {"a", nullptr, nullptr, 0, 0, 0, -15, 8, 0, 0, 65516, 0, P},
      {"a", nullptr, nullptr, 0, 0, 0, -15, 8, 0, 0, 0, 65508, P},
  };
  const std::string extra(65536, '\0');
  for (const Row &r : rows) {
    EXPECT_EQ(ruvoZipOpenNewFileInZip3_64(zf, r.name, r.info, extra.data(), r.local, extra.data(), r.global,
                                          r.comment, r.method, r.level, r.raw, r.wbits, r.mem, r.strategy,
                                          nullptr, 0, r.zip64), r.want)
        << (r.name ? std::string(r.name).size() : 0) << " " << r.method << " " << r.level << " " << r.wbits
        << " " << r.mem << " " << r.strategy << " " << r.zip64 << " " << r.local << " " << r.global;
  }
  const int time_want[] = {0, P, P, P, P, P, P, P, 0};
  for (size_t i = 0; i < std::size(times); ++i) {
    EXPECT_EQ(ruvoZipOpenNewFileInZip64(zf, "t", &times[i], nullptr, 0, nullptr, 0, nullptr, 0, 0, 0), time_want[i])
        << "time row " << i;
  }
  EXPECT_EQ(ruvoZipOpenNewFileInZip64(zf, "a", nullptr, nullptr, 1, nullptr, 0, nullptr, 0, 0, 0), P);
  EXPECT_EQ(ruvoZipOpenNewFileInZip64(zf, "a", nullptr, nullptr, 0, nullptr, 1, nullptr, 0, 0, 0), P);
  EXPECT_EQ(ruvoZipOpenNewFileInZip64(nullptr, "a", nullptr, nullptr, 0, nullptr, 0, nullptr, 0, 0, 0), P);
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, nullptr, 1), P);
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, nullptr, 0), 0);
  // Past 0xFFFFFFFE bytes an entry without Zip64 fields is refused before a
  // byte is read: the buffer here is far smaller than the length.
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, x, 0xFFFFFFFFu), RUVO_ZIP_TOOLARGE);
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, x, 1), 0);
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, x, 0xFFFFFFFEu), RUVO_ZIP_TOOLARGE);
  EXPECT_EQ(ruvoZipCloseFileInZip(zf), 0);
  EXPECT_EQ(ruvoZipCloseFileInZip(zf), P);
  EXPECT_EQ(ruvoZipCloseFileInZip(nullptr), P);
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, x, 1), P);
  EXPECT_EQ(ruvoZipWriteInFileInZip(nullptr, x, 1), P);
  // A cipher entry whose data does not match the announced CRC is reported.
  ASSERT_EQ(ruvoZipOpenNewFileInZip3_64(zf, "c", nullptr, nullptr, 0, nullptr, 0, nullptr, 8, 9, 0, -15, 8, 0,
                                        "pw", 1234, 0), 0);
  EXPECT_EQ(ruvoZipWriteInFileInZip(zf, "data", 4), 0);
  EXPECT_EQ(ruvoZipCloseFileInZip(zf), P);
  EXPECT_EQ(ruvoZipClose(zf, n65536.c_str()), P);
  EXPECT_EQ(ruvoZipClose(nullptr, nullptr), P);
  uint32_t crc = 0;
  char buf[4];
  EXPECT_EQ(getFileCrc(nullptr, buf, 4, &crc), P);
  EXPECT_EQ(getFileCrc(path("text").c_str(), nullptr, 4, &crc), P);
  EXPECT_EQ(getFileCrc(path("text").c_str(), buf, 0, &crc), P);
  EXPECT_EQ(getFileCrc(path("text").c_str(), buf, 4, nullptr), P);
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
      if (ruvoZipOpenNewFileInZip64(zf, "a", nullptr, nullptr, 0, nullptr, 0, nullptr, 0, 0, 0) != 0) _exit(1);
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
  for (size_t i = 0; i < std::size(limits); ++i) EXPECT_EQ(build(limits[i]), steps[i]) << "limit " << limits[i];
}

// Adding with a shorter comment than the archive had leaves no old bytes
// behind the new end record.
TEST_F(ZipLib, ShorterCommentOnAddTruncatesTheFile) {
  const std::string zip = path("c.zip");
  void *zf = ruvoZipOpen64(zip.c_str(), 0);
  // An entry without a name: its central record is the bare 46 bytes.
  ASSERT_EQ(ruvoZipOpenNewFileInZip64(zf, "", nullptr, nullptr, 0, nullptr, 0, nullptr, 0, 0, 0), 0);
  ASSERT_EQ(ruvoZipClose(zf, "a long comment of the first version"), 0);
  zf = ruvoZipOpen64(zip.c_str(), 2);
  ASSERT_NE(zf, nullptr);
  ASSERT_EQ(ruvoZipClose(zf, "short"), 0);
  const ruvo_test::ZipRead got = ruvo_test::read_zip(slurp(zip));
  EXPECT_EQ(got.error, "");
  EXPECT_EQ(got.comment, "short");
  EXPECT_EQ(got.items.size(), 1u);
  EXPECT_EQ(slurp(zip).size(), 30u + 46u + 22u + 5u);
}

}  // namespace
