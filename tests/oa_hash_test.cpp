// Robin Hood hash through the exported calls, checked against
// std::unordered_map and the full consistency check of the table's arrays.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "../bin/libkelbase/oa_hash_impl.hpp"
#include "ruvo/base/oa_hash.h"

namespace {

using ruvo::detail::oa_hash_check;
using Keys = std::vector<std::string>;
using Slots = std::vector<int64_t>;
#define KEY(k) (k).data(), static_cast<uint32_t>((k).size())

std::map<uint64_t, int> g_destroyed;  // value -> times it went through destroy
void count_destroy(uint64_t value) { ++g_destroyed[value]; }

using Table = std::unique_ptr<ruvo_oa_hash_st, void (*)(ruvo_oa_hash_st *)>;

// The slot of each key, read from the arrays; -1 when absent.
Slots slots_of(const ruvo_oa_hash_st *t, const Keys &keys) {
  Slots out(keys.size(), -1);
  for (uint32_t i = 0; i < t->size; ++i)
    for (size_t j = 0; t->slots[i].psl != 0 && j < keys.size(); ++j)
      if (std::string(t->slots[i].key->data, t->slots[i].key->len) == keys[j]) out[j] = i;
  return out;
}

// Keys: 1 to 4 bytes over six values (shared homes, zero bytes, prefixes, full-hash
// twins such as "ab" and "bA"), alone, behind 3 or 8 filler bytes or before 12.
TEST(OaHash, MatchesUnorderedMapUnderRandomOperations) {
  static const char alphabet[] = {'a', 'b', 'A', '\0', '\x01', '\xff'};
  std::mt19937 rng(12345);
  Table tab(ruvo_oa_hash_create(count_destroy), ruvo_oa_hash_destroy);
  ruvo_oa_hash_st *t = tab.get();
  std::unordered_map<std::string, uint64_t> ref;
  std::map<uint64_t, int> left;  // every value that has left the table
  size_t peak = 0;               // most entries ever held: fixes the size
  for (uint64_t step = 0; step < 20000; ++step) {
    std::string k(1 + rng() % 4, ' ');
    for (char &c : k) c = alphabet[rng() % sizeof alphabet];
    const unsigned filler = "\0\3\10\14"[rng() % 4];
    k = filler == 12 ? k + std::string(12, 'f') : std::string(filler, 'f') + k;
    const unsigned op = rng() % 1000;
    const auto it = ref.find(k);
    const bool found = it != ref.end();
    if (op < 500) {
      const Slots before = slots_of(t, {k});
      ASSERT_EQ(ruvo_oa_hash_insert(t, KEY(k), step), found ? 1 : 0);
      if (found) ++left[it->second];
      ASSERT_TRUE(!found || slots_of(t, {k}) == before) << "a replaced entry moved: " << step;
      ref[k] = step;
    } else if (op < 750) {
      ASSERT_EQ(ruvo_oa_hash_delete(t, KEY(k)), found ? 0 : -1);
      if (found) ++left[it->second], ref.erase(it);
    } else if (op < 999) {
      uint64_t v = ~0ull;
      ASSERT_EQ(ruvo_oa_hash_search(t, KEY(k), &v), found ? 0 : -1);
      ASSERT_EQ(v, found ? it->second : ~0ull);
    } else {
      for (const auto &e : ref) ++left[e.second];
      ruvo_oa_hash_clear(t);
      ref.clear();
    }
    const char *err = oa_hash_check(t);
    ASSERT_EQ(err, nullptr) << err << " after step " << step;
    ASSERT_EQ(ruvo_oa_hash_count(t), ref.size());
    ASSERT_EQ(g_destroyed.size(), left.size()) << "after step " << step;
    // Grows when more than half full, never shrinks (not on delete or clear).
    uint32_t size = 8;
    for (peak = ref.size() > peak ? ref.size() : peak; peak > size / 2;) size *= 2;
    ASSERT_EQ(ruvo_oa_hash_size(t), size) << "after step " << step;
  }
  // Traversal sees exactly the reference's entries, and stops at non-zero.
  using Map = std::map<std::string, uint64_t>;
  Map seen;
  auto collect = [](const char *key, uint32_t len, uint64_t value, void *arg) {
    static_cast<Map *>(arg)->emplace(std::string(key, len), value);
    return 0;
  };
  ruvo_oa_hash_traverse(t, collect, &seen);
  EXPECT_EQ(seen, Map(ref.begin(), ref.end()));
  int calls = 0;
  auto stop = [](const char *, uint32_t, uint64_t, void *n) { return ++*static_cast<int *>(n); };
  ruvo_oa_hash_traverse(t, stop, &calls);
  EXPECT_EQ(calls, 1);
  // The rest leaves with the table: every value went through destroy once.
  for (const auto &e : ref) ++left[e.second];
  tab.reset();
  EXPECT_EQ(g_destroyed, left);
}

std::string psl_lines(const ruvo_oa_hash_st *t) {
  testing::internal::CaptureStdout();
  ruvo_oa_hash_psl_dbg(t);
  return testing::internal::GetCapturedStdout();
}

// Keys a and b at home 6 and c at home 7 fill slots 6, 7 and 0. The
// consistency check sees each kind of damage alone (restored after each);
// deleting a shifts b and c back across the wrap.
TEST(OaHash, CheckSeesEachKindOfDamageAndDeletionShiftsBackAcrossTheWrap) {
  Table tab(ruvo_oa_hash_create(count_destroy), ruvo_oa_hash_destroy);
  ruvo_oa_hash_st *t = tab.get();
  const Keys keys = {"k6", "k15", "k7"};  // homes 6, 6 and 7 of 8 slots
  EXPECT_EQ(psl_lines(t) + psl_lines(nullptr), "");  // nothing for empty or NULL
  for (uint64_t i = 0; i < 3; ++i) ASSERT_EQ(ruvo_oa_hash_insert(t, KEY(keys[i]), i), 0);
  const auto layout = [&] {
    return testing::PrintToString(slots_of(t, keys)) + " " + psl_lines(t);
  };
  EXPECT_EQ(layout(), "{ 6, 7, 0 } PSL 0: 5\nPSL 1: 1\nPSL 2: 2\n");
  ruvo_oa_slot_st *s = t->slots;
  const ruvo_oa_slot_st b = s[7], c = s[0];
  const std::pair<std::function<void()>, const char *> damages[] = {
      {[&] { t->values = nullptr; }, "missing arrays"},
      {[&] { t->size = 4; }, "size is not a power of two >= 8"},
      {[&] { t->size = 12; }, "size is not a power of two >= 8"},
      {[&] { t->count = 5; }, "more than half full"},
      {[&] { t->count = 4; }, "count differs from occupied slots"},
      {[&] { s[1].key = s[6].key; }, "empty slot keeps a key"},
      {[&] { s[6].key = nullptr; }, "occupied slot without a key"},
      {[&] { s[6].key->len = 0; }, "occupied slot without a key"},
      {[&] { s[6].key->data[s[6].key->len] = 'x'; }, "key copy not terminated"},
      {[&] { s[6].hash ^= 8; }, "stored hash is wrong"},
      {[&] { s[6].psl = 2; }, "psl is not the distance from home + 1"},
      {[&] { s[6] = {0, 0, nullptr}; }, "entry away from home after an empty slot"},
      // c before b: each psl right for its place, but b at 3 follows c at 1.
      {[&] {
         s[7] = {1, c.hash, c.key};
         s[0] = {3, b.hash, b.key};
       },
       "run out of home order"},
  };
  for (const auto &[damage, want] : damages) {
    const ruvo_oa_hash_st record = *t;
    const std::vector<ruvo_oa_slot_st> slots(s, s + t->size);
    const uint32_t len = s[6].key->len;
    damage();
    const char *err = oa_hash_check(t);
    EXPECT_EQ(err ? err : "", std::string(want));
    *t = record;
    std::copy(slots.begin(), slots.end(), s);
    s[6].key->len = len;
    s[6].key->data[len] = '\0';
  }
  EXPECT_EQ(oa_hash_check(nullptr), std::string("missing arrays"));
  ASSERT_EQ(ruvo_oa_hash_delete(t, KEY(keys[0])), 0);
  EXPECT_EQ(layout(), "{ -1, 6, 7 } PSL 0: 6\nPSL 1: 2\n");
  EXPECT_EQ(oa_hash_check(t), nullptr);
  EXPECT_EQ(g_destroyed, (std::map<uint64_t, int>{{0, 1}}));
  // A null table, a null key or a zero length: -1 from each call.
  using Bad = std::tuple<ruvo_oa_hash_st *, const char *, uint32_t>;
  for (const auto &[table, key, len] : {Bad{t, "k", 0}, Bad{t, nullptr, 1}, Bad{nullptr, "k", 1}})
    EXPECT_EQ(ruvo_oa_hash_insert(table, key, len, 1) + ruvo_oa_hash_delete(table, key, len) +
                  ruvo_oa_hash_search(table, key, len, nullptr), -3);
  EXPECT_EQ(ruvo_oa_hash_count(nullptr) + ruvo_oa_hash_size(nullptr), 0u);
  ruvo_oa_hash_clear(nullptr);
  ruvo_oa_hash_destroy(nullptr);
  ruvo_oa_hash_traverse(t, nullptr, nullptr);
}

}  // namespace
