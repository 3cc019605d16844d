// Tagged heaps and page blocks; the count tables read through their names, as another process
// would. Each case runs in a fresh process, so the tables start empty.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "../../bin/libkelbase/memory_impl.hpp"
#include "ruvo/base/memory.h"

namespace {

using ruvo::detail::heap_mem_tag_index;
using Words = std::vector<uint32_t>;
constexpr uint32_t kFlok = 0x6B6F6C66;  // "flok"
constexpr char kHeaps[] = "39DA-4093-A893-724EC5679339";
constexpr char kTags[] = "505D-3E7A-BB52-2E5690CDA177";

// Tag and count of each entry given, side by side; empty when the table does not exist.
Words read_table(const char *suffix, std::initializer_list<uint32_t> entries) {
  char name[64];
  std::snprintf(name, sizeof name, "Local\\{%08x-%s}", static_cast<unsigned>(::GetCurrentProcessId()), suffix);
  HANDLE mapping = ::OpenFileMappingA(FILE_MAP_READ, FALSE, name);
  if (mapping == nullptr) return {};
  const auto *view = static_cast<const uint32_t *>(::MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
  Words out;
  for (uint32_t i : entries) out.insert(out.end(), {view[2 * i], view[2 * i + 1]});
  ::UnmapViewOfFile(view);
  ::CloseHandle(mapping);
  return out;
}
Words heaps(std::initializer_list<uint32_t> entries) { return read_table(kHeaps, entries); }
Words tags(std::initializer_list<uint32_t> entries) { return read_table(kTags, entries); }

// A zero size or tag makes no table; entry 0 counts the default heap; tag 0 frees nothing.
TEST(TaggedHeap, DefaultHeapCountsInEntryZeroAndTagsAtTheirHome) {
  ruvo_heap_mem_st *heap = nullptr;
  EXPECT_FALSE(ruvo_heap_mem_alloc(nullptr, kFlok, 0) || ruvo_heap_mem_alloc(nullptr, 0, 16));
  EXPECT_TRUE(tags({0}).empty() && heaps({0}).empty());
  EXPECT_EQ(ruvo_heap_mem_init(kFlok, nullptr) + ruvo_heap_mem_init(0, &heap), 2 * RUVO_E_INVAL);
  EXPECT_EQ(heap, nullptr);
  ruvo_heap_mem_destroy(nullptr);
  ruvo_heap_mem_free(nullptr, nullptr, kFlok);

  std::vector<char *> blocks;
  for (int i = 0; i < 5; ++i) blocks.push_back(static_cast<char *>(ruvo_heap_mem_alloc(nullptr, kFlok, 24)));
  EXPECT_EQ(heaps({0}), (Words{0, 5}));
  EXPECT_EQ(tags({258}), (Words{kFlok, 5}));
  ruvo_heap_mem_free(nullptr, blocks[0], 0);
  EXPECT_EQ(heaps({0}), (Words{0, 5}));
  std::memset(blocks[0], 0x5A, 24);  // still ours
  for (char *b : blocks) ruvo_heap_mem_free(nullptr, b, kFlok);
  EXPECT_EQ(heaps({0}), (Words{0, 0}));
  EXPECT_EQ(tags({258}), (Words{kFlok, 0}));
}

// Once all 512 entries are taken, further tags count in the overflow entry.
TEST(TaggedHeap, CollidingTagsSitSideBySideAndLateTagsOverflow) {
  const uint32_t a = 0x41414141, home = heap_mem_tag_index(a), next = (home + 1) % 512;
  uint32_t b = a + 1;
  while (heap_mem_tag_index(b) != home) ++b;
  void *ba = ruvo_heap_mem_alloc(nullptr, a, 8), *bb1 = ruvo_heap_mem_alloc(nullptr, b, 8);
  void *bb2 = ruvo_heap_mem_alloc(nullptr, b, 8);
  EXPECT_EQ(tags({home, next}), (Words{a, 1, b, 2}));
  ruvo_heap_mem_free(nullptr, bb1, b);
  EXPECT_EQ(tags({home, next}), (Words{a, 1, b, 1}));
  ruvo_heap_mem_free(nullptr, ba, a);
  ruvo_heap_mem_free(nullptr, bb2, b);
  EXPECT_EQ(tags({home, next}), (Words{a, 0, b, 0}));

  std::vector<void *> blocks;
  for (uint32_t tag = 1; tag <= 510; ++tag) blocks.push_back(ruvo_heap_mem_alloc(nullptr, tag, 4));
  for (uint32_t i = 0; i < 512; ++i) ASSERT_NE(tags({i})[0], 0u) << i;
  void *late = ruvo_heap_mem_alloc(nullptr, 0xDEADBEEF, 4);
  EXPECT_EQ(tags({512}), (Words{0, 1}));
  ruvo_heap_mem_free(nullptr, late, 0xDEADBEEF);
  EXPECT_EQ(tags({512}), (Words{0, 0}));
  for (uint32_t tag = 1; tag <= 510; ++tag) ruvo_heap_mem_free(nullptr, blocks[tag - 1], tag);
}

// A destroyed heap frees its tag word but leaves the count, reset by the next claim. Entries 0 to
// 254 can be claimed; the next heap's record goes on the process heap, which its destroy leaves.
TEST(TaggedHeap, NamedHeapsClaimEntriesAndTheTwoHundredFiftySixthFallsBack) {
  ruvo_heap_mem_st *heap = nullptr;
  ASSERT_EQ(ruvo_heap_mem_init(kFlok, &heap), RUVO_OK);
  void *a = ruvo_heap_mem_alloc(heap, 7, 100);
  ruvo_heap_mem_alloc(heap, 7, 100);  // goes with the heap
  EXPECT_EQ(heaps({0}), (Words{kFlok, 2}));
  ruvo_heap_mem_free(heap, a, 7);
  EXPECT_EQ(heaps({0}), (Words{kFlok, 1}));
  ruvo_heap_mem_destroy(heap);
  EXPECT_EQ(heaps({0}), (Words{0, 1}));

  std::vector<ruvo_heap_mem_st *> named(255);
  for (uint32_t tag = 1; tag <= 255; ++tag) ASSERT_EQ(ruvo_heap_mem_init(tag, &named[tag - 1]), RUVO_OK);
  EXPECT_EQ(heaps({0}), (Words{1, 0}));
  for (uint32_t i = 1; i < 255; ++i) EXPECT_EQ(heaps({i})[0], i + 1);
  ruvo_heap_mem_st *fallback = nullptr;
  ASSERT_EQ(ruvo_heap_mem_init(1000, &fallback), RUVO_OK);
  EXPECT_EQ(heaps({255})[0], 0u);
  void *block = ruvo_heap_mem_alloc(fallback, 1000, 64);
  EXPECT_TRUE(block != nullptr && ::HeapValidate(::GetProcessHeap(), 0, block));
  ruvo_heap_mem_free(fallback, block, 1000);
  ruvo_heap_mem_destroy(fallback);
  EXPECT_NE(::HeapValidate(::GetProcessHeap(), 0, nullptr), 0);
  for (auto *h : named) ruvo_heap_mem_destroy(h);
  EXPECT_EQ(heaps({0})[0], 0u);
}

uint64_t stored_size(void *block) { return static_cast<uint64_t *>(block)[-1]; }

// Growth that cannot be had releases the old region all the same.
TEST(PageBlocks, CarryTheirSizeAndNeverShrink) {
  EXPECT_FALSE(ruvo_virtual_memory_malloc(0));
  auto *p = static_cast<unsigned char *>(ruvo_virtual_memory_malloc(100));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(stored_size(p), 100u);
  std::memset(p, 0x11, 100);
  for (uint64_t size : {0, 50, 100}) EXPECT_EQ(ruvo_virtual_memory_ralloc(p, size), p) << size;
  EXPECT_EQ(stored_size(p), 100u);
  auto *q = static_cast<unsigned char *>(ruvo_virtual_memory_ralloc(p, 1 << 20));
  ASSERT_NE(q, nullptr);
  EXPECT_EQ(stored_size(q), 1u << 20);
  EXPECT_EQ(std::string(q, q + 101), std::string(100, 0x11) + '\0');  // fresh pages are zero
  EXPECT_EQ(ruvo_virtual_memory_free(q), RUVO_OK);
  EXPECT_EQ(ruvo_virtual_memory_free(nullptr), RUVO_E_FAIL);
  void *r = ruvo_virtual_memory_ralloc(nullptr, 10);
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(stored_size(r), 10u);
  EXPECT_EQ(ruvo_virtual_memory_ralloc(r, UINT64_MAX - 4), nullptr);
  MEMORY_BASIC_INFORMATION info{};
  ASSERT_NE(::VirtualQuery(static_cast<char *>(r) - 8, &info, sizeof info), 0u);
  EXPECT_EQ(info.State, static_cast<DWORD>(MEM_FREE));
}

}  // namespace
