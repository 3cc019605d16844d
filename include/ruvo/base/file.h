/**
 * \file
 * ruvo/base/file.h - file operations: open, copy, rename, link, flush, stat,
 * size and unlink, and SHA-256 digests of files.
 *
 * The plain names take UTF-8 paths and the _w twins UTF-16; both reach the
 * platform's wide calls. A copy, rename or link whose target folder is
 * missing creates the folders and tries once more, and a copied file is on
 * disk before the copy returns. The digest calls take the C runtime's narrow
 * file name (the ANSI code page on Windows), as plain fopen does.
 *
 * The Linux build has ruvo_file_open/close, rename, unlink, flush, size and
 * the digests, so the portable families that read and write files run under
 * the sanitizers; the rest is Windows only.
 */
#ifndef RUVO_BASE_FILE_H
#define RUVO_BASE_FILE_H

#include <stdio.h>
#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/**@{*/
/** fopen on a UTF-8 (or UTF-16) path with a mode of the same encoding. Null
 * for a null argument, a text that does not convert, or a failed open. */
RUVO_API FILE *ruvo_file_open(const char *path, const char *mode) RUVO_NOEXCEPT;
RUVO_API FILE *ruvo_file_open_w(const ruvo_wchar_t *path, const ruvo_wchar_t *mode) RUVO_NOEXCEPT;
/**@}*/
/** fclose; null is allowed. */
RUVO_API void ruvo_file_close(FILE *file) RUVO_NOEXCEPT;

/**@{*/
/** Moves `source` to `target`, replacing it and copying across volumes.
 * 0; -1 for a null argument, a text that does not convert or a path that
 * cannot be made absolute; otherwise the platform's last error. */
RUVO_API int32_t ruvo_file_rename(const char *source, const char *target) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_file_rename_w(const ruvo_wchar_t *source, const ruvo_wchar_t *target) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Writes the file's buffers to disk: 0; 1 for a null path or a text that
 * does not convert; -634 when the file cannot be opened for writing; -640
 * when the flush fails. */
RUVO_API int32_t ruvo_file_flush(const char *path) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_file_flush_w(const ruvo_wchar_t *path) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The size in bytes, read from the directory entry without opening the file;
 * 0 for a null or empty path, a path of 260 or more UTF-16 units, or a
 * missing file. A wildcard in the name gives the first match's size. */
RUVO_API uint64_t ruvo_file_size(const char *path) RUVO_NOEXCEPT;
RUVO_API uint64_t ruvo_file_size_w(const ruvo_wchar_t *path) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Removes a file: 0, or -1 (also for null, a path of 260 or more UTF-16
 * units, or a text that does not convert). */
RUVO_API int32_t ruvo_file_unlink(const char *path) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_file_unlink_w(const ruvo_wchar_t *path) RUVO_NOEXCEPT;
/**@}*/

/** The SHA-256 digest of a file's bytes into out[0..31]: 0; RUVO_E_INVAL when
 * `cap` is below 32; RUVO_E_OPEN when the file cannot be opened; the C
 * runtime's errno when reading fails (out is then untouched). */
RUVO_API uint32_t ruvo_file_sha256_byte(const char *path, void *out, int32_t cap) RUVO_NOEXCEPT;
/** The same digest as 64 lower-case hexadecimal digits; `cap` must be at least
 * 65, else the result is the string family's buffer-too-small code. */
RUVO_API uint32_t ruvo_file_sha256_str(const char *path, char *out, int32_t cap) RUVO_NOEXCEPT;
/** 0 when both files have the same digest; RUVO_E_FAIL when they differ;
 * RUVO_E_ARG1/RUVO_E_ARG2 for a null path; a digest failure as above. */
RUVO_API uint32_t ruvo_file_compare_by_sha256(const char *path1, const char *path2) RUVO_NOEXCEPT;
/** 0 when the file's digest equals `expected_hex`, regardless of case;
 * otherwise as ruvo_file_compare_by_sha256. */
RUVO_API uint32_t ruvo_file_verify_sha256(const char *path, const char *expected_hex) RUVO_NOEXCEPT;

#if defined(_WIN32)

/**@{*/
/** Copies `source` over `target` and flushes the copy to disk: 0 or -1. */
RUVO_API int32_t ruvo_file_copy(const char *source, const char *target) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_file_copy_w(const ruvo_wchar_t *source, const ruvo_wchar_t *target) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Makes a symbolic link at `target` that refers to the existing `source`
 * (file or directory): 0 or -1. */
RUVO_API int32_t ruvo_file_link(const char *source, const char *target) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_file_link_w(const ruvo_wchar_t *source, const ruvo_wchar_t *target) RUVO_NOEXCEPT;
/**@}*/

struct _stat64;
/**@{*/
/** Fills the caller's C runtime 64-bit stat record (struct _stat64). When the
 * runtime cannot read the file, the three times come from its attributes and
 * nothing else is written. 0, or 1 on failure, a null argument or an empty
 * path. */
RUVO_API int32_t ruvo_file_stat(const char *path, struct _stat64 *st) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_file_stat_w(const ruvo_wchar_t *path, struct _stat64 *st) RUVO_NOEXCEPT;
/**@}*/

#endif

RUVO_END_DECLS

#endif
