/**
 * \file
 * ruvo/base/xmsg.h - keyed messages: a reference-counted bag of binary
 * key/value elements whose element store is its own wire image.
 *
 * Elements lie back to back in one growable byte store and refer to each
 * other by 32-bit offsets, so packing is a 16-byte header and one copy of the
 * store. Sixteen hash slots give keyed lookup; they are rebuilt on unpacking
 * and never sent. A key added twice stands twice; deleting marks elements and
 * never moves bytes.
 *
 * Wire image (all integers little-endian, no alignment needed):
 *   u32 magic     RUVO_XMSG_MAGIC, the bytes "XMSG" (not checked on unpacking)
 *   u32 checksum  ruvo_xmsg hash over the `length` data bytes
 *   u32 nelem     all elements, the creator and deleted ones included
 *   u32 length    bytes of data
 *   data          the element store as it stands
 * Each element: u32 next, u32 value_len, u16 key_len (never 0), u8 flags,
 * u8 pad, the key, the value, one 0 byte, `pad` zero bytes up to a multiple
 * of 4. Element 0 is the creator; no lookup, walk or count reaches it.
 *
 * No function logs, locks or sets a last-error value. A message belongs to one
 * thread at a time, its references included.
 */
#ifndef RUVO_BASE_XMSG_H
#define RUVO_BASE_XMSG_H

#include "ruvo/base/defs.h"

#define RUVO_XMSG_MAGIC   0x47534D58u  /**< "XMSG" in file order */
#define RUVO_XMSG_DELETED 0x01u        /**< element flag: deleted */
#define RUVO_XMSG_SLOTS   16           /**< hash slots per message */

RUVO_BEGIN_DECLS

/** A message. Made by ruvo_xmsg_new, _dup or _unpack, always on the heap;
 * callers may read the fields but change them only through the functions. */
typedef struct ruvo_xmsg_st {
  uint32_t nref;                    /**< references held */
  uint32_t slots[RUVO_XMSG_SLOTS];  /**< offset of the newest element of each slot, 0 when empty */
  uint32_t nelem;                   /**< elements stored, creator and deleted ones included */
  uint32_t used;                    /**< bytes of data in use, a multiple of 4 */
  uint32_t capacity;                /**< bytes allocated for data */
  uint8_t *data;                    /**< the element store, owned by the message */
} ruvo_xmsg_st;

/** An iterator from ruvo_xmsg_first, on the heap. It holds no reference on the
 * message. key and value point into the store: an add that grows the store
 * makes them stale, while the walk itself goes on by offset. */
typedef struct ruvo_xmsg_iter_st {
  const uint8_t *key;       /**< key bytes, not terminated */
  const uint8_t *value;     /**< value bytes, followed by a 0 byte */
  uint32_t key_len;         /**< bytes */
  uint32_t value_len;       /**< bytes */
  const ruvo_xmsg_st *msg;  /**< the message walked */
  uint32_t next_off;        /**< store offset of the element after this one */
} ruvo_xmsg_iter_st;

/** A new message with one reference, whose element 0 holds `creator` (NULL
 * stands for "(null)") with a terminating zero. The text's length is taken
 * modulo 65536: a longer text keeps only that many leading bytes, so one of
 * exactly 65536 bytes gives an empty creator. NULL when memory runs out. */
RUVO_API ruvo_xmsg_st *ruvo_xmsg_new(const char *creator) RUVO_NOEXCEPT;

/** Appends an element with a copy of the key and the value; an existing
 * element of the same key stays. Returns 0, or -1 for a NULL message, key or
 * value, a key length of 0, when the store would pass 0xFFFFFFEC bytes or the
 * element count 32 bits, or when memory runs out. After -1 the message holds
 * what it held. A value length of 0 is fine. */
RUVO_API int32_t ruvo_xmsg_add(ruvo_xmsg_st *msg, const void *key, uint16_t key_len,
                               const void *value, uint32_t value_len) RUVO_NOEXCEPT;

/** The value of the newest live element with this key (bytes compared), inside
 * the store and followed by a 0 byte; NULL when there is none. *value_len gets
 * its length when value_len is not NULL. With a cursor, the walk starts at
 * *cursor when it is not 0 and *cursor is left at the next older element, so
 * calls with a cursor that starts at 0 give every live value of the key,
 * newest first, and the cursor reads 0 after the last. A cursor is an offset
 * and survives growth of the store; the returned pointer does not. A NULL
 * message or key or a key length of 0 gives NULL and leaves the cursor. */
RUVO_API const void *ruvo_xmsg_get(const ruvo_xmsg_st *msg, const void *key, uint16_t key_len,
                                   uint32_t *value_len, uint32_t *cursor) RUVO_NOEXCEPT;

/** Marks every element with this key deleted and returns how many there are,
 * already deleted ones included. Nothing moves: the store, the packed size and
 * ruvo_xmsg_nelem stay. 0 for a NULL message or key or a key length of 0. */
RUVO_API uint32_t ruvo_xmsg_del(ruvo_xmsg_st *msg, const void *key, uint16_t key_len) RUVO_NOEXCEPT;

/** A new iterator on the oldest live element, or NULL when there is none, when
 * memory runs out, or for NULL. ruvo_xmsg_next frees it at the end; a caller
 * that stops early frees it with free(). */
RUVO_API ruvo_xmsg_iter_st *ruvo_xmsg_first(const ruvo_xmsg_st *msg) RUVO_NOEXCEPT;

/** Moves the iterator to the next live element in order of adding and returns
 * it; at the end frees it and returns NULL. Elements added meanwhile are
 * reached. NULL gives NULL. */
RUVO_API ruvo_xmsg_iter_st *ruvo_xmsg_next(ruvo_xmsg_iter_st *iter) RUVO_NOEXCEPT;

/** Writes `"[key] => [value]\n"` to standard output for each live element, the
 * creator left out; a value stops at its first 0 byte. NULL does nothing. */
RUVO_API void ruvo_xmsg_debug(const ruvo_xmsg_st *msg) RUVO_NOEXCEPT;

/** Elements stored, deleted ones included, the creator not. 0 for NULL. */
RUVO_API uint32_t ruvo_xmsg_nelem(const ruvo_xmsg_st *msg) RUVO_NOEXCEPT;

/** The creator text, inside the store. NULL for NULL. */
RUVO_API const char *ruvo_xmsg_get_creator(const ruvo_xmsg_st *msg) RUVO_NOEXCEPT;

/** Bytes of the wire image: the store in use plus 16. 0 for NULL. */
RUVO_API uint32_t ruvo_xmsg_pack_size(const ruvo_xmsg_st *msg) RUVO_NOEXCEPT;

/** Writes the wire image to `buf` and returns its size (ruvo_xmsg_pack_size);
 * -1, with nothing written, when buf_len is smaller or for NULL. */
RUVO_API int64_t ruvo_xmsg_pack(const ruvo_xmsg_st *msg, void *buf, uint32_t buf_len) RUVO_NOEXCEPT;

/** The wire image in a new buffer of exactly its size, which goes to *out_len;
 * free it with free(). NULL, *out_len left alone, when memory runs out or for
 * a NULL argument. */
RUVO_API void *ruvo_xmsg_pack_aux(const ruvo_xmsg_st *msg, uint32_t *out_len) RUVO_NOEXCEPT;

/** A new message with one reference from a wire image of `len` bytes; bytes
 * past the image are ignored, and so is the magic. NULL when the image is
 * shorter than its header says, when the checksum differs, when its elements
 * do not tile the data exactly (no element at all, a key length of 0, a
 * stride past the end, a missing terminator), when memory runs out, or for
 * NULL. The buffer is only read, and never outside its `len` bytes. */
RUVO_API ruvo_xmsg_st *ruvo_xmsg_unpack(const void *buf, uint32_t len) RUVO_NOEXCEPT;

/** An independent copy with one reference. NULL when memory runs out or for
 * NULL. */
RUVO_API ruvo_xmsg_st *ruvo_xmsg_dup(const ruvo_xmsg_st *msg) RUVO_NOEXCEPT;

/** Adds a reference and returns `msg` (NULL for NULL). */
RUVO_API ruvo_xmsg_st *ruvo_xmsg_retain(ruvo_xmsg_st *msg) RUVO_NOEXCEPT;

/** Drops a reference; the last one frees the message. NULL does nothing. */
RUVO_API void ruvo_xmsg_release(ruvo_xmsg_st *msg) RUVO_NOEXCEPT;

/** References held; 0 for NULL. */
RUVO_API uint32_t ruvo_xmsg_nref(const ruvo_xmsg_st *msg) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_XMSG_H */
