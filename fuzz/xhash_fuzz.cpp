// Runs a chained hash through an operation sequence decoded from the input
// and checks it against std::unordered_map and an insertion-order list after
// every step, plus the table's own invariants: every element in the slot its
// stored hash names, list and count in agreement, each value freed once.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <list>
#include <string>
#include <unordered_map>
#include <vector>

#include "ruvo/base/xhash.h"
#include "xhash_impl.hpp"

namespace {

struct Input {
  const uint8_t *p;
  size_t n;
  uint8_t byte() {
    if (n == 0) return 0;
    --n;
    return *p++;
  }
};

std::unordered_map<uintptr_t, int> g_freed;
void count_free(void *v) { ++g_freed[reinterpret_cast<uintptr_t>(v)]; }

// A hash with few values, so chains get long and stored hashes collide.
uint32_t narrow_hash(const void *key, int32_t len) { return ruvo::xhash::djb2(key, len) % 5; }

void check(bool ok, const char *what) {
  if (!ok) {
    std::fprintf(stderr, "xhash mismatch: %s\n", what);
    std::abort();
  }
}

void check_structure(ruvo_xhash_st *t, bool default_hash) {
  uint32_t in_slots = 0;
  for (uint32_t i = 0; i < t->nslot; ++i) {
    const ruvo::xhash::bucket &b = t->slots[i];
    uint32_t at = 0;
    for (ruvo_xhash_elem_st *e = ruvo::xhash::chain_head(b); e != nullptr; e = e->chain_next) {
      check((e->hash & (t->nslot - 1)) == i, "element in the wrong slot");
      if (default_hash) check(e->hash == ruvo::xhash::djb2(e->key, e->key_len), "stored hash");
      if (at < ruvo::xhash::kCached) {
        check(at < b.n && b.elems[at] == e && b.hashes[at] == e->hash, "cached links");
      }
      ++at;
      ++in_slots;
    }
    check(b.n == std::min(at, ruvo::xhash::kCached), "cached link count");
  }
  check(in_slots == t->count, "slot chains and count");
  uint32_t in_list = 0;
  for (ruvo_xhash_elem_st *e = t->list.list_next; e != &t->list; e = e->list_next) {
    check(e->list_next->list_prev == e, "list links");
    ++in_list;
  }
  check(in_list == t->count, "list and count");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Input in{data, size};
  const uint8_t mode = in.byte();
  const bool by_ref = (mode & 1) != 0;
  const bool default_hash = (mode & 2) == 0;
  g_freed.clear();
  ruvo_xhash_st *t = ruvo_xhash_create2(count_free, default_hash ? nullptr : narrow_hash,
                                        nullptr, by_ref ? RUVO_XHASH_KEY_REF : 0);

  std::deque<std::string> arena;  // keys of a by-reference table stay put here
  std::unordered_map<std::string, uintptr_t> ref;
  std::list<std::string> order;
  std::unordered_map<uintptr_t, int> left;
  uintptr_t next_value = 1;
  ruvo_xhash_cookie_st *cookie = ruvo_xhash_cookie_create(0.3f);

  auto read_key = [&]() -> const std::string & {
    // Short keys over a small alphabet, so operations meet existing keys.
    const uint8_t head = in.byte();
    std::string k(head % 5, '\0');
    for (char &c : k) c = static_cast<char>(in.byte() % 4);
    arena.push_back(k);
    return arena.back();
  };

  for (int steps = 0; in.n > 0 && steps < 4000; ++steps) {
    const uint8_t op = in.byte();
    switch (op % 8) {
      case 0:
      case 1:
      case 2: {  // insert or replace
        const std::string &k = read_key();
        const uintptr_t v = next_value++;
        ruvo_xhash_insert(t, k.data(), static_cast<int32_t>(k.size()), reinterpret_cast<void *>(v));
        auto it = ref.find(k);
        if (it != ref.end()) {
          ++left[it->second];
          it->second = v;
        } else {
          ref.emplace(k, v);
          order.push_back(k);
        }
        break;
      }
      case 3: {  // delete
        const std::string &k = read_key();
        const int32_t r = ruvo_xhash_delete(t, k.data(), static_cast<int32_t>(k.size()));
        auto it = ref.find(k);
        check(r == (it != ref.end() ? 0 : -1), "delete result");
        if (it != ref.end()) {
          ++left[it->second];
          ref.erase(it);
          order.remove(k);
        }
        break;
      }
      case 4: {  // search
        const std::string &k = read_key();
        void *out = nullptr;
        const int32_t r = ruvo_xhash_search(t, k.data(), static_cast<int32_t>(k.size()), &out);
        auto it = ref.find(k);
        check(r == (it != ref.end() ? 0 : -1), "search result");
        if (it != ref.end()) check(reinterpret_cast<uintptr_t>(out) == it->second, "search value");
        break;
      }
      case 5:  // grow ahead
        ruvo_xhash_set_nslot(t, in.byte() * 97u);
        break;
      case 6:  // partial walk that counts what it sees
        if (op & 8) {
          ruvo_xhash_cookie_set_percent(cookie, (in.byte() % 16) / 8.0f);
        }
        ruvo_xhash_walk_partial(t, cookie, nullptr,
                                [](const void *, int32_t, void *, void *) -> int32_t { return 0; });
        break;
      case 7:
        if ((op & 0x70) == 0) {  // clear, rarely
          ruvo_xhash_clear(t);
          for (const auto &[k, v] : ref) ++left[v];
          ref.clear();
          order.clear();
        } else {
          check_structure(t, default_hash);
        }
        break;
    }
    check(ruvo_xhash_count(t) == ref.size(), "count");
  }

  check_structure(t, default_hash);
  auto it = order.begin();
  for (ruvo_xhash_elem_st *e = ruvo_xhash_first(t); e != nullptr; e = ruvo_xhash_next(t, e), ++it) {
    check(it != order.end(), "list longer than reference");
    check(std::string(static_cast<const char *>(e->key), static_cast<size_t>(e->key_len)) == *it,
          "insertion order");
    check(reinterpret_cast<uintptr_t>(e->value) == ref.at(*it), "value in order");
  }
  check(it == order.end(), "list shorter than reference");
  check(g_freed == left, "free calls before destroy");

  ruvo_xhash_cookie_destroy(cookie);
  ruvo_xhash_destroy(t);
  for (const auto &[k, v] : ref) ++left[v];
  check(g_freed == left, "free calls after destroy");
  return 0;
}
