/**
 * \file
 * ruvo/base/rbtree.h - red-black tree: an ordered map from byte-string keys
 * to one pointer-sized value.
 *
 * Nodes carry parent links and double as cursors: ruvo_rbtree_first, _next,
 * the bound searches and _get_cursor hand out nodes, and callers read `key`,
 * `key_len` and `value` straight from them and change nothing. A node stays
 * valid until its own key is deleted or the tree is destroyed; deleting other
 * keys never moves keys or values between nodes.
 *
 * The tree has no lock: one thread at a time, and readers need protection
 * against a writer. Running out of memory ends the process with a [fatal]
 * "Out of memory" record; no call here reports it.
 */
#ifndef RUVO_BASE_RBTREE_H
#define RUVO_BASE_RBTREE_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/** Flag of ruvo_rbtree_create: the tree stores the caller's key pointer and
 * never copies or frees it; the caller keeps the bytes alive while the key is
 * in the tree. Without it the tree owns a copy of every key. */
#define RUVO_RBTREE_KEY_REF 0x1u

/**@{*/
/** The colours a node's `color` holds. */
#define RUVO_RBTREE_RED   1u
#define RUVO_RBTREE_BLACK 0u
/**@}*/

/** Orders a node's key against a searched key: negative when the node's key
 * sorts before the searched one, 0 when equal, positive when after. The
 * argument order is fixed: the tree goes left on a positive result. */
typedef int32_t (*ruvo_rbtree_cmp_fn)(const void *node_key, uint32_t node_key_len,
                                      const void *key, uint32_t key_len);

/** Called with a value when the tree lets go of it. */
typedef void (*ruvo_rbtree_destroy_fn)(void *value);

/** Called by ruvo_rbtree_walk for each node in ascending order; a non-zero
 * result stops the walk and becomes its result. */
typedef int (*ruvo_rbtree_walk_fn)(const uint8_t *key, uint32_t key_len, void *value,
                                   void *arg);

/** A node, 56 bytes on 64-bit targets. Layout is part of the interface. */
typedef struct ruvo_rbtree_node_st {
  const uint8_t *key;                 /**< key bytes: the tree's copy, or the caller's with KEY_REF */
  uint32_t key_len;                   /**< key length in bytes */
  void *value;                        /**< the caller's value */
  struct ruvo_rbtree_node_st *left;   /**< subtree of smaller keys */
  struct ruvo_rbtree_node_st *right;  /**< subtree of larger keys */
  struct ruvo_rbtree_node_st *parent; /**< null at the root */
  uint32_t color;                     /**< RUVO_RBTREE_RED or RUVO_RBTREE_BLACK */
} ruvo_rbtree_node_st;

/** The tree, made by ruvo_rbtree_create. Layout is part of the interface;
 * callers read it and change nothing. */
typedef struct ruvo_rbtree_st {
  ruvo_rbtree_node_st *root;      /**< null when empty */
  ruvo_rbtree_node_st *first;     /**< smallest node, null when empty */
  ruvo_rbtree_node_st *last;      /**< largest node, null when empty */
  uint32_t count;                 /**< nodes in the tree */
  uint32_t flags;                 /**< RUVO_RBTREE_KEY_REF or 0 */
  ruvo_rbtree_cmp_fn cmp;         /**< never null */
  ruvo_rbtree_destroy_fn destroy; /**< null: values are not the tree's to release */
} ruvo_rbtree_st;

/** A new empty tree; free it with ruvo_rbtree_destroy. A null `cmp` selects
 * the byte order: memcmp over the shorter length, then the shorter key
 * first, so "ab" sorts before "abc" and zero bytes inside a key count.
 * `destroy` may be null. `flags` is 0 or RUVO_RBTREE_KEY_REF. */
RUVO_API ruvo_rbtree_st *ruvo_rbtree_create(ruvo_rbtree_destroy_fn destroy, ruvo_rbtree_cmp_fn cmp,
                                            uint32_t flags) RUVO_NOEXCEPT;

/** Frees every node and the tree: each value goes to `destroy` when set, and
 * key copies are freed. Null does nothing. */
RUVO_API void ruvo_rbtree_destroy(ruvo_rbtree_st *tree) RUVO_NOEXCEPT;

/** Inserts or replaces. For a key already present `destroy` runs on the old
 * value (even when it is `value` itself), the node takes `value`, and with
 * RUVO_RBTREE_KEY_REF also the new key pointer and length; the node and the
 * count stay. `key` may be null only when `len` is 0. A null tree, or a null
 * key with a length, does nothing. */
RUVO_API void ruvo_rbtree_insert(ruvo_rbtree_st *tree, const void *key, uint32_t len,
                                 void *value) RUVO_NOEXCEPT;

/** Removes the key: `destroy` runs on its value and its key copy is freed.
 * Cursors on other nodes stay valid. A missing key, a null tree, or a null
 * key with a length does nothing. */
RUVO_API void ruvo_rbtree_delete(ruvo_rbtree_st *tree, const void *key, uint32_t len) RUVO_NOEXCEPT;

/** 0 and the value in *value (when `value` is not null) if the key is there;
 * -1 if not, or for a null tree. */
RUVO_API int ruvo_rbtree_search(const ruvo_rbtree_st *tree, const void *key, uint32_t len,
                                void **value) RUVO_NOEXCEPT;

/** The node with that key, or null. */
RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_get_cursor(const ruvo_rbtree_st *tree, const void *key,
                                                     uint32_t len) RUVO_NOEXCEPT;

/** The smallest node whose key is not below `key`, or null. */
RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_lower_bound(const ruvo_rbtree_st *tree, const void *key,
                                                      uint32_t len) RUVO_NOEXCEPT;

/** The mirror of ruvo_rbtree_lower_bound: the largest node whose key is not
 * above `key` (an exact match gives its own node), or null. */
RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_upper_bound(const ruvo_rbtree_st *tree, const void *key,
                                                      uint32_t len) RUVO_NOEXCEPT;

/**@{*/
/** The smallest and the largest node, kept by the tree; null when empty or
 * for a null tree. */
RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_first(const ruvo_rbtree_st *tree) RUVO_NOEXCEPT;
RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_last(const ruvo_rbtree_st *tree) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The in-order successor and predecessor of a node, or null at the end and
 * for a null node. */
RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_next(const ruvo_rbtree_node_st *node) RUVO_NOEXCEPT;
RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_prev(const ruvo_rbtree_node_st *node) RUVO_NOEXCEPT;
/**@}*/

/** Calls `fn` on each node in ascending order with `arg`; returns 0, or the
 * first non-zero result of `fn`. `fn` may delete other keys than the present
 * one, never the present one. A null `fn` or tree gives 0. */
RUVO_API int ruvo_rbtree_walk(ruvo_rbtree_st *tree, void *arg, ruvo_rbtree_walk_fn fn) RUVO_NOEXCEPT;

/** Nodes in the tree; 0 for null. */
RUVO_API uint32_t ruvo_rbtree_count(const ruvo_rbtree_st *tree) RUVO_NOEXCEPT;

/** count * 56: the bytes of the nodes, key copies not counted. 0 for null. */
RUVO_API size_t ruvo_rbtree_size(const ruvo_rbtree_st *tree) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_RBTREE_H */
