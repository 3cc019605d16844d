/**
 * \file
 * ruvo/base/dll.h - loading libraries by UTF-8 path, finding their entries,
 * and the shell's folder picker.
 *
 * The dll calls give a status: 0, RUVO_E_INVAL for a null or empty argument,
 * or the platform's last error (126 for a missing library, 127 for a missing
 * entry). They log nothing. Windows only.
 *
 * HMODULE and HWND are named by their structure tags (the platform's STRICT
 * types), so that this header does not need <windows.h>.
 */
#ifndef RUVO_BASE_DLL_H
#define RUVO_BASE_DLL_H

#include "ruvo/base/defs.h"

#if defined(_WIN32)

RUVO_BEGIN_DECLS

struct HINSTANCE__;
struct HWND__;

/** Loads the library at `path` (UTF-8; a bare name is searched for as the
 * platform does) and stores it in *module, to be released with
 * ruvo_dll_close. *module is null on every failure once it is not null
 * itself. Returns 0; RUVO_E_INVAL when `path` is null or empty or `module`
 * is null; 122 when `path` needs more than 259 UTF-16 units; the last error
 * of the load (126: not found). */
RUVO_API uint32_t ruvo_dll_open(const char *path, struct HINSTANCE__ **module) RUVO_NOEXCEPT;

/** Stores the address of the entry `name` (8-bit, as exported) of `module`
 * in *entry; null on failure. Returns 0; RUVO_E_INVAL when `module` or
 * `entry` is null or `name` is null or empty; the last error (127: no such
 * entry). */
RUVO_API uint32_t ruvo_dll_get_addr(struct HINSTANCE__ *module, const char *name,
                                    void **entry) RUVO_NOEXCEPT;

/** Releases a library of ruvo_dll_open. Returns 0; RUVO_E_INVAL for null;
 * the last error when the platform refuses. */
RUVO_API uint32_t ruvo_dll_close(struct HINSTANCE__ *module) RUVO_NOEXCEPT;

/** Shows the shell's modal folder picker over the machine's drives, owned by
 * `owner` (may be null), with `title` (UTF-16, may be null) above the tree,
 * the platform's BIF_* `flags`, and opening at `initial` (an ANSI path, may
 * be null). The chosen folder goes into `path`, at most `chars` UTF-16 units
 * with the terminator. Returns an HRESULT: 0; 1 when the user cancelled (or
 * no dialog could be shown), `path` then untouched; 0x8007007A when the
 * folder did not fit and was cut; 0x80004005 when the choice has no file
 * system path; 0x80070057 when `path` is null or `chars` is 0 or above
 * 2147483647; 0x8007000E without memory; or the shell's failure. The
 * calling thread should have COM initialised single-threaded, as the shell
 * asks of any caller of its dialogs. */
RUVO_API int32_t ruvo_shbrowse_folder_open(struct HWND__ *owner, uint32_t flags,
                                           const ruvo_wchar_t *title, const char *initial,
                                           ruvo_wchar_t *path, size_t chars) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* _WIN32 */

#endif /* RUVO_BASE_DLL_H */
