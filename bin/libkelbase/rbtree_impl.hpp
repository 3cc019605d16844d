// Red-black tree internals shared by the exports, the white-box tests and the
// fuzzer: the default byte order and a structural checker.
#pragma once

#include <cstdint>
#include <cstring>

#include "ruvo/base/rbtree.h"

namespace ruvo::detail {

// memcmp over the shorter key, then the shorter key first. The length
// difference is given as it stands; it only saturates where it would not fit
// 32 bits, so its sign is always right.
inline int32_t rbtree_byte_cmp(const void *a, uint32_t a_len, const void *b,
                               uint32_t b_len) noexcept {
  const uint32_t n = a_len < b_len ? a_len : b_len;
  if (n != 0) {
    const int c = std::memcmp(a, b, n);
    if (c != 0) return c;
  }
  const int64_t d = static_cast<int64_t>(a_len) - static_cast<int64_t>(b_len);
  if (d > INT32_MAX) return INT32_MAX;
  if (d < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(d);
}

// Walks the whole tree and returns nullptr when it is a valid red-black tree
// whose bookkeeping agrees with its shape, or a short reason. Recursion depth
// is the tree's height, at most twice the log of the count.
class rbtree_checker {
 public:
  explicit rbtree_checker(const ruvo_rbtree_st *tree) noexcept : tree_(tree) {}

  const char *run() noexcept {
    const ruvo_rbtree_node_st *root = tree_->root;
    if (tree_->cmp == nullptr) return "no comparison";
    if (root == nullptr) {
      if (tree_->first != nullptr || tree_->last != nullptr) return "first/last in empty tree";
      return tree_->count == 0 ? nullptr : "count of empty tree";
    }
    if (root->parent != nullptr) return "root has a parent";
    if (root->color != RUVO_RBTREE_BLACK) return "red root";
    if (black_height(root) < 0) return error_;
    if (nodes_ != tree_->count) return "count differs from nodes";
    if (min_ != tree_->first) return "first is not the smallest node";
    if (max_ != tree_->last) return "last is not the largest node";
    return nullptr;
  }

 private:
  int black_height(const ruvo_rbtree_node_st *n) noexcept {
    if (n == nullptr) return 0;
    ++nodes_;
    if (n->color != RUVO_RBTREE_RED && n->color != RUVO_RBTREE_BLACK) return fail("bad colour");
    if (n->left != nullptr && n->left->parent != n) return fail("left child's parent link");
    if (n->right != nullptr && n->right->parent != n) return fail("right child's parent link");
    if (n->color == RUVO_RBTREE_RED &&
        ((n->left != nullptr && n->left->color == RUVO_RBTREE_RED) ||
         (n->right != nullptr && n->right->color == RUVO_RBTREE_RED)))
      return fail("red node with a red child");
    const int l = black_height(n->left);
    if (l < 0) return l;
    // In-order visit: keys must rise strictly.
    if (prev_ != nullptr &&
        tree_->cmp(prev_->key, prev_->key_len, n->key, n->key_len) >= 0)
      return fail("keys out of order");
    if (prev_ == nullptr) min_ = n;
    prev_ = max_ = n;
    const int r = black_height(n->right);
    if (r < 0) return r;
    if (l != r) return fail("unequal black heights");
    return l + (n->color == RUVO_RBTREE_BLACK ? 1 : 0);
  }

  int fail(const char *why) noexcept {
    error_ = why;
    return -1;
  }

  const ruvo_rbtree_st *tree_;
  const ruvo_rbtree_node_st *prev_ = nullptr;
  const ruvo_rbtree_node_st *min_ = nullptr;
  const ruvo_rbtree_node_st *max_ = nullptr;
  uint32_t nodes_ = 0;
  const char *error_ = nullptr;
};

inline const char *rbtree_check(const ruvo_rbtree_st *tree) noexcept {
  return rbtree_checker(tree).run();
}

}  // namespace ruvo::detail
