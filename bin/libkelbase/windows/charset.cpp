// Text conversions and process-heap blocks for the portable charset family.
#include <windows.h>

#include "internal/platform.hpp"

namespace ruvo::sys {

int to_wide(unsigned code_page, const char *src, ruvo_wchar_t *dst, int cap) noexcept {
  return ::MultiByteToWideChar(code_page, 0, src, -1, dst, cap);
}

int from_wide(unsigned code_page, const ruvo_wchar_t *src, char *dst, int cap) noexcept {
  return ::WideCharToMultiByte(code_page, 0, src, -1, dst, cap, nullptr, nullptr);
}

void *process_heap_alloc(size_t bytes) noexcept {
  return ::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, bytes);
}

void process_heap_free(void *block) noexcept { ::HeapFree(::GetProcessHeap(), 0, block); }

}  // namespace ruvo::sys
