// Tagged heaps and page blocks on real Win32 heaps and mappings. The count
// tables are read back through their names, as another process would, and
// once from a child process. Each case runs in a fresh process, so the
// tables start empty.
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "../../bin/libkelbase/memory_impl.hpp"
#include "ruvo/base/memory.h"
#include "support/support.hpp"

namespace {

using ruvo::detail::heap_mem_tag_index;

constexpr uint32_t kFlok = 0x6B6F6C66;  // "flok"

struct entry {
  uint32_t tag;
  uint32_t count;
};

std::string table_name(const char *suffix, DWORD pid) {
  char name[64];
  std::snprintf(name, sizeof name, "Local\\{%08x-%s}", static_cast<unsigned>(pid), suffix);
  return name;
}
const char kHeapSuffix[] = "39DA-4093-A893-724EC5679339";
const char kTagSuffix[] = "505D-3E7A-BB52-2E5690CDA177";

// A read-only view of one of a process's count tables, opened by name.
class table_view {
 public:
  table_view(const char *suffix, DWORD pid = ::GetCurrentProcessId()) {
    mapping_ = ::OpenFileMappingA(FILE_MAP_READ, FALSE, table_name(suffix, pid).c_str());
    if (mapping_ != nullptr) {
      view_ = static_cast<const entry *>(::MapViewOfFile(mapping_, FILE_MAP_READ, 0, 0, 0));
    }
  }
  ~table_view() {
    if (view_ != nullptr) ::UnmapViewOfFile(view_);
    if (mapping_ != nullptr) ::CloseHandle(mapping_);
  }
  bool open() const { return view_ != nullptr; }
  const entry &operator[](size_t i) const { return view_[i]; }

 private:
  HANDLE mapping_ = nullptr;
  const entry *view_ = nullptr;
};

// Two tags with the same home slot.
std::pair<uint32_t, uint32_t> colliding_tags() {
  const uint32_t first = 0x41414141;
  for (uint32_t t = first + 1;; ++t) {
    if (heap_mem_tag_index(t) == heap_mem_tag_index(first)) return {first, t};
  }
}

TEST(TaggedHeap, ZeroSizeOrTagAllocatesNothingAndMakesNoTable) {
  EXPECT_EQ(ruvo_heap_mem_alloc(nullptr, kFlok, 0), nullptr);
  EXPECT_EQ(ruvo_heap_mem_alloc(nullptr, 0, 16), nullptr);
  EXPECT_FALSE(table_view(kTagSuffix).open());
  EXPECT_FALSE(table_view(kHeapSuffix).open());
  EXPECT_EQ(ruvo_heap_mem_init(kFlok, nullptr), RUVO_E_INVAL);
  ruvo_heap_mem_st *heap = nullptr;
  EXPECT_EQ(ruvo_heap_mem_init(0, &heap), RUVO_E_INVAL);
  EXPECT_EQ(heap, nullptr);
  ruvo_heap_mem_destroy(nullptr);
  ruvo_heap_mem_free(nullptr, nullptr, kFlok);
}

TEST(TaggedHeap, DefaultHeapCountsInEntryZeroAndTagsAtTheirHome) {
  std::vector<void *> blocks;
  for (int i = 0; i < 5; ++i) blocks.push_back(ruvo_heap_mem_alloc(nullptr, kFlok, 24));
  table_view heaps(kHeapSuffix), tags(kTagSuffix);
  ASSERT_TRUE(heaps.open());
  ASSERT_TRUE(tags.open());
  EXPECT_EQ(heaps[0].tag, 0u);  // shared with the first named heap, unclaimed so far
  EXPECT_EQ(heaps[0].count, 5u);
  EXPECT_EQ(tags[258].tag, kFlok);
  EXPECT_EQ(tags[258].count, 5u);
  for (void *b : blocks) ruvo_heap_mem_free(nullptr, b, kFlok);
  EXPECT_EQ(heaps[0].count, 0u);
  EXPECT_EQ(tags[258].tag, kFlok);  // a tag keeps its entry for good
  EXPECT_EQ(tags[258].count, 0u);
}

TEST(TaggedHeap, FreeWithTagZeroLeavesTheBlockAllocated) {
  auto *block = static_cast<char *>(ruvo_heap_mem_alloc(nullptr, kFlok, 32));
  ASSERT_NE(block, nullptr);
  ruvo_heap_mem_free(nullptr, block, 0);
  table_view tags(kTagSuffix);
  EXPECT_EQ(tags[258].count, 1u);
  std::memset(block, 0x5A, 32);  // still ours
  ruvo_heap_mem_free(nullptr, block, kFlok);
  EXPECT_EQ(tags[258].count, 0u);
}

TEST(TaggedHeap, CollidingTagsSitSideBySideAndAreFoundAgain) {
  const auto [a, b] = colliding_tags();
  const uint32_t home = heap_mem_tag_index(a);
  void *ba = ruvo_heap_mem_alloc(nullptr, a, 8);
  void *bb1 = ruvo_heap_mem_alloc(nullptr, b, 8);
  void *bb2 = ruvo_heap_mem_alloc(nullptr, b, 8);
  table_view tags(kTagSuffix);
  EXPECT_EQ(tags[home].tag, a);
  EXPECT_EQ(tags[(home + 1) % 512].tag, b);
  EXPECT_EQ(tags[(home + 1) % 512].count, 2u);
  ruvo_heap_mem_free(nullptr, bb1, b);
  EXPECT_EQ(tags[(home + 1) % 512].count, 1u);
  EXPECT_EQ(tags[home].count, 1u);
  ruvo_heap_mem_free(nullptr, ba, a);
  ruvo_heap_mem_free(nullptr, bb2, b);
  EXPECT_EQ(tags[(home + 1) % 512].count, 0u);
}

TEST(TaggedHeap, TagsBeyondTheTableCountInTheOverflowEntry) {
  std::vector<void *> blocks;
  for (uint32_t tag = 1; tag <= 512; ++tag) blocks.push_back(ruvo_heap_mem_alloc(nullptr, tag, 4));
  table_view tags(kTagSuffix);
  for (uint32_t i = 0; i < 512; ++i) ASSERT_NE(tags[i].tag, 0u) << i;
  const uint32_t late = 0xDEADBEEF;
  void *x = ruvo_heap_mem_alloc(nullptr, late, 4);
  void *y = ruvo_heap_mem_alloc(nullptr, late, 4);
  EXPECT_EQ(tags[512].tag, 0u);
  EXPECT_EQ(tags[512].count, 2u);
  ruvo_heap_mem_free(nullptr, x, late);
  EXPECT_EQ(tags[512].count, 1u);
  ruvo_heap_mem_free(nullptr, y, late);
  EXPECT_EQ(tags[512].count, 0u);
  for (uint32_t tag = 1; tag <= 512; ++tag) ruvo_heap_mem_free(nullptr, blocks[tag - 1], tag);
}

TEST(TaggedHeap, NamedHeapClaimsAnEntryAndDestroyKeepsTheCount) {
  ruvo_heap_mem_st *heap = nullptr;
  ASSERT_EQ(ruvo_heap_mem_init(kFlok, &heap), RUVO_OK);
  ASSERT_NE(heap, nullptr);
  table_view heaps(kHeapSuffix);
  ASSERT_TRUE(heaps.open());
  EXPECT_EQ(heaps[0].tag, kFlok);  // the first named heap takes entry 0
  void *a = ruvo_heap_mem_alloc(heap, 7, 100);
  void *b = ruvo_heap_mem_alloc(heap, 7, 100);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(heaps[0].count, 2u);
  ruvo_heap_mem_free(heap, a, 7);
  EXPECT_EQ(heaps[0].count, 1u);
  ruvo_heap_mem_destroy(heap);  // takes b with it
  (void)b;
  EXPECT_EQ(heaps[0].tag, 0u);
  EXPECT_EQ(heaps[0].count, 1u);
  ruvo_heap_mem_st *again = nullptr;
  ASSERT_EQ(ruvo_heap_mem_init(9, &again), RUVO_OK);
  EXPECT_EQ(heaps[0].tag, 9u);  // entry 0 is claimed again, its count reset
  EXPECT_EQ(heaps[0].count, 0u);
  ruvo_heap_mem_destroy(again);
}

TEST(TaggedHeap, TheTwoHundredFiftySixthNamedHeapFallsBackToTheProcessHeap) {
  std::vector<ruvo_heap_mem_st *> heaps;
  for (uint32_t tag = 1; tag <= 255; ++tag) {
    ruvo_heap_mem_st *heap = nullptr;
    ASSERT_EQ(ruvo_heap_mem_init(tag, &heap), RUVO_OK);
    heaps.push_back(heap);
  }
  table_view table(kHeapSuffix);
  for (uint32_t i = 0; i < 255; ++i) EXPECT_EQ(table[i].tag, i + 1);
  ruvo_heap_mem_st *fallback = nullptr;
  ASSERT_EQ(ruvo_heap_mem_init(1000, &fallback), RUVO_OK);
  ASSERT_NE(fallback, nullptr);
  EXPECT_EQ(table[255].tag, 0u);  // never claimed
  auto *block = static_cast<char *>(ruvo_heap_mem_alloc(fallback, 1000, 64));
  ASSERT_NE(block, nullptr);
  EXPECT_NE(::HeapValidate(::GetProcessHeap(), 0, block), 0);
  ruvo_heap_mem_free(fallback, block, 1000);
  ruvo_heap_mem_destroy(fallback);  // leaves the process heap alone
  EXPECT_NE(::HeapValidate(::GetProcessHeap(), 0, nullptr), 0);
  for (auto *heap : heaps) ruvo_heap_mem_destroy(heap);
  EXPECT_EQ(table[0].tag, 0u);
}

TEST(TaggedHeap, CountsHoldUnderConcurrentThreads) {
  ruvo_heap_mem_st *heap = nullptr;
  ASSERT_EQ(ruvo_heap_mem_init(kFlok, &heap), RUVO_OK);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([heap, t] {
      for (int i = 0; i < 2000; ++i) {
        void *block = ruvo_heap_mem_alloc(i % 2 ? heap : nullptr, 100 + (i % 5), 16 + t);
        ruvo_heap_mem_free(i % 2 ? heap : nullptr, block, 100 + (i % 5));
      }
    });
  }
  for (auto &th : threads) th.join();
  table_view heaps(kHeapSuffix), tags(kTagSuffix);
  EXPECT_EQ(heaps[0].count, 0u);
  for (uint32_t tag = 100; tag < 105; ++tag) {
    const entry &e = tags[heap_mem_tag_index(tag)];
    EXPECT_EQ(e.tag, tag);
    EXPECT_EQ(e.count, 0u);
  }
  ruvo_heap_mem_destroy(heap);
}

// The child opens the parent's tables by name and prints what it reads.
int read_parent_tables(const std::vector<std::string> &args) {
  const DWORD pid = static_cast<DWORD>(std::stoul(args.at(0)));
  table_view heaps(kHeapSuffix, pid), tags(kTagSuffix, pid);
  if (!heaps.open() || !tags.open()) return 2;
  std::printf("%u %u %u %u\n", heaps[0].tag, heaps[0].count, tags[258].tag, tags[258].count);
  return 0;
}
const bool registered = ruvo_test::register_child("read-tables", &read_parent_tables);

TEST(TaggedHeap, AnotherProcessReadsTheCountsByName) {
  ruvo_heap_mem_st *heap = nullptr;
  ASSERT_EQ(ruvo_heap_mem_init(0x1234, &heap), RUVO_OK);
  std::vector<void *> blocks;
  for (int i = 0; i < 3; ++i) blocks.push_back(ruvo_heap_mem_alloc(heap, kFlok, 10));
  std::string out;
  ASSERT_EQ(ruvo_test::run_child("read-tables", {std::to_string(::GetCurrentProcessId())}, &out), 0);
  unsigned heap_tag = 0, heap_count = 0, tag = 0, tag_count = 0;
  ASSERT_EQ(std::sscanf(out.c_str(), "%u %u %u %u", &heap_tag, &heap_count, &tag, &tag_count), 4)
      << out;
  EXPECT_EQ(heap_tag, 0x1234u);
  EXPECT_EQ(heap_count, 3u);
  EXPECT_EQ(tag, kFlok);
  EXPECT_EQ(tag_count, 3u);
  for (void *b : blocks) ruvo_heap_mem_free(heap, b, kFlok);
  ruvo_heap_mem_destroy(heap);
}

uint64_t stored_size(void *block) { return static_cast<uint64_t *>(block)[-1]; }

TEST(PageBlocks, CarryTheirSizeAndNeverShrink) {
  EXPECT_EQ(ruvo_virtual_memory_malloc(0), nullptr);
  auto *p = static_cast<unsigned char *>(ruvo_virtual_memory_malloc(100));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(stored_size(p), 100u);
  std::memset(p, 0x11, 100);
  EXPECT_EQ(ruvo_virtual_memory_ralloc(p, 0), p);
  EXPECT_EQ(ruvo_virtual_memory_ralloc(p, 50), p);
  EXPECT_EQ(stored_size(p), 100u);
  auto *q = static_cast<unsigned char *>(ruvo_virtual_memory_ralloc(p, 1 << 20));
  ASSERT_NE(q, nullptr);
  EXPECT_EQ(stored_size(q), 1u << 20);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(q[i], 0x11);
  EXPECT_EQ(q[100], 0);  // fresh pages are zero
  EXPECT_EQ(ruvo_virtual_memory_free(q), RUVO_OK);
  EXPECT_EQ(ruvo_virtual_memory_free(nullptr), RUVO_E_FAIL);
  void *r = ruvo_virtual_memory_ralloc(nullptr, 10);
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(stored_size(r), 10u);
  EXPECT_EQ(ruvo_virtual_memory_free(r), RUVO_OK);
}

TEST(PageBlocks, ImpossibleGrowthReleasesTheOldBlock) {
  void *p = ruvo_virtual_memory_malloc(4096);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(ruvo_virtual_memory_ralloc(p, UINT64_MAX - 4), nullptr);
  MEMORY_BASIC_INFORMATION info{};
  ASSERT_NE(::VirtualQuery(static_cast<char *>(p) - 8, &info, sizeof info), 0u);
  EXPECT_EQ(info.State, static_cast<DWORD>(MEM_FREE));
}

}  // namespace
