// Random operation sequences on the Robin Hood hash against
// std::unordered_map. After every operation the table must pass the full
// consistency check, agree on the count, and have passed exactly the values
// that left it to the destroy callback.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "internal/fault.hpp"
#include "oa_hash_impl.hpp"
#include "ruvo/base/oa_hash.h"

namespace {

std::unordered_set<uint64_t> g_live;  // values in the table; each is inserted once
bool g_bad_destroy = false;

void on_destroy(uint64_t value) {
  // A value never inserted, or destroyed twice.
  if (g_live.erase(value) == 0) g_bad_destroy = true;
}

[[noreturn]] void fail(const char *what) {
  std::fprintf(stderr, "oa_hash_fuzz: %s\n", what);
  std::abort();
}

struct Reader {
  const uint8_t *p;
  size_t n;
  bool empty() const { return n == 0; }
  uint8_t byte() {
    if (n == 0) return 0;
    --n;
    return *p++;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Reader in{data, size};
  g_live.clear();
  g_bad_destroy = false;
  ruvo_oa_hash_st *t = ruvo_oa_hash_create(on_destroy);
  if (t == nullptr) fail("create failed");
  std::unordered_map<std::string, uint64_t> ref;
  uint64_t next_value = 1;

  while (!in.empty()) {
    const uint8_t op = in.byte();
    // Keys of 1 to 4 bytes, now and then up to 16, over a small alphabet, so
    // homes collide and runs grow long enough to wrap. The alphabet also
    // makes whole hashes collide: (0, 34) and (1, 1) add the same to h.
    static const unsigned char alphabet[12] = {0, 1, 2, 33, 34, 35, 66, 67, 'a', 'b', 0x7f, 0xff};
    const size_t len_bits = (op & 0x80) != 0 ? 15 : 3;
    std::string key(1 + ((op >> 3) & len_bits), '\0');
    for (char &c : key) c = static_cast<char>(alphabet[in.byte() % 12]);
    const auto len = static_cast<uint32_t>(key.size());
    auto it = ref.find(key);

    switch (op % 8) {
      case 0:
      case 1:
      case 2: {
        const uint64_t v = next_value++;
        const int32_t r = ruvo_oa_hash_insert(t, key.data(), len, v);
        if (r != (it == ref.end() ? 0 : 1)) fail("insert result");
        g_live.insert(v);
        ref[key] = v;
        break;
      }
      case 3:
      case 4: {
        const int32_t r = ruvo_oa_hash_delete(t, key.data(), len);
        if (r != (it == ref.end() ? -1 : 0)) fail("delete result");
        if (it != ref.end()) ref.erase(it);
        break;
      }
      case 5: {
        uint64_t v = 0;
        const int32_t r = ruvo_oa_hash_search(t, key.data(), len, &v);
        if (r != (it == ref.end() ? -1 : 0)) fail("search result");
        if (it != ref.end() && v != it->second) fail("search value");
        break;
      }
      case 6: {
#if defined(RUVO_BASE_TESTING)
        // An insert with memory running out after 0 to 3 allocations.
        const long successes = (op >> 3) & 3;
        const bool grows = t->count + 1 > t->size / 2;
        const long needed = it != ref.end() ? 0 : grows ? 3 : 1;
        const uint64_t v = next_value++;
        ruvo::fault::fail_allocations_after(successes);
        const int32_t r = ruvo_oa_hash_insert(t, key.data(), len, v);
        ruvo::fault::fail_allocations_after(-1);
        const int32_t expect = it != ref.end() ? 1 : successes >= needed ? 0 : -1;
        if (r != expect) fail("insert result under memory failure");
        if (r >= 0) {
          g_live.insert(v);
          ref[key] = v;
        }
#endif
        break;
      }
      default:
        if ((op >> 3) % 8 == 0) {
          ruvo_oa_hash_clear(t);
          ref.clear();
        }
        break;
    }
    if (const char *err = ruvo::detail::oa_hash_check(t)) fail(err);
    if (t->count != ref.size()) fail("count");
    if (g_bad_destroy) fail("destroy of a value not in the table");
    if (g_live.size() != ref.size()) fail("a value left without destroy");
  }

  ruvo_oa_hash_destroy(t);
  if (g_bad_destroy || !g_live.empty()) fail("destroy at the end");
  return 0;
}
