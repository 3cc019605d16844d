// The auto log on real files in a fresh temporary folder, with its limits
// narrowed through the test seam so that files rotate in seconds: what a
// start finds and tidies, rotation by size once a second, buffering, the
// default directory, and children whose eight threads log across rotations.
// Archives are read back with the tests' own zip reader.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "internal/fault.hpp"
#include "internal/log.hpp"
#include "ruvo/base/autolog.h"
#include "support/support.hpp"
#include "support/zip_reader.hpp"

namespace {

// Log files are text files (CR LF): read in text mode, they compare with "\n".
std::string slurp(const std::string &path, const char *mode = "r") {
  std::string bytes;
  if (FILE *f = std::fopen(path.c_str(), mode)) {
    char buf[4096];
    for (size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;) bytes.append(buf, n);
    std::fclose(f);
  }
  return bytes;
}

void put(const std::string &path, const std::string &bytes) {
  FILE *f = std::fopen(path.c_str(), "wb");
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
}

// Names in `dir` ending in `suffix`, sorted.
std::vector<std::string> names(const std::string &dir, const std::string &suffix) {
  std::vector<std::string> out;
  WIN32_FIND_DATAA data;
  HANDLE h = ::FindFirstFileA((dir + "\\*" + suffix).c_str(), &data);
  for (bool more = h != INVALID_HANDLE_VALUE; more; more = ::FindNextFileA(h, &data)) {
    out.push_back(data.cFileName);
  }
  if (h != INVALID_HANDLE_VALUE) ::FindClose(h);
  std::sort(out.begin(), out.end());
  return out;
}

// Everything the log files of `dir` hold, oldest file first.
std::string all_logs(const std::string &dir) {
  std::string text;
  for (const auto &n : names(dir, ".log")) text += slurp(dir + "\\" + n);
  return text;
}

std::string fresh_dir(const char *tag) {
  char tmp[MAX_PATH];
  ::GetTempPathA(MAX_PATH, tmp);
  const std::string dir = std::string(tmp) + "ruvo-autolog-" + tag + "-" +
                          std::to_string(::GetCurrentProcessId());
  // Not through the library: its first record would start the auto log.
  std::filesystem::remove_all(dir);
  std::filesystem::create_directory(dir);
  return dir;
}

void wait_next_second() {
  const std::time_t now = std::time(nullptr);
  while (std::time(nullptr) == now) ::Sleep(5);
}

void narrow_limits(int64_t size, uint64_t interval_ms, int32_t per_check, uint32_t flush_ms) {
  ruvo::testing::autolog_limits(size, interval_ms, per_check, flush_ms);
}

// A start deletes a log of 200 MiB or more, packs all logs but the newest
// two into an archive named after the oldest (a count of 20 is taken as the
// cap of 10), keeps 10 archives, and continues the newest log.
TEST(Autolog, StartTidiesTheDirectoryAndContinuesTheNewestLog) {
  const std::string dir = fresh_dir("start");
  HANDLE big = ::CreateFileA((dir + "\\20200101-000000.log").c_str(), GENERIC_WRITE, 0, nullptr,
                             CREATE_NEW, 0, nullptr);
  LARGE_INTEGER size;
  size.QuadPart = 200LL << 20;  // exactly the size that is deleted
  ::SetFilePointerEx(big, size, nullptr, FILE_BEGIN);
  ::SetEndOfFile(big);
  ::CloseHandle(big);
  for (int i = 1; i <= 12; ++i) {
    char name[64];
    std::snprintf(name, sizeof name, "\\20200102-0000%02d.log", i);
    put(dir + name, "old " + std::to_string(i) + "\n");
    std::snprintf(name, sizeof name, "\\20190101-0000%02d.log.zip", i);
    if (i <= 11) put(dir + name, "not read");
  }
  // No thread can start, so what is tidied is tidied by the start itself.
  ruvo::fault::fail_thread_starts(true);
  ruvo_autolog_init(dir.c_str(), 20);
  ruvo_autolog_init((dir + "\\other").c_str(), 1);  // the first directory stays
  ruvo_log_output(RUVO_LOG_INFO, "new %d", 13);
  ruvo_autolog_finit();

  EXPECT_EQ(names(dir, ".log"), (std::vector<std::string>{"20200102-000011.log", "20200102-000012.log"}));
  EXPECT_EQ(slurp(dir + "\\20200102-000012.log"), "old 12\nnew 13\n");
  EXPECT_EQ(::GetFileAttributesA((dir + "\\other").c_str()), INVALID_FILE_ATTRIBUTES);
  const auto zips = names(dir, ".zip");
  ASSERT_EQ(zips.size(), 10u);
  EXPECT_EQ(zips.front(), "20190101-000003.log.zip");
  EXPECT_EQ(zips.back(), "20200102-000001.log.zip");
  const auto archive = ruvo_test::read_zip(slurp(dir + "\\" + zips.back(), "rb"));
  ASSERT_EQ(archive.error, "");
  ASSERT_EQ(archive.items.size(), 10u);
  for (int i = 0; i < 10; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "20200102-0000%02d.log", i + 1);
    EXPECT_EQ(archive.items[i].name, name);
    EXPECT_EQ(archive.items[i].data, "old " + std::to_string(i + 1) + "\n");
  }
  std::filesystem::remove_all(dir);
}

// A file is replaced once it holds more than the limit and the check sees
// it, but never by a file of the same name: a second rotation within one
// second keeps the records of the first.
TEST(Autolog, RotatesBySizeAtMostOnceASecond) {
  const std::string dir = fresh_dir("rotate");
  narrow_limits(100, UINT64_MAX, 1, UINT32_MAX);
  ruvo_autolog_init(dir.c_str(), -1);
  const std::string body(97, 'x');  // 100 bytes a record, with CR LF
  const auto record = [&](char c) { ruvo_log_output(RUVO_LOG_INFO, "%c%s\n", c, body.c_str()); };
  record('A');
  wait_next_second();
  record('B');  // exactly at the limit: not replaced
  wait_next_second();
  record('C');  // a new file
  record('D');
  record('E');  // over the limit again within the same second: continued
  wait_next_second();
  record('F');
  ruvo_autolog_finit();

  const auto logs = names(dir, ".log");
  ASSERT_EQ(logs.size(), 3u);
  SYSTEMTIME today;
  ::GetLocalTime(&today);
  char date[16];
  std::snprintf(date, sizeof date, "%04d%02d%02d-", today.wYear, today.wMonth, today.wDay);
  EXPECT_EQ(logs[2].substr(0, 9), date);
  const char *want[] = {"AB", "CDE", "F"};
  for (int i = 0; i < 3; ++i) {
    std::string firsts;
    const std::string text = slurp(dir + "\\" + logs[i]);
    for (size_t at = 0; at < text.size(); at += 99) firsts += text[at];
    EXPECT_EQ(firsts, want[i]) << logs[i];
    EXPECT_EQ(text.size(), firsts.size() * 99) << logs[i];
  }
  std::filesystem::remove_all(dir);
}

// Records are buffered until the flush thread or a flush hands them on, and
// written at once at the debug level or with the cache off. Without a
// newline of its own a record ends its line all the same.
TEST(Autolog, BufferingFollowsTheLevelAndTheCacheSwitch) {
  const std::string dir = fresh_dir("buffer");
  narrow_limits(1 << 20, UINT64_MAX, INT32_MAX, 20);
  ruvo_autolog_init(dir.c_str(), -1);
  ruvo_log_output(RUVO_LOG_INFO, "a");
  {
    ruvo_test::watchdog dog("the flush thread", 20);
    while (all_logs(dir) != "a\n") ::Sleep(5);
  }
  ruvo_autolog_finit();
  ruvo_autolog_init(dir.c_str(), -1);  // the flush thread does not run again
  const struct {
    int level;
    uint32_t cache;
    const char *text;
    bool at_once;
  } steps[] = {{2, 1, "b", false}, {3, 1, "c", true}, {2, 0, "d", true}, {2, 1, "e", false}};
  std::string want = "a\n", pending;
  for (const auto &s : steps) {
    ruvo_log_level_set(s.level);
    ruvo_autolog_cache_switch(s.cache);
    ruvo_autolog_reset_logbuf();
    ruvo_log_output(RUVO_LOG_INFO, s.text);
    pending += std::string(s.text) + "\n";
    if (s.at_once) {
      want += pending;
      pending.clear();
    }
    EXPECT_EQ(all_logs(dir), want) << s.text;
  }
  ruvo_autolog_fflush();
  EXPECT_EQ(all_logs(dir), want + pending);
  ruvo_autolog_finit();
  std::filesystem::remove_all(dir);
}

// A start that cannot make its locks says so and registers nothing.
TEST(Autolog, AStartWithoutLocksLogsAndStaysDown) {
  static std::string seen;
  ruvo_log_output_register([](uint32_t, const char *format, va_list args) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, args);
    seen += text;
  });
  const std::string dir = fresh_dir("locks");
  const struct {
    long successes;
    const char *want;
  } rows[] = {{0, "] mutex init failed"}, {1, "] collect_thread mutex init failed"}};
  for (const auto &[successes, want] : rows) {
    seen.clear();
    ruvo::fault::fail_allocations_after(successes);
    ruvo_autolog_init((dir + "\\sub").c_str(), 5);
    ruvo::fault::fail_allocations_after(-1);
    EXPECT_NE(seen.find(want), std::string::npos) << seen;
    EXPECT_NE(seen.find("[error]"), std::string::npos) << seen;
  }
  ruvo_log_output(RUVO_LOG_INFO, "only to the test's output\n");
  EXPECT_EQ(seen.substr(seen.size() - 26), "only to the test's output\n");
  EXPECT_EQ(::GetFileAttributesA((dir + "\\sub").c_str()), INVALID_FILE_ATTRIBUTES);
  std::filesystem::remove_all(dir);
}

// With a file count of 0, a stop packs every log into an archive.
TEST(Autolog, StopWithCountZeroArchivesEveryLog) {
  const std::string dir = fresh_dir("zero");
  ruvo_autolog_init(dir.c_str(), 0);
  ruvo_log_output(RUVO_LOG_INFO, "kept %s\n", "in the archive");
  ruvo_autolog_finit();
  EXPECT_TRUE(names(dir, ".log").empty());
  const auto zips = names(dir, ".zip");
  ASSERT_EQ(zips.size(), 1u);
  const auto archive = ruvo_test::read_zip(slurp(dir + "\\" + zips[0], "rb"));
  ASSERT_EQ(archive.items.size(), 1u);
  EXPECT_EQ(archive.items[0].data, "kept in the archive\r\n");
  std::filesystem::remove_all(dir);
}

// The library's own first record starts the auto log under the shared
// application data folder, named after the program, and does so again
// after a stop.
TEST(Autolog, FirstRecordAttachesTheDefaultDirectory) {
  const std::string root = fresh_dir("default");
  char buf[300] = "untouched";
  ::SetEnvironmentVariableA("ALLUSERSPROFILE", nullptr);
  EXPECT_EQ(ruvo_log_dir(buf, sizeof buf), 0);
  ::SetEnvironmentVariableA("ALLUSERSPROFILE", std::string(260, 'p').c_str());
  EXPECT_EQ(ruvo_log_dir(buf, sizeof buf), 0);
  EXPECT_STREQ(buf, "");
  ::SetEnvironmentVariableA("ALLUSERSPROFILE", root.c_str());
  std::strcpy(buf, "untouched");
  EXPECT_EQ(ruvo_log_dir(buf, 0), 0);
  EXPECT_STREQ(buf, "untouched");
  EXPECT_EQ(ruvo_log_dir(nullptr, 260), 0);
  EXPECT_EQ(ruvo_log_dir(buf, 1), static_cast<int32_t>(root.size()));
  EXPECT_EQ(buf, root);

  char exe[MAX_PATH];
  ::GetModuleFileNameA(nullptr, exe, MAX_PATH);
  const std::string dir = root + "\\Halvern\\RUVO3_LOG\\ruvo_default_autolog\\" +
                          (std::strrchr(exe, '\\') + 1);
  RUVO_LOG(RUVO_LOG_ERROR, "error", "first %d", 1);
  EXPECT_EQ(ruvo_log_is_regestered(), 1);
  ruvo_autolog_finit();
  EXPECT_EQ(ruvo_log_is_regestered(), 0);
  RUVO_LOG(RUVO_LOG_ERROR, "error", "second %d", 2);
  ruvo_autolog_finit();
  const std::string text = all_logs(dir);
  EXPECT_NE(text.find("[error]"), std::string::npos) << text;
  EXPECT_LT(text.find("first 1\n"), text.find("second 2\n")) << text;
  std::filesystem::remove_all(root);
}

// A child whose eight threads log for some seconds, with files replaced
// above 16 KiB and checked every millisecond. Prints how many records each
// thread wrote.
int logger_main(const std::vector<std::string> &args) {
  narrow_limits(16 * 1024, 1, INT32_MAX, 10 * 1000);
  ruvo_autolog_init(args.at(0).c_str(), 5);
  const ULONGLONG end = ::GetTickCount64() + std::stoul(args.at(2)) * 1000;
  int counts[8] = {};
  ruvo_test::run_threads(8, [&](int t) {
    for (; ::GetTickCount64() < end; ++counts[t]) {
      ruvo_log_output(RUVO_LOG_INFO, "%s %d %06d ........................................",
                      args.at(1).c_str(), t, counts[t]);
      ::Sleep(counts[t] % 2);
    }
  });
  ruvo_autolog_finit();
  for (int c : counts) std::printf("%d ", c);
  return 0;
}
const bool registered = ruvo_test::register_child("logger", logger_main);

// Two runs of the child in one directory, the first continuing a log it
// finds there: each record is found exactly once, whole, across the logs
// and the archives, and the archives and logs left stay within their counts.
TEST(AutologChild, EightThreadsAcrossRotationsLoseNothing) {
  const std::string dir = fresh_dir("child");
  // The newest log of an earlier run, below the limit: the first child
  // continues it.
  const std::string earlier = dir + "\\29991231-235959.log";
  put(earlier, "earlier run\n");
  std::map<std::string, std::vector<int>> written;
  for (const auto &[run, seconds] : {std::pair{"a", "5"}, std::pair{"b", "3"}}) {
    std::string out;
    ASSERT_EQ(ruvo_test::run_child("logger", {dir, run, seconds}, &out), 0);
    std::istringstream counts(out);
    for (int t = 0, n; t < 8 && counts >> n; ++t) written[run + std::to_string(t)].push_back(n);
  }

  EXPECT_EQ(slurp(earlier).rfind("earlier run\na ", 0), 0u) << slurp(earlier).substr(0, 40);
  std::string text = all_logs(dir);
  const auto zips = names(dir, ".zip");
  EXPECT_GE(zips.size(), 1u);
  EXPECT_LE(zips.size(), 10u);
  EXPECT_LE(names(dir, ".log").size(), 6u);
  for (const auto &z : zips) {
    const auto archive = ruvo_test::read_zip(slurp(dir + "\\" + z, "rb"));
    EXPECT_EQ(archive.error, "") << z;
    for (auto item : archive.items) {
      std::erase(item.data, '\r');
      text += item.data;
    }
  }
  const std::regex whole("([ab]) ([0-7]) ([0-9]{6}) \\.{40}");
  std::map<std::string, std::vector<int>> seen;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line == "earlier run") continue;
    std::smatch m;
    ASSERT_TRUE(std::regex_match(line, m, whole)) << "torn: " << line;
    auto &hits = seen[m[1].str() + m[2].str()];
    const int seq = std::stoi(m[3].str());
    if (hits.size() <= static_cast<size_t>(seq)) hits.resize(seq + 1);
    ++hits[seq];
  }
  for (const auto &[thread, count] : written) {
    ASSERT_EQ(seen[thread].size(), static_cast<size_t>(count.at(0))) << thread;
    for (int seq = 0; seq < count[0]; ++seq) ASSERT_EQ(seen[thread][seq], 1) << thread << " " << seq;
  }
  std::filesystem::remove_all(dir);
}

}  // namespace
