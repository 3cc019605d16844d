// Stand-ins for the two directory questions that path strings ask, so that
// the portable path code links and runs natively: getcwd for the current
// directory and $HOME for the home directory. UTF-8, as the Windows forms
// give it.
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "ruvo/base/dir.h"

extern "C" {

RUVO_API size_t ruvo_current_dir_get(char *out, size_t cap) noexcept {
  if (out == nullptr || cap < 5) return 0;
  if (::getcwd(out, cap) == nullptr) {
    out[0] = '\0';
    return 0;
  }
  return std::strlen(out);
}

RUVO_API size_t ruvo_home_dir(char *buf, size_t size) noexcept {
  if (buf == nullptr || size == 0) return 0;
  const char *home = std::getenv("HOME");
  const size_t n = home == nullptr ? 0 : std::strlen(home);
  if (n == 0 || n >= size) {
    buf[0] = '\0';
    return 0;
  }
  std::memcpy(buf, home, n + 1);
  return n;
}

}  // extern "C"
