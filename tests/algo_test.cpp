// The algorithm library: published vectors (FIPS 180, RFC 1321, FIPS 46 and
// the NBS tables) in one table; random inputs and keys against hashlib and
// openssl (data/algo_vectors.txt, written by data/algo_vectors.py); random
// splits into updates; DES round trips; and both SHA-256 paths forced in
// turn. Linked to the static build, which reaches the SHA-256 path switch.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ruvo/algo/algo.h"
#include "sha256_dispatch.hpp"

namespace {

using bytes = std::vector<uint8_t>;

bytes from_hex(const std::string &hex) {
  bytes out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) out.push_back(std::stoi(hex.substr(i, 2), nullptr, 16));
  return out;
}

std::string to_hex(const uint8_t *p, size_t n) {
  static const char kHex[] = "0123456789abcdef";
  std::string s;
  for (size_t i = 0; i < n; ++i) s += {kHex[p[i] >> 4], kHex[p[i] & 15]};
  return s;
}

// Digests in pieces of the given lengths (the rest in the last update).
std::string md5(const bytes &data, const std::vector<size_t> &pieces = {}) {
  ruvo_md5_ctx ctx;
  ruvo_md5_init(&ctx);
  size_t at = 0;
  for (size_t n : pieces) ruvo_md5_update(&ctx, data.data() + at, n), at += n;
  ruvo_md5_update(&ctx, data.data() + at, data.size() - at);
  uint8_t d[16];
  ruvo_md5_final(&ctx, d);
  return to_hex(d, 16);
}

std::string sha256(const bytes &data, const std::vector<size_t> &pieces = {}) {
  ruvo_sha256_ctx ctx;
  ruvo_sha256_init(&ctx);
  size_t at = 0;
  for (size_t n : pieces) ruvo_sha256_update(&ctx, data.data() + at, n), at += n;
  ruvo_sha256_update(&ctx, data.data() + at, data.size() - at);
  uint8_t d[32];
  ruvo_sha256_final(&ctx, d);
  return to_hex(d, 32);
}

// ECB over whole blocks, either way.
std::string des(const bytes &key, const bytes &in, bool encrypt) {
  ruvo_des_ctx ctx;
  ruvo_des_set_key(&ctx, key.data());
  bytes out(in.size());
  for (size_t i = 0; i < in.size(); i += 8) {
    (encrypt ? ruvo_des_encrypt : ruvo_des_decrypt)(&ctx, in.data() + i, out.data() + i);
  }
  return to_hex(out.data(), out.size());
}

std::string run(const std::string &algo, const bytes &key, const bytes &in) {
  if (algo == "md5") return md5(in);
  if (algo == "sha256") return sha256(in);
  return des(key, in, true);
}

struct vector_row {
  const char *algo;
  const char *key;   // DES key in hex
  const char *text;  // input: ASCII for the digests, hex for DES
  size_t repeat;     // times the text is repeated
  const char *want;
};

const vector_row kPublished[] = {
    {"sha256", "", "", 1, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
    {"sha256", "", "abc", 1, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {"sha256", "", "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", 1,
     "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
    {"sha256", "", "a", 1000000, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    {"md5", "", "", 1, "d41d8cd98f00b204e9800998ecf8427e"},
    {"md5", "", "a", 1, "0cc175b9c0f1b6a831c399e269772661"},
    {"md5", "", "abc", 1, "900150983cd24fb0d6963f7d28e17f72"},
    {"md5", "", "message digest", 1, "f96b697d7cb7938d525a2f31aaf161d0"},
    {"md5", "", "abcdefghijklmnopqrstuvwxyz", 1, "c3fcd3d76192e4007dfb496cca67e13b"},
    {"md5", "", "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", 1,
     "d174ab98d277d9f5a5611c2c9f419d9f"},
    {"md5", "", "1234567890", 8, "57edf4a22be3c955ac49da2e2107b67a"},
    {"des", "0123456789abcdef", "4e6f772069732074", 1, "3fa40e8a984d4815"},
    {"des", "133457799bbcdff1", "0123456789abcdef", 1, "85e813540f0ab405"},
    {"des", "0101010101010101", "8000000000000000", 1, "95f8a5e5dd31d900"},
    {"des", "0101010101010101", "4000000000000000", 1, "dd7f121ca5015619"},
    {"des", "8001010101010101", "0000000000000000", 1, "95a8d72813daa94d"},
    {"des", "4001010101010101", "0000000000000000", 1, "0eec1487dd8c26d5"},
};

TEST(AlgoVectors, PublishedVectors) {
  for (const auto &row : kPublished) {
    const bool cipher = std::strcmp(row.algo, "des") == 0;
    bytes in;
    for (size_t i = 0; i < row.repeat; ++i) {
      const bytes piece = cipher ? from_hex(row.text) : bytes(row.text, row.text + std::strlen(row.text));
      in.insert(in.end(), piece.begin(), piece.end());
    }
    EXPECT_EQ(run(row.algo, from_hex(row.key), in), row.want) << row.algo << " " << row.text;
    if (cipher) {
      EXPECT_EQ(des(from_hex(row.key), from_hex(row.want), false), row.text);
    }
  }
}

TEST(AlgoVectors, RandomInputsAgreeWithHashlibAndOpenssl) {
  const std::string file = __FILE__, path = file.substr(0, file.find_last_of("/\\") + 1) + "data/algo_vectors.txt";
  std::ifstream in(path);
  ASSERT_TRUE(in.is_open()) << path;
  int cases = 0;
  for (std::string line, algo, a, b, c; std::getline(in, line);) {
    std::istringstream f(line);
    if (!(f >> algo >> a >> b) || algo[0] == '#') continue;
    if (algo == "des" && f >> c) {
      EXPECT_EQ(des(from_hex(a), from_hex(b), true), c) << line;
      EXPECT_EQ(des(from_hex(a), from_hex(c), false), b) << line;
    } else {
      EXPECT_EQ(run(algo, {}, from_hex(a == "-" ? "" : a)), b) << line;
    }
    ++cases;
  }
  EXPECT_GT(cases, 300);
}

TEST(AlgoStreaming, AnySplitGivesTheSameDigest) {
  std::mt19937 rng(7);
  for (int round = 0; round < 200; ++round) {
    bytes data(rng() % 700);
    for (auto &b : data) b = static_cast<uint8_t>(rng());
    std::vector<size_t> pieces;
    for (size_t left = data.size(); left > 0;) {
      pieces.push_back(rng() % 3 == 0 ? 0 : rng() % (left + 1));
      left -= pieces.back();
    }
    EXPECT_EQ(md5(data, pieces), md5(data)) << round;
    EXPECT_EQ(sha256(data, pieces), sha256(data)) << round;
  }
}

TEST(AlgoStreaming, Md5ContextHoldsStateAndBitCount) {
  ruvo_md5_ctx ctx;
  ruvo_md5_init(&ctx);
  EXPECT_EQ(ctx.state[0], 0x67452301u);
  EXPECT_EQ(ctx.state[3], 0x10325476u);
  // The count carries into its high word.
  ctx.count[0] = 0xfffffff8u;
  ruvo_md5_update(&ctx, "xy", 2);
  EXPECT_EQ(ctx.count[0], 8u);
  EXPECT_EQ(ctx.count[1], 1u);
}

TEST(AlgoDes, DecryptUndoesEncryptForRandomKeys) {
  std::mt19937 rng(11);
  for (int round = 0; round < 500; ++round) {
    bytes key(8), block(8);
    for (auto &b : key) b = static_cast<uint8_t>(rng());
    for (auto &b : block) b = static_cast<uint8_t>(rng());
    const std::string sealed = des(key, block, true);
    EXPECT_NE(sealed, to_hex(block.data(), 8));
    EXPECT_EQ(des(key, from_hex(sealed), false), to_hex(block.data(), 8));
  }
}

TEST(AlgoSha256Paths, ShaniAndPortableGiveTheSameDigests) {
  using ruvo::algo::sha256_path;
  std::mt19937 rng(3);
  std::vector<bytes> inputs;
  for (int i = 0; i < 100; ++i) {
    inputs.emplace_back(rng() % 1000);
    for (auto &b : inputs.back()) b = static_cast<uint8_t>(rng());
  }
  ASSERT_TRUE(ruvo::algo::sha256_force(sha256_path::portable));
  std::vector<std::string> portable;
  for (const auto &in : inputs) portable.push_back(sha256(in));
  EXPECT_EQ(sha256(bytes{'a', 'b', 'c'}), kPublished[1].want);

  if (!ruvo::algo::sha256_shani_supported()) {
    EXPECT_FALSE(ruvo::algo::sha256_force(sha256_path::shani));
    GTEST_SKIP() << "this CPU has no SHA extensions (no sha_ni in /proc/cpuinfo): "
                    "the SHA-NI half is not compared";
  }
  ASSERT_TRUE(ruvo::algo::sha256_force(sha256_path::shani));
  for (size_t i = 0; i < inputs.size(); ++i) EXPECT_EQ(sha256(inputs[i]), portable[i]) << i;
  EXPECT_TRUE(ruvo::algo::sha256_force(sha256_path::automatic));
  EXPECT_EQ(sha256(inputs[0]), portable[0]);
}

TEST(AlgoArgs, NullAndEmptyInputs) {
  uint8_t d[16] = {};
  EXPECT_EQ(ruvo_md5_calc(nullptr, 1, d), 1);
  EXPECT_EQ(ruvo_md5_calc("abc", 3, nullptr), 1);
  EXPECT_EQ(ruvo_md5_calc(nullptr, 0, d), 0);
  EXPECT_EQ(to_hex(d, 16), kPublished[4].want);
  EXPECT_EQ(ruvo_md5_calc("abc", 3, d), 0);
  EXPECT_EQ(to_hex(d, 16), kPublished[6].want);

  char text[34];
  std::memset(text, 'x', sizeof text);
  ruvo_md5_bin2str(d, text);
  EXPECT_EQ(std::string(text), kPublished[6].want);
  EXPECT_EQ(text[33], 'x');

  // Null contexts and buffers change nothing and do not crash.
  ruvo_md5_init(nullptr);
  ruvo_md5_update(nullptr, "a", 1);
  ruvo_md5_final(nullptr, d);
  ruvo_md5_bin2str(nullptr, text);
  ruvo_sha256_init(nullptr);
  ruvo_sha256_update(nullptr, "a", 1);
  ruvo_sha256_final(nullptr, d);
  ruvo_des_set_key(nullptr, d);
  ruvo_des_encrypt(nullptr, d, d);
  ruvo_des_decrypt(nullptr, d, d);
  EXPECT_EQ(std::string(text), kPublished[6].want);
}

TEST(AlgoStrHash, IsFnv1a64OfTheBytes) {
  EXPECT_EQ(ruvo_str_hash_a(""), 0xcbf29ce484222325ull);
  EXPECT_EQ(ruvo_str_hash_a("a"), 0xaf63dc4c8601ec8cull);
  EXPECT_EQ(ruvo_str_hash_a("foobar"), 0x85944171f73967e8ull);
  EXPECT_EQ(ruvo_str_hash_a("\xff\x80"), ruvo_str_hash_a("\xff\x80"));
  EXPECT_EQ(ruvo_str_hash_a(nullptr), 0u);
}

}  // namespace
