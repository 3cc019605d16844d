// UTF-8 to UTF-16 on arbitrary bytes. The text is cut at its first NUL, as
// the converters read terminated strings, and copied into a block of exactly
// its size so that ASan sees a read past the terminator. The result must
// convert back, and that text must convert to the same units again: after
// one pass every bad sequence is U+FFFD, which round-trips. The _ex form must
// agree with the plain one and refuse a buffer one unit short untouched.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ruvo/base/charset.h"

namespace {

void require(bool ok) {
  if (!ok) std::abort();
}

using wstr = std::basic_string<ruvo_wchar_t>;

wstr to_wide(const char *s) {
  ruvo_wchar_t *w = ruvo_str_utf8_to_unicode(s);
  require(w != nullptr);
  wstr out(w);
  ruvo_str_free(w);
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const size_t len = strnlen(reinterpret_cast<const char *>(data), size);
  std::vector<char> text(data, data + len);
  text.push_back('\0');

  const wstr wide = to_wide(text.data());
  char *back = ruvo_str_unicode_to_utf8(wide.c_str());
  require(back != nullptr);
  require(to_wide(back) == wide);
  if (ruvo_str_is_utf8(text.data(), len) == 0 && ruvo_str_is_ascii(text.data(), len) == 1) {
    require(std::strcmp(back, text.data()) == 0);  // ASCII comes back as it was
  }
  ruvo_str_free(back);

  std::vector<ruvo_wchar_t> out(wide.size() + 1, 0x5A5A);
  require(ruvo_str_utf8_to_unicode_ex(text.data(), out.data(), out.size() - 1) == 122);
  require(out[0] == 0x5A5A);
  require(ruvo_str_utf8_to_unicode_ex(text.data(), out.data(), out.size()) == 0);
  require(wstr(out.data()) == wide);
  return 0;
}
