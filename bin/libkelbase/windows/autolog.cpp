// The auto log: dated log files in one directory, rotated by size, the old
// ones zipped away on a thread of their own. All state is process-wide.
//
// Records are written by every logging thread with no lock of ours: each
// write rests on the runtime's lock per stream. A rotation opens the new file
// as the standby stream and flips `active` to it; the stream it replaced is
// closed only at the next rotation, and only once no thread is inside it,
// which every writer and flusher announces in `users` of its slot. So a
// thread that read the old pointer just before a flip still finishes its
// record, and no record that reached the auto log is lost.
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "internal/fault.hpp"
#include "internal/log.hpp"
#include "internal/platform.hpp"
#include "wide_arg.hpp"
#include "ruvo/base/autolog.h"
#include "ruvo/base/clock.h"
#include "ruvo/base/dir.h"
#include "ruvo/base/file.h"
#include "ruvo/base/path.h"
#include "ruvo/base/process.h"
#include "ruvo/base/str.h"
#include "ruvo/base/string.h"
#include "ruvo/base/sync.h"
#include "ruvo/base/thread.h"
#include "ruvo/base/zip.h"
#include "ruvo/zip/zip.h"

namespace {

constexpr size_t kPathSize = 260;
constexpr size_t kNameSize = sizeof "/YYYYMMDD-hhmmss.log";  // terminator included
constexpr int32_t kMostFiles = 10;                             // retention cap, archives kept
constexpr int32_t kLogsLeft = 2;
constexpr int64_t kOversize = 0xC800000;
constexpr size_t kFormatLimit = 1023;
constexpr size_t kBufferSize = 4096;

// When a file is checked, how large it may grow and how often the flush
// thread runs. Fixed, but for the test seam that makes all this happen in
// moments.
struct limits {
  int64_t size_limit = 0xA00000;
  uint64_t check_interval_ms = 60 * 1000;
  int32_t records_per_check = 100000;
  uint32_t flush_pause_ms = 10 * 1000;
};
limits g_limits;

std::atomic<int32_t> g_retention{5};
std::atomic<uint32_t> g_cache_on{1};
std::atomic<uint32_t> g_flush_run{1};
std::atomic<uint32_t> g_flush_started{0};
std::atomic<int32_t> g_record_count{0};
std::atomic<uint64_t> g_last_check{0};

std::atomic<int> g_active{0};
std::atomic<FILE *> g_streams[2] = {};
std::atomic<int> g_users[2] = {};
char g_buffers[2][kBufferSize];

// Up while set. Written by init and finit, read by rotation.
std::atomic<bool> g_up{false};
std::atomic<bool> g_opened{false};  // a first file was opened (or failed to open)
std::string g_directory;
std::string g_stamp;      // "YYYYMMDD-hhmmss" of the file in use
std::string g_last_file;  // newest log found at start, continued by the first rotation

ruvo_mutex_st *g_rotate_lock = nullptr;
ruvo_mutex_st *g_collect_lock = nullptr;
std::atomic<int> g_collectors{0};  // collect threads started and not yet ended

// Set while a thread attaches or starts the auto log, whose own failure
// records must not start it again.
std::atomic<bool> g_starting{false};
// Set on a thread inside a rotation: its own records skip the size check.
thread_local bool t_rotating = false;

class lock_guard {
 public:
  explicit lock_guard(ruvo_mutex_st *m) noexcept : m_(m) { ruvo_mutex_lock(m_); }
  ~lock_guard() { ruvo_mutex_unlock(m_); }
  lock_guard(const lock_guard &) = delete;
  lock_guard &operator=(const lock_guard &) = delete;

 private:
  ruvo_mutex_st *m_;
};

// A stream slot in use by this thread. It picks the slot in use and holds
// it, so that a rotation does not close the stream under the caller.
class stream_use {
 public:
  stream_use() noexcept {
    for (;;) {
      slot_ = g_active.load();
      g_users[slot_].fetch_add(1);
      stream_ = g_streams[slot_].load();
      // A null slot that is no longer the active one was being replaced
      // while we looked: take the active one instead.
      if (stream_ != nullptr || slot_ == g_active.load()) return;
      g_users[slot_].fetch_sub(1);
    }
  }
  explicit stream_use(int slot) noexcept : slot_(slot) {
    g_users[slot_].fetch_add(1);
    stream_ = g_streams[slot_].load();
  }
  ~stream_use() { g_users[slot_].fetch_sub(1); }
  stream_use(const stream_use &) = delete;
  stream_use &operator=(const stream_use &) = delete;

  FILE *get() const noexcept { return stream_; }

 private:
  int slot_;
  FILE *stream_;
};

// Takes the stream out of its slot, waits until no thread is inside it and
// closes it.
void close_slot(int slot) noexcept {
  FILE *old = g_streams[slot].exchange(nullptr);
  while (g_users[slot].load() != 0) ruvo::sys::sleep_ms(0);
  if (old != nullptr) ruvo_file_close(old);
}

void flush_streams() noexcept {
  for (int slot = 0; slot < 2; ++slot) {
    const stream_use use(slot);
    if (use.get() != nullptr) std::fflush(use.get());
  }
}

int64_t end_position(FILE *f) noexcept {
  return _fseeki64(f, 0, SEEK_END) == 0 ? _ftelli64(f) : -1;
}

// Local date and time as "YYYYMMDD-hhmmss", or the epoch's when the clock
// can't be broken down.
std::string make_stamp() noexcept {
  std::tm tm{};
  if (!ruvo::sys::local_time(std::time(nullptr), &tm)) return "19700101-000000";
  char text[32];
  ruvo_str_snprintf(text, sizeof text, "%d%02d%02d-%02d%02d%02d", tm.tm_year + 1900,
                    tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
  return text;
}

struct list_request {
  const char *suffix;
  std::vector<std::string> *paths;
};

int32_t take_entry(int32_t is_dir, const char *full_path, void *ctx) {
  const auto *request = static_cast<list_request *>(ctx);
  const size_t n = std::strlen(full_path), k = std::strlen(request->suffix);
  if (is_dir == 0 && n >= k && std::memcmp(full_path + n - k, request->suffix, k) == 0) {
    request->paths->emplace_back(full_path);
  }
  return 0;
}

// The files of `dir` whose paths end in `suffix` (case counts), oldest first:
// their names are dates.
std::vector<std::string> ruvo_autolog_list(const std::string &dir, const char *suffix) noexcept {
  std::vector<std::string> paths;
  list_request request{suffix, &paths};
  ruvo_dirutils_listdir(dir.c_str(), &request, take_entry);
  std::sort(paths.begin(), paths.end());
  return paths;
}

// Full buffering through the slot's own block, unless the level is debug or
// the cache is off: then every record reaches the file at once.
void ruvo_autolog_set_buffer(int slot) noexcept {
  const stream_use use(slot);
  if (use.get() == nullptr) return;
  if (ruvo_log_level_get() < RUVO_LOG_DEBUG && g_cache_on.load() != 0) {
    std::setvbuf(use.get(), g_buffers[slot], _IOFBF, kBufferSize);
  } else {
    std::fflush(use.get());
    std::setvbuf(use.get(), nullptr, _IONBF, 0);
  }
}

// True while a stream of this process (or another) has the file open: no
// one can then open it without sharing. Names sort by age only while the
// clock runs forward; once local time is set back (at the end of summer
// time), a file in use can sort among the old ones, and it must be neither
// packed half-written nor deleted.
bool in_use(const std::string &path) noexcept {
  const ruvo::win::wide_arg wide(path.c_str());
  if (wide.get() == nullptr) return true;
  const ruvo::win::unique_file h(
      ::CreateFileW(wide.get(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  return !h && ::GetLastError() == ERROR_SHARING_VIOLATION;
}

// Packs all log files but the newest `logs_kept` into one archive named
// after the oldest, deletes them, and then the oldest archives beyond
// `zips_kept`. A batch is deleted even when its archive failed; a file in
// use is left out of it.
void ruvo_autolog_collect(const std::string &dir, int32_t logs_kept, int32_t zips_kept) noexcept {
  if (logs_kept < 0 || zips_kept < 0) return;
  const std::vector<std::string> logs = ruvo_autolog_list(dir, ".log");
  const int32_t retention = g_retention.load();
  if (retention < 0 || logs.size() <= static_cast<size_t>(retention)) return;

  std::vector<std::string> batch(logs.begin(), logs.end() - std::min<size_t>(logs.size(), logs_kept));
  std::erase_if(batch, in_use);
  if (void *zf = ruvo_create_zipfile((logs.front() + ".zip").c_str()); zf != nullptr) {
    for (std::string path : batch) {
      ruvo_path_format_u(path.data());
      ruvo_add_file_intozfile(zf, dir.c_str(), ruvo_path_get_name_u(path.c_str()));
    }
    ruvoZipClose(zf, nullptr);
  }
  for (const std::string &path : batch) ruvo_file_unlink(path.c_str());

  const std::vector<std::string> zips = ruvo_autolog_list(dir, ".zip");
  for (size_t i = 0; i + static_cast<size_t>(zips_kept) < zips.size(); ++i) {
    ruvo_file_unlink(zips[i].c_str());
  }
}

uint32_t collect_thread(void *arg) {
  const std::unique_ptr<std::string> dir(static_cast<std::string *>(arg));
  if (ruvo_mutex_trylock(g_collect_lock) == 0) {
    ruvo_autolog_collect(*dir, kLogsLeft, kMostFiles);
    ruvo_mutex_unlock(g_collect_lock);
  }
  g_collectors.fetch_sub(1);
  return 0;
}

void start_collect_thread() noexcept {
  auto dir = std::make_unique<std::string>(g_directory);
  g_collectors.fetch_add(1);
  ruvo_thread_st t{};
  if (ruvo_thread_start(&t, collect_thread, dir.get()) == 0) {
    dir.release();
    ruvo_thread_detach(&t);
  } else {
    g_collectors.fetch_sub(1);
  }
}

uint32_t flush_thread(void *) {
  while (g_flush_run.load() != 0) {
    flush_streams();
    ruvo_msleep(g_limits.flush_pause_ms);
  }
  return 0;
}

// Size alone decides: a new day starts no new file. Before the first file
// was opened a rotation always goes ahead; with no stream to check it
// never does, so an auto log whose file could not be opened stays on
// standard error.
bool rotation_due() noexcept {
  if (!g_opened.load()) return true;
  const stream_use use;
  return use.get() != nullptr && _ftelli64(use.get()) > g_limits.size_limit;
}

// The newest log found at start, opened to be continued when it has room.
FILE *continue_last_file() noexcept {
  if (g_last_file.empty()) return nullptr;
  FILE *f = ruvo_file_open(g_last_file.c_str(), "ab");
  if (f != nullptr) {
    const int64_t end = end_position(f);
    if (end >= 0 && end < g_limits.size_limit) {
      // The stamp of the file's own name: a rotation in that second continues it.
      const size_t dot = g_last_file.size() - 4;
      g_stamp = g_last_file.substr(dot - std::min<size_t>(dot, 15), 15);
    } else {
      ruvo_file_close(f);
      f = nullptr;
    }
  }
  g_last_file.clear();
  return f;
}

void ruvo_autolog_rotate() noexcept {
  g_record_count.store(0);
  if (!g_up.load() || !rotation_due()) return;
  const lock_guard lock(g_rotate_lock);
  if (!g_up.load() || !rotation_due()) return;
  t_rotating = true;

  const int32_t retention = g_retention.load();
  if (retention >= 0 && ruvo_autolog_list(g_directory, ".log").size() > static_cast<size_t>(retention)) {
    start_collect_thread();
  }
  // Two rotations within one second form the same name. The file of that
  // name is the one in use: keep writing it rather than open it a second
  // time, which would either truncate it or write it through two streams.
  const std::string stamp = make_stamp();
  if (stamp != g_stamp) {
    const int standby = 1 - g_active.load();
    close_slot(standby);
    FILE *f = continue_last_file();
    // A new file, or a file of that name from an earlier run of the same
    // second: opened to append, so that records already in it stay.
    if (f == nullptr) {
      f = ruvo_file_open((g_directory + "/" + stamp + ".log").c_str(), "ab");
      if (f != nullptr) end_position(f);
      g_stamp = stamp;
    }
    g_streams[standby].store(f);
    ruvo_autolog_set_buffer(standby);
    g_active.store(standby);
  }
  g_opened.store(true);
  t_rotating = false;
}

// Log files are text files with CR LF line ends. The streams are binary and
// the record is given its CRs here, in the copy it is written from: the
// same bytes as a text stream writes, for less than its translation costs,
// and a position that ftell reports exactly.
size_t with_crlf(const char *text, size_t n, char *out) noexcept {
  size_t k = 0;
  for (size_t i = 0; i < n; ++i) {
    if (text[i] == '\n') out[k++] = '\r';
    out[k++] = text[i];
  }
  return k;
}

// The record is formatted first and handed to the stream in one write, which
// the runtime's stream lock keeps whole against other threads; the
// runtime's formatted output would also push each record through to the
// file at once, buffer or not.
void write_record(const char *format, va_list args) noexcept {
  char local[1024];
  char local_crlf[2 * sizeof local];
  va_list copy;
  va_copy(copy, args);
  const int n = std::vsnprintf(local, sizeof local, format, copy);
  va_end(copy);
  if (n < 0) return;
  std::unique_ptr<char[]> large;
  const char *text = local;
  char *out = local_crlf;
  if (static_cast<size_t>(n) >= sizeof local) {
    large.reset(new (std::nothrow) char[3 * (static_cast<size_t>(n) + 1)]);
    if (large == nullptr) return;
    std::vsnprintf(large.get(), static_cast<size_t>(n) + 1, format, args);
    text = large.get();
    out = large.get() + n + 1;
  }
  const size_t k = with_crlf(text, static_cast<size_t>(n), out);
  const stream_use use;
  std::fwrite(out, 1, k, use.get() != nullptr ? use.get() : stderr);
}

void ruvo_autolog_output(uint32_t, const char *format, va_list args) {
  if (format == nullptr) return;
  // The interval needs only a cheap millisecond count, read on every record:
  // the system's tick count, not the boot-time clock that asks the kernel.
  const uint64_t now = ::GetTickCount64();
  if (!t_rotating &&
      (now - g_last_check.load(std::memory_order_relaxed) > g_limits.check_interval_ms ||
       g_record_count.load(std::memory_order_relaxed) >= g_limits.records_per_check)) {
    ruvo_autolog_rotate();
    g_last_check.store(now);
  }
  // Counted approximately, like the time of the last check: a plain load and
  // store, so that threads that log do not contend on one word.
  g_record_count.store(g_record_count.load(std::memory_order_relaxed) + 1,
                       std::memory_order_relaxed);

  // Every record ends its line, unless its format is too long to copy.
  char line[kFormatLimit + 1];
  const size_t n = strnlen(format, kFormatLimit);
  if (n > 0 && n < kFormatLimit && format[n - 1] != '\n') {
    std::memcpy(line, format, n);
    line[n] = '\n';
    line[n + 1] = '\0';
    format = line;
  }
  write_record(format, args);
}

// Deletes log files that grew past any use: at 200 MiB a file is rather a
// fault than a record.
void delete_oversized(const std::string &dir) noexcept {
  for (const std::string &path : ruvo_autolog_list(dir, ".log")) {
    FILE *f = ruvo_file_open(path.c_str(), "rb");
    if (f == nullptr) continue;
    const int64_t size = end_position(f);
    ruvo_file_close(f);
    if (size >= kOversize) ruvo_file_unlink(path.c_str());
  }
}

// A mutex is an allocation, which the white-box tests make fail through the
// allocation seam.
uint32_t make_mutex(ruvo_mutex_st **m) noexcept {
  return ruvo::fault::allocation_fails() ? RUVO_E_NOMEM : ruvo_mutex_init(m);
}

bool make_locks() noexcept {
  if (make_mutex(&g_rotate_lock) != 0) {
    RUVO_LOG(RUVO_LOG_ERROR, "error", "mutex init failed\n");
    return false;
  }
  if (make_mutex(&g_collect_lock) != 0) {
    RUVO_LOG(RUVO_LOG_ERROR, "error", "collect_thread mutex init failed\n");
    ruvo_mutex_destroy(g_rotate_lock);
    g_rotate_lock = nullptr;
    return false;
  }
  return true;
}

void start(const char *directory, int32_t file_count) noexcept {
  if (g_up.load() || directory == nullptr || *directory == '\0') return;
  // The directory with a log file's name behind it must fit in a path.
  // One '/' between names and none at the end, so that the paths of the
  // files joined to it have no doubled separators, which the file calls and
  // the archive's entries would not take.
  char dir[1024];
  if (ruvo_dirutils_path_transform(directory, dir, sizeof dir) <= 0) return;
  ruvo_path_format_u(dir);
  size_t n = std::strlen(dir);
  if (n > 1 && dir[n - 1] == '/' && dir[n - 2] != ':') dir[--n] = '\0';
  if (n + kNameSize > kPathSize) return;
  if (!make_locks()) return;

  g_directory = dir;
  g_up.store(true);
  g_retention.store(std::min(file_count, kMostFiles));
  ruvo_dirutils_mkdir(dir, 0777);
  delete_oversized(g_directory);
  const std::vector<std::string> logs = ruvo_autolog_list(g_directory, ".log");
  if (!logs.empty()) g_last_file = logs.back();
  ruvo_autolog_collect(g_directory, kLogsLeft, kMostFiles);
  ruvo_autolog_rotate();
  ruvo_log_output_register(ruvo_autolog_output);

  if (g_cache_on.load() != 0 && g_flush_started.load() == 0) {
    ruvo_thread_st t{};
    if (ruvo_thread_start(&t, flush_thread, nullptr) == 0) {
      ruvo_thread_detach(&t);
      g_flush_started.store(1);
    }
  }
}

// Runs `fn` unless this or another thread is already starting the auto log.
template <class Fn>
void once_at_a_time(Fn fn) noexcept {
  if (g_starting.exchange(true)) return;
  fn();
  g_starting.store(false);
}

}  // namespace

#if defined(RUVO_BASE_TESTING)
namespace ruvo::testing {
void autolog_limits(int64_t size_limit, uint64_t check_interval_ms, int32_t records_per_check,
                    uint32_t flush_pause_ms) noexcept {
  g_limits = limits{size_limit, check_interval_ms, records_per_check, flush_pause_ms};
}
}  // namespace ruvo::testing
#endif

// The default directory is named after the executable, under the shared
// application data folder, or beside the program when there is none.
void ruvo_log_attach_default() noexcept {
  if (ruvo_log_is_regestered() != 0) return;
  once_at_a_time([] {
    char exe[kPathSize] = {};
    ruvo_process_get_path(ruvo::sys::process_id(), exe, sizeof exe);
    const char *slash = std::strrchr(exe, '\\');
    const char *name = slash != nullptr ? slash + 1 : exe;

    char base[kPathSize] = {};
    char dir[kPathSize];
    const int need = ruvo_log_dir(base, sizeof base) != 0
                         ? std::snprintf(dir, sizeof dir, "%s/%s/%s/", base,
                                         "/Halvern/RUVO3_LOG/ruvo_default_autolog/", name)
                         : std::snprintf(dir, sizeof dir, "%s/%s/",
                                         "@/../var/logs/ruvo_default_autolog/", name);
    if (need > 0 && static_cast<size_t>(need) < sizeof dir) start(dir, 5);
  });
}

extern "C" {

RUVO_API void ruvo_autolog_init(const char *directory, int32_t file_count) noexcept {
  once_at_a_time([&] { start(directory, file_count); });
}

RUVO_API void ruvo_autolog_finit(void) noexcept {
  g_flush_run.store(0);
  ruvo_log_output_unregister(ruvo_autolog_output);
  if (!g_up.load()) return;
  {
    const lock_guard lock(g_rotate_lock);
    g_up.store(false);
    close_slot(0);
    close_slot(1);
  }
  while (g_collectors.load() != 0) ruvo::sys::sleep_ms(10);
  if (g_retention.load() == 0) ruvo_autolog_collect(g_directory, 0, kMostFiles);

  g_directory.clear();
  g_stamp.clear();
  g_opened.store(false);
  g_last_file.clear();
  g_last_check.store(0);
  ruvo_mutex_destroy(g_rotate_lock);
  ruvo_mutex_destroy(g_collect_lock);
  g_rotate_lock = g_collect_lock = nullptr;
}

RUVO_API void ruvo_autolog_fflush(void) noexcept { flush_streams(); }

RUVO_API void ruvo_autolog_cache_switch(uint32_t value) noexcept { g_cache_on.store(value); }

RUVO_API void ruvo_autolog_reset_logbuf(void) noexcept {
  ruvo_autolog_set_buffer(g_active.load());
}

RUVO_API int32_t ruvo_log_dir(char *buf, uint32_t size) noexcept {
  if (buf == nullptr || size == 0) return 0;
  const DWORD n = ::GetEnvironmentVariableA("ALLUSERSPROFILE", buf, kPathSize);
  if (n == 0 || n >= kPathSize) {
    buf[0] = '\0';
    return 0;
  }
  return static_cast<int32_t>(ruvo_strlen(buf));
}

}  // extern "C"
