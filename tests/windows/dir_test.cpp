// Directories on a real tree in a fresh temporary folder (non-ASCII names, the longest name, links to
// directories, one a cycle), checked against FindFirstFileW and a walk and a glob written here.
#include <windows.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "ruvo/base/dir.h"
#include "support/support.hpp"

namespace {

std::wstring wide(const std::string &s) {
  std::wstring w(s.size() + 1, L'\0');
  return w.substr(0, ::MultiByteToWideChar(CP_UTF8, 0, s.c_str(), -1, w.data(), int(w.size())) - 1);
}
std::string utf8(const std::wstring &w) {
  std::string s(w.size() * 3 + 1, '\0');
  return s.substr(0, ::WideCharToMultiByte(CP_UTF8, 0, w.c_str(), -1, s.data(), int(s.size()), nullptr, nullptr) - 1);
}
// The \\?\ form takes no "/", and lets the test make what the library can't.
std::wstring long_form(const std::string &p) {
  std::wstring w = L"\\\\?\\" + wide(p);
  for (wchar_t &c : w) c = c == L'/' ? L'\\' : c;
  return w;
}

struct entry { std::string name; uint32_t type, reparse; bool operator==(const entry &) const = default; };
// The reference listing, "." and ".." left out, in the platform's order.
std::vector<entry> find_all(const std::string &dir) {
  std::vector<entry> out;
  WIN32_FIND_DATAW fd;
  HANDLE h = ::FindFirstFileW((long_form(dir) + L"\\*").c_str(), &fd);
  for (bool more = h != INVALID_HANDLE_VALUE; more; more = ::FindNextFileW(h, &fd)) {
    const DWORD a = fd.dwFileAttributes;
    const std::string n = utf8(fd.cFileName);
    if (n != "." && n != "..") out.push_back({n, (a & FILE_ATTRIBUTE_DIRECTORY) ? 0x4000u : 0x8000u, (a & FILE_ATTRIBUTE_REPARSE_POINT) ? 1u : 0u});
  }
  if (h != INVALID_HANDLE_VALUE) ::FindClose(h);
  return out;
}
std::string marked(const std::string &path, const entry &e) { return path + e.name + (e.type == 0x4000 ? "|d" : ""); }
// Pre-order walk, {recursive, links a branch at most, levels at most (0: all)}, joined with "\".
void walk_ref(const std::string &dir, const uint32_t (&lim)[3], uint32_t depth, uint32_t links, std::vector<std::string> *out) {
  for (const entry &e : find_all(dir)) {
    out->push_back(marked(dir + "\\", e));
    if (e.type == 0x4000 && lim[0] && (lim[2] == 0 || depth + 1 < lim[2]) && links + e.reparse <= lim[1]) {
      walk_ref(dir + "\\" + e.name, lim, depth + 1, links + e.reparse, out);
    }
  }
}

bool exists(const std::string &p) { return ::GetFileAttributesW(long_form(p).c_str()) != INVALID_FILE_ATTRIBUTES; }
void make_file(const std::string &p) { ::CloseHandle(::CreateFileW(long_form(p).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr)); }
void make_dir(const std::string &p) { ASSERT_TRUE(::CreateDirectoryW(long_form(p).c_str(), nullptr)) << p; }
// Nobody holds the directory open: no find handle was left behind.
bool not_held(const std::string &dir) {
  HANDLE h = ::CreateFileW(long_form(dir).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  return h != INVALID_HANDLE_VALUE && ::CloseHandle(h);
}
// Wine can neither make nor remove a link, but shows a Unix link to a directory as a reparse point.
// Runs `cmd` in `dir` and waits until `done` holds: that is how a Unix child's end shows.
template <class Done>
bool run_unix(const wchar_t *exe, std::wstring cmd, const std::string &dir, Done done) {
  STARTUPINFOW si{};
  si.cb = sizeof si;
  PROCESS_INFORMATION pi{};
  if (!::CreateProcessW(exe, cmd.data(), nullptr, nullptr, FALSE, 0, nullptr, wide(dir).c_str(), &si, &pi)) return false;
  ::CloseHandle(pi.hProcess);
  ::CloseHandle(pi.hThread);
  for (int i = 0; i < 500 && !done(); ++i) ::Sleep(10);
  return done();
}
void remove_tree(const std::string &p) {
  if (!exists(p)) return;  // else a Unix rm could outlive the wait and take the next tree
  if (ruvo_test::under_wine()) {
    const size_t cut = p.find_last_of("\\/");
    run_unix(L"Z:\\bin\\rm", L"rm -rf " + wide(p.substr(cut + 1)), p.substr(0, cut), [&] { return !exists(p); });
    return;
  }
  for (const entry &e : find_all(p)) {
    const std::wstring w = long_form(p + "\\" + e.name);
    if (e.type == 0x4000 && e.reparse == 0) remove_tree(p + "\\" + e.name);
    else if (!::DeleteFileW(w.c_str())) ::RemoveDirectoryW(w.c_str());
  }
  ::RemoveDirectoryW(long_form(p).c_str());
}
// A link `name` in `dir` to the relative directory `target`.
bool make_link(const std::string &dir, const char *name, const char *target) {
  std::wstring t = wide(target);
  if (ruvo_test::under_wine()) {
    return run_unix(L"Z:\\bin\\ln", L"ln -s " + t + L" " + wide(name), dir,
                    [&] { return ::GetFileAttributesW(long_form(dir + "/" + name).c_str()) == 0x410; });
  }
  for (wchar_t &c : t) c = c == L'/' ? L'\\' : c;
  return ::CreateSymbolicLinkW(wide(dir + "/" + name).c_str(), t.c_str(), 3) != 0;
}

class Dir : public ::testing::Test {
 protected:
  void SetUp() override {
    wchar_t tmp[MAX_PATH];
    ::GetTempPathW(MAX_PATH, tmp);
    root_ = utf8(tmp) + "ruvo-dir-" + std::to_string(::GetCurrentProcessId()) + "-ä日";
    remove_tree(root_);
    for (const char *d : {"", "/α", "/α/β", "/α/β/γ", "/Zeta", "/Zeta/empty"}) make_dir(root_ + d);
    for (const std::string &f : std::vector<std::string>{"/a.txt", "/ünï.log", "/α/b.txt", "/α/β/c.txt", "/α/β/γ/d.txt", "/" + long_name_}) make_file(root_ + f);
    links_ = make_link(root_, "top", "α") && make_link(root_ + "/α/β", "up", "../..") && make_link(root_ + "/α", "out", "../Zeta");
  }
  void TearDown() override { remove_tree(root_); }
  std::string root_;
  const std::string long_name_ = std::string(255, 'n');  // 255 units: the longest name
  bool links_ = false;
};

int32_t record(int32_t is_dir, const char *full, void *ctx) {
  auto *seen = static_cast<std::vector<std::string> *>(ctx);
  seen->push_back(std::string(full) + (is_dir ? "|d" : ""));
  return seen->size() == 2 ? -1 : 0;  // a stop at the second
}

TEST_F(Dir, ListingJoinsWithSlashAndStopsWhenToldAndTheStreamRewinds) {
  const std::vector<entry> all = find_all(root_);
  for (const std::string &path : {root_, root_ + "/"}) {
    std::vector<std::string> seen;  // stopped at the second
    EXPECT_EQ(ruvo_dirutils_listdir(path.c_str(), &seen, record), -1);
    EXPECT_EQ(seen, (std::vector{marked(root_ + "/", all[0]), marked(root_ + "/", all[1])}));
  }
  ruvo_dir_st *d = ruvo_opendir((root_ + "\\α\\..").c_str());
  ASSERT_NE(d, nullptr);
  std::vector<entry> got[2];
  for (auto &list : got) {
    for (ruvo_dir_st *e; (e = ruvo_readdir(d)) != nullptr;) list.push_back({std::string(e->name, e->namelen), e->type, e->is_reparse});
    ruvo_rewinddir(d);
  }
  EXPECT_EQ(got[0], got[1]);
  std::erase_if(got[0], [](const entry &e) { return e.name == "." || e.name == ".."; });
  EXPECT_EQ(got[0], all);
  EXPECT_TRUE(ruvo_closedir(d) == 0 && not_held(root_));
}

TEST_F(Dir, BadInputGivesItsError) {
  // "C:/" and 253 fits (and is missing); one more leaves no room for "\*"; 257 is refused as a whole.
  for (const auto &[n, error] : {std::pair{253, ENOENT}, {254, ENAMETOOLONG}, {256, ENAMETOOLONG}, {257, ENOENT}}) {
    errno = 0;
    EXPECT_TRUE(ruvo_opendir(("C:/" + std::string(n, 'x')).c_str()) == nullptr && errno == error) << n << " " << errno;
  }
  char buf[8] = "x";
  ruvo_dir_link_st head{};
  const bool rows[] = {  // one a call; the size 3 is too small for any folder; a relative 255 is too long once full
      (errno = 0, ruvo_opendir((root_ + "/missing").c_str())) == nullptr && errno == ENOENT,
      (errno = 0, ruvo_opendir(std::string(255, 'x').c_str())) == nullptr && errno == ENAMETOOLONG,
      (errno = 0, ruvo_opendir(nullptr)) == nullptr && errno == EINVAL, (errno = 0, ruvo_readdir(nullptr)) == nullptr && errno == EBADF,
      (errno = 0, ruvo_closedir(nullptr)) == -1 && errno == EBADF, ruvo_dirutils_listdir(nullptr, nullptr, record) == -1,
      ruvo_dirutils_listdir(root_.c_str(), nullptr, nullptr) == -1, ruvo_dirutils_mkdir(nullptr, 511) == -1,
      ruvo_dirutils_rmdir(nullptr) == 0, ruvo_dirwalk_create(nullptr, 1, 0) == nullptr, ruvo_dirwalk_read(nullptr, nullptr) == nullptr,
      ruvo_dirutils_path_transform(nullptr, buf, sizeof buf) == 0 && buf[0] == '\0', ruvo_dirutils_path_transform("@", nullptr, 8) == 0,
      ruvo_dirutils_path_transform("@", buf, 0) == 0, ruvo_current_dir_get(nullptr, 260) == 0, ruvo_current_dir_get(buf, 4) == 0,
      ruvo_current_dir_set(nullptr) == 0, ruvo_current_dir_set("") == 0, ruvo_current_dir_set(std::string(260, 'x').c_str()) == 0, ruvo_current_dir_set("missing") == 0,
      ruvo_home_dir(nullptr, 260) == 0, ruvo_home_dir(buf, 0) == 0, ruvo_home_dir(buf, 3) == 0, ruvo_temporary_dir(nullptr, 260) == 0,
      ruvo_temporary_dir(buf, 0) == 0, ruvo_temporary_dir(buf, 3) == 0, ruvo_wildcard_path_expand(nullptr, &head) == -1,
      ruvo_wildcard_path_expand("C:/~", nullptr) == -1, ruvo_dirwalk_create2((root_ + "/missing").c_str(), 1, 0, 0) == nullptr};
  for (size_t i = 0; i < std::size(rows); ++i) EXPECT_TRUE(rows[i]) << "row " << i;
  ruvo_rewinddir(nullptr); ruvo_dirwalk_destroy(nullptr); ruvo_wildcard_path_free(nullptr);  // nothing to do
}

TEST_F(Dir, MkdirMakesTheMissingLevelsAndRmdirTakesTheTree) {
  // Several levels, again (they exist), one level; under a file, too long.
  const std::pair<std::string, int32_t> makes[] = {{"/α/n1\\ñ2/n3/", 0}, {"/α/n1\\ñ2/n3/", 0}, {"/new", 0}, {"/a.txt/x/y", -1},
                                                   {"/a.txt/x", -1}, {"/" + std::string(257, 'm'), -1}};
  for (const auto &[path, result] : makes) EXPECT_EQ(ruvo_dirutils_mkdir((root_ + path).c_str(), 511), result) << path;
  EXPECT_TRUE(exists(root_ + "/new") && exists(root_ + "/α/n1/ñ2/n3") && find_all(root_ + "/α/n1/ñ2/n3").empty());

  // A name whose path needs over 259 units stays, and so does its directory; all else goes.
  const std::string t = root_ + "/t";
  for (const char *d : {"", "/a", "/a/b", "/z"}) make_dir(t + d);
  for (const std::string &f : std::vector<std::string>{"/a.txt", "/a/b/c", "/z/d", "/zz", "/" + long_name_}) make_file(t + f);
  EXPECT_EQ(ruvo_dirutils_rmdir(t.c_str()), 0);
  EXPECT_EQ(find_all(t), (std::vector<entry>{{long_name_, 0x8000, 0}}));

  // α holds links to its sibling Zeta and up to the top: what they lead to stays, all α's own goes.
  ASSERT_TRUE(links_);
  const auto before = find_all(root_), zeta = find_all(root_ + "/Zeta");
  EXPECT_EQ(ruvo_dirutils_rmdir((root_ + "/α/").c_str()), 0);
  EXPECT_TRUE(find_all(root_ + "/Zeta") == zeta && !exists(root_ + "/α/b.txt") && !exists(root_ + "/α/β/γ"));
  EXPECT_EQ(find_all(root_).size(), before.size() - (ruvo_test::under_wine() ? 0 : 1));  // Wine can't remove links
}

TEST_F(Dir, WalkerIsPreOrderWithinItsDepthAndLinksAndLeavesTheTopOut) {
  const uint32_t rows[][3] = {{0, 9, 0}, {1, 0, 0}, {1, 1, 0}, {1, 2, 0}, {1, 9, 1}, {1, 9, 2}, {1, 9, 3}, {1, 1, 4}};  // recursive, links, depth
  for (const auto &lim : rows) {
    std::vector<std::string> want;
    walk_ref(root_, lim, 0, 0, &want);
    for (const std::string &top : {root_, root_ + "\\"}) {
      ruvo_dirwalk_st *w = lim[2] == 0 ? ruvo_dirwalk_create(top.c_str(), lim[0], lim[1]) : ruvo_dirwalk_create2(top.c_str(), lim[0], lim[1], lim[2]);
      std::vector<std::string> got;
      for (int32_t is_dir = -1; const char *p = ruvo_dirwalk_read(w, &is_dir); is_dir = -1) got.push_back(p + std::string(is_dir == 1 ? "|d" : is_dir ? "?" : ""));
      EXPECT_EQ(got, want) << lim[0] << " " << lim[1] << " " << lim[2];
      ruvo_dirwalk_destroy(w);
    }
  }
  ruvo_dirwalk_st *w = ruvo_dirwalk_create(root_.c_str(), 1, 0);  // left half-way: every open level is closed
  for (int i = 0; i < 4; ++i) ASSERT_NE(ruvo_dirwalk_read(w, nullptr), nullptr);
  ruvo_dirwalk_destroy(w);
  EXPECT_TRUE(not_held(root_) && not_held(root_ + "/α") && not_held(root_ + "/α/β"));
}

TEST(DirNoTree, PathTransformPutsTheProgramDirectoryForTheAt) {
  wchar_t exe[MAX_PATH];
  ::GetModuleFileNameW(nullptr, exe, MAX_PATH);
  std::string prog = utf8(exe).substr(0, utf8(exe).find_last_of('\\'));
  for (char &ch : prog) ch = ch == '\\' ? '/' : ch;
  char buf[400];
  const std::tuple<std::string, size_t, std::string> rows[] = {
      {"", 9, ""}, {"@/../var", 400, prog + "/../var"}, {"x@/y", 9, "x@/y"}, {"@@", 400, prog + "@"}, {"@/x", 4, prog.substr(0, 3)}};
  for (const auto &[in, cap, want] : rows) EXPECT_TRUE(ruvo_dirutils_path_transform(in.c_str(), buf, cap) == int32_t(want.size()) && buf == want) << in;
}

TEST_F(Dir, WildcardMatchesTheReferenceGlob) {
  auto expand = [](const std::string &pattern, int32_t *rc) {
    ruvo_dir_link_st head{};
    *rc = ruvo_wildcard_path_expand(pattern.c_str(), &head);
    std::vector<std::string> out;
    for (ruvo_dir_link_st *p = head.next; p != nullptr && p != &head; p = p->next) out.push_back(reinterpret_cast<ruvo_wildcard_path_st *>(p)->path);
    ruvo_wildcard_path_free(&head);
    return out;
  };
  const std::string g = root_ + "/g";
  for (const char *n : {"", "/app.txt", "/app1.txt", "/apptxt", "/ap.txt", "/APP2.txt", "/äpp.txt", "/a", "/ab", "/aba", "/x.txt.bak"}) make_dir(g + n);
  for (const char *n : {"/app.txt", "/ab", "/äpp.txt"}) make_file(g + n + "/desk");
  const char *parts[] = {"", "a", "ab", "app", "äpp", "b", ".txt", "t", "APP"};
  int32_t rc = -2;
  for (const std::string p : parts) {
    for (const std::string s : parts) {
      for (const std::string tail : {"", "/desk", "\\desk"}) {
        std::vector<std::string> want;
        for (const entry &e : find_all(g)) {
          const std::string &n = e.name, path = g + "/" + n + tail;
          if (n.size() >= p.size() + s.size() && n.starts_with(p) && n.ends_with(s) && (tail.empty() || exists(path))) want.push_back(path);
        }
        EXPECT_TRUE(expand(g + "/" + p + "~" + s + tail, &rc) == want && rc == 0) << p << "~" << s << tail;
      }
    }
  }
  for (const std::string &bad : std::vector<std::string>{g + "/a~~b", g + "/app.txt", "C:ab~c", "C", "/g/~", "1:/~", root_ + "/missing/~"}) EXPECT_TRUE(expand(bad, &rc).empty() && rc == -1) << bad;
  EXPECT_TRUE(expand(root_ + "/Zeta/empty/~", &rc).empty() && rc == 0);
}

// What the platform says, in UTF-8 and at the exact size; the current directory set relatively.
TEST(DirPlaces, CurrentHomeAndTemporaryAgreeWithThePlatform) {
  wchar_t w[MAX_PATH];
  char buf[MAX_PATH * 3];
  ASSERT_GT(::GetTempPathW(MAX_PATH, w), 0u);
  const std::string temp = utf8(w);
  EXPECT_EQ(ruvo_temporary_dir(buf, temp.size() + 1), temp.size());
  EXPECT_EQ(buf, temp);
  EXPECT_EQ(ruvo_temporary_dir(buf, temp.size()), 0u);
  const size_t home = ruvo_home_dir(buf, sizeof buf);
  EXPECT_TRUE(home > 0 && ::GetFileAttributesW(wide(buf).c_str()) & FILE_ATTRIBUTE_DIRECTORY) << buf;
  ASSERT_EQ(ruvo_current_dir_set(temp.c_str()), 1);
  ::CreateDirectoryW((wide(temp) + L"ruvo-cd-\u00e9").c_str(), nullptr);
  ASSERT_EQ(ruvo_current_dir_set("ruvo-cd-\xC3\xA9"), 1);
  ASSERT_EQ(ruvo_current_dir_get(buf, sizeof buf), temp.size() + 10);
  EXPECT_EQ(buf, temp + "ruvo-cd-\xC3\xA9");
  EXPECT_EQ(ruvo_current_dir_get(buf, temp.size() + 10), 0u);  // no room for the terminator
  ASSERT_EQ(ruvo_current_dir_set(".."), 1);
  ::RemoveDirectoryW((wide(temp) + L"ruvo-cd-\u00e9").c_str());
}

}  // namespace
