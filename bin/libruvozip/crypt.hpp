// The traditional PKWARE stream cipher ("ZipCrypto"): three 32-bit keys
// stirred by every plain byte through CRC-32 steps and a linear
// congruential step. It protects nothing against an attacker; archives use
// it so that any unzip tool can open them with the password.
#pragma once

#include <zlib.h>

#include <cstdint>

namespace ruvo::zip {

class ZipCrypto {
 public:
  void init(const char *password) noexcept {
    keys_[0] = 0x12345678u;
    keys_[1] = 0x23456789u;
    keys_[2] = 0x34567890u;
    for (const char *p = password; *p != '\0'; ++p) update(static_cast<uint8_t>(*p));
  }

  uint8_t encrypt(uint8_t plain) noexcept {
    const uint8_t mask = stream_byte();
    update(plain);
    return plain ^ mask;
  }

 private:
  static uint32_t crc_step(uint32_t crc, uint8_t byte) noexcept {
    return static_cast<uint32_t>(get_crc_table()[(crc ^ byte) & 0xFF]) ^ (crc >> 8);
  }

  void update(uint8_t plain) noexcept {
    keys_[0] = crc_step(keys_[0], plain);
    keys_[1] = (keys_[1] + (keys_[0] & 0xFF)) * 134775813u + 1;
    keys_[2] = crc_step(keys_[2], static_cast<uint8_t>(keys_[1] >> 24));
  }

  uint8_t stream_byte() const noexcept {
    const uint32_t t = (keys_[2] | 2) & 0xFFFF;
    return static_cast<uint8_t>((t * (t ^ 1)) >> 8);
  }

  uint32_t keys_[3] = {0, 0, 0};
};

}  // namespace ruvo::zip
