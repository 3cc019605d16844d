// Chained hash: a power-of-two slot array of singly linked chains, with every
// element also on a circular insertion-order list, and a key set on top.
// Elements carry their full hash, so the compare function runs only for real
// candidates and growth never hashes a key again. Each slot also keeps its
// chain's first links and their hashes in one cache line: a lookup then
// touches the matching element and no other, which matters because the size
// steps allow up to five elements per slot.
#include "ruvo/base/xhash.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ruvo/base/memory.h"
#include "xhash_impl.hpp"

// Callers read elements in place, so the public record's layout is fixed.
static_assert(offsetof(ruvo_xhash_elem_st, key) == 0);
static_assert(offsetof(ruvo_xhash_elem_st, value) == sizeof(void *));
static_assert(offsetof(ruvo_xhash_elem_st, key_len) == 2 * sizeof(void *));
static_assert(offsetof(ruvo_xhash_elem_st, hash) == 2 * sizeof(void *) + 4);
static_assert(offsetof(ruvo_xhash_elem_st, chain_next) == 2 * sizeof(void *) + 8);
static_assert(offsetof(ruvo_xhash_elem_st, list_next) == 3 * sizeof(void *) + 8);
static_assert(offsetof(ruvo_xhash_elem_st, list_prev) == 4 * sizeof(void *) + 8);
static_assert(sizeof(ruvo_xhash_elem_st) == 5 * sizeof(void *) + 8);

namespace {

using ruvo::xhash::bucket;
using ruvo::xhash::chain_head;
using ruvo::xhash::kCached;
using ruvo::xhash::kGrowingSteps;
using ruvo::xhash::kNoGrowth;
using ruvo::xhash::kSteps;

uint32_t default_hash(const void *key, int32_t key_len) noexcept {
  return ruvo::xhash::djb2(key, key_len);
}

int32_t default_compare(const void *key1, int32_t key1_len, const void *key2,
                        int32_t key2_len) noexcept {
  if (key1_len != key2_len) return 1;
  if (key1_len <= 0) return 0;
  return std::memcmp(key1, key2, static_cast<size_t>(key1_len)) != 0 ? 1 : 0;
}

// A key argument the table can take: a length of 0 or more, and bytes behind
// any length above 0.
bool valid_key(const void *key, int32_t key_len) noexcept {
  return key_len >= 0 && (key != nullptr || key_len == 0);
}

// The slot array: checked, cleared, aligned to the cache line so that each
// bucket is one line. Sizes are size_t: big tables pass the 32-bit size that
// ruvo_zero_malloc takes.
void alloc_slots(ruvo_xhash_st *t, uint32_t nslot) noexcept {
  const size_t n = nslot;
  if (n > (SIZE_MAX - alignof(bucket)) / sizeof(bucket)) ruvo_out_of_memory();
  void *block = std::calloc(1, n * sizeof(bucket) + alignof(bucket));
  if (block == nullptr) ruvo_out_of_memory();
  const uintptr_t at = (reinterpret_cast<uintptr_t>(block) + alignof(bucket) - 1) &
                       ~static_cast<uintptr_t>(alignof(bucket) - 1);
  t->slots_block = block;
  t->slots = reinterpret_cast<bucket *>(at);
}

uint32_t hash_of(const ruvo_xhash_st *t, const void *key, int32_t key_len) noexcept {
  // The default hash is by far the common one: calling it directly lets the
  // compiler inline it.
  if (t->hash == &default_hash) return ruvo::xhash::djb2(key, key_len);
  return t->hash(key, key_len);
}

bool same_key(const ruvo_xhash_st *t, const ruvo_xhash_elem_st *e, const void *key,
              int32_t key_len) noexcept {
  if (t->compare == &default_compare) {
    // A copied key sits right behind its element. Reading it there rather
    // than through e->key lets both cache lines load at once.
    const void *stored = (t->flags & RUVO_XHASH_KEY_REF) != 0 ? e->key : e + 1;
    return e->key_len == key_len &&
           (key_len == 0 || std::memcmp(stored, key, static_cast<size_t>(key_len)) == 0);
  }
  return t->compare(e->key, e->key_len, key, key_len) == 0;
}

// Links `e` at the head of the bucket's chain.
void push_front(bucket &b, ruvo_xhash_elem_st *e) noexcept {
  e->chain_next = ruvo::xhash::chain_head(b);
  const uint32_t keep = b.n < kCached ? b.n : kCached - 1;
  std::memmove(&b.elems[1], &b.elems[0], keep * sizeof b.elems[0]);
  std::memmove(&b.hashes[1], &b.hashes[0], keep * sizeof b.hashes[0]);
  b.elems[0] = e;
  b.hashes[0] = e->hash;
  b.n = keep + 1;
}

struct found {
  ruvo_xhash_elem_st *elem;  // null: not there
  bucket *b;
  uint32_t index;            // place among the cached links, or kCached past them
  ruvo_xhash_elem_st *pred;  // predecessor in the chain, null for the head
};

// Requires: key valid.
found find(const ruvo_xhash_st *t, uint32_t h, const void *key, int32_t key_len) noexcept {
  bucket &b = t->slots[h & (t->nslot - 1)];
  for (uint32_t i = 0; i < b.n; ++i) {
    if (b.hashes[i] == h && same_key(t, b.elems[i], key, key_len)) {
      return {b.elems[i], &b, i, i != 0 ? b.elems[i - 1] : nullptr};
    }
  }
  if (b.n == kCached) {
    ruvo_xhash_elem_st *pred = b.elems[kCached - 1];
    for (ruvo_xhash_elem_st *e = pred->chain_next; e != nullptr; pred = e, e = e->chain_next) {
      if (e->hash == h && same_key(t, e, key, key_len)) return {e, &b, kCached, pred};
    }
  }
  return {nullptr, &b, 0, nullptr};
}

// Requires: f.elem found by find() and nothing changed since.
void chain_unlink(const found &f) noexcept {
  ruvo_xhash_elem_st *e = f.elem;
  bucket &b = *f.b;
  if (f.index == kCached) {
    f.pred->chain_next = e->chain_next;
    return;
  }
  // The element after the cached ones moves up into the cache.
  ruvo_xhash_elem_st *refill = b.n == kCached ? b.elems[kCached - 1]->chain_next : nullptr;
  if (f.pred != nullptr) f.pred->chain_next = e->chain_next;
  const uint32_t after = b.n - f.index - 1;
  std::memmove(&b.elems[f.index], &b.elems[f.index + 1], after * sizeof b.elems[0]);
  std::memmove(&b.hashes[f.index], &b.hashes[f.index + 1], after * sizeof b.hashes[0]);
  --b.n;
  if (refill != nullptr) {
    b.elems[b.n] = refill;
    b.hashes[b.n] = refill->hash;
    ++b.n;
  }
}

// Spreads the elements over a new slot array in insertion order, each at the
// head of its chain, so chains keep the newest element first, as inserts
// leave them.
void rehash(ruvo_xhash_st *t, uint32_t nslot, uint32_t maxelem) noexcept {
  void *old = t->slots_block;
  alloc_slots(t, nslot);
  const uint32_t mask = nslot - 1;
  for (ruvo_xhash_elem_st *e = t->list.list_next; e != &t->list; e = e->list_next) {
    push_front(t->slots[e->hash & mask], e);
  }
  std::free(old);
  t->nslot = nslot;
  t->maxelem = maxelem;
}

void grow(ruvo_xhash_st *t) noexcept {
  for (int i = 0; i < kGrowingSteps; ++i) {
    if (kSteps[i].nslot == t->nslot) {
      rehash(t, kSteps[i + 1].nslot, kSteps[i + 1].maxelem);
      return;
    }
  }
  // Only a table that no longer grows gets here, after 2^31 - 1 elements. It
  // keeps working with longer chains.
  std::fputs("[BUG] rehashing, can not get next_mask\n", stderr);
}

void list_unlink(ruvo_xhash_elem_st *e) noexcept {
  e->list_prev->list_next = e->list_next;
  e->list_next->list_prev = e->list_prev;
}

void release(ruvo_xhash_st *t, ruvo_xhash_elem_st *e) noexcept {
  if (t->free_value != nullptr) t->free_value(e->value);
  std::free(e);
}

uint32_t round_slots(uint32_t nslot, float percent) noexcept {
  const float n = static_cast<float>(nslot) * percent;
  // Also catches NaN. The upper clamp keeps the conversion defined for a
  // huge percent.
  if (!(n >= 1.0f)) return 1;
  if (n >= 4294967040.0f) return 0xFFFFFF00u;
  return static_cast<uint32_t>(n);
}

}  // namespace

extern "C" {

RUVO_API ruvo_xhash_st *ruvo_xhash_create2(ruvo_xhash_free_fn free_value, ruvo_xhash_hash_fn hash,
                                           ruvo_xhash_cmp_fn compare, int32_t flags) noexcept {
  auto *t = static_cast<ruvo_xhash_st *>(ruvo_zero_malloc(sizeof(ruvo_xhash_st)));
  alloc_slots(t, kSteps[0].nslot);
  t->list.list_next = &t->list;
  t->list.list_prev = &t->list;
  t->nslot = kSteps[0].nslot;
  t->maxelem = kSteps[0].maxelem;
  t->count = 0;
  t->flags = flags;
  t->free_value = free_value;
  t->hash = hash != nullptr ? hash : &default_hash;
  t->compare = compare != nullptr ? compare : &default_compare;
  return t;
}

RUVO_API ruvo_xhash_st *ruvo_xhash_create(ruvo_xhash_free_fn free_value,
                                          ruvo_xhash_hash_fn hash) noexcept {
  return ruvo_xhash_create2(free_value, hash, nullptr, 0);
}

RUVO_API void ruvo_xhash_clear(ruvo_xhash_st *table) noexcept {
  if (table == nullptr) return;
  for (uint32_t i = 0; i < table->nslot; ++i) {
    ruvo_xhash_elem_st *e = chain_head(table->slots[i]);
    table->slots[i].n = 0;
    while (e != nullptr) {
      ruvo_xhash_elem_st *next = e->chain_next;
      release(table, e);
      e = next;
    }
  }
  table->count = 0;
  table->list.list_next = &table->list;
  table->list.list_prev = &table->list;
}

RUVO_API void ruvo_xhash_destroy(ruvo_xhash_st *table) noexcept {
  if (table == nullptr) return;
  ruvo_xhash_clear(table);
  std::free(table->slots_block);
  std::free(table);
}

RUVO_API void ruvo_xhash_insert(ruvo_xhash_st *table, const void *key, int32_t key_len,
                                void *value) noexcept {
  if (table == nullptr || !valid_key(key, key_len)) return;
  const uint32_t h = hash_of(table, key, key_len);
  const bool by_ref = (table->flags & RUVO_XHASH_KEY_REF) != 0;

  const found f = find(table, h, key, key_len);
  ruvo_xhash_elem_st *e = f.elem;
  if (e != nullptr) {
    if (table->free_value != nullptr) table->free_value(e->value);
    e->value = value;
    if (by_ref) {
      e->key = key;
      e->key_len = key_len;
    }
    return;
  }

  const int32_t extra = by_ref ? 0 : key_len;
  if (extra > INT32_MAX - static_cast<int32_t>(sizeof(ruvo_xhash_elem_st))) ruvo_out_of_memory();
  e = static_cast<ruvo_xhash_elem_st *>(
      ruvo_malloc(static_cast<int32_t>(sizeof(ruvo_xhash_elem_st)) + extra));
  if (by_ref) {
    e->key = key;
  } else {
    void *copy = e + 1;
    if (key_len > 0) std::memcpy(copy, key, static_cast<size_t>(key_len));
    e->key = copy;
  }
  e->key_len = key_len;
  e->hash = h;
  e->value = value;

  push_front(*f.b, e);

  e->list_next = &table->list;
  e->list_prev = table->list.list_prev;
  table->list.list_prev->list_next = e;
  table->list.list_prev = e;

  if (++table->count >= table->maxelem) grow(table);
}

RUVO_API int32_t ruvo_xhash_search(ruvo_xhash_st *table, const void *key, int32_t key_len,
                                   void **value) noexcept {
  if (table == nullptr || !valid_key(key, key_len)) return -1;
  const ruvo_xhash_elem_st *e = find(table, hash_of(table, key, key_len), key, key_len).elem;
  if (e == nullptr) return -1;
  if (value != nullptr) *value = e->value;
  return 0;
}

RUVO_API int32_t ruvo_xhash_delete(ruvo_xhash_st *table, const void *key,
                                   int32_t key_len) noexcept {
  if (table == nullptr || !valid_key(key, key_len)) return -1;
  const found f = find(table, hash_of(table, key, key_len), key, key_len);
  ruvo_xhash_elem_st *e = f.elem;
  if (e == nullptr) return -1;
  chain_unlink(f);
  list_unlink(e);
  --table->count;
  release(table, e);
  return 0;
}

RUVO_API uint32_t ruvo_xhash_count(const ruvo_xhash_st *table) noexcept {
  return table != nullptr ? table->count : 0;
}

RUVO_API uint32_t ruvo_xhash_slotcount(const ruvo_xhash_st *table) noexcept {
  return table != nullptr ? table->nslot : 0;
}

RUVO_API uint32_t ruvo_xhash_maxelem(const ruvo_xhash_st *table) noexcept {
  return table != nullptr ? table->maxelem : 0;
}

RUVO_API void ruvo_xhash_set_nslot(ruvo_xhash_st *table, uint32_t nslot) noexcept {
  if (table == nullptr) return;
  for (int i = 0; i < kGrowingSteps; ++i) {
    if (kSteps[i].nslot > nslot) {
      if (kSteps[i].nslot > table->nslot) rehash(table, kSteps[i].nslot, kSteps[i].maxelem);
      return;
    }
  }
  // Past the steps: the power of two at or above the wanted count, at most
  // 2^31 (the next one does not fit in 32 bits). Such a table stops growing.
  uint32_t pow2 = kSteps[kGrowingSteps - 1].nslot;
  while (pow2 < nslot && pow2 < 0x80000000u) pow2 <<= 1;
  if (pow2 > table->nslot) rehash(table, pow2, kNoGrowth);
}

RUVO_API void ruvo_xhash_slotinfo(const ruvo_xhash_st *table, uint32_t *counts,
                                  int32_t len) noexcept {
  if (table == nullptr || counts == nullptr || len < 1) return;
  for (uint32_t i = 0; i < table->nslot; ++i) {
    const bucket &b = table->slots[i];
    uint32_t chain = b.n;
    if (chain == kCached) {
      for (const ruvo_xhash_elem_st *e = b.elems[kCached - 1]->chain_next; e != nullptr;
           e = e->chain_next) {
        ++chain;
      }
    }
    if (chain < static_cast<uint32_t>(len)) ++counts[chain];
  }
}

RUVO_API ruvo_xhash_elem_st *ruvo_xhash_first(ruvo_xhash_st *table) noexcept {
  if (table == nullptr || table->list.list_next == &table->list) return nullptr;
  return table->list.list_next;
}

RUVO_API ruvo_xhash_elem_st *ruvo_xhash_next(ruvo_xhash_st *table,
                                             ruvo_xhash_elem_st *elem) noexcept {
  if (table == nullptr || elem == nullptr || elem->list_next == &table->list) return nullptr;
  return elem->list_next;
}

RUVO_API int32_t ruvo_xhash_walk(ruvo_xhash_st *table, void *arg, ruvo_xhash_walk_fn fn) noexcept {
  if (table == nullptr || fn == nullptr) return -1;
  for (ruvo_xhash_elem_st *e = table->list.list_next; e != &table->list;) {
    // Read first: fn may delete the element it is given.
    ruvo_xhash_elem_st *next = e->list_next;
    const int32_t r = fn(e->key, e->key_len, e->value, arg);
    if (r != 0) return r;
    e = next;
  }
  return 0;
}

RUVO_API void ruvo_xhash_walk_partial(ruvo_xhash_st *table, ruvo_xhash_cookie_st *cookie,
                                      void *arg, ruvo_xhash_walk_fn fn) noexcept {
  if (table == nullptr || cookie == nullptr || fn == nullptr) return;
  const uint32_t n = round_slots(table->nslot, cookie->percent);
  for (uint32_t i = 0; i < n; ++i) {
    if (cookie->position >= table->nslot) cookie->position = 0;
    for (ruvo_xhash_elem_st *e = chain_head(table->slots[cookie->position]); e != nullptr;) {
      ruvo_xhash_elem_st *next = e->chain_next;
      fn(e->key, e->key_len, e->value, arg);
      e = next;
    }
    ++cookie->position;
  }
}

RUVO_API int32_t ruvo_xhash_walk_partial_no_repeat(ruvo_xhash_st *table,
                                                   ruvo_xhash_cookie_st *cookie, void *arg,
                                                   ruvo_xhash_walk_fn fn) noexcept {
  if (table == nullptr || cookie == nullptr || fn == nullptr) return 0;
  const uint32_t n = round_slots(table->nslot, cookie->percent);
  for (uint32_t i = 0; i < n && cookie->position < table->nslot; ++i) {
    for (ruvo_xhash_elem_st *e = chain_head(table->slots[cookie->position]); e != nullptr;) {
      ruvo_xhash_elem_st *next = e->chain_next;
      // The cookie stays on this slot: the next call does it again.
      if (fn(e->key, e->key_len, e->value, arg) != 0) return 0;
      e = next;
    }
    ++cookie->position;
  }
  // A cookie left past the end by a bigger table counts as a finished pass.
  return cookie->position < table->nslot ? 1 : 0;
}

RUVO_API ruvo_xhash_cookie_st *ruvo_xhash_cookie_create(float percent) noexcept {
  auto *cookie = static_cast<ruvo_xhash_cookie_st *>(ruvo_malloc(sizeof(ruvo_xhash_cookie_st)));
  cookie->percent = percent > 1.0f ? 1.0f : percent;
  cookie->position = 0;
  return cookie;
}

RUVO_API void ruvo_xhash_cookie_destroy(ruvo_xhash_cookie_st *cookie) noexcept {
  std::free(cookie);
}

RUVO_API void ruvo_xhash_cookie_set_percent(ruvo_xhash_cookie_st *cookie, float percent) noexcept {
  if (cookie != nullptr) cookie->percent = percent;
}

// ---- set of keys ----

RUVO_API ruvo_xhash_st *ruvo_hash_set_init(ruvo_xhash_hash_fn hash,
                                           ruvo_xhash_cmp_fn compare) noexcept {
  return ruvo_xhash_create2(nullptr, hash, compare, 0);
}

RUVO_API void ruvo_hash_set_unit(ruvo_xhash_st *set) noexcept { ruvo_xhash_destroy(set); }

RUVO_API void ruvo_hash_set_clear(ruvo_xhash_st *set) noexcept { ruvo_xhash_clear(set); }

RUVO_API void ruvo_hash_set_insert(ruvo_xhash_st *set, const void *key, int32_t key_len) noexcept {
  ruvo_xhash_insert(set, key, key_len, nullptr);
}

RUVO_API int32_t ruvo_hash_set_find(ruvo_xhash_st *set, const void *key, int32_t key_len) noexcept {
  return ruvo_xhash_search(set, key, key_len, nullptr) == 0 ? 1 : 0;
}

RUVO_API int32_t ruvo_hash_set_remove(ruvo_xhash_st *set, const void *key,
                                      int32_t key_len) noexcept {
  return ruvo_xhash_delete(set, key, key_len) == 0 ? 1 : 0;
}

RUVO_API uint32_t ruvo_hash_set_size(const ruvo_xhash_st *set) noexcept {
  return ruvo_xhash_count(set);
}

RUVO_API uint32_t ruvo_hash_set_maxn(const ruvo_xhash_st *set) noexcept {
  return ruvo_xhash_maxelem(set);
}

}  // extern "C"
