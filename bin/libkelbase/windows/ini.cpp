// The INI family's platform side on Windows: temporary names in the folder
// of GetTempPathW, and FlushFileBuffers for a save that must reach the disk.
#include <io.h>
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cwchar>

#include "internal/platform.hpp"

namespace {

// Appends `value` in hexadecimal; `out` has room for 8 more digits.
wchar_t *append_hex(wchar_t *out, uint32_t value) noexcept {
  wchar_t digits[8];
  int n = 0;
  do {
    digits[n++] = L"0123456789abcdef"[value & 15];
    value >>= 4;
  } while (value != 0);
  while (n > 0) *out++ = digits[--n];
  return out;
}

}  // namespace

namespace ruvo::sys {

// msvcrt's _wtmpnam names a file in the root of the current drive, where a
// service's user may not create files; the temporary folder is meant for
// them. The process id and a counter make the name unique for the life of
// the process; a name that exists is passed over.
const ruvo_wchar_t *temp_file_name() noexcept {
  static std::atomic<uint32_t> counter{0};
  thread_local wchar_t name[MAX_PATH];
  wchar_t dir[MAX_PATH];
  const DWORD n = ::GetTempPathW(MAX_PATH, dir);
  if (n == 0 || n >= MAX_PATH) return nullptr;
  if (n + 3 + 8 + 1 + 8 + 4 >= MAX_PATH) return nullptr;
  for (int tries = 0; tries < 100; ++tries) {
    wchar_t *end = std::wcscpy(name, dir) + n;
    end = std::wcscpy(end, L"ini") + 3;
    end = append_hex(end, ::GetCurrentProcessId());
    *end++ = L'-';
    end = append_hex(end, counter.fetch_add(1) + 1);
    std::wcscpy(end, L".tmp");
    if (::GetFileAttributesW(name) == INVALID_FILE_ATTRIBUTES) return name;
  }
  return nullptr;
}

void commit_to_disk(std::FILE *stream) noexcept {
  ::FlushFileBuffers(reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(stream))));
}

}  // namespace ruvo::sys
