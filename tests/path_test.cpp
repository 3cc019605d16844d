// Tests for the path strings: the twins run one table through all three
// encodings by a typed suite; the byte operations have tables of their own;
// random paths check the properties that tie the operations together.
#include "ruvo/base/path.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <unistd.h>

#include <cstdlib>
#endif

#include "ruvo/base/dir.h"

namespace {

template <class C> using Str = std::basic_string<C>;
template <class C> Str<C> lit(const std::string &s) { return Str<C>(s.begin(), s.end()); }
template <class C> Str<C> str_of(const C *p) { return p == nullptr ? Str<C>() : Str<C>(p); }

// ---- twins: one table, three encodings ----

struct A {
  using C = char;
  static uint32_t format(C *p) { return ruvo_path_format_a(p); }
  static C *name(const C *p) { return ruvo_path_get_name_a(p); }
  static C *ext(const C *p) { return ruvo_path_get_ext_a(p); }
  static int remove_ext(C *p) { return ruvo_path_remove_ext_a(p); }
  static int remove_name(C *p) { return ruvo_path_remove_name_a(p); }
  static const C *directory(const C *p, C *o, size_t n) { return ruvo_path_directory(p, o, n); }
};
struct U : A {
  static uint32_t format(C *p) { return ruvo_path_format_u(p); }
  static C *name(const C *p) { return ruvo_path_get_name_u(p); }
  static C *ext(const C *p) { return ruvo_path_get_ext_u(p); }
  static int remove_ext(C *p) { return ruvo_path_remove_ext_u(p); }
  static int remove_name(C *p) { return ruvo_path_remove_name_u(p); }
};
struct W {
  using C = ruvo_wchar_t;
  static uint32_t format(C *p) { return ruvo_path_format_w(p); }
  static C *name(const C *p) { return ruvo_path_get_name_w(p); }
  static C *ext(const C *p) { return ruvo_path_get_ext_w(p); }
  static int remove_ext(C *p) { return ruvo_path_remove_ext_w(p); }
  static int remove_name(C *p) { return ruvo_path_remove_name_w(p); }
  static const C *directory(const C *p, C *o, size_t n) { return ruvo_path_directory_w(p, o, n); }
};

enum Op { kName, kExt, kRemoveExt, kRemoveName, kFormat, kDirectory };
struct TwinRow {
  Op op;
  const char *in;
  const char *out;  // the pointed-to text, the rewritten string, or the directory (null: null)
  int64_t result = 0;  // remove_*, format: the result; directory: cap (0: large), -1 for the static "."
};

const TwinRow kTwinRows[] = {
    {kName, "C:\\dir\\file.txt", "file.txt"}, {kName, "C:file", "file"}, {kName, "dir/", ""},
    {kName, "file.txt", ""}, {kName, "", ""}, {kName, "a/b/", "b/"}, {kName, "a\\\\b", "b"},
    {kName, "/x", "x"}, {kName, "a:/b", "b"}, {kName, "a//", ""}, {kName, "a:", ""},
    {kExt, "C:\\dir.d\\file.txt", ".txt"}, {kExt, ".profile", ".profile"}, {kExt, "dir.d/file", ""},
    {kExt, "dir.d\\file", ""}, {kExt, "a.b c", ""}, {kExt, "a.tar.gz", ".gz"}, {kExt, "f.x:s", ".x:s"},
    {kExt, "", ""}, {kExt, "a.", "."},
    {kRemoveExt, "a.txt", "a", 1}, {kRemoveExt, "", "", 1}, {kRemoveExt, "dir.d/file", "dir.d/file", 1},
    {kRemoveExt, "x.y z", "x.y z", 1}, {kRemoveExt, "d\\a.b.c", "d\\a.b", 1},
    {kRemoveName, "C:\\dir\\file", "C:\\dir", 1}, {kRemoveName, "C:\\file", "C:\\", 1},
    {kRemoveName, "C:\\", "C:\\", 0}, {kRemoveName, "C:file", "C:", 1}, {kRemoveName, "C:", "C:", 0},
    {kRemoveName, "\\abc", "\\", 1}, {kRemoveName, "\\", "\\", 0}, {kRemoveName, "\\\\abc", "\\\\", 1},
    {kRemoveName, "\\\\", "\\\\", 0}, {kRemoveName, "//abc", "//", 1}, {kRemoveName, "name", "", 1},
    {kRemoveName, "", "", 0}, {kRemoveName, "dir/", "dir", 1}, {kRemoveName, "a\\", "a", 1},
    {kRemoveName, "a/b/c", "a/b", 1}, {kRemoveName, "\\a\\b", "\\a", 1}, {kRemoveName, "a\\bc", "a", 1},
    {kRemoveName, "/\\x", "/\\", 1}, {kRemoveName, "a:b:c", "a:b:", 1},
    {kFormat, "\\\\srv\\x//y\\", "/srv/x/y/", RUVO_OK}, {kFormat, "a", "a", RUVO_OK},
    {kFormat, "", "", RUVO_E_INVAL}, {kFormat, "C:\\a", "C:/a", RUVO_OK},
    {kFormat, "a/\\/b", "a/b", RUVO_OK}, {kFormat, "\\", "/", RUVO_OK},
    {kDirectory, "a/b/", "a/b"}, {kDirectory, "/x", ""}, {kDirectory, "x", ".", -1},
    {kDirectory, "", ".", -1}, {kDirectory, "C:x", ".", -1}, {kDirectory, "C:\\dir\\f", "C:\\dir"},
    {kDirectory, "a\\b", "a", 2}, {kDirectory, "a\\b", nullptr, 1}, {kDirectory, "ab/c", nullptr, 2},
    {kDirectory, "ab/c", "ab", 3},
};

template <class E> class PathTwins : public ::testing::Test {};
using Encodings = ::testing::Types<A, U, W>;
TYPED_TEST_SUITE(PathTwins, Encodings);

TYPED_TEST(PathTwins, EveryRowOfTheTable) {
  using C = typename TypeParam::C;
  for (const TwinRow &row : kTwinRows) {
    SCOPED_TRACE(testing::Message() << "op " << row.op << " on \"" << row.in << "\"");
    Str<C> buf = lit<C>(row.in);
    C *p = buf.data();
    const Str<C> want = row.out == nullptr ? Str<C>() : lit<C>(row.out);
    switch (row.op) {
      case kName:
      case kExt: {
        const C *got = row.op == kName ? TypeParam::name(p) : TypeParam::ext(p);
        EXPECT_EQ(got, p + (buf.size() - want.size()));  // a pointer into the string
        EXPECT_EQ(str_of(got), want);
        break;
      }
      case kRemoveExt:
      case kRemoveName:
      case kFormat: {
        const int64_t got = row.op == kRemoveExt    ? TypeParam::remove_ext(p)
                         : row.op == kRemoveName ? TypeParam::remove_name(p)
                                                 : int64_t(TypeParam::format(p));
        EXPECT_EQ(got, row.result);
        EXPECT_EQ(str_of(p), want);
        break;
      }
      case kDirectory: {
        Str<C> out(64, C('#'));
        const size_t cap = row.result > 0 ? size_t(row.result) : out.size();
        const C *got = TypeParam::directory(p, out.data(), cap);
        if (row.out == nullptr) {
          EXPECT_EQ(got, nullptr);
        } else {
          EXPECT_EQ(got == out.data(), row.result != -1);
          EXPECT_EQ(str_of(got), want);
        }
        break;
      }
    }
  }
}

TYPED_TEST(PathTwins, NullGivesTheDocumentedResult) {
  using C = typename TypeParam::C;
  C out[8];
  const C x[] = {C('x'), C(0)};
  EXPECT_EQ(TypeParam::name(nullptr), nullptr);
  EXPECT_EQ(TypeParam::ext(nullptr), nullptr);
  EXPECT_EQ(TypeParam::remove_ext(nullptr), 0);
  EXPECT_EQ(TypeParam::remove_name(nullptr), 0);
  EXPECT_EQ(TypeParam::format(nullptr), RUVO_E_INVAL);
  EXPECT_EQ(TypeParam::directory(nullptr, out, 8), nullptr);
  EXPECT_EQ(TypeParam::directory(x, nullptr, 8), nullptr);
  EXPECT_EQ(TypeParam::directory(x, out, 0), nullptr);
}

// Directory, name and extension split a path into parts that join back.
TYPED_TEST(PathTwins, SplitPartsJoinBack) {
  using C = typename TypeParam::C;
  std::mt19937 rng(7);
  const char pool[] = "ab.\\/ ";
  for (int i = 0; i < 2000; ++i) {
    std::string s;
    for (size_t n = rng() % 12; n > 0; --n) s += pool[rng() % 6];
    if (s.find_first_of("/\\") == std::string::npos || s.back() == '/' || s.back() == '\\') continue;
    SCOPED_TRACE(s);
    Str<C> path = lit<C>(s), dir(64, C(0));
    ASSERT_EQ(TypeParam::directory(path.c_str(), dir.data(), dir.size()), dir.data());
    const Str<C> d = str_of(dir.c_str()), name = str_of(TypeParam::name(path.c_str()));
    EXPECT_EQ(d + path[d.size()] + name, path);
    const Str<C> ext = str_of(TypeParam::ext(path.c_str()));
    TypeParam::remove_ext(path.data());
    EXPECT_EQ(str_of(path.c_str()) + ext, lit<C>(s));
  }
}

// The scans are blind to multi-byte sequences: a DBCS trail byte 0x5C is a
// separator to the byte forms, and only the unit 0x5C is one to the wide form.
TEST(Path, ScansTestSingleUnitsOnly) {
  char sjis[] = "a\x95\\b.c";
  EXPECT_STREQ(ruvo_path_get_name_a(sjis), "b.c");
  EXPECT_STREQ(ruvo_path_get_name_u(sjis), "b.c");
  const ruvo_wchar_t wide[] = {'a', 0x015C, 0xFF0F, 0x2E2E, 'b', 0};
  EXPECT_EQ(ruvo_path_get_name_w(wide), wide + 5);
  EXPECT_EQ(ruvo_path_get_ext_w(wide), wide + 5);
}

// ---- byte operations ----

struct TranslateRow {
  const char *in;
  size_t len, cap;
  const char *out;
  size_t result;
};

TEST(Path, TranslateTable) {
  const TranslateRow rows[] = {
      {"c:/a//b/", 0, 64, "C:\\a\\b", 6}, {"c:", 0, 64, "C:\\", 3}, {"c:", 0, 4, "C:\\", 3},
      {"c:", 0, 3, "C:", 2}, {"/", 0, 64, "\\", 1}, {"a/", 0, 64, "a", 1},
      {"//srv/share", 0, 64, "\\srv\\share", 10}, {"\\\\", 0, 64, "\\", 1}, {"ab/", 0, 64, "ab", 2},
      {"1:/x", 0, 64, "1:\\x", 4}, {"Z:\\", 0, 64, "Z:\\", 3}, {"a:b", 0, 64, "A:b", 3},
      {"m:\\x", 0, 64, "M:\\x", 4}, {"@:", 0, 64, "@:", 2}, {"[:", 0, 64, "[:", 2},
      {"`:", 0, 64, "`:", 2}, {"{:", 0, 64, "{:", 2}, {"", 0, 64, "", 0},
      {"abc", 2, 64, "abc", 0}, {"a//b", 4, 64, "a\\b", 3}, {"abcd", 0, 4, "abcd", 0},
      {"a/", 0, 3, "a", 1}, {"x", 0, 0, "x", 0}, {"a/b", 0, 4, "a\\b", 3},
  };
  for (const TranslateRow &row : rows) {
    SCOPED_TRACE(testing::Message() << row.in << " len " << row.len << " cap " << row.cap);
    std::vector<char> buf(64, '#');
    std::memcpy(buf.data(), row.in, std::strlen(row.in) + 1);
    EXPECT_EQ(ruvo_path_translate(buf.data(), row.len, row.cap), row.result);
    EXPECT_STREQ(buf.data(), row.out);
  }
  EXPECT_EQ(ruvo_path_translate(nullptr, 0, 64), 0u);
}

// '~' stands for the home directory, only the one character.
TEST(Path, TranslateExpandsTheHomeDirectory) {
  char home[1039];
  const size_t h = ruvo_home_dir(home, sizeof home);
  if (h == 0) GTEST_SKIP() << "no home directory here";
  std::vector<char> want(home, home + h + 1);
  want.resize(h + 8);
  ruvo_path_translate(want.data(), 0, want.size());
  const std::string tidy = want.data();
  for (const auto &[in, tail] : {std::pair{"~", ""}, {"~/x//y/", "\\x\\y"}, {"~abc", "abc"}}) {
    SCOPED_TRACE(in);
    const size_t n = std::strlen(in), fit = h + n;  // h - 1 + n bytes and the terminator
    std::vector<char> buf(fit, '\0');
    std::memcpy(buf.data(), in, n + 1);
    EXPECT_EQ(ruvo_path_translate(buf.data(), 0, fit - 1), 0u);
    EXPECT_STREQ(buf.data(), in);
    EXPECT_EQ(ruvo_path_translate(buf.data(), n, fit), tidy.size() + std::strlen(tail));
    EXPECT_EQ(std::string(buf.data()), tidy + tail);
  }
  char out[2048];
  EXPECT_EQ(std::string(ruvo_path_absolute_to("C:\\", "~/a/../b", out, sizeof out)), tidy + "\\a\\..\\b");
#if !defined(_WIN32)
  std::string saved = std::getenv("HOME");
  unsetenv("HOME");
  char tilde[] = "~x";
  EXPECT_EQ(ruvo_path_translate(tilde, 0, sizeof tilde), 0u);
  setenv("HOME", saved.c_str(), 1);
#endif
}

#if !defined(_WIN32)
// The Linux stand-ins answer as the Windows forms do: lengths, 0 for what
// doesn't fit, and for null.
TEST(Path, NativeDirectoryStandIns) {
  char buf[16];
  ASSERT_EQ(chdir("/tmp"), 0);
  EXPECT_EQ(ruvo_current_dir_get(buf, 5), 4u);
  EXPECT_STREQ(buf, "/tmp");
  EXPECT_EQ(ruvo_current_dir_get(buf, 4), 0u);
  EXPECT_EQ(ruvo_current_dir_get(nullptr, 16), 0u);
  ASSERT_EQ(chdir("/usr/bin"), 0);
  EXPECT_EQ(ruvo_current_dir_get(buf, 5), 0u);
  const std::string saved = std::getenv("HOME") ? std::getenv("HOME") : "";
  setenv("HOME", "/h", 1);
  EXPECT_EQ(ruvo_home_dir(buf, 3), 2u);
  EXPECT_STREQ(buf, "/h");
  EXPECT_EQ(ruvo_home_dir(buf, 2), 0u);
  EXPECT_EQ(ruvo_home_dir(nullptr, 8), 0u);
  EXPECT_EQ(ruvo_home_dir(buf, 0), 0u);
  setenv("HOME", "", 1);
  EXPECT_EQ(ruvo_home_dir(buf, 8), 0u);
  setenv("HOME", saved.c_str(), 1);
}
#endif

TEST(Path, IsAbsolute) {
  for (const char *yes : {"~x", "/", "\\", "C:", "c:x", "z:/", "A:"}) EXPECT_EQ(ruvo_path_is_absolute(yes), 1) << yes;
  for (const char *no : {"1:", "C", "", "a/b", ".\\a", "@:", "[:", "`:", "{:", "ab:"})
    EXPECT_EQ(ruvo_path_is_absolute(no), 0) << no;
  EXPECT_EQ(ruvo_path_is_absolute(nullptr), 0);
}

struct PairRow {
  const char *base, *path;
  size_t cap;
  const char *out;  // null: null result
};

TEST(Path, AbsoluteToTable) {
  const PairRow rows[] = {
      {"C:/base/dir", "../x/./y", 64, "C:\\base\\x\\y"}, {"C:\\a", "..\\..\\..", 64, "C:\\"},
      {"C:\\", "a", 64, "C:\\a"}, {"C:\\a", "D:/a/../b", 64, "D:\\a\\..\\b"}, {"\\a", "..", 64, "\\"},
      {"\\", "a", 64, "\\a"}, {"/srv", "x//y/", 64, "\\srv\\x\\y"}, {"C:\\a", "", 64, "C:\\a"},
      {"C:\\a", ".", 64, "C:\\a"}, {"c:", "x", 64, "C:\\x"}, {"C:\\a\\b", "../c", 64, "C:\\a\\c"},
      {"rel", "x", 64, "rel\\x"}, {"rel", "..", 64, "\\"}, {"a\\b", "..", 64, "a"}, {"", "x", 64, nullptr},
      {"C:\\a", "bc", 7, nullptr}, {"C:\\a", "bc", 8, "C:\\a\\bc"}, {"C:\\", "bc", 6, "C:\\bc"},
      {"C:\\", "bc", 5, nullptr}, {"C:\\abc", "x", 6, nullptr}, {nullptr, "C:\\abcdef", 5, nullptr},
      {nullptr, "C:\\a\\..\\b", 64, "C:\\a\\..\\b"}, {"C:\\a\\b", "..\\..\\x", 64, "C:\\x"},
      {"C:\\a", "..", 64, "C:\\"}, {"C:\\a", "..\\b", 64, "C:\\b"}, {"C:", "..", 3, "\\"},
      {"C:\\a", "...", 64, "C:\\a\\..."}, {"C:\\a", ".x", 64, "C:\\a\\.x"}, {"C:\\a", "x.", 64, "C:\\a\\x."},
      {"C:\\ab", "..", 6, "C:\\"}, {"C:\\", "..", 64, "C:\\"},
  };
  for (const PairRow &row : rows) {
    SCOPED_TRACE(testing::Message() << (row.base ? row.base : "(null)") << " + " << row.path << " cap " << row.cap);
    std::vector<char> out(row.cap + 1, '#');
    const char *got = ruvo_path_absolute_to(row.base, row.path, out.data(), row.cap);
    if (row.out == nullptr) {
      EXPECT_EQ(got, nullptr);
    } else {
      EXPECT_EQ(got, out.data());
      EXPECT_STREQ(got, row.out);
    }
    EXPECT_EQ(out[row.cap], '#');
  }
  char out[8];
  EXPECT_EQ(ruvo_path_absolute_to("C:\\", nullptr, out, 8), nullptr);
  EXPECT_EQ(ruvo_path_absolute_to("C:\\", "a", nullptr, 8), nullptr);
  EXPECT_EQ(ruvo_path_absolute_to("C:\\", "a", out, 0), nullptr);
}

// The current directory as the library's own form ("\" + names on Linux).
std::string current_dir() {
  char cwd[4096];
  const size_t n = ruvo_current_dir_get(cwd, sizeof cwd);
  EXPECT_GT(n, 0u);
  EXPECT_GT(ruvo_path_translate(cwd, 0, sizeof cwd), 0u);
  return cwd;
}

TEST(Path, NullBaseIsTheCurrentDirectory) {
  const std::string cwd = current_dir();
  char out[4096];
  EXPECT_EQ(std::string(ruvo_path_absolute("x/./y", out, sizeof out)), cwd + "\\x\\y");
  EXPECT_EQ(ruvo_path_absolute("x", out, cwd.size() + 2), nullptr);
  EXPECT_EQ(ruvo_path_absolute("x", out, 4), nullptr);
  if (cwd.size() < 250) {
    EXPECT_STREQ(ruvo_path_relative((cwd + "/x/y").c_str(), out, sizeof out), "x\\y");
    EXPECT_STREQ(ruvo_path_relative(cwd.c_str(), out, sizeof out), ".");
    EXPECT_STREQ(ruvo_path_relative_to(nullptr, cwd.c_str(), out, sizeof out), ".");
  }
  EXPECT_STREQ(ruvo_path_relative("a//b/", out, sizeof out), "a\\b");
  EXPECT_EQ(ruvo_path_relative("abc", out, 3), nullptr);
  EXPECT_EQ(ruvo_path_relative("", out, sizeof out), nullptr);
}

// A current directory longer than the 259 bytes that ruvo_path_relative
// works in fails it.
TEST(Path, CurrentDirectoryTooLongForRelative) {
  namespace fs = std::filesystem;
  const fs::path top = fs::temp_directory_path() / ("ruvo-deep-" + std::to_string(std::random_device()()));
  fs::path deep = top;
  for (int i = 0; i < 14; ++i) deep /= std::string(20, 'd');
  fs::create_directories(deep);
  fs::current_path(deep);
  char out[1024];
  EXPECT_EQ(ruvo_path_relative("C:\\x", out, sizeof out), nullptr);
  EXPECT_EQ(ruvo_path_relative("\\x", out, sizeof out), nullptr);
  fs::current_path(top.parent_path());
  std::error_code ignored;  // remove_all can't list a tree this deep on MinGW
  for (fs::path p = deep; p != top.parent_path(); p = p.parent_path()) fs::remove(p, ignored);
}

TEST(Path, RelativeToTable) {
  const std::string deep = "C:\\" + std::string(256, 'a');  // 259 bytes
  const std::string under = "C:\\d\\" + std::string(254, 'b'), deeper = deep + "a";
  const PairRow rows[] = {
      {"C:\\a", "C:\\a\\b", 64, "b"}, {"C:\\a\\b", "C:\\a", 64, ".."}, {"C:\\a\\b", "C:\\a\\c\\d", 64, "..\\c\\d"},
      {"C:\\y", "C:\\x", 64, "C:\\x"}, {"C:\\a", "C:\\a", 64, "."}, {"C:/a/", "c:\\a", 64, "."},
      {"C:\\a", "D:\\a", 64, "D:\\a"}, {"\\a\\b", "\\a\\c", 64, "..\\c"}, {"\\a", "\\b", 64, "\\b"},
      {"C:\\ab", "C:\\abc", 64, "C:\\abc"}, {"C:\\", "C:\\a", 64, "C:\\a"}, {"C:\\a\\b\\c", "C:\\a", 64, "..\\.."},
      {"C:\\a", "b\\c", 64, "b\\c"}, {"C:\\a\\b", "..\\c", 64, "..\\c"}, {"C:\\A", "C:\\a\\x", 64, "C:\\a\\x"},
      {"C:\\a\\b", "C:\\a\\c\\d", 4, "..\\"}, {"C:\\a\\b", "C:\\a\\c\\d", 2, "c"}, {"C:\\y", "C:\\xyz", 4, "C:\\"},
      {"C:\\a\\b", "C:\\a\\c", 3, ".."}, {"C:\\a\\b", "C:\\a\\c", 5, "..\\c"}, {"C:\\a", "C:\\a\\bc", 2, "b"},
      {"C:\\a", "C:\\a\\b", 1, ""}, {"C:\\a\\b", "C:\\a", 1, ""}, {"x:", "x:\\a", 64, "X:\\a"},
      {"C:\\", deep.c_str(), 300, deep.c_str()}, {"C:\\d", under.c_str(), 300, under.c_str() + 5},
      {"C:\\", deeper.c_str(), 300, nullptr}, {deep.c_str(), "C:\\x", 300, "C:\\x"}, {deeper.c_str(), "C:\\", 300, nullptr},
      {"C:\\a", "", 64, "."}, {"", "C:\\a", 64, "C:\\a"},
  };
  for (const PairRow &row : rows) {
    SCOPED_TRACE(testing::Message() << row.base << " to " << row.path << " cap " << row.cap);
    std::vector<char> out(row.cap + 1, '#');
    const char *got = ruvo_path_relative_to(row.base, row.path, out.data(), row.cap);
    if (row.out == nullptr) {
      EXPECT_EQ(got, nullptr);
    } else {
      EXPECT_EQ(got, out.data());
      EXPECT_STREQ(got, row.out);
    }
    EXPECT_EQ(out[row.cap], '#');
  }
  char one[1];
  const char *dot = ruvo_path_relative_to("C:\\a", "C:/a", one, 1);
  EXPECT_STREQ(dot, ".");
  EXPECT_NE(dot, one);
  EXPECT_EQ(ruvo_path_relative_to("C:\\", nullptr, one, 1), nullptr);
  EXPECT_EQ(ruvo_path_relative_to("C:\\", "C:\\a", nullptr, 1), nullptr);
  EXPECT_EQ(ruvo_path_relative_to("C:\\", "C:\\a", one, 0), nullptr);
}

// ---- properties over random paths ----

std::string random_path(std::mt19937 &rng, bool absolute) {
  static const char *const names[] = {"a", "b", "ab", "x.y"};
  std::string s = absolute ? std::string(1, "cCdD"[rng() % 4]) + ":" : "";
  for (size_t n = rng() % 5; n > 0; --n) {
    if (absolute || !s.empty()) s += std::string(1 + rng() % 2, "/\\"[rng() % 2]);
    s += names[rng() % 4];
  }
  if (rng() % 3 == 0) s += "/";
  return s.empty() || s == "/" ? "a" : s;
}

TEST(Path, NormalisingTwiceChangesNothing) {
  std::mt19937 rng(11);
  const char pool[] = "aZ:./\\ ";
  for (int i = 0; i < 5000; ++i) {
    std::string s;
    for (size_t n = 1 + rng() % 14; n > 0; --n) s += pool[rng() % 7];
    std::vector<char> buf(s.begin(), s.end());
    buf.resize(32, '\0');
    const size_t once = ruvo_path_translate(buf.data(), 0, buf.size());
    const std::string first = buf.data();
    EXPECT_EQ(ruvo_path_translate(buf.data(), 0, buf.size()), once) << s;
    EXPECT_EQ(std::string(buf.data()), first) << s;
    EXPECT_EQ(first.size(), once);
    ruvo_path_format_a(buf.data());
    const std::string formatted = buf.data();
    ruvo_path_format_a(buf.data());
    EXPECT_EQ(std::string(buf.data()), formatted) << s;
  }
}

TEST(Path, AbsoluteOfARelativeResultGivesBackTheAbsolutePath) {
  std::mt19937 rng(5);
  for (int i = 0; i < 5000; ++i) {
    const std::string base = random_path(rng, true), path = random_path(rng, rng() % 4 != 0);
    SCOPED_TRACE(base + " to " + path);
    char want[260], rel[260], back[260];
    ASSERT_NE(ruvo_path_absolute_to(base.c_str(), path.c_str(), want, sizeof want), nullptr);
    ASSERT_EQ(ruvo_path_relative_to(base.c_str(), path.c_str(), rel, sizeof rel), rel);
    ASSERT_EQ(ruvo_path_absolute_to(base.c_str(), rel, back, sizeof back), back);
    EXPECT_STREQ(back, want) << "relative " << rel;
  }
}

}  // namespace
