// Bodies shared by the narrow (char) and wide (16-bit unit) string
// primitives. Each template serves one twin pair. The narrow instance hands
// the work to the C library wherever the C library has the operation, since
// glibc's and the Windows runtime's versions are vectorised; the wide
// instance walks the units itself, because the platform's own wide functions
// work on 32-bit units on Linux.
//
// Every function here requires non-null pointers: the exports check first.
#pragma once

#include <cctype>
#include <cstddef>
#include <cstring>
#include <cwctype>
#include <type_traits>

namespace ruvo::detail {

template <class C>
inline constexpr bool is_narrow = std::is_same_v<C, char>;

// A unit as an unsigned number: bytes compare as unsigned, and the wide
// unit types are unsigned already.
template <class C>
constexpr unsigned unit_value(C c) noexcept {
  if constexpr (is_narrow<C>) {
    return static_cast<unsigned char>(c);
  } else {
    return static_cast<unsigned>(c) & 0xFFFFu;
  }
}

// Folding for the case-blind searches: the runtime's tolower for bytes (the
// process locale decides), the 26 ASCII letters only for wide units.
template <class C>
inline unsigned search_fold(C c) noexcept {
  const unsigned u = unit_value(c);
  if constexpr (is_narrow<C>) {
    return static_cast<unsigned>(std::tolower(static_cast<int>(u)));
  } else {
    return (u >= 'A' && u <= 'Z') ? u + 32 : u;
  }
}

// Folding for the case-blind comparisons: what the runtime's _stricmp and
// _wcsicmp do, lower case by tolower and towlower on both sides.
template <class C>
inline int compare_fold(C c) noexcept {
  const unsigned u = unit_value(c);
  if constexpr (is_narrow<C>) {
    return std::tolower(static_cast<int>(u));
  } else {
    return static_cast<int>(std::towlower(static_cast<std::wint_t>(u)));
  }
}

struct exact {
  template <class C>
  static bool same(C a, C b) noexcept { return a == b; }
};

struct blind {
  template <class C>
  static bool same(C a, C b) noexcept { return a == b || search_fold(a) == search_fold(b); }
};

// ---- lengths ----

template <class C>
size_t len_t(const C *text) noexcept {
  if constexpr (is_narrow<C>) {
    return std::strlen(text);
  } else {
    const C *p = text;
    while (*p != C(0)) ++p;
    return static_cast<size_t>(p - text);
  }
}

template <class C>
size_t nlen_t(const C *text, size_t limit) noexcept {
  if constexpr (is_narrow<C>) {
    return ::strnlen(text, limit);
  } else {
    size_t n = 0;
    while (n < limit && text[n] != C(0)) ++n;
    return n;
  }
}

// ---- comparison ----

// -1, 0 or 1 on unsigned units.
template <class C>
int cmp_t(const C *a, const C *b) noexcept {
  if constexpr (is_narrow<C>) {
    // strcmp compares as unsigned char already; only the size of the
    // result is normalised.
    const int r = std::strcmp(a, b);
    return (r > 0) - (r < 0);
  } else {
    for (;; ++a, ++b) {
      const unsigned x = unit_value(*a);
      const unsigned y = unit_value(*b);
      if (x != y) return x < y ? -1 : 1;
      if (x == 0) return 0;
    }
  }
}

// Narrow: strncmp's own result. Wide: the unit difference at the first
// mismatch; the same pointer is equal to itself without a read.
template <class C>
int ncmp_t(const C *a, const C *b, size_t limit) noexcept {
  if constexpr (is_narrow<C>) {
    return std::strncmp(a, b, limit);
  } else {
    if (a == b) return 0;
    for (size_t i = 0; i < limit; ++i) {
      const unsigned x = unit_value(a[i]);
      const unsigned y = unit_value(b[i]);
      if (x != y) return static_cast<int>(x) - static_cast<int>(y);
      if (x == 0) break;
    }
    return 0;
  }
}

// The folded difference at the first mismatch, as _strnicmp and _wcsnicmp
// give it.
template <class C>
int nicmp_t(const C *a, const C *b, size_t limit) noexcept {
  for (size_t i = 0; i < limit; ++i) {
    const int x = compare_fold(a[i]);
    const int y = compare_fold(b[i]);
    if (x != y || x == 0) return x - y;
  }
  return 0;
}

template <class C>
int icmp_t(const C *a, const C *b) noexcept {
  return nicmp_t(a, b, static_cast<size_t>(-1));
}

// ---- copies ----

template <class C>
C *ncpy_t(C *dst, const C *src, size_t limit) noexcept {
  if constexpr (is_narrow<C>) {
    return std::strncpy(dst, src, limit);
  } else {
    size_t i = 0;
    for (; i < limit && src[i] != C(0); ++i) dst[i] = src[i];
    for (; i < limit; ++i) dst[i] = C(0);
    return dst;
  }
}

// Requires: size > 0. The two widths keep different contracts: the narrow
// copy always terminates and gives the source's length; the wide copy
// terminates only when there is room and gives at most `size`.
template <class C>
size_t lcpy_t(C *dst, const C *src, size_t size) noexcept {
  const size_t n = len_t(src);
  if constexpr (is_narrow<C>) {
    const size_t take = n < size ? n : size - 1;
    std::memmove(dst, src, take);
    dst[take] = C(0);
    return n;
  } else {
    if (dst == src) return n;
    const size_t take = n + 1 < size ? n + 1 : size;
    std::memmove(dst, src, take * sizeof(C));
    return n < size ? n : size;
  }
}

// `n` units of `text` and a terminator in a block of `alloc` (the plain
// allocator, so that running out is a null result). Null when it fails.
template <class C, class Alloc>
C *dup_n_t(const C *text, size_t n, Alloc alloc) noexcept {
  if (n >= static_cast<size_t>(-1) / sizeof(C)) return nullptr;
  C *copy = static_cast<C *>(alloc((n + 1) * sizeof(C)));
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, text, n * sizeof(C));
  copy[n] = C(0);
  return copy;
}

// ---- character searches ----

// The terminator can be found, as with strchr.
template <class C>
C *chr_t(const C *text, C c) noexcept {
  if constexpr (is_narrow<C>) {
    return const_cast<C *>(std::strchr(text, static_cast<int>(unit_value(c))));
  } else {
    for (;; ++text) {
      if (*text == c) return const_cast<C *>(text);
      if (*text == C(0)) return nullptr;
    }
  }
}

// Forward search over at most `limit` units; a terminator ends it untested.
template <class Match, class C>
C *nchr_t(const C *text, size_t limit, C c) noexcept {
  if constexpr (is_narrow<C> && std::is_same_v<Match, exact>) {
    const void *hit = std::memchr(text, static_cast<int>(unit_value(c)), nlen_t(text, limit));
    return static_cast<C *>(const_cast<void *>(hit));
  } else {
    for (size_t i = 0; i < limit && text[i] != C(0); ++i) {
      if (Match::same(text[i], c)) return const_cast<C *>(text + i);
    }
    return nullptr;
  }
}

// Backward from index limit - 1; the first terminator met ends the walk
// with null, even when `c` is 0.
template <class Match, class C>
C *nrchr_t(const C *text, size_t limit, C c) noexcept {
  for (size_t i = limit; i-- > 0;) {
    if (text[i] == C(0)) return nullptr;
    if (Match::same(text[i], c)) return const_cast<C *>(text + i);
  }
  return nullptr;
}

// Narrow: strrchr, which finds the terminator. Wide: measure, then walk back
// from the last unit; the terminator is never tested.
template <class C>
C *rchr_t(const C *text, C c) noexcept {
  if constexpr (is_narrow<C>) {
    return const_cast<C *>(std::strrchr(text, static_cast<int>(unit_value(c))));
  } else {
    return nrchr_t<exact>(text, len_t(text), c);
  }
}

// ---- pattern searches ----

// The plain restart search: a start position and two cursors; a mismatch
// moves the start by one. `limit` is how far from `text` may be read; the
// count left from the present start runs out -> null. The text's end with
// pattern left -> null, since no later start can fit either.
template <class Match, class C>
C *nstr_t(const C *text, size_t limit, const C *pattern) noexcept {
  for (const C *start = text;; ++start, --limit) {
    const C *t = start;
    const C *p = pattern;
    size_t left = limit;
    for (;;) {
      if (*p == C(0)) return const_cast<C *>(start);
      if (left == 0 || *t == C(0)) return nullptr;
      if (!Match::same(*t, *p)) break;
      ++t;
      ++p;
      --left;
    }
  }
}

template <class Match, class C>
C *str_t(const C *text, const C *pattern) noexcept {
  if constexpr (is_narrow<C> && std::is_same_v<Match, exact>) {
    return const_cast<C *>(std::strstr(text, pattern));
  } else {
    return nstr_t<Match>(text, static_cast<size_t>(-1), pattern);
  }
}

}  // namespace ruvo::detail
