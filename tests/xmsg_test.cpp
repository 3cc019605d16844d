// Keyed messages, checked against a model written here: a list of elements
// from which the test builds the expected wire image byte by byte with its
// own one-byte-at-a-time hash.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ruvo/base/xmsg.h"
#include "support/support.hpp"

namespace {

using bytes = std::vector<uint8_t>;

uint32_t ref_hash(const uint8_t *p, size_t n) {
  uint32_t h = 5318;
  for (size_t i = 0; i < n; ++i) h = h * 33 + p[i];
  return h;
}

void put32(bytes &b, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}
uint32_t get32(const bytes &b, size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
}

// Recomputes the checksum after a test has edited the data.
void reseal(bytes &image) { put32(image, 4, ref_hash(image.data() + 16, image.size() - 16)); }

struct element {
  std::string key, value;
  bool deleted = false;
};

struct model {
  std::string creator;
  std::vector<element> elems;

  // The wire image of this content, built field by field.
  bytes image() const {
    bytes data;
    uint32_t heads[16] = {};
    auto append = [&](const std::string &key, const std::string &value, bool deleted) {
      const size_t off = data.size();
      const size_t raw = 13 + key.size() + value.size();
      const size_t size = (raw + 3) / 4 * 4;
      data.resize(off + size, 0);
      const uint32_t slot = ref_hash(reinterpret_cast<const uint8_t *>(key.data()), key.size()) & 15;
      put32(data, off, heads[slot]);
      heads[slot] = static_cast<uint32_t>(off);
      put32(data, off + 4, static_cast<uint32_t>(value.size()));
      data[off + 8] = static_cast<uint8_t>(key.size());
      data[off + 9] = static_cast<uint8_t>(key.size() >> 8);
      data[off + 10] = deleted ? 1 : 0;
      data[off + 11] = static_cast<uint8_t>(size - raw);
      std::memcpy(&data[off + 12], key.data(), key.size());
      std::memcpy(&data[off + 12 + key.size()], value.data(), value.size());
    };
    append("creator", std::string(creator.c_str(), creator.size() + 1), false);
    for (const element &e : elems) append(e.key, e.value, e.deleted);
    bytes out(16 + data.size());
    put32(out, 0, 0x47534D58);
    put32(out, 4, ref_hash(data.data(), data.size()));
    put32(out, 8, static_cast<uint32_t>(elems.size() + 1));
    put32(out, 12, static_cast<uint32_t>(data.size()));
    std::memcpy(out.data() + 16, data.data(), data.size());
    return out;
  }

  // Live values of a key, newest first.
  std::vector<std::string> values(const std::string &key) const {
    std::vector<std::string> out;
    for (auto it = elems.rbegin(); it != elems.rend(); ++it) {
      if (!it->deleted && it->key == key) out.push_back(it->value);
    }
    return out;
  }
};

bytes pack(const ruvo_xmsg_st *msg) {
  bytes out(ruvo_xmsg_pack_size(msg));
  EXPECT_EQ(ruvo_xmsg_pack(msg, out.data(), static_cast<uint32_t>(out.size())),
            static_cast<int64_t>(out.size()));
  return out;
}

ruvo_xmsg_st *unpack(const bytes &b) {
  return ruvo_xmsg_unpack(b.data(), static_cast<uint32_t>(b.size()));
}

int add(ruvo_xmsg_st *msg, const std::string &key, const std::string &value) {
  return ruvo_xmsg_add(msg, key.data(), static_cast<uint16_t>(key.size()), value.data(),
                       static_cast<uint32_t>(value.size()));
}

// Every live value of a key through the cursor, newest first. Checks the
// terminator and that the cursor ends at 0.
std::vector<std::string> cursor_walk(const ruvo_xmsg_st *msg, const std::string &key) {
  std::vector<std::string> out;
  uint32_t cursor = 0;
  uint32_t len = 0;
  while (const void *v = ruvo_xmsg_get(msg, key.data(), static_cast<uint16_t>(key.size()), &len,
                                       &cursor)) {
    const auto *p = static_cast<const char *>(v);
    EXPECT_EQ(p[len], '\0');
    out.emplace_back(p, len);
    if (cursor == 0) break;
  }
  EXPECT_EQ(cursor, 0u);
  return out;
}

std::vector<element> walk(const ruvo_xmsg_st *msg) {
  std::vector<element> out;
  for (ruvo_xmsg_iter_st *it = ruvo_xmsg_first(msg); it != nullptr; it = ruvo_xmsg_next(it)) {
    out.push_back({std::string(reinterpret_cast<const char *>(it->key), it->key_len),
                   std::string(reinterpret_cast<const char *>(it->value), it->value_len)});
  }
  return out;
}

// Compares everything a caller can see of a message with the model.
void expect_matches(const ruvo_xmsg_st *msg, const model &m, const std::vector<std::string> &keys) {
  EXPECT_STREQ(ruvo_xmsg_get_creator(msg), m.creator.c_str());
  EXPECT_EQ(ruvo_xmsg_nelem(msg), m.elems.size());
  EXPECT_EQ(pack(msg), m.image());
  for (const std::string &key : keys) {
    const std::vector<std::string> want = m.values(key);
    EXPECT_EQ(cursor_walk(msg, key), want);
    uint32_t len = 0;
    const void *v = ruvo_xmsg_get(msg, key.data(), static_cast<uint16_t>(key.size()), &len, nullptr);
    if (want.empty()) {
      EXPECT_EQ(v, nullptr);
    } else {
      ASSERT_NE(v, nullptr);
      EXPECT_EQ(std::string(static_cast<const char *>(v), len), want.front());
    }
  }
  std::vector<element> live;
  for (const element &e : m.elems) {
    if (!e.deleted) live.push_back(e);
  }
  const std::vector<element> seen = walk(msg);
  ASSERT_EQ(seen.size(), live.size());
  for (size_t i = 0; i < live.size(); ++i) {
    EXPECT_EQ(seen[i].key, live[i].key);
    EXPECT_EQ(seen[i].value, live[i].value);
  }
}

TEST(Xmsg, WireExampleComesOutByteForByte) {
  const bytes want = {
      0x58, 0x4d, 0x53, 0x47, 0x0b, 0x1c, 0x4b, 0x19, 0x02, 0x00, 0x00, 0x00, 0x28, 0x00,
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x07, 0x00, 0x00, 0x00,
      0x63, 0x72, 0x65, 0x61, 0x74, 0x6f, 0x72, 0x61, 0x62, 0x63, 0x00, 0x00, 0x00, 0x00,
      0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x01, 0x6b, 0x76, 0x00, 0x00};
  ruvo_xmsg_st *msg = ruvo_xmsg_new("abc");
  ASSERT_NE(msg, nullptr);
  ASSERT_EQ(add(msg, "k", "v"), 0);
  EXPECT_EQ(ruvo_xmsg_pack_size(msg), 56u);
  EXPECT_EQ(pack(msg), want);
  bytes small(56, 0xEE);
  EXPECT_EQ(ruvo_xmsg_pack(msg, small.data(), 55), -1);
  EXPECT_EQ(small, bytes(56, 0xEE));
  EXPECT_EQ(model({"abc", {{"k", "v"}}}).image(), want);

  uint32_t len = 0;
  auto *aux = static_cast<uint8_t *>(ruvo_xmsg_pack_aux(msg, &len));
  ASSERT_NE(aux, nullptr);
  EXPECT_EQ(bytes(aux, aux + len), want);
  free(aux);
  ruvo_xmsg_release(msg);
}

TEST(Xmsg, NullCreatorIsTheTextNull) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new(nullptr);
  ASSERT_NE(msg, nullptr);
  EXPECT_STREQ(ruvo_xmsg_get_creator(msg), "(null)");
  const bytes image = pack(msg);
  ASSERT_EQ(image.size(), 16u + 28u);
  EXPECT_EQ(get32(image, 16 + 4), 7u);  // value_len
  EXPECT_EQ(image[16 + 11], 1);          // pad
  EXPECT_EQ(image, model({"(null)", {}}).image());
  ruvo_xmsg_release(msg);
}

TEST(Xmsg, LongCreatorIsCutAtSixteenBits) {
  const std::string text(65536 + 5, 'c');
  ruvo_xmsg_st *msg = ruvo_xmsg_new(text.c_str());
  ASSERT_NE(msg, nullptr);
  EXPECT_EQ(std::string(ruvo_xmsg_get_creator(msg)), "ccccc");
  ruvo_xmsg_release(msg);
}

TEST(Xmsg, CreatorElementIsOutOfReach) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new("me");
  EXPECT_EQ(ruvo_xmsg_get(msg, "creator", 7, nullptr, nullptr), nullptr);
  EXPECT_EQ(ruvo_xmsg_del(msg, "creator", 7), 0u);
  EXPECT_EQ(ruvo_xmsg_nelem(msg), 0u);
  EXPECT_EQ(ruvo_xmsg_first(msg), nullptr);

  ASSERT_EQ(add(msg, "creator", "you"), 0);
  EXPECT_STREQ(static_cast<const char *>(ruvo_xmsg_get(msg, "creator", 7, nullptr, nullptr)), "you");
  EXPECT_STREQ(ruvo_xmsg_get_creator(msg), "me");
  EXPECT_EQ(ruvo_xmsg_del(msg, "creator", 7), 1u);
  EXPECT_STREQ(ruvo_xmsg_get_creator(msg), "me");
  ruvo_xmsg_release(msg);
}

TEST(Xmsg, DuplicateKeysComeNewestFirst) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new("t");
  add(msg, "k", "old");
  add(msg, "j", "other");
  add(msg, "k", "new");
  EXPECT_STREQ(static_cast<const char *>(ruvo_xmsg_get(msg, "k", 1, nullptr, nullptr)), "new");
  EXPECT_EQ(cursor_walk(msg, "k"), (std::vector<std::string>{"new", "old"}));
  EXPECT_EQ(ruvo_xmsg_nelem(msg), 3u);
  // The cursor stays good while the store grows and moves.
  uint32_t cursor = 0;
  ASSERT_NE(ruvo_xmsg_get(msg, "k", 1, nullptr, &cursor), nullptr);
  const uint32_t before = msg->capacity;
  for (int i = 0; i < 2000; ++i) add(msg, "filler" + std::to_string(i), std::string(50, 'x'));
  ASSERT_GT(msg->capacity, before);
  EXPECT_STREQ(static_cast<const char *>(ruvo_xmsg_get(msg, "k", 1, nullptr, &cursor)), "old");
  EXPECT_EQ(cursor, 0u);
  ruvo_xmsg_release(msg);
}

TEST(Xmsg, DeleteHidesElementsButKeepsTheirBytes) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new("t");
  add(msg, "a", "1");
  add(msg, "b", "2");
  add(msg, "a", "3");
  const uint32_t size = ruvo_xmsg_pack_size(msg);
  EXPECT_EQ(ruvo_xmsg_del(msg, "a", 1), 2u);
  EXPECT_EQ(ruvo_xmsg_del(msg, "a", 1), 2u);  // deleted ones still count
  EXPECT_EQ(ruvo_xmsg_del(msg, "zz", 2), 0u);
  const model m{"t", {{"a", "1", true}, {"b", "2"}, {"a", "3", true}}};
  expect_matches(msg, m, {"a", "b"});
  EXPECT_EQ(ruvo_xmsg_pack_size(msg), size);

  ruvo_xmsg_st *copy = unpack(pack(msg));
  ASSERT_NE(copy, nullptr);
  expect_matches(copy, m, {"a", "b"});
  ruvo_xmsg_release(copy);
  ruvo_xmsg_release(msg);
}

TEST(Xmsg, UnpackChecksChecksumAndLengthButNotMagic) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new("t");
  add(msg, "key", "value");
  const bytes image = pack(msg);
  ruvo_xmsg_release(msg);

  for (size_t i = 4; i < image.size(); ++i) {
    if (i >= 8 && i < 12) continue;  // nelem travels outside the checksum
    bytes flipped = image;
    flipped[i] ^= 0x01;
    EXPECT_EQ(unpack(flipped), nullptr) << "byte " << i;
  }
  bytes magic = image;
  magic[0] ^= 0xFF;
  ruvo_xmsg_st *odd = unpack(magic);
  ASSERT_NE(odd, nullptr);
  EXPECT_EQ(pack(odd), image);  // packing writes the true magic again
  ruvo_xmsg_release(odd);

  bytes longer = image;
  longer.resize(image.size() + 7, 0xAB);
  ruvo_xmsg_st *fine = unpack(longer);
  ASSERT_NE(fine, nullptr);
  EXPECT_EQ(pack(fine), image);
  ruvo_xmsg_release(fine);

  for (size_t n = 0; n < image.size(); ++n) {
    bytes cut(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(n));
    EXPECT_EQ(ruvo_xmsg_unpack(cut.data(), static_cast<uint32_t>(n)), nullptr) << n;
  }
  EXPECT_EQ(ruvo_xmsg_unpack(nullptr, 100), nullptr);
}

TEST(Xmsg, UnpackTakesTheHeaderCountAsItStands) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new("t");
  add(msg, "k", "v");
  bytes image = pack(msg);
  ruvo_xmsg_release(msg);
  put32(image, 8, 42);
  ruvo_xmsg_st *odd = unpack(image);
  ASSERT_NE(odd, nullptr);
  EXPECT_EQ(ruvo_xmsg_nelem(odd), 41u);
  EXPECT_EQ(pack(odd), image);
  ruvo_xmsg_release(odd);
}

// Images that pass the checksum but whose elements do not describe the data.
TEST(Xmsg, CraftedImagesAreRefused) {
  const model m{"t", {{"k", "v"}, {"key2", "value2"}}};
  const bytes good = m.image();
  const size_t e1 = 16 + 24, e2 = e1 + 16;  // element 0 is 24 bytes, element 1 is 16
  ASSERT_EQ(good.size(), e2 + 24);
  ruvo_xmsg_st *base = unpack(good);
  ASSERT_NE(base, nullptr) << "the base image must be good";
  ruvo_xmsg_release(base);

  std::vector<std::pair<const char *, bytes>> cases;
  auto edit = [&](const char *what, auto change) {
    bytes b = good;
    change(b);
    reseal(b);
    cases.emplace_back(what, b);
  };
  edit("length 0", [](bytes &b) { b.resize(16), put32(b, 12, 0); });
  edit("length below one element", [](bytes &b) { b.resize(16 + 12), put32(b, 12, 12); });
  edit("length not on an element end", [](bytes &b) { b.resize(b.size() - 4), put32(b, 12, get32(b, 12) - 4); });
  edit("two stray bytes", [](bytes &b) { b.push_back(0), b.push_back(0), put32(b, 12, get32(b, 12) + 2); });
  edit("stride past used", [&](bytes &b) { put32(b, e2 + 4, 6 + 4); });
  edit("creator stride past used", [&](bytes &b) { put32(b, 16 + 4, 0x100); });
  edit("absurd value_len", [&](bytes &b) { put32(b, e1 + 4, 0xFFFFFFF0u); });
  edit("largest value_len", [&](bytes &b) { put32(b, e1 + 4, 0xFFFFFFFFu); });
  edit("key_len 0", [&](bytes &b) { b[e1 + 8] = 0; });
  edit("creator key_len 0", [&](bytes &b) { b[16 + 8] = 0; });
  edit("huge key_len", [&](bytes &b) { b[e1 + 8] = 0xFF, b[e1 + 9] = 0xFF; });
  edit("pad above 3", [&](bytes &b) { b[e1 + 11] = static_cast<uint8_t>(b[e1 + 11] + 4); });
  edit("stride not a multiple of 4", [&](bytes &b) { b[e1 + 11] = static_cast<uint8_t>(b[e1 + 11] - 1); });
  edit("no terminator", [&](bytes &b) { b[e1 + 12 + 1 + 1] = 'x'; });
  for (const auto &[what, image] : cases) {
    // An exact-size heap copy, so that a read past the end is caught.
    std::unique_ptr<uint8_t[]> exact(new uint8_t[image.size()]);
    std::memcpy(exact.get(), image.data(), image.size());
    EXPECT_EQ(ruvo_xmsg_unpack(exact.get(), static_cast<uint32_t>(image.size())), nullptr) << what;
  }
}

TEST(Xmsg, AddRefusesBadArgumentsAndImpossibleSizes) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new("t");
  const bytes before = pack(msg);
  EXPECT_EQ(ruvo_xmsg_add(nullptr, "k", 1, "v", 1), -1);
  EXPECT_EQ(ruvo_xmsg_add(msg, nullptr, 1, "v", 1), -1);
  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 1, nullptr, 0), -1);
  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 0, "v", 1), -1);
  // The size check comes before any byte of the value is read.
  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 1, "v", 0xFFFFFFFFu), -1);
  EXPECT_EQ(ruvo_xmsg_add(msg, "k", 65535, "v", 0xFFFFFFFFu - 65535 - 8), -1);
  EXPECT_EQ(pack(msg), before);
  ruvo_xmsg_release(msg);
}

TEST(Xmsg, NullArgumentsGiveTheEmptyResult) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new("t");
  uint32_t cursor = 7;
  EXPECT_EQ(ruvo_xmsg_get(msg, nullptr, 1, nullptr, &cursor), nullptr);
  EXPECT_EQ(ruvo_xmsg_get(msg, "k", 0, nullptr, &cursor), nullptr);
  EXPECT_EQ(cursor, 7u);
  EXPECT_EQ(ruvo_xmsg_get(msg, "k", 1, nullptr, &cursor), nullptr);
  EXPECT_EQ(cursor, 0u);
  EXPECT_EQ(ruvo_xmsg_del(msg, "k", 0), 0u);
  EXPECT_EQ(ruvo_xmsg_pack_aux(msg, nullptr), nullptr);
  ruvo_xmsg_release(msg);
  ruvo_xmsg_release(nullptr);
  EXPECT_EQ(ruvo_xmsg_nref(nullptr), 0u);
  EXPECT_EQ(ruvo_xmsg_next(nullptr), nullptr);
  EXPECT_EQ(ruvo_xmsg_dup(nullptr), nullptr);
}

TEST(Xmsg, ForeignCursorEndsTheWalk) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new("t");
  add(msg, "k", "v");
  for (uint32_t bad : {1u, 2u, 4u, 8u, msg->used, msg->used + 4, 0xFFFFFFFCu}) {
    uint32_t cursor = bad;
    EXPECT_EQ(ruvo_xmsg_get(msg, "k", 1, nullptr, &cursor), nullptr) << bad;
    EXPECT_EQ(cursor, 0u);
  }
  ruvo_xmsg_release(msg);
}

TEST(Xmsg, IterationReachesElementsAddedOnTheWay) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new("t");
  add(msg, "first", "1");
  std::vector<std::string> seen;
  int added = 0;
  for (ruvo_xmsg_iter_st *it = ruvo_xmsg_first(msg); it != nullptr; it = ruvo_xmsg_next(it)) {
    seen.emplace_back(reinterpret_cast<const char *>(it->key), it->key_len);
    // Each add grows the store: the walk must go on from its offset.
    if (added < 3) add(msg, "more" + std::to_string(added++), std::string(300, 'm'));
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"first", "more0", "more1", "more2"}));

  // A walk stopped early is freed by the caller.
  ruvo_xmsg_iter_st *it = ruvo_xmsg_first(msg);
  ASSERT_NE(it, nullptr);
  free(it);
  ruvo_xmsg_release(msg);
}

TEST(Xmsg, ReferencesCopiesAndGrowth) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new("t");
  EXPECT_EQ(msg->capacity, 64u);
  add(msg, "k", std::string(40, 'v'));
  EXPECT_EQ(msg->capacity, 128u);
  EXPECT_EQ(ruvo_xmsg_retain(msg), msg);
  EXPECT_EQ(ruvo_xmsg_nref(msg), 2u);
  ruvo_xmsg_release(msg);
  EXPECT_EQ(ruvo_xmsg_nref(msg), 1u);

  ruvo_xmsg_st *copy = ruvo_xmsg_dup(msg);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(ruvo_xmsg_nref(copy), 1u);
  EXPECT_EQ(copy->capacity, 128u);
  ruvo_xmsg_del(msg, "k", 1);
  EXPECT_NE(ruvo_xmsg_get(copy, "k", 1, nullptr, nullptr), nullptr);
  ruvo_xmsg_release(copy);

  // An unpacked store is exactly full and doubles from there.
  copy = unpack(pack(msg));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->capacity, copy->used);
  const uint32_t from = copy->capacity;
  add(copy, "j", "w");
  EXPECT_EQ(copy->capacity, 2 * from);
  ruvo_xmsg_release(copy);
  ruvo_xmsg_release(msg);
}

// Random keys (zero bytes, case variants, prefixes), repeated keys, empty and
// long values, deletes; after each step the message must equal the model, and
// after unpacking its image, so must the copy.
TEST(Xmsg, RandomMessagesMatchTheModelAndRoundTrip) {
  std::mt19937 rng(12345);
  auto random_text = [&](size_t n) {
    std::string s(n, '\0');
    for (char &c : s) c = static_cast<char>(rng() % 4 == 0 ? 0 : rng() % 256);
    return s;
  };
  for (int round = 0; round < 12; ++round) {
    std::vector<std::string> keys;
    for (int i = 0; i < 12; ++i) keys.push_back(random_text(1 + rng() % 6));
    keys.push_back("A");
    keys.push_back("a");
    keys.push_back("aa");
    model m{random_text(rng() % 20), {}};
    m.creator = m.creator.c_str();  // the creator is text
    ruvo_xmsg_st *msg = ruvo_xmsg_new(m.creator.c_str());
    ASSERT_NE(msg, nullptr);
    const int steps = 10 + static_cast<int>(rng() % 120);
    for (int s = 0; s < steps; ++s) {
      const std::string &key = keys[rng() % keys.size()];
      if (rng() % 5 == 0) {
        uint32_t want = 0;
        for (element &e : m.elems) {
          if (e.key == key) e.deleted = true, ++want;
        }
        ASSERT_EQ(ruvo_xmsg_del(msg, key.data(), static_cast<uint16_t>(key.size())), want);
      } else {
        const size_t len = rng() % 16 == 0 ? 3000 + rng() % 3000 : rng() % 40;
        const std::string value = random_text(len);
        ASSERT_EQ(add(msg, key, value), 0);
        m.elems.push_back({key, value});
      }
    }
    expect_matches(msg, m, keys);
    const bytes image = pack(msg);
    ruvo_xmsg_st *copy = unpack(image);
    ASSERT_NE(copy, nullptr);
    expect_matches(copy, m, keys);
    ruvo_xmsg_st *dup = ruvo_xmsg_dup(copy);
    ASSERT_NE(dup, nullptr);
    // Both go on the same way after more adds.
    for (ruvo_xmsg_st *x : {copy, dup}) add(x, keys[0], "after");
    m.elems.push_back({keys[0], "after"});
    expect_matches(copy, m, keys);
    expect_matches(dup, m, keys);
    ruvo_xmsg_release(dup);
    ruvo_xmsg_release(copy);
    ruvo_xmsg_release(msg);
  }
}

int debug_child(const std::vector<std::string> &) {
  ruvo_xmsg_st *msg = ruvo_xmsg_new("hidden");
  add(msg, "k", "v");
  add(msg, "gone", "x");
  add(msg, "cut", std::string("ab\0cd", 5));
  add(msg, "empty", "");
  ruvo_xmsg_del(msg, "gone", 4);
  ruvo_xmsg_debug(msg);
  std::fflush(stdout);
  ruvo_xmsg_release(msg);
  return 0;
}
const bool debug_child_registered = ruvo_test::register_child("xmsg-debug", &debug_child);

TEST(Xmsg, DebugPrintsLiveElementsButTheCreator) {
  ASSERT_TRUE(debug_child_registered);
  std::string out;
  ASSERT_EQ(ruvo_test::run_child("xmsg-debug", {}, &out), 0);
  std::string text;
  for (char c : out) {
    if (c != '\r') text += c;
  }
  EXPECT_EQ(text, "[k] => [v]\n[cut] => [ab]\n[empty] => []\n");
}

}  // namespace
