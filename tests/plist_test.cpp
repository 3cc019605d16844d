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
std::vector<int> ids(const ruvo_plist_node_st &head) {
  std::vector<int> out;
  for (auto *n = head.next; n != nullptr; n = n->next)
    out.push_back(reinterpret_cast<const Owned *>(n)->id);
  return out;
}

// Records every node it is given and frees (and takes out) those whose id
// leaves `arg->first` when divided by 3, answering 1 or -1: any non-zero
// answer unlinks.
using Seen = std::pair<int, std::vector<int>>;
int32_t take(ruvo_plist_node_st *node, void *arg) {
  auto *o = reinterpret_cast<Owned *>(node);
  auto *seen = static_cast<Seen *>(arg);
  seen->second.push_back(o->id);
  if (o->id % 3 != seen->first) return 0;
  const int32_t answer = o->id % 2 == 0 ? 1 : -1;
  delete o;
  return answer;
}

// A node goes in front of the first one whose priority is less than or equal
// to its own, so among equal ones the newest stands first. Deleting visits
// every node once, in order, and keeps the others in theirs.
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
    ref.insert(std::find_if(ref.begin(), ref.end(), [&](int o) { return priority[o] <= priority[id]; }), id);
    if (id % 300 != 299) continue;
    ASSERT_EQ(ids(head), ref);
    Seen seen{static_cast<int>(rng() % 3), {}};
    ruvo_plist_del(&head, take, &seen);
    EXPECT_EQ(seen.second, ref);
    ref.erase(std::remove_if(ref.begin(), ref.end(), [&](int o) { return o % 3 == seen.first; }), ref.end());
    ASSERT_EQ(ids(head), ref);
  }
  // Null arguments change nothing.
  ruvo_plist_head_init(nullptr);
  ruvo_plist_add(nullptr, &head);
  ruvo_plist_add(&reinterpret_cast<Owned *>(head.next)->link, nullptr);
  ruvo_plist_del(nullptr, take, nullptr);
  ruvo_plist_del(&head, nullptr, nullptr);
  EXPECT_EQ(ids(head), ref);
  ruvo_plist_del(&head, [](ruvo_plist_node_st *n, void *) { return delete reinterpret_cast<Owned *>(n), 1; }, nullptr);
  EXPECT_EQ(head.next, nullptr);
}

}  // namespace
