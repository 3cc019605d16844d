/**
 * \file
 * ruvo/base/autolog.h - the auto log: the library's own log output, a set of
 * dated text files in one directory, rotated by size, with old files zipped
 * away in the background and at most 10 archives kept. Windows only.
 *
 * There is one auto log per process and its interface has no handle. A
 * process starts it with ruvo_autolog_init; if it does not, and no other
 * output is registered, the first log record the library itself writes
 * starts it in a default directory named after the executable:
 * "%ALLUSERSPROFILE%/Halvern/RUVO3_LOG/ruvo_default_autolog/<exe name>/",
 * or "<exe folder>/../var/logs/ruvo_default_autolog/<exe name>/" without
 * that variable.
 *
 * Log files are named "<dir>/YYYYMMDD-hhmmss.log" (local time), so that
 * their names sort by age. A file is checked every 60 seconds or 100 000
 * records and replaced by a new one once it holds more than 10 MiB; a file
 * that holds records is never truncated, and a rotation that would give the
 * name of the file in use continues that file. When more log files than the
 * file count lie in the directory, all but the newest 2 are packed into one
 * archive named after the oldest ("<oldest>.log.zip") and deleted. A
 * restarted process continues its newest log file while it is below 10 MiB;
 * log files of 200 MiB or more are deleted at start.
 *
 * Records are written through 4096-byte buffers, flushed by a background
 * thread every 10 seconds, unless the level is RUVO_LOG_DEBUG or the cache
 * is switched off: then every record reaches the file at once. Records that
 * cannot go to a file (the directory can't be made or the file opened) go
 * to standard error.
 */
#ifndef RUVO_BASE_AUTOLOG_H
#define RUVO_BASE_AUTOLOG_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

#if defined(_WIN32)

/** Starts the auto log in `directory` (a leading "@" stands for the
 * executable's folder; made when missing) and registers it as a log output.
 * `file_count` is how many log files may lie in the directory before old
 * ones are archived: at most 10 (a larger count gives 10), and a negative
 * one means never. Does nothing when the auto log is already up, whatever
 * the arguments; nor for a null or empty directory, or one too long for the
 * paths of its files (more than 239 bytes once "@" is replaced). Call it
 * before other threads log. */
RUVO_API void ruvo_autolog_init(const char *directory, int32_t file_count) RUVO_NOEXCEPT;

/** Stops the auto log: unregisters it, waits for a running archive step,
 * closes its files and, with a file count of 0, archives every log file.
 * It can be started again; the background flushing is then not. */
RUVO_API void ruvo_autolog_finit(void) RUVO_NOEXCEPT;

/** Hands what the auto log's files have buffered to the system. */
RUVO_API void ruvo_autolog_fflush(void) RUVO_NOEXCEPT;

/** Non-zero turns the write cache on (the start value), 0 off. It acts on the
 * next file opened or on ruvo_autolog_reset_logbuf, and, for the background
 * flushing, on the next ruvo_autolog_init. */
RUVO_API void ruvo_autolog_cache_switch(uint32_t value) RUVO_NOEXCEPT;

/** Makes the file in use buffered or unbuffered again from the current level
 * and cache switch (unbuffered at RUVO_LOG_DEBUG), after either changed. */
RUVO_API void ruvo_autolog_reset_logbuf(void) RUVO_NOEXCEPT;

/** Copies the environment variable ALLUSERSPROFILE into `buf`, which must
 * hold 260 bytes whatever `size` says, and returns its length. 0 when `buf`
 * is null, `size` is 0 (nothing is read), the variable is unset, or its
 * value does not fit in 260 bytes (`buf` then holds the empty text). */
RUVO_API int32_t ruvo_log_dir(char *buf, uint32_t size) RUVO_NOEXCEPT;

#endif

RUVO_END_DECLS

#endif /* RUVO_BASE_AUTOLOG_H */
