/**
 * \file
 * ruvo/base/plist.h - an intrusive singly linked list kept in descending
 * order of priority.
 *
 * The caller allocates, embeds and owns every node, the head included; the
 * list only links them. No operation locks: the owner serialises access.
 */
#ifndef RUVO_BASE_PLIST_H
#define RUVO_BASE_PLIST_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/** The priority a list head carries. */
#define RUVO_PLIST_HEAD_PRIORITY 0x7FFFFFFF

/** A list node, embedded in the caller's record; the head is a node of the
 * same form. Layout is part of the interface. */
typedef struct ruvo_plist_node_st {
  struct ruvo_plist_node_st *next; /**< following node, null at the end */
  int32_t priority;                /**< higher values stand nearer the head */
} ruvo_plist_node_st;

/** Decides whether ruvo_plist_del takes `node` out: non-zero to unlink it.
 * It may free the node, since the list has read `next` before the call. */
typedef int32_t (*ruvo_plist_match_fn)(ruvo_plist_node_st *node, void *arg);

/** Makes `head` an empty list: `next` null, `priority`
 * RUVO_PLIST_HEAD_PRIORITY. Null does nothing. */
RUVO_API void ruvo_plist_head_init(ruvo_plist_node_st *head) RUVO_NOEXCEPT;

/** Links `node` in front of the first node whose priority is less than or
 * equal to its own, or at the end: the list runs from the highest priority
 * down, and among equal priorities the newest stands first. On an empty list
 * the node's `next` is not written, so pass a node whose `next` is null.
 * Does nothing when either argument is null. */
RUVO_API void ruvo_plist_add(ruvo_plist_node_st *node, ruvo_plist_node_st *head) RUVO_NOEXCEPT;

/** Walks the whole list once and unlinks every node for which
 * `match(node, arg)` is non-zero. Nothing is freed here; the match function
 * may free the nodes it accepts. Does nothing for a null head or match. */
RUVO_API void ruvo_plist_del(ruvo_plist_node_st *head, ruvo_plist_match_fn match, void *arg) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_PLIST_H */
