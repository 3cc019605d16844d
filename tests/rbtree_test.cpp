// Red-black tree against std::map: shape, cursors, bounds, key ownership and
// exactly-once release of values after every step of long random runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "../bin/libkelbase/rbtree_impl.hpp"
#include "ruvo/base/rbtree.h"

namespace {

using Node = ruvo_rbtree_node_st;
using ruvo::detail::rbtree_check;

std::string key_of(const Node *n) {
  return n->key_len ? std::string(reinterpret_cast<const char *>(n->key), n->key_len) : "";
}
void *token(uintptr_t n) { return reinterpret_cast<void *>(n); }

// Values are tokens 1, 2, 3...; the destroy callback logs each release.
std::vector<uintptr_t> g_released;
void count_release(void *value) { g_released.push_back(reinterpret_cast<uintptr_t>(value)); }

// The reference in the tree's order: each key's value and the node that has
// held it since the key was first inserted.
struct Entry { uintptr_t value; const Node *node; };
using Order = std::function<bool(const std::string &, const std::string &)>;
using Ref = std::map<std::string, Entry, Order>;

// The shape (the check shared with the fuzzer), count, size, and the nodes
// by next from first and by prev from last: the reference's, in order.
::testing::AssertionResult matches(const ruvo_rbtree_st *t, const Ref &ref) {
  if (const char *broken = rbtree_check(t)) return ::testing::AssertionFailure() << broken;
  if (ruvo_rbtree_count(t) != ref.size() || ruvo_rbtree_size(t) != 56 * ref.size())
    return ::testing::AssertionFailure() << "count or size";
  const Node *fwd = ruvo_rbtree_first(t), *back = ruvo_rbtree_last(t);
  auto mirror = ref.rbegin();
  for (const auto &[key, e] : ref) {
    if (fwd != e.node || back != (mirror++)->second.node || key_of(fwd) != key ||
        fwd->value != token(e.value))
      return ::testing::AssertionFailure() << "node of '" << key << "'";
    fwd = ruvo_rbtree_next(fwd);
    back = ruvo_rbtree_prev(back);
  }
  if (fwd != nullptr || back != nullptr) return ::testing::AssertionFailure() << "walk too long";
  return ::testing::AssertionSuccess();
}

// The searches against the reference; the upper bound mirrors the lower one:
// the largest key not above.
void expect_searches(const ruvo_rbtree_st *t, const Ref &ref, const std::string &k) {
  const uint32_t n = static_cast<uint32_t>(k.size());
  const auto lo = ref.lower_bound(k), up = ref.upper_bound(k), found = ref.find(k);
  const Node *at = found == ref.end() ? nullptr : found->second.node;
  void *value = token(0);
  EXPECT_EQ(ruvo_rbtree_lower_bound(t, k.data(), n), lo == ref.end() ? nullptr : lo->second.node);
  EXPECT_EQ(ruvo_rbtree_upper_bound(t, k.data(), n),
            up == ref.begin() ? nullptr : std::prev(up)->second.node);
  EXPECT_EQ(ruvo_rbtree_get_cursor(t, k.data(), n), at);
  EXPECT_EQ(ruvo_rbtree_search(t, k.data(), n, &value), at ? 0 : -1);
  EXPECT_EQ(value, at ? at->value : token(0));
}

// A caller's order: the default one reversed (keys are too short to reach the clamping).
int32_t descending(const void *a, uint32_t al, const void *b, uint32_t bl) {
  return -ruvo::detail::rbtree_byte_cmp(a, al, b, bl);
}

// Walk callback: logs the keys and stops after stop_at of them.
struct WalkLog { size_t stop_at; std::string seen; };
int walk_step(const uint8_t *key, uint32_t len, void *, void *arg) {
  auto *log = static_cast<WalkLog *>(arg);
  log->seen.append(reinterpret_cast<const char *>(key), len).append(1, '|');
  return log->seen.size() >= log->stop_at ? 77 : 0;
}

// Keys of length 0 to 4 over {0, 1, 'a', 0xFF}: zero bytes inside, high bytes,
// prefixes of each other. Each run mostly grows the tree, then drains it. The
// default order must be std::string's: bytes unsigned, then the shorter first.
void random_runs(const char *mode, ruvo_rbtree_cmp_fn cmp, uint32_t flags) {
  const bool key_ref = (flags & RUVO_RBTREE_KEY_REF) != 0;
  std::mt19937 rng(20240611);
  auto random_key = [&] {
    std::string k(rng() % 5, '\0');
    for (char &c : k) c = "\0\1a\xff"[rng() % 4];
    return k;
  };
  for (int round = 0; round < 2; ++round) {
    g_released.clear();
    ruvo_rbtree_st *t = ruvo_rbtree_create(&count_release, cmp, flags);
    Ref ref(cmp == &descending ? Order(std::greater<>()) : Order(std::less<>()));
    std::deque<std::string> kept;  // caller key bytes, alive as long as the tree
    std::vector<uintptr_t> owed;   // values that left the tree, in order
    for (uintptr_t step = 1; step <= 8000; ++step) {
      const std::string k = random_key();
      const uint32_t n = static_cast<uint32_t>(k.size());
      auto it = ref.find(k);
      if (it != ref.end()) owed.push_back(it->second.value);  // replaced or deleted
      if (rng() % 100 < (step <= 4000 ? 70u : 30u)) {
        const std::string &caller_key = kept.emplace_back(k);
        ruvo_rbtree_insert(t, caller_key.data(), n, token(step));
        const Node *node = ruvo_rbtree_get_cursor(t, k.data(), n);
        // A copying tree has its own bytes; a key-reference one the newest caller pointer.
        ASSERT_TRUE(node);
        ASSERT_EQ(node->key == reinterpret_cast<const uint8_t *>(caller_key.data()), key_ref);
        if (it == ref.end()) it = ref.emplace(k, Entry{0, node}).first;
        it->second.value = step;
      } else {
        if (it != ref.end()) ref.erase(it);
        ruvo_rbtree_delete(t, k.data(), n);
      }
      ASSERT_TRUE(matches(t, ref)) << mode << " step " << step;
      ASSERT_EQ(g_released.size(), owed.size()) << "step " << step;
      ASSERT_TRUE(owed.empty() || g_released.back() == owed.back()) << "step " << step;
      if (step % 7 == 0) expect_searches(t, ref, random_key());
    }
    // The walk goes in order and stops at a non-zero result.
    WalkLog all{SIZE_MAX, ""}, cut{1 + rng() % 9, ""};
    std::string want;
    for (const auto &[k, e] : ref) owed.push_back(e.value), want += k + '|';
    EXPECT_EQ(ruvo_rbtree_walk(t, &all, &walk_step), 0);
    EXPECT_EQ(ruvo_rbtree_walk(t, &cut, &walk_step), want.size() >= cut.stop_at ? 77 : 0);
    EXPECT_TRUE(all.seen == want && want.compare(0, cut.seen.size(), cut.seen) == 0);
    ruvo_rbtree_destroy(t);
    std::ranges::sort(owed);
    std::ranges::sort(g_released);
    ASSERT_EQ(g_released, owed);  // values are never reused, so each went exactly once
  }
}

TEST(Rbtree, InvariantsHoldAfterEveryStepAgainstStdMap) {
  random_runs("default order", nullptr, 0);
  random_runs("descending", &descending, 0);
  random_runs("key reference", nullptr, RUVO_RBTREE_KEY_REF);
}

// True when the structural check finds `field` set to `bad`; puts it back.
template <class T, class V> bool seen(const ruvo_rbtree_st *t, T &field, V bad) {
  const T keep = field;
  field = bad;
  const bool found = rbtree_check(t) != nullptr;
  field = keep;
  return found;
}

// The check that the random runs and the fuzzer rely on sees each kind of
// damage alone, on b (black) over a and c (black) with a red d right of c.
TEST(Rbtree, StructuralCheckSeesEachKindOfDamage) {
  ruvo_rbtree_st *t = ruvo_rbtree_create(nullptr, nullptr, 0);
  ruvo_rbtree_st *empty = ruvo_rbtree_create(nullptr, nullptr, 0);
  for (const char *k : {"b", "a", "c", "d"}) ruvo_rbtree_insert(t, k, 1, token(1));
  Node *b = t->root, *a = b->left, *c = b->right, *d = c->right;
  ASSERT_TRUE(!rbtree_check(t) && !rbtree_check(empty) && d && !d->right);
  const uint32_t red = RUVO_RBTREE_RED, black = RUVO_RBTREE_BLACK;
  EXPECT_EQ((std::vector<bool>{seen(t, d->color, 7u), seen(t, b->color, red),
                               seen(t, c->color, red), seen(t, d->color, black),
                               seen(t, d->parent, b), seen(t, b->parent, a), seen(t, t->first, c),
                               seen(t, t->last, c), seen(t, t->count, 3u), seen(t, d->key, a->key),
                               seen(t, d->key, c->key), seen(t, t->cmp, nullptr),
                               seen(empty, empty->first, d), seen(empty, empty->last, d),
                               seen(empty, empty->count, 1u)}),
            std::vector<bool>(15, true));
  ruvo_rbtree_destroy(t);
  ruvo_rbtree_destroy(empty);
  ruvo_rbtree_destroy(nullptr);  // null trees are harmless
  ruvo_rbtree_insert(nullptr, "a", 1, token(1));
  ruvo_rbtree_delete(nullptr, "a", 1);
  EXPECT_FALSE(ruvo_rbtree_first(nullptr) || ruvo_rbtree_next(nullptr) ||
               ruvo_rbtree_walk(nullptr, nullptr, &walk_step));
}

}  // namespace
