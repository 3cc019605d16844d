// The few platform facts that the portable families need: ids, sleeping,
// local time and the caller's error state. Windows answers them in
// windows/platform.cpp, Linux in native/platform.cpp; no portable source
// includes a system header for them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "ruvo/base/defs.h"

namespace ruvo::sys {

uint32_t process_id() noexcept;
uint32_t thread_id() noexcept;

// Suspends the calling thread for at least `milliseconds`.
void sleep_ms(uint32_t milliseconds) noexcept;

// The calling thread's error state that callers read after a failure:
// GetLastError on Windows, errno on Linux.
uint32_t last_error() noexcept;
void set_last_error(uint32_t error) noexcept;

// Breaks `t` down into local time. False when the platform cannot.
bool local_time(std::time_t t, std::tm *out) noexcept;

// Text conversions in the manner of MultiByteToWideChar and
// WideCharToMultiByte with flags 0 and a terminated source (length -1): the
// result counts the terminator; with a null `dst` and `cap` 0 it is the size
// needed; 0 is a failure with the last error set (122: it does not fit).
// Linux has no ANSI code page and treats it as ISO 8859-1.
inline constexpr unsigned code_page_ansi = 0;
inline constexpr unsigned code_page_utf8 = 65001;
int to_wide(unsigned code_page, const char *src, ruvo_wchar_t *dst, int cap) noexcept;
int from_wide(unsigned code_page, const ruvo_wchar_t *src, char *dst, int cap) noexcept;

// Blocks of the process heap, which callers free with ruvo_str_free and
// which are not malloc blocks on Windows. The block is zero-filled.
void *process_heap_alloc(size_t bytes) noexcept;
void process_heap_free(void *block) noexcept;

// A fresh path for a temporary file in the platform's temporary folder, as
// _wtmpnam gives one: only the name, no file is made. The text lives in a
// per-thread buffer until the next call; null when there is none. The INI
// family's saves use it (windows/ini.cpp, native/ini.cpp).
const ruvo_wchar_t *temp_file_name() noexcept;

// Pushes what the stream has handed to its file through to the disk.
void commit_to_disk(std::FILE *stream) noexcept;

// Keeps the thread's last error (and errno) across a scope, so that a log
// record or a cleanup after a failure does not change what the caller reads.
class saved_error {
 public:
  saved_error() noexcept;
  ~saved_error();
  saved_error(const saved_error &) = delete;
  saved_error &operator=(const saved_error &) = delete;

 private:
  [[maybe_unused]] unsigned long last_error_;  // unused where errno is the only error state
  int errno_;
};

}  // namespace ruvo::sys
