// Robin Hood hash: open addressing with linear probing, where an entry that
// has come further from home displaces one that has come less far, and
// deletion shifts the run behind it back by one. Slots carry the full hash,
// so probing compares key bytes only when the hashes agree and growth never
// touches a key.
#include "ruvo/base/oa_hash.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "ruvo/base/memory.h"

namespace {

constexpr uint32_t kInitialSize = 8;
constexpr uint32_t kMaxSize = 0x80000000u;  // the largest power of two in a u32

// h = h * 33 + byte from 5381, four bytes a step: folding 33^4, 33^3, 33^2
// and 33 into one expression shortens the dependency chain on h.
inline uint32_t oa_hash_bytes(const unsigned char *p, uint32_t len) noexcept {
  uint32_t h = 5381;
  uint32_t i = 0;
  for (; i + 4 <= len; i += 4) {
    h = h * 1185921u + uint32_t{p[i]} * 35937u + uint32_t{p[i + 1]} * 1089u +
        uint32_t{p[i + 2]} * 33u + uint32_t{p[i + 3]};
  }
  for (; i < len; ++i) h = h * 33u + p[i];
  return h;
}

// Short keys are compared as two overlapping words each instead of through
// a call to memcmp; the length test comes first and the bytes after it
// share the key copy's cache line.
inline bool key_equals(const ruvo_oa_key_st *k, const void *key, uint32_t len) noexcept {
  if (k->len != len) return false;
  const char *a = k->data;
  const char *b = static_cast<const char *>(key);
  if (len >= 8 && len <= 16) {
    uint64_t a0, a1, b0, b1;
    std::memcpy(&a0, a, 8);
    std::memcpy(&b0, b, 8);
    std::memcpy(&a1, a + len - 8, 8);
    std::memcpy(&b1, b + len - 8, 8);
    return ((a0 ^ b0) | (a1 ^ b1)) == 0;
  }
  if (len >= 4 && len < 8) {
    uint32_t a0, a1, b0, b1;
    std::memcpy(&a0, a, 4);
    std::memcpy(&b0, b, 4);
    std::memcpy(&a1, a + len - 4, 4);
    std::memcpy(&b1, b + len - 4, 4);
    return ((a0 ^ b0) | (a1 ^ b1)) == 0;
  }
  return std::memcmp(a, b, len) == 0;
}

// Index of the slot holding the key, or -1. The walk ends at an empty slot
// or at a resident nearer home than the probe, since by the Robin Hood
// order the key would have displaced it. When a slot's hash agrees, its
// value's line is requested at once, so that that cache miss overlaps the
// one on the key copy: a 32-bit hash match is nearly always the key.
int64_t ruvo_oa_hash_find(const ruvo_oa_hash_st *t, const void *key, uint32_t len) noexcept {
  const uint32_t h = oa_hash_bytes(static_cast<const unsigned char *>(key), len);
  const uint32_t mask = t->size - 1;
  const uint32_t home = h & mask;
  uint32_t i = home;
  uint32_t probe = 1;
  const ruvo_oa_slot_st *slots = t->slots;
  for (;;) {
    const ruvo_oa_slot_st &s = slots[i];
    if (s.psl < probe) return -1;  // also the empty slot, psl 0
    if (s.hash == h) {
      __builtin_prefetch(&t->values[i]);
      if (key_equals(s.key, key, len)) return i;
    }
    i = (i + 1) & mask;
    ++probe;
    if (i == home) return -1;
  }
}

// Robin Hood placement from slot i of the carried entry, whose psl is its
// probe count at i. Requires: an empty slot exists.
inline void place(ruvo_oa_slot_st *slots, uint64_t *values, uint32_t mask, uint32_t i,
                  ruvo_oa_slot_st carried, uint64_t value) noexcept {
  while (slots[i].psl != 0) {
    // Strictly below: an equal psl keeps the resident where it is.
    if (slots[i].psl < carried.psl) {
      const ruvo_oa_slot_st s = slots[i];
      slots[i] = carried;
      carried = s;
      const uint64_t v = values[i];
      values[i] = value;
      value = v;
    }
    i = (i + 1) & mask;
    ++carried.psl;
  }
  slots[i] = carried;
  values[i] = value;
}

// Rehashes every entry into the new arrays from their stored hashes, taking
// the old slots in index order, and frees the old arrays.
void move_to(ruvo_oa_hash_st *t, ruvo_oa_slot_st *slots, uint64_t *values,
             uint32_t size) noexcept {
  const uint32_t mask = size - 1;
  for (uint32_t j = 0; j < t->size; ++j) {
    const ruvo_oa_slot_st &s = t->slots[j];
    if (s.psl == 0) continue;
    place(slots, values, mask, s.hash & mask, ruvo_oa_slot_st{1, s.hash, s.key}, t->values[j]);
  }
  ruvo_free_(t->slots);
  ruvo_free_(t->values);
  t->slots = slots;
  t->values = values;
  t->size = size;
}

}  // namespace

extern "C" {

RUVO_API ruvo_oa_hash_st *ruvo_oa_hash_create(ruvo_oa_destroy_fn destroy) noexcept {
  auto *t = static_cast<ruvo_oa_hash_st *>(ruvo_malloc_(sizeof(ruvo_oa_hash_st)));
  if (t == nullptr) return nullptr;
  t->slots = static_cast<ruvo_oa_slot_st *>(
      ruvo_zero_malloc_(kInitialSize * sizeof(ruvo_oa_slot_st)));
  t->values = static_cast<uint64_t *>(ruvo_zero_malloc_(kInitialSize * sizeof(uint64_t)));
  if (t->slots == nullptr || t->values == nullptr) {
    ruvo_free_(t->slots);
    ruvo_free_(t->values);
    ruvo_free_(t);
    return nullptr;
  }
  t->count = 0;
  t->size = kInitialSize;
  t->destroy = destroy;
  return t;
}

RUVO_API void ruvo_oa_hash_destroy(ruvo_oa_hash_st *table) noexcept {
  if (table == nullptr) return;
  ruvo_oa_hash_clear(table);
  ruvo_free_(table->slots);
  ruvo_free_(table->values);
  ruvo_free_(table);
}

RUVO_API void ruvo_oa_hash_clear(ruvo_oa_hash_st *table) noexcept {
  if (table == nullptr || table->count == 0) return;
  for (uint32_t i = 0; i < table->size; ++i) {
    ruvo_oa_slot_st &s = table->slots[i];
    if (s.psl == 0) continue;
    ruvo_free_(s.key);
    s = ruvo_oa_slot_st{0, 0, nullptr};
    if (table->destroy != nullptr) table->destroy(table->values[i]);
    table->values[i] = 0;
  }
  table->count = 0;
}

RUVO_API int32_t ruvo_oa_hash_insert(ruvo_oa_hash_st *table, const void *key, uint32_t len,
                                     uint64_t value) noexcept {
  if (table == nullptr || key == nullptr || len == 0) return -1;

  const uint32_t h = oa_hash_bytes(static_cast<const unsigned char *>(key), len);
  const uint32_t mask = table->size - 1;
  ruvo_oa_slot_st *slots = table->slots;

  // Walk to the key or to where it belongs: the first empty slot or the
  // first resident nearer home than the probe. By the Robin Hood order the
  // key cannot lie beyond that point, so an existing key is found before
  // anything moves.
  uint32_t i = h & mask;
  uint32_t probe = 1;
  for (;; i = (i + 1) & mask, ++probe) {
    const ruvo_oa_slot_st &s = slots[i];
    if (s.psl < probe) break;
    if (s.hash == h && key_equals(s.key, key, len)) {
      if (table->destroy != nullptr) table->destroy(table->values[i]);
      table->values[i] = value;
      return 1;
    }
  }

  // A new key. Everything it needs is allocated before the table changes,
  // so running out of memory leaves the table as it was.
  if constexpr (sizeof(size_t) < sizeof(uint64_t)) {
    if (uint64_t{len} + sizeof(ruvo_oa_key_st) + 1 > SIZE_MAX) return -1;
  }
  const bool grow = table->count + 1 > table->size / 2;
  if (grow && table->size >= kMaxSize) return -1;

  auto *copy = static_cast<ruvo_oa_key_st *>(ruvo_malloc_(sizeof(ruvo_oa_key_st) + len + 1));
  if (copy == nullptr) return -1;
  copy->len = len;
  std::memcpy(copy->data, key, len);
  copy->data[len] = '\0';

  ruvo_oa_slot_st *new_slots = nullptr;
  uint64_t *new_values = nullptr;
  const uint32_t new_size = table->size * 2;
  if (grow) {
    new_slots = static_cast<ruvo_oa_slot_st *>(
        ruvo_zero_malloc_(size_t{new_size} * sizeof(ruvo_oa_slot_st)));
    new_values = static_cast<uint64_t *>(ruvo_zero_malloc_(size_t{new_size} * sizeof(uint64_t)));
    if (new_slots == nullptr || new_values == nullptr) {
      ruvo_free_(new_slots);
      ruvo_free_(new_values);
      ruvo_free_(copy);
      return -1;
    }
  }

  place(slots, table->values, mask, i, ruvo_oa_slot_st{probe, h, copy}, value);
  ++table->count;
  if (grow) move_to(table, new_slots, new_values, new_size);
  return 0;
}

RUVO_API int32_t ruvo_oa_hash_search(const ruvo_oa_hash_st *table, const void *key,
                                     uint32_t len, uint64_t *value) noexcept {
  if (table == nullptr || key == nullptr || len == 0) return -1;
  const int64_t i = ruvo_oa_hash_find(table, key, len);
  if (i < 0) return -1;
  if (value != nullptr) *value = table->values[i];
  return 0;
}

RUVO_API int32_t ruvo_oa_hash_delete(ruvo_oa_hash_st *table, const void *key,
                                     uint32_t len) noexcept {
  if (table == nullptr || key == nullptr || len == 0) return -1;
  const int64_t found = ruvo_oa_hash_find(table, key, len);
  if (found < 0) return -1;

  auto i = static_cast<uint32_t>(found);
  ruvo_oa_slot_st *slots = table->slots;
  uint64_t *values = table->values;
  if (table->destroy != nullptr) table->destroy(values[i]);
  ruvo_free_(slots[i].key);
  slots[i] = ruvo_oa_slot_st{0, 0, nullptr};
  --table->count;

  // Backward shift: pull each following entry that is away from home one
  // slot nearer, until an empty slot or an entry already at home.
  const uint32_t mask = table->size - 1;
  for (uint32_t next = (i + 1) & mask; slots[next].psl >= 2; next = (next + 1) & mask) {
    slots[i] = slots[next];
    --slots[i].psl;
    values[i] = values[next];
    slots[next] = ruvo_oa_slot_st{0, 0, nullptr};
    i = next;
  }
  return 0;
}

RUVO_API void ruvo_oa_hash_traverse(const ruvo_oa_hash_st *table, ruvo_oa_traverse_fn fn,
                                    void *arg) noexcept {
  if (table == nullptr || fn == nullptr || table->count == 0) return;
  for (uint32_t i = 0; i < table->size; ++i) {
    const ruvo_oa_slot_st &s = table->slots[i];
    if (s.psl == 0) continue;
    if (fn(s.key->data, s.key->len, table->values[i], arg) != 0) return;
  }
}

RUVO_API uint32_t ruvo_oa_hash_count(const ruvo_oa_hash_st *table) noexcept {
  return table == nullptr ? 0 : table->count;
}

RUVO_API uint32_t ruvo_oa_hash_size(const ruvo_oa_hash_st *table) noexcept {
  return table == nullptr ? 0 : table->size;
}

RUVO_API void ruvo_oa_hash_psl_dbg(const ruvo_oa_hash_st *table) noexcept {
  if (table == nullptr) return;
  uint32_t highest = 0;
  for (uint32_t i = 0; i < table->size; ++i) {
    if (table->slots[i].psl > highest) highest = table->slots[i].psl;
  }
  // The highest psl stays small under the half load, so a counting pass
  // per value costs little, and a debug print allocates nothing.
  for (uint32_t n = 0; highest != 0 && n <= highest; ++n) {
    uint32_t slots = 0;
    for (uint32_t i = 0; i < table->size; ++i) slots += table->slots[i].psl == n ? 1 : 0;
    std::printf("PSL %d: %u\n", static_cast<int>(n), static_cast<unsigned>(slots));
  }
  std::fflush(stdout);
}

}  // extern "C"
