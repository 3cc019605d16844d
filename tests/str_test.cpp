// Tests for the string utilities: form checks, counted searches, in-place
// replacing and trimming, splitting, bounded copies, hex output and the
// bounded formatter. Searches and edits are checked against small reference
// versions written here on std::string, over random inputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ruvo/base/str.h"

namespace {

std::mt19937 &rng() {
  static std::mt19937 gen(20240611u);
  return gen;
}

int pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng()); }

// A random text over `alphabet`; a small alphabet makes matches frequent.
std::string random_text(const std::string &alphabet, int max_len) {
  std::string s(static_cast<size_t>(pick(0, max_len)), '\0');
  for (char &c : s) c = alphabet[static_cast<size_t>(pick(0, int(alphabet.size()) - 1))];
  return s;
}

// ---- form checks ----

// Reference dotted-quad reader: split at dots, each part 1-3 digits, no
// leading zero, at most 255.
bool ref_ipv4(const std::string &s) {
  std::vector<std::string> parts(1);
  for (char c : s) {
    if (c == '.') parts.emplace_back();
    else parts.back() += c;
  }
  if (parts.size() != 4) return false;
  for (const std::string &p : parts) {
    if (p.empty() || p.size() > 3) return false;
    if (!std::all_of(p.begin(), p.end(), [](char c) { return c >= '0' && c <= '9'; })) return false;
    if (p.size() > 1 && p[0] == '0') return false;
    if (std::stoi(p) > 255) return false;
  }
  return true;
}

TEST(StrUtilCheck, Ipv4AcceptsOnlyStrictDottedQuads) {
  for (const char *ok : {"0.0.0.0", "255.255.255.255", "1.2.3.4", "10.0.100.9"}) {
    EXPECT_EQ(ruvo_string_check_ipv4(ok, std::strlen(ok)), RUVO_OK) << ok;
  }
  for (const char *bad : {"256.1.1.1", "1.2.3", "1.2.3.", "1.2.3.4.", "1..2.3", "01.2.3.4", "1.2.3.4.5",
                          "a.b.c.d", "", ".1.2.3", "1.2.3.00", "1.2.3.1000", " 1.2.3.4", "1.2.3.-4"}) {
    EXPECT_EQ(ruvo_string_check_ipv4(bad, std::strlen(bad) + 1), RUVO_E_FORMAT) << bad;
  }
}

TEST(StrUtilCheck, Ipv4LimitEndsTheWalk) {
  EXPECT_EQ(ruvo_string_check_ipv4("1.2.3.4xyz", 7), RUVO_OK);
  EXPECT_EQ(ruvo_string_check_ipv4("1.2.3.4xyz", 8), RUVO_E_FORMAT);
  EXPECT_EQ(ruvo_string_check_ipv4("1.2.3.4", 6), RUVO_E_FORMAT);
  EXPECT_EQ(ruvo_string_check_ipv4("1.2.3.4", 0), RUVO_E_FORMAT);
  // Bytes behind the limit are never read: no terminator is needed there.
  const char unterminated[7] = {'9', '.', '8', '.', '7', '.', '6'};
  EXPECT_EQ(ruvo_string_check_ipv4(unterminated, sizeof unterminated), RUVO_OK);
}

TEST(StrUtilCheck, Ipv4AgreesWithReferenceOnRandomText) {
  for (int i = 0; i < 20000; ++i) {
    std::string s = random_text("0123456789..", 16);
    if (pick(0, 3) == 0) s = std::to_string(pick(0, 300)) + "." + std::to_string(pick(0, 300)) + "." +
                             std::to_string(pick(0, 300)) + "." + std::to_string(pick(0, 300));
    const size_t limit = static_cast<size_t>(pick(0, int(s.size()) + 2));
    const std::string seen = s.substr(0, std::min(limit, s.size()));
    const uint32_t want = (limit > 0 && ref_ipv4(seen)) ? RUVO_OK : RUVO_E_FORMAT;
    ASSERT_EQ(ruvo_string_check_ipv4(s.c_str(), limit), want) << '"' << s << "\" limit " << limit;
  }
}

TEST(StrUtilCheck, IntegerFormsReadUpToLimitOrTerminator) {
  EXPECT_EQ(ruvo_string_check_integer("", 5), RUVO_OK);
  EXPECT_EQ(ruvo_string_check_integer("12a", 2), RUVO_OK);
  EXPECT_EQ(ruvo_string_check_integer("12a", 3), RUVO_E_FORMAT);
  EXPECT_EQ(ruvo_string_check_integer("x", 0), RUVO_OK);
  EXPECT_EQ(ruvo_string_check_integer("0123456789", 100), RUVO_OK);
  for (const char *bad : {"-1", "+1", " 1", "1 ", "0x1", "1.0", "\xb9"}) {
    EXPECT_EQ(ruvo_string_check_integer(bad, 10), RUVO_E_FORMAT) << bad;
  }
  EXPECT_EQ(ruvo_string_check_hex_integer("09afAF", 6), RUVO_OK);
  EXPECT_EQ(ruvo_string_check_hex_integer("", 3), RUVO_OK);
  EXPECT_EQ(ruvo_string_check_hex_integer("ffg", 2), RUVO_OK);
  EXPECT_EQ(ruvo_string_check_hex_integer("ffg", 3), RUVO_E_FORMAT);
  EXPECT_EQ(ruvo_string_check_hex_integer("0x1f", 4), RUVO_E_FORMAT);
}

TEST(StrUtilCheck, IsDigitTakesNullAndEmpty) {
  EXPECT_EQ(ruvo_str_isdigit(nullptr), 1);
  EXPECT_EQ(ruvo_str_isdigit(""), 1);
  EXPECT_EQ(ruvo_str_isdigit("0123456789"), 1);
  EXPECT_EQ(ruvo_str_isdigit("12a"), 0);
  EXPECT_EQ(ruvo_str_isdigit("1 "), 0);
  EXPECT_EQ(ruvo_str_isdigit("\xb2"), 0);
}

// ---- byte searches ----

TEST(StrUtilSearch, ChrcntAndChrposAgreeWithReference) {
  for (int i = 0; i < 5000; ++i) {
    std::string s = random_text(std::string("ab\xab\0", 4), 24);
    const char c = "ab\xab"[pick(0, 2)];
    const int32_t limit = pick(-2, 30);
    const std::string walked =
        std::string(s.c_str()).substr(0, static_cast<size_t>(std::max(limit, 0)));
    const size_t at = walked.find(c);
    ASSERT_EQ(ruvo_str_chrcnt(s.c_str(), limit, c), std::count(walked.begin(), walked.end(), c));
    ASSERT_EQ(ruvo_str_chrpos(s.c_str(), limit, c), at == std::string::npos ? -1 : int32_t(at));
  }
  EXPECT_EQ(ruvo_str_chrcnt(nullptr, 5, 'a'), 0);
  EXPECT_EQ(ruvo_str_chrpos(nullptr, 5, 'a'), -1);
  EXPECT_EQ(ruvo_str_chrpos("abc", 3, '\0'), -1);  // the terminator is not a match
  EXPECT_EQ(ruvo_str_chrpos("a\xab", 2, static_cast<char>(-85)), 1);
}

TEST(StrUtilSearch, NchrAndNrchrGoPastZeroBytes) {
  const char buf[] = {'x', '\0', 'y', '\0', 'y', 'z'};
  EXPECT_EQ(ruvo_str_nchr(buf, 6, 'y'), buf + 2);
  EXPECT_EQ(ruvo_str_nrchr(buf, 6, 'y'), buf + 4);
  EXPECT_EQ(ruvo_str_nchr(buf, 6, '\0'), buf + 1);
  EXPECT_EQ(ruvo_str_nrchr(buf, 6, '\0'), buf + 3);
  EXPECT_EQ(ruvo_str_nchr(buf, 2, 'y'), nullptr);
  EXPECT_EQ(ruvo_str_nrchr(buf + 2, 1, 'y'), buf + 2);
  EXPECT_EQ(ruvo_str_nchr(buf, 0, 'x'), nullptr);
  EXPECT_EQ(ruvo_str_nrchr(buf, 0, 'x'), nullptr);
  EXPECT_EQ(ruvo_str_nrchr(buf, -1, 'x'), nullptr);
}

// The reference for the counted search: a plain scan from `start`.
int32_t naive_find(const std::string &text, const std::string &pat, int32_t start) {
  if (pat.empty() || pat.size() >= 512 || start < 0 || size_t(start) >= text.size()) return -1;
  for (size_t s = size_t(start); s + pat.size() <= text.size(); ++s) {
    if (text.compare(s, pat.size(), pat) == 0) return int32_t(s);
  }
  return -1;
}

TEST(StrUtilSearch, FindAgreesWithNaiveSearch) {
  // Patterns over two letters have long borders, which exercises the table.
  const std::string alphabets[] = {"ab", "abc", std::string("a\0", 2), "abcdefghij"};
  for (int i = 0; i < 40000; ++i) {
    const std::string &abc = alphabets[i % 4];
    const std::string text = random_text(abc, 40);
    std::string pat = random_text(abc, 8);
    if (!text.empty() && pick(0, 2) == 0) {  // often a piece of the text itself
      const int from = pick(0, int(text.size()) - 1);
      pat = text.substr(size_t(from), size_t(pick(1, 8)));
    }
    const int32_t start = pick(-1, int(text.size()) + 1);
    const int32_t want = naive_find(text, pat, start);
    ASSERT_EQ(ruvo_str_find(text.data(), int32_t(text.size()), pat.data(), int32_t(pat.size()), start),
              want)
        << "text " << text << " pattern " << pat << " start " << start;
    if (start == 0) {
      const char *at = ruvo_str_nstr(text.data(), int32_t(text.size()), pat.data(), int32_t(pat.size()));
      ASSERT_EQ(at, want < 0 ? nullptr : text.data() + want);
    }
  }
}

TEST(StrUtilSearch, FindAgreesOnEveryTwoLetterPatternAmongItsOwnPrefixes) {
  // Texts built from prefixes of the pattern are where a wrong failure table
  // skips a match: every border of every prefix gets its turn.
  for (int len = 1; len <= 9; ++len) {
    for (int bits = 0; bits < (1 << len); ++bits) {
      std::string pat;
      for (int j = 0; j < len; ++j) pat += (bits >> j & 1) ? 'b' : 'a';
      for (int round = 0; round < 6; ++round) {
        std::string text;
        while (text.size() < 40) {
          text += pat.substr(0, size_t(pick(1, len)));
          if (pick(0, 3) == 0) text += "ab"[pick(0, 1)];
        }
        const int32_t start = pick(0, 3);
        ASSERT_EQ(ruvo_str_find(text.data(), int32_t(text.size()), pat.data(), len, start),
                  naive_find(text, pat, start))
            << "text " << text << " pattern " << pat;
      }
    }
  }
}

TEST(StrUtilSearch, FindEdges) {
  EXPECT_EQ(ruvo_str_find("abcabc", 6, "abc", 3, 1), 3);
  EXPECT_EQ(ruvo_str_find("abcabc", 6, "abc", 3, 6), -1);
  EXPECT_EQ(ruvo_str_find("abcabc", 6, "abc", 3, 0), 0);
  EXPECT_EQ(ruvo_str_find("abcabc", 6, "abc", 3, 4), -1);  // would run past the end
  EXPECT_EQ(ruvo_str_find("abcabc", 5, "abc", 3, 1), -1);  // the length, not the terminator, bounds
  EXPECT_EQ(ruvo_str_find("abc", 3, "abcd", 4, 0), -1);
  EXPECT_EQ(ruvo_str_find("abc", 3, "", 0, 0), -1);
  EXPECT_EQ(ruvo_str_find(nullptr, 3, "a", 1, 0), -1);
  EXPECT_EQ(ruvo_str_find("abc", 3, nullptr, 1, 0), -1);
  EXPECT_EQ(ruvo_str_find("abc", 3, "c", 1, -1), -1);
  EXPECT_EQ(ruvo_str_find("abc", 0, "a", 1, 0), -1);
  EXPECT_EQ(ruvo_str_find("\0a\0b", 4, "\0b", 2, 0), 2);
  EXPECT_EQ(ruvo_str_nstr("abc", 3, "z", 1), nullptr);
  EXPECT_EQ(ruvo_str_nstr(nullptr, 3, "z", 1), nullptr);
}

TEST(StrUtilSearch, FindTakesPatternsUpTo511Bytes) {
  std::string text(600, 'a');
  text += 'b';
  const std::string p511 = std::string(510, 'a') + 'b';
  const std::string p512 = std::string(511, 'a') + 'b';
  EXPECT_EQ(ruvo_str_find(text.data(), int32_t(text.size()), p511.data(), 511, 0), 600 - 510);
  EXPECT_EQ(ruvo_str_find(text.data(), int32_t(text.size()), p512.data(), 512, 0), -1);
  EXPECT_EQ(ruvo_str_nstr(text.data(), int32_t(text.size()), p512.data(), 512), nullptr);
}

// ---- replace ----

// The reference replacer on std::string: one step at a time, from behind the
// last insertion, while the whole new text with a terminator fits into `size`.
std::string ref_replace(std::string s, int size, const std::string &pat, const std::string &rep,
                        bool all, bool *changed) {
  *changed = false;
  size_t from = 0;
  while (!pat.empty()) {
    const size_t at = s.find(pat, from);
    if (at == std::string::npos) break;
    if (long(s.size()) - long(pat.size()) + long(rep.size()) + 1 > long(size)) break;
    s.replace(at, pat.size(), rep);
    *changed = true;
    from = at + rep.size();
    if (!all) break;
  }
  return s;
}

TEST(StrUtilReplace, SingleReplacementPointsBehindTheInsertion) {
  char buf[16] = "aXb";
  char *r = ruvo_str_replace(buf, sizeof buf, "X", "YY", 0);
  EXPECT_STREQ(buf, "aYYb");
  EXPECT_EQ(r, buf + 3);
  r = ruvo_str_replace(buf, sizeof buf, "YY", "", 0);  // shrinking
  EXPECT_STREQ(buf, "ab");
  EXPECT_EQ(r, buf + 1);
}

TEST(StrUtilReplace, ExactFitWorksAndOneShortChangesNothing) {
  char exact[5] = "aXb";  // "aYYb" and its terminator: 5 bytes
  EXPECT_EQ(ruvo_str_replace(exact, 5, "X", "YY", 0), exact + 3);
  EXPECT_STREQ(exact, "aYYb");
  char shortbuf[16] = "aXb";
  EXPECT_EQ(ruvo_str_replace(shortbuf, 4, "X", "YY", 0), nullptr);
  EXPECT_STREQ(shortbuf, "aXb");
  EXPECT_EQ(ruvo_str_replace(shortbuf, 4, "X", "YY", 1), nullptr);
  EXPECT_STREQ(shortbuf, "aXb");
}

TEST(StrUtilReplace, BadInputGivesNull) {
  char buf[16] = "abc";
  EXPECT_EQ(ruvo_str_replace(nullptr, 16, "a", "b", 0), nullptr);
  EXPECT_EQ(ruvo_str_replace(buf, 16, nullptr, "b", 0), nullptr);
  EXPECT_EQ(ruvo_str_replace(buf, 16, "a", nullptr, 0), nullptr);
  EXPECT_EQ(ruvo_str_replace(buf, 16, "", "b", 1), nullptr);  // an empty pattern never matches
  EXPECT_EQ(ruvo_str_replace(buf, 16, "z", "b", 1), nullptr);
  EXPECT_EQ(ruvo_str_replace(buf, 0, "a", "b", 0), nullptr);
  EXPECT_STREQ(buf, "abc");
}

TEST(StrUtilReplace, AllDoesNotSearchInsertedText) {
  char buf[16] = "aaa";
  EXPECT_EQ(ruvo_str_replace(buf, sizeof buf, "a", "aa", 1), buf);
  EXPECT_STREQ(buf, "aaaaaa");
  char tight[7] = "xax";  // a size of 5 leaves room for one growth of a byte
  EXPECT_EQ(ruvo_str_replace(tight, 5, "x", "yy", 1), tight);
  EXPECT_STREQ(tight, "yyax");  // the second step would need 6 bytes
}

TEST(StrUtilReplace, AgreesWithReferenceOnRandomText) {
  for (int i = 0; i < 20000; ++i) {
    const std::string text = random_text("abc", 20);
    const std::string pat = random_text("abc", 3);
    const std::string rep = random_text("abc", 4);
    const bool all = pick(0, 1) == 1;
    const int size = pick(0, 40);
    std::vector<char> buf(64, '#');
    std::memcpy(buf.data(), text.c_str(), text.size() + 1);
    bool changed = false;
    const std::string want = ref_replace(text, size, pat, rep, all, &changed);
    char *r = ruvo_str_replace(buf.data(), size, pat.c_str(), rep.c_str(), all ? 1 : 0);
    ASSERT_EQ(r != nullptr, changed) << text << " " << pat << "->" << rep << " size " << size;
    ASSERT_EQ(std::string(buf.data()), want) << text << " " << pat << "->" << rep << " size " << size;
    if (changed) {
      ASSERT_LE(want.size() + 1, size_t(std::max(size, 0)));
    }
    // Nothing beyond the buffer's size is ever written.
    for (size_t j = std::max<size_t>(size_t(std::max(size, 0)), text.size() + 1); j < buf.size(); ++j) {
      ASSERT_EQ(buf[j], '#');
    }
    if (changed && !all) {
      const size_t at = text.find(pat);
      ASSERT_EQ(r, buf.data() + at + rep.size());
    }
  }
}

// ---- split ----

std::vector<std::string> ref_split(const std::string &s, const std::string &delims) {
  std::vector<std::string> out;
  std::string cur;
  for (char c : s) {
    if (delims.find(c) != std::string::npos) {
      if (!cur.empty()) out.push_back(cur);
      cur.clear();
    } else {
      cur += c;
    }
  }
  if (!cur.empty()) out.push_back(cur);
  if (out.size() > 31) out.resize(31);
  return out;
}

std::vector<std::string> tokens_of(char **array) {
  std::vector<std::string> out;
  for (char **p = array; *p != nullptr; ++p) out.emplace_back(*p);
  return out;
}

TEST(StrUtilSplit, DelimiterRunsGiveNoEmptyTokens) {
  int32_t n = -1;
  char **t = ruvo_str_split("a,,b,", ",", &n);
  EXPECT_EQ(n, 2);
  EXPECT_EQ(tokens_of(t), (std::vector<std::string>{"a", "b"}));
  ruvo_str_split_free(t);

  t = ruvo_str_split(",,,", ",", &n);
  EXPECT_EQ(n, 0);
  EXPECT_EQ(t[0], nullptr);
  ruvo_str_split_free(t);

  t = ruvo_str_split("", ",", &n);
  EXPECT_EQ(n, 0);
  EXPECT_EQ(t[0], nullptr);
  ruvo_str_split_free(t);

  t = ruvo_str_split(" key = value\t", " =\t", nullptr);
  EXPECT_EQ(tokens_of(t), (std::vector<std::string>{"key", "value"}));
  ruvo_str_split_free(t);
}

TEST(StrUtilSplit, KeepsAtMost31TokensAndTheLastSlotNull) {
  std::string text;
  for (int i = 0; i < 40; ++i) text += "t" + std::to_string(i) + " ";
  int32_t n = 0;
  char **t = ruvo_str_split(text.c_str(), " ", &n);
  EXPECT_EQ(n, 31);
  ASSERT_EQ(tokens_of(t).size(), 31u);
  EXPECT_STREQ(t[30], "t30");
  EXPECT_EQ(t[31], nullptr);
  ruvo_str_split_free(t);
}

TEST(StrUtilSplit, NullDelimitersAndTextAndFree) {
  int32_t n = -1;
  char **t = ruvo_str_split("a,b", nullptr, &n);
  EXPECT_EQ(n, 1);
  EXPECT_STREQ(t[0], "a,b");
  ruvo_str_split_free(t);
  t = ruvo_str_split("a,b", "", &n);
  EXPECT_EQ(n, 1);
  ruvo_str_split_free(t);
  t = ruvo_str_split(nullptr, ",", &n);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(n, 0);
  EXPECT_EQ(t[0], nullptr);
  ruvo_str_split_free(t);
  ruvo_str_split_free(nullptr);
}

TEST(StrUtilSplit, AgreesWithReferenceAndLeavesTheTextAlone) {
  for (int i = 0; i < 5000; ++i) {
    const std::string text = random_text("ab,; ", 90);
    const std::string delims = random_text(",; x", 3);
    const std::string before = text;
    int32_t n = -1;
    char **t = ruvo_str_split(text.c_str(), delims.c_str(), &n);
    const std::vector<std::string> want = ref_split(text, delims);
    ASSERT_EQ(tokens_of(t), want) << '"' << text << "\" by \"" << delims << '"';
    ASSERT_EQ(size_t(n), want.size());
    ASSERT_EQ(t[31], nullptr);
    ASSERT_EQ(text, before);
    ruvo_str_split_free(t);
  }
}

TEST(StrUtilSplit, ThreadsSplitAtTheSameTime) {
  // strtok would mix the two positions up; each thread must see only its own.
  auto worker = [](const std::string text, const char *delims, std::vector<std::string> want, bool *ok) {
    *ok = true;
    for (int i = 0; i < 2000 && *ok; ++i) {
      char **t = ruvo_str_split(text.c_str(), delims, nullptr);
      *ok = tokens_of(t) == want;
      ruvo_str_split_free(t);
    }
  };
  bool ok1 = false, ok2 = false;
  std::thread a(worker, "one two three four", " ", std::vector<std::string>{"one", "two", "three", "four"},
                &ok1);
  std::thread b(worker, "x;y;;z", ";", std::vector<std::string>{"x", "y", "z"}, &ok2);
  a.join();
  b.join();
  EXPECT_TRUE(ok1);
  EXPECT_TRUE(ok2);
}

// ---- case, trim ----

TEST(StrUtilCase, ChangesAsciiInPlace) {
  char text[] = "MiXeD 123 \xc4z";
  EXPECT_EQ(ruvo_str_tolower(text), text);
  EXPECT_STREQ(text, "mixed 123 \xc4z");
  EXPECT_EQ(ruvo_str_toupper(text), text);
  EXPECT_STREQ(text, "MIXED 123 \xc4Z");
  EXPECT_EQ(ruvo_str_tolower(nullptr), nullptr);
  EXPECT_EQ(ruvo_str_toupper(nullptr), nullptr);
}

TEST(StrUtilTrim, StripsBlanksOnlyAndReturnsAPositionInside) {
  char a[] = "  a b  ";
  EXPECT_EQ(ruvo_str_trim(a), a + 2);
  EXPECT_STREQ(a + 2, "a b");
  char blanks[] = "   ";
  EXPECT_EQ(ruvo_str_trim(blanks), blanks + 2);
  EXPECT_STREQ(blanks + 2, "");
  EXPECT_STREQ(blanks, "  ");  // leading blanks are skipped, not moved
  char empty[] = "";
  EXPECT_EQ(ruvo_str_trim(empty), empty);
  EXPECT_EQ(ruvo_str_trim(nullptr), nullptr);
  char tabs[] = "\t a\n ";
  EXPECT_EQ(ruvo_str_trim(tabs), tabs);
  EXPECT_STREQ(tabs, "\t a\n");
  char one[] = "x";
  EXPECT_EQ(ruvo_str_trim(one), one);
  EXPECT_STREQ(one, "x");
}

TEST(StrUtilTrim, TrimCharAgreesWithReference) {
  for (int i = 0; i < 5000; ++i) {
    const std::string text = random_text("ab/", 12);
    std::string buf = text;
    char *r = ruvo_str_trim_char(buf.data(), '/');
    if (text.empty()) {
      ASSERT_EQ(r, buf.data());
      continue;
    }
    const size_t first = text.find_first_not_of('/');
    if (first == std::string::npos) {  // only '/': an empty string at the last byte
      ASSERT_EQ(r, buf.data() + text.size() - 1);
      ASSERT_STREQ(r, "");
      continue;
    }
    const size_t last = text.find_last_not_of('/');
    ASSERT_EQ(r, buf.data() + first) << text;
    ASSERT_EQ(std::string(r), text.substr(first, last - first + 1)) << text;
  }
  char hi[] = "\xab" "a\xab\xab";
  EXPECT_EQ(ruvo_str_trim_char(hi, static_cast<char>(-85)), hi + 1);
  EXPECT_STREQ(hi + 1, "a");
}

// ---- bounded copies ----

TEST(StrUtilCopy, StrlcpyCutsTerminatesAndTellsTheSourceLength) {
  char d[8];
  std::memset(d, '#', sizeof d);
  EXPECT_EQ(ruvo_str_strlcpy(d, "abcdef", 4), 6u);
  EXPECT_STREQ(d, "abc");
  EXPECT_EQ(d[4], '#');
  EXPECT_EQ(ruvo_str_strlcpy(d, "abc", 4), 3u);  // exact fit
  EXPECT_STREQ(d, "abc");
  std::memset(d, '#', sizeof d);
  EXPECT_EQ(ruvo_str_strlcpy(d, "abc", 0), 0u);
  EXPECT_EQ(d[0], '#');
  EXPECT_EQ(ruvo_str_strlcpy(d, "abc", 1), 3u);
  EXPECT_EQ(d[0], '\0');
}

TEST(StrUtilCopy, StrncatNeverAppendsInPart) {
  char d[8] = "ab";
  EXPECT_EQ(ruvo_str_strncat(d, "cd", 4), nullptr);
  EXPECT_STREQ(d, "ab");
  EXPECT_EQ(ruvo_str_strncat(d, "cd", 5), d);
  EXPECT_STREQ(d, "abcd");
  EXPECT_EQ(ruvo_str_strncat(d, "", 5), d);
  EXPECT_EQ(ruvo_str_strncat(d, "x", 0), nullptr);
  EXPECT_EQ(ruvo_str_strncat(d, "x", -1), nullptr);
  EXPECT_EQ(ruvo_str_strncat(nullptr, "x", 8), nullptr);
  EXPECT_EQ(ruvo_str_strncat(d, nullptr, 8), nullptr);
  EXPECT_STREQ(d, "abcd");
}

// ---- hex ----

TEST(StrUtilHex, WritesLowerCaseDigitsAndChecksTheSize) {
  const unsigned char bytes[] = {0xAB, 0x01};
  char out[8];
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(ruvo_str_bin2hexstr(bytes, 2, out, 4), RUVO_E_SMALL);
  EXPECT_EQ(out[0], '#');
  EXPECT_EQ(ruvo_str_bin2hexstr(bytes, 2, out, 5), RUVO_OK);
  EXPECT_STREQ(out, "ab01");
  EXPECT_EQ(ruvo_str_bin2hexstr(nullptr, 2, out, 8), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_str_bin2hexstr(bytes, 2, nullptr, 8), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_str_bin2hexstr(bytes, 0, out, 8), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_str_bin2hexstr(bytes, -1, out, 8), RUVO_E_INVAL);
  EXPECT_EQ(ruvo_str_bin2hexstr(bytes, 2, out, -5), RUVO_E_SMALL);
  EXPECT_EQ(ruvo_str_bin2hexstr(bytes, 0x7FFFFFFF, out, 0x7FFFFFFF), RUVO_E_SMALL);  // no wrap

  std::vector<unsigned char> all(256);
  for (int i = 0; i < 256; ++i) all[size_t(i)] = static_cast<unsigned char>(i);
  std::string want;
  char two[3];
  for (unsigned char b : all) {
    std::snprintf(two, sizeof two, "%02x", b);
    want += two;
  }
  std::vector<char> big(513);
  ASSERT_EQ(ruvo_str_bin2hexstr(all.data(), 256, big.data(), 513), RUVO_OK);
  EXPECT_EQ(std::string(big.data()), want);
}

// ---- bounded formatter ----

TEST(StrUtilFormat, CutsTerminatesAndFitsExactly) {
  char b[8];
  std::memset(b, '#', sizeof b);
  EXPECT_EQ(ruvo_str_snprintf(b, 4, "%s", "abcdef"), 3);
  EXPECT_STREQ(b, "abc");
  EXPECT_EQ(b[4], '#');
  EXPECT_EQ(ruvo_str_snprintf(b, 4, "%s", "abc"), 3);
  EXPECT_STREQ(b, "abc");
  std::memset(b, '#', sizeof b);
  EXPECT_EQ(ruvo_str_snprintf(b, 0, "%s", "abc"), 0);
  EXPECT_EQ(b[0], '#');
  EXPECT_EQ(ruvo_str_snprintf(b, 1, "%d", 12345), 0);
  EXPECT_EQ(b[0], '\0');
}

TEST(StrUtilFormat, NeverReturnsMoreThanSizeLessOneNorNegative) {
  for (int i = 0; i < 5000; ++i) {
    const std::string text = random_text("abcdefghijklmnop", 60);
    const int number = pick(-100000, 100000);
    const size_t size = size_t(pick(1, 80));
    std::vector<char> b(size + 8, '#');
    const int32_t n = ruvo_str_snprintf(b.data(), size, "%s:%d", text.c_str(), number);
    const std::string full = text + ":" + std::to_string(number);
    ASSERT_GE(n, 0);
    ASSERT_LE(size_t(n), size - 1);
    ASSERT_EQ(size_t(n), std::min(full.size(), size - 1));
    ASSERT_EQ(std::string(b.data()), full.substr(0, size_t(n)));
    for (size_t j = size; j < b.size(); ++j) {
      ASSERT_EQ(b[j], '#');
    }
  }
}

}  // namespace
