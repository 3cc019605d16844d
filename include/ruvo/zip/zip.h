/**
 * \file
 * ruvo/zip/zip.h - the sibling library libruvozip: writes zip archives with
 * stored or deflated entries, traditional PKWARE encryption when a password
 * is given, and Zip64 records where sizes or offsets pass 32 bits.
 *
 * An archive is written in one pass: each entry's local header is written
 * first and patched with its CRC and sizes when the entry is closed, so
 * entries carry no data descriptor. Adding to an existing archive reads its
 * central directory, writes the new entries where that directory was, and
 * writes old and new records behind them on close.
 *
 * File names (of the archive and of its entries) are bytes passed through
 * unconverted: the archive is opened with the C runtime's narrow fopen, which
 * on Windows takes the ANSI code page. Calls give 0 or one of the negative
 * RUVO_ZIP_ codes below.
 */
#ifndef RUVO_ZIP_ZIP_H
#define RUVO_ZIP_ZIP_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && !defined(RUVO_ZIP_STATIC)
#  if defined(RUVO_ZIP_BUILDING)
#    define RUVO_ZIP_API __declspec(dllexport)
#  else
#    define RUVO_ZIP_API __declspec(dllimport)
#  endif
#elif defined(__GNUC__)
#  define RUVO_ZIP_API __attribute__((visibility("default")))
#else
#  define RUVO_ZIP_API
#endif

#ifdef __cplusplus
extern "C" {
#  define RUVO_ZIP_NOEXCEPT noexcept
#else
#  define RUVO_ZIP_NOEXCEPT
#endif

#define RUVO_ZIP_OK             0       /**< success */
#define RUVO_ZIP_ERRNO        (-1)    /**< the file could not be read or written */
#define RUVO_ZIP_PARAMERROR   (-102)  /**< a null handle or name, a bad value, no open entry */
#define RUVO_ZIP_BADZIPFILE   (-103)  /**< the archive to add to is not a readable zip */
#define RUVO_ZIP_INTERNALERROR (-104) /**< deflate or an allocation failed */
#define RUVO_ZIP_TOOLARGE     (-105)  /**< a size or count does not fit the entry's fields */

#define RUVO_ZIP_APPEND_CREATE 0      /**< a new archive, replacing any file of that name */
#define RUVO_ZIP_APPEND_ADD    2      /**< add to an existing archive */

/** The time and attributes of a new entry. The time fields hold a C `tm` as it
 * stands (month from 0, year from 1900) and are used when dos_date is 0; a
 * year before 1980 gives the earliest DOS time, 1980-01-01 00:00:00. */
typedef struct ruvo_zip_fileinfo_st {
    uint32_t tm_sec;       /**< 0..59 */
    uint32_t tm_min;       /**< 0..59 */
    uint32_t tm_hour;      /**< 0..23 */
    uint32_t tm_mday;      /**< 1..31 */
    uint32_t tm_mon;       /**< 0..11 */
    uint32_t tm_year;      /**< years since 1900 */
    uint32_t dos_date;     /**< MS-DOS date and time, date in the high half; 0: use the tm fields */
    uint32_t internal_fa;  /**< internal attributes, low 16 bits kept */
    uint32_t external_fa;  /**< external attributes as the host gives them */
} ruvo_zip_fileinfo_st;

/** Opens `path` for writing: append 0 creates it (or empties an existing
 * file), 2 adds to the archive there. Null for a null path, another mode, a
 * file that can't be opened, or (mode 2) one that is missing or not a zip. */
RUVO_ZIP_API void *ruvoZipOpen64(const char *path, int append) RUVO_ZIP_NOEXCEPT;

/** Starts an entry named `name` (bytes, at most 65535): method 0 stores, 8
 * deflates at `level` (-1 for zlib's default, 0..9). Extra fields and the
 * comment may be null with size 0. With `zip64` 1 the local header carries a
 * Zip64 field, so the entry may pass 4 GiB; with 0 a larger entry is refused
 * by the write call. An entry still open is closed first. */
RUVO_ZIP_API int ruvoZipOpenNewFileInZip64(void *zip, const char *name, const ruvo_zip_fileinfo_st *info,
                                           const void *extra_local, uint32_t extra_local_size,
                                           const void *extra_global, uint32_t extra_global_size,
                                           const char *comment, int method, int level,
                                           int zip64) RUVO_ZIP_NOEXCEPT;

/** The same with the deflate parameters and a password. `raw` must be 0,
 * `window_bits` -9..-15 (raw deflate), `mem_level` 1..9, `strategy` 0..4.
 * With a password the entry is encrypted with the traditional PKWARE cipher
 * and `crc_for_crypting` must be the CRC-32 of the data to come (see
 * getFileCrc): its high byte is the check byte readers test the password by;
 * closing the entry reports RUVO_ZIP_PARAMERROR if the data did not match it. */
RUVO_ZIP_API int ruvoZipOpenNewFileInZip3_64(void *zip, const char *name, const ruvo_zip_fileinfo_st *info,
                                             const void *extra_local, uint32_t extra_local_size,
                                             const void *extra_global, uint32_t extra_global_size,
                                             const char *comment, int method, int level, int raw,
                                             int window_bits, int mem_level, int strategy,
                                             const char *password, uint32_t crc_for_crypting,
                                             int zip64) RUVO_ZIP_NOEXCEPT;

/** Adds `len` bytes to the open entry. RUVO_ZIP_PARAMERROR without an open
 * entry or for a null buffer with a length; RUVO_ZIP_TOOLARGE when an entry
 * opened without zip64 would pass 0xFFFFFFFF bytes (nothing is written). */
RUVO_ZIP_API int ruvoZipWriteInFileInZip(void *zip, const void *buf, uint32_t len) RUVO_ZIP_NOEXCEPT;

/** Finishes the open entry: flushes deflate, patches its local header and
 * records it for the central directory. */
RUVO_ZIP_API int ruvoZipCloseFileInZip(void *zip) RUVO_ZIP_NOEXCEPT;

/** Finishes an entry still open, writes the central directory (with the Zip64
 * end records when the count, size or offset needs them) and the archive
 * comment, closes the file and frees the handle, also when a step failed.
 * A null comment keeps the comment of an archive that was added to. */
RUVO_ZIP_API int ruvoZipClose(void *zip, const char *comment) RUVO_ZIP_NOEXCEPT;

/** Stores the CRC-32 of the file's content in *crc (0 for an empty file),
 * reading through the caller's buffer of `size` bytes. RUVO_ZIP_PARAMERROR
 * for a null argument or size 0; RUVO_ZIP_ERRNO when the file can't be opened
 * or read (*crc then holds 0). */
RUVO_ZIP_API int getFileCrc(const char *path, void *buf, uint32_t size, uint32_t *crc) RUVO_ZIP_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#if defined(__cplusplus)
static_assert(sizeof(ruvo_zip_fileinfo_st) == 36, "nine 32-bit fields");
#endif

#endif /* RUVO_ZIP_ZIP_H */
