// String utilities against small reference versions on std::string, over
// random inputs; the form checks by table.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "ruvo/base/str.h"

namespace {

using Tokens = std::vector<std::string>;
constexpr size_t npos = std::string::npos;

thread_local std::mt19937 rng(20240611u);
int pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }

// A random text over `alphabet`; a small alphabet makes matches frequent.
std::string random_text(const std::string &alphabet, int max_len) {
  std::string s(size_t(pick(0, max_len)), '\0');
  for (char &c : s) c = alphabet[size_t(pick(0, int(alphabet.size()) - 1))];
  return s;
}

size_t off(const char *hit, const char *base) { return hit == nullptr ? npos : size_t(hit - base); }

TEST(StrUtilCheck, FormChecksFollowTheirTables) {
  const auto I = ruvo_string_check_integer, H = ruvo_string_check_hex_integer, Q = ruvo_string_check_ipv4;
  const struct { uint32_t (*check)(const char *, size_t); const char *text; size_t limit; bool ok; } cases[] = {
      {I, "", 5, true}, {I, "12a", 2, true}, {I, "12a", 3, false}, {I, "x", 0, true}, {I, "0123456789", 99, true},
      {I, "-1", 9, false}, {I, " 1", 9, false}, {I, "1.0", 9, false}, {I, "\xb9", 9, false}, {H, "09afAF", 6, true},
      {H, "", 3, true}, {H, "ffg", 2, true}, {H, "ffg", 3, false}, {H, "0x1f", 4, false}, {Q, "", 9, false},
      {Q, "1.2.3.4xyz", 7, true}, {Q, "1.2.3.4xyz", 8, false}, {Q, "1.2.3.4", 0, false}, {Q, "0.0.0.0", 9, true},
      {Q, "255.255.255.255", 99, true}, {Q, "256.1.1.1", 99, false}, {Q, "01.2.3.4", 9, false}, {Q, "1..2.3", 9, false},
      {Q, "1.2.3.", 9, false}, {Q, "1.2.3.4.", 9, false}, {Q, ".1.2.3", 9, false}, {Q, "1.2.3.4.5", 9, false},
      {Q, "1.2.3.1000", 99, false}};
  for (const auto &c : cases) EXPECT_EQ(c.check(c.text, c.limit), c.ok ? RUVO_OK : RUVO_E_FORMAT) << c.text;
  const std::pair<const char *, int> digits[] = {{nullptr, 1}, {"", 1}, {"0123", 1}, {"12a", 0}, {"\xb2", 0}};
  for (const auto &[t, want] : digits) EXPECT_EQ(ruvo_str_isdigit(t), want) << (t ? t : "null");
}

TEST(StrUtilSearch, CharSearchesAgreeWithReference) {
  for (int i = 0; i < 5000; ++i) {
    const std::string s = random_text(std::string("ab\xab\0", 4), 24);
    const char c = "ab\xab"[pick(0, 2)];
    const int32_t limit = pick(-2, 30), len = std::min(limit, int32_t(s.size()));
    const std::string walked = std::string(s.c_str()).substr(0, size_t(std::max(limit, 0)));  // to a zero byte
    const std::string counted = s.substr(0, size_t(std::max(len, 0)));  // zero bytes are bytes here
    ASSERT_EQ(ruvo_str_chrcnt(s.c_str(), limit, c), std::count(walked.begin(), walked.end(), c));
    ASSERT_EQ(ruvo_str_chrpos(s.c_str(), limit, c), int32_t(walked.find(c)));  // npos: -1
    ASSERT_EQ(off(ruvo_str_nchr(s.data(), len, c), s.data()), counted.find(c));
    ASSERT_EQ(off(ruvo_str_nrchr(s.data(), len, c), s.data()), counted.rfind(c));
  }
  EXPECT_EQ(ruvo_str_chrcnt(nullptr, 5, 'a'), 0);
  for (int32_t r : {ruvo_str_chrpos(nullptr, 5, 'a'), ruvo_str_chrpos("abc", 3, '\0')}) EXPECT_EQ(r, -1);
}

// The reference for the counted search: a plain scan from `start`.
void expect_find(const std::string &text, const std::string &pat, int32_t start) {
  int32_t want = -1;
  for (size_t s = size_t(start); start >= 0 && want < 0 && pat.size() && s + pat.size() <= text.size(); ++s)
    if (text.compare(s, pat.size(), pat) == 0) want = int32_t(s);
  const int32_t tl = int32_t(text.size()), pl = int32_t(pat.size());
  ASSERT_EQ(ruvo_str_find(text.data(), tl, pat.data(), pl, start), want) << text << " / " << pat << " @" << start;
  if (start == 0) { ASSERT_EQ(off(ruvo_str_nstr(text.data(), tl, pat.data(), pl), text.data()), size_t(want)); }
}

TEST(StrUtilSearch, FindAgreesWithNaiveSearch) {
  const std::string alphabets[] = {"ab", "abc", std::string("a\0", 2), "abcdefghij"};
  for (int i = 0; i < 40000; ++i) {
    const std::string text = random_text(alphabets[i % 4], 40);
    std::string pat = random_text(alphabets[i % 4], 8);
    if (!text.empty() && pick(0, 2) == 0) pat = text.substr(size_t(pick(0, int(text.size()) - 1)), size_t(pick(1, 8)));
    ASSERT_NO_FATAL_FAILURE(expect_find(text, pat, pick(-1, int(text.size()) + 1)));
  }
  // Texts of prefixes of the pattern: where a wrong failure table skips a match.
  for (int code = 2; code < 1024; ++code) {  // all patterns of 1 to 9 letters
    std::string pat;
    for (int bits = code; bits > 1; bits >>= 1) pat += "ab"[bits & 1];
    for (int round = 0; round < 6; ++round) {
      std::string text;
      while (text.size() < 40) text += pat.substr(0, size_t(pick(1, 9))) + std::string(pick(0, 3) == 0, 'a');
      ASSERT_NO_FATAL_FAILURE(expect_find(text, pat, pick(0, 3)));
    }
  }
  EXPECT_EQ(ruvo_str_find(nullptr, 3, "a", 1, 0), -1);
  EXPECT_EQ(ruvo_str_nstr("abc", 3, nullptr, 1), nullptr);
  const std::string text = std::string(600, 'a') + 'b', p512 = std::string(511, 'a') + 'b';
  EXPECT_EQ(ruvo_str_find(text.data(), 601, p512.data() + 1, 511, 0), 600 - 510);  // 511 bytes is the most
  EXPECT_EQ(ruvo_str_find(text.data(), 601, p512.data(), 512, 0), -1);
}

TEST(StrUtilReplace, AgreesWithReferenceInPlaceWithinTheBuffer) {
  for (int i = 0; i < 20000; ++i) {
    const std::string text = random_text("abc", 20), pat = random_text("abc", 3), rep = random_text("abc", 4);
    const int size = pick(0, 40), all = pick(0, 1);
    // The reference: one step at a time, from behind the last insertion,
    // while the whole new text with its terminator fits into `size`.
    std::string want = text;
    size_t end = npos;
    for (size_t from = 0, at; pat.size() && (at = want.find(pat, from)) != npos && (all || end == npos); from = end) {
      if (want.size() - pat.size() + rep.size() + 1 > size_t(size)) break;
      want.replace(at, pat.size(), rep);
      end = at + rep.size();
    }
    std::string buf = text + '\0' + std::string(63 - text.size(), '#');
    char *r = ruvo_str_replace(buf.data(), size, pat.c_str(), rep.c_str(), all);
    ASSERT_EQ(r, end == npos ? nullptr : all ? buf.data() : buf.data() + end) << text << " " << pat << "->" << rep;
    ASSERT_EQ(std::string(buf.data()), want) << text << " " << pat << "->" << rep << " size " << size;
    ASSERT_EQ(buf.find_first_not_of('#', std::max(size_t(size), text.size() + 1)), npos);  // nothing written behind
  }
  char buf[16] = "abc";
  for (auto [t, p, r] : {std::tuple<char *, const char *, const char *>{nullptr, "a", "b"}, {buf, nullptr, "b"},
                         {buf, "a", nullptr}}) EXPECT_EQ(ruvo_str_replace(t, 16, p, r, 0), nullptr);
}

Tokens split(const char *text, const char *delims, int32_t *count = nullptr) {
  char **array = ruvo_str_split(text, delims, count);
  Tokens out;
  for (char **p = array; *p != nullptr; ++p) out.emplace_back(*p);
  ruvo_str_split_free(array);
  return out;
}

// At most 31 tokens are kept. Trim strips blanks only (tabs stay), and of a text
// made only of the character gives its last byte. Hex needs room for its terminator.
TEST(StrUtilSplit, SplitTrimAndHexAgreeWithReference) {
  std::string all(256, '\0');
  for (int b = 0; b < 256; ++b) all[size_t(b)] = char(b);
  for (int i = 0; i < 4000; ++i) {  // long texts often hold more than 31 tokens
    const std::string text = random_text("ab,; ", 150), delims = random_text(",; x", 3);
    Tokens want;
    for (size_t at = 0, end; (at = text.find_first_not_of(delims, at)) != npos; at = end) {
      end = text.find_first_of(delims, at);
      want.push_back(text.substr(at, end - at));
    }
    want.resize(std::min<size_t>(want.size(), 31));
    int32_t n = -1;
    ASSERT_EQ(split(text.c_str(), delims.c_str(), &n), want) << '"' << text << "\" by \"" << delims << '"';
    ASSERT_EQ(size_t(n), want.size());
    const char c = " /\xab"[i % 3];
    const std::string t = random_text(std::string("a\t") + c + c, 12);
    std::string buf = t;
    char *r = c == ' ' ? ruvo_str_trim(buf.data()) : ruvo_str_trim_char(buf.data(), c);
    const size_t first = t.find_first_not_of(c), last = t.find_last_not_of(c);
    ASSERT_EQ(r, buf.data() + (t.empty() ? 0 : first == npos ? t.size() - 1 : first)) << '"' << t << '"';
    ASSERT_EQ(std::string(r), first == npos ? "" : t.substr(first, last - first + 1)) << '"' << t << '"';
    const std::string bytes = random_text(all, 40);
    const int32_t room = int32_t(2 * bytes.size()) + pick(0, 1);  // one short of the terminator, or enough
    std::string hex(90, '#'), digits;
    for (unsigned char b : bytes) digits += "0123456789abcdef"[b >> 4], digits += "0123456789abcdef"[b & 15];
    const uint32_t rc = ruvo_str_bin2hexstr(bytes.data(), int32_t(bytes.size()), hex.data(), room);
    ASSERT_EQ(rc, bytes.empty() ? RUVO_E_INVAL : room > int32_t(2 * bytes.size()) ? RUVO_OK : RUVO_E_SMALL);
    ASSERT_EQ(hex, (rc == RUVO_OK ? digits + '\0' : "") + std::string(rc == RUVO_OK ? 89 - digits.size() : 90, '#'));
  }
  int32_t n = -1;
  EXPECT_EQ(split("a,b", nullptr), Tokens{"a,b"});  // null delimiters split at nothing
  EXPECT_TRUE(split(nullptr, ",", &n).empty() && n == 0);
  ruvo_str_split_free(nullptr);
  char out[8];
  EXPECT_EQ(ruvo_str_trim(nullptr), nullptr);
  EXPECT_EQ(ruvo_str_bin2hexstr(nullptr, 2, out, 8) + ruvo_str_bin2hexstr(all.data(), -1, out, 8) +
                ruvo_str_bin2hexstr(all.data(), 2, nullptr, 8), 3 * RUVO_E_INVAL);
  EXPECT_EQ(ruvo_str_bin2hexstr(all.data(), 0x7FFFFFFF, out, 0x7FFFFFFF), RUVO_E_SMALL);  // no wrap
}

// The formatter and the copy write what fits and a terminator, nothing for size 0;
// strncat appends all of the source or nothing; case changes go as the C library's.
TEST(StrUtilBounded, FormatAndCopiesCutTerminateAndNeverPassTheSize) {
  auto image = [](std::string head, size_t size) {  // head, then '#' up to size
    head.resize(size, '#');
    return std::vector<char>(head.begin(), head.end());
  };
  for (int i = 0; i < 5000; ++i) {
    const int number = pick(-100000, 100000);
    const std::string text = random_text("abcdefghijklmnoPQR", 60), full = text + ":" + std::to_string(number);
    const size_t size = size_t(pick(0, 80)), cut = size ? size - 1 : 0;
    std::vector<char> out(size + 8, '#'), copy(size + 8, '#');
    ASSERT_EQ(size_t(ruvo_str_snprintf(out.data(), size, "%s:%d", text.c_str(), number)), std::min(full.size(), cut));
    ASSERT_EQ(out, image(size ? full.substr(0, cut) + '\0' : "", size + 8));
    ASSERT_EQ(ruvo_str_strlcpy(copy.data(), text.c_str(), size), size ? text.size() : 0);
    ASSERT_EQ(copy, image(size ? text.substr(0, cut) + '\0' : "", size + 8));
    const std::string to = random_text("ab", 6), from = random_text("cd", 6);
    const int32_t room = pick(-1, 14);
    const bool fits = room >= 1 && to.size() + from.size() + 1 <= size_t(room);
    std::vector<char> cat = image(to + '\0', 16);
    ASSERT_EQ(ruvo_str_strncat(cat.data(), from.c_str(), room), fits ? cat.data() : nullptr);
    ASSERT_EQ(cat, image((fits ? to + from : to) + '\0', 16)) << to << "+" << from << " in " << room;
    std::string lower = text, upper = text, want_lower = text, want_upper = text;
    for (char &c : want_lower) c = char(std::tolower(c));
    for (char &c : want_upper) c = char(std::toupper(c));
    ASSERT_TRUE(ruvo_str_tolower(lower.data()) == lower.data() && ruvo_str_toupper(upper.data()) == upper.data());
    ASSERT_EQ(lower + upper, want_lower + want_upper);
  }
  char b[4] = "ab";
  EXPECT_FALSE(ruvo_str_strncat(nullptr, "a", 9) || ruvo_str_strncat(b, nullptr, 9) || ruvo_str_tolower(nullptr) ||
               ruvo_str_toupper(nullptr));
}

}  // namespace
