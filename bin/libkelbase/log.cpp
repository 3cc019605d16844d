// Log front end: the current level, the table of outputs and delivery of one
// record to them, or to standard error when none is registered.
//
// No lock guards this state: outputs are registered while nobody logs, and
// the level is a single word. Relaxed atomics give exactly the plain loads
// and stores that implies, without making concurrent reads undefined.
#include "ruvo/base/log.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "internal/fault.hpp"
#include "internal/log.hpp"
#include "ruvo/base/str.h"

#if defined(RUVO_BASE_TESTING)
namespace ruvo::fault {
namespace {
std::atomic<bool> g_local_time_fails{false};
}
void fail_local_time(bool fails) noexcept { g_local_time_fails.store(fails); }
bool local_time_fails() noexcept { return g_local_time_fails.load(); }
}  // namespace ruvo::fault
#endif

namespace {

constexpr int kSlots = 9;

std::atomic<int32_t> g_level{RUVO_LOG_INFO};
std::atomic<int32_t> g_registered{0};
// The tenth word stays null for good and ends every walk.
ruvo_log_output_fn g_outputs[kSlots + 1] = {};

}  // namespace

int32_t ruvo_log_timestamp(char *buf, uint32_t size) noexcept {
  if (buf == nullptr || size == 0) return 0;
  std::tm tm{};
  if (!ruvo::fault::local_time_fails() && ruvo::sys::local_time(std::time(nullptr), &tm)) {
    return ruvo_str_snprintf(buf, size, "%d-%02d-%02d %02d:%02d:%02d", tm.tm_year + 1900,
                             tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
  }
  // A clock the runtime cannot break down still gives a record a head. A short
  // buffer gets no terminator here; the log call clears its buffer first.
  static const char kEpoch[] = "1970-01-01 00:00:00";
  const uint32_t n = size > 20 ? 20 : size - 1;
  std::memcpy(buf, kEpoch, n);
  return static_cast<int32_t>(n);
}

extern "C" {

RUVO_API void ruvo_log_level_set(uint32_t level) noexcept {
  g_level.store(level <= RUVO_LOG_DEBUG ? static_cast<int32_t>(level) : RUVO_LOG_INFO,
                std::memory_order_relaxed);
}

RUVO_API int32_t ruvo_log_level_get(void) noexcept {
  return g_level.load(std::memory_order_relaxed);
}

RUVO_API void ruvo_log_output(uint32_t level, const char *format, ...) noexcept {
  va_list args;
  va_start(args, format);
  ruvo_log_voutput(level, format, args);
  va_end(args);
}

RUVO_API void ruvo_log_voutput(uint32_t level, const char *format, va_list args) noexcept {
  if (level > RUVO_LOG_DEBUG) level = RUVO_LOG_WARN;
  if (g_outputs[0] == nullptr) {
    std::vfprintf(stderr, format, args);
    std::fflush(stderr);
    return;
  }
  // Each output gets the list from its start.
  for (int i = 0; g_outputs[i] != nullptr; ++i) {
    va_list copy;
    va_copy(copy, args);
    g_outputs[i](level, format, copy);
    va_end(copy);
  }
}

RUVO_API int ruvo_log_output_register(ruvo_log_output_fn output) noexcept {
  if (output == nullptr) return -1;
  for (int i = 0; i < kSlots; ++i) {
    if (g_outputs[i] == nullptr) {
      g_registered.store(1, std::memory_order_relaxed);
      g_outputs[i] = output;
      return 0;
    }
  }
  return -1;
}

RUVO_API int ruvo_log_output_unregister(ruvo_log_output_fn output) noexcept {
  if (output == nullptr || g_outputs[0] == nullptr) return -1;
  int found = 0;
  while (g_outputs[found] != nullptr && g_outputs[found] != output) ++found;
  if (g_outputs[found] == nullptr) return -1;
  // Close the gap, the terminating null with it, so the others keep their order.
  for (int i = found; i < kSlots; ++i) g_outputs[i] = g_outputs[i + 1];
  if (g_outputs[0] == nullptr) g_registered.store(0, std::memory_order_relaxed);
  return 0;
}

RUVO_API int ruvo_log_is_regestered(void) noexcept {
  return g_registered.load(std::memory_order_relaxed);
}

}  // extern "C"
