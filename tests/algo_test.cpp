// The algorithm library against published vectors and against hashlib and
// openssl (data/algo_vectors.txt, written by data/algo_vectors.py); random
// splits into updates on both SHA-256 paths; DES round trips. Linked to the
// static build, which reaches the SHA-256 path switch.
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
using ruvo::algo::sha256_path;

bytes from_hex(const std::string &hex) {
  bytes out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2)
    out.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  return out;
}

std::string to_hex(const uint8_t *p, size_t n) {
  static const char kHex[] = "0123456789abcdef";
  std::string s;
  for (size_t i = 0; i < n; ++i) s += {kHex[p[i] >> 4], kHex[p[i] & 15]};
  return s;
}

// A digest of `data` fed in pieces of the given lengths, the rest in the last update.
template <class Ctx, size_t N, auto init, auto update, auto final>
std::string digest(const bytes &data, const std::vector<size_t> &pieces) {
  Ctx ctx;
  init(&ctx);
  size_t at = 0;
  for (size_t n : pieces) update(&ctx, data.data() + at, n), at += n;
  update(&ctx, data.data() + at, data.size() - at);
  uint8_t d[N];
  final(&ctx, d);
  return to_hex(d, N);
}
constexpr auto md5 = digest<ruvo_md5_ctx, 16, ruvo_md5_init, ruvo_md5_update, ruvo_md5_final>;
constexpr auto sha256 =
    digest<ruvo_sha256_ctx, 32, ruvo_sha256_init, ruvo_sha256_update, ruvo_sha256_final>;

// ECB over whole blocks, either way.
std::string des(const bytes &key, const bytes &in, bool encrypt) {
  ruvo_des_ctx ctx;
  ruvo_des_set_key(&ctx, key.data());
  bytes out(in.size());
  const auto block = encrypt ? ruvo_des_encrypt : ruvo_des_decrypt;
  for (size_t i = 0; i < in.size(); i += 8) block(&ctx, &in[i], &out[i]);
  return to_hex(out.data(), out.size());
}

// A few published vectors in the generated table's form (FIPS 180-2 "abc",
// RFC 1321 "message digest", FIPS 81 "Now is t"), beside hashlib and openssl.
const char *const kPublished[] = {
    "sha256 616263 ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
    "md5 6d65737361676520646967657374 f96b697d7cb7938d525a2f31aaf161d0",
    "des 0123456789abcdef 4e6f772069732074 3fa40e8a984d4815",
};

// "md5|sha256 <input> <digest>" or "des <key> <clear> <enciphered>", in hex ("-": no input).
void check(const std::string &line) {
  std::istringstream f(line);
  std::string algo, a, b, c;
  f >> algo >> a >> b >> c;
  if (algo == "des") {
    EXPECT_EQ(des(from_hex(a), from_hex(b), true), c) << line;
    EXPECT_EQ(des(from_hex(a), from_hex(c), false), b) << line;
  } else {
    EXPECT_EQ((algo == "md5" ? md5 : sha256)(from_hex(a), {}), b) << line;
  }
}

TEST(AlgoVectors, PublishedAndGeneratedTables) {
  for (const char *line : kPublished) check(line);
  const std::string file = __FILE__;
  const std::string path = file.substr(0, file.find_last_of("/\\") + 1) + "data/algo_vectors.txt";
  std::ifstream in(path);
  ASSERT_TRUE(in.is_open()) << path;
  int cases = 0;
  for (std::string line; std::getline(in, line); ++cases)
    if (line[0] != '#') check(line);
  EXPECT_GT(cases, 300);
}

bool has(const std::string &flags, const char *flag) {
  return (flags + " ").find(flag) != std::string::npos;
}

// Random inputs in random pieces: MD5 as in one update, SHA-256 on SHA-NI (when
// the CPU has it) as portable in one update. DES deciphers what it enciphered.
TEST(AlgoRandom, SplitsPathsAndDesRoundTrips) {
  const bool shani = ruvo::algo::sha256_shani_supported();
  const sha256_path best = shani ? sha256_path::shani : sha256_path::portable;
  std::ifstream cpuinfo("/proc/cpuinfo");  // the flags as Linux reports them, where it does
  for (std::string line; std::getline(cpuinfo, line);) {
    if (line.rfind("flags", 0) != 0) continue;
    EXPECT_EQ(shani, has(line, " sha_ni ") && has(line, " sse4_1 ")) << line;
  }
  EXPECT_EQ(ruvo::algo::sha256_active(), best);
  std::mt19937 rng(7);
  for (int round = 0; round < 300; ++round) {
    bytes data(rng() % 1000), key(8), block(8);
    for (bytes *v : {&data, &key, &block})
      for (auto &b : *v) b = static_cast<uint8_t>(rng());
    std::vector<size_t> pieces;
    for (size_t left = data.size(); left > 0; left -= pieces.back())
      pieces.push_back(rng() % 3 == 0 ? 0 : rng() % (left + 1));
    EXPECT_EQ(md5(data, pieces), md5(data, {})) << round;
    ASSERT_TRUE(ruvo::algo::sha256_force(sha256_path::portable));
    const std::string portable = sha256(data, {});
    ASSERT_EQ(ruvo::algo::sha256_force(sha256_path::shani), shani);
    EXPECT_EQ(sha256(data, pieces), portable) << round;
    const std::string sealed = des(key, block, true);
    EXPECT_NE(sealed, to_hex(block.data(), 8));
    EXPECT_EQ(des(key, from_hex(sealed), false), to_hex(block.data(), 8));
  }
  EXPECT_EQ(ruvo::algo::sha256_active(), best);
  ASSERT_TRUE(ruvo::algo::sha256_force(sha256_path::portable));
  EXPECT_TRUE(ruvo::algo::sha256_force(sha256_path::automatic));
  EXPECT_EQ(ruvo::algo::sha256_active(), best);
}

TEST(AlgoArgs, NullsEmptyInputsTheBitCountAndTheStringHash) {
  uint8_t d[16] = {};
  char text[34];
  std::memset(text, 'x', sizeof text);
  EXPECT_EQ(ruvo_md5_calc(nullptr, 1, d) + ruvo_md5_calc("abc", 3, nullptr), 2);
  EXPECT_EQ(ruvo_md5_calc(nullptr, 0, d), 0);
  EXPECT_EQ(to_hex(d, 16), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(ruvo_md5_calc("abc", 3, d), 0);
  ruvo_md5_bin2str(d, text);
  EXPECT_EQ(std::string(text, 34), std::string("900150983cd24fb0d6963f7d28e17f72\0x", 34));

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
  EXPECT_EQ(std::string(text), "900150983cd24fb0d6963f7d28e17f72");

  ruvo_md5_ctx ctx;
  ruvo_md5_init(&ctx);
  ctx.count[0] = 0xfffffff8u;  // the bit count carries into its high word
  ruvo_md5_update(&ctx, "xy", 2);
  EXPECT_TRUE(ctx.count[0] == 8u && ctx.count[1] == 1u);

  // FNV-1a 64 over the bytes, high ones unsigned; null gives 0.
  const std::pair<const char *, uint64_t> hashes[] = {{"", 0xcbf29ce484222325ull},
      {"foobar", 0x85944171f73967e8ull}, {"\xff\x80", 0x0a9a2607b6f6e56aull}, {nullptr, 0}};
  for (const auto &[input, want] : hashes) EXPECT_EQ(ruvo_str_hash_a(input), want) << !input;
}

}  // namespace
