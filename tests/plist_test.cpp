#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "ruvo/base/plist.h"

namespace {

// Callers embed the node and link it themselves: its layout is fixed.
static_assert(offsetof(ruvo_plist_node_st, next) == 0);
static_assert(offsetof(ruvo_plist_node_st, priority) == sizeof(void *));
static_assert(sizeof(ruvo_plist_node_st) == 2 * sizeof(void *));

std::vector<const ruvo_plist_node_st *> walk(const ruvo_plist_node_st &head) {
  std::vector<const ruvo_plist_node_st *> out;
  for (const ruvo_plist_node_st *n = head.next; n != nullptr; n = n->next) out.push_back(n);
  return out;
}

TEST(PriorityList, HeadInitMakesAnEmptyList) {
  ruvo_plist_node_st head{reinterpret_cast<ruvo_plist_node_st *>(uintptr_t{8}), 3};
  ruvo_plist_head_init(&head);
  EXPECT_EQ(head.next, nullptr);
  EXPECT_EQ(head.priority, 0x7FFFFFFF);
  EXPECT_EQ(RUVO_PLIST_HEAD_PRIORITY, 0x7FFFFFFF);
}

TEST(PriorityList, EqualPrioritiesPutTheNewestFirst) {
  ruvo_plist_node_st head, a{nullptr, 5}, b{nullptr, 7}, c{nullptr, 5};
  ruvo_plist_head_init(&head);
  ruvo_plist_add(&a, &head);
  ruvo_plist_add(&b, &head);
  ruvo_plist_add(&c, &head);
  EXPECT_EQ(walk(head), (std::vector<const ruvo_plist_node_st *>{&b, &c, &a}));
}

TEST(PriorityList, AddToEmptyListLeavesTheNodesLinkAlone) {
  ruvo_plist_node_st head, sentinel{nullptr, 0};
  ruvo_plist_node_st node{&sentinel, 1};
  ruvo_plist_head_init(&head);
  ruvo_plist_add(&node, &head);
  EXPECT_EQ(head.next, &node);
  EXPECT_EQ(node.next, &sentinel);
}

TEST(PriorityList, ExtremePrioritiesKeepTheirPlace) {
  ruvo_plist_node_st head, top{nullptr, INT32_MAX}, bottom{nullptr, INT32_MIN}, mid{nullptr, 0};
  ruvo_plist_head_init(&head);
  ruvo_plist_add(&mid, &head);
  ruvo_plist_add(&bottom, &head);
  ruvo_plist_add(&top, &head);
  EXPECT_EQ(walk(head), (std::vector<const ruvo_plist_node_st *>{&top, &mid, &bottom}));
}

// Against a reference: each node goes in front of the first one whose
// priority is less than or equal to its own.
TEST(PriorityList, RandomInsertionsMatchReference) {
  std::mt19937 rng(99);
  std::vector<ruvo_plist_node_st> nodes(2000);
  ruvo_plist_node_st head;
  ruvo_plist_head_init(&head);
  std::vector<const ruvo_plist_node_st *> ref;
  for (auto &n : nodes) {
    n.next = nullptr;
    n.priority = static_cast<int32_t>(rng() % 50) - 25;
    ruvo_plist_add(&n, &head);
    auto at = std::find_if(ref.begin(), ref.end(),
                           [&](const ruvo_plist_node_st *o) { return o->priority <= n.priority; });
    ref.insert(at, &n);
  }
  EXPECT_EQ(walk(head), ref);
}

TEST(PriorityList, NullArgumentsDoNothing) {
  ruvo_plist_node_st head, node{nullptr, 1};
  ruvo_plist_head_init(nullptr);
  ruvo_plist_head_init(&head);
  ruvo_plist_add(nullptr, &head);
  ruvo_plist_add(&node, nullptr);
  EXPECT_EQ(head.next, nullptr);
  ruvo_plist_add(&node, &head);
  ruvo_plist_del(nullptr, [](ruvo_plist_node_st *, void *) -> int32_t { return 1; }, nullptr);
  ruvo_plist_del(&head, nullptr, nullptr);
  EXPECT_EQ(head.next, &node);
}

// A heap node that counts how often the match function frees it.
struct Owned {
  ruvo_plist_node_st link;
  int id;
};
int g_freed = 0;

int32_t free_all(ruvo_plist_node_st *node, void *arg) {
  EXPECT_EQ(arg, &g_freed);
  delete reinterpret_cast<Owned *>(node);  // `link` is the first member
  ++g_freed;
  return 1;
}

int32_t free_odd_ids(ruvo_plist_node_st *node, void *arg) {
  auto *seen = static_cast<std::vector<int> *>(arg);
  auto *owned = reinterpret_cast<Owned *>(node);
  seen->push_back(owned->id);
  if (owned->id % 2 == 0) return 0;
  delete owned;
  ++g_freed;
  return 1;
}

TEST(PriorityList, DeleteAllWithFreeingMatchEmptiesTheList) {
  ruvo_plist_node_st head;
  ruvo_plist_head_init(&head);
  for (int k = 0; k < 10; ++k) ruvo_plist_add(&(new Owned{{nullptr, k % 3}, k})->link, &head);
  g_freed = 0;
  ruvo_plist_del(&head, free_all, &g_freed);
  EXPECT_EQ(head.next, nullptr);
  EXPECT_EQ(g_freed, 10);
}

TEST(PriorityList, DeleteSomeVisitsEachNodeOnceAndKeepsTheRestInOrder) {
  ruvo_plist_node_st head;
  ruvo_plist_head_init(&head);
  std::mt19937 rng(5);
  for (int k = 0; k < 40; ++k) {
    ruvo_plist_add(&(new Owned{{nullptr, static_cast<int32_t>(rng() % 8)}, k})->link, &head);
  }
  std::vector<int> before;
  for (auto *n : walk(head)) before.push_back(reinterpret_cast<const Owned *>(n)->id);

  std::vector<int> seen;
  g_freed = 0;
  ruvo_plist_del(&head, free_odd_ids, &seen);
  EXPECT_EQ(seen, before);
  EXPECT_EQ(g_freed, 20);

  std::vector<int> kept, expected;
  for (int id : before) {
    if (id % 2 == 0) expected.push_back(id);
  }
  for (auto *n : walk(head)) kept.push_back(reinterpret_cast<const Owned *>(n)->id);
  EXPECT_EQ(kept, expected);
  ruvo_plist_del(&head, free_all, &g_freed);
  EXPECT_EQ(g_freed, 40);
}

}  // namespace
