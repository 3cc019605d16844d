/**
 * \file
 * ruvo/base/process.h - processes by id: image path, command line, parent,
 * start time, session, memory and processor times, existence, and kill,
 * suspend, resume and wait.
 *
 * Results are 1 for success or yes and 0 for failure or no, with the cause
 * in the platform's last error; native status values reach callers only as
 * last-error values. Nothing here logs or raises a privilege: a process the
 * caller may not open gives the platform's failure. Ids 0 and 4 (the idle
 * and system processes) are refused with 87 by kill, suspend, resume and
 * the child test. Windows only, but for the records.
 */
#ifndef RUVO_BASE_PROCESS_H
#define RUVO_BASE_PROCESS_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/** A process: the result of creation and the reference of the wait, memory
 * and times calls. It names a process when `pid`, read as signed, is above
 * 0 or `handle` is not null. */
typedef struct ruvo_process_st {
  void *handle; /**< platform process handle, owned by the caller */
  uint32_t pid; /**< process id */
} ruvo_process_st;

/** Processor times in 100-nanosecond units. */
typedef struct ruvo_process_cpu_ticks_st {
  uint64_t user;   /**< time spent in user mode */
  uint64_t kernel; /**< time spent in kernel mode */
  uint64_t total; /**< user + kernel */
} ruvo_process_cpu_ticks_st;

#if defined(_WIN32)

/** This process's id, asked once and kept. */
RUVO_API uint32_t ruvo_process_get_pid(void) RUVO_NOEXCEPT;

/** The full image path of process `pid` (backslashes), into `buf` of `chars`
 * wide characters with the terminator. A longer path is cut, still
 * terminated, without notice. 0 with 87 for pid 0, a null `buf` or `chars`
 * 0; 120 when the system has neither QueryFullProcessImageNameW nor
 * GetModuleFileNameExW. */
RUVO_API int32_t ruvo_process_get_path_w(uint32_t pid, ruvo_wchar_t *buf,
                                         uint32_t chars) RUVO_NOEXCEPT;

/** The same path in UTF-8, into `buf` of `size` bytes: at most size - 1 bytes
 * and a terminator, cut without notice (also inside a character). A failed
 * step that leaves no last error gives 1 with `buf` unwritten. */
RUVO_API int32_t ruvo_process_get_path(uint32_t pid, char *buf, uint32_t size) RUVO_NOEXCEPT;

/**@{*/
/** The command line of process `pid`, read out of its memory, as a new
 * string in *out, released with ruvo_str_free. A process without a command
 * line gives an empty string. 0 with 87 for pid 0 or a null `out`. */
RUVO_API int32_t ruvo_process_get_cmd_w(uint32_t pid, ruvo_wchar_t **out) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_process_get_cmd(uint32_t pid, char **out) RUVO_NOEXCEPT;
/**@}*/

/** Any of: the parent's id, the start time in seconds since 1970, the
 * terminal session. Outs may be null, but not all three (87, as pid 0). On
 * a failure the outs filled before it stay filled. */
RUVO_API int32_t ruvo_process_get_info(uint32_t pid, uint32_t *parent, int64_t *start_time,
                                       uint32_t *session) RUVO_NOEXCEPT;

/** Memory of the process of proc->handle in bytes: `kind` 0 the private
 * bytes, 1 the peak working set. 87 for a null or invalid `proc`, a `kind`
 * above 1 or a null `out`. A reference with only a pid fails at the
 * platform: only the handle is used. */
RUVO_API int32_t ruvo_process_get_memory_usage(const ruvo_process_st *proc, uint32_t kind,
                                               uint64_t *out) RUVO_NOEXCEPT;

/** User and kernel times of the process of proc->handle, and their sum. */
RUVO_API int32_t ruvo_process_get_proc_cpu_ticks(const ruvo_process_st *proc,
                                                 ruvo_process_cpu_ticks_st *out) RUVO_NOEXCEPT;

/** 1 when `pid` is in the system's list of process ids. Opens nothing, so
 * the answer does not depend on rights. */
RUVO_API int32_t ruvo_process_is_exist(uint32_t pid) RUVO_NOEXCEPT;

/** 1 when `pid` is a child of this process, or with `recursive` non-zero any
 * descendant. Otherwise 0: 1168 when the parent is another process, 87 when
 * a walk reaches parent id 0, or the failure to open an ancestor. */
RUVO_API int32_t ruvo_process_is_child(uint32_t pid, int32_t recursive) RUVO_NOEXCEPT;

/**@{*/
/** 1 with the id in *pid_out (when not null) of the first process whose
 * executable name is `name` (case-blind) and, when `path` is given, that has
 * a module at `path` (case-blind). A null `name` is the last element of
 * `path`. 87 when both are null or empty; 1168 when none matches. The UTF-8
 * form takes strings of at most 259 characters; a longer one matches
 * nothing. */
RUVO_API int32_t ruvo_process_path_is_exist_w(const ruvo_wchar_t *name, const ruvo_wchar_t *path,
                                              uint32_t *pid_out) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_process_path_is_exist(const char *name, const char *path,
                                            uint32_t *pid_out) RUVO_NOEXCEPT;
/**@}*/

/** Takes no action and reads nothing: always 0. Kept for callers that link
 * against it. */
RUVO_API int32_t ruvo_process_path_and_pid_is_exist(const char *path, uint32_t pid) RUVO_NOEXCEPT;

/** Ends process `pid` with exit status 0x40010004, and with `wait` non-zero
 * waits until it has ended. A critical process is refused with 5; a process
 * already ending counts as a success. */
RUVO_API int32_t ruvo_process_kill(uint32_t pid, int32_t wait) RUVO_NOEXCEPT;

/**@{*/
/** Suspend or resume every thread of process `pid`. */
RUVO_API int32_t ruvo_process_suspend(uint32_t pid) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_process_resume(uint32_t pid) RUVO_NOEXCEPT;
/**@}*/

/** Waits up to `timeout_ms` (negative: without limit) for the process to end:
 * 1 when it has, with its exit code in *exit_code when not null (0 when the
 * reference has no handle, as the opened one may not read it); 0 with 1460
 * on a time-out; 87 for a null or invalid `proc` or a timeout above
 * 0xFFFFFFFE. proc->handle stays open. */
RUVO_API int32_t ruvo_process_wait(const ruvo_process_st *proc, intptr_t timeout_ms,
                                   uint32_t *exit_code) RUVO_NOEXCEPT;

#endif /* _WIN32 */

RUVO_END_DECLS

#endif /* RUVO_BASE_PROCESS_H */
