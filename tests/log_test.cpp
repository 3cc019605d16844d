// Log front end through the public interface: levels, the output table and
// delivery. Every case runs in a process of its own, so the process-wide
// table starts empty each time.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ruvo/base/log.h"

namespace {

struct delivered {
  int output;
  uint32_t level;
  std::string text;
};
std::vector<delivered> g_seen;

template <int N>
void capture(uint32_t level, const char *format, va_list args) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, args);
  g_seen.push_back({N, level, text});
}

class LogTest : public ::testing::Test {
 protected:
  void SetUp() override { g_seen.clear(); }
};

TEST_F(LogTest, LevelStartsAtInfoAndTakesOnlyZeroToThree) {
  EXPECT_EQ(ruvo_log_level_get(), RUVO_LOG_INFO);
  ruvo_log_level_set(3);
  EXPECT_EQ(ruvo_log_level_get(), 3);
  ruvo_log_level_set(0);
  EXPECT_EQ(ruvo_log_level_get(), 0);
  ruvo_log_level_set(7);  // not clamped to 3
  EXPECT_EQ(ruvo_log_level_get(), 2);
  ruvo_log_level_set(1);
  ruvo_log_level_set(static_cast<uint32_t>(-1));
  EXPECT_EQ(ruvo_log_level_get(), 2);
}

TEST_F(LogTest, OutputIsNeverGatedAndUnknownLevelsArriveAsWarn) {
  ASSERT_EQ(ruvo_log_output_register(&capture<1>), 0);
  ruvo_log_level_set(0);
  ruvo_log_output(RUVO_LOG_DEBUG, "debug %d\n", 3);
  ruvo_log_output(9, "nine\n");
  ruvo_log_output(static_cast<uint32_t>(-1), "minus one\n");
  ASSERT_EQ(g_seen.size(), 3u);
  EXPECT_EQ(g_seen[0].level, 3u);
  EXPECT_EQ(g_seen[0].text, "debug 3\n");
  EXPECT_EQ(g_seen[1].level, 1u);
  EXPECT_EQ(g_seen[2].level, 1u);
}

TEST_F(LogTest, NineOutputsFitAndTheTenthIsRefused) {
  ruvo_log_output_fn fns[] = {&capture<1>, &capture<2>, &capture<3>, &capture<4>, &capture<5>,
                              &capture<6>, &capture<7>, &capture<8>, &capture<9>};
  EXPECT_EQ(ruvo_log_is_regestered(), 0);
  for (auto fn : fns) EXPECT_EQ(ruvo_log_output_register(fn), 0);
  EXPECT_EQ(ruvo_log_output_register(&capture<10>), -1);
  EXPECT_EQ(ruvo_log_output_register(nullptr), -1);
  EXPECT_EQ(ruvo_log_is_regestered(), 1);
  ruvo_log_output(RUVO_LOG_INFO, "x=%s\n", "y");
  ASSERT_EQ(g_seen.size(), 9u);
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(g_seen[i].output, i + 1);  // registration order, each from the list's start
    EXPECT_EQ(g_seen[i].text, "x=y\n");
  }
}

TEST_F(LogTest, UnregisterKeepsTheOthersInOrder) {
  ruvo_log_output_register(&capture<1>);
  ruvo_log_output_register(&capture<2>);
  ruvo_log_output_register(&capture<3>);
  EXPECT_EQ(ruvo_log_output_unregister(&capture<2>), 0);
  EXPECT_EQ(ruvo_log_output_unregister(&capture<2>), -1);
  EXPECT_EQ(ruvo_log_output_unregister(&capture<9>), -1);
  EXPECT_EQ(ruvo_log_output_unregister(nullptr), -1);
  ruvo_log_output(RUVO_LOG_INFO, "r\n");
  ASSERT_EQ(g_seen.size(), 2u);
  EXPECT_EQ(g_seen[0].output, 1);
  EXPECT_EQ(g_seen[1].output, 3);
  // A freed slot is reused at the end, behind the survivors.
  ruvo_log_output_register(&capture<4>);
  g_seen.clear();
  ruvo_log_output(RUVO_LOG_INFO, "r\n");
  ASSERT_EQ(g_seen.size(), 3u);
  EXPECT_EQ(g_seen[2].output, 4);
}

TEST_F(LogTest, DuplicateRegistrationIsCalledTwiceAndRemovedOnceAtATime) {
  ruvo_log_output_register(&capture<1>);
  ruvo_log_output_register(&capture<2>);
  ruvo_log_output_register(&capture<1>);
  ruvo_log_output(RUVO_LOG_INFO, "d\n");
  EXPECT_EQ(g_seen.size(), 3u);
  EXPECT_EQ(ruvo_log_output_unregister(&capture<1>), 0);  // the first one goes
  g_seen.clear();
  ruvo_log_output(RUVO_LOG_INFO, "d\n");
  ASSERT_EQ(g_seen.size(), 2u);
  EXPECT_EQ(g_seen[0].output, 2);
  EXPECT_EQ(g_seen[1].output, 1);
}

TEST_F(LogTest, UnregisteringTheLastOutputClearsTheFlag) {
  EXPECT_EQ(ruvo_log_output_unregister(&capture<1>), -1);  // empty table
  ruvo_log_output_register(&capture<1>);
  EXPECT_EQ(ruvo_log_is_regestered(), 1);
  EXPECT_EQ(ruvo_log_output_unregister(&capture<1>), 0);
  EXPECT_EQ(ruvo_log_is_regestered(), 0);
}

TEST_F(LogTest, WithoutOutputsRecordsGoToStandardErrorUngated) {
  ruvo_log_level_set(0);
  ::testing::internal::CaptureStderr();
  ruvo_log_output(RUVO_LOG_DEBUG, "to stderr %s %d\n", "at", 3);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "to stderr at 3\n");
}

}  // namespace
