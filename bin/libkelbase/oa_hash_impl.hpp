// bin/libkelbase/oa_hash_impl.hpp - a full consistency check of a Robin Hood
// table, for the tests and the fuzzer. It reads only the public records and
// recomputes every hash with the plain one-byte-a-step loop, so it also
// checks the table's own faster hash.
#pragma once

#include <cstdint>
#include <cstring>

#include "ruvo/base/oa_hash.h"

namespace ruvo::detail {

inline uint32_t oa_reference_hash(const void *key, uint32_t len) noexcept {
  const auto *p = static_cast<const unsigned char *>(key);
  uint32_t h = 5381;
  for (uint32_t i = 0; i < len; ++i) h = h * 33u + p[i];
  return h;
}

// Null when the table is consistent, else what is wrong. Checks: size a
// power of two, load at most one half, count equal to the occupied slots,
// each key copy zero-terminated with its stored hash right, psl equal to the
// distance from home plus one, and the Robin Hood order: an entry away from
// home follows an occupied slot whose psl is at least its own less one (so
// entries of a run lie in the order of their home slots).
inline const char *oa_hash_check(const ruvo_oa_hash_st *t) noexcept {
  if (t == nullptr || t->slots == nullptr || t->values == nullptr) return "missing arrays";
  if (t->size < 8 || (t->size & (t->size - 1)) != 0) return "size is not a power of two >= 8";
  if (t->count > t->size / 2) return "more than half full";
  const uint32_t mask = t->size - 1;
  uint32_t occupied = 0;
  for (uint32_t p = 0; p < t->size; ++p) {
    const ruvo_oa_slot_st &s = t->slots[p];
    if (s.psl == 0) {
      if (s.key != nullptr) return "empty slot keeps a key";
      continue;
    }
    ++occupied;
    if (s.key == nullptr || s.key->len == 0) return "occupied slot without a key";
    if (s.key->data[s.key->len] != '\0') return "key copy not terminated";
    if (oa_reference_hash(s.key->data, s.key->len) != s.hash) return "stored hash is wrong";
    if (s.psl != ((p - (s.hash & mask)) & mask) + 1) return "psl is not the distance from home + 1";
    if (s.psl >= 2) {
      const ruvo_oa_slot_st &before = t->slots[(p - 1) & mask];
      if (before.psl == 0) return "entry away from home after an empty slot";
      if (s.psl > before.psl + 1) return "run out of home order";
    }
  }
  if (occupied != t->count) return "count differs from occupied slots";
  return nullptr;
}

}  // namespace ruvo::detail
