#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

#include "ruvo/base/plist.h"

namespace {

struct Owned {
  ruvo_plist_node_st link;  // first member: a node is its record
  int id;
};
Owned *owned(ruvo_plist_node_st *n) { return reinterpret_cast<Owned *>(n); }

std::vector<int> ids(const ruvo_plist_node_st &head) {
  std::vector<int> out;
  for (auto *n = head.next; n != nullptr; n = n->next) out.push_back(owned(n)->id);
  return out;
}

// Logs each node it is given; frees and unlinks those whose id leaves
// `take` mod 3 (all for -1), answering 1 or -1: any non-zero answer unlinks.
struct Visit {
  int take;
  std::vector<int> seen;
};
int32_t take(ruvo_plist_node_st *node, void *arg) {
  auto *visit = static_cast<Visit *>(arg);
  const int id = owned(node)->id;
  visit->seen.push_back(id);
  if (visit->take != -1 && id % 3 != visit->take) return 0;
  delete owned(node);
  return id % 2 == 0 ? 1 : -1;
}

// A node goes in front of the first one of lower or equal priority, so the
// newest of equal ones stands first; deleting visits every node once, in order.
TEST(PriorityList, RandomInsertionsAndDeletionsMatchReference) {
  std::mt19937 rng(99);
  ruvo_plist_node_st head{&head, 3};
  ruvo_plist_head_init(&head);
  EXPECT_EQ(head.priority, RUVO_PLIST_HEAD_PRIORITY);
  std::vector<int> ref;
  std::map<int, int32_t> priority;
  for (int id = 0; id < 3000; ++id) {
    const int32_t p = static_cast<int32_t>(rng() % 52) - 25;  // both extremes now and then
    priority[id] = p == 26 ? INT32_MAX : p == -25 ? INT32_MIN : p;
    ruvo_plist_add(&(new Owned{{nullptr, priority[id]}, id})->link, &head);
    const auto at_or_below = [&](int o) { return priority[o] <= priority[id]; };
    ref.insert(std::find_if(ref.begin(), ref.end(), at_or_below), id);
    if (id % 300 != 299) continue;
    // Null arguments change nothing; the last round frees every node.
    Visit visit{id == 2999 ? -1 : static_cast<int>(rng() % 3), {}};
    ruvo_plist_head_init(nullptr);
    ruvo_plist_add(nullptr, &head);
    ruvo_plist_add(head.next, nullptr);
    ruvo_plist_del(nullptr, take, &visit);
    ruvo_plist_del(&head, nullptr, &visit);
    ruvo_plist_del(&head, take, &visit);
    EXPECT_EQ(visit.seen, ref);
    std::erase_if(ref, [&](int o) { return visit.take == -1 || o % 3 == visit.take; });
    ASSERT_EQ(ids(head), ref);
  }
}

}  // namespace
