// Keyed messages against a model: a list of elements from which the test builds
// the expected wire image byte by byte with its own hash.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ruvo/base/xmsg.h"

namespace {

using bytes = std::vector<uint8_t>;
using strings = std::vector<std::string>;

uint32_t ref_hash(const uint8_t *p, size_t n) {
  uint32_t h = 5318;
  for (size_t i = 0; i < n; ++i) h = h * 33 + p[i];
  return h;
}
void put32(uint8_t *p, size_t v) { for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i)); }
std::string str(const void *p, size_t n) { return std::string(static_cast<const char *>(p), n); }

struct element { std::string key, value; bool deleted = false; };
struct model { std::string creator; std::vector<element> elems; };

// The wire image of a model's content, built field by field.
bytes image(const model &m) {
  bytes out(16);
  uint32_t heads[16] = {};
  auto append = [&](const std::string &key, const std::string &value, bool deleted) {
    const size_t off = out.size() - 16, raw = 13 + key.size() + value.size();
    out.resize(out.size() + (raw + 3) / 4 * 4, 0);
    uint8_t *e = &out[16 + off];
    uint32_t &head = heads[ref_hash(reinterpret_cast<const uint8_t *>(key.data()), key.size()) & 15];
    put32(e, head), put32(e + 4, value.size()), head = static_cast<uint32_t>(off);
    e[8] = static_cast<uint8_t>(key.size()), e[9] = static_cast<uint8_t>(key.size() >> 8);
    e[10] = deleted ? 1 : 0, e[11] = static_cast<uint8_t>((4 - raw % 4) % 4);
    std::memcpy(e + 12, (key + value).data(), raw - 13);
  };
  append("creator", std::string(m.creator.c_str(), m.creator.size() + 1), false);
  for (const element &x : m.elems) append(x.key, x.value, x.deleted);
  put32(&out[0], 0x47534D58), put32(&out[4], ref_hash(out.data() + 16, out.size() - 16));
  put32(&out[8], m.elems.size() + 1), put32(&out[12], out.size() - 16);
  return out;
}

bytes pack(const ruvo_xmsg_st *msg) {  // exactly the size it says it needs
  bytes out(ruvo_xmsg_pack_size(msg));
  EXPECT_EQ(ruvo_xmsg_pack(msg, out.data(), static_cast<uint32_t>(out.size())), static_cast<int64_t>(out.size()));
  return out;
}
ruvo_xmsg_st *unpack(const bytes &b) { return ruvo_xmsg_unpack(b.data(), static_cast<uint32_t>(b.size())); }
int add(ruvo_xmsg_st *msg, const std::string &k, const std::string &v) {
  return ruvo_xmsg_add(msg, k.data(), static_cast<uint16_t>(k.size()), v.data(), static_cast<uint32_t>(v.size()));
}
const char *get(const ruvo_xmsg_st *msg, const std::string &k, uint32_t *cursor = nullptr, uint32_t *len = nullptr) {
  return static_cast<const char *>(ruvo_xmsg_get(msg, k.data(), static_cast<uint16_t>(k.size()), len, cursor));
}

// A message against the model: creator, count, wire image, the walk in adding
// order, and every key's live values newest first through a cursor.
void expect_matches(const ruvo_xmsg_st *msg, const model &m, const strings &keys) {
  EXPECT_STREQ(ruvo_xmsg_get_creator(msg), m.creator.c_str());
  EXPECT_EQ(ruvo_xmsg_nelem(msg), m.elems.size());
  EXPECT_EQ(pack(msg), image(m));
  strings walked, live;
  for (ruvo_xmsg_iter_st *it = ruvo_xmsg_first(msg); it != nullptr; it = ruvo_xmsg_next(it))
    walked.push_back(str(it->key, it->key_len) + "=" + str(it->value, it->value_len + 1));
  for (const element &x : m.elems)
    if (!x.deleted) live.push_back(x.key + "=" + x.value + '\0');
  EXPECT_EQ(walked, live);
  for (const std::string &key : keys) {
    strings want, seen;
    for (auto it = m.elems.rbegin(); it != m.elems.rend(); ++it)
      if (!it->deleted && it->key == key) want.push_back(it->value);
    uint32_t cursor = 0, len = 0;
    while (const char *v = get(msg, key, &cursor, &len)) {
      seen.push_back(str(v, len) + (v[len] == '\0' ? "" : "<no terminator>"));
      if (cursor == 0) break;
    }
    EXPECT_EQ(cursor, 0u);
    EXPECT_EQ(seen, want);
  }
}

TEST(Xmsg, WireExampleComesOutByteForByte) {
  const bytes want = {0x58, 0x4d, 0x53, 0x47, 0x0b, 0x1c, 0x4b, 0x19, 0x02, 0x00, 0x00, 0x00, 0x28, 0x00,
                      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x07, 0x00, 0x00, 0x00,
                      0x63, 0x72, 0x65, 0x61, 0x74, 0x6f, 0x72, 0x61, 0x62, 0x63, 0x00, 0x00, 0x00, 0x00,
                      0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x01, 0x6b, 0x76, 0x00, 0x00};
  EXPECT_EQ(image(model{"abc", {{"k", "v"}}}), want);  // the model agrees too
  ruvo_xmsg_st *msg = ruvo_xmsg_new("abc");
  ASSERT_EQ(add(msg, "k", "v"), 0);
  EXPECT_EQ(pack(msg), want);
  bytes small(55, 0xEE);
  EXPECT_TRUE(ruvo_xmsg_pack(msg, small.data(), 55) == -1 && small == bytes(55, 0xEE));
  uint32_t len = 0;
  std::unique_ptr<uint8_t, decltype(&free)> aux(static_cast<uint8_t *>(ruvo_xmsg_pack_aux(msg, &len)), &free);
  EXPECT_EQ(aux ? bytes(aux.get(), aux.get() + len) : bytes(), want);
  EXPECT_EQ(ruvo_xmsg_add(nullptr, "k", 1, "v", 1) + ruvo_xmsg_add(msg, nullptr, 1, "v", 1) +
                ruvo_xmsg_add(msg, "k", 1, nullptr, 0) + ruvo_xmsg_add(msg, "k", 0, "v", 1), -4);  // -1 each
  EXPECT_FALSE(ruvo_xmsg_get(msg, "k", 0, nullptr, nullptr) || ruvo_xmsg_del(msg, "k", 0) || ruvo_xmsg_unpack(nullptr, 9));
  ruvo_xmsg_release(msg);
}

// Random keys (zero bytes, case variants, "creator"), empty and long values,
// deletes. The message, its unpacked copy and a dup of that all equal the model.
TEST(Xmsg, RandomMessagesMatchTheModelAndRoundTrip) {
  std::mt19937 rng(12345);
  auto text = [&](size_t n, int zeros) {
    std::string s(n, '\0');
    for (char &c : s) c = static_cast<char>(static_cast<int>(rng() % 4) < zeros ? 0 : 1 + rng() % 255);
    return s;
  };
  for (int round = 0; round < 12; ++round) {
    strings keys = {"A", "a", "aa", "creator"};
    for (int i = 0; i < 12; ++i) keys.push_back(text(1 + rng() % 6, 1));
    // The creator text: NULL, one cut at 16 bits, random ones.
    const std::string given = round == 1 ? std::string(65536 + 5, 'c') : text(rng() % 20, 0);
    model m{round == 0 ? "(null)" : given.substr(0, given.size() % 65536), {}};
    ruvo_xmsg_st *msg = ruvo_xmsg_new(round == 0 ? nullptr : given.c_str());
    expect_matches(msg, m, keys);
    for (int steps = 10 + static_cast<int>(rng() % 120); steps > 0; --steps) {
      const std::string &key = keys[rng() % keys.size()];
      if (rng() % 5 == 0) {
        uint32_t marked = 0;  // already deleted ones count again
        for (element &e : m.elems)
          if (e.key == key) e.deleted = true, ++marked;
        ASSERT_EQ(ruvo_xmsg_del(msg, key.data(), static_cast<uint16_t>(key.size())), marked);
      } else {
        m.elems.push_back({key, text(rng() % 16 == 0 ? 3000 + rng() % 3000 : rng() % 40, 1)});
        ASSERT_EQ(add(msg, key, m.elems.back().value), 0);
      }
    }
    expect_matches(msg, m, keys);
    bytes image = pack(msg);
    // A flipped data byte is refused; a flipped magic byte and bytes behind are not.
    bytes flipped = image;
    flipped[16 + rng() % (image.size() - 16)] ^= static_cast<uint8_t>(1 + rng() % 255);
    flipped[rng() % 4] ^= 0xFF;
    EXPECT_EQ(unpack(flipped), nullptr);
    EXPECT_EQ(ruvo_xmsg_unpack(image.data(), uint32_t(16 + rng() % (image.size() - 16))), nullptr);  // cut short
    image[round % 4] ^= 0xFF, image.resize(image.size() + round, 0xAB);
    ruvo_xmsg_st *copy = unpack(image);
    ASSERT_NE(copy, nullptr);
    ruvo_xmsg_st *dup = ruvo_xmsg_dup(copy);
    EXPECT_EQ(ruvo_xmsg_nref(copy) + ruvo_xmsg_nref(dup), 2u);
    const uint32_t full = copy->capacity;  // an unpacked store is exactly full
    EXPECT_EQ(full, copy->used);
    ASSERT_EQ(add(copy, keys[0], "after"), 0);
    EXPECT_EQ(copy->capacity, 2 * full);  // and doubles from there
    expect_matches(dup, m, keys);         // untouched by the add to its source
    m.elems.push_back({keys[0], "after"});
    expect_matches(copy, m, keys);
    uint32_t cursor = 0;
    for (uint32_t bad : {1u, 8u, copy->used, 0xFFFFFFFCu})  // no element's offset
      EXPECT_TRUE(get(copy, keys[0], &(cursor = bad)) == nullptr && cursor == 0) << bad;
    for (ruvo_xmsg_st *x : {dup, copy, msg}) ruvo_xmsg_release(x);
  }
}

}  // namespace
