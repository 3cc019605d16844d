#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ruvo/base/xhash.h"

namespace {

// Values are distinct non-null numbers; the free function counts each release.
std::map<uintptr_t, int> g_freed;
void count_free(void *value) { ++g_freed[reinterpret_cast<uintptr_t>(value)]; }
void *val(uintptr_t v) { return reinterpret_cast<void *>(v); }
int32_t len(const std::string &k) { return static_cast<int32_t>(k.size()); }
void put(ruvo_xhash_st *t, const std::string &k, uintptr_t v) {
  ruvo_xhash_insert(t, k.data(), len(k), val(v));
}
// Slot 0 for "a...", 1 for "b...", and so on.
uint32_t letter_hash(const void *k, int32_t) { return *static_cast<const uint8_t *>(k) - 'a'; }

// The keys joined in insertion order; each element's hash must be plain djb2.
std::string joined(ruvo_xhash_st *t) {
  std::string out;
  for (auto *e = ruvo_xhash_first(t); e != nullptr; e = ruvo_xhash_next(t, e)) {
    const std::string k(static_cast<const char *>(e->key), static_cast<size_t>(e->key_len));
    uint32_t h = 5381;
    for (unsigned char ch : k) h = h * 33 + ch;
    EXPECT_EQ(e->hash, h);
    out += k;
  }
  return out;
}

// Appends the keys to `seen`, gives 1 on call `stop_at`, deletes from `table` if set.
struct Walk {
  std::string seen;
  int32_t calls = 0, stop_at = -1;
  ruvo_xhash_st *table = nullptr;
};
int32_t record(const void *k, int32_t n, void *, void *arg) {
  auto *w = static_cast<Walk *>(arg);
  w->seen.append(static_cast<const char *>(k), static_cast<size_t>(n));
  EXPECT_EQ(w->table != nullptr ? ruvo_xhash_delete(w->table, k, n) : 0, 0);
  return w->calls++ == w->stop_at ? 1 : 0;
}

// Size steps: slots and the count at which the table grows.
constexpr uint32_t kRows[][2] = {{8, 24},      {16, 64},       {64, 256}, {256, 1024},
                                 {2048, 10240}, {16384, 81920}, {262144, 0x7FFFFFFF}};

TEST(Xhash, RandomOperationsMatchUnorderedMapThroughEveryGrowth) {
  g_freed.clear();
  std::mt19937 rng(2024);
  ruvo_xhash_st *t = ruvo_xhash_create(count_free, nullptr);
  std::unordered_map<std::string, std::pair<uintptr_t, uintptr_t>> ref;  // value, insertion number
  std::map<uintptr_t, std::string> order;                                // insertion number -> key
  std::map<uintptr_t, int> left;  // values that left the table, and how often
  uintptr_t next = 1;
  size_t row = 0;
  auto key = [&] {  // 4 raw bytes (zeros among them), then 0-2 zero bytes; hits about half the time
    const uint32_t n = static_cast<uint32_t>(rng() % (2 * ref.size() + 16));
    return std::string(reinterpret_cast<const char *>(&n), 4).append(n % 3, '\0');
  };
  auto check_order = [&] {
    std::string want;
    for (const auto &e : order) want += e.second;
    EXPECT_EQ(joined(t), want) << "row " << row;
  };
  while (row < 6) {
    const std::string k = key();
    const auto it = ref.find(k);
    if (rng() % 8 != 0) {  // insert, or replace: the element keeps its place
      put(t, k, next);
      if (it != ref.end()) ++left[std::exchange(it->second.first, next)];
      if (it == ref.end()) ref.emplace(k, std::make_pair(next, next)), order[next] = k;
      ++next;
    } else {
      ASSERT_EQ(ruvo_xhash_delete(t, k.data(), len(k)), it != ref.end() ? 0 : -1);
      if (it != ref.end()) ++left[it->second.first], order.erase(it->second.second), ref.erase(it);
    }
    ASSERT_EQ(ruvo_xhash_count(t), ref.size());
    for (; row < 6 && ref.size() >= kRows[row][1]; ++row) check_order();  // never shrinks
    ASSERT_EQ(ruvo_xhash_slotcount(t), kRows[row][0]);
    ASSERT_EQ(ruvo_xhash_maxelem(t), kRows[row][1]);
    const std::string probe = key();
    const auto p = ref.find(probe);
    void *out = nullptr;
    ASSERT_EQ(ruvo_xhash_search(t, probe.data(), len(probe), &out), p != ref.end() ? 0 : -1);
    ASSERT_EQ(out, p != ref.end() ? val(p->second.first) : nullptr);
  }
  check_order();
  EXPECT_EQ(g_freed, left);  // replaced and deleted values, each exactly once
  ruvo_xhash_destroy(t);
  for (const auto &[k, e] : ref) ++left[e.first];
  EXPECT_EQ(g_freed, left);
}

TEST(Xhash, SetNslotGoesToTheNextStepOrAPowerOfTwoAndNeverShrinks) {
  constexpr uint32_t kMax = 0x7FFFFFFF;  // no more growth
  const uint32_t cases[][3] = {{4, 16, 64}, {10, 16, 64}, {16, 64, 256}, {300, 2048, 10240},
                               {16383, 16384, 81920}, {16384, 16384, kMax}, {20000, 32768, kMax}};
  for (const auto &c : cases) {
    ruvo_xhash_st *t = ruvo_xhash_create(nullptr, nullptr);
    for (int i = 0; i < 30; ++i) put(t, std::to_string(i), 1);  // 16 slots now
    const std::string before = joined(t);
    ruvo_xhash_set_nslot(t, c[0]);
    EXPECT_EQ(ruvo_xhash_slotcount(t), c[1]) << c[0];
    EXPECT_EQ(ruvo_xhash_maxelem(t), c[2]) << c[0];
    EXPECT_EQ(joined(t), before);
    for (uint32_t i = 0; i < std::min(c[2], 82000u); ++i) put(t, std::to_string(i), 1);
    EXPECT_EQ(ruvo_xhash_slotcount(t) == c[1], c[2] == kMax) << "grows only below 16384";
    ruvo_xhash_destroy(t);
  }
}

// A set whose hash and compare fold case: "a" and "A" are one key.
uint8_t folded(const void *k, int32_t i) { return static_cast<const uint8_t *>(k)[i] | 0x20; }
uint32_t blind_hash(const void *k, int32_t n) { return n > 0 ? folded(k, 0) : 0; }
int32_t blind_compare(const void *a, int32_t an, const void *b, int32_t bn) {
  for (int32_t i = 0; an == bn && i < an; ++i)
    if (folded(a, i) != folded(b, i)) return 1;
  return an != bn;
}

// Copied and referred-to keys, bad arguments, and the hash set over the same calls.
TEST(Xhash, KeysAreCopiedOrReferredToAndBadArgumentsAreRefused) {
  ruvo_xhash_st *copy = ruvo_xhash_create(nullptr, nullptr), *none = nullptr;
  ruvo_xhash_st *ref = ruvo_xhash_create2(nullptr, nullptr, nullptr, RUVO_XHASH_KEY_REF);
  ruvo_xhash_st *set = ruvo_hash_set_init(blind_hash, blind_compare);
  char first[] = "same", second[] = "same";
  for (ruvo_xhash_st *t : {copy, ref, none}) {
    for (char *k : {first, second, static_cast<char *>(nullptr)}) ruvo_xhash_insert(t, k, 4, k);
    ruvo_xhash_insert(t, "abc", -1, nullptr);
    ruvo_xhash_insert(t, "", 0, nullptr);  // the empty key is a key
  }
  for (const char *k : {"a", "A", "ab"}) ruvo_hash_set_insert(set, k, len(k));
  EXPECT_EQ(ruvo_xhash_first(ref)->key, second);
  EXPECT_NE(ruvo_xhash_first(copy)->key, first);
  first[0] = 'x';  // only the key-ref table could still see this buffer
  void *a = nullptr, *b = nullptr;
  const std::vector<int64_t> got = {
      ruvo_xhash_search(copy, "same", 4, &a), ruvo_xhash_search(ref, "same", 4, &b),
      ruvo_xhash_search(copy, "xame", 4, nullptr), ruvo_xhash_search(copy, "abc", -1, nullptr),
      ruvo_xhash_search(none, "a", 1, nullptr), ruvo_xhash_count(copy), ruvo_xhash_count(ref),
      ruvo_xhash_count(none), ruvo_hash_set_size(set), ruvo_hash_set_maxn(set),
      ruvo_hash_set_find(set, "AB", 2), ruvo_hash_set_find(set, "b", 1),
      ruvo_hash_set_remove(set, "b", 1), ruvo_hash_set_remove(set, "a", 1)};
  EXPECT_EQ(got, (std::vector<int64_t>{0, 0, -1, -1, -1, 2, 2, 0, 2, 24, 1, 0, 0, 1}));
  EXPECT_EQ((std::vector<void *>{a, b}), (std::vector<void *>{second, second}));
  EXPECT_EQ(joined(copy), "same");  // and "" hashed to the start value
  ruvo_hash_set_clear(set);
  EXPECT_EQ(ruvo_hash_set_size(set), 0u);
  ruvo_hash_set_unit(set);
  for (ruvo_xhash_st *t : {copy, ref, none}) ruvo_xhash_destroy(t);
}

TEST(Xhash, PartialWalksWrapAroundButNoRepeatMakesOnePass) {
  ruvo_xhash_st *t = ruvo_xhash_create2(nullptr, letter_hash, nullptr, 0);
  for (const char *k : {"a", "b", "c", "d", "e", "f", "g", "h"}) put(t, k, 1);
  ruvo_xhash_cookie_st *wrap = ruvo_xhash_cookie_create(0.5f);
  ruvo_xhash_cookie_st *once = ruvo_xhash_cookie_create(0.25f);
  Walk w, o, first3{{}, 0, 2}, more;
  EXPECT_EQ(ruvo_xhash_walk(t, &first3, record), 1);  // a non-zero result stops the walk
  for (int i = 0; i < 3; ++i) ruvo_xhash_walk_partial(t, wrap, &w, record);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(ruvo_xhash_walk_partial_no_repeat(t, once, &o, record), i < 3 ? 1 : 0);
  }
  ruvo_xhash_cookie_set_percent(wrap, 2.0f);  // not limited: two rounds in one call
  ruvo_xhash_walk_partial(t, wrap, &more, record);
  EXPECT_EQ(first3.seen + "|" + w.seen + "|" + o.seen + "|" + more.seen,
            "abc|abcdefghabcd|abcdefgh|efghabcdefghabcd");
  for (const char *k : {"ab", "ac", "bb"}) put(t, k, 1);
  ruvo_xhash_delete(t, "h", 1);  // chains now 3, 2, 1, 1, 1, 1, 1, 0
  std::vector<uint32_t> counts = {100, 100, 100};
  for (int32_t n : {3, 0, -1}) ruvo_xhash_slotinfo(t, counts.data(), n);
  EXPECT_EQ(counts, (std::vector<uint32_t>{101, 105, 101}));  // length 3 is past the array
  Walk all{{}, 0, -1, t};                                     // deletes each element it is given
  EXPECT_EQ(ruvo_xhash_walk(t, &all, record) + ruvo_xhash_count(t), 0u);
  ruvo_xhash_cookie_destroy(wrap);
  ruvo_xhash_cookie_destroy(once);
  ruvo_xhash_destroy(t);
}

}  // namespace
