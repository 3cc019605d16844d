// Address, mask, range and MAC text from untrusted input. The text is handed
// over as an exact-size heap copy with its terminator, so a read past the
// end is an ASan report. Beyond not crashing, every parser must keep its
// contract: a refused text leaves the output as it was; an accepted address
// prints and reads back to the same record; an accepted range is one family,
// low not above high, and reads back from its printed form; the MAC parser
// agrees with a reference written here, byte for byte.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "ruvo/base/l3.h"

namespace {

using Addr = ruvo_l3_addr_st;
using Range = ruvo_l3_range_st;

void require(bool ok) {
  if (!ok) std::abort();
}

bool same(const void *a, const void *b, size_t n) { return std::memcmp(a, b, n) == 0; }
bool is6(const Addr &a) { return !(a.u8[0] == 0xff && a.u8[1] == 0xbf); }

std::unique_ptr<char[]> exact(const std::string &t) {
  auto p = std::make_unique<char[]>(t.size() + 1);
  std::memcpy(p.get(), t.c_str(), t.size() + 1);
  return p;
}

// Prints `a` and reads the text back: the record must come back whole.
void round_trip(const Addr &a) {
  char buf[64];
  const int32_t n = ruvo_l3_addr_to_string(&a, buf, sizeof buf);
  require(n > 0 && n <= 45 && std::strlen(buf) == size_t(n));
  Addr back;
  require(ruvo_l3_string_to_addr(exact(buf).get(), &back) == 0 && same(&back, &a, sizeof a));
}

void check_address(const char *text) {
  Addr out, mask, pattern;
  std::memset(&pattern, 0xa5, sizeof pattern);
  out = mask = pattern;
  const int32_t rc = ruvo_l3_string_to_addr(text, &out);
  const int32_t type = ruvo_l3_string_type(text);
  const int32_t mrc = ruvo_l3_string_to_mask(text, &mask);
  require(rc == 0 || rc == -1);
  if (rc != 0) {
    require(same(&out, &pattern, sizeof out) && type == RUVO_L3_AF_NONE);
    require(mrc == -1 && same(&mask, &pattern, sizeof mask));
    return;
  }
  require(type == (is6(out) ? RUVO_L3_AF_IPV6 : RUVO_L3_AF_IPV4));
  require(is6(out) == (std::strchr(text, ':') != nullptr));
  if (!is6(out)) require(out.u8[2] == 0 && out.u8[3] == 0 && out.u32[1] == 0 && out.u32[2] == 0);
  round_trip(out);
  const bool valid = ruvo_l3_is_mask_valid(&out) == 1;
  require(mrc == (valid ? 0 : -1) && same(&mask, valid ? &out : &pattern, sizeof mask));
}

void check_string_mask(const char *text) {
  Addr out;
  const int32_t rc = ruvo_l3_get_string_mask(text, &out);
  require(rc == 0 || rc == -1 || rc == -2 || rc == -3 || rc == -4 || rc == -6);
  if (std::strlen(text) >= 128) require(rc == -2);
  else if (std::strchr(text, '/') == nullptr) require(rc == -1);
  if (rc == 0) require(ruvo_l3_is_mask_valid(&out) == 1);
}

void check_range(const char *text) {
  Range r, pattern;
  std::memset(&pattern, 0x5a, sizeof pattern);
  r = pattern;
  const int32_t rc = ruvo_l3_string_to_range(text, &r);
  require(rc >= -10 && rc <= 8 && rc != 0 && rc != -2);
  if (std::strlen(text) >= 128) require(rc == -1);
  if (rc < 0) {
    require(same(&r, &pattern, sizeof r));
    return;
  }
  require(is6(r.low) == is6(r.high) && (rc % 2 == 0) == is6(r.low));
  require(ruvo_l3_addr_cmp(&r.low, &r.high) <= 0);
  char buf[100];
  const int32_t n = ruvo_l3_range_to_string(&r, buf, sizeof buf);
  require(n >= 3 && std::strlen(buf) == size_t(n));
  Range back;
  require(ruvo_l3_string_to_range(exact(buf).get(), &back) == (is6(r.low) ? 8 : 7));
  require(ruvo_l3_is_range_equal(&back, &r) == 1);
}

int hex(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Two hex digits a byte, one kind of separator, done at the sixth byte.
int32_t mac_reference(const char *t, uint8_t *mac) {
  char sep = 0;
  for (int i = 0; i < 6; ++i) {
    if (i > 0) {
      if ((*t != ':' && *t != '-') || (sep != 0 && *t != sep)) return -1;
      sep = *t++;
    }
    if (hex(t[0]) < 0 || hex(t[1]) < 0) return -1;
    mac[i] = uint8_t(hex(t[0]) << 4 | hex(t[1]));
    t += 2;
  }
  return 0;
}

void check_mac(const char *text) {
  uint8_t got[6], want[6];
  std::memset(got, 0xee, sizeof got);
  std::memset(want, 0xee, sizeof want);
  require(ruvo_string_to_macaddr(text, got) == mac_reference(text, want));
  require(same(got, want, sizeof got));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string t(reinterpret_cast<const char *>(data), size);
  const auto text = exact(t);  // cut at the first zero byte, if any
  check_address(text.get());
  check_string_mask(text.get());
  check_range(text.get());
  check_mac(text.get());
  return 0;
}
