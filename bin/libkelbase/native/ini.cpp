// The INI family's platform side on Linux: temporary names in $TMPDIR (or
// /tmp) and fsync for a save that must reach the disk.
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "internal/platform.hpp"

namespace ruvo::sys {

// The process id and a counter make the name unique within the folder for
// the life of the process, as _wtmpnam's are; a name that exists is passed
// over.
const ruvo_wchar_t *temp_file_name() noexcept {
  static std::atomic<uint32_t> counter{0};
  thread_local ruvo_wchar_t wide[260];
  const char *dir = std::getenv("TMPDIR");
  if (dir == nullptr || *dir == '\0') dir = "/tmp";
  char name[260];
  for (int tries = 0; tries < 100; ++tries) {
    const int n = std::snprintf(name, sizeof name, "%s/ini%x-%x.tmp", dir,
                                static_cast<unsigned>(::getpid()), counter.fetch_add(1) + 1);
    if (n < 0 || n >= static_cast<int>(sizeof name)) return nullptr;
    if (::access(name, F_OK) == 0) continue;
    if (to_wide(code_page_utf8, name, wide, 260) == 0) return nullptr;
    return wide;
  }
  return nullptr;
}

void commit_to_disk(std::FILE *stream) noexcept { ::fsync(::fileno(stream)); }

}  // namespace ruvo::sys
