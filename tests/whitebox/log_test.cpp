// The in-library log call: the record head, the gate, the source name and
// the caller's error state.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include "internal/fault.hpp"
#include "internal/log.hpp"
#include "internal/platform.hpp"

namespace {

std::vector<std::string> g_records;
std::vector<uint32_t> g_levels;

void capture(uint32_t level, const char *format, va_list args) {
  char text[1024];
  std::vsnprintf(text, sizeof text, format, args);
  g_records.emplace_back(text);
  g_levels.push_back(level);
}

class LogCall : public ::testing::Test {
 protected:
  void SetUp() override {
    g_records.clear();
    g_levels.clear();
    ASSERT_EQ(ruvo_log_output_register(&capture), 0);
  }
  void TearDown() override { ruvo_log_output_unregister(&capture); }
};

TEST_F(LogCall, RecordHasTheFullHead) {
  const int line = __LINE__ + 1;
  RUVO_LOG(RUVO_LOG_WARN, "warn", "pclose failed %d\n", 42);
  ASSERT_EQ(g_records.size(), 1u);
  const std::regex head(
      R"(\[(\d{4})-(\d\d)-(\d\d) (\d\d):(\d\d):(\d\d)\] \[warn\] \[pid:(\d+)\] \[tid:(\d+)\] )"
      R"(\[kel\] \[log_test:(\d+)\] pclose failed 42\n)");
  std::smatch m;
  ASSERT_TRUE(std::regex_match(g_records[0], m, head)) << g_records[0];
  EXPECT_GE(std::stoi(m[1]), 2000);
  EXPECT_EQ(std::stoul(m[7]), ruvo::sys::process_id());
  EXPECT_EQ(std::stoul(m[8]), ruvo::sys::thread_id());
  EXPECT_EQ(std::stoi(m[9]), line);
  EXPECT_EQ(g_levels[0], static_cast<uint32_t>(RUVO_LOG_WARN));
}

// [fatal] and [error] are level 0 and pass at every level, [warn] too is
// dropped at level 0.
TEST_F(LogCall, GatePassesRecordsAtOrBelowTheCurrentLevel) {
  std::string words;
  for (uint32_t level = 0; level <= 3; ++level) {
    ruvo_log_level_set(level);
    RUVO_LOG(RUVO_LOG_ERROR, "fatal", "fatal");
    RUVO_LOG(RUVO_LOG_ERROR, "error", "error");
    RUVO_LOG(RUVO_LOG_WARN, "warn", "warn");
    RUVO_LOG(RUVO_LOG_INFO, "info", "info");
    RUVO_LOG(RUVO_LOG_DEBUG, "debug", "debug");
    for (const std::string &r : g_records) words += r.substr(r.rfind(' ') + 1) + " ";
    words += "| ";
    g_records.clear();
  }
  EXPECT_EQ(words, "fatal error | fatal error warn | fatal error warn info | fatal error warn info debug | ");
}

TEST_F(LogCall, LoggingLeavesErrnoAlone) {
  errno = ERANGE;
  RUVO_LOG(RUVO_LOG_INFO, "info", "keeps errno\n");
  EXPECT_EQ(errno, ERANGE);
}

TEST(SourceStem, IsTheFileNameWithoutFoldersOrExtension) {
  constexpr auto windows = ruvo::detail::make_source_stem("C:\\src\\bin\\shell.cpp");
  constexpr auto unix_like = ruvo::detail::make_source_stem("/home/b/ruvo/base/memory.h");
  constexpr auto bare = ruvo::detail::make_source_stem("timer");
  constexpr auto dotted_dir = ruvo::detail::make_source_stem("a.d/b.d\\auto_log.cpp");
  EXPECT_STREQ(windows.text, "shell");
  EXPECT_STREQ(unix_like.text, "memory");
  EXPECT_STREQ(bare.text, "timer");
  EXPECT_STREQ(dotted_dir.text, "auto_log");
}

// Local time as the C library breaks it down (read before and after, in case
// the second turns over), cut to the size and terminated. Without local time
// it is the epoch: 20 bytes with the terminator if they fit, else size - 1
// bytes and no terminator. No buffer or size 0: nothing.
TEST(LogTimestamp, IsLocalTimeOrTheEpochCutToTheSize) {
  auto now = [] {
    const std::time_t t = std::time(nullptr);
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::localtime(&t)) + 1);
  };
  for (const bool broken : {false, true}) {
    ruvo::fault::fail_local_time(broken);
    EXPECT_EQ(ruvo_log_timestamp(nullptr, 64), 0);
    for (const size_t size : {0, 1, 5, 19, 20, 21, 64}) {
      const size_t n = broken ? (size > 20 ? 20 : size ? size - 1 : 0) : size ? std::min<size_t>(19, size - 1) : 0;
      auto want = [&](const std::string &text) {
        const std::string w = text.substr(0, n) + std::string(!broken && size > 0, '\0');
        return w + std::string(64 - w.size(), '#');
      };
      std::string buf(64, '#');
      const std::string before = broken ? std::string("1970-01-01 00:00:00", 20) : now();
      EXPECT_EQ(ruvo_log_timestamp(buf.data(), static_cast<uint32_t>(size)), static_cast<int32_t>(n)) << size;
      EXPECT_TRUE(buf == want(before) || buf == want(broken ? before : now())) << size << " " << buf;
    }
  }
  ruvo::fault::fail_local_time(false);
}

}  // namespace
