/**
 * \file
 * ruvo/algo/algo.h - the sibling library libruvoalgo: MD5 and SHA-256 digests,
 * the DES block cipher and a string hash that is the same in every process.
 *
 * Callers reserve the contexts themselves (on the stack, in a record), so the
 * records below fix their sizes: 88 bytes for MD5, 112 for SHA-256 and 256 for
 * DES. The first six words of the MD5 context are its state and bit count,
 * which callers may print when a digest looks wrong.
 */
#ifndef RUVO_ALGO_ALGO_H
#define RUVO_ALGO_ALGO_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && !defined(RUVO_ALGO_STATIC)
#  if defined(RUVO_ALGO_BUILDING)
#    define RUVO_ALGO_API __declspec(dllexport)
#  else
#    define RUVO_ALGO_API __declspec(dllimport)
#  endif
#elif defined(__GNUC__)
#  define RUVO_ALGO_API __attribute__((visibility("default")))
#else
#  define RUVO_ALGO_API
#endif

#ifdef __cplusplus
extern "C" {
#  define RUVO_ALGO_NOEXCEPT noexcept
#else
#  define RUVO_ALGO_NOEXCEPT
#endif

/** An MD5 digest in progress. */
typedef struct ruvo_md5_ctx {
    uint32_t state[4];   /**< A, B, C, D */
    uint32_t count[2];   /**< message length in bits, low word first */
    uint8_t  buffer[64]; /**< the partial block not yet compressed */
} ruvo_md5_ctx;          /**< 88 bytes */

/** A SHA-256 digest in progress. */
typedef struct ruvo_sha256_ctx {
    uint32_t state[8];   /**< H0..H7 */
    uint64_t length;     /**< message length in bytes */
    uint8_t  buffer[64]; /**< the partial block not yet compressed */
    uint32_t used;       /**< bytes held in buffer */
    uint32_t reserved;   /**< keeps the size at 112 bytes */
} ruvo_sha256_ctx;       /**< 112 bytes */

/** A DES key schedule. */
typedef struct ruvo_des_ctx {
    uint32_t encrypt_keys[32]; /**< sixteen round keys, two words each */
    uint32_t decrypt_keys[32]; /**< the same in reverse order */
} ruvo_des_ctx;                /**< 256 bytes */

/**@{*/
/** A digest in three steps: init starts it, update adds `len` bytes (as often
 * as needed), final writes the digest. A null pointer (or null data) does
 * nothing; update of 0 bytes adds nothing. */
RUVO_ALGO_API void ruvo_md5_init(ruvo_md5_ctx *ctx) RUVO_ALGO_NOEXCEPT;
RUVO_ALGO_API void ruvo_md5_update(ruvo_md5_ctx *ctx, const void *data, size_t len) RUVO_ALGO_NOEXCEPT;
RUVO_ALGO_API void ruvo_md5_final(ruvo_md5_ctx *ctx, uint8_t digest[16]) RUVO_ALGO_NOEXCEPT;
/**@}*/
/** The digest of len bytes in one call: 0, or 1 for a null pointer. */
RUVO_ALGO_API int ruvo_md5_calc(const void *data, uint32_t len, uint8_t digest[16]) RUVO_ALGO_NOEXCEPT;
/** Writes 32 lower-case hexadecimal digits and a terminator into text[33]. */
RUVO_ALGO_API void ruvo_md5_bin2str(const uint8_t digest[16], char *text) RUVO_ALGO_NOEXCEPT;

/**@{*/
/** The same three steps for SHA-256. */
RUVO_ALGO_API void ruvo_sha256_init(ruvo_sha256_ctx *ctx) RUVO_ALGO_NOEXCEPT;
RUVO_ALGO_API void ruvo_sha256_update(ruvo_sha256_ctx *ctx, const void *data, size_t len) RUVO_ALGO_NOEXCEPT;
RUVO_ALGO_API void ruvo_sha256_final(ruvo_sha256_ctx *ctx, uint8_t digest[32]) RUVO_ALGO_NOEXCEPT;
/**@}*/

/**@{*/
/** One key schedule serves both directions. */
RUVO_ALGO_API void ruvo_des_set_key(ruvo_des_ctx *ctx, const uint8_t key[8]) RUVO_ALGO_NOEXCEPT;
RUVO_ALGO_API void ruvo_des_encrypt(const ruvo_des_ctx *ctx, const uint8_t in[8], uint8_t out[8]) RUVO_ALGO_NOEXCEPT;
RUVO_ALGO_API void ruvo_des_decrypt(const ruvo_des_ctx *ctx, const uint8_t in[8], uint8_t out[8]) RUVO_ALGO_NOEXCEPT;
/**@}*/

/** A hash of a terminated text that depends on nothing but its bytes, so every
 * process computes the same value; callers keep the low 32 bits. */
RUVO_ALGO_API uint64_t ruvo_str_hash_a(const char *text) RUVO_ALGO_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#if defined(__cplusplus)
static_assert(sizeof(ruvo_md5_ctx) == 88, "MD5 context is 88 bytes");
static_assert(sizeof(ruvo_sha256_ctx) == 112, "SHA-256 context is 112 bytes");
static_assert(sizeof(ruvo_des_ctx) == 256, "DES context is 256 bytes");
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
_Static_assert(sizeof(ruvo_md5_ctx) == 88, "MD5 context is 88 bytes");
_Static_assert(sizeof(ruvo_sha256_ctx) == 112, "SHA-256 context is 112 bytes");
_Static_assert(sizeof(ruvo_des_ctx) == 256, "DES context is 256 bytes");
#endif

#endif
