// Red-black tree: shape invariants after every step of random insert/delete
// runs against std::map, cursors that survive deletions, bounds, key
// ownership and exactly-once release of values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <iterator>
#include <map>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "ruvo/base/rbtree.h"

namespace {

static_assert(sizeof(ruvo_rbtree_node_st) == 56);
static_assert(offsetof(ruvo_rbtree_node_st, key_len) == 8);
static_assert(offsetof(ruvo_rbtree_node_st, value) == 16);
static_assert(offsetof(ruvo_rbtree_node_st, left) == 24);
static_assert(offsetof(ruvo_rbtree_node_st, right) == 32);
static_assert(offsetof(ruvo_rbtree_node_st, parent) == 40);
static_assert(offsetof(ruvo_rbtree_node_st, color) == 48);

using Node = ruvo_rbtree_node_st;

std::string key_of(const Node *n) {
  return n->key_len == 0 ? std::string() : std::string(reinterpret_cast<const char *>(n->key), n->key_len);
}

// ---- value tracking ----

// Values are tokens 1, 2, 3...; the destroy callback counts how often each
// one is released, and logs the order. A value must be released exactly once
// after it leaves.
std::map<uintptr_t, int> g_released;
std::vector<uintptr_t> g_release_log;

void count_release(void *value) {
  ++g_released[reinterpret_cast<uintptr_t>(value)];
  g_release_log.push_back(reinterpret_cast<uintptr_t>(value));
}

void *token(uintptr_t n) { return reinterpret_cast<void *>(n); }

// ---- structural checker, written apart from the library's own ----

struct ShapeReport {
  std::string error;
  size_t nodes = 0;
};

int black_height(const ruvo_rbtree_st *t, const Node *n, const Node *parent, ShapeReport &r) {
  if (n == nullptr) return 1;
  ++r.nodes;
  if (r.nodes > t->count + 1) {
    r.error = "more nodes than count (or a cycle)";
    return -1;
  }
  if (n->parent != parent) r.error = "parent link of " + key_of(n);
  if (n->color == RUVO_RBTREE_RED && (parent == nullptr || parent->color == RUVO_RBTREE_RED))
    r.error = "red root or red-red at " + key_of(n);
  if (n->color != RUVO_RBTREE_RED && n->color != RUVO_RBTREE_BLACK) r.error = "colour value";
  if (!r.error.empty()) return -1;
  const int lh = black_height(t, n->left, n, r);
  if (lh < 0) return -1;
  const int rh = black_height(t, n->right, n, r);
  if (rh < 0) return -1;
  if (lh != rh) {
    r.error = "black heights differ below " + key_of(n);
    return -1;
  }
  return lh + (n->color == RUVO_RBTREE_BLACK ? 1 : 0);
}

// The tree against the reference: shape, colours, count, first/last, and
// the in-order keys and values by next and by prev.
::testing::AssertionResult matches(const ruvo_rbtree_st *t, const std::map<std::string, uintptr_t> &ref) {
  ShapeReport r;
  if (t->root != nullptr && t->root->color != RUVO_RBTREE_BLACK) return ::testing::AssertionFailure() << "red root";
  if (black_height(t, t->root, nullptr, r) < 0) return ::testing::AssertionFailure() << r.error;
  if (r.nodes != ref.size() || t->count != ref.size() || ruvo_rbtree_count(t) != ref.size())
    return ::testing::AssertionFailure() << "count " << t->count << " nodes " << r.nodes << " want " << ref.size();
  if (ruvo_rbtree_size(t) != ref.size() * 56) return ::testing::AssertionFailure() << "size";
  if (ref.empty()) {
    if (t->root || t->first || t->last) return ::testing::AssertionFailure() << "empty tree keeps nodes";
    return ::testing::AssertionSuccess();
  }
  const Node *n = ruvo_rbtree_first(t);
  for (const auto &[k, v] : ref) {
    if (n == nullptr || key_of(n) != k || reinterpret_cast<uintptr_t>(n->value) != v)
      return ::testing::AssertionFailure() << "in-order mismatch at " << k;
    const Node *next = ruvo_rbtree_next(n);
    if (next == nullptr && n != ruvo_rbtree_last(t)) return ::testing::AssertionFailure() << "last";
    n = next;
  }
  if (n != nullptr) return ::testing::AssertionFailure() << "extra node";
  n = ruvo_rbtree_last(t);
  for (auto it = ref.rbegin(); it != ref.rend(); ++it, n = ruvo_rbtree_prev(n))
    if (n == nullptr || key_of(n) != it->first) return ::testing::AssertionFailure() << "reverse mismatch";
  if (n != nullptr) return ::testing::AssertionFailure() << "extra node in reverse";
  return ::testing::AssertionSuccess();
}

// The bound searches against std::map: lower_bound is the map's; the
// mirrored upper bound is the largest key not above.
::testing::AssertionResult bounds_match(const ruvo_rbtree_st *t, const std::map<std::string, uintptr_t> &ref,
                                        const std::string &k) {
  const Node *lo = ruvo_rbtree_lower_bound(t, k.data(), static_cast<uint32_t>(k.size()));
  auto it = ref.lower_bound(k);
  if ((it == ref.end()) != (lo == nullptr) || (lo && key_of(lo) != it->first))
    return ::testing::AssertionFailure() << "lower_bound of '" << k << "'";
  const Node *up = ruvo_rbtree_upper_bound(t, k.data(), static_cast<uint32_t>(k.size()));
  auto ut = ref.upper_bound(k);
  const bool none = ut == ref.begin();
  if (none != (up == nullptr) || (up && key_of(up) != std::prev(ut)->first))
    return ::testing::AssertionFailure() << "upper_bound of '" << k << "'";
  const Node *cur = ruvo_rbtree_get_cursor(t, k.data(), static_cast<uint32_t>(k.size()));
  void *value = token(12345);
  const int found = ruvo_rbtree_search(t, k.data(), static_cast<uint32_t>(k.size()), &value);
  auto ft = ref.find(k);
  if (ft == ref.end()) {
    if (cur != nullptr || found != -1 || value != token(12345)) return ::testing::AssertionFailure() << "found missing";
  } else if (cur == nullptr || key_of(cur) != k || found != 0 || reinterpret_cast<uintptr_t>(value) != ft->second ||
             cur != lo || cur != up) {
    return ::testing::AssertionFailure() << "search of '" << k << "'";
  }
  return ::testing::AssertionSuccess();
}

// A comparison given by the caller that is the byte order again, so the
// reference map's order still holds while the tree calls through `cmp`.
int32_t caller_byte_order(const void *a, uint32_t al, const void *b, uint32_t bl) {
  const int c = std::memcmp(a, b, al < bl ? al : bl);
  if (c != 0 || al == bl) return c;
  return al < bl ? -1 : 1;
}

struct Mode {
  const char *name;
  ruvo_rbtree_cmp_fn cmp;
  uint32_t flags;
};

class RbtreeRandom : public ::testing::TestWithParam<Mode> {
 protected:
  void SetUp() override { g_released.clear(); }
};

void PrintTo(const Mode &m, std::ostream *os) { *os << m.name; }

// Keys of length 0 to 4 over {0, 1, 'a', 'b'}: 341 possible keys, zero bytes
// inside, prefixes of each other. Each run first grows the tree, then drains
// it, checking every step.
TEST_P(RbtreeRandom, InvariantsHoldAfterEveryStepAgainstStdMap) {
  const Mode mode = GetParam();
  const bool key_ref = (mode.flags & RUVO_RBTREE_KEY_REF) != 0;
  std::mt19937 rng(20240611);
  for (int round = 0; round < 3; ++round) {
    ruvo_rbtree_st *t = ruvo_rbtree_create(&count_release, mode.cmp, mode.flags);
    std::map<std::string, uintptr_t> ref;
    std::deque<std::string> key_store;  // stable bytes for key-reference trees
    g_release_log.clear();
    size_t owed = 0;                    // releases owed so far, in order
    std::vector<uintptr_t> owed_log;
    uintptr_t next_token = 1;
    auto random_key = [&] {
      static const char alphabet[] = {'\0', '\1', 'a', 'b'};
      std::string k(rng() % 5, '\0');
      for (char &c : k) c = alphabet[rng() % 4];
      return k;
    };
    for (int step = 0; step < 8000; ++step) {
      const int insert_percent = step < 4000 ? 70 : 30;
      std::string k = random_key();
      if (static_cast<int>(rng() % 100) < insert_percent) {
        const uintptr_t v = next_token++;
        key_store.push_back(k);
        const std::string &kept = key_store.back();
        auto it = ref.find(k);
        if (it != ref.end()) owed_log.push_back(it->second);
        ruvo_rbtree_insert(t, kept.data(), static_cast<uint32_t>(kept.size()), token(v));
        ref[k] = v;
        if (key_ref) {
          const Node *n = ruvo_rbtree_get_cursor(t, k.data(), static_cast<uint32_t>(k.size()));
          ASSERT_EQ(n->key, reinterpret_cast<const uint8_t *>(kept.data()));
        }
      } else {
        auto it = ref.find(k);
        if (it != ref.end()) {
          owed_log.push_back(it->second);
          ref.erase(it);
        }
        ruvo_rbtree_delete(t, k.data(), static_cast<uint32_t>(k.size()));
      }
      ASSERT_TRUE(matches(t, ref)) << mode.name << " step " << step;
      ASSERT_EQ(g_release_log.size(), owed_log.size()) << "step " << step;
      if (owed != owed_log.size()) {
        ASSERT_EQ(g_release_log.back(), owed_log.back()) << "step " << step;
        owed = owed_log.size();
      }
      if (step % 7 == 0) {
        ASSERT_TRUE(bounds_match(t, ref, random_key()));
      }
    }
    for (const auto &[k, v] : ref) owed_log.push_back(v);
    ruvo_rbtree_destroy(t);
    std::sort(owed_log.begin(), owed_log.end());
    std::sort(g_release_log.begin(), g_release_log.end());
    ASSERT_EQ(g_release_log, owed_log);
    ASSERT_EQ(std::adjacent_find(owed_log.begin(), owed_log.end()), owed_log.end());
  }
}

INSTANTIATE_TEST_SUITE_P(Modes, RbtreeRandom,
                         ::testing::Values(Mode{"DefaultOrder", nullptr, 0},
                                           Mode{"CallerOrder", &caller_byte_order, 0},
                                           Mode{"KeyRef", nullptr, RUVO_RBTREE_KEY_REF}),
                         [](const auto &info) { return std::string(info.param.name); });

// ---- fixed cases ----

std::string be32(uint32_t v) {
  const char b[4] = {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8),
                     static_cast<char>(v)};
  return std::string(b, 4);
}

uint32_t from_be32(const std::string &k) {
  uint32_t v = 0;
  for (unsigned char c : k) v = v << 8 | c;
  return v;
}

struct Tree {
  explicit Tree(uint32_t flags = 0, ruvo_rbtree_cmp_fn cmp = nullptr)
      : t(ruvo_rbtree_create(&count_release, cmp, flags)) {
    g_released.clear();
  }
  ~Tree() { ruvo_rbtree_destroy(t); }
  void put(const std::string &k, uintptr_t v) {
    ruvo_rbtree_insert(t, k.data(), static_cast<uint32_t>(k.size()), token(v));
  }
  void del(const std::string &k) { ruvo_rbtree_delete(t, k.data(), static_cast<uint32_t>(k.size())); }
  Node *at(const std::string &k) const { return ruvo_rbtree_get_cursor(t, k.data(), static_cast<uint32_t>(k.size())); }
  ruvo_rbtree_st *t;
};

TEST(Rbtree, CursorsOnOtherNodesSurviveEveryDeletion) {
  Tree tree;
  std::map<std::string, Node *> held;
  std::mt19937 rng(7);
  std::vector<uint32_t> order(500);
  for (uint32_t i = 0; i < order.size(); ++i) order[i] = i;
  std::shuffle(order.begin(), order.end(), rng);
  for (uint32_t i : order) tree.put(be32(i), i + 1);
  for (uint32_t i : order) held[be32(i)] = tree.at(be32(i));
  std::shuffle(order.begin(), order.end(), rng);
  bool saw_two_children = false;
  for (uint32_t i : order) {
    const Node *gone = held[be32(i)];
    saw_two_children |= gone->left != nullptr && gone->right != nullptr;
    held.erase(be32(i));
    tree.del(be32(i));
    for (const auto &[k, n] : held) {
      ASSERT_EQ(tree.at(k), n);
      ASSERT_EQ(key_of(n), k);
      ASSERT_EQ(reinterpret_cast<uintptr_t>(n->value), from_be32(k) + 1);
    }
  }
  EXPECT_TRUE(saw_two_children);
  EXPECT_EQ(tree.t->root, nullptr);
  EXPECT_EQ(g_released.size(), order.size());
}

TEST(Rbtree, InsertOfExistingKeyKeepsNodeAndCountAndReleasesOldValueOnce) {
  Tree tree;
  tree.put("k", 1);
  tree.put("other", 9);
  Node *n = tree.at("k");
  const uint8_t *own_key = n->key;
  const std::string caller_key = "k";
  ruvo_rbtree_insert(tree.t, caller_key.data(), 1, token(2));
  EXPECT_EQ(tree.at("k"), n);
  EXPECT_EQ(n->key, own_key);  // a copying tree keeps its own key
  EXPECT_EQ(n->value, token(2));
  EXPECT_EQ(ruvo_rbtree_count(tree.t), 2u);
  EXPECT_EQ(g_released, (std::map<uintptr_t, int>{{1, 1}}));
}

TEST(Rbtree, CopyingTreeOwnsItsKeys) {
  Tree tree;
  std::string k = "volatile";
  tree.put(k, 1);
  k.assign("changed!");
  EXPECT_NE(tree.at("volatile"), nullptr);
  EXPECT_EQ(tree.at("changed!"), nullptr);
}

TEST(Rbtree, BoundsMirrorEachOther) {
  Tree tree;
  EXPECT_EQ(ruvo_rbtree_lower_bound(tree.t, "x", 1), nullptr);
  EXPECT_EQ(ruvo_rbtree_upper_bound(tree.t, "x", 1), nullptr);
  for (uint32_t v : {20u, 30u, 10u}) tree.put(be32(v), v);
  auto lo = [&](uint32_t v) {
    const Node *n = ruvo_rbtree_lower_bound(tree.t, be32(v).data(), 4);
    return n ? reinterpret_cast<uintptr_t>(n->value) : 0;
  };
  auto up = [&](uint32_t v) {
    const Node *n = ruvo_rbtree_upper_bound(tree.t, be32(v).data(), 4);
    return n ? reinterpret_cast<uintptr_t>(n->value) : 0;
  };
  EXPECT_EQ(lo(15), 20u);
  EXPECT_EQ(lo(20), 20u);
  EXPECT_EQ(lo(35), 0u);
  EXPECT_EQ(lo(5), 10u);
  EXPECT_EQ(up(15), 10u);
  EXPECT_EQ(up(20), 20u);
  EXPECT_EQ(up(5), 0u);
  EXPECT_EQ(up(35), 30u);
}

TEST(Rbtree, DefaultOrderIsBytesThenLength) {
  Tree tree;
  const std::string keys[] = {std::string("ab"), std::string("abc"), std::string("a\0c", 3), std::string("a\0b", 3),
                              std::string(), std::string("\xff", 1), std::string("a")};
  uintptr_t v = 1;
  for (const auto &k : keys) tree.put(k, v++);
  std::vector<std::string> walked;
  for (const Node *n = ruvo_rbtree_first(tree.t); n; n = ruvo_rbtree_next(n)) walked.push_back(key_of(n));
  const std::vector<std::string> want = {std::string(), "a", std::string("a\0b", 3), std::string("a\0c", 3),
                                         "ab", "abc", "\xff"};
  EXPECT_EQ(walked, want);
  EXPECT_EQ(ruvo_rbtree_size(tree.t), 7u * 56);
}

int32_t descending(const void *a, uint32_t al, const void *b, uint32_t bl) { return -caller_byte_order(a, al, b, bl); }

TEST(Rbtree, CallerComparisonDecidesTheOrderAndTheBounds) {
  Tree tree(0, &descending);
  for (uint32_t v : {10u, 30u, 20u}) tree.put(be32(v), v);
  EXPECT_EQ(key_of(ruvo_rbtree_first(tree.t)), be32(30));
  EXPECT_EQ(key_of(ruvo_rbtree_last(tree.t)), be32(10));
  EXPECT_EQ(key_of(ruvo_rbtree_lower_bound(tree.t, be32(25).data(), 4)), be32(20));
  EXPECT_EQ(key_of(ruvo_rbtree_upper_bound(tree.t, be32(25).data(), 4)), be32(30));
  EXPECT_EQ(tree.t->cmp, &descending);
}

struct WalkLog {
  std::vector<std::string> keys;
  int stop_at = -1;
  ruvo_rbtree_st *delete_next_from = nullptr;
};

int walk_step(const uint8_t *key, uint32_t len, void *, void *arg) {
  auto *log = static_cast<WalkLog *>(arg);
  log->keys.emplace_back(reinterpret_cast<const char *>(key), len);
  if (log->delete_next_from != nullptr) {
    // Deleting any node but the present one is allowed during a walk.
    const Node *n = ruvo_rbtree_get_cursor(log->delete_next_from, key, len);
    if (const Node *next = ruvo_rbtree_next(n)) {
      const std::string k = key_of(next);
      ruvo_rbtree_delete(log->delete_next_from, k.data(), static_cast<uint32_t>(k.size()));
    }
  }
  return static_cast<int>(log->keys.size()) == log->stop_at ? 77 : 0;
}

TEST(Rbtree, WalkIsAscendingStopsOnNonZeroAndToleratesDeletingOthers) {
  Tree tree;
  for (const char *k : {"d", "b", "a", "e", "c", "f"}) tree.put(k, 1);
  WalkLog all;
  EXPECT_EQ(ruvo_rbtree_walk(tree.t, &all, &walk_step), 0);
  EXPECT_EQ(all.keys, (std::vector<std::string>{"a", "b", "c", "d", "e", "f"}));
  WalkLog stopped;
  stopped.stop_at = 2;
  EXPECT_EQ(ruvo_rbtree_walk(tree.t, &stopped, &walk_step), 77);
  EXPECT_EQ(stopped.keys.size(), 2u);
  EXPECT_EQ(ruvo_rbtree_walk(tree.t, &stopped, nullptr), 0);
  WalkLog thinning;
  thinning.delete_next_from = tree.t;
  EXPECT_EQ(ruvo_rbtree_walk(tree.t, &thinning, &walk_step), 0);
  EXPECT_EQ(thinning.keys, (std::vector<std::string>{"a", "c", "e"}));
  EXPECT_EQ(ruvo_rbtree_count(tree.t), 3u);
}

TEST(Rbtree, DestroyReleasesEveryValueOnceAndNullsAreHarmless) {
  g_released.clear();
  ruvo_rbtree_st *t = ruvo_rbtree_create(&count_release, nullptr, 0);
  for (uintptr_t i = 1; i <= 100; ++i) ruvo_rbtree_insert(t, be32(uint32_t(i * 7919)).data(), 4, token(i));
  ruvo_rbtree_destroy(t);
  ASSERT_EQ(g_released.size(), 100u);
  for (const auto &[v, n] : g_released) EXPECT_EQ(n, 1) << v;

  // A tree without a destroy function leaves values alone.
  t = ruvo_rbtree_create(nullptr, nullptr, 0);
  ruvo_rbtree_insert(t, "a", 1, token(1));
  ruvo_rbtree_insert(t, "a", 1, token(2));
  ruvo_rbtree_delete(t, "a", 1);
  ruvo_rbtree_destroy(t);

  ruvo_rbtree_destroy(nullptr);
  ruvo_rbtree_insert(nullptr, "a", 1, token(1));
  ruvo_rbtree_delete(nullptr, "a", 1);
  void *v = token(5);
  EXPECT_EQ(ruvo_rbtree_search(nullptr, "a", 1, &v), -1);
  EXPECT_EQ(v, token(5));
  EXPECT_EQ(ruvo_rbtree_get_cursor(nullptr, "a", 1), nullptr);
  EXPECT_EQ(ruvo_rbtree_lower_bound(nullptr, "a", 1), nullptr);
  EXPECT_EQ(ruvo_rbtree_upper_bound(nullptr, "a", 1), nullptr);
  EXPECT_EQ(ruvo_rbtree_first(nullptr), nullptr);
  EXPECT_EQ(ruvo_rbtree_last(nullptr), nullptr);
  EXPECT_EQ(ruvo_rbtree_next(nullptr), nullptr);
  EXPECT_EQ(ruvo_rbtree_prev(nullptr), nullptr);
  EXPECT_EQ(ruvo_rbtree_walk(nullptr, nullptr, &walk_step), 0);
  EXPECT_EQ(ruvo_rbtree_count(nullptr), 0u);
  EXPECT_EQ(ruvo_rbtree_size(nullptr), 0u);
}

TEST(Rbtree, EmptyKeyIsAKeyAndNullKeyWithLengthIsIgnored) {
  Tree tree;
  ruvo_rbtree_insert(tree.t, nullptr, 0, token(1));
  ruvo_rbtree_insert(tree.t, nullptr, 3, token(2));
  EXPECT_EQ(ruvo_rbtree_count(tree.t), 1u);
  void *v = nullptr;
  EXPECT_EQ(ruvo_rbtree_search(tree.t, "", 0, &v), 0);
  EXPECT_EQ(v, token(1));
  EXPECT_EQ(ruvo_rbtree_search(tree.t, nullptr, 3, &v), -1);
  EXPECT_EQ(ruvo_rbtree_search(tree.t, nullptr, 0, nullptr), 0);
  ruvo_rbtree_delete(tree.t, nullptr, 3);
  EXPECT_EQ(ruvo_rbtree_count(tree.t), 1u);
  ruvo_rbtree_delete(tree.t, nullptr, 0);
  EXPECT_EQ(ruvo_rbtree_count(tree.t), 0u);
  EXPECT_EQ(g_released, (std::map<uintptr_t, int>{{1, 1}}));
}

}  // namespace
