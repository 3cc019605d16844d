// The C library's inet_pton and inet_ntop as a reference for address text,
// on the systems where the test programs have them (glibc, natively).
// Windows builds see kHaveInetOracle false and stubs that refuse everything.
#pragma once

#if defined(_WIN32)

namespace ruvo_test {
constexpr bool kHaveInetOracle = false;
inline int inet_pton_ref(bool, const char *, void *) { return -1; }
inline const char *inet_ntop_ref(bool, const void *, char *, unsigned) { return nullptr; }
}  // namespace ruvo_test

#else

#include <arpa/inet.h>
#include <sys/socket.h>

namespace ruvo_test {
constexpr bool kHaveInetOracle = true;
// 1 when `text` is an address of the family (IPv6 when `six`), bytes in `out`.
inline int inet_pton_ref(bool six, const char *text, void *out) {
  return ::inet_pton(six ? AF_INET6 : AF_INET, text, out);
}
inline const char *inet_ntop_ref(bool six, const void *bytes, char *buf, unsigned size) {
  return ::inet_ntop(six ? AF_INET6 : AF_INET, bytes, buf, size);
}
}  // namespace ruvo_test

#endif
