/**
 * \file
 * ruvo/base/memory.h - allocation: plain wrappers over the C runtime heap,
 * tagged heaps with live-allocation counts that other processes can read,
 * and page-granular blocks that carry their own size.
 *
 * Inside the library this header also holds the checked allocation, which
 * never returns on failure.
 */
#ifndef RUVO_BASE_MEMORY_H
#define RUVO_BASE_MEMORY_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/**@{*/
/** The C runtime heap. Null on failure; ruvo_free_ takes null. */
RUVO_API void *ruvo_malloc_(size_t size) RUVO_NOEXCEPT;
RUVO_API void *ruvo_zero_malloc_(size_t size) RUVO_NOEXCEPT;
RUVO_API void *ruvo_ralloc_(void *block, size_t size) RUVO_NOEXCEPT;
RUVO_API void ruvo_free_(void *block) RUVO_NOEXCEPT;
/**@}*/

#if defined(_WIN32)

/** A tagged heap: a private platform heap whose live allocations are counted
 * in the per-process table `Local\{<pid>-39DA-4093-A893-724EC5679339}`, while
 * every allocation is also counted per tag in the table
 * `Local\{<pid>-505D-3E7A-BB52-2E5690CDA177}`. Each table entry is two 32-bit
 * words, tag then count. Free with ruvo_heap_mem_destroy. */
typedef struct ruvo_heap_mem_st ruvo_heap_mem_st;

/** Makes a heap for `tag` (non-zero) and stores it in *heap. Returns 0, or
 * RUVO_E_INVAL, RUVO_E_NOMEM or the platform's error. When all 255 named
 * entries are taken the heap is the process heap and counts nothing per heap;
 * that is still 0. */
RUVO_API uint32_t ruvo_heap_mem_init(uint32_t tag, ruvo_heap_mem_st **heap) RUVO_NOEXCEPT;

/** Destroys a heap from ruvo_heap_mem_init, and every block still in it.
 * Null does nothing. */
RUVO_API void ruvo_heap_mem_destroy(ruvo_heap_mem_st *heap) RUVO_NOEXCEPT;

/** A block of `size` bytes counted under `tag`. A null heap is the process's
 * default tagged heap. Null for a size or tag of 0 and on failure. */
RUVO_API void *ruvo_heap_mem_alloc(ruvo_heap_mem_st *heap, uint32_t tag, uint32_t size) RUVO_NOEXCEPT;

/** Frees a block of ruvo_heap_mem_alloc, given the heap and tag it was
 * allocated with. A tag of 0 frees nothing. */
RUVO_API void ruvo_heap_mem_free(ruvo_heap_mem_st *heap, void *block, uint32_t tag) RUVO_NOEXCEPT;

/** Committed pages behind an 8-byte size header. Null for a size of 0. */
RUVO_API void *ruvo_virtual_memory_malloc(uint64_t size) RUVO_NOEXCEPT;

/** Grows a page block: the same block when `size` is not larger than its
 * stored size (it never shrinks), else a new block with the old bytes. On
 * failure the old block is released all the same and the result is null.
 * A null block acts as ruvo_virtual_memory_malloc. */
RUVO_API void *ruvo_virtual_memory_ralloc(void *block, uint64_t size) RUVO_NOEXCEPT;

/** 0, or RUVO_E_FAIL for null or when the pages cannot be released. */
RUVO_API uint32_t ruvo_virtual_memory_free(void *block) RUVO_NOEXCEPT;

#endif /* _WIN32 */

RUVO_END_DECLS

#if defined(RUVO_BASE_INTERNAL) && defined(__cplusplus)
/* Checked allocation, for the library's own sources. These never return
 * null: on failure they write a [fatal] "Out of memory" record and end the
 * process with status 0. Sizes are 32-bit signed and widened with their sign,
 * so a negative size is an impossible request, not a small one. */
#include <cstdlib>
#include <cstring>

#include "internal/log.hpp"

[[noreturn]] static inline void ruvo_out_of_memory() noexcept {
  RUVO_LOG(RUVO_LOG_ERROR, "fatal", "Out of memory\n");
  std::exit(0);
}

static inline size_t ruvo_checked_size(int32_t size) noexcept {
  return static_cast<size_t>(static_cast<intptr_t>(size));
}

static inline void *ruvo_malloc(int32_t size) noexcept {
  void *block = std::malloc(ruvo_checked_size(size));
  if (block == nullptr) ruvo_out_of_memory();
  return block;
}

static inline void *ruvo_zero_malloc(int32_t size) noexcept {
  void *block = ruvo_malloc(size);
  std::memset(block, 0, ruvo_checked_size(size));
  return block;
}

static inline void *ruvo_ralloc(void *block, int32_t size) noexcept {
  void *grown = std::realloc(block, ruvo_checked_size(size));
  if (grown == nullptr) ruvo_out_of_memory();
  return grown;
}

static inline char *ruvo_xstrdup(const char *text) noexcept {
  const size_t n = std::strlen(text) + 1;
  char *copy = static_cast<char *>(std::malloc(n));
  if (copy == nullptr) ruvo_out_of_memory();
  std::memcpy(copy, text, n);
  return copy;
}
#endif

#endif /* RUVO_BASE_MEMORY_H */
