// Robin Hood hash: behaviour through the exported calls, checked against
// std::unordered_map and a full consistency check of the table's arrays.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "../bin/libkelbase/oa_hash_impl.hpp"
#include "ruvo/base/oa_hash.h"

namespace {

using ruvo::detail::oa_hash_check;
using ruvo::detail::oa_reference_hash;

std::map<uint64_t, int> g_destroyed;  // value -> times it went through destroy
size_t g_destroy_calls = 0;
void count_destroy(uint64_t value) {
  ++g_destroyed[value];
  ++g_destroy_calls;
}

struct Table {
  explicit Table(ruvo_oa_destroy_fn fn = count_destroy) : t(ruvo_oa_hash_create(fn)) {
    g_destroyed.clear();
    g_destroy_calls = 0;
  }
  ~Table() { ruvo_oa_hash_destroy(t); }
  static uint32_t len(const std::string &k) { return static_cast<uint32_t>(k.size()); }
  int insert(const std::string &k, uint64_t v) {
    return ruvo_oa_hash_insert(t, k.data(), len(k), v);
  }
  int search(const std::string &k, uint64_t *v = nullptr) const {
    return ruvo_oa_hash_search(t, k.data(), len(k), v);
  }
  int erase(const std::string &k) { return ruvo_oa_hash_delete(t, k.data(), len(k)); }
  // Slot of a key, or -1, read from the arrays.
  int64_t slot_of(const std::string &k) const {
    for (uint32_t i = 0; i < t->size; ++i) {
      const ruvo_oa_slot_st &s = t->slots[i];
      if (s.psl != 0 && std::string(s.key->data, s.key->len) == k) return i;
    }
    return -1;
  }
  ruvo_oa_hash_st *t;
};

// Keys of 1 to 4 bytes over six byte values, zero included: 1554 keys with
// many shared homes, and keys that are prefixes of each other.
std::string random_key(std::mt19937 &rng) {
  static const char alphabet[] = {'a', 'b', '\0', 'z', '\x7f', '\xff'};
  std::string k(1 + rng() % 4, ' ');
  for (char &c : k) c = alphabet[rng() % sizeof alphabet];
  return k;
}

// The first `n` keys "k<i>" whose home in a table of `size` slots is `home`.
std::vector<std::string> keys_with_home(uint32_t size, uint32_t home, size_t n) {
  std::vector<std::string> out;
  for (uint32_t i = 0; out.size() < n; ++i) {
    const std::string k = "k" + std::to_string(i);
    if ((oa_reference_hash(k.data(), Table::len(k)) & (size - 1)) == home) out.push_back(k);
  }
  return out;
}

TEST(OaHash, MatchesUnorderedMapUnderRandomOperations) {
  std::mt19937 rng(12345);
  Table tab;
  std::unordered_map<std::string, uint64_t> ref;
  std::map<uint64_t, int> left;  // every value that has left the table
  auto leaves = [&](uint64_t v) { ++left[v]; };
  for (uint64_t step = 0; step < 12000; ++step) {
    const std::string k = random_key(rng);
    const unsigned op = rng() % 1000;
    auto it = ref.find(k);
    const bool found = it != ref.end();
    if (op < 500) {
      if (found) leaves(it->second);
      ASSERT_EQ(tab.insert(k, step), found ? 1 : 0);
      ref[k] = step;
    } else if (op < 750) {
      ASSERT_EQ(tab.erase(k), found ? 0 : -1);
      if (found) {
        leaves(it->second);
        ref.erase(it);
      }
    } else if (op < 999) {
      uint64_t v = ~0ull;
      ASSERT_EQ(tab.search(k, &v), found ? 0 : -1);
      ASSERT_EQ(v, found ? it->second : ~0ull);
    } else {
      for (const auto &e : ref) leaves(e.second);
      const uint32_t size = tab.t->size;
      ruvo_oa_hash_clear(tab.t);
      ref.clear();
      ASSERT_EQ(tab.t->size, size);
    }
    const char *err = oa_hash_check(tab.t);
    ASSERT_EQ(err, nullptr) << err << " after step " << step;
    ASSERT_EQ(ruvo_oa_hash_count(tab.t), ref.size());
    ASSERT_EQ(g_destroy_calls, left.size()) << "after step " << step;
  }
  // Traversal sees exactly the reference's entries.
  std::map<std::string, uint64_t> seen;
  ruvo_oa_hash_traverse(
      tab.t,
      [](const char *key, uint32_t len, uint64_t value, void *arg) {
        static_cast<std::map<std::string, uint64_t> *>(arg)->emplace(std::string(key, len), value);
        return 0;
      },
      &seen);
  EXPECT_EQ(seen, (std::map<std::string, uint64_t>(ref.begin(), ref.end())));
  EXPECT_GE(ruvo_oa_hash_size(tab.t), 1024u);
  // The rest leaves with the table; every value went through destroy once.
  for (const auto &e : ref) leaves(e.second);
  ruvo_oa_hash_destroy(tab.t);
  tab.t = nullptr;
  EXPECT_EQ(g_destroyed, left);
  for (const auto &[v, n] : g_destroyed) ASSERT_EQ(n, 1) << "value " << v;
}

TEST(OaHash, GrowsAtMoreThanHalfFullAndNeverShrinks) {
  Table tab;
  EXPECT_EQ(ruvo_oa_hash_size(tab.t), 8u);
  EXPECT_EQ(ruvo_oa_hash_count(tab.t), 0u);
  const uint32_t size_after[] = {8, 8, 8, 8, 16, 16, 16, 16, 32};
  for (int i = 0; i < 9; ++i) {
    ASSERT_EQ(tab.insert("key" + std::to_string(i), i), 0);
    EXPECT_EQ(ruvo_oa_hash_size(tab.t), size_after[i]) << "after " << i + 1 << " keys";
  }
  for (int i = 0; i < 9; ++i) EXPECT_EQ(tab.erase("key" + std::to_string(i)), 0);
  EXPECT_EQ(ruvo_oa_hash_size(tab.t), 32u);
}

TEST(OaHash, ReplacingKeepsPlaceAndDestroysOldValue) {
  Table tab;
  const auto keys = keys_with_home(8, 3, 3);  // at slots 3, 4, 5
  for (size_t i = 0; i < keys.size(); ++i) ASSERT_EQ(tab.insert(keys[i], 10 + i), 0);
  ASSERT_EQ(tab.slot_of(keys[1]), 4);
  EXPECT_EQ(tab.insert(keys[1], 99), 1);
  EXPECT_EQ(tab.slot_of(keys[1]), 4);
  EXPECT_EQ(ruvo_oa_hash_count(tab.t), 3u);
  EXPECT_EQ(g_destroyed, (std::map<uint64_t, int>{{11, 1}}));
  uint64_t v = 0;
  EXPECT_EQ(tab.search(keys[1], &v), 0);
  EXPECT_EQ(v, 99u);
}

TEST(OaHash, EqualPslLeavesTheResidentInPlace) {
  Table tab;
  const auto two = keys_with_home(8, 2, 2);
  const auto three = keys_with_home(8, 3, 2);
  for (const auto &k : {two[0], three[0], three[1], two[1]}) ASSERT_EQ(tab.insert(k, 0), 0);
  // three[1] queued behind three[0]; two[1] then took slot 3, and three[0],
  // carried on at psl 2, passed three[1] (also psl 2) rather than displace it.
  EXPECT_EQ(tab.slot_of(two[0]), 2);
  EXPECT_EQ(tab.slot_of(two[1]), 3);
  EXPECT_EQ(tab.slot_of(three[1]), 4);
  EXPECT_EQ(tab.slot_of(three[0]), 5);
  EXPECT_EQ(oa_hash_check(tab.t), nullptr);
}

TEST(OaHash, KeysAreComparedByLengthAndEveryByte) {
  Table tab;
  std::vector<std::string> keys = {std::string("a"), std::string("a\0", 2),
                                   std::string("a\0\0", 3), std::string("\0a", 2)};
  // Full-hash twins: raising a byte by 1 and lowering the next by 33 keeps
  // h * 33 + byte, at every length that the comparison treats apart.
  for (size_t len = 2; len <= 20; ++len) {
    keys.emplace_back(len, 'M');
    for (size_t j = 0; j + 1 < len; ++j) {
      std::string twin(len, 'M');
      twin[j] = 'N';
      twin[j + 1] = 'M' - 33;
      ASSERT_EQ(oa_reference_hash(twin.data(), Table::len(twin)),
                oa_reference_hash(keys.back().data(), Table::len(twin)));
      keys.push_back(twin);
    }
  }
  for (size_t i = 0; i < keys.size(); ++i) ASSERT_EQ(tab.insert(keys[i], i), 0) << i;
  for (size_t i = 0; i < keys.size(); i += 2) ASSERT_EQ(tab.erase(keys[i]), 0) << i;
  for (size_t i = 0; i < keys.size(); ++i) {
    uint64_t v = ~0ull;
    EXPECT_EQ(tab.search(keys[i], &v), i % 2 == 0 ? -1 : 0) << i;
    EXPECT_EQ(v, i % 2 == 0 ? ~0ull : i);
  }
  EXPECT_EQ(oa_hash_check(tab.t), nullptr);
  EXPECT_STREQ(tab.t->slots[tab.slot_of(keys[5])].key->data, keys[5].c_str());  // terminated
}

TEST(OaHash, DeletionShiftsBackAcrossTheWrap) {
  Table tab;
  // Three keys at home 6 and one at home 7 take slots 6, 7, 0 and 1.
  const auto six = keys_with_home(8, 6, 3);
  const std::string seven = keys_with_home(8, 7, 1)[0];
  for (uint64_t i = 0; i < 3; ++i) ASSERT_EQ(tab.insert(six[i], i + 1), 0);
  ASSERT_EQ(tab.insert(seven, 4), 0);
  EXPECT_EQ(tab.slot_of(six[2]), 0);
  EXPECT_EQ(tab.slot_of(seven), 1);
  EXPECT_EQ(tab.t->slots[1].psl, 3u);

  // The second key of home 6 moves home; the run shifts back over the wrap.
  ASSERT_EQ(tab.erase(six[0]), 0);
  EXPECT_EQ(tab.slot_of(six[1]), 6);
  EXPECT_EQ(tab.t->slots[6].psl, 1u);
  EXPECT_EQ(tab.slot_of(six[2]), 7);
  EXPECT_EQ(tab.slot_of(seven), 0);
  EXPECT_EQ(tab.t->slots[1].psl, 0u);
  EXPECT_EQ(oa_hash_check(tab.t), nullptr);

  ASSERT_EQ(tab.erase(six[2]), 0);  // slot 0 moves back over the wrap into 7
  EXPECT_EQ(tab.slot_of(seven), 7);
  EXPECT_EQ(tab.t->slots[7].psl, 1u);
  EXPECT_EQ(oa_hash_check(tab.t), nullptr);
  EXPECT_EQ(tab.search(six[1]), 0);
  EXPECT_EQ(tab.search(seven), 0);
  EXPECT_EQ(g_destroyed, (std::map<uint64_t, int>{{1, 1}, {3, 1}}));
}

TEST(OaHash, MissingKeysAndBadArgumentsGiveMinusOne) {
  Table tab;
  ASSERT_EQ(tab.insert("present", 5), 0);
  EXPECT_EQ(tab.erase("absent"), -1);
  uint64_t v = 0;
  for (ruvo_oa_hash_st *t : {tab.t, static_cast<ruvo_oa_hash_st *>(nullptr)}) {
    for (const char *key : {"present", static_cast<const char *>(nullptr)}) {
      const uint32_t len = t != nullptr && key != nullptr ? 0 : 7;  // one bad argument each
      EXPECT_EQ(ruvo_oa_hash_insert(t, key, len, 1), -1);
      EXPECT_EQ(ruvo_oa_hash_search(t, key, len, &v), -1);
      EXPECT_EQ(ruvo_oa_hash_delete(t, key, len), -1);
    }
  }
  EXPECT_EQ(ruvo_oa_hash_search(tab.t, "present", 7, nullptr), 0);
  EXPECT_EQ(ruvo_oa_hash_count(tab.t), 1u);
  EXPECT_TRUE(g_destroyed.empty());
  EXPECT_EQ(ruvo_oa_hash_count(nullptr), 0u);
  EXPECT_EQ(ruvo_oa_hash_size(nullptr), 0u);
  ruvo_oa_hash_clear(nullptr);
  ruvo_oa_hash_destroy(nullptr);
  ruvo_oa_hash_traverse(tab.t, nullptr, nullptr);
}

TEST(OaHash, TraverseStopsAtNonZero) {
  Table tab(nullptr);
  for (int i = 0; i < 20; ++i) ASSERT_EQ(tab.insert(std::to_string(i), i), 0);
  int calls = 0;
  auto stop = [](const char *, uint32_t, uint64_t, void *arg) {
    return ++*static_cast<int *>(arg);
  };
  ruvo_oa_hash_traverse(tab.t, stop, &calls);
  EXPECT_EQ(calls, 1);
}

std::string psl_dbg_output(const ruvo_oa_hash_st *t) {
  testing::internal::CaptureStdout();
  ruvo_oa_hash_psl_dbg(t);
  return testing::internal::GetCapturedStdout();
}

TEST(OaHash, PslStatisticsLines) {
  Table tab;
  EXPECT_EQ(psl_dbg_output(tab.t), "");
  EXPECT_EQ(psl_dbg_output(nullptr), "");
  const auto two = keys_with_home(8, 2, 3);
  ASSERT_EQ(tab.insert(two[0], 1), 0);
  ASSERT_EQ(tab.insert(keys_with_home(8, 4, 1)[0], 2), 0);
  EXPECT_EQ(psl_dbg_output(tab.t), "PSL 0: 6\nPSL 1: 2\n");
  // Two more at home 2 take slots 3 and 4 and push the home-4 key to 5.
  ASSERT_EQ(tab.insert(two[1], 3), 0);
  ASSERT_EQ(tab.insert(two[2], 4), 0);
  EXPECT_EQ(psl_dbg_output(tab.t), "PSL 0: 4\nPSL 1: 1\nPSL 2: 2\nPSL 3: 1\n");
}

}  // namespace
