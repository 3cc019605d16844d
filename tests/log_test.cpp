// Log front end through the public interface: levels, the output table and
// delivery. Every case runs in a process of its own, so the process-wide
// table starts empty each time.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <sys/stat.h>

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

// Any value outside 0-3 gives 2, also one above 3: it is not clamped.
TEST(LogTest, LevelStartsAtInfoAndTakesOnlyZeroToThree) {
  std::vector<int32_t> got{ruvo_log_level_get()};
  for (uint32_t level : {3u, 0u, 7u, 1u, 4u, 0u, UINT32_MAX}) {
    ruvo_log_level_set(level);
    got.push_back(ruvo_log_level_get());
  }
  EXPECT_EQ(got, (std::vector<int32_t>{2, 3, 0, 2, 1, 2, 0, 2}));
}

// Outputs come and go at random against a list of what should be there:
// nine slots, full and empty tables both frequent; a duplicate is called once per
// registration and the first one goes first; the others keep their order,
// each gets the arguments from their start, and the flag follows the list.
// With none left a record goes to standard error, flushed even when the
// stream is buffered. Nothing is gated, and an unknown level arrives as a
// warning.
TEST(LogTest, RandomRegistrationsMatchAListOfNine) {
  const ruvo_log_output_fn outputs[] = {&capture<0>, &capture<1>, &capture<2>, &capture<3>,
                                        &capture<4>, nullptr};
  const uint32_t levels[] = {0, 1, 2, 3, 4, 9, static_cast<uint32_t>(-1)};
  std::mt19937 rng(7);
  std::vector<int> want;
  ruvo_log_level_set(0);
  std::setvbuf(stderr, nullptr, _IOFBF, 4096);
  for (int step = 0; step < 4000; ++step) {
    const int n = static_cast<int>(rng() % 6);
    const auto it = std::find(want.begin(), want.end(), n);
    if (rng() % 5 < (step / 200 % 2 ? 4u : 1u)) {  // phases that fill and that empty the table
      const bool fits = outputs[n] != nullptr && want.size() < 9;
      ASSERT_EQ(ruvo_log_output_register(outputs[n]), fits ? 0 : -1) << step;
      if (fits) want.push_back(n);
    } else {
      ASSERT_EQ(ruvo_log_output_unregister(outputs[n]), it != want.end() ? 0 : -1) << step;
      if (it != want.end()) want.erase(it);
    }
    ASSERT_EQ(ruvo_log_is_regestered(), want.empty() ? 0 : 1) << step;
    const uint32_t level = levels[rng() % 7];
    const std::string text = "step " + std::to_string(step) + "\n";
    g_seen.clear();
    if (want.empty()) ::testing::internal::CaptureStderr();
    ruvo_log_output(level, "step %s%c", std::to_string(step).c_str(), '\n');
    if (want.empty()) {
      struct stat written {};  // buffered, yet the record is out at once
      ASSERT_TRUE(fstat(2, &written) == 0 && written.st_size != 0);
      ASSERT_EQ(::testing::internal::GetCapturedStderr(), text);
    }
    std::vector<int> got;
    for (const delivered &d : g_seen) {
      got.push_back(d.output);
      ASSERT_EQ(d.level, level > 3 ? 1u : level);
      ASSERT_EQ(d.text, text);
    }
    ASSERT_EQ(got, want) << step;
  }
}

}  // namespace
