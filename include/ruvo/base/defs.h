/**
 * \file
 * ruvo/base/defs.h - definitions that every public header of the library uses:
 * the export macro, C/C++ glue, the 16-bit wide character type and the
 * status codes.
 */
#ifndef RUVO_BASE_DEFS_H
#define RUVO_BASE_DEFS_H

#include <stddef.h>
#include <stdint.h>

#if defined(RUVO_BASE_BUILDING) && defined(RUVO_BASE_STATIC)
#  error "RUVO_BASE_BUILDING (the DLL) and RUVO_BASE_STATIC exclude each other"
#endif

#if defined(_WIN32) && !defined(RUVO_BASE_STATIC)
#  if defined(RUVO_BASE_BUILDING)
#    define RUVO_API __declspec(dllexport)
#  else
#    define RUVO_API __declspec(dllimport)
#  endif
#elif defined(__GNUC__)
#  define RUVO_API __attribute__((visibility("default")))
#else
#  define RUVO_API
#endif

#ifdef __cplusplus
#  define RUVO_BEGIN_DECLS extern "C" {
#  define RUVO_END_DECLS   }
#  define RUVO_NOEXCEPT    noexcept   /**< C++ callers learn that nothing is thrown */
#else
#  define RUVO_BEGIN_DECLS
#  define RUVO_END_DECLS
#  define RUVO_NOEXCEPT
#endif

/** \typedef ruvo_wchar_t
 * Wide text is 16-bit units everywhere. On Windows that is wchar_t, so callers
 * pass plain L"" text; elsewhere wchar_t is 32 bits and char16_t stands in. */
#if defined(_WIN32)
#  include <wchar.h>
typedef wchar_t ruvo_wchar_t;
#elif defined(__cplusplus)
typedef char16_t ruvo_wchar_t;
#else
typedef uint_least16_t ruvo_wchar_t;  /* what C's char16_t is */
#endif

/** \name Status codes
 * 0 is success; the library's own failures lie in the block
 * 0x84CE0001..; any other value is a platform last-error code passed on.
 * @{ */
#define RUVO_OK          0x00000000u  /**< success */
#define RUVO_E_FAIL      0x84CE0001u  /**< the operation failed, or the answer is no */
#define RUVO_E_INVAL     0x84CE0002u  /**< a null or invalid argument */
#define RUVO_E_ARG1      0x84CE0003u  /**< first argument null */
#define RUVO_E_ARG2      0x84CE0004u  /**< second argument null */
#define RUVO_E_SMALL     0x84CE0006u  /**< the caller's buffer is too small */
#define RUVO_E_TLS       0x84CE000Cu  /**< no thread-local slot to be had */
#define RUVO_E_TIMEOUT   0x84CE000Du  /**< a wait ran out */
#define RUVO_E_NOMEM     0x84CE0014u  /**< an allocation failed and the caller can go on */
#define RUVO_E_OPEN      0x84CE0015u  /**< a file could not be opened */
#define RUVO_E_EXISTS    0x84CE0016u  /**< the named object exists already */
#define RUVO_E_FORMAT    0x84CE0018u  /**< text does not have the required form */
/** @} */

#endif /* RUVO_BASE_DEFS_H */
