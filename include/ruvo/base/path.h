/**
 * \file
 * ruvo/base/path.h - path strings: normalising, making absolute or relative,
 * splitting off directory, name and extension; and the few questions put to
 * the file system (does it exist, is it a directory, delete a file, where is
 * the running program).
 *
 * Drive-letter paths with backslashes are the form the library computes in;
 * '/' and '\' are both separators everywhere, and ruvo_path_format_* gives
 * the '/' form for display or storage. Nothing keeps state, locks or logs.
 *
 * Encodings: _a is the system's ANSI code page, _u UTF-8, _w UTF-16 (16-bit
 * units, capacities in units). Operations without a suffix work on bytes and
 * know nothing of multi-byte sequences: they test only ASCII characters
 * ('/', '\', ':', '.', ' ', '~'), so the _a and _u forms of the string
 * operations agree on every input. Capacities count the terminator.
 *
 * The string operations reach the outside world in two places only: a path
 * that starts with '~' takes the home directory (ruvo_home_dir), and a null
 * base means the current directory (ruvo_current_dir_get), which is
 * process-wide.
 */
#ifndef RUVO_BASE_PATH_H
#define RUVO_BASE_PATH_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/* ---- pure string operations ---- */

/** Rewrites `path` in place to the backslash form and gives its new length;
 * 0 on failure. A leading '~' is replaced by the home directory (only the
 * one character: "~abc" becomes home + "abc"); every run of '/' and '\'
 * becomes one '\' (so "//srv/x" becomes `\srv\x`); a trailing '\' is dropped
 * unless it is the whole string; a drive letter is made upper case and a
 * bare drive gets its '\' ("c:" gives `C:\`, 3).
 * `len` is the string's length, or 0 to measure it. Gives 0, changing
 * nothing, for a null or empty path, cap 0, a string not terminated within
 * cap, a len that is not the string's length, a home directory that can't be
 * had, and a result that would not fit cap (also "c:" with cap 3). */
RUVO_API size_t ruvo_path_translate(char *path, size_t len, size_t cap) RUVO_NOEXCEPT;

/**@{*/
/** Collapses each run of separators to one and turns every separator into
 * '/', in place; a trailing separator stays as one '/'. `\\srv\x//y\` gives
 * "/srv/x/y/". 0; RUVO_E_INVAL for null or empty. */
RUVO_API uint32_t ruvo_path_format_a(char *path) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_path_format_u(char *path) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_path_format_w(ruvo_wchar_t *path) RUVO_NOEXCEPT;
/**@}*/

/** 1 if `path` starts with '~', '/' or '\', or with an ASCII letter and ':';
 * otherwise 0, also for null. */
RUVO_API int ruvo_path_is_absolute(const char *path) RUVO_NOEXCEPT;

/**@{*/
/** Makes `path` absolute into `out` (cap bytes) and gives `out`; null if path
 * or out is null, cap is 0, the result doesn't fit (out may then hold part
 * of it), or the base can't be had.
 * A path that is absolute by ruvo_path_is_absolute is only translated (see
 * above): its "." and ".." stay. A relative path is walked segment by
 * segment onto the translated base (null: the current directory; an empty
 * base gives null): "." and empty segments are skipped, ".." takes off the
 * last name but never the drive root (`C:\`) or the leading '\'. Base
 * "C:/base/dir" and "../x/./y" give `C:\base\x\y`; base `C:\a` and
 * `..\..\..` give `C:\`. ruvo_path_absolute is the null-base form. */
RUVO_API char *ruvo_path_absolute(const char *path, char *out, size_t cap) RUVO_NOEXCEPT;
RUVO_API char *ruvo_path_absolute_to(const char *base, const char *path, char *out,
                                     size_t cap) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Gives `path` relative to `base` in `out` (cap bytes): out, null, or the
 * static "." (never to be written) when the two are the same and cap is
 * below 2. Null if path or out is null or cap is 0.
 * With a null base a relative path is only translated. Otherwise path is
 * made absolute against base, base against the current directory (null:
 * the current directory itself); either failing, or either longer than 259
 * bytes, gives null. Names compare with case significant. Paths that share
 * no more than the drive root (`C:\y` and `C:\x`) or a leading '\' are not
 * related, and the result is the absolute path. Otherwise it is `..\` once
 * for each name of base below the common directory, then the rest of path:
 * base `C:\a\b`, path `C:\a\c\d` give `..\c\d`; base `C:\a`, path `C:\a\b`
 * give "b"; base `C:\a\b`, path `C:\a` give "..".
 * A result that doesn't fit cap with its terminator gives null, never a cut
 * one; a cap of 260 always holds it. ruvo_path_relative is the null-base
 * form. */
RUVO_API const char *ruvo_path_relative(const char *path, char *out, size_t cap) RUVO_NOEXCEPT;
RUVO_API const char *ruvo_path_relative_to(const char *base, const char *path, char *out,
                                           size_t cap) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Copies the part of `path` before its last separator into `out` and gives
 * out: "a/b/" gives "a/b", "/x" gives "". A path without a separator (or
 * empty) gives a static "." (never to be written). Null if an argument is
 * null, cap is 0, or the part doesn't fit cap with its terminator. */
RUVO_API const char *ruvo_path_directory(const char *path, char *out, size_t cap) RUVO_NOEXCEPT;
RUVO_API const ruvo_wchar_t *ruvo_path_directory_w(const ruvo_wchar_t *path, ruvo_wchar_t *out,
                                                   size_t cap) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** A pointer into `path` to the last name: what follows the last '/', '\' or
 * ':' that is followed by something other than a separator or the end.
 * Without such a separator the result is the terminating zero, not the
 * start: `C:\dir\file.txt` gives "file.txt", "C:file" gives "file", and
 * "dir/" and "file.txt" give "". Null for null. */
RUVO_API char *ruvo_path_get_name_a(const char *path) RUVO_NOEXCEPT;
RUVO_API char *ruvo_path_get_name_u(const char *path) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_path_get_name_w(const ruvo_wchar_t *path) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** A pointer into `path` to the last '.' that has no ' ', '/' or '\' after
 * it, or to the terminating zero: ".profile" gives ".profile", "a.b c" and
 * "dir.d/file" give "". Null for null. */
RUVO_API char *ruvo_path_get_ext_a(const char *path) RUVO_NOEXCEPT;
RUVO_API char *ruvo_path_get_ext_u(const char *path) RUVO_NOEXCEPT;
RUVO_API ruvo_wchar_t *ruvo_path_get_ext_w(const ruvo_wchar_t *path) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Cuts `path` at the pointer that ruvo_path_get_ext_* gives. 1, also when
 * there was nothing to cut; 0 for null. */
RUVO_API int ruvo_path_remove_ext_a(char *path) RUVO_NOEXCEPT;
RUVO_API int ruvo_path_remove_ext_u(char *path) RUVO_NOEXCEPT;
RUVO_API int ruvo_path_remove_ext_w(ruvo_wchar_t *path) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Cuts the last name and the separator before it, in place, keeping a root:
 * `C:\dir\file` gives `C:\dir`, `C:\file` gives `C:\`, `\abc` gives `\`,
 * `\\abc` gives `\\`, a bare name gives "". 1 if the string changed; 0 if
 * not (`C:\`, "C:", "") or for null. */
RUVO_API int ruvo_path_remove_name_a(char *path) RUVO_NOEXCEPT;
RUVO_API int ruvo_path_remove_name_u(char *path) RUVO_NOEXCEPT;
RUVO_API int ruvo_path_remove_name_w(ruvo_wchar_t *path) RUVO_NOEXCEPT;
/**@}*/

#if defined(_WIN32)

/* ---- Windows only ---- */

/** ruvo_path_absolute of `path` (through UTF-8) into `out` (cap units). A
 * result of 260 bytes of UTF-8 or more gets the `\\?\` prefix; up to 4095
 * bytes with it are taken. Gives out; null with last error 87 for a null
 * path or out or cap 0, 122 if the result doesn't fit cap, and null also
 * when the path can't be made absolute. */
RUVO_API ruvo_wchar_t *ruvo_path_absolute_w(const ruvo_wchar_t *path, ruvo_wchar_t *out,
                                            size_t cap) RUVO_NOEXCEPT;

/**@{*/
/** 1 if the path names a file or directory, also one whose attributes can't
 * be read for lack of rights; 0 otherwise, for null or empty, and if the
 * conversion to UTF-16 fails. Sets the process's error mode to
 * SEM_FAILCRITICALERRORS and leaves it so. */
RUVO_API int ruvo_path_is_exist_a(const char *path) RUVO_NOEXCEPT;
RUVO_API int ruvo_path_is_exist_u(const char *path) RUVO_NOEXCEPT;
RUVO_API int ruvo_path_is_exist_w(const ruvo_wchar_t *path) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** 1 if the path names a directory; 0 otherwise, for null or empty, if the
 * conversion fails or the attributes can't be read. */
RUVO_API int ruvo_path_is_dir_a(const char *path) RUVO_NOEXCEPT;
RUVO_API int ruvo_path_is_dir_u(const char *path) RUVO_NOEXCEPT;
RUVO_API int ruvo_path_is_dir_w(const ruvo_wchar_t *path) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** Deletes a file. 0; RUVO_E_INVAL for null or empty; otherwise the last
 * error of the conversion or of DeleteFileW (2 for a missing file). */
RUVO_API uint32_t ruvo_path_del_file_a(const char *path) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_path_del_file_u(const char *path) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_path_del_file_w(const ruvo_wchar_t *path) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The running program's path into `out` (cap bytes; units for _w), as the
 * platform gives it (up to 259 units). 0; RUVO_E_INVAL for a null out or
 * cap 0; RUVO_E_FAIL if the platform gives no path; 122 if the path is
 * longer than 258 units (_w: cap - 2) or the converted text doesn't fit cap;
 * or the conversion's error. */
RUVO_API uint32_t ruvo_path_get_cur_proc_a(char *out, size_t cap) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_path_get_cur_proc_u(char *out, size_t cap) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_path_get_cur_proc_w(ruvo_wchar_t *out, size_t cap) RUVO_NOEXCEPT;
/**@}*/

#endif /* _WIN32 */

RUVO_END_DECLS

#endif /* RUVO_BASE_PATH_H */
