// Platform facts for the portable families on Linux, where this build exists
// for the sanitizers, fuzzers and benchmarks.
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "internal/platform.hpp"

namespace ruvo::sys {

uint32_t process_id() noexcept { return static_cast<uint32_t>(::getpid()); }
uint32_t thread_id() noexcept { return static_cast<uint32_t>(::syscall(SYS_gettid)); }

// nanosleep returns early on a signal; go on sleeping for what is left.
void sleep_ms(uint32_t milliseconds) noexcept {
  timespec left{static_cast<time_t>(milliseconds / 1000),
                static_cast<long>(milliseconds % 1000) * 1000000L};
  while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

// The library's own codes (0x84CE....) go into errno as they are; a caller
// on Linux reads them there as a Windows caller reads GetLastError.
uint32_t last_error() noexcept { return static_cast<uint32_t>(errno); }
void set_last_error(uint32_t error) noexcept { errno = static_cast<int>(error); }

bool local_time(std::time_t t, std::tm *out) noexcept { return ::localtime_r(&t, out) != nullptr; }

// Linux has no last-error word beside errno.
saved_error::saved_error() noexcept : last_error_(0), errno_(errno) {}
saved_error::~saved_error() { errno = errno_; }

}  // namespace ruvo::sys
