/**
 * \file
 * ruvo/base/zip.h - zip helpers: put files into a zip archive through the
 * sibling library libruvozip (ruvo/zip/zip.h). The auto log packs its rotated
 * files with the first two; ruvo_compress_zip packs one file in one call,
 * optionally with a password.
 *
 * Paths of files to read are UTF-8. The archive's path and the entry names
 * go to libruvozip unconverted (the ANSI code page on Windows). Windows only.
 */
#ifndef RUVO_BASE_ZIP_H
#define RUVO_BASE_ZIP_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

#if defined(_WIN32)

/** Opens the archive at `zip_path` for adding, or creates it when it can't be
 * opened so. A zip handle, or null; the caller closes it with
 * ruvoZipClose(handle, NULL). */
RUVO_API void *ruvo_create_zipfile(const char *zip_path) RUVO_NOEXCEPT;

/** Adds the file `dir`/`name` (or `name` alone when `dir` is null) as an
 * entry named `name`, deflated at the default level, with its modification
 * time in UTC. 0; 1 for a null handle or name, a path of 260 bytes or more,
 * a file that can't be read or an entry that can't be started; otherwise the
 * non-zero result of the last write. An entry that failed midway stays in
 * the archive as far as it was written. */
RUVO_API int32_t ruvo_add_file_intozfile(void *zf, const char *dir, const char *name) RUVO_NOEXCEPT;

/** Packs `file_path` into the archive `zip_path` (added to when it is a
 * non-empty file, made otherwise) as an entry named after the file's last
 * path component, at level 9, encrypted when `password` is not null. The
 * entry's time is the earliest the format holds. 1, or 0 for a null or empty
 * path, a file of 2 GiB or more, or any failure. */
RUVO_API int32_t ruvo_compress_zip(const char *zip_path, const char *file_path,
                                   const char *password) RUVO_NOEXCEPT;

#endif

RUVO_END_DECLS

#endif /* RUVO_BASE_ZIP_H */
