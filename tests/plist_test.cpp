#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <utility>
#include <vector>

#include "ruvo/base/plist.h"

namespace {

// Callers embed the node and link it themselves: its layout is fixed.
static_assert(offsetof(ruvo_plist_node_st, next) == 0 &&
              sizeof(ruvo_plist_node_st) == 2 * sizeof(void *));
static_assert(offsetof(ruvo_plist_node_st, priority) == sizeof(void *));

struct Owned {
  ruvo_plist_node_st link;  // first member: a node is its record
  int id;
};
std::vector<int> ids(const ruvo_plist_node_st &head) {
  std::vector<int> out;
  for (auto *n = head.next; n != nullptr; n = n->next)
    out.push_back(reinterpret_cast<const Owned *>(n)->id);
  return out;
}

// Records every node it is given and frees (and takes out) the odd ones.
int32_t free_odd(ruvo_plist_node_st *node, void *seen) {
  auto *o = reinterpret_cast<Owned *>(node);
  static_cast<std::vector<int> *>(seen)->push_back(o->id);
  if (o->id % 2 == 0) return 0;
  delete o;
  return 1;
}

TEST(PriorityList, EqualPrioritiesPutTheNewestFirstAndNullArgumentsDoNothing) {
  ruvo_plist_node_st head{&head, 3};
  Owned a{{nullptr, 5}, 1}, b{{nullptr, 7}, 2}, c{{nullptr, 5}, 3};
  ruvo_plist_head_init(&head);
  EXPECT_EQ(head.priority, RUVO_PLIST_HEAD_PRIORITY);
  ruvo_plist_head_init(nullptr);
  ruvo_plist_add(nullptr, &head);
  ruvo_plist_add(&a.link, nullptr);
  for (Owned *o : {&a, &b, &c}) ruvo_plist_add(&o->link, &head);
  ruvo_plist_del(nullptr, free_odd, nullptr);
  ruvo_plist_del(&head, nullptr, nullptr);
  EXPECT_EQ(ids(head), (std::vector<int>{2, 3, 1}));  // 7, the second 5, the first 5
}

// A node goes in front of the first one whose priority is less than or equal to its own.
TEST(PriorityList, RandomInsertionsMatchReference) {
  std::mt19937 rng(99);
  std::vector<Owned> nodes(2000);
  ruvo_plist_node_st head;
  ruvo_plist_head_init(&head);
  std::vector<int> ref;
  for (int k = 0; k < 2000; ++k) {
    const int32_t p = static_cast<int32_t>(rng() % 52) - 25;  // both extremes now and then
    nodes[k] = {{nullptr, p == 26 ? INT32_MAX : p == -25 ? INT32_MIN : p}, k};
    ruvo_plist_add(&nodes[k].link, &head);
    const int32_t mine = nodes[k].link.priority;
    ref.insert(
        std::find_if(ref.begin(), ref.end(), [&](int o) { return nodes[o].link.priority <= mine; }),
        k);
  }
  EXPECT_EQ(ids(head), ref);
}

TEST(PriorityList, DeleteWithAFreeingMatchVisitsEachNodeOnceAndKeepsTheRestInOrder) {
  ruvo_plist_node_st head;
  ruvo_plist_head_init(&head);
  for (int k = 0; k < 40; ++k) ruvo_plist_add(&(new Owned{{nullptr, k % 7}, k})->link, &head);
  std::vector<int> before = ids(head), seen, even;
  std::copy_if(before.begin(), before.end(), std::back_inserter(even),
               [](int id) { return id % 2 == 0; });
  ruvo_plist_del(&head, free_odd, &seen);
  EXPECT_EQ(seen, before);
  EXPECT_EQ(ids(head), even);
  while (head.next != nullptr)
    delete reinterpret_cast<Owned *>(std::exchange(head.next, head.next->next));
}

}  // namespace
