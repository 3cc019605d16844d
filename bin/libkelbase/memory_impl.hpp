// Pieces of the tagged heaps that need no platform: the table geometry and
// the tag hash.
#pragma once

#include <cstdint>

namespace ruvo::detail {

constexpr uint32_t kHeapEntries = 256;     // heap table: 2048 bytes
constexpr uint32_t kHeapClaimable = 255;   // entry 255 is never claimed
constexpr uint32_t kTagSlots = 512;        // open-addressing part of the tag table
constexpr uint32_t kTagOverflow = 512;     // counts every tag that found no slot
constexpr uint32_t kTagEntries = kTagSlots + 1;  // tag table: 4104 bytes

// Home slot of a tag in the tag table. "flok" (0x6B6F6C66) lands at 258.
constexpr uint32_t heap_mem_tag_index(uint32_t tag) noexcept {
  const uint32_t b0 = tag & 0xFFu;
  const uint32_t b1 = (tag >> 8) & 0xFFu;
  const uint32_t b2 = (tag >> 16) & 0xFFu;
  const uint32_t b3 = tag >> 24;
  const uint32_t x = ((((b1 ^ (b0 << 2)) << 2) ^ b2) << 2) ^ b3;
  const int32_t mixed = static_cast<int32_t>(x * static_cast<uint32_t>(-417));
  return static_cast<uint32_t>(mixed >> 2) & (kTagSlots - 1);
}

static_assert(heap_mem_tag_index(0x6B6F6C66u) == 258);

}  // namespace ruvo::detail
