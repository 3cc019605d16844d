// Tagged heaps and page blocks, on Win32 heaps, named page-file mappings and
// VirtualAlloc.
//
// The two count tables live in mappings named after the process id, so that
// another process can open them and read the counts. Nothing here takes a
// lock: the table views and the default heap are published by
// compare-and-swap from null, whoever loses a race undoes its own work, and
// entries change only through interlocked operations.
#include <windows.h>
#include <sddl.h>

#include <atomic>
#include <cstdio>
#include <cstring>

#include "memory_impl.hpp"
#include "ruvo/base/memory.h"

using ruvo::detail::heap_mem_tag_index;
using ruvo::detail::kHeapClaimable;
using ruvo::detail::kHeapEntries;
using ruvo::detail::kTagEntries;
using ruvo::detail::kTagOverflow;
using ruvo::detail::kTagSlots;

struct heap_entry {
  volatile LONG tag;    // 0 while free
  volatile LONG count;  // live allocations
};
static_assert(sizeof(heap_entry) == 8);

struct ruvo_heap_mem_st {
  HANDLE heap;       // serves the allocations; the process heap for a fallback record
  heap_entry *slot;  // this heap's entry in the heap table, or null
};

namespace {

// The mapping behind a table, kept for the life of the process.
struct mapping_record {
  HANDLE handle;
  int readonly;
  DWORD size;
  PSECURITY_DESCRIPTOR security_descriptor;
};

// System, administrators and interactive users: whoever may look at this
// process may read its counts.
constexpr char kTableAccess[] = "D:P(A;OICI;GA;;;SY)(A;OICI;GA;;;BA)(A;OICI;GA;;;IU)";

struct count_table {
  const char *name_format;
  DWORD size;
  std::atomic<heap_entry *> view;
  std::atomic<mapping_record *> record;
};

count_table g_heap_table{"Local\\{%08x-39DA-4093-A893-724EC5679339}",
                         kHeapEntries * sizeof(heap_entry), {nullptr}, {nullptr}};
count_table g_tag_table{"Local\\{%08x-505D-3E7A-BB52-2E5690CDA177}",
                        kTagEntries * sizeof(heap_entry), {nullptr}, {nullptr}};

std::atomic<ruvo_heap_mem_st *> g_default_heap{nullptr};

void release_mapping(mapping_record *record, void *view) noexcept {
  if (view != nullptr) ::UnmapViewOfFile(view);
  if (record->handle != nullptr) ::CloseHandle(record->handle);
  if (record->security_descriptor != nullptr) ::LocalFree(record->security_descriptor);
  std::free(record);
}

// Makes sure the table's mapping exists. 0, or the platform's error.
uint32_t make_table(count_table &table) noexcept {
  if (table.view.load() != nullptr) return RUVO_OK;

  char name[64];
  std::snprintf(name, sizeof name, table.name_format,
                static_cast<unsigned>(::GetCurrentProcessId()));
  auto *record = static_cast<mapping_record *>(ruvo_zero_malloc(sizeof(mapping_record)));
  record->size = table.size;
  // A descriptor that cannot be built leaves the mapping with the default one.
  ::ConvertStringSecurityDescriptorToSecurityDescriptorA(
      kTableAccess, SDDL_REVISION_1, &record->security_descriptor, nullptr);
  SECURITY_ATTRIBUTES attributes{sizeof attributes, record->security_descriptor, FALSE};

  record->handle = ::CreateFileMappingA(INVALID_HANDLE_VALUE, &attributes, PAGE_READWRITE, 0,
                                        table.size, name);
  if (record->handle == nullptr) {
    const DWORD error = ::GetLastError();
    release_mapping(record, nullptr);
    return error;
  }
  void *view = ::MapViewOfFile(record->handle, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0);
  if (view == nullptr) {
    const DWORD error = ::GetLastError();
    release_mapping(record, nullptr);
    return error;
  }

  heap_entry *expected = nullptr;
  if (table.view.compare_exchange_strong(expected, static_cast<heap_entry *>(view))) {
    table.record.store(record);
  } else {
    release_mapping(record, view);  // another thread was first; use its table
  }
  return RUVO_OK;
}

uint32_t heap_mem_default(ruvo_heap_mem_st **out) noexcept {
  ruvo_heap_mem_st *current = g_default_heap.load();
  if (current == nullptr) {
    HANDLE heap = ::HeapCreate(0, 0, 0);
    if (heap == nullptr) return ::GetLastError();
    auto *record = static_cast<ruvo_heap_mem_st *>(std::malloc(sizeof(ruvo_heap_mem_st)));
    if (record == nullptr) {
      ::HeapDestroy(heap);
      return RUVO_E_NOMEM;
    }
    const uint32_t status = make_table(g_heap_table);
    if (status != RUVO_OK) {
      ::HeapDestroy(heap);
      std::free(record);
      return status;
    }
    record->heap = heap;
    record->slot = g_heap_table.view.load();  // entry 0, shared with the first named heap
    if (g_default_heap.compare_exchange_strong(current, record)) {
      current = record;
    } else {
      ::HeapDestroy(heap);
      std::free(record);
    }
  }
  *out = current;
  return RUVO_OK;
}

heap_entry *claim_heap_entry(uint32_t tag) noexcept {
  if (make_table(g_heap_table) != RUVO_OK) return nullptr;
  heap_entry *entries = g_heap_table.view.load();
  for (uint32_t i = 0; i < kHeapClaimable; ++i) {
    if (::InterlockedCompareExchange(&entries[i].tag, static_cast<LONG>(tag), 0) == 0) {
      ::InterlockedExchange(&entries[i].count, 0);
      return &entries[i];
    }
  }
  return nullptr;
}

// The entry that counts `tag`, claiming a free one on the way when `claim`.
// Null when the walk meets a free entry without claiming, or comes round.
heap_entry *tag_entry(heap_entry *entries, uint32_t tag, bool claim) noexcept {
  const uint32_t home = heap_mem_tag_index(tag);
  uint32_t i = home;
  do {
    const LONG seen = claim ? ::InterlockedCompareExchange(&entries[i].tag, static_cast<LONG>(tag), 0)
                            : ::InterlockedCompareExchange(&entries[i].tag, 0, 0);
    if (seen == static_cast<LONG>(tag) || (claim && seen == 0)) return &entries[i];
    if (seen == 0) return nullptr;
    i = (i + 1) & (kTagSlots - 1);
  } while (i != home);
  return &entries[kTagOverflow];
}

}  // namespace

extern "C" {

RUVO_API uint32_t ruvo_heap_mem_init(uint32_t tag, ruvo_heap_mem_st **heap) noexcept {
  if (heap == nullptr || tag == 0) return RUVO_E_INVAL;
  HANDLE own = ::HeapCreate(0, 0, 0);
  if (own == nullptr) return ::GetLastError();
  auto *record = static_cast<ruvo_heap_mem_st *>(std::malloc(sizeof(ruvo_heap_mem_st)));
  if (record == nullptr) {
    ::HeapDestroy(own);
    return RUVO_E_NOMEM;
  }
  record->slot = claim_heap_entry(tag);
  if (record->slot != nullptr) {
    record->heap = own;
  } else {
    // No entry to count in: the heap still works, on the process heap.
    ::HeapDestroy(own);
    record->heap = ::GetProcessHeap();
  }
  *heap = record;
  return RUVO_OK;
}

RUVO_API void ruvo_heap_mem_destroy(ruvo_heap_mem_st *heap) noexcept {
  if (heap == nullptr) return;
  if (heap->slot != nullptr) {
    const LONG tag = heap->slot->tag;
    ::InterlockedCompareExchange(&heap->slot->tag, 0, tag);  // the count stays
    ::HeapDestroy(heap->heap);
  }
  heap->heap = nullptr;
  heap->slot = nullptr;
  std::free(heap);
}

RUVO_API void *ruvo_heap_mem_alloc(ruvo_heap_mem_st *heap, uint32_t tag, uint32_t size) noexcept {
  if (size == 0 || tag == 0) return nullptr;
  if (heap == nullptr && heap_mem_default(&heap) != RUVO_OK) return nullptr;
  void *block = ::HeapAlloc(heap->heap, 0, size);
  if (block == nullptr) return nullptr;
  if (heap->slot != nullptr) ::InterlockedIncrement(&heap->slot->count);
  // Without a tag table the allocation stands; it is only not counted.
  if (make_table(g_tag_table) != RUVO_OK) return block;
  ::InterlockedIncrement(&tag_entry(g_tag_table.view.load(), tag, true)->count);
  return block;
}

RUVO_API void ruvo_heap_mem_free(ruvo_heap_mem_st *heap, void *block, uint32_t tag) noexcept {
  if (block == nullptr || tag == 0) return;
  if (heap == nullptr && heap_mem_default(&heap) != RUVO_OK) return;
  ::HeapFree(heap->heap, 0, block);
  if (heap->slot != nullptr) ::InterlockedDecrement(&heap->slot->count);
  heap_entry *entries = g_tag_table.view.load();
  if (entries == nullptr) return;
  if (heap_entry *entry = tag_entry(entries, tag, false)) ::InterlockedDecrement(&entry->count);
}

RUVO_API void *ruvo_virtual_memory_malloc(uint64_t size) noexcept {
  if (size == 0 || size > SIZE_MAX - sizeof(uint64_t)) return nullptr;
  auto *region = static_cast<uint64_t *>(
      ::VirtualAlloc(nullptr, static_cast<SIZE_T>(size + sizeof(uint64_t)), MEM_COMMIT, PAGE_READWRITE));
  if (region == nullptr) return nullptr;
  region[0] = size;
  return region + 1;
}

RUVO_API void *ruvo_virtual_memory_ralloc(void *block, uint64_t size) noexcept {
  if (block == nullptr) return ruvo_virtual_memory_malloc(size);
  uint64_t *region = static_cast<uint64_t *>(block) - 1;
  const uint64_t stored = region[0];
  if (size <= stored) return block;  // never shrinks, not even to 0
  void *grown = ruvo_virtual_memory_malloc(size);
  if (grown != nullptr) std::memcpy(grown, block, static_cast<size_t>(stored));
  ::VirtualFree(region, 0, MEM_RELEASE);
  return grown;
}

RUVO_API uint32_t ruvo_virtual_memory_free(void *block) noexcept {
  if (block == nullptr) return RUVO_E_FAIL;
  uint64_t *region = static_cast<uint64_t *>(block) - 1;
  return ::VirtualFree(region, 0, MEM_RELEASE) ? RUVO_OK : RUVO_E_FAIL;
}

}  // extern "C"
