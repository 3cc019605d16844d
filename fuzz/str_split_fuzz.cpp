// Fuzzes the token splitter. Input: a byte of delimiter count (0-3), those
// delimiter bytes, then the text. Besides memory safety it checks that the
// tokens rejoin the text: skipping delimiter runs between them walks it
// exactly, and only delimiters remain behind the last one unless 31 were kept.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ruvo/base/str.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  size_t nd = data[0] % 4;
  ++data;
  --size;
  if (nd > size) nd = size;
  std::string delims;
  for (size_t i = 0; i < nd; ++i) {
    if (data[i] != 0) delims += static_cast<char>(data[i]);
  }
  std::string text(reinterpret_cast<const char *>(data + nd), size - nd);
  text = text.c_str();  // the splitter reads up to the first zero byte
  const std::string before = text;

  int32_t count = -1;
  char **tokens = ruvo_str_split(text.c_str(), delims.c_str(), &count);
  if (tokens == nullptr || count < 0 || count > 31 || tokens[count] != nullptr || tokens[31] != nullptr) {
    std::abort();
  }
  size_t pos = 0;
  for (int32_t i = 0; i < count; ++i) {
    const size_t len = std::strlen(tokens[i]);
    pos = text.find_first_not_of(delims, pos);
    if (len == 0 || pos == std::string::npos || text.compare(pos, len, tokens[i]) != 0) std::abort();
    pos += len;
    if (pos < text.size() && delims.find(text[pos]) == std::string::npos) std::abort();
  }
  if (count < 31 && text.find_first_not_of(delims, pos) != std::string::npos) std::abort();
  if (text != before) std::abort();
  ruvo_str_split_free(tokens);
  return 0;
}
