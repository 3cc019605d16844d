// Random operation sequences on ruvo_rbtree against std::map, with the
// structural checker after every change. The first input byte picks the
// tree's mode (copied or referenced keys, byte order or a caller's order);
// the rest is a stream of operations over short keys.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iterator>
#include <map>
#include <string>

#include "rbtree_impl.hpp"
#include "ruvo/base/rbtree.h"

namespace {

[[noreturn]] void fail(const char *what, int op) {
  std::fprintf(stderr, "rbtree_fuzz: %s (op %d)\n", what, op);
  std::abort();
}

void check(bool ok, const char *what, int op) {
  if (!ok) fail(what, op);
}

// Values are live tokens: the destroy callback must see each exactly once,
// and only tokens that the reference says have left.
std::map<uintptr_t, int> *g_live;

void release(void *value) {
  auto it = g_live->find(reinterpret_cast<uintptr_t>(value));
  if (it == g_live->end() || it->second != 1) fail("value released twice or unknown", -1);
  it->second = 0;
}

int32_t caller_order(const void *a, uint32_t al, const void *b, uint32_t bl) {
  return ruvo::detail::rbtree_byte_cmp(a, al, b, bl);
}

std::string key_of(const ruvo_rbtree_node_st *n) {
  return n->key_len == 0 ? std::string() : std::string(reinterpret_cast<const char *>(n->key), n->key_len);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const uint32_t flags = data[0] & 1 ? RUVO_RBTREE_KEY_REF : 0;
  const ruvo_rbtree_cmp_fn cmp = data[0] & 2 ? &caller_order : nullptr;
  ++data;
  --size;

  std::map<uintptr_t, int> live;  // token -> 1 while the tree holds it
  g_live = &live;
  std::map<std::string, uintptr_t> ref;
  std::deque<std::string> keys;  // stable key bytes for the reference mode
  std::map<std::string, const ruvo_rbtree_node_st *> held;  // cursors taken on the way
  uintptr_t next_token = 1;
  ruvo_rbtree_st *t = ruvo_rbtree_create(&release, cmp, flags);

  size_t pos = 0;
  int op = 0;
  while (pos < size) {
    const uint8_t code = data[pos++];
    // Bits 0-2 pick the operation, bits 3-5 the key length; the key
    // bytes follow.
    size_t len = (code >> 3) & 7;
    if (len > size - pos) len = size - pos;
    std::string k(reinterpret_cast<const char *>(data + pos), len);
    pos += len;
    ++op;
    switch (code & 7) {
      case 0:
      case 1:
      case 2: {  // insert or replace
        const uintptr_t v = next_token++;
        live[v] = 1;
        keys.push_back(k);
        const auto *before = ruvo_rbtree_get_cursor(t, k.data(), static_cast<uint32_t>(k.size()));
        ruvo_rbtree_insert(t, keys.back().data(), static_cast<uint32_t>(k.size()), reinterpret_cast<void *>(v));
        const auto *after = ruvo_rbtree_get_cursor(t, k.data(), static_cast<uint32_t>(k.size()));
        check(after != nullptr && after->value == reinterpret_cast<void *>(v), "inserted value", op);
        if (flags & RUVO_RBTREE_KEY_REF)
          check(after->key == reinterpret_cast<const uint8_t *>(keys.back().data()), "key reference", op);
        auto it = ref.find(k);
        if (it != ref.end()) {
          check(live[it->second] == 0, "replaced value not released", op);
          check(before == after, "replace moved the node", op);
        }
        ref[k] = v;
        break;
      }
      case 3:
      case 4: {  // delete
        auto it = ref.find(k);
        ruvo_rbtree_delete(t, k.data(), static_cast<uint32_t>(k.size()));
        if (it != ref.end()) {
          check(live[it->second] == 0, "deleted value not released", op);
          ref.erase(it);
          held.erase(k);
        }
        break;
      }
      case 5: {  // hold a cursor for later
        const ruvo_rbtree_node_st *n = ruvo_rbtree_get_cursor(t, k.data(), static_cast<uint32_t>(k.size()));
        check((n != nullptr) == (ref.count(k) != 0), "get_cursor", op);
        if (n != nullptr) held[k] = n;
        break;
      }
      default: {  // bounds and search
        const ruvo_rbtree_node_st *lo = ruvo_rbtree_lower_bound(t, k.data(), static_cast<uint32_t>(k.size()));
        auto lt = ref.lower_bound(k);
        check((lo == nullptr) == (lt == ref.end()) && (!lo || key_of(lo) == lt->first), "lower_bound", op);
        const ruvo_rbtree_node_st *up = ruvo_rbtree_upper_bound(t, k.data(), static_cast<uint32_t>(k.size()));
        auto ut = ref.upper_bound(k);
        check((up == nullptr) == (ut == ref.begin()) && (!up || key_of(up) == std::prev(ut)->first), "upper_bound",
              op);
        void *value = nullptr;
        const int found = ruvo_rbtree_search(t, k.data(), static_cast<uint32_t>(k.size()), &value);
        auto ft = ref.find(k);
        check(found == (ft == ref.end() ? -1 : 0) && (ft == ref.end() || reinterpret_cast<uintptr_t>(value) == ft->second),
              "search", op);
        break;
      }
    }
    if (const char *why = ruvo::detail::rbtree_check(t)) fail(why, op);
    check(t->count == ref.size(), "count", op);
    for (const auto &[hk, n] : held)
      check(key_of(n) == hk && reinterpret_cast<uintptr_t>(n->value) == ref[hk], "held cursor went stale", op);
  }

  // The whole order once at the end, by next and by prev.
  const ruvo_rbtree_node_st *n = ruvo_rbtree_first(t);
  for (const auto &[rk, rv] : ref) {
    check(n != nullptr && key_of(n) == rk && reinterpret_cast<uintptr_t>(n->value) == rv, "in-order walk", op);
    n = ruvo_rbtree_next(n);
  }
  check(n == nullptr, "walk longer than the map", op);
  n = ruvo_rbtree_last(t);
  for (auto it = ref.rbegin(); it != ref.rend(); ++it, n = ruvo_rbtree_prev(n))
    check(n != nullptr && key_of(n) == it->first, "reverse walk", op);

  ruvo_rbtree_destroy(t);
  for (const auto &[v, state] : live) check(state == 0, "value never released", op);
  g_live = nullptr;
  return 0;
}
