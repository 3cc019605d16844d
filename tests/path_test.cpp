// Path strings: a table per operation, the twins in a typed suite, and random-path properties.
#include "ruvo/base/path.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>
#if !defined(_WIN32)
#include <unistd.h>
#endif

#include "ruvo/base/dir.h"

namespace {

template <class C> using Str = std::basic_string<C>;
template <class C> Str<C> lit(const std::string &s) { return Str<C>(s.begin(), s.end()); }
template <class C> Str<C> str_of(const C *p) { return p == nullptr ? Str<C>() : Str<C>(p); }

#define TWIN(E, T, S, D)                                                                            \
  struct E {                                                                                        \
    using C = T;                                                                                    \
    static uint32_t format(C *p) { return ruvo_path_format_##S(p); }                                \
    static C *name(const C *p) { return ruvo_path_get_name_##S(p); }                                \
    static C *ext(const C *p) { return ruvo_path_get_ext_##S(p); }                                  \
    static int remove_ext(C *p) { return ruvo_path_remove_ext_##S(p); }                             \
    static int remove_name(C *p) { return ruvo_path_remove_name_##S(p); }                           \
    static const C *directory(const C *p, C *o, size_t n) { return ruvo_path_directory##D(p, o, n); } \
  };
TWIN(A, char, a, ) TWIN(U, char, u, ) TWIN(W, ruvo_wchar_t, w, _w)

enum Op { kName, kExt, kRemoveExt, kRemoveName, kFormat, kDirectory };
// out: the text pointed to, the rewritten string, or the directory (null:
// null); result: of remove_* and format; of directory the cap (0: 64), or -1
// for the static ".".
struct TwinRow { Op op; const char *in, *out; int64_t result = 0; };
const TwinRow kTwinRows[] = {
    {kName, "C:\\d\\f.txt", "f.txt"}, {kName, "C:file", "file"}, {kName, "dir/", ""}, {kName, "file", ""},
    {kName, "a/b/", "b/"}, {kName, "a\\\\b", "b"}, {kName, "/x", "x"}, {kName, "a//", ""}, {kName, "a:", ""},
    {kExt, "C:\\d.d\\f.txt", ".txt"}, {kExt, ".profile", ".profile"}, {kExt, "dir.d/file", ""}, {kExt, "d.d\\f", ""},
    {kExt, "a.b c", ""}, {kExt, "a.tar.gz", ".gz"}, {kExt, "f.x:s", ".x:s"}, {kExt, "", ""}, {kExt, "a.", "."},
    {kRemoveExt, "d\\a.b.c", "d\\a.b", 1}, {kRemoveExt, "", "", 1}, {kRemoveExt, "x.y z", "x.y z", 1},
    {kRemoveName, "C:\\d\\f", "C:\\d", 1}, {kRemoveName, "C:\\f", "C:\\", 1}, {kRemoveName, "C:\\", "C:\\", 0},
    {kRemoveName, "C:f", "C:", 1}, {kRemoveName, "C:", "C:", 0}, {kRemoveName, "\\abc", "\\", 1}, {kRemoveName, "\\", "\\", 0},
    {kRemoveName, "\\\\abc", "\\\\", 1}, {kRemoveName, "\\\\", "\\\\", 0}, {kRemoveName, "//abc", "//", 1},
    {kRemoveName, "name", "", 1}, {kRemoveName, "", "", 0}, {kRemoveName, "a/b\\c", "a/b", 1}, {kRemoveName, "/\\x", "/\\", 1},
    {kRemoveName, "a:b:c", "a:b:", 1}, {kFormat, "\\\\srv\\x//y\\", "/srv/x/y/", RUVO_OK}, {kFormat, "", "", RUVO_E_INVAL},
    {kFormat, "a/\\/b", "a/b", RUVO_OK}, {kDirectory, "a/b/", "a/b"}, {kDirectory, "/x", ""}, {kDirectory, "x", ".", -1},
    {kDirectory, "", ".", -1}, {kDirectory, "C:x", ".", -1}, {kDirectory, "a\\b", "a", 2}, {kDirectory, "a\\b", nullptr, 1},
};

template <class E> class PathTwins : public ::testing::Test {};
using Encodings = ::testing::Types<A, U, W>;
TYPED_TEST_SUITE(PathTwins, Encodings);

TYPED_TEST(PathTwins, TableAndNulls) {
  using C = typename TypeParam::C;
  for (const TwinRow &row : kTwinRows) {
    SCOPED_TRACE(testing::Message() << "op " << row.op << " on \"" << row.in << "\"");
    Str<C> buf = lit<C>(row.in), out(64, C('#')), want = lit<C>(row.out == nullptr ? "" : row.out);
    C *p = buf.data();
    if (row.op <= kExt) {  // a pointer into the string
      EXPECT_EQ(row.op == kName ? TypeParam::name(p) : TypeParam::ext(p), p + (buf.size() - want.size()));
    } else if (row.op < kDirectory) {
      EXPECT_EQ(row.op == kRemoveExt ? TypeParam::remove_ext(p) : row.op == kRemoveName ? TypeParam::remove_name(p)
                                                                                          : int64_t(TypeParam::format(p)),
                row.result);
      EXPECT_EQ(str_of(p), want);
    } else {
      const C *got = TypeParam::directory(p, out.data(), row.result > 0 ? size_t(row.result) : out.size());
      EXPECT_EQ(got == out.data(), row.out != nullptr && row.result != -1);
      EXPECT_EQ(str_of(got), want);
    }
  }
  C out[8], x[] = {C('x'), C(0)};  // null and cap 0
  EXPECT_TRUE(!TypeParam::name(nullptr) && !TypeParam::ext(nullptr) && !TypeParam::remove_ext(nullptr) && !TypeParam::remove_name(nullptr));
  EXPECT_TRUE(!TypeParam::directory(nullptr, out, 8) && !TypeParam::directory(x, nullptr, 8) && !TypeParam::directory(x, out, 0));
  EXPECT_EQ(TypeParam::format(nullptr), RUVO_E_INVAL);
}

// ---- byte operations ----

TEST(Path, TranslateAndIsAbsolute) {
  struct { const char *in; size_t len, cap; const char *out; size_t result; } const rows[] = {
      {"c:/a//b/", 0, 64, "C:\\a\\b", 6}, {"c:", 0, 4, "C:\\", 3}, {"c:", 0, 3, "c:", 0}, {"/", 0, 64, "\\", 1},
      {"//srv/share", 0, 64, "\\srv\\share", 10}, {"ab/", 0, 64, "ab", 2}, {"1:/x", 0, 64, "1:\\x", 4},
      {"Z:\\", 0, 64, "Z:\\", 3}, {"a:b", 0, 64, "A:b", 3}, {"@:", 0, 64, "@:", 2}, {"[:", 0, 64, "[:", 2},
      {"`:", 0, 64, "`:", 2}, {"{:", 0, 64, "{:", 2}, {"", 0, 64, "", 0}, {"abc", 2, 64, "abc", 0},
      {"a//b", 4, 64, "a\\b", 3}, {"abcd", 0, 4, "abcd", 0}, {"x", 0, 0, "x", 0}, {"a/b", 0, 4, "a\\b", 3},
  };
  for (const auto &row : rows) {
    std::vector<char> buf(64, '#');
    std::memcpy(buf.data(), row.in, std::strlen(row.in) + 1);
    EXPECT_EQ(ruvo_path_translate(buf.data(), row.len, row.cap), row.result) << row.in << " cap " << row.cap;
    EXPECT_STREQ(buf.data(), row.out);
  }
  EXPECT_EQ(ruvo_path_translate(nullptr, 0, 64), 0u);
  for (const char *yes : {"~x", "/", "\\", "C:", "z:/", "A:"}) EXPECT_EQ(ruvo_path_is_absolute(yes), 1) << yes;
  for (const char *no : {"1:", "C", "", "a/b", "@:", "[:", "`:", "{:", "ab:"}) EXPECT_EQ(ruvo_path_is_absolute(no), 0) << no;
  EXPECT_EQ(ruvo_path_is_absolute(nullptr), 0);
}

// '~' stands for the home directory, only the one character; the result must fit.
TEST(Path, TranslateExpandsTheHomeDirectory) {
  char home[1039], buf[1048] = "~a//b/", out[2048];
  const size_t h = ruvo_home_dir(home, sizeof home);
  if (h == 0) GTEST_SKIP() << "no home directory here";
  const std::string want = std::string(home, ruvo_path_translate(home, 0, sizeof home)) + "a\\b";
  EXPECT_EQ(ruvo_path_translate(buf, 0, h + 5), 0u);  // h - 1 + 6 bytes and the terminator
  EXPECT_STREQ(buf, "~a//b/");
  EXPECT_EQ(ruvo_path_translate(buf, 6, h + 6), want.size());
  EXPECT_EQ(buf, want);
  EXPECT_EQ(std::string(ruvo_path_absolute_to("C:\\", "~/a/../b", out, sizeof out)), want.substr(0, want.size() - 3) + "\\a\\..\\b");
}

#if !defined(_WIN32)
// The Linux stand-ins answer as the Windows forms do.
TEST(Path, NativeDirectoryStandIns) {
  char buf[16] = "###############", tilde[] = "~x";
  ASSERT_EQ(chdir("/tmp") + setenv("HOME", "/h", 1), 0);
  EXPECT_EQ(ruvo_current_dir_get(buf, 5) + ruvo_home_dir(buf + 8, 3), 4u + 2u);
  EXPECT_EQ(std::string(buf) + (buf + 8), "/tmp/h");
  EXPECT_EQ(ruvo_current_dir_get(buf, 4) + ruvo_current_dir_get(nullptr, 16), 0u);
  ASSERT_EQ(chdir("/usr/bin"), 0);
  EXPECT_EQ(ruvo_current_dir_get(buf, 5), 0u);  // getcwd fails
  EXPECT_EQ(ruvo_home_dir(buf, 2) + ruvo_home_dir(nullptr, 8) + ruvo_home_dir(buf, 0), 0u);
  char drive[3] = "~";  // a home of "C:" leaves no room for its '\': put back as it came
  ASSERT_EQ(setenv("HOME", "C:", 1), 0);
  EXPECT_EQ(ruvo_path_translate(drive, 0, sizeof drive), 0u);
  EXPECT_STREQ(drive, "~");
  unsetenv("HOME");
  EXPECT_EQ(ruvo_home_dir(buf, 8) + ruvo_path_translate(tilde, 0, sizeof tilde), 0u);
}
#endif

// base, path, cap, and the result (null: null).
struct PairRow { const char *base, *path; size_t cap; const char *out; };
template <class F> void check(const PairRow &row, F op) {
  std::vector<char> out(row.cap + 1, '#');
  const char *got = op(row.base, row.path, out.data(), row.cap);
  EXPECT_EQ(got, row.out == nullptr ? nullptr : out.data()) << (row.base ? row.base : "-") << " : " << row.path;
  EXPECT_STREQ(got, row.out);
  EXPECT_EQ(out[row.cap], '#');
}

// A result that doesn't fit with its terminator gives null, never a cut one.
TEST(Path, AbsoluteToAndRelativeToTables) {
  const std::string deep = "C:\\" + std::string(256, 'a'), under = "C:\\d\\" + std::string(254, 'b');  // 259 bytes
  const std::string deeper = deep + "a", over = under + "\\x";
  const PairRow absolute[] = {
      {"C:/base/dir", "../x/./y", 64, "C:\\base\\x\\y"}, {"C:\\a", "..\\..\\..", 64, "C:\\"}, {"C:\\", "a", 64, "C:\\a"},
      {"C:\\a", "D:/a/../b", 64, "D:\\a\\..\\b"}, {"\\a", "..", 64, "\\"}, {"/srv", "x//y/", 64, "\\srv\\x\\y"},
      {"c:", "x", 64, "C:\\x"}, {"rel", "..", 64, "\\"}, {"a\\b", "..", 64, "a"}, {"", "x", 64, nullptr},
      {"C:\\a", "bc", 7, nullptr}, {"C:\\a", "bc", 8, "C:\\a\\bc"}, {"C:\\", "bc", 6, "C:\\bc"}, {"C:\\", "bc", 5, nullptr},
      {"C:\\abc", "x", 6, nullptr}, {nullptr, "C:\\abcdef", 5, nullptr}, {"C:\\a\\b", "..\\..\\x", 64, "C:\\x"},
      {"C:\\a", "..\\b", 64, "C:\\b"}, {"C:", "..", 3, nullptr}, {"C:\\a", "...", 64, "C:\\a\\..."},
      {"C:\\a", ".x", 64, "C:\\a\\.x"}, {"C:\\ab", "..", 6, "C:\\"}, {"C:\\", "", 8, "C:\\"}, {"C:\\", "a", 0, nullptr},
      {"C:\\", nullptr, 8, nullptr},
  }, relative[] = {
      {"C:\\a", "C:\\a\\b", 64, "b"}, {"C:\\a\\b", "C:\\a", 64, ".."}, {"C:\\a\\b", "C:\\a\\c\\d", 64, "..\\c\\d"},
      {"C:\\y", "C:\\x", 64, "C:\\x"}, {"C:/a/", "c:\\a", 64, "."}, {"C:\\a", "D:\\a", 64, "D:\\a"}, {"\\a", "\\b", 64, "\\b"},
      {"\\a\\b", "\\a\\c", 64, "..\\c"}, {"C:\\ab", "C:\\abc", 64, "C:\\abc"}, {"C:\\A", "C:\\a\\x", 64, "C:\\a\\x"},
      {"C:\\a\\b", "C:\\a\\c\\d", 6, nullptr}, {"C:\\a\\b", "C:\\a", 2, nullptr}, {"C:\\y", "C:\\xyz", 6, nullptr},
      {"C:\\", deep.c_str(), 300, deep.c_str()}, {"C:\\d", under.c_str(), 300, under.c_str() + 5},
      {over.c_str(), "C:\\d", 300, nullptr}, {under.c_str(), "C:\\d\\x", 300, "..\\x"}, {under.c_str(), "C:\\d", 300, ".."},
      {"C:\\", deeper.c_str(), 300, nullptr}, {deep.c_str(), "C:\\x", 300, "C:\\x"}, {"C:\\", nullptr, 8, nullptr},
      {"C:\\", "C:\\a", 0, nullptr},
  };
  for (const PairRow &row : absolute) check(row, ruvo_path_absolute_to);
  for (const PairRow &row : relative) check(row, ruvo_path_relative_to);
  char out[8];  // no buffer; the static "." needs none
  EXPECT_EQ(ruvo_path_absolute_to("C:\\", "a", nullptr, 8), nullptr);
  EXPECT_STREQ(ruvo_path_relative_to("C:\\a", "C:/a", out, 1), ".");
  EXPECT_EQ(ruvo_path_relative_to("C:\\", "C:\\a", nullptr, 1), nullptr);
}

TEST(Path, NullBaseIsTheCurrentDirectory) {
  char cwd[4096], out[4096];
  ASSERT_GT(ruvo_current_dir_get(cwd, sizeof cwd), 0u);
  const std::string here(cwd, ruvo_path_translate(cwd, 0, sizeof cwd));
  ASSERT_LT(here.size(), 250u);
  EXPECT_EQ(std::string(ruvo_path_absolute("x/./y", out, sizeof out)), here + "\\x\\y");
  EXPECT_EQ(ruvo_path_absolute("x", out, here.size() + 2), ruvo_path_absolute("x", out, 4));
  EXPECT_EQ(ruvo_path_absolute("x", out, 4), nullptr);
  EXPECT_STREQ(ruvo_path_relative((here + "/x/y").c_str(), out, sizeof out), "x\\y");
  EXPECT_STREQ(ruvo_path_relative_to(nullptr, here.c_str(), out, sizeof out), ".");
  EXPECT_STREQ(ruvo_path_relative("a//b/", out, sizeof out), "a\\b");
  EXPECT_EQ(ruvo_path_relative("abc", out, 3), ruvo_path_relative("", out, sizeof out));
  EXPECT_EQ(ruvo_path_relative("abc", out, 3), nullptr);
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

// The relative result leads back to the absolute path, and it fits a cap of
// its length and terminator, and no smaller one.
TEST(Path, AbsoluteOfARelativeResultGivesBackTheAbsolutePath) {
  std::mt19937 rng(5);
  for (int i = 0; i < 5000; ++i) {
    const std::string base = random_path(rng, true), path = random_path(rng, rng() % 4 != 0);
    SCOPED_TRACE(base + " to " + path);
    char want[260], rel[260], back[260], tight[260];
    ASSERT_NE(ruvo_path_absolute_to(base.c_str(), path.c_str(), want, sizeof want), nullptr);
    ASSERT_EQ(ruvo_path_relative_to(base.c_str(), path.c_str(), rel, sizeof rel), rel);
    EXPECT_STREQ(ruvo_path_absolute_to(base.c_str(), rel, back, sizeof back), want) << "relative " << rel;
    const size_t n = std::strlen(rel);
    if (n < 2) continue;  // "." may come back static
    EXPECT_EQ(ruvo_path_relative_to(base.c_str(), path.c_str(), tight, n + 1), tight);
    EXPECT_EQ(ruvo_path_relative_to(base.c_str(), path.c_str(), tight, n), nullptr);
  }
}

}  // namespace
