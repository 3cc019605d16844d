// Red-black tree: an ordered map from byte-string keys to one pointer-sized
// value, with parent links so that a node is a complete cursor, and the
// smallest and largest node kept at hand. Deletion relinks nodes instead of
// moving keys and values between them, so a node a caller holds stays put.
#include "ruvo/base/rbtree.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "ruvo/base/memory.h"
#include "rbtree_impl.hpp"

using node_t = ruvo_rbtree_node_st;

// Callers read nodes directly and ruvo_rbtree_size reports 56 bytes per node.
static_assert(sizeof(void *) != 8 || sizeof(ruvo_rbtree_node_st) == 56, "node is 56 bytes");
static_assert(sizeof(void *) != 8 || offsetof(ruvo_rbtree_node_st, key) == 0);
static_assert(sizeof(void *) != 8 || offsetof(ruvo_rbtree_node_st, key_len) == 8);
static_assert(sizeof(void *) != 8 || offsetof(ruvo_rbtree_node_st, value) == 16);
static_assert(sizeof(void *) != 8 || offsetof(ruvo_rbtree_node_st, left) == 24);
static_assert(sizeof(void *) != 8 || offsetof(ruvo_rbtree_node_st, right) == 32);
static_assert(sizeof(void *) != 8 || offsetof(ruvo_rbtree_node_st, parent) == 40);
static_assert(sizeof(void *) != 8 || offsetof(ruvo_rbtree_node_st, color) == 48);
static_assert(sizeof(void *) != 8 || sizeof(ruvo_rbtree_st) == 48);

namespace {

constexpr size_t kNodeBytes = 56;

// The default order, exported as a function pointer in `cmp` so that callers
// see a complete record. The searches recognise it and inline the body.
int32_t ruvo_rbtree_default_cmp(const void *a, uint32_t a_len, const void *b,
                                uint32_t b_len) noexcept {
  return ruvo::detail::rbtree_byte_cmp(a, a_len, b, b_len);
}

struct inline_cmp {
  int32_t operator()(const void *a, uint32_t a_len, const void *b, uint32_t b_len) const noexcept {
    return ruvo::detail::rbtree_byte_cmp(a, a_len, b, b_len);
  }
};

struct caller_cmp {
  ruvo_rbtree_cmp_fn fn;
  int32_t operator()(const void *a, uint32_t a_len, const void *b, uint32_t b_len) const noexcept {
    return fn(a, a_len, b, b_len);
  }
};

// Runs `body` with the comparison of `tree` as a functor: the byte order
// inlined when the tree uses it, the caller's function otherwise.
template <class Body>
inline auto with_cmp(const ruvo_rbtree_st *tree, Body &&body) noexcept {
  if (tree->cmp == &ruvo_rbtree_default_cmp) return body(inline_cmp{});
  return body(caller_cmp{tree->cmp});
}

inline bool is_red(const node_t *n) noexcept { return n != nullptr && n->color == RUVO_RBTREE_RED; }

inline node_t *leftmost(node_t *n) noexcept {
  while (n->left != nullptr) n = n->left;
  return n;
}

inline node_t *rightmost(node_t *n) noexcept {
  while (n->right != nullptr) n = n->right;
  return n;
}

node_t *successor(const node_t *n) noexcept {
  if (n->right != nullptr) return leftmost(n->right);
  const node_t *p = n->parent;
  while (p != nullptr && n == p->right) {
    n = p;
    p = p->parent;
  }
  return const_cast<node_t *>(p);
}

node_t *predecessor(const node_t *n) noexcept {
  if (n->left != nullptr) return rightmost(n->left);
  const node_t *p = n->parent;
  while (p != nullptr && n == p->left) {
    n = p;
    p = p->parent;
  }
  return const_cast<node_t *>(p);
}

// Puts `to` where `from` hangs below `parent` (or at the root).
inline void replace_child(ruvo_rbtree_st *t, node_t *parent, const node_t *from, node_t *to) noexcept {
  if (parent == nullptr) t->root = to;
  else if (parent->left == from) parent->left = to;
  else parent->right = to;
}

// The fix-ups below are written once for a node on the left of its parent;
// `side` says which side it really is, and every left and right follows.
constexpr int kLeft = 0;
constexpr int kRight = 1;

inline node_t *&child(node_t *n, int side) noexcept { return side == kLeft ? n->left : n->right; }

// Moves `x` down to its `side`; its child on the other side takes its place.
void rotate(ruvo_rbtree_st *t, node_t *x, int side) noexcept {
  node_t *y = child(x, !side);
  child(x, !side) = child(y, side);
  if (child(y, side) != nullptr) child(y, side)->parent = x;
  y->parent = x->parent;
  replace_child(t, x->parent, x, y);
  child(y, side) = x;
  x->parent = y;
}

void insert_fixup(ruvo_rbtree_st *t, node_t *z) noexcept {
  while (is_red(z->parent)) {
    node_t *p = z->parent;
    node_t *g = p->parent;  // a red parent is never the root, so g exists
    const int side = p == g->left ? kLeft : kRight;
    node_t *u = child(g, !side);
    if (is_red(u)) {
      p->color = u->color = RUVO_RBTREE_BLACK;
      g->color = RUVO_RBTREE_RED;
      z = g;
      continue;
    }
    if (z == child(p, !side)) {
      rotate(t, p, side);
      z = p;
      p = z->parent;
    }
    p->color = RUVO_RBTREE_BLACK;
    g->color = RUVO_RBTREE_RED;
    rotate(t, g, !side);
  }
  t->root->color = RUVO_RBTREE_BLACK;
}

// `x` took the place of a black node and may be null, so its parent comes
// separately.
void delete_fixup(ruvo_rbtree_st *t, node_t *x, node_t *parent) noexcept {
  while (x != t->root && !is_red(x)) {
    const int side = x == parent->left ? kLeft : kRight;
    node_t *w = child(parent, !side);  // a removed black node leaves x a sibling
    if (is_red(w)) {
      w->color = RUVO_RBTREE_BLACK;
      parent->color = RUVO_RBTREE_RED;
      rotate(t, parent, side);
      w = child(parent, !side);
    }
    if (!is_red(w->left) && !is_red(w->right)) {
      w->color = RUVO_RBTREE_RED;
      x = parent;
      parent = x->parent;
      continue;
    }
    if (!is_red(child(w, !side))) {
      child(w, side)->color = RUVO_RBTREE_BLACK;
      w->color = RUVO_RBTREE_RED;
      rotate(t, w, !side);
      w = child(parent, !side);
    }
    w->color = parent->color;
    parent->color = RUVO_RBTREE_BLACK;
    child(w, !side)->color = RUVO_RBTREE_BLACK;
    rotate(t, parent, side);
    x = t->root;
  }
  if (x != nullptr) x->color = RUVO_RBTREE_BLACK;
}

// Unhooks `z` from the shape and repairs the colours; `z` itself is left
// untouched for the caller to release.
void unlink_node(ruvo_rbtree_st *t, node_t *z) noexcept {
  if (z == t->first) t->first = successor(z);
  if (z == t->last) t->last = predecessor(z);

  node_t *x;
  node_t *x_parent;
  uint32_t removed_color;
  if (z->left == nullptr || z->right == nullptr) {
    x = z->left != nullptr ? z->left : z->right;
    x_parent = z->parent;
    removed_color = z->color;
    replace_child(t, z->parent, z, x);
    if (x != nullptr) x->parent = x_parent;
  } else {
    // The successor moves into z's place as a node; no key or value moves.
    node_t *y = leftmost(z->right);
    removed_color = y->color;
    x = y->right;
    if (y->parent == z) {
      x_parent = y;
    } else {
      x_parent = y->parent;
      x_parent->left = x;
      if (x != nullptr) x->parent = x_parent;
      y->right = z->right;
      y->right->parent = y;
    }
    y->left = z->left;
    y->left->parent = y;
    y->parent = z->parent;
    replace_child(t, z->parent, z, y);
    y->color = z->color;
  }
  if (removed_color == RUVO_RBTREE_BLACK) delete_fixup(t, x, x_parent);
}

// A copied key lives in the node's own block, right behind the node: one
// allocation per insert instead of two, and a search reads the key from the
// line it has just loaded for the node. Freeing the node frees the key.
void release_node(const ruvo_rbtree_st *t, node_t *n) noexcept {
  if (t->destroy != nullptr) t->destroy(n->value);
  std::free(n);
}

void destroy_subtree(const ruvo_rbtree_st *t, node_t *n) noexcept {
  if (n == nullptr) return;
  destroy_subtree(t, n->left);
  destroy_subtree(t, n->right);
  release_node(t, n);
}

template <class Cmp>
node_t *find(const ruvo_rbtree_st *t, const void *key, uint32_t len, Cmp cmp) noexcept {
  node_t *n = t->root;
  while (n != nullptr) {
    const int32_t c = cmp(n->key, n->key_len, key, len);
    if (c == 0) return n;
    n = c > 0 ? n->left : n->right;
  }
  return nullptr;
}

node_t *find_node(const ruvo_rbtree_st *t, const void *key, uint32_t len) noexcept {
  return with_cmp(t, [&](auto cmp) { return find(t, key, len, cmp); });
}

// The bound searches: an exact match at once, else from the last node on the
// way down step by successor (Forward) or predecessor until `cmp` says the
// node is on the wanted side of the key.
template <bool Forward, class Cmp>
node_t *bound(const ruvo_rbtree_st *t, const void *key, uint32_t len, Cmp cmp) noexcept {
  node_t *n = t->root;
  if (n == nullptr) return nullptr;
  for (;;) {
    const int32_t c = cmp(n->key, n->key_len, key, len);
    if (c == 0) return n;
    node_t *down = c > 0 ? n->left : n->right;
    if (down == nullptr) {
      // The comparison with the start node is already known.
      if (Forward ? c > 0 : c < 0) return n;
      break;
    }
    n = down;
  }
  for (;;) {
    n = Forward ? successor(n) : predecessor(n);
    if (n == nullptr) return nullptr;
    const int32_t c = cmp(n->key, n->key_len, key, len);
    if (Forward ? c >= 0 : c <= 0) return n;
  }
}

inline bool bad_key(const void *key, uint32_t len) noexcept { return key == nullptr && len != 0; }

}  // namespace

extern "C" {

RUVO_API ruvo_rbtree_st *ruvo_rbtree_create(ruvo_rbtree_destroy_fn destroy, ruvo_rbtree_cmp_fn cmp,
                                            uint32_t flags) noexcept {
  auto *t = static_cast<ruvo_rbtree_st *>(ruvo_zero_malloc(sizeof(ruvo_rbtree_st)));
  t->flags = flags;
  t->cmp = cmp != nullptr ? cmp : &ruvo_rbtree_default_cmp;
  t->destroy = destroy;
  return t;
}

RUVO_API void ruvo_rbtree_destroy(ruvo_rbtree_st *tree) noexcept {
  if (tree == nullptr) return;
  destroy_subtree(tree, tree->root);
  std::free(tree);
}

RUVO_API void ruvo_rbtree_insert(ruvo_rbtree_st *tree, const void *key, uint32_t len,
                                 void *value) noexcept {
  if (tree == nullptr || bad_key(key, len)) return;

  node_t *parent = nullptr;
  int32_t c = 0;
  node_t *hit = with_cmp(tree, [&](auto cmp) -> node_t * {
    node_t *n = tree->root;
    while (n != nullptr) {
      c = cmp(n->key, n->key_len, key, len);
      if (c == 0) return n;
      parent = n;
      n = c > 0 ? n->left : n->right;
    }
    return nullptr;
  });

  if (hit != nullptr) {
    if (tree->destroy != nullptr) tree->destroy(hit->value);
    if ((tree->flags & RUVO_RBTREE_KEY_REF) != 0) {
      hit->key = static_cast<const uint8_t *>(key);
      hit->key_len = len;
    }
    hit->value = value;
    return;
  }

  node_t *n;
  if ((tree->flags & RUVO_RBTREE_KEY_REF) != 0) {
    n = static_cast<node_t *>(ruvo_malloc(static_cast<int32_t>(sizeof(node_t))));
    n->key = static_cast<const uint8_t *>(key);
  } else {
    // Checked requests are 32-bit; a node and key beyond that can never be
    // had, which is the out-of-memory stop like any refused allocation.
    const uint64_t bytes = sizeof(node_t) + static_cast<uint64_t>(len);
    if (bytes > INT32_MAX) ruvo_out_of_memory();
    n = static_cast<node_t *>(ruvo_malloc(static_cast<int32_t>(bytes)));
    auto *copy = reinterpret_cast<uint8_t *>(n + 1);
    if (len != 0) std::memcpy(copy, key, len);
    n->key = copy;
  }
  n->key_len = len;
  n->value = value;
  n->left = n->right = nullptr;
  n->parent = parent;
  n->color = RUVO_RBTREE_RED;

  if (parent == nullptr) {
    tree->root = tree->first = tree->last = n;
  } else if (c > 0) {
    parent->left = n;
    if (parent == tree->first) tree->first = n;
  } else {
    parent->right = n;
    if (parent == tree->last) tree->last = n;
  }
  insert_fixup(tree, n);
  ++tree->count;
}

RUVO_API void ruvo_rbtree_delete(ruvo_rbtree_st *tree, const void *key, uint32_t len) noexcept {
  if (tree == nullptr || bad_key(key, len)) return;
  node_t *z = find_node(tree, key, len);
  if (z == nullptr) return;
  unlink_node(tree, z);
  release_node(tree, z);
  --tree->count;
}

RUVO_API int ruvo_rbtree_search(const ruvo_rbtree_st *tree, const void *key, uint32_t len,
                                void **value) noexcept {
  if (tree == nullptr || bad_key(key, len)) return -1;
  const node_t *n = find_node(tree, key, len);
  if (n == nullptr) return -1;
  if (value != nullptr) *value = n->value;
  return 0;
}

RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_get_cursor(const ruvo_rbtree_st *tree, const void *key,
                                                     uint32_t len) noexcept {
  if (tree == nullptr || bad_key(key, len)) return nullptr;
  return find_node(tree, key, len);
}

RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_lower_bound(const ruvo_rbtree_st *tree, const void *key,
                                                      uint32_t len) noexcept {
  if (tree == nullptr || bad_key(key, len)) return nullptr;
  return with_cmp(tree, [&](auto cmp) { return bound<true>(tree, key, len, cmp); });
}

RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_upper_bound(const ruvo_rbtree_st *tree, const void *key,
                                                      uint32_t len) noexcept {
  if (tree == nullptr || bad_key(key, len)) return nullptr;
  return with_cmp(tree, [&](auto cmp) { return bound<false>(tree, key, len, cmp); });
}

RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_first(const ruvo_rbtree_st *tree) noexcept {
  return tree != nullptr ? tree->first : nullptr;
}

RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_last(const ruvo_rbtree_st *tree) noexcept {
  return tree != nullptr ? tree->last : nullptr;
}

RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_next(const ruvo_rbtree_node_st *node) noexcept {
  return node != nullptr ? successor(node) : nullptr;
}

RUVO_API ruvo_rbtree_node_st *ruvo_rbtree_prev(const ruvo_rbtree_node_st *node) noexcept {
  return node != nullptr ? predecessor(node) : nullptr;
}

RUVO_API int ruvo_rbtree_walk(ruvo_rbtree_st *tree, void *arg, ruvo_rbtree_walk_fn fn) noexcept {
  if (tree == nullptr || fn == nullptr) return 0;
  for (node_t *n = tree->first; n != nullptr;) {
    const int r = fn(n->key, n->key_len, n->value, arg);
    if (r != 0) return r;
    // Found after the call: fn may have deleted other nodes.
    n = successor(n);
  }
  return 0;
}

RUVO_API uint32_t ruvo_rbtree_count(const ruvo_rbtree_st *tree) noexcept {
  return tree != nullptr ? tree->count : 0;
}

RUVO_API size_t ruvo_rbtree_size(const ruvo_rbtree_st *tree) noexcept {
  return tree != nullptr ? static_cast<size_t>(tree->count) * kNodeBytes : 0;
}

}  // extern "C"
