#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <list>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "ruvo/base/xhash.h"

namespace {

// ---- helpers ----

// Every value handed to a table is a distinct non-null number; the free
// function counts how often each one was released.
std::map<uintptr_t, int> g_freed;
void count_free(void *value) { ++g_freed[reinterpret_cast<uintptr_t>(value)]; }
void *val(uintptr_t v) { return reinterpret_cast<void *>(v); }

// The reference hash, written the plain way.
uint32_t naive_djb2(const std::string &key) {
  uint32_t h = 5381;
  for (unsigned char c : key) h = h * 33 + c;
  return h;
}

// Puts a key in the slot named by its first byte.
uint32_t first_byte_hash(const void *key, int32_t len) {
  return len > 0 ? *static_cast<const unsigned char *>(key) : 0;
}

void insert(ruvo_xhash_st *t, const std::string &k, uintptr_t v) {
  ruvo_xhash_insert(t, k.data(), static_cast<int32_t>(k.size()), val(v));
}
int32_t search(ruvo_xhash_st *t, const std::string &k, void **out = nullptr) {
  return ruvo_xhash_search(t, k.data(), static_cast<int32_t>(k.size()), out);
}
int32_t erase(ruvo_xhash_st *t, const std::string &k) {
  return ruvo_xhash_delete(t, k.data(), static_cast<int32_t>(k.size()));
}

std::vector<std::string> keys_in_order(ruvo_xhash_st *t) {
  std::vector<std::string> out;
  for (ruvo_xhash_elem_st *e = ruvo_xhash_first(t); e != nullptr; e = ruvo_xhash_next(t, e)) {
    out.emplace_back(static_cast<const char *>(e->key), static_cast<size_t>(e->key_len));
  }
  return out;
}

// Collects the keys that the walk functions see.
struct Seen {
  std::vector<std::string> keys;
  int stop_at = -1;  // return non-zero on this call number
};
int32_t record(const void *key, int32_t len, void *, void *arg) {
  auto *s = static_cast<Seen *>(arg);
  s->keys.emplace_back(static_cast<const char *>(key), static_cast<size_t>(len));
  return static_cast<int>(s->keys.size()) - 1 == s->stop_at ? 1 : 0;
}

// Slot of every key, found by walking the slots one at a time.
std::vector<std::vector<std::string>> slot_contents(ruvo_xhash_st *t) {
  std::vector<std::vector<std::string>> slots;
  ruvo_xhash_cookie_st *c = ruvo_xhash_cookie_create(0.0f);  // one slot a call
  for (uint32_t i = 0; i < ruvo_xhash_slotcount(t); ++i) {
    Seen s;
    ruvo_xhash_walk_partial_no_repeat(t, c, &s, record);
    slots.push_back(s.keys);
  }
  ruvo_xhash_cookie_destroy(c);
  return slots;
}

class XhashTest : public ::testing::Test {
 protected:
  void SetUp() override { g_freed.clear(); }
};

// ---- differential ----

// Size steps: slots and the count at which the table grows.
constexpr uint32_t kRows[][2] = {{8, 24},       {16, 64},       {64, 256},           {256, 1024},
                                 {2048, 10240}, {16384, 81920}, {262144, 0x7FFFFFFF}};

TEST_F(XhashTest, RandomOperationsMatchUnorderedMapThroughEveryGrowth) {
  std::mt19937 rng(2024);
  ruvo_xhash_st *t = ruvo_xhash_create(count_free, nullptr);

  struct Entry {
    uintptr_t value;
    std::list<std::string>::iterator pos;
    size_t index;  // into `keys`
  };
  std::unordered_map<std::string, Entry> ref;
  std::list<std::string> order;
  std::vector<std::string> keys;
  std::map<uintptr_t, int> left;  // values that left the table, and how often
  uintptr_t next_value = 1;
  size_t row = 0, max_count = 0;

  auto random_key = [&] {
    std::string k(rng() % 20, '\0');
    for (char &c : k) c = static_cast<char>(rng() % 7 == 0 ? 0 : rng());
    return k;
  };
  auto check_order = [&] {
    ASSERT_EQ(keys_in_order(t), std::vector<std::string>(order.begin(), order.end()));
  };

  while (row < 6 || ref.size() < 90000) {
    const unsigned op = rng() % 100;
    if (op < 70 || keys.empty()) {  // insert, sometimes of a key already there
      const std::string k = (op % 10 == 0 && !keys.empty()) ? keys[rng() % keys.size()] : random_key();
      const uintptr_t v = next_value++;
      insert(t, k, v);
      auto it = ref.find(k);
      if (it != ref.end()) {
        ++left[it->second.value];
        it->second.value = v;
      } else {
        order.push_back(k);
        keys.push_back(k);
        ref.emplace(k, Entry{v, std::prev(order.end()), keys.size() - 1});
      }
    } else {  // delete a key that is there, or a fresh one that probably is not
      const std::string k = op < 90 ? keys[rng() % keys.size()] : random_key();
      auto it = ref.find(k);
      ASSERT_EQ(erase(t, k), it != ref.end() ? 0 : -1);
      if (it != ref.end()) {
        ++left[it->second.value];
        order.erase(it->second.pos);
        const size_t i = it->second.index;
        keys[i] = keys.back();
        ref[keys[i]].index = i;
        keys.pop_back();
        ref.erase(k);
      }
    }
    ASSERT_EQ(ruvo_xhash_count(t), ref.size());
    max_count = std::max(max_count, ref.size());
    // The table never shrinks: its step follows the highest count reached.
    while (row < 6 && max_count >= kRows[row][1]) {
      ++row;
      check_order();
    }
    ASSERT_EQ(ruvo_xhash_slotcount(t), kRows[row][0]);
    ASSERT_EQ(ruvo_xhash_maxelem(t), kRows[row][1]);

    if (!keys.empty()) {
      const std::string &k = keys[rng() % keys.size()];
      void *out = nullptr;
      ASSERT_EQ(search(t, k, &out), 0);
      ASSERT_EQ(reinterpret_cast<uintptr_t>(out), ref.at(k).value);
    }
    const std::string miss = random_key();
    ASSERT_EQ(search(t, miss), ref.count(miss) != 0 ? 0 : -1);
  }
  check_order();
  EXPECT_EQ(g_freed, left);  // replaced and deleted values, each exactly once

  ruvo_xhash_destroy(t);
  for (const auto &[k, e] : ref) ++left[e.value];
  EXPECT_EQ(g_freed, left);
  EXPECT_EQ(g_freed.size(), next_value - 1);
}

TEST_F(XhashTest, DefaultHashIsDjb2AndChainsHoldNewestFirst) {
  ruvo_xhash_st *t = ruvo_xhash_create(nullptr, nullptr);
  std::vector<std::vector<std::string>> want(8);
  for (int i = 0; i < 20; ++i) {
    std::string k = "key" + std::to_string(i * 7919);
    if (i % 5 == 0) k.push_back('\0');
    insert(t, k, 1);
    const uint32_t slot = naive_djb2(k) & 7;
    want[slot].insert(want[slot].begin(), k);
  }
  insert(t, "", 1);  // an empty key hashes to the start value
  want[5381 & 7].insert(want[5381 & 7].begin(), "");
  EXPECT_EQ(slot_contents(t), want);
  ruvo_xhash_destroy(t);
}

// ---- growth and size ----

TEST_F(XhashTest, TwentyFourthInsertGrowsToSixteenSlots) {
  ruvo_xhash_st *t = ruvo_xhash_create(nullptr, nullptr);
  EXPECT_EQ(ruvo_xhash_slotcount(t), 8u);
  EXPECT_EQ(ruvo_xhash_maxelem(t), 24u);
  for (int i = 0; i < 23; ++i) insert(t, std::to_string(i), 1);
  EXPECT_EQ(ruvo_xhash_slotcount(t), 8u);
  insert(t, "23", 1);
  EXPECT_EQ(ruvo_xhash_slotcount(t), 16u);
  EXPECT_EQ(ruvo_xhash_maxelem(t), 64u);
  ruvo_xhash_clear(t);
  EXPECT_EQ(ruvo_xhash_count(t), 0u);
  EXPECT_EQ(ruvo_xhash_slotcount(t), 16u);
  EXPECT_EQ(ruvo_xhash_first(t), nullptr);
  insert(t, "again", 1);
  EXPECT_EQ(keys_in_order(t), std::vector<std::string>{"again"});
  ruvo_xhash_destroy(t);
}

TEST_F(XhashTest, SetNslotGrowsAheadAndNeverShrinks) {
  struct Case {
    uint32_t wanted, nslot, maxelem;
  };
  for (const Case &c : {Case{4, 8, 24}, Case{8, 16, 64}, Case{10, 16, 64}, Case{300, 2048, 10240},
                        Case{16383, 16384, 81920}, Case{16384, 16384, 0x7FFFFFFF},
                        Case{20000, 32768, 0x7FFFFFFF}}) {
    ruvo_xhash_st *t = ruvo_xhash_create(nullptr, nullptr);
    for (int i = 0; i < 30; ++i) insert(t, std::to_string(i), 1);  // now 16 slots
    const uint32_t before = ruvo_xhash_slotcount(t);
    ruvo_xhash_set_nslot(t, c.wanted);
    EXPECT_EQ(ruvo_xhash_slotcount(t), std::max(before, c.nslot)) << c.wanted;
    if (c.nslot > before) {
      EXPECT_EQ(ruvo_xhash_maxelem(t), c.maxelem) << c.wanted;
    }
    std::vector<std::string> want;
    for (int i = 0; i < 30; ++i) want.push_back(std::to_string(i));
    EXPECT_EQ(keys_in_order(t), want);
    for (const std::string &k : want) EXPECT_EQ(search(t, k), 0);
    ruvo_xhash_destroy(t);
  }
  ruvo_xhash_st *t = ruvo_xhash_create(nullptr, nullptr);
  ruvo_xhash_set_nslot(t, 4);
  EXPECT_EQ(ruvo_xhash_slotcount(t), 8u);
  EXPECT_EQ(ruvo_xhash_maxelem(t), 24u);
  ruvo_xhash_set_nslot(t, 20000);
  for (int i = 0; i < 1000; ++i) insert(t, std::to_string(i), 1);
  EXPECT_EQ(ruvo_xhash_slotcount(t), 32768u);  // a table sized past the steps stays put
  ruvo_xhash_destroy(t);
}

TEST_F(XhashTest, SlotinfoAddsChainLengthsBelowTheArrayLength) {
  ruvo_xhash_st *t = ruvo_xhash_create2(nullptr, first_byte_hash, nullptr, 0);
  // Slot 1 holds 1 element, slot 2 holds 2, slot 3 holds 4; five slots are empty.
  for (const char *k : {"\1", "\2a", "\2b", "\3a", "\3b", "\3c", "\3d"}) insert(t, k, 1);
  std::vector<uint32_t> counts = {100, 100, 100, 100};
  ruvo_xhash_slotinfo(t, counts.data(), 4);
  EXPECT_EQ(counts, (std::vector<uint32_t>{105, 101, 101, 100}));  // length 4 not counted
  ruvo_xhash_slotinfo(t, counts.data(), 0);
  ruvo_xhash_slotinfo(t, nullptr, 4);
  EXPECT_EQ(counts[0], 105u);
  ruvo_xhash_destroy(t);
}

// ---- values, keys and the free function ----

TEST_F(XhashTest, ReplacingKeepsPlaceAndFreesOldValueOnce) {
  ruvo_xhash_st *t = ruvo_xhash_create(count_free, nullptr);
  insert(t, "a", 1);
  insert(t, "b", 2);
  insert(t, "a", 3);
  EXPECT_EQ(ruvo_xhash_count(t), 2u);
  EXPECT_EQ(g_freed, (std::map<uintptr_t, int>{{1, 1}}));
  EXPECT_EQ(keys_in_order(t), (std::vector<std::string>{"a", "b"}));
  void *out = nullptr;
  EXPECT_EQ(search(t, "a", &out), 0);
  EXPECT_EQ(out, val(3));
  EXPECT_EQ(erase(t, "a"), 0);
  EXPECT_EQ(erase(t, "a"), -1);
  EXPECT_EQ(g_freed, (std::map<uintptr_t, int>{{1, 1}, {3, 1}}));
  ruvo_xhash_clear(t);
  EXPECT_EQ(g_freed, (std::map<uintptr_t, int>{{1, 1}, {2, 1}, {3, 1}}));
  ruvo_xhash_destroy(t);
  EXPECT_EQ(g_freed.size(), 3u);
}

TEST_F(XhashTest, CopiedKeysOutliveTheCallersBuffer) {
  ruvo_xhash_st *t = ruvo_xhash_create(nullptr, nullptr);
  char buf[8];
  std::memcpy(buf, "abc", 4);
  ruvo_xhash_insert(t, buf, 3, val(1));
  std::memcpy(buf, "xyz", 4);
  EXPECT_EQ(search(t, "abc"), 0);
  EXPECT_EQ(search(t, "xyz"), -1);
  EXPECT_NE(ruvo_xhash_first(t)->key, static_cast<const void *>(buf));
  ruvo_xhash_destroy(t);
}

TEST_F(XhashTest, KeyRefTablesReferToTheLatestKey) {
  ruvo_xhash_st *t = ruvo_xhash_create2(nullptr, nullptr, nullptr, RUVO_XHASH_KEY_REF);
  const char first[] = "same", second[] = "same";
  ruvo_xhash_insert(t, first, 4, val(1));
  EXPECT_EQ(ruvo_xhash_first(t)->key, static_cast<const void *>(first));
  ruvo_xhash_insert(t, second, 4, val(2));
  EXPECT_EQ(ruvo_xhash_count(t), 1u);
  EXPECT_EQ(ruvo_xhash_first(t)->key, static_cast<const void *>(second));
  EXPECT_EQ(ruvo_xhash_first(t)->value, val(2));
  ruvo_xhash_destroy(t);
}

int32_t g_compares = 0;
int32_t counting_compare(const void *a, int32_t alen, const void *b, int32_t blen) {
  ++g_compares;
  return alen == blen && std::memcmp(a, b, static_cast<size_t>(alen)) == 0 ? 0 : 1;
}

TEST_F(XhashTest, CompareRunsOnlyOnEqualHashes) {
  ruvo_xhash_st *t = ruvo_xhash_create2(nullptr, nullptr, counting_compare, 0);
  for (int i = 0; i < 100; ++i) insert(t, "k" + std::to_string(i), 1);
  g_compares = 0;
  for (int i = 100; i < 200; ++i) EXPECT_EQ(search(t, "k" + std::to_string(i)), -1);
  EXPECT_EQ(g_compares, 0);
  EXPECT_EQ(search(t, "k42"), 0);
  EXPECT_EQ(g_compares, 1);
  ruvo_xhash_destroy(t);
}

TEST_F(XhashTest, BadKeysAndNullTablesAreRefused) {
  ruvo_xhash_st *t = ruvo_xhash_create(nullptr, nullptr);
  ruvo_xhash_insert(t, nullptr, 3, val(1));
  ruvo_xhash_insert(t, "abc", -1, val(1));
  EXPECT_EQ(ruvo_xhash_count(t), 0u);
  ruvo_xhash_insert(t, nullptr, 0, val(1));  // the empty key
  EXPECT_EQ(ruvo_xhash_search(t, "", 0, nullptr), 0);
  EXPECT_EQ(ruvo_xhash_search(t, nullptr, 1, nullptr), -1);
  EXPECT_EQ(ruvo_xhash_delete(t, "x", -5), -1);
  ruvo_xhash_insert(nullptr, "a", 1, val(1));
  EXPECT_EQ(ruvo_xhash_search(nullptr, "a", 1, nullptr), -1);
  EXPECT_EQ(ruvo_xhash_count(nullptr), 0u);
  EXPECT_EQ(ruvo_xhash_first(nullptr), nullptr);
  ruvo_xhash_clear(nullptr);
  ruvo_xhash_destroy(nullptr);
  ruvo_xhash_destroy(t);
}

// ---- walks ----

struct Deleter {
  ruvo_xhash_st *t;
  int calls = 0;
};
int32_t delete_given(const void *key, int32_t len, void *, void *arg) {
  auto *d = static_cast<Deleter *>(arg);
  ++d->calls;
  return ruvo_xhash_delete(d->t, key, len);
}

TEST_F(XhashTest, WalkMayDeleteTheElementItIsGiven) {
  ruvo_xhash_st *t = ruvo_xhash_create(count_free, nullptr);
  for (uintptr_t i = 1; i <= 40; ++i) insert(t, std::to_string(i), i);
  Deleter d{t};
  EXPECT_EQ(ruvo_xhash_walk(t, &d, delete_given), 0);
  EXPECT_EQ(d.calls, 40);
  EXPECT_EQ(ruvo_xhash_count(t), 0u);
  EXPECT_EQ(g_freed.size(), 40u);

  for (uintptr_t i = 1; i <= 40; ++i) insert(t, std::to_string(i), 100 + i);
  ruvo_xhash_cookie_st *c = ruvo_xhash_cookie_create(0.5f);
  Deleter p{t};
  ruvo_xhash_walk_partial(t, c, &p, delete_given);
  ruvo_xhash_walk_partial(t, c, &p, delete_given);
  EXPECT_EQ(p.calls, 40);
  EXPECT_EQ(ruvo_xhash_count(t), 0u);
  ruvo_xhash_cookie_destroy(c);
  ruvo_xhash_destroy(t);
  EXPECT_EQ(g_freed.size(), 80u);
}

TEST_F(XhashTest, WalkStopsOnNonZeroAndReturnsIt) {
  ruvo_xhash_st *t = ruvo_xhash_create(nullptr, nullptr);
  EXPECT_EQ(ruvo_xhash_walk(t, nullptr, nullptr), -1);
  Seen s;
  EXPECT_EQ(ruvo_xhash_walk(t, &s, record), 0);
  for (int i = 0; i < 10; ++i) insert(t, std::to_string(i), 1);
  auto seven = [](const void *, int32_t, void *, void *arg) -> int32_t {
    return ++*static_cast<int *>(arg) == 3 ? 7 : 0;
  };
  int calls = 0;
  EXPECT_EQ(ruvo_xhash_walk(t, &calls, seven), 7);
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(ruvo_xhash_walk(t, &s, record), 0);
  EXPECT_EQ(s.keys, keys_in_order(t));
  ruvo_xhash_destroy(t);
}

// A table whose slot i holds exactly the key of one byte i.
ruvo_xhash_st *one_key_per_slot() {
  ruvo_xhash_st *t = ruvo_xhash_create2(nullptr, first_byte_hash, nullptr, 0);
  for (char i = 7; i >= 0; --i) ruvo_xhash_insert(t, &i, 1, val(1));
  return t;
}
std::vector<int> slots_of(const Seen &s) {
  std::vector<int> out;
  for (const std::string &k : s.keys) out.push_back(k[0]);
  return out;
}

TEST_F(XhashTest, PartialWalkWrapsAround) {
  ruvo_xhash_st *t = one_key_per_slot();
  ruvo_xhash_cookie_st *c = ruvo_xhash_cookie_create(0.5f);
  for (const std::vector<int> &want : {std::vector<int>{0, 1, 2, 3}, std::vector<int>{4, 5, 6, 7},
                                       std::vector<int>{0, 1, 2, 3}}) {
    Seen s;
    ruvo_xhash_walk_partial(t, c, &s, record);
    EXPECT_EQ(slots_of(s), want);
  }
  ruvo_xhash_cookie_destroy(c);
  c = ruvo_xhash_cookie_create(2.0f);  // limited to one round
  EXPECT_EQ(c->percent, 1.0f);
  c->position = 4;
  ruvo_xhash_cookie_set_percent(c, 2.0f);  // not limited: two rounds in one call
  Seen s;
  ruvo_xhash_walk_partial(t, c, &s, record);
  EXPECT_EQ(slots_of(s), (std::vector<int>{4, 5, 6, 7, 0, 1, 2, 3, 4, 5, 6, 7, 0, 1, 2, 3}));
  ruvo_xhash_walk_partial(t, c, &s, nullptr);  // does nothing
  EXPECT_EQ(c->position, 4u);
  ruvo_xhash_cookie_destroy(c);
  ruvo_xhash_destroy(t);
}

TEST_F(XhashTest, PartialWalkWithoutRepeatMakesOnePass) {
  ruvo_xhash_st *t = one_key_per_slot();
  ruvo_xhash_cookie_st *c = ruvo_xhash_cookie_create(0.25f);
  Seen s;
  EXPECT_EQ(ruvo_xhash_walk_partial_no_repeat(t, c, &s, record), 1);
  EXPECT_EQ(ruvo_xhash_walk_partial_no_repeat(t, c, &s, record), 1);
  EXPECT_EQ(ruvo_xhash_walk_partial_no_repeat(t, c, &s, record), 1);
  EXPECT_EQ(ruvo_xhash_walk_partial_no_repeat(t, c, &s, record), 0);
  EXPECT_EQ(slots_of(s), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
  EXPECT_EQ(ruvo_xhash_walk_partial_no_repeat(t, c, &s, record), 0);
  EXPECT_EQ(s.keys.size(), 8u);
  ruvo_xhash_cookie_destroy(c);

  // A tiny share still looks at one slot; a stop keeps the cookie on its slot.
  c = ruvo_xhash_cookie_create(0.01f);
  Seen one;
  EXPECT_EQ(ruvo_xhash_walk_partial_no_repeat(t, c, &one, record), 1);
  EXPECT_EQ(slots_of(one), std::vector<int>{0});
  Seen stop;
  stop.stop_at = 0;
  EXPECT_EQ(ruvo_xhash_walk_partial_no_repeat(t, c, &stop, record), 0);
  EXPECT_EQ(c->position, 1u);
  EXPECT_EQ(ruvo_xhash_walk_partial_no_repeat(t, c, &one, record), 1);
  EXPECT_EQ(slots_of(one), (std::vector<int>{0, 1}));
  EXPECT_EQ(ruvo_xhash_walk_partial_no_repeat(t, c, &one, nullptr), 0);
  ruvo_xhash_cookie_destroy(c);
  ruvo_xhash_destroy(t);
}

// ---- set ----

TEST_F(XhashTest, HashSetKeepsEachKeyOnce) {
  ruvo_xhash_st *s = ruvo_hash_set_init(nullptr, nullptr);
  EXPECT_EQ(ruvo_hash_set_maxn(s), 24u);
  ruvo_hash_set_insert(s, "a", 1);
  ruvo_hash_set_insert(s, "a", 1);
  ruvo_hash_set_insert(s, "ab", 2);
  EXPECT_EQ(ruvo_hash_set_size(s), 2u);
  EXPECT_EQ(ruvo_hash_set_find(s, "ab", 2), 1);
  EXPECT_EQ(ruvo_hash_set_find(s, "b", 1), 0);
  EXPECT_EQ(ruvo_hash_set_remove(s, "b", 1), 0);
  EXPECT_EQ(ruvo_hash_set_remove(s, "a", 1), 1);
  EXPECT_EQ(ruvo_hash_set_size(s), 1u);
  ruvo_hash_set_clear(s);
  EXPECT_EQ(ruvo_hash_set_size(s), 0u);
  ruvo_hash_set_unit(s);
  ruvo_hash_set_unit(nullptr);
}

}  // namespace
