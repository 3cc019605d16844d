// A small zip reader for tests and the fuzz target, written from the format
// and independent of the writer: it finds the end records, walks the central
// directory, checks each local header against its central record, deciphers
// and inflates each entry and checks its size and CRC. Errors are texts.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
#include <vector>

namespace ruvo_test {

struct ZipItem {
  std::string name, data;
  uint32_t dos_time = 0, crc = 0;
  uint16_t flags = 0, method = 0;
};

struct ZipRead {
  std::string error;  // empty when the archive is sound
  std::vector<ZipItem> items;
  std::string comment;
  bool zip64_end = false;  // the archive has a Zip64 end record
};

namespace zip_detail {

inline uint64_t le(const std::string &s, uint64_t at, int n) {
  uint64_t v = 0;
  for (int i = n - 1; i >= 0; --i) v = v << 8 | static_cast<uint8_t>(s[at + i]);
  return v;
}

inline bool fits(const std::string &s, uint64_t at, uint64_t n) { return at <= s.size() && n <= s.size() - at; }

// The traditional PKWARE cipher, deciphering side.
struct Keys {
  uint32_t k[3] = {0x12345678u, 0x23456789u, 0x34567890u};
  static uint32_t step(uint32_t c, uint8_t b) { return static_cast<uint32_t>(get_crc_table()[(c ^ b) & 0xFF]) ^ (c >> 8); }
  void update(uint8_t p) {
    k[0] = step(k[0], p);
    k[1] = (k[1] + (k[0] & 0xFF)) * 134775813u + 1;
    k[2] = step(k[2], static_cast<uint8_t>(k[1] >> 24));
  }
  uint8_t decrypt(uint8_t c) {
    const uint32_t t = (k[2] | 2) & 0xFFFF;
    const uint8_t p = c ^ static_cast<uint8_t>((t * (t ^ 1)) >> 8);
    update(p);
    return p;
  }
};

inline bool inflate_raw(const std::string &in, std::string *out, uint64_t size) {
  z_stream z{};
  if (inflateInit2(&z, -15) != Z_OK) return false;
  out->assign(size, '\0');
  z.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(in.data()));
  z.avail_in = static_cast<uInt>(in.size());
  z.next_out = reinterpret_cast<Bytef *>(out->data());
  z.avail_out = static_cast<uInt>(size);
  const int r = inflate(&z, Z_FINISH);
  const bool ok = r == Z_STREAM_END && z.avail_out == 0 && z.avail_in == 0;
  inflateEnd(&z);
  return ok;
}

}  // namespace zip_detail

// Reads an archive held in memory; `password` deciphers encrypted entries.
inline ZipRead read_zip(const std::string &s, const std::string &password = "") {
  using namespace zip_detail;
  ZipRead out;
  auto fail = [&](const std::string &why) { out.error = why; return out; };
  if (s.size() < 22) return fail("too short");
  uint64_t e = s.size() - 22;
  while (!(le(s, e, 4) == 0x06054b50 && e + 22 + le(s, e + 20, 2) == s.size())) {
    if (e == 0 || s.size() - e > 22 + 65535) return fail("no end record");
    --e;
  }
  uint64_t count = le(s, e + 10, 2), cd_size = le(s, e + 12, 4), cd_off = le(s, e + 16, 4);
  out.comment = s.substr(e + 22);
  if (e >= 20 && le(s, e - 20, 4) == 0x07064b50) {
    const uint64_t z = le(s, e - 12, 8);
    if (!fits(s, z, 56) || le(s, z, 4) != 0x06064b50) return fail("bad zip64 end");
    count = le(s, z + 32, 8);
    cd_size = le(s, z + 40, 8);
    cd_off = le(s, z + 48, 8);
    out.zip64_end = true;
  }
  if (!fits(s, cd_off, cd_size)) return fail("directory outside the file");
  uint64_t p = cd_off;
  for (uint64_t i = 0; i < count; ++i) {
    if (!fits(s, p, 46) || le(s, p, 4) != 0x02014b50) return fail("bad central record");
    ZipItem it;
    it.flags = static_cast<uint16_t>(le(s, p + 8, 2));
    it.method = static_cast<uint16_t>(le(s, p + 10, 2));
    it.dos_time = static_cast<uint32_t>(le(s, p + 12, 4));
    it.crc = static_cast<uint32_t>(le(s, p + 16, 4));
    uint64_t csize = le(s, p + 20, 4), usize = le(s, p + 24, 4), h = le(s, p + 42, 4);
    const uint64_t nlen = le(s, p + 28, 2), xlen = le(s, p + 30, 2), clen = le(s, p + 32, 2);
    if (!fits(s, p + 46, nlen + xlen + clen)) return fail("central record too long");
    it.name = s.substr(p + 46, nlen);
    for (uint64_t x = p + 46 + nlen; x + 4 <= p + 46 + nlen + xlen;) {
      const uint64_t tag = le(s, x, 2), len = le(s, x + 2, 2);
      if (x + 4 + len > p + 46 + nlen + xlen) return fail("extra field too long");
      if (tag == 1) {
        uint64_t q = x + 4;
        for (uint64_t *v : {&usize, &csize, &h}) {
          if (*v != 0xFFFFFFFFu) continue;
          if (q + 8 > x + 4 + len) return fail("short zip64 field");
          *v = le(s, q, 8);
          q += 8;
        }
      }
      x += 4 + len;
    }
    p += 46 + nlen + xlen + clen;

    // The local header must say what the central record says.
    if (!fits(s, h, 30) || le(s, h, 4) != 0x04034b50) return fail(it.name + ": no local header");
    const uint64_t lnlen = le(s, h + 26, 2), lxlen = le(s, h + 28, 2);
    if (!fits(s, h + 30, lnlen + lxlen) || s.substr(h + 30, lnlen) != it.name) return fail(it.name + ": local name");
    if (le(s, h + 6, 2) != it.flags || le(s, h + 8, 2) != it.method || le(s, h + 10, 4) != it.dos_time ||
        le(s, h + 14, 4) != it.crc) {
      return fail(it.name + ": local header differs");
    }
    uint64_t lcsize = le(s, h + 18, 4), lusize = le(s, h + 22, 4);
    if (lcsize == 0xFFFFFFFFu || lusize == 0xFFFFFFFFu) {
      const uint64_t x = h + 30 + lnlen;
      if (lxlen < 20 || le(s, x, 2) != 1 || le(s, x + 2, 2) != 16) return fail(it.name + ": local zip64 field");
      lusize = le(s, x + 4, 8);
      lcsize = le(s, x + 12, 8);
    }
    if (lcsize != csize || lusize != usize) return fail(it.name + ": local sizes differ");
    const uint64_t d = h + 30 + lnlen + lxlen;
    if (!fits(s, d, csize)) return fail(it.name + ": data outside the file");
    std::string raw = s.substr(d, csize);
    if (it.flags & 1) {
      if (raw.size() < 12) return fail(it.name + ": no cipher header");
      Keys k;
      for (char c : password) k.update(static_cast<uint8_t>(c));
      for (char &c : raw) c = static_cast<char>(k.decrypt(static_cast<uint8_t>(c)));
      if (static_cast<uint8_t>(raw[11]) != it.crc >> 24) return fail(it.name + ": wrong check byte");
      raw.erase(0, 12);
    }
    if (it.method == 0) {
      if (raw.size() != usize) return fail(it.name + ": stored size");
      it.data = raw;
    } else if (it.method != 8 || !inflate_raw(raw, &it.data, usize)) {
      return fail(it.name + ": does not inflate to its size");
    }
    if (crc32(0, reinterpret_cast<const Bytef *>(it.data.data()), static_cast<uInt>(it.data.size())) != it.crc) {
      return fail(it.name + ": CRC");
    }
    out.items.push_back(std::move(it));
  }
  if (p != cd_off + cd_size) return fail("directory size");
  return out;
}

}  // namespace ruvo_test
