// Plain allocation wrappers over the C runtime heap. A family that can carry
// on after running out of memory allocates through these and turns a null
// into a result of its own.
#include "ruvo/base/memory.h"

#include <cstdlib>
#include <cstring>

#include "internal/fault.hpp"

#if defined(RUVO_BASE_TESTING)
namespace ruvo::fault {
namespace {
thread_local long t_successes_left = -1;
}

void fail_allocations_after(long successes) noexcept { t_successes_left = successes; }

bool allocation_fails() noexcept {
  if (t_successes_left < 0) return false;
  if (t_successes_left == 0) return true;
  --t_successes_left;
  return false;
}
}  // namespace ruvo::fault
#endif

extern "C" {

RUVO_API void *ruvo_malloc_(size_t size) noexcept {
  if (ruvo::fault::allocation_fails()) return nullptr;
  return std::malloc(size);
}

RUVO_API void *ruvo_zero_malloc_(size_t size) noexcept {
  void *block = ruvo_malloc_(size);
  if (block != nullptr) std::memset(block, 0, size);
  return block;
}

RUVO_API void *ruvo_ralloc_(void *block, size_t size) noexcept {
  if (ruvo::fault::allocation_fails()) return nullptr;
  return std::realloc(block, size);
}

RUVO_API void ruvo_free_(void *block) noexcept { std::free(block); }

}  // extern "C"
