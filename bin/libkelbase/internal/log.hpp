// The in-library log call. Each use expands in its own source file, so the
// record carries that file's name and line; it takes no lock, allocates
// nothing and leaves the last error as it was.
#pragma once

#include <cstddef>
#include <cstdint>

#include "internal/platform.hpp"
#include "ruvo/base/log.h"

// Attaches the default auto log on a process that has no output yet
// (windows/autolog.cpp). The Linux build has no auto log: its records go to
// the registered outputs or to standard error.
void ruvo_log_attach_default() noexcept;

#if defined(RUVO_BASE_TESTING)
namespace ruvo::testing {
// Lets a test rotate the auto log in seconds: the size above which a file is
// replaced, the milliseconds or records between two size checks, and the
// flush thread's pause.
void autolog_limits(int64_t size_limit, uint64_t check_interval_ms, int32_t records_per_check,
                    uint32_t flush_pause_ms) noexcept;
}  // namespace ruvo::testing
#endif

// Local time as "YYYY-MM-DD hh:mm:ss". Returns the length written; 0 for a
// null buffer or a size of 0.
int32_t ruvo_log_timestamp(char *buf, uint32_t size) noexcept;

namespace ruvo::detail {

template <std::size_t N>
struct source_stem {
  char text[N]{};
};

// The file's name without its folders and its extension ("shell" for
// ".../bin/libkelbase/shell.cpp"), worked out by the compiler so that no
// build path reaches a record.
template <std::size_t N>
consteval source_stem<N> make_source_stem(const char (&path)[N]) {
  std::size_t begin = 0;
  for (std::size_t i = 0; i + 1 < N; ++i) {
    if (path[i] == '\\' || path[i] == '/') begin = i + 1;
  }
  std::size_t end = N - 1;
  for (std::size_t i = N - 1; i > begin; --i) {
    if (path[i - 1] == '.') {
      end = i - 1;
      break;
    }
  }
  source_stem<N> stem{};
  for (std::size_t i = begin; i < end; ++i) stem.text[i - begin] = path[i];
  return stem;
}

// The timestamp is taken before the gate on purpose: a dropped record costs
// the same as a kept one, and the attach step runs for both.
template <class... Args>
inline void log_record(int32_t level, const char *format, const char *stem, int line,
                       Args... args) noexcept {
  ruvo_log_attach_default();
  char stamp[256] = {};
  ruvo_log_timestamp(stamp, sizeof stamp);
  if (ruvo_log_level_get() < level) return;  // level 0 ([fatal], [error]) always passes
  ruvo_log_output(static_cast<uint32_t>(level), format, stamp,
                  static_cast<int>(sys::process_id()), static_cast<int>(sys::thread_id()),
                  "[kel]", stem, line, args...);
}

}  // namespace ruvo::detail

#define RUVO_SOURCE_STEM_                                                       \
  ([]() noexcept -> const char * {                                              \
    static constexpr auto ruvo_stem_ = ::ruvo::detail::make_source_stem(__FILE__); \
    return ruvo_stem_.text;                                                     \
  }())

// RUVO_LOG(RUVO_LOG_WARN, "warn", "pclose failed %d\n", rc): `word` and the
// message are literals, joined with the record head at compile time.
#define RUVO_LOG(level, word, message, ...)                                         \
  do {                                                                              \
    ::ruvo::sys::saved_error ruvo_log_keep_;                                        \
    ::ruvo::detail::log_record((level),                                             \
                               "[%s] [" word "] [pid:%d] [tid:%d] %s [%s:%d] " message, \
                               RUVO_SOURCE_STEM_, __LINE__ __VA_OPT__(, ) __VA_ARGS__); \
  } while (0)
