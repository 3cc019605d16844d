// INI documents through the exported calls: the line grammar as one table,
// texts read by Python's configparser (data/ini_vectors.txt, written by
// data/ini_vectors.py), random documents saved and loaded back in both forms,
// ENI files enciphered by OpenSSL (data/eni_vectors.txt, eni_vectors.py)
// byte for byte, and bad input.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ruvo/algo/algo.h"
#include "ruvo/base/ini.h"

namespace {

namespace fs = std::filesystem;
using Doc = std::unique_ptr<ruvo_ini_file_st, decltype(&ruvo_ini_file_free)>;

std::string read_file(const fs::path &p) {
  std::ifstream in(p, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}
void write_file(const fs::path &p, const std::string &bytes) {
  std::ofstream(p, std::ios::binary) << bytes;
}
std::string unhex(const std::string &h) {
  std::string out;
  for (size_t i = 0; h != "-" && i < h.size(); i += 2) out += char(std::stoi(h.substr(i, 2), nullptr, 16));
  return out;
}
std::vector<std::string> data_lines(const char *name) {
  const std::string file = __FILE__;
  std::ifstream in(file.substr(0, file.find_last_of("/\\") + 1) + "data/" + name);
  std::vector<std::string> lines;
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  return lines;
}

// "[a] k=v k2=\n[b]": sections in order, each with its keys in order;
// with `skip_empty` no section without keys.
std::string dump(ruvo_ini_file_st *ini, bool lower_keys = false, bool skip_empty = false) {
  struct Arg { std::string out, keys; bool lower, skip; } arg{"", "", lower_keys, skip_empty};
  ruvo_ini_file_foreach(ini, &arg, [](ruvo_ini_file_st *d, const char *s, void *a) -> int32_t {
    auto &w = *static_cast<Arg *>(a);
    w.keys.clear();
    ruvo_ini_file_section_foreach(d, s, a, [](const char *, const char *k, const char *v, void *a) -> int32_t {
      auto &w = *static_cast<Arg *>(a);
      std::string key = k;
      for (char &c : key) c = w.lower && c >= 'A' && c <= 'Z' ? char(c + 32) : c;
      w.keys += " " + key + "=" + v;
      return 0;
    });
    if (!w.skip || !w.keys.empty()) w.out += (w.out.empty() ? "[" : "\n[") + std::string(s) + "]" + w.keys;
    return 0;
  });
  return arg.out;
}

class Ini : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("ini_test_" + std::to_string(std::random_device{}()));
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string path(const char *name) const { return (dir_ / name).string(); }
  Doc load(const std::string &text, uint32_t cs = 0, const char *name = "t.ini") {
    write_file(path(name), text);
    return Doc(ruvo_ini_file_load_ex(path(name).c_str(), cs), &ruvo_ini_file_free);
  }
  fs::path dir_;
};

// Makes an ENI file of any clear text, padded with blanks to whole blocks,
// with the algorithm library's ciphers.
std::string eni_file(std::string clear, const char *key) {
  clear.resize((clear.size() + 7) / 8 * 8, ' ');
  ruvo_des_ctx des;
  ruvo_des_set_key(&des, reinterpret_cast<const uint8_t *>(key));
  std::string out(16, '\0');
  ruvo_md5_calc(clear.data(), uint32_t(clear.size()), reinterpret_cast<uint8_t *>(out.data()));
  for (size_t i = 0; i < clear.size(); i += 8) {
    ruvo_des_encrypt(&des, reinterpret_cast<const uint8_t *>(&clear[i]), reinterpret_cast<uint8_t *>(&clear[i]));
  }
  return out + clear;
}

// One row per rule of the grammar; rows marked e are the clear text of an
// ENI file.
TEST_F(Ini, GrammarTable) {
  const struct { const char *text; uint32_t cs; const char *want; bool e = false; } rows[] = {
      {"", 0, ""},
      {"k=v\n[s]\n", 0, "[s]"},                              // keys ahead of every section are lost
      {"[a]\nx=1\n[b]\n[a]\ny=2\n", 0, "[a] y=2\n[b]"},      // a repeated section replaces, in place
      {"[s]\n[S]\n", 0, "[s]"},                              // ... also in other case
      {"[s]\n[S]\n", 1, "[s]\n[S]"},
      {"[s]\nk=1\nK=2\n", 0, "[s] k=2"},                     // a repeated key replaces, first spelling
      {"[s]\nk=1\nK=2\n", 1, "[s] k=1 K=2"},
      {"[a]b]c\n", 0, "[a]b]"},                              // the name runs to the last ]
      {"[ a ]\n", 0, "[ a ]"},
      {"[]\nk=v\n", 0, "[] k=v"},
      {"[s]\n[open k=v\nk=1\n", 0, "[s] k=1"},               // [ without ] is dropped, = or not
      {"[s]\n=v\n \t=v\n", 0, "[s]"},                        // empty keys
      {"[s]\nk=\n", 0, "[s] k="},
      {"[s]\nk=a=b\n", 0, "[s] k=a=b"},                      // split at the first =
      {"[s]\n#k=1\n;k=2\n'k=3\n", 0, "[s]"},                 // three comment marks
      {"[s]\n \t k \t = \t v \r\n", 0, "[s] k=v"},           // the trim set
      {"[s]\n\vk=\fv\f\n", 0, "[s] \vk=\fv\f"},              // ... which has no VT or FF
      {"[s]\n  [t]\n [u]=1\n", 0, "[s] [u]=1"},              // indented: no section
      {"[s]\nnothing\n", 0, "[s]"},
      {"[s]\nk=\"q\" ;c #d\n", 0, "[s] k=\"q\" ;c #d"},      // no quotes, no inline comments
      {"[s] tail\nk=v", 0, "[s] k=v"},                       // text after ], a last line without \n
      {"", 0, "", true},
      {"[s]\n  [t]    \nk=v\n", 0, "[s]\n[t] k=v", true},    // white space after \n is skipped
      {"[s]\n\t\t\t\t\n\nK=v\r\n  ", 1, "[s] K=v", true},
      {"[s]\n    k=v", 0, "[s]", true},                     // a last line without \n is not
  };
  for (const auto &r : rows) {
    if (!r.e) {
      EXPECT_EQ(dump(load(r.text, r.cs).get()), r.want) << r.text;
      continue;
    }
    write_file(path("c.eni"), eni_file(r.text, "12345678"));
    Doc doc(ruvo_ini_file_load_with_sk_ex(path("c.eni").c_str(), r.cs, "12345678"), &ruvo_ini_file_free);
    EXPECT_EQ(dump(doc.get()), r.want) << r.text;
  }
}

TEST_F(Ini, LoadsAsPythonConfigparserReads) {
  const auto lines = data_lines("ini_vectors.txt");
  int cases = 0;
  std::string want;
  Doc doc(nullptr, &ruvo_ini_file_free);
  for (const auto &line : lines) {
    std::istringstream f(line);
    std::string kind, a, b;
    f >> kind >> a >> b;
    if (kind == "case") {
      doc = load(unhex(b), a == "1"), want.clear(), ++cases;
      ASSERT_NE(doc, nullptr);
    } else if (kind == "sect") {
      want += (want.empty() ? "[" : "\n[") + unhex(a) + "]";
    } else if (kind == "key") {
      want += " " + unhex(a) + "=" + unhex(b);
    } else if (kind == "end") {
      EXPECT_EQ(dump(doc.get(), doc->case_sensitive == 0), want) << "case " << cases;
    }
  }
  EXPECT_EQ(cases, 48);
}

// Random documents: mixed-case and repeated names, empty and long values,
// characters the grammar cares about anywhere but where they would change it.
TEST_F(Ini, RandomDocumentsSaveAndLoadBackEqual) {
  std::mt19937 rng(7);
  auto text = [&](const char *alphabet, size_t n) {
    std::string s;
    while (s.size() < n) s += alphabet[rng() % std::strlen(alphabet)];
    return s;
  };
  for (int round = 0; round < 40; ++round) {
    const uint32_t cs = round % 2;
    Doc doc(ruvo_ini_file_load_ex(nullptr, cs), &ruvo_ini_file_free);
    for (int n = rng() % 8; n > 0; --n) {
      const std::string s = text("aAbB]", 1 + rng() % 3) + text("aB =[]#;'\"", rng() % 5);
      ruvo_ini_file_set(doc.get(), s.c_str(), "", "");  // makes the section, which may stay empty
      ruvo_ini_file_unset(doc.get(), s.c_str(), "");
      for (int k = rng() % 6; k > 0; --k) {
        const std::string key = text("aAbB", 1 + rng() % 2) + text("aB [];#'", rng() % 4) + "x";
        const size_t len = rng() % 4 == 0 ? 1000 + rng() % 100 : rng() % 12;
        const std::string value = len == 0 ? "" : "v" + text("aB =[];#'\"\xc3\xa9", len) + "z";
        ruvo_ini_file_set(doc.get(), s.c_str(), key.c_str(), value.c_str());
      }
    }
    for (const char *name : {"r.ini", "r.eni"}) {
      const uint32_t skip = rng() % 2;
      const char *sk = rng() % 2 ? "8 bytes!" : nullptr;
      ASSERT_EQ(ruvo_ini_file_save_with_sk(doc.get(), path(name).c_str(), skip, sk, rng() % 2), 0);
      Doc back(ruvo_ini_file_load_with_sk_ex(path(name).c_str(), cs, sk), &ruvo_ini_file_free);
      ASSERT_NE(back, nullptr);
      EXPECT_EQ(dump(back.get()), dump(doc.get(), false, skip)) << name << " round " << round;
    }
  }
}

TEST_F(Ini, NumbersSaturateAt32Bits) {
  const struct { const char *text; int32_t i; uint32_t u; } rows[] = {
      {"12ab", 12, 12}, {"abc", 0, 0}, {"", 0, 0}, {" \t+7", 7, 7}, {"-1", -1, 4294967295u},
      {"99999999999", 2147483647, 4294967295u}, {"4294967296", 2147483647, 4294967295u},
      {"2147483648", 2147483647, 2147483648u}, {"-2147483648", INT32_MIN, 2147483648u},
      {"-2147483649", INT32_MIN, 2147483647u}, {"-4294967296", INT32_MIN, 4294967295u},
  };
  Doc doc(ruvo_ini_file_load(nullptr), &ruvo_ini_file_free);
  for (const auto &r : rows) {
    ruvo_ini_file_set(doc.get(), "n", "k", r.text);
    EXPECT_EQ(ruvo_ini_file_get_int(doc.get(), "n", "k", 5), r.i) << r.text;
    EXPECT_EQ(ruvo_ini_file_get_long(doc.get(), "n", "k", 5), r.i) << r.text;
    EXPECT_EQ(ruvo_ini_file_get_uint(doc.get(), "n", "k", 5), r.u) << r.text;
    EXPECT_EQ(ruvo_ini_file_get_ulong(doc.get(), "n", "k", 5), r.u) << r.text;
  }
  EXPECT_EQ(ruvo_ini_file_get_long(doc.get(), "n", "none", -5000000000), -5000000000);
  EXPECT_EQ(ruvo_ini_file_get_ulong(doc.get(), "none", "k", 5000000000u), 5000000000u);
  ruvo_ini_file_set_int(doc.get(), "n", "a", INT32_MIN);
  ruvo_ini_file_set_long(doc.get(), "n", "b", INT64_MIN);
  ruvo_ini_file_set_uint(doc.get(), "n", "c", UINT32_MAX);
  ruvo_ini_file_set_ulong(doc.get(), "n", "d", UINT64_MAX);
  ruvo_ini_file_set(doc.get(), "n", "e", "a\r\nb");
  ruvo_ini_file_set(doc.get(), "n", "f", nullptr);
  EXPECT_EQ(dump(doc.get()), "[n] k=-4294967296 a=-2147483648 b=-9223372036854775808 c=4294967295 "
                             "d=18446744073709551615 e=a  b f=");
}

TEST_F(Ini, EniFilesAreOpensslDesBehindMd5) {
  Doc doc(ruvo_ini_file_load(nullptr), &ruvo_ini_file_free);
  for (const auto &line : data_lines("eni_vectors.txt")) {
    std::istringstream f(line);
    std::string kind, a, b, c;
    f >> kind >> a >> b >> c;
    if (kind == "set") ruvo_ini_file_set(doc.get(), unhex(a).c_str(), unhex(b).c_str(), unhex(c).c_str());
    if (kind == "unset") ruvo_ini_file_unset(doc.get(), unhex(a).c_str(), unhex(b).c_str());
    if (kind != "eni") continue;
    const std::string sk = unhex(a), want = unhex(b);
    const char *key = a == "-" ? nullptr : sk.c_str();
    ASSERT_EQ(ruvo_ini_file_save_with_sk(doc.get(), path("v.eni").c_str(), 0, key, 0), 0);
    EXPECT_EQ(read_file(path("v.eni")), want);
    Doc back(ruvo_ini_file_load_with_sk(path("v.eni").c_str(), key), &ruvo_ini_file_free);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(dump(back.get()), dump(doc.get()));
    EXPECT_EQ(ruvo_ini_file_load_with_sk(path("v.eni").c_str(), key ? nullptr : "other k!"), nullptr);
    for (size_t i = 0; i < want.size(); i += i < 24 ? 1 : 53) {  // one changed byte anywhere is refused
      std::string bad = want;
      bad[i] ^= char(1 << (i % 8));
      write_file(path("v.eni"), bad);
      EXPECT_EQ(ruvo_ini_file_load_with_sk(path("v.eni").c_str(), key), nullptr) << i;
      EXPECT_EQ(read_file(path("v.eni")), bad);
    }
  }
  EXPECT_EQ(dump(load("[a]\n", 0, "t.ENI").get()), "[a]");
  write_file(path(".eni"), "[a]\n");
  const fs::path was = fs::current_path();
  fs::current_path(dir_);  // ".eni" alone is too short a name to load enciphered, not to save so
  EXPECT_EQ(dump(Doc(ruvo_ini_file_load(".eni"), &ruvo_ini_file_free).get()), "[a]");
  EXPECT_EQ(ruvo_ini_file_save(doc.get(), ".eni", 0), 0);
  EXPECT_EQ(read_file(".eni").size() % 8, 0u);
  fs::current_path(was);
}

TEST_F(Ini, BadInputIsRefused) {
  Doc doc(ruvo_ini_file_load(nullptr), &ruvo_ini_file_free);
  ruvo_ini_file_st *d = doc.get(), *n = nullptr;
  ruvo_ini_file_set(d, "s", "k", "v");
  for (auto *sec : {(const char *)nullptr, "s"}) {  // nothing happens
    ruvo_ini_file_set(sec ? n : d, sec, "k", "w"), ruvo_ini_file_set(d, sec, nullptr, "w");
    ruvo_ini_file_unset(sec ? n : d, sec, "k"), ruvo_ini_file_unset(d, sec, nullptr);
    ruvo_ini_file_del(sec ? n : d, sec);
    EXPECT_EQ(ruvo_ini_file_get(sec ? n : d, sec, "k"), nullptr);
    EXPECT_EQ(ruvo_ini_file_get(d, sec, nullptr), nullptr);
  }
  EXPECT_STREQ(ruvo_ini_file_get_cstr(d, "S", "K", "def"), "v");
  EXPECT_STREQ(ruvo_ini_file_get_cstr(d, "s", "x", "def"), "def");
  auto section_fn = [](ruvo_ini_file_st *, const char *, void *) { return 9; };
  auto key_fn = [](const char *, const char *, const char *, void *) { return 7; };
  EXPECT_EQ(ruvo_ini_file_foreach(n, nullptr, section_fn) + ruvo_ini_file_foreach(d, nullptr, nullptr), 0);
  EXPECT_EQ(ruvo_ini_file_section_foreach(d, "x", nullptr, key_fn) + ruvo_ini_file_section_foreach(d, "s", nullptr, nullptr), 0);
  EXPECT_EQ(ruvo_ini_file_section_foreach(d, "s", nullptr, key_fn) + ruvo_ini_file_foreach(d, nullptr, section_fn), 16);
  ruvo_ini_file_unset(d, "s", "K");
  EXPECT_EQ(dump(d), "[s]");  // the section stays
  ruvo_ini_file_del(d, "S");
  EXPECT_EQ(dump(d), "");
  ruvo_ini_file_free(nullptr);
  EXPECT_EQ(ruvo_ini_file_save(n, path("x.ini").c_str(), 0), int32_t(RUVO_E_INVAL));
  EXPECT_EQ(ruvo_ini_file_save_directio(d, nullptr, 0), int32_t(RUVO_E_INVAL));
  for (const char *sk : {"", "1234567", "123456789"}) {  // checked first, plain files too
    EXPECT_EQ(ruvo_ini_file_load_with_sk(nullptr, sk), nullptr);
    EXPECT_EQ(ruvo_ini_file_load_with_sk_ex(path("x.ini").c_str(), 1, sk), nullptr);
    EXPECT_EQ(ruvo_ini_file_save_with_sk(n, path("x.ini").c_str(), 0, sk, 0), RUVO_INI_E_KEY);
  }
  EXPECT_EQ(ruvo_ini_file_load(path("missing.ini").c_str()), nullptr);
  EXPECT_EQ(ruvo_ini_file_load(path("missing.eni").c_str()), nullptr);
  EXPECT_EQ(ruvo_ini_file_save(d, path("e.ini").c_str(), 0), 0);
  EXPECT_EQ(read_file(path("e.ini")), "");
  // Too short, the empty text, not whole blocks; and 1036 bytes of blanks
  // behind their right digest, whose last read is no whole block either.
  std::string odd = eni_file(std::string(1040, ' '), "12345678");
  ruvo_md5_calc(std::string(1036, ' ').data(), 1036, reinterpret_cast<uint8_t *>(odd.data()));
  const std::string empty = eni_file("", "12345678") + "0123456789ab";
  for (const std::string &file : {empty.substr(0, 15), empty.substr(0, 16), empty, odd.substr(0, 16 + 1036)}) {
    write_file(path("c.eni"), file);
    EXPECT_EQ(Doc(ruvo_ini_file_load_with_sk(path("c.eni").c_str(), "12345678"), &ruvo_ini_file_free) != nullptr, file.size() == 16) << file.size();
  }
}

// A target that can't be replaced (a folder here) fails every attempt.
TEST_F(Ini, SaveRetryTriesAgainAfter100ms) {
  Doc doc(ruvo_ini_file_load(nullptr), &ruvo_ini_file_free);
  fs::create_directories(path("dir.ini") + "/inside");
  for (int retries : {-1, 0, 2}) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ruvo_ini_file_save_retry(doc.get(), path("dir.ini").c_str(), 0, retries), RUVO_INI_E_RENAME);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100) * std::max(retries, 0));
  }
  EXPECT_EQ(ruvo_ini_file_save_retry(doc.get(), path("ok.ini").c_str(), 0, 2), 0);
}

}  // namespace
