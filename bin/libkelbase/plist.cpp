// Priority list: an intrusive singly linked list of the caller's nodes, kept
// from the highest priority down. The list allocates nothing.
#include "ruvo/base/plist.h"

#include <cstddef>

// Callers embed the node, so its layout is fixed.
static_assert(offsetof(ruvo_plist_node_st, next) == 0);
static_assert(offsetof(ruvo_plist_node_st, priority) == sizeof(void *));
static_assert(sizeof(ruvo_plist_node_st) == 2 * sizeof(void *));

extern "C" {

RUVO_API void ruvo_plist_head_init(ruvo_plist_node_st *head) noexcept {
  if (head == nullptr) return;
  head->next = nullptr;
  head->priority = RUVO_PLIST_HEAD_PRIORITY;
}

RUVO_API void ruvo_plist_add(ruvo_plist_node_st *node, ruvo_plist_node_st *head) noexcept {
  if (node == nullptr || head == nullptr) return;
  // Only the head's link is written on an empty list; callers have relied on
  // the node's own `next` being left as they passed it.
  if (head->next == nullptr) {
    head->next = node;
    return;
  }
  // The head's own priority takes no part: the walk starts behind it.
  ruvo_plist_node_st *prev = head;
  while (prev->next != nullptr && prev->next->priority > node->priority) prev = prev->next;
  node->next = prev->next;
  prev->next = node;
}

RUVO_API void ruvo_plist_del(ruvo_plist_node_st *head, ruvo_plist_match_fn match, void *arg) noexcept {
  if (head == nullptr || match == nullptr) return;
  ruvo_plist_node_st *prev = head;
  ruvo_plist_node_st *node = head->next;
  while (node != nullptr) {
    // Read before the call: the match function may free a node it takes.
    ruvo_plist_node_st *next = node->next;
    if (match(node, arg) != 0) {
      prev->next = next;
    } else {
      prev = node;
    }
    node = next;
  }
}

}  // extern "C"
