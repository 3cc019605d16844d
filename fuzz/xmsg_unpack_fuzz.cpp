// Unpacking wire images from untrusted senders. Each input is tried as it
// stands and once more with its checksum made right, so that mutations reach
// the element checks behind the checksum. A message that unpacks is walked,
// searched, grown and packed again; the new image must be the input with only
// the magic and the rebuilt `next` fields differing, and packing it once more
// must give the same bytes.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "ruvo/base/xmsg.h"
#include "xmsg_impl.hpp"

namespace {

namespace xm = ruvo::xmsg;
using bytes = std::vector<uint8_t>;

void require(bool ok) {
  if (!ok) std::abort();
}

bytes pack(const ruvo_xmsg_st *msg) {
  bytes out(ruvo_xmsg_pack_size(msg));
  require(ruvo_xmsg_pack(msg, out.data(), static_cast<uint32_t>(out.size())) ==
          static_cast<int64_t>(out.size()));
  return out;
}

// The image packing must give for an accepted input: the input cut to its
// header's length, with the true magic and the chains rebuilt as adding would
// have built them, and a checksum over those bytes.
bytes expected_image(const uint8_t *in, uint32_t length) {
  bytes want(in, in + xm::kHeaderSize + length);
  uint8_t *data = want.data() + xm::kHeaderSize;
  uint32_t heads[RUVO_XMSG_SLOTS] = {};
  uint32_t off = static_cast<uint32_t>(xm::read_element(data, 0).stride());
  while (off < length) {
    const xm::element_view e = xm::read_element(data, off);
    const uint32_t slot = xm::hash_bytewise(data + off + xm::kElementHead, e.key_len) & 15;
    xm::store32(data + off, heads[slot]);
    heads[slot] = off;
    off += static_cast<uint32_t>(e.stride());
  }
  require(off == length);
  xm::store32(want.data(), RUVO_XMSG_MAGIC);
  xm::store32(want.data() + 4, xm::hash_bytewise(data, length));
  return want;
}

void exercise(const uint8_t *in, size_t size) {
  ruvo_xmsg_st *msg = ruvo_xmsg_unpack(in, static_cast<uint32_t>(size));
  if (msg == nullptr) return;
  const uint32_t length = xm::load32(in + 12);
  require(msg->used == length && msg->capacity == length);

  // Every live element walked is found again by its key, and a cursor walk
  // over that key ends within the elements there are.
  uint32_t walked = 0;
  for (ruvo_xmsg_iter_st *it = ruvo_xmsg_first(msg); it != nullptr; it = ruvo_xmsg_next(it)) {
    require(it->key_len != 0 && it->value[it->value_len] == 0);
    ++walked;
    const auto key_len = static_cast<uint16_t>(it->key_len);
    uint32_t len = 0;
    require(ruvo_xmsg_get(msg, it->key, key_len, &len, nullptr) != nullptr);
    uint32_t cursor = 0;
    uint32_t steps = 0;
    while (ruvo_xmsg_get(msg, it->key, key_len, nullptr, &cursor) != nullptr && cursor != 0) {
      require(++steps <= length / xm::kMinElement);
    }
  }
  require(walked <= length / xm::kMinElement);
  (void)ruvo_xmsg_get_creator(msg);

  const bytes image = pack(msg);
  require(image == expected_image(in, length));
  ruvo_xmsg_st *again = ruvo_xmsg_unpack(image.data(), static_cast<uint32_t>(image.size()));
  require(again != nullptr && pack(again) == image);

  // The unpacked store is full; growing it must keep what was there. The
  // header's element count is taken as it stands, so it may be at its limit.
  const bool full = again->nelem == UINT32_MAX;
  const int32_t added = ruvo_xmsg_add(again, "fz", 2, "value", 5);
  require(added == (full ? -1 : 0));
  if (added == 0) {
    require(std::strcmp(static_cast<const char *>(ruvo_xmsg_get(again, "fz", 2, nullptr, nullptr)),
                        "value") == 0);
  }
  require(std::memcmp(again->data, image.data() + xm::kHeaderSize, length) == 0);
  ruvo_xmsg_release(again);

  ruvo_xmsg_st *copy = ruvo_xmsg_dup(msg);
  require(copy != nullptr);
  for (ruvo_xmsg_iter_st *it = ruvo_xmsg_first(msg); it != nullptr; it = ruvo_xmsg_next(it)) {
    ruvo_xmsg_del(copy, it->key, static_cast<uint16_t>(it->key_len));
  }
  require(ruvo_xmsg_first(copy) == nullptr);
  ruvo_xmsg_release(copy);
  ruvo_xmsg_release(msg);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size > (1u << 20)) return 0;
  // An exact-size copy that can be edited; any read past its end is caught.
  std::unique_ptr<uint8_t[]> given(new uint8_t[size == 0 ? 1 : size]);
  if (size != 0) std::memcpy(given.get(), data, size);
  exercise(given.get(), size);

  if (size >= xm::kHeaderSize) {
    const uint32_t length = xm::load32(data + 12);
    if (length <= size - xm::kHeaderSize) {
      xm::store32(given.get() + 4, xm::hash_bytewise(data + xm::kHeaderSize, length));
      exercise(given.get(), size);
    }
  }
  return 0;
}
