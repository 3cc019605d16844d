/**
 * \file
 * ruvo/base/dir.h - directories: a POSIX-shaped directory stream on the
 * platform's find calls, a listing and a recursive removal with callbacks,
 * recursive creation, a depth-first walker, the current, home and temporary
 * directories, one wildcard expander, and the "@" path transform.
 *
 * Paths in and out are UTF-8 and capacities count bytes. The platform is
 * spoken to in UTF-16 through buffers of 260 units, so a path that needs
 * more fails as each call says. Windows only, but for ruvo_current_dir_get
 * and ruvo_home_dir, which the Linux build also has. Nothing here logs or
 * locks: a stream or walker belongs to one thread at a time, and the current
 * directory is process-wide.
 */
#ifndef RUVO_BASE_DIR_H
#define RUVO_BASE_DIR_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/** The current directory into `out`, terminated. Returns its length in bytes;
 * 0 when `out` is null, `cap` is below 5, the text does not fit or the
 * platform fails. */
RUVO_API size_t ruvo_current_dir_get(char *out, size_t cap) RUVO_NOEXCEPT;

/** The user's home, which is the local application data folder (not the
 * profile), into `buf`, terminated. Returns its length in bytes; 0 when `buf`
 * is null, `size` is 0, the text does not fit or the folder is unknown (`buf`
 * then holds the empty text when it fits). */
RUVO_API size_t ruvo_home_dir(char *buf, size_t size) RUVO_NOEXCEPT;

#if defined(_WIN32)

/**@{*/
/** Entry types of ruvo_dir_st.type. */
#define RUVO_DIR_TYPE_DEVICE  0x2000u
#define RUVO_DIR_TYPE_DIR     0x4000u
#define RUVO_DIR_TYPE_REGULAR 0x8000u
/**@}*/

/** A directory stream, and also its current entry: ruvo_readdir gives the
 * stream itself, and callers read name, namelen, type and is_reparse. The
 * other fields are the platform's and only the library touches them. Made by
 * ruvo_opendir, freed by ruvo_closedir. Layout is part of the interface. */
typedef struct ruvo_dir_st {
  char name[1041];       /**< UTF-8 name of the current entry, terminated */
  uint16_t namelen;      /**< bytes in name, without the terminator */
  uint32_t type;         /**< RUVO_DIR_TYPE_*: device, directory or regular */
  uint32_t is_reparse;   /**< 1 when the entry is a reparse point (a link) */
  uint32_t find_data[148]; /**< the platform's WIN32_FIND_DATAW */
  uint32_t first;        /**< 1 while find_data holds an entry not yet given */
  void *find_handle;     /**< the platform's find handle; all ones when closed */
  ruvo_wchar_t pattern[262]; /**< full path plus `\*`, kept for rewinding */
} ruvo_dir_st;

/** Opens the directory `path` (UTF-8, relative to the current directory or
 * absolute). Returns a new stream, or null with errno: 22 when `path` is
 * null; 2 when the directory is missing or `path` needs 261 or more UTF-16
 * units with its terminator; 38 when it needs 258 to 260, or its full form
 * 260 or more; 12 when no memory or no full path can be had. */
RUVO_API ruvo_dir_st *ruvo_opendir(const char *path) RUVO_NOEXCEPT;

/** The next entry, which is `d` itself, or null at the end. "." and ".." are
 * given out like other entries, in the platform's order. Null with errno 9
 * when `d` is null. */
RUVO_API ruvo_dir_st *ruvo_readdir(ruvo_dir_st *d) RUVO_NOEXCEPT;

/** Starts the stream again from its first entry. Null: no effect. */
RUVO_API void ruvo_rewinddir(ruvo_dir_st *d) RUVO_NOEXCEPT;

/** Closes and frees the stream. Returns 0; -1 with errno 9 when `d` is null. */
RUVO_API int32_t ruvo_closedir(ruvo_dir_st *d) RUVO_NOEXCEPT;

/** Called for each entry of a listing but "." and "..": `is_dir` is 1 for a
 * directory (a link to one included) and 0 otherwise, `full_path` the
 * directory's path joined to the name with "/" (valid during the call).
 * Non-zero ends the listing. */
typedef int32_t (*ruvo_dirutils_listdir_fn)(int32_t is_dir, const char *full_path, void *ctx);

/** Calls `fn` for each entry of `path`. Returns 0 when all were seen; the
 * first non-zero result of `fn`, which ends the listing; -1 when `path` is
 * null, `fn` is null or the directory cannot be opened. A full path longer
 * than 1039 bytes is cut. */
RUVO_API int32_t ruvo_dirutils_listdir(const char *path, void *ctx,
                                       ruvo_dirutils_listdir_fn fn) RUVO_NOEXCEPT;

/** Makes the directory `path` and the missing ones above it; `mode` is
 * ignored. Returns 0 when `path` exists at the end (as anything: a file of
 * that name counts), -1 otherwise and for a null path or one of more than
 * 259 UTF-16 units. */
RUVO_API int32_t ruvo_dirutils_mkdir(const char *path, uint32_t mode) RUVO_NOEXCEPT;

/** Removes the directory `path` with everything below it. A link to a
 * directory is removed without entering it. Returns 0, also when some or
 * all of it could not be removed and when `path` is null: check for the
 * directory afterwards where that matters. */
RUVO_API int32_t ruvo_dirutils_rmdir(const char *path) RUVO_NOEXCEPT;

/** Writes `in` into `out`, cut to `cap` bytes and terminated, with a leading
 * "@" replaced by the directory of the running program ("/" as separator, no
 * trailing one; "C:/" when it cannot be had). Returns the bytes written
 * without the terminator; 0 when `in` or `out` is null or `cap` is 0 (`out`
 * then holds the empty text when it can). */
RUVO_API int32_t ruvo_dirutils_path_transform(const char *in, char *out,
                                              size_t cap) RUVO_NOEXCEPT;

/** Links of a circular doubly linked list whose head is a record of the same
 * two links. Layout is part of the interface. */
typedef struct ruvo_dir_link_st {
  struct ruvo_dir_link_st *next; /**< the following link; the head's is the first node */
  struct ruvo_dir_link_st *prev; /**< the preceding link; the head's is the last node */
} ruvo_dir_link_st;

/** A depth-first walk below a directory. Made by ruvo_dirwalk_create or
 * ruvo_dirwalk_create2, freed by ruvo_dirwalk_destroy. Layout is part of
 * the interface; callers read it and change nothing. */
typedef struct ruvo_dirwalk_st {
  uint32_t recursive;    /**< non-zero: descend into directories */
  uint32_t max_reparse;  /**< reparse points a branch may pass through */
  uint32_t max_depth;    /**< levels given out, the top one counting 1; 0: all */
  ruvo_dir_link_st stack; /**< open levels, the deepest first */
  char path[1300];       /**< full path of the last entry given out */
} ruvo_dirwalk_st;

/**@{*/
/** A walker below `path`, which itself is not given out. `max_reparse` 0
 * enters no directory that is a reparse point. Returns null when `path` is
 * null or cannot be opened. ruvo_dirwalk_create has no depth limit. */
RUVO_API ruvo_dirwalk_st *ruvo_dirwalk_create(const char *path, uint32_t recursive,
                                              uint32_t max_reparse) RUVO_NOEXCEPT;
RUVO_API ruvo_dirwalk_st *ruvo_dirwalk_create2(const char *path, uint32_t recursive,
                                               uint32_t max_reparse,
                                               uint32_t max_depth) RUVO_NOEXCEPT;
/**@}*/

/** The full path of the next entry, pre-order (a directory before its
 * contents), joined with `\`; stores 1 in *is_dir for a directory and 0
 * otherwise when `is_dir` is not null. The text lives in the walker until
 * the next read. Null at the end and when `w` is null. A directory that
 * cannot be opened is given out but not entered. */
RUVO_API const char *ruvo_dirwalk_read(ruvo_dirwalk_st *w, int32_t *is_dir) RUVO_NOEXCEPT;

/** Closes every open level and frees the walker. Null: no effect. */
RUVO_API void ruvo_dirwalk_destroy(ruvo_dirwalk_st *w) RUVO_NOEXCEPT;

/** Makes `path` absolute and the current directory. Returns 1, or 0 when it
 * is null, empty, needs more than 260 UTF-16 units or the platform refuses
 * (a refusal leaves its reason in the last error). */
RUVO_API int32_t ruvo_current_dir_set(const char *path) RUVO_NOEXCEPT;

/** The temporary directory into `buf`, terminated, with its trailing `\`.
 * Returns its length in bytes; 0 when `buf` is null, `size` is 0, the text
 * does not fit or the platform fails. */
RUVO_API size_t ruvo_temporary_dir(char *buf, size_t size) RUVO_NOEXCEPT;

/** One result of ruvo_wildcard_path_expand. `link` comes first, so a link of
 * the list is the node. */
typedef struct ruvo_wildcard_path_st {
  ruvo_dir_link_st link; /**< the node's place in the result list */
  char *path;            /**< UTF-8 path, owned by the node */
} ruvo_wildcard_path_st;

/** Expands the one "~" of `pattern` ("C:/logs/app~.txt") over the names of
 * its directory level: a name matches when it starts with the text between
 * the separator before "~" and "~", and ends with the text after "~" up to
 * the next separator, bytes compared with case. When the pattern goes on
 * past that separator, only the paths that exist are kept
 * ("C:/users/~/desktop"). `*out` is made a list of ruvo_wildcard_path_st in
 * directory order, and is left empty when nothing matches. Returns 0, also
 * for no match; -1 when an argument is null, the pattern does not start with
 * a drive ("C:"), has no "~" or two, has no separator before the "~", or its
 * directory cannot be opened. Free the list with ruvo_wildcard_path_free. */
RUVO_API int32_t ruvo_wildcard_path_expand(const char *pattern,
                                           ruvo_dir_link_st *out) RUVO_NOEXCEPT;

/** Frees every node of the list and its path; the head is left as it was
 * (dangling), not emptied. Null: no effect. */
RUVO_API void ruvo_wildcard_path_free(ruvo_dir_link_st *head) RUVO_NOEXCEPT;

#endif /* _WIN32 */

RUVO_END_DECLS

#endif /* RUVO_BASE_DIR_H */
