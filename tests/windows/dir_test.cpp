// Directories on a real tree in a fresh temporary folder, with non-ASCII
// names, names at the length limit and links to directories (one of them a
// cycle), checked against FindFirstFileW and against a walk and a glob
// written here.
#include <windows.h>
#include <shlobj.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "ruvo/base/dir.h"
#include "support/support.hpp"

namespace {

std::wstring wide(const std::string &s) {
  std::wstring w(s.size() + 1, L'\0');
  w.resize(::MultiByteToWideChar(CP_UTF8, 0, s.c_str(), -1, w.data(), int(w.size())) - 1);
  return w;
}
std::string utf8(const std::wstring &w) {
  std::string s(w.size() * 3 + 1, '\0');
  s.resize(::WideCharToMultiByte(CP_UTF8, 0, w.c_str(), -1, s.data(), int(s.size()), nullptr,
                                 nullptr) - 1);
  return s;
}
// The \\?\ form takes no "/", and lets the test make what the library can't.
std::wstring long_form(const std::string &p) {
  std::wstring w = L"\\\\?\\" + wide(p);
  for (wchar_t &c : w) c = c == L'/' ? L'\\' : c;
  return w;
}

struct entry {
  std::string name;
  uint32_t type;
  uint32_t reparse;
  bool operator==(const entry &) const = default;
};
// The reference listing, "." and ".." included, in the platform's order.
std::vector<entry> find_all(const std::string &dir) {
  std::vector<entry> out;
  WIN32_FIND_DATAW fd;
  HANDLE h = ::FindFirstFileW((long_form(dir) + L"\\*").c_str(), &fd);
  if (h == INVALID_HANDLE_VALUE) return out;
  do {
    const DWORD a = fd.dwFileAttributes;
    out.push_back({utf8(fd.cFileName), (a & FILE_ATTRIBUTE_DIRECTORY) ? 0x4000u : 0x8000u,
                   (a & FILE_ATTRIBUTE_REPARSE_POINT) ? 1u : 0u});
  } while (::FindNextFileW(h, &fd));
  ::FindClose(h);
  return out;
}
bool is_dot(const std::string &n) { return n == "." || n == ".."; }

struct walk_limits {
  bool recursive;
  uint32_t max_reparse, max_depth;
};
// Pre-order walk to `max_depth` levels (0: all) through at most
// `max_reparse` links a branch, joined with "\".
void walk_ref(const std::string &dir, const walk_limits &lim, uint32_t depth, uint32_t links,
              std::vector<std::string> *out) {
  for (const entry &e : find_all(dir)) {
    if (is_dot(e.name)) continue;
    out->push_back(dir + "\\" + e.name + (e.type == 0x4000 ? "|d" : ""));
    if (e.type == 0x4000 && lim.recursive && (lim.max_depth == 0 || depth + 1 < lim.max_depth) &&
        links + e.reparse <= lim.max_reparse) {
      walk_ref(dir + "\\" + e.name, lim, depth + 1, links + e.reparse, out);
    }
  }
}

bool exists(const std::string &p) { return ::GetFileAttributesW(long_form(p).c_str()) != INVALID_FILE_ATTRIBUTES; }
void make_file(const std::string &p) {
  HANDLE h = ::CreateFileW(long_form(p).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE) << p;
  ::CloseHandle(h);
}
void make_dir(const std::string &p) { ASSERT_TRUE(::CreateDirectoryW(long_form(p).c_str(), nullptr)) << p; }
// Nobody holds the directory open: no find handle was left behind.
bool not_held(const std::string &dir) {
  HANDLE h = ::CreateFileW(long_form(dir).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                           FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  ::CloseHandle(h);
  return true;
}
// Wine 8 can neither make a link (CreateSymbolicLinkW makes nothing) nor
// remove one (RemoveDirectoryW removes an empty target instead), but it runs
// Unix programs, and shows a Unix link to a directory as a reparse point.
// Runs `cmd` in `dir` and waits until `done` holds, which is how the end of a
// Unix child shows.
bool run_unix(const wchar_t *exe, std::wstring cmd, const std::string &dir,
              const std::function<bool()> &done) {
  STARTUPINFOW si{};
  si.cb = sizeof si;
  PROCESS_INFORMATION pi{};
  if (!::CreateProcessW(exe, cmd.data(), nullptr, nullptr, FALSE, 0, nullptr, wide(dir).c_str(), &si, &pi)) {
    return false;
  }
  ::CloseHandle(pi.hProcess);
  ::CloseHandle(pi.hThread);
  for (int i = 0; i < 500 && !done(); ++i) ::Sleep(10);
  return done();
}
void remove_tree(const std::string &p) {
  if (!exists(p)) return;
  if (ruvo_test::under_wine()) {
    const size_t cut = p.find_last_of("\\/");
    run_unix(L"Z:\\bin\\rm", L"rm -rf " + wide(p.substr(cut + 1)), p.substr(0, cut),
             [&] { return !exists(p); });
    return;
  }
  for (const entry &e : find_all(p)) {
    if (is_dot(e.name)) continue;
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
    const std::string link = dir + "/" + name;
    return run_unix(L"Z:\\bin\\ln", L"ln -s " + t + L" " + wide(name), dir, [&] {
      return ::GetFileAttributesW(long_form(link).c_str()) == 0x410;
    });
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
    make_dir(root_);
    for (const char *d : {"/α", "/α/β", "/α/β/γ", "/Zeta", "/Zeta/empty"}) make_dir(root_ + d);
    for (const char *f : {"/a.txt", "/ünï.log", "/α/b.txt", "/α/β/c.txt", "/α/β/γ/d.txt"}) {
      make_file(root_ + f);
    }
    // Names at the limits: 255 units (Windows), and 255 bytes of UTF-8
    // (Linux, under Wine), a surrogate pair among them.
    std::string utf8_name = "\xF0\x9F\x98\x80u";
    while (utf8_name.size() < 252) utf8_name += "日";
    make_file(root_ + "/" + utf8_name);
    make_file(root_ + "/" + long_ascii_);
    links_ = make_link(root_, "top", "α") && make_link(root_ + "/α/β", "up", "../..") &&
             make_link(root_ + "/α", "out", "../Zeta");
  }
  void TearDown() override { remove_tree(root_); }
  std::string root_;
  const std::string long_ascii_ = std::string(255, 'n');
  bool links_ = false;
};

TEST_F(Dir, StreamGivesWhatFindFirstFileGivesAndRewinds) {
  for (const std::string &path : {root_, root_ + "/", root_ + "\\α\\..\\"}) {
    ruvo_dir_st *d = ruvo_opendir(path.c_str());
    ASSERT_NE(d, nullptr) << errno;
    std::vector<entry> got[2];
    for (auto &list : got) {
      for (ruvo_dir_st *e; (e = ruvo_readdir(d)) != nullptr;) {
        ASSERT_EQ(e, d);
        ASSERT_EQ(e->namelen, std::strlen(e->name));
        list.push_back({e->name, e->type, e->is_reparse});
      }
      EXPECT_EQ(ruvo_readdir(d), nullptr);
      ruvo_rewinddir(d);
    }
    EXPECT_EQ(got[0], find_all(root_));
    EXPECT_TRUE(std::count(got[0].begin(), got[0].end(), entry{"top", 0x4000, 1}) == 1 || !links_);
    EXPECT_EQ(got[1], got[0]);
    EXPECT_EQ(ruvo_closedir(d), 0);
    EXPECT_TRUE(not_held(root_));
  }
  ruvo_dir_st *d = ruvo_opendir("C:");  // a drive without a separator
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(ruvo_closedir(d), 0);
}

TEST_F(Dir, NullMissingAndTooLongGiveTheirErrors) {
  // Absolute "C:/x...x" of 256 units fits and is missing; 257 leaves no room
  // for "\*"; 260 needs 261 with the terminator. A relative name of 255 is
  // too long once made full.
  const std::string c = "C:/";
  const std::pair<std::string, int> cases[] = {
      {root_ + "/missing", ENOENT}, {c + std::string(253, 'x'), ENOENT},
      {c + std::string(254, 'x'), ENAMETOOLONG}, {c + std::string(256, 'x'), ENAMETOOLONG},
      {c + std::string(257, 'x'), ENOENT}, {std::string(255, 'x'), ENAMETOOLONG}, {"", ENOMEM}};
  for (const auto &[path, error] : cases) {
    errno = 0;
    EXPECT_EQ(ruvo_opendir(path.c_str()), nullptr);
    EXPECT_EQ(errno, error) << path.size();
  }
  errno = 0;
  EXPECT_EQ(ruvo_opendir(nullptr), nullptr);
  EXPECT_EQ(errno, EINVAL);
  errno = 0;
  EXPECT_EQ(ruvo_readdir(nullptr), nullptr);
  EXPECT_EQ(errno, EBADF);
  errno = 0;
  EXPECT_EQ(ruvo_closedir(nullptr), -1);
  EXPECT_EQ(errno, EBADF);
  ruvo_rewinddir(nullptr);
  auto count = [](int32_t, const char *, void *) -> int32_t { return 0; };
  EXPECT_EQ(ruvo_dirutils_listdir(nullptr, nullptr, count), -1);
  EXPECT_EQ(ruvo_dirutils_listdir(root_.c_str(), nullptr, nullptr), -1);
  EXPECT_EQ(ruvo_dirutils_listdir((root_ + "/missing").c_str(), nullptr, count), -1);
  EXPECT_EQ(ruvo_dirutils_mkdir(nullptr, 511), -1);
  EXPECT_EQ(ruvo_dirutils_rmdir(nullptr), 0);
  EXPECT_EQ(ruvo_dirwalk_create(nullptr, 1, 0), nullptr);
  EXPECT_EQ(ruvo_dirwalk_create2((root_ + "/missing").c_str(), 1, 0, 0), nullptr);
  EXPECT_EQ(ruvo_dirwalk_read(nullptr, nullptr), nullptr);
  ruvo_dirwalk_destroy(nullptr);
  char buf[8] = "x";
  EXPECT_EQ(ruvo_dirutils_path_transform(nullptr, buf, sizeof buf), 0);
  EXPECT_STREQ(buf, "");
  EXPECT_EQ(ruvo_dirutils_path_transform("@", nullptr, 8), 0);
  EXPECT_EQ(ruvo_dirutils_path_transform("@", buf, 0), 0);
  EXPECT_EQ(ruvo_current_dir_get(nullptr, 260), 0u);
  EXPECT_EQ(ruvo_current_dir_get(buf, 4), 0u);
  EXPECT_EQ(ruvo_current_dir_set(nullptr), 0);
  EXPECT_EQ(ruvo_current_dir_set(""), 0);
  EXPECT_EQ(ruvo_current_dir_set(std::string(260, 'x').c_str()), 0);
  for (auto *call : {ruvo_home_dir, ruvo_temporary_dir}) {
    EXPECT_EQ(call(nullptr, 260), 0u);
    EXPECT_EQ(call(buf, 0), 0u);
    EXPECT_EQ(call(buf, 3), 0u);  // too small for any such folder
  }
  ruvo_dir_link_st head{};
  EXPECT_EQ(ruvo_wildcard_path_expand(nullptr, &head), -1);
  EXPECT_EQ(ruvo_wildcard_path_expand("C:/~", nullptr), -1);
  ruvo_wildcard_path_free(nullptr);
  ruvo_wildcard_path_free(&head);  // never filled: nothing to free
}

struct listing {
  std::vector<std::string> seen;
  int32_t stop_after = -1;
  int32_t result = 0;
};
int32_t record(int32_t is_dir, const char *full, void *ctx) {
  auto *l = static_cast<listing *>(ctx);
  l->seen.push_back(std::string(full) + (is_dir ? "|d" : ""));
  return int32_t(l->seen.size()) == l->stop_after ? l->result : 0;
}

TEST_F(Dir, ListingJoinsWithSlashAndACallbackCanStopIt) {
  std::vector<std::string> want;
  for (const entry &e : find_all(root_)) {
    if (!is_dot(e.name)) want.push_back(root_ + "/" + e.name + (e.type == 0x4000 ? "|d" : ""));
  }
  for (const std::string &path : {root_, root_ + "/"}) {
    listing l;
    EXPECT_EQ(ruvo_dirutils_listdir(path.c_str(), &l, record), 0);
    EXPECT_EQ(l.seen, want);
  }
  for (int32_t result : {7, -1}) {
    listing l{{}, 2, result};
    EXPECT_EQ(ruvo_dirutils_listdir(root_.c_str(), &l, record), result);
    EXPECT_EQ(l.seen, std::vector<std::string>(want.begin(), want.begin() + 2));
    EXPECT_TRUE(not_held(root_));
  }
}

TEST_F(Dir, MkdirMakesTheMissingLevelsAndRmdirTakesTheTree) {
  const std::string deep = root_ + "/α/n1\\ñ2/n3/";
  EXPECT_EQ(ruvo_dirutils_mkdir(deep.c_str(), 511), 0);
  EXPECT_TRUE(exists(root_ + "/α/n1/ñ2/n3"));
  EXPECT_EQ(find_all(root_ + "/α/n1/ñ2/n3").size(), 2u);
  EXPECT_EQ(ruvo_dirutils_mkdir(deep.c_str(), 511), 0);  // exists already
  EXPECT_EQ(ruvo_dirutils_mkdir((root_ + "/new").c_str(), 511), 0);  // one level
  EXPECT_TRUE(exists(root_ + "/new"));
  EXPECT_EQ(ruvo_dirutils_mkdir((root_ + "/a.txt/x/y").c_str(), 511), -1);  // under a file
  EXPECT_EQ(ruvo_dirutils_mkdir((root_ + "/a.txt/x").c_str(), 511), -1);
  EXPECT_EQ(ruvo_dirutils_mkdir(("C:/" + std::string(257, 'm')).c_str(), 511), -1);

  // A name whose path needs more than 259 units stays, and so does its
  // directory; everything else goes.
  const std::string t = root_ + "/t";
  for (const char *d : {"", "/a", "/a/b", "/z"}) make_dir(t + d);
  for (const std::string &f : std::vector<std::string>{"/a.txt", "/a/b/c", "/z/d", "/zz", "/" + long_ascii_}) make_file(t + f);
  EXPECT_EQ(ruvo_dirutils_rmdir(t.c_str()), 0);
  EXPECT_EQ(find_all(t), (std::vector<entry>{{".", 0x4000, 0}, {"..", 0x4000, 0}, {long_ascii_, 0x8000, 0}}));
  EXPECT_EQ(ruvo_dirutils_rmdir((root_ + "/missing").c_str()), 0);

  // α holds links to its sibling Zeta and up to the top: what they lead to
  // stays, and all that is α's own goes.
  ASSERT_TRUE(links_);
  auto before = find_all(root_);
  const auto zeta = find_all(root_ + "/Zeta");
  EXPECT_EQ(ruvo_dirutils_rmdir((root_ + "/α/").c_str()), 0);
  EXPECT_EQ(find_all(root_ + "/Zeta"), zeta);
  for (const char *gone : {"/α/b.txt", "/α/β/c.txt", "/α/β/γ"}) EXPECT_FALSE(exists(root_ + gone));
  if (ruvo_test::under_wine()) {
    EXPECT_EQ(find_all(root_), before);  // links aren't removable through Wine
  } else {
    std::erase(before, entry{"α", 0x4000, 0});
    EXPECT_EQ(find_all(root_), before);
  }
}

TEST_F(Dir, WalkerIsPreOrderWithinItsDepthAndLinksAndLeavesTheTopOut) {
  ASSERT_TRUE(links_);
  for (const walk_limits lim : {walk_limits{false, 9, 0}, {true, 0, 0}, {true, 1, 0}, {true, 2, 0},
                                {true, 9, 1}, {true, 9, 2}, {true, 9, 3}, {true, 1, 4}}) {
    {
      const uint32_t recursive = lim.recursive ? 1 : 0, max_depth = lim.max_depth;
      std::vector<std::string> want;
      walk_ref(root_, lim, 0, 0, &want);
      for (const std::string &top : {root_, root_ + "\\"}) {
        ruvo_dirwalk_st *w = max_depth == 0 ? ruvo_dirwalk_create(top.c_str(), recursive, lim.max_reparse)
                                            : ruvo_dirwalk_create2(top.c_str(), recursive, lim.max_reparse, max_depth);
        ASSERT_NE(w, nullptr);
        EXPECT_EQ(w->max_depth, max_depth);
        std::vector<std::string> got;
        int32_t is_dir = -1;
        for (const char *p; (p = ruvo_dirwalk_read(w, &is_dir)) != nullptr; is_dir = -1) {
          ASSERT_EQ(p, w->path);
          got.push_back(std::string(p) + (is_dir == 1 ? "|d" : is_dir == 0 ? "" : "?"));
        }
        EXPECT_EQ(got, want) << recursive << " " << lim.max_reparse << " " << max_depth;
        EXPECT_EQ(ruvo_dirwalk_read(w, nullptr), nullptr);
        ruvo_dirwalk_destroy(w);
      }
    }
  }
  // Left half-way: every open level is closed.
  ruvo_dirwalk_st *w = ruvo_dirwalk_create(root_.c_str(), 1, 0);
  for (int i = 0; i < 4; ++i) ASSERT_NE(ruvo_dirwalk_read(w, nullptr), nullptr);
  ruvo_dirwalk_destroy(w);
  EXPECT_TRUE(not_held(root_) && not_held(root_ + "/α") && not_held(root_ + "/α/β"));
}

TEST(DirNoTree, PathTransformPutsTheProgramDirectoryForTheAt) {
  wchar_t exe[MAX_PATH];
  ::GetModuleFileNameW(nullptr, exe, MAX_PATH);
  std::string dir = utf8(exe);
  dir.resize(dir.find_last_of('\\'));
  for (char &c : dir) c = c == '\\' ? '/' : c;
  char out[300];
  const std::pair<const char *, std::string> cases[] = {
      {"", ""}, {"@", dir}, {"@/../var", dir + "/../var"}, {"x@/y", "x@/y"}, {"@@", dir + "@"}};
  for (const auto &[in, want] : cases) {
    EXPECT_EQ(ruvo_dirutils_path_transform(in, out, sizeof out), int32_t(want.size()));
    EXPECT_EQ(out, want);
  }
  EXPECT_EQ(ruvo_dirutils_path_transform("@/x", out, 4), 3);
  EXPECT_EQ(out, dir.substr(0, 3));
}

TEST_F(Dir, CurrentHomeAndTemporaryDirsMatchThePlatform) {
  wchar_t saved[MAX_PATH];
  ::GetCurrentDirectoryW(MAX_PATH, saved);
  ASSERT_EQ(ruvo_current_dir_set(root_.c_str()), 1);
  ASSERT_EQ(ruvo_current_dir_set("α/β"), 1);  // relative to the new current one
  wchar_t now[MAX_PATH];
  ::GetCurrentDirectoryW(MAX_PATH, now);
  const std::string want = utf8(now);
  EXPECT_EQ(want, root_ + "\\α\\β");
  char buf[400];
  EXPECT_EQ(ruvo_current_dir_get(buf, sizeof buf), want.size());
  EXPECT_EQ(buf, want);
  EXPECT_EQ(ruvo_current_dir_get(buf, want.size() + 1), want.size());
  EXPECT_EQ(ruvo_current_dir_get(buf, want.size()), 0u);
  EXPECT_EQ(ruvo_current_dir_set("missing"), 0);
  ::SetCurrentDirectoryW(saved);

  wchar_t home[MAX_PATH], tmp[MAX_PATH];
  ASSERT_EQ(::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, home), S_OK);
  ::GetTempPathW(MAX_PATH, tmp);
  const std::pair<size_t (*)(char *, size_t), std::string> dirs[] = {
      {ruvo_home_dir, utf8(home)}, {ruvo_temporary_dir, utf8(tmp)}};
  for (const auto &[call, text] : dirs) {
    EXPECT_EQ(call(buf, sizeof buf), text.size());
    EXPECT_EQ(buf, text);
    EXPECT_EQ(call(buf, text.size() + 1), text.size());
    EXPECT_EQ(call(buf, text.size()), 0u);
  }
  EXPECT_EQ(std::string(buf).back(), '\\');
}

std::vector<std::string> expand(const std::string &pattern, int32_t *rc) {
  ruvo_dir_link_st head{};
  *rc = ruvo_wildcard_path_expand(pattern.c_str(), &head);
  std::vector<std::string> out;
  for (ruvo_dir_link_st *p = head.next; p != nullptr && p != &head; p = p->next) {
    out.push_back(reinterpret_cast<ruvo_wildcard_path_st *>(p)->path);
  }
  ruvo_wildcard_path_free(&head);
  return out;
}

TEST_F(Dir, WildcardMatchesTheReferenceGlob) {
  const std::string g = root_ + "/g";
  make_dir(g);
  const char *names[] = {"app.txt", "app1.txt", "apptxt", "ap.txt", "APP2.txt", "app2.log",
                         "äpp.txt", "a", "ab", "aba", "txt", "x.txt.bak"};
  for (const char *n : names) make_dir(g + "/" + n);
  for (const char *n : {"app.txt", "ab", "äpp.txt"}) make_file(g + "/" + n + "/desk");
  const std::vector<entry> listed = find_all(g);
  const char *parts[] = {"", "a", "ab", "app", "äpp", "b", ".txt", "txt", "t", "APP", "x"};
  for (const char *prefix : parts) {
    for (const char *suffix : parts) {
      for (const std::string tail : {"", "/desk", "\\desk"}) {
        std::vector<std::string> want;
        const std::string p = prefix, s = suffix;
        for (const entry &e : listed) {
          const std::string &n = e.name;
          if (is_dot(n) || n.size() < p.size() + s.size() || n.compare(0, p.size(), p) != 0 ||
              n.compare(n.size() - s.size(), s.size(), s) != 0) continue;
          if (tail.empty() || exists(g + "/" + n + tail)) want.push_back(g + "/" + n + tail);
        }
        int32_t rc = -2;
        EXPECT_EQ(expand(g + "/" + p + "~" + s + tail, &rc), want) << p << "~" << s << tail;
        EXPECT_EQ(rc, 0);
      }
    }
  }
  int32_t rc = 0;
  EXPECT_EQ(expand(root_ + "\\g\\~\\desk", &rc).size(), 3u);
  for (const std::string &bad : {g + "/a~~b", g + "/app.txt", std::string("C:ab~c"), std::string("C"),
                                std::string("/g/~"), std::string("1:/~"), root_ + "/missing/~"}) {
    EXPECT_TRUE(expand(bad, &rc).empty());
    EXPECT_EQ(rc, -1) << bad;
  }
  EXPECT_TRUE(expand(root_ + "/Zeta/empty/~", &rc).empty());
  EXPECT_EQ(rc, 0);
}

}  // namespace
