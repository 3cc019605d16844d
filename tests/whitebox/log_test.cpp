// The in-library log call: record head, level gate, source name, timestamp.
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

std::vector<std::string> g_records;  // the delivered level, then the text

void capture(uint32_t level, const char *format, va_list args) {
  char text[1024];
  std::vsnprintf(text, sizeof text, format, args);
  g_records.push_back(std::to_string(level) + text);
}

// The record leaves errno as it was. The level starts at 2 and takes 0 to 3;
// any other value sets 2 (not clamped). [fatal] and [error] pass at every level.
TEST(LogCall, RecordHeadLevelAndGate) {
  ASSERT_EQ(ruvo_log_output_register(&capture), 0);
  errno = ERANGE;
  const int line = __LINE__ + 1;
  RUVO_LOG(RUVO_LOG_WARN, "warn", "pclose failed %d\n", 42);
  EXPECT_EQ(errno, ERANGE);
  ASSERT_EQ(g_records.size(), 1u);
  const std::string &r = g_records[0];
  EXPECT_TRUE(std::regex_match(r.substr(0, 22), std::regex(R"(1\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\])"))) << r;
  EXPECT_EQ(r.substr(22), " [warn] [pid:" + std::to_string(ruvo::sys::process_id()) + "] [tid:" +
                              std::to_string(ruvo::sys::thread_id()) + "] [kel] [log_test:" +
                              std::to_string(line) + "] pclose failed 42\n");
  const char *const passing[] = {"fatal error ", "fatal error warn ", "fatal error warn info ",
                                 "fatal error warn info debug "};
  const std::pair<uint32_t, int32_t> steps[] = {{3, 3}, {0, 0}, {7, 2}, {1, 1}, {4, 2}, {0, 0}, {UINT32_MAX, 2}};
  for (int i = -1; i < int(std::size(steps)); ++i) {
    const int32_t level = i < 0 ? 2 : steps[i].second;
    if (i >= 0) ruvo_log_level_set(steps[i].first);
    ASSERT_EQ(ruvo_log_level_get(), level) << i;
    g_records.clear();
    RUVO_LOG(RUVO_LOG_ERROR, "fatal", "fatal");
    RUVO_LOG(RUVO_LOG_ERROR, "error", "error");
    RUVO_LOG(RUVO_LOG_WARN, "warn", "warn");
    RUVO_LOG(RUVO_LOG_INFO, "info", "info");
    RUVO_LOG(RUVO_LOG_DEBUG, "debug", "debug");
    std::string words;
    for (const std::string &record : g_records) words += record.substr(record.rfind(' ') + 1) + " ";
    EXPECT_EQ(words, passing[level]) << i;
  }
}

TEST(SourceStem, IsTheFileNameWithoutFoldersOrExtension) {
  EXPECT_STREQ(ruvo::detail::make_source_stem("C:\\src\\bin\\shell.cpp").text, "shell");
  EXPECT_STREQ(ruvo::detail::make_source_stem("/home/b/ruvo/base/memory.h").text, "memory");
  EXPECT_STREQ(ruvo::detail::make_source_stem("timer").text, "timer");
  EXPECT_STREQ(ruvo::detail::make_source_stem("a.d/b.d\\auto_log.cpp").text, "auto_log");
}

// Local time (read before and after, in case the second turns over), cut and
// terminated. Without local time, the epoch: 20 bytes with the terminator if
// they fit, else size - 1 bytes and no terminator.
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
