// Keyed messages: binary key/value elements in one growable store that is
// also the wire image, with 16 hash slots of offsets for keyed lookup.
//
// Offsets, never pointers, link the elements, so growth is one realloc and
// packing is a header plus one copy. Everything a message holds comes from
// the plain allocation wrappers, so running out of memory is a result here,
// never the end of the process.
#include "ruvo/base/xmsg.h"

#include <bit>
#include <climits>
#include <cstdio>
#include <cstring>

#include "ruvo/base/memory.h"
#include "xmsg_impl.hpp"

#if defined(__x86_64__) || defined(_M_X64)
#define RUVO_XMSG_X86 1
#include <immintrin.h>
#endif

namespace ruvo::xmsg {

// ---- hash kernels ----
//
// h*33 + b over n bytes is h*33^n + sum(b[i] * 33^(n-1-i)), all mod 2^32, so
// the bytes can be weighted in independent groups and joined at the end.
// Within 8 bytes the weights are built up exactly in narrow fields: pairs
// b0*33 + b1 fit 16 bits (at most 8670), quads v0*33^2 + v1 fit 32 bits (at
// most 9.45 million); only the last step needs the wrapping 32-bit multiply.

namespace {

constexpr uint32_t kPow4 = pow33(4);
constexpr uint32_t kPow8 = pow33(8);

// Sum of b[t] * 33^(7-t) mod 2^32 for the 8 bytes of a little-endian word.
inline uint32_t fold8(uint64_t w) noexcept {
  constexpr uint64_t m8 = 0x00FF00FF00FF00FFull;
  constexpr uint64_t m16 = 0x0000FFFF0000FFFFull;
  const uint64_t pairs = (w & m8) * 33u + ((w >> 8) & m8);
  const uint64_t quads = (pairs & m16) * 1089u + ((pairs >> 16) & m16);
  return static_cast<uint32_t>(quads) * kPow4 + static_cast<uint32_t>(quads >> 32);
}

template <bool Copy>
uint32_t scalar_impl(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h) noexcept {
  size_t i = 0;
  if constexpr (std::endian::native == std::endian::little) {
    for (; n - i >= 8; i += 8) {
      uint64_t w;
      std::memcpy(&w, src + i, 8);
      if constexpr (Copy) std::memcpy(dst + i, &w, 8);
      h = h * kPow8 + fold8(w);
    }
  }
  for (; i < n; ++i) {
    if constexpr (Copy) dst[i] = src[i];
    h = h * 33u + src[i];
  }
  return h;
}

#if defined(RUVO_XMSG_X86)

// 64-byte blocks as four 16-byte columns, each with its own accumulator so
// that the multiplies of one block do not wait on each other. Each column
// keeps two 8-byte groups in the low halves of its 64-bit lanes, which is
// what the SSE2 32x32->64 multiply reads.
template <bool Copy>
uint32_t sse2_impl(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h) noexcept {
  constexpr size_t kBlock = 64;
  const size_t blocks = n / kBlock;
  if (blocks == 0) return scalar_impl<Copy>(src, dst, n, h);

  const __m128i low_bytes = _mm_set1_epi16(0x00FF);
  const __m128i by33 = _mm_set1_epi16(33);
  const __m128i quad = _mm_set1_epi32(0x00010441);  // word pairs (1089, 1)
  const __m128i by_pow4 = _mm_set1_epi64x(kPow4);
  const __m128i by_block = _mm_set1_epi64x(pow33(kBlock));
  __m128i acc[4] = {_mm_setzero_si128(), _mm_setzero_si128(), _mm_setzero_si128(),
                    _mm_setzero_si128()};
  for (size_t b = 0; b < blocks; ++b) {
    for (int k = 0; k < 4; ++k) {
      const size_t at = b * kBlock + 16 * static_cast<size_t>(k);
      const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + at));
      if constexpr (Copy) _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + at), x);
      const __m128i pairs =
          _mm_add_epi16(_mm_mullo_epi16(_mm_and_si128(x, low_bytes), by33), _mm_srli_epi16(x, 8));
      const __m128i quads = _mm_madd_epi16(pairs, quad);
      const __m128i groups = _mm_add_epi64(_mm_mul_epu32(quads, by_pow4), _mm_srli_epi64(quads, 32));
      acc[k] = _mm_add_epi64(_mm_mul_epu32(acc[k], by_block), groups);
    }
  }
  uint32_t total = 0;
  for (int k = 0; k < 4; ++k) {
    alignas(16) uint32_t lane[4];
    _mm_store_si128(reinterpret_cast<__m128i *>(lane), acc[k]);
    const uint32_t e = kBlock - 8 - 16 * static_cast<uint32_t>(k);
    total += lane[0] * pow33(e) + lane[2] * pow33(e - 8);
  }
  h = h * pow33(uint64_t{kBlock} * blocks) + total;
  const size_t done = blocks * kBlock;
  return scalar_impl<Copy>(src + done, Copy ? dst + done : nullptr, n - done, h);
}

// 128-byte blocks as four 32-byte columns. Here the 32-bit lane multiply
// exists, so each lane accumulates one 4-byte group.
template <bool Copy>
__attribute__((target("avx2"))) uint32_t avx2_impl(const uint8_t *src, uint8_t *dst, size_t n,
                                                   uint32_t h) noexcept {
  constexpr size_t kBlock = 128;
  const size_t blocks = n / kBlock;
  if (blocks == 0) return scalar_impl<Copy>(src, dst, n, h);

  const __m256i pair = _mm256_set1_epi16(0x0121);     // byte pairs (33, 1)
  const __m256i quad = _mm256_set1_epi32(0x00010441);  // word pairs (1089, 1)
  const __m256i by_block = _mm256_set1_epi32(static_cast<int>(pow33(kBlock)));
  __m256i acc[4] = {_mm256_setzero_si256(), _mm256_setzero_si256(), _mm256_setzero_si256(),
                    _mm256_setzero_si256()};
  for (size_t b = 0; b < blocks; ++b) {
    for (int k = 0; k < 4; ++k) {
      const size_t at = b * kBlock + 32 * static_cast<size_t>(k);
      const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(src + at));
      if constexpr (Copy) _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + at), x);
      const __m256i quads = _mm256_madd_epi16(_mm256_maddubs_epi16(x, pair), quad);
      acc[k] = _mm256_add_epi32(_mm256_mullo_epi32(acc[k], by_block), quads);
    }
  }
  uint32_t total = 0;
  for (int k = 0; k < 4; ++k) {
    uint32_t lane[8];
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(lane), acc[k]);
    for (uint32_t j = 0; j < 8; ++j) {
      total += lane[j] * pow33(kBlock - 4 - 32 * static_cast<uint32_t>(k) - 4 * j);
    }
  }
  _mm256_zeroupper();
  h = h * pow33(uint64_t{kBlock} * blocks) + total;
  const size_t done = blocks * kBlock;
  return scalar_impl<Copy>(src + done, Copy ? dst + done : nullptr, n - done, h);
}

#endif  // RUVO_XMSG_X86

hash_kernel pick_best() noexcept {
  const kernel_set set = available_kernels();
  if (set.avx2 != nullptr) return set.avx2;
  if (set.sse2 != nullptr) return set.sse2;
  return set.scalar;
}

}  // namespace

uint32_t hash_scalar(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h) noexcept {
  return dst != nullptr ? scalar_impl<true>(src, dst, n, h) : scalar_impl<false>(src, dst, n, h);
}

#if defined(RUVO_XMSG_X86)
uint32_t hash_sse2(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h) noexcept {
  return dst != nullptr ? sse2_impl<true>(src, dst, n, h) : sse2_impl<false>(src, dst, n, h);
}

uint32_t hash_avx2(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h) noexcept {
  return dst != nullptr ? avx2_impl<true>(src, dst, n, h) : avx2_impl<false>(src, dst, n, h);
}

kernel_set available_kernels() noexcept {
  __builtin_cpu_init();
  return {&hash_scalar, &hash_sse2, __builtin_cpu_supports("avx2") ? &hash_avx2 : nullptr};
}
#else
uint32_t hash_sse2(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h) noexcept {
  return hash_scalar(src, dst, n, h);
}

uint32_t hash_avx2(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h) noexcept {
  return hash_scalar(src, dst, n, h);
}

kernel_set available_kernels() noexcept { return {&hash_scalar, nullptr, nullptr}; }
#endif

uint32_t ruvo_xmsg_hash(const uint8_t *src, size_t n, uint32_t h) noexcept {
  static const hash_kernel best = pick_best();
  return best(src, nullptr, n, h);
}

uint32_t hash_copy(const uint8_t *src, uint8_t *dst, size_t n, uint32_t h) noexcept {
  static const hash_kernel best = pick_best();
  return best(src, dst, n, h);
}

// ---- the element store ----

namespace {

constexpr char kCreatorKey[] = "creator";
constexpr uint16_t kCreatorKeyLen = 7;

uint32_t slot_of(const void *key, uint16_t key_len) noexcept {
  return hash_bytewise(static_cast<const uint8_t *>(key), key_len) & (RUVO_XMSG_SLOTS - 1);
}

// Appends one element. On -1 the message is as it was.
int32_t append(ruvo_xmsg_st *msg, const void *key, uint16_t key_len, const void *value,
               uint32_t value_len) noexcept {
  const uint64_t size = element_size(key_len, value_len);
  if (size > kMaxUsed - msg->used || msg->nelem == UINT32_MAX) return -1;
  const uint32_t need = msg->used + static_cast<uint32_t>(size);

  if (msg->capacity < need) {
    uint64_t grown = msg->capacity;
    while (grown < need) grown = grown == 0 ? kFirstCapacity : grown * 2;
    if (grown > kMaxUsed) grown = kMaxUsed;
    // One realloc for the final size: a failure leaves the old store in place.
    auto *data = static_cast<uint8_t *>(ruvo_ralloc_(msg->data, static_cast<size_t>(grown)));
    if (data == nullptr) return -1;
    std::memset(data + msg->capacity, 0, static_cast<size_t>(grown - msg->capacity));
    msg->data = data;
    msg->capacity = static_cast<uint32_t>(grown);
  }

  const uint32_t off = msg->used;
  const uint32_t pad = static_cast<uint32_t>(size) - (13 + key_len + value_len);
  uint8_t *e = msg->data + off;
  const uint32_t slot = slot_of(key, key_len);
  store32(e + kOffNext, msg->slots[slot]);
  store32(e + kOffValueLen, value_len);
  store16(e + kOffKeyLen, key_len);
  e[kOffFlags] = 0;
  e[kOffPad] = static_cast<uint8_t>(pad);
  std::memcpy(e + kElementHead, key, key_len);
  if (value_len != 0) std::memcpy(e + kElementHead + key_len, value, value_len);
  std::memset(e + kElementHead + key_len + value_len, 0, 1 + pad);
  // Element 0 lands in its slot as offset 0, which reads as an empty slot:
  // that is what keeps the creator out of every lookup.
  msg->slots[slot] = off;
  msg->nelem += 1;
  msg->used = need;
  return 0;
}

// True when an element head and its bytes through the terminator lie inside
// the store. Offsets that come from the store itself always pass; a cursor
// handed back by a caller is checked with it before it is followed.
bool element_fits(const ruvo_xmsg_st *msg, uint32_t off) noexcept {
  if (off % 4 != 0 || off >= msg->used || msg->used - off < kMinElement) return false;
  const element_view e = read_element(msg->data, off);
  return uint64_t{kElementHead} + e.key_len + e.value_len < msg->used - off;
}

bool key_matches(const ruvo_xmsg_st *msg, uint32_t off, const element_view &e, const void *key,
                 uint16_t key_len) noexcept {
  return e.key_len == key_len && std::memcmp(msg->data + off + kElementHead, key, key_len) == 0;
}

// Offset of the first live element at `off` or after it, or `used`.
uint32_t skip_deleted(const ruvo_xmsg_st *msg, uint32_t off) noexcept {
  while (off < msg->used) {
    const element_view e = read_element(msg->data, off);
    if ((e.flags & RUVO_XMSG_DELETED) == 0) break;
    off += static_cast<uint32_t>(e.stride());
  }
  return off;
}

void fill_iter(ruvo_xmsg_iter_st *it, const ruvo_xmsg_st *msg, uint32_t off) noexcept {
  const element_view e = read_element(msg->data, off);
  it->key = msg->data + off + kElementHead;
  it->value = it->key + e.key_len;
  it->key_len = e.key_len;
  it->value_len = e.value_len;
  it->msg = msg;
  it->next_off = off + static_cast<uint32_t>(e.stride());
}

void free_message(ruvo_xmsg_st *msg) noexcept {
  ruvo_free_(msg->data);
  ruvo_free_(msg);
}

// Checks that the elements tile data[0, used) exactly, each with a key and a
// terminator, and links every element after the first into its slot as adding
// would have, oldest first. False leaves the slots partly built.
bool index_store(ruvo_xmsg_st *msg) noexcept {
  const uint8_t *data = msg->data;
  const uint32_t used = msg->used;
  uint32_t off = 0;
  while (off < used) {
    if (used - off < kMinElement) return false;
    const element_view e = read_element(data, off);
    const uint64_t stride = e.stride();
    if (e.key_len == 0 || e.pad > 3 || stride % 4 != 0 || stride > used - off) return false;
    if (data[off + kElementHead + e.key_len + e.value_len] != 0) return false;
    if (off != 0) {
      const uint32_t slot = slot_of(data + off + kElementHead, static_cast<uint16_t>(e.key_len));
      store32(msg->data + off + kOffNext, msg->slots[slot]);
      msg->slots[slot] = off;
    }
    off += static_cast<uint32_t>(stride);
  }
  return used != 0;
}

}  // namespace
}  // namespace ruvo::xmsg

using namespace ruvo::xmsg;

extern "C" {

RUVO_API ruvo_xmsg_st *ruvo_xmsg_new(const char *creator) noexcept {
  const char *text = creator != nullptr ? creator : "(null)";
  const uint32_t text_len = static_cast<uint32_t>(std::strlen(text) % 65536);

  auto *msg = static_cast<ruvo_xmsg_st *>(ruvo_zero_malloc_(sizeof(ruvo_xmsg_st)));
  if (msg == nullptr) return nullptr;
  // Without element 0 the creator lookup and every walk would be wrong, so a
  // message whose first element can't be stored is not handed out at all.
  if (append(msg, kCreatorKey, kCreatorKeyLen, text, text_len + 1) != 0) {
    free_message(msg);
    return nullptr;
  }
  // A cut text still ends in its zero.
  msg->data[kElementHead + kCreatorKeyLen + text_len] = 0;
  msg->nref = 1;
  return msg;
}

RUVO_API int32_t ruvo_xmsg_add(ruvo_xmsg_st *msg, const void *key, uint16_t key_len,
                               const void *value, uint32_t value_len) noexcept {
  if (msg == nullptr || key == nullptr || value == nullptr || key_len == 0) return -1;
  return append(msg, key, key_len, value, value_len);
}

RUVO_API const void *ruvo_xmsg_get(const ruvo_xmsg_st *msg, const void *key, uint16_t key_len,
                                   uint32_t *value_len, uint32_t *cursor) noexcept {
  if (msg == nullptr || key == nullptr || key_len == 0) return nullptr;

  uint32_t off = cursor != nullptr && *cursor != 0 ? *cursor : msg->slots[slot_of(key, key_len)];
  // Chains run from newer to older elements, so offsets fall strictly along
  // them; a walk that would not fall, or a cursor that is no element, ends.
  while (off != 0 && element_fits(msg, off)) {
    const element_view e = read_element(msg->data, off);
    if ((e.flags & RUVO_XMSG_DELETED) == 0 && key_matches(msg, off, e, key, key_len)) {
      if (value_len != nullptr) *value_len = e.value_len;
      if (cursor != nullptr) *cursor = e.next < off ? e.next : 0;
      return msg->data + off + kElementHead + e.key_len;
    }
    if (e.next >= off) break;
    off = e.next;
  }
  if (cursor != nullptr) *cursor = 0;
  return nullptr;
}

RUVO_API uint32_t ruvo_xmsg_del(ruvo_xmsg_st *msg, const void *key, uint16_t key_len) noexcept {
  if (msg == nullptr || key == nullptr || key_len == 0) return 0;

  uint32_t marked = 0;
  uint32_t off = msg->slots[slot_of(key, key_len)];
  while (off != 0) {
    const element_view e = read_element(msg->data, off);
    if (key_matches(msg, off, e, key, key_len)) {
      msg->data[off + kOffFlags] |= RUVO_XMSG_DELETED;
      ++marked;
    }
    off = e.next;
  }
  return marked;
}

RUVO_API ruvo_xmsg_iter_st *ruvo_xmsg_first(const ruvo_xmsg_st *msg) noexcept {
  if (msg == nullptr || msg->used == 0) return nullptr;

  const uint32_t off =
      skip_deleted(msg, static_cast<uint32_t>(read_element(msg->data, 0).stride()));
  if (off >= msg->used) return nullptr;
  auto *it = static_cast<ruvo_xmsg_iter_st *>(ruvo_malloc_(sizeof(ruvo_xmsg_iter_st)));
  if (it == nullptr) return nullptr;
  fill_iter(it, msg, off);
  return it;
}

RUVO_API ruvo_xmsg_iter_st *ruvo_xmsg_next(ruvo_xmsg_iter_st *iter) noexcept {
  if (iter == nullptr) return nullptr;

  const ruvo_xmsg_st *msg = iter->msg;
  const uint32_t off = skip_deleted(msg, iter->next_off);
  if (off >= msg->used) {
    ruvo_free_(iter);
    return nullptr;
  }
  fill_iter(iter, msg, off);
  return iter;
}

RUVO_API void ruvo_xmsg_debug(const ruvo_xmsg_st *msg) noexcept {
  for (ruvo_xmsg_iter_st *it = ruvo_xmsg_first(msg); it != nullptr; it = ruvo_xmsg_next(it)) {
    const int value_len = it->value_len > INT_MAX ? INT_MAX : static_cast<int>(it->value_len);
    std::printf("[%.*s] => [%.*s]\n", static_cast<int>(it->key_len),
                reinterpret_cast<const char *>(it->key), value_len,
                reinterpret_cast<const char *>(it->value));
  }
}

RUVO_API uint32_t ruvo_xmsg_nelem(const ruvo_xmsg_st *msg) noexcept {
  if (msg == nullptr || msg->nelem == 0) return 0;
  return msg->nelem - 1;
}

RUVO_API const char *ruvo_xmsg_get_creator(const ruvo_xmsg_st *msg) noexcept {
  if (msg == nullptr || msg->used == 0) return nullptr;
  const element_view e = read_element(msg->data, 0);
  return reinterpret_cast<const char *>(msg->data + kElementHead + e.key_len);
}

RUVO_API uint32_t ruvo_xmsg_pack_size(const ruvo_xmsg_st *msg) noexcept {
  if (msg == nullptr) return 0;
  return msg->used + kHeaderSize;
}

RUVO_API int64_t ruvo_xmsg_pack(const ruvo_xmsg_st *msg, void *buf, uint32_t buf_len) noexcept {
  if (msg == nullptr || buf == nullptr) return -1;
  const uint32_t total = msg->used + kHeaderSize;
  if (buf_len < total) return -1;

  auto *out = static_cast<uint8_t *>(buf);
  const uint32_t sum = hash_copy(msg->data, out + kHeaderSize, msg->used);
  store32(out, RUVO_XMSG_MAGIC);
  store32(out + 4, sum);
  store32(out + 8, msg->nelem);
  store32(out + 12, msg->used);
  return total;
}

RUVO_API void *ruvo_xmsg_pack_aux(const ruvo_xmsg_st *msg, uint32_t *out_len) noexcept {
  if (msg == nullptr || out_len == nullptr) return nullptr;
  const uint32_t total = msg->used + kHeaderSize;
  void *buf = ruvo_malloc_(total);
  if (buf == nullptr) return nullptr;
  ruvo_xmsg_pack(msg, buf, total);
  *out_len = total;
  return buf;
}

RUVO_API ruvo_xmsg_st *ruvo_xmsg_unpack(const void *buf, uint32_t len) noexcept {
  if (buf == nullptr || len < kHeaderSize) return nullptr;
  const auto *in = static_cast<const uint8_t *>(buf);
  const uint32_t length = load32(in + 12);
  if (uint64_t{length} + kHeaderSize > len || length < kMinElement) return nullptr;

  auto *msg = static_cast<ruvo_xmsg_st *>(ruvo_zero_malloc_(sizeof(ruvo_xmsg_st)));
  if (msg == nullptr) return nullptr;
  msg->data = static_cast<uint8_t *>(ruvo_malloc_(length));
  if (msg->data == nullptr) {
    ruvo_free_(msg);
    return nullptr;
  }
  // Checksum and structure are judged on our own copy: the sender's buffer
  // may be shared memory that changes under us, and the copy costs nothing
  // extra when it is made in the checksum's pass.
  msg->used = length;
  msg->capacity = length;
  if (hash_copy(in + kHeaderSize, msg->data, length) != load32(in + 4) || !index_store(msg)) {
    free_message(msg);
    return nullptr;
  }
  msg->nelem = load32(in + 8);
  msg->nref = 1;
  return msg;
}

RUVO_API ruvo_xmsg_st *ruvo_xmsg_dup(const ruvo_xmsg_st *msg) noexcept {
  if (msg == nullptr) return nullptr;
  auto *copy = static_cast<ruvo_xmsg_st *>(ruvo_malloc_(sizeof(ruvo_xmsg_st)));
  if (copy == nullptr) return nullptr;
  *copy = *msg;
  copy->data = static_cast<uint8_t *>(ruvo_malloc_(msg->capacity));
  if (copy->data == nullptr) {
    ruvo_free_(copy);
    return nullptr;
  }
  std::memcpy(copy->data, msg->data, msg->capacity);
  copy->nref = 1;
  return copy;
}

RUVO_API ruvo_xmsg_st *ruvo_xmsg_retain(ruvo_xmsg_st *msg) noexcept {
  if (msg != nullptr) msg->nref += 1;
  return msg;
}

RUVO_API void ruvo_xmsg_release(ruvo_xmsg_st *msg) noexcept {
  if (msg == nullptr || msg->nref == 0) return;
  if (--msg->nref == 0) free_message(msg);
}

RUVO_API uint32_t ruvo_xmsg_nref(const ruvo_xmsg_st *msg) noexcept {
  return msg != nullptr ? msg->nref : 0;
}

}  // extern "C"
