/**
 * \file
 * ruvo/base/ini.h - INI documents: sections of keys with text values, held
 * as a table of sections, each a table of keys (ruvo/base/xhash.h), in the
 * order of the text. Loaded from a file or made empty, read and changed by
 * name, walked in order, and saved through a temporary file that replaces
 * the target only when it is complete.
 *
 * Text is taken line by line, as bytes (no character set, no byte-order
 * mark), and only a line's first byte decides what it is:
 *   '#', '\'' or ';'   a comment, dropped;
 *   '['                a section: the name runs to the last ']' of the line,
 *                      exactly as it stands (blanks and inner ']' included,
 *                      the empty name too); what follows it is dropped, and a
 *                      line without ']' is dropped. A repeated section
 *                      replaces the earlier one (keys and all) in its place;
 *   anything else      key = value, split at the first '='; tab, line feed,
 *                      carriage return and blank are trimmed from both ends
 *                      of both. A line without '=', with an empty key or
 *                      ahead of every section is dropped. A repeated key
 *                      replaces the earlier value in its place.
 * There is no quoting, escaping or inline comment. Saving writes the
 * canonical form: `"[%s]\n"`, then `"%s = %s\n"` per key, then an empty line;
 * comments and blank lines are not kept.
 *
 * A path that ends in ".eni" (compared with case; on loading the name must
 * be longer than that) is an enciphered file: a 16-byte MD5 digest of the
 * clear text, then the clear text in DES blocks. The clear text is the
 * canonical form without the empty lines, each line padded with blanks to a
 * multiple of 8 bytes. Its key is `sk`, a text of exactly 8 bytes used as it
 * stands, or the library's built-in key when `sk` is null. An `sk` of any
 * other length is refused by every load and save, plain files included.
 *
 * Out of memory ends the process (checked allocation). A document has no
 * lock: one thread at a time. Loads log nothing.
 */
#ifndef RUVO_BASE_INI_H
#define RUVO_BASE_INI_H

#include "ruvo/base/defs.h"
#include "ruvo/base/xhash.h"

RUVO_BEGIN_DECLS

/** \name Result codes of the saves
 * @{ */
#define RUVO_INI_E_KEY          (-809) /**< sk is not 8 bytes long */
#define RUVO_INI_E_TEMP_NAME    (-839) /**< no temporary name */
#define RUVO_INI_E_TEMP_OPEN    (-858) /**< the temporary file can't be opened */
#define RUVO_INI_E_SEEK_BODY    (-870) /**< .eni: seek behind the digest failed */
#define RUVO_INI_E_WRITE        (-886) /**< a line couldn't be written */
#define RUVO_INI_E_SEEK_HEAD    (-894) /**< .eni: seek back to the digest failed */
#define RUVO_INI_E_DIGEST       (-906) /**< .eni: the digest came out all zero */
#define RUVO_INI_E_WRITE_HEAD   (-912) /**< .eni: the digest couldn't be written */
#define RUVO_INI_E_RENAME       (-927) /**< the temporary file couldn't replace the target */
/** @} */

/** A document. Layout is part of the interface; change it only through the
 * functions. */
typedef struct ruvo_ini_file_st {
  ruvo_xhash_st *root;     /**< section name (with its zero) -> section table, owned */
  uint32_t case_sensitive; /**< 0: names compare without regard to ASCII case */
} ruvo_ini_file_st;

/**@{*/
/** Walk callbacks. A non-zero result ends the walk and is its result. */
typedef int32_t (*ruvo_ini_section_fn)(ruvo_ini_file_st *ini, const char *section, void *arg);
typedef int32_t (*ruvo_ini_key_fn)(const char *section, const char *key, const char *value,
                                   void *arg);
/**@}*/

/* ---- loading and freeing ---- */

/**@{*/
/** A document from the file at `path`, or null when the file can't be opened
 * or read (an enciphered file also when it is shorter than its digest, is
 * not whole blocks, or its digest doesn't match: a wrong key shows so). No
 * line makes a load fail; an empty plain file is an empty document. A null
 * path gives a new empty document without touching any file. The path goes
 * to the C runtime's fopen as it stands (the ANSI code page on Windows).
 * Free with ruvo_ini_file_free. The forms without `case_sensitive` are
 * case-blind; those without `sk` use the built-in key. */
RUVO_API ruvo_ini_file_st *ruvo_ini_file_load(const char *path) RUVO_NOEXCEPT;
RUVO_API ruvo_ini_file_st *ruvo_ini_file_load_ex(const char *path,
                                                 uint32_t case_sensitive) RUVO_NOEXCEPT;
RUVO_API ruvo_ini_file_st *ruvo_ini_file_load_with_sk(const char *path,
                                                      const char *sk) RUVO_NOEXCEPT;
RUVO_API ruvo_ini_file_st *ruvo_ini_file_load_with_sk_ex(const char *path,
                                                         uint32_t case_sensitive,
                                                         const char *sk) RUVO_NOEXCEPT;
/**@}*/

/** Frees the document with all its sections. Null does nothing. */
RUVO_API void ruvo_ini_file_free(ruvo_ini_file_st *ini) RUVO_NOEXCEPT;

/* ---- reading ---- */

/** The stored value, valid until that key is replaced or deleted; null when
 * any argument is null or the section or key isn't there. */
RUVO_API const char *ruvo_ini_file_get(ruvo_ini_file_st *ini, const char *section,
                                       const char *key) RUVO_NOEXCEPT;
/** The stored value, or `def` when there is none. */
RUVO_API const char *ruvo_ini_file_get_cstr(ruvo_ini_file_st *ini, const char *section,
                                            const char *key, const char *def) RUVO_NOEXCEPT;

/**@{*/
/** The value as a decimal number, or `def` only when the key isn't there.
 * Leading white space and a sign are taken, parsing stops at the first
 * non-digit, a value without digits is 0, and every result saturates at 32
 * bits: -2147483648..2147483647 for the signed two, 4294967295 for the
 * others (a negative text wraps there, as strtoul does), also in the 64-bit
 * results. */
RUVO_API int32_t ruvo_ini_file_get_int(ruvo_ini_file_st *ini, const char *section,
                                       const char *key, int32_t def) RUVO_NOEXCEPT;
RUVO_API int64_t ruvo_ini_file_get_long(ruvo_ini_file_st *ini, const char *section,
                                        const char *key, int64_t def) RUVO_NOEXCEPT;
RUVO_API uint32_t ruvo_ini_file_get_uint(ruvo_ini_file_st *ini, const char *section,
                                         const char *key, uint32_t def) RUVO_NOEXCEPT;
RUVO_API uint64_t ruvo_ini_file_get_ulong(ruvo_ini_file_st *ini, const char *section,
                                          const char *key, uint64_t def) RUVO_NOEXCEPT;
/**@}*/

/* ---- changing ---- */
/* All of these do nothing when `ini`, the section or the key is null. */

/** Stores a copy of `value` (null: the empty text) with every carriage return
 * and line feed made a blank, making the section at the end when it is new.
 * A key already there keeps its place. Nothing is trimmed until a reload. */
RUVO_API void ruvo_ini_file_set(ruvo_ini_file_st *ini, const char *section, const char *key,
                                const char *value) RUVO_NOEXCEPT;
/**@{*/
/** The same with the number in decimal. */
RUVO_API void ruvo_ini_file_set_int(ruvo_ini_file_st *ini, const char *section,
                                    const char *key, int32_t value) RUVO_NOEXCEPT;
RUVO_API void ruvo_ini_file_set_long(ruvo_ini_file_st *ini, const char *section,
                                     const char *key, int64_t value) RUVO_NOEXCEPT;
RUVO_API void ruvo_ini_file_set_uint(ruvo_ini_file_st *ini, const char *section,
                                     const char *key, uint32_t value) RUVO_NOEXCEPT;
RUVO_API void ruvo_ini_file_set_ulong(ruvo_ini_file_st *ini, const char *section,
                                      const char *key, uint64_t value) RUVO_NOEXCEPT;
/**@}*/

/** Deletes the key; its section stays, also when empty. */
RUVO_API void ruvo_ini_file_unset(ruvo_ini_file_st *ini, const char *section,
                                  const char *key) RUVO_NOEXCEPT;
/** Deletes the section with its keys. */
RUVO_API void ruvo_ini_file_del(ruvo_ini_file_st *ini, const char *section) RUVO_NOEXCEPT;

/* ---- walking ---- */

/** fn(ini, section, arg) for each section in order. The first non-zero result
 * ends the walk and is returned; else 0, also without a call for a null
 * `ini` or `fn`. */
RUVO_API int32_t ruvo_ini_file_foreach(ruvo_ini_file_st *ini, void *arg,
                                       ruvo_ini_section_fn fn) RUVO_NOEXCEPT;
/** fn(section, key, value, arg) for each key of the section in order, with
 * the same rule; 0 also for a null or missing section. */
RUVO_API int32_t ruvo_ini_file_section_foreach(ruvo_ini_file_st *ini, const char *section,
                                               void *arg, ruvo_ini_key_fn fn) RUVO_NOEXCEPT;

/* ---- saving ---- */

/** Writes the canonical text to a new temporary file and moves it onto
 * `path` (UTF-8). Returns 0 or a RUVO_INI_E_ code, and RUVO_E_INVAL (as a
 * negative number) for a null `ini` or path. Whatever fails, the target is
 * as it was and the temporary file is gone. With `skip_empty` a section
 * without keys is left out. */
RUVO_API int32_t ruvo_ini_file_save(ruvo_ini_file_st *ini, const char *path,
                                    uint32_t skip_empty) RUVO_NOEXCEPT;
/** The same, with the file's data on disk before it replaces the target. */
RUVO_API int32_t ruvo_ini_file_save_directio(ruvo_ini_file_st *ini, const char *path,
                                             uint32_t skip_empty) RUVO_NOEXCEPT;
/** ruvo_ini_file_save, and up to `retries` more attempts 100 ms apart while
 * it fails (each logged at info). The last attempt's result. */
RUVO_API int32_t ruvo_ini_file_save_retry(ruvo_ini_file_st *ini, const char *path,
                                          uint32_t skip_empty, int32_t retries) RUVO_NOEXCEPT;
/** The general form: `sk` as for the loads (RUVO_INI_E_KEY when it is given
 * and not 8 bytes, tested first), `direct_io` as ruvo_ini_file_save_directio. */
RUVO_API int32_t ruvo_ini_file_save_with_sk(ruvo_ini_file_st *ini, const char *path,
                                            uint32_t skip_empty, const char *sk,
                                            uint32_t direct_io) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_INI_H */
