// Platform facts for the portable families, from kernel32 and the C runtime.
#include <windows.h>

#include <cerrno>

#include "internal/platform.hpp"

namespace ruvo::sys {

uint32_t process_id() noexcept { return ::GetCurrentProcessId(); }
uint32_t thread_id() noexcept { return ::GetCurrentThreadId(); }

void sleep_ms(uint32_t milliseconds) noexcept { ::Sleep(milliseconds); }

uint32_t last_error() noexcept { return ::GetLastError(); }
void set_last_error(uint32_t error) noexcept { ::SetLastError(error); }

// msvcrt's localtime keeps its result per thread, so it is safe to share.
bool local_time(std::time_t t, std::tm *out) noexcept {
  const std::tm *tm = std::localtime(&t);
  if (tm == nullptr) return false;
  *out = *tm;
  return true;
}

saved_error::saved_error() noexcept : last_error_(::GetLastError()), errno_(errno) {}
saved_error::~saved_error() {
  errno = errno_;
  ::SetLastError(last_error_);
}

}  // namespace ruvo::sys
