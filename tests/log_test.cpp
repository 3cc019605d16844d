// The output table and delivery; every case runs in a process of its own, so
// the process-wide table starts empty.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "ruvo/base/log.h"

namespace {

std::vector<std::string> g_seen;  // "<output> <level> <text>" per delivery

template <int N>
void capture(uint32_t level, const char *format, va_list args) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, args);
  g_seen.push_back(std::to_string(N) + " " + std::to_string(level) + " " + text);
}

// Outputs come and go at random against a list of nine slots: a duplicate is
// called once per registration, each output gets the arguments from their start.
// With none left a record goes to standard error, flushed even when buffered.
// Nothing is gated, and an unknown level arrives as a warning.
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
    std::vector<std::string> expected;
    for (int output : want)
      expected.push_back(std::to_string(output) + " " + std::to_string(level > 3 ? 1 : level) + " " + text);
    g_seen.clear();
    if (want.empty()) ::testing::internal::CaptureStderr();
    ruvo_log_output(level, "step %s%c", std::to_string(step).c_str(), '\n');
    if (want.empty()) {
      struct stat written {};  // buffered, yet the record is out at once
      ASSERT_TRUE(fstat(2, &written) == 0 && written.st_size != 0);
      ASSERT_EQ(::testing::internal::GetCapturedStderr(), text);
    }
    ASSERT_EQ(g_seen, expected) << step;
  }
}

}  // namespace
