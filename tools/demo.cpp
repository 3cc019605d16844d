// A tour of libruvobase: each section uses one family the way a program would.
#include <cstdint>
#include <cstdio>

#include <cstring>
#include <initializer_list>

#include "ruvo/base/charset.h"
#include "ruvo/base/l3.h"
#include "ruvo/base/log.h"
#include "ruvo/base/memory.h"
#include "ruvo/base/rbtree.h"
#include "ruvo/base/str.h"
#include "ruvo/base/vector.h"
#include "ruvo/base/xhash.h"
#include "ruvo/base/xmsg.h"

#if defined(_WIN32)
#include <windows.h>

#include "ruvo/base/autolog.h"
#include "ruvo/base/dir.h"
#include "ruvo/base/file.h"
#include "ruvo/base/ini.h"
#include "ruvo/base/zip.h"
#include "ruvo/base/path.h"
#endif

namespace {

// A log output of the program's own: it formats the record and prefixes it.
void demo_output(uint32_t level, const char *format, va_list args) {
  char text[512];
  ruvo_str_magic_vsprintf(text, sizeof text, format, args);
  std::printf("  demo output got level %u: %s", level, text);
}

void show_log() {
  std::printf("== log: records through a registered output, then to standard error\n");
  ruvo_log_output_register(&demo_output);
  ruvo_log_output(RUVO_LOG_WARN, "%d items sorted\n", 10);
  ruvo_log_output(42, "an unknown level arrives as warn\n");
  ruvo_log_output_unregister(&demo_output);
  std::fflush(stdout);
  ruvo_log_output(RUVO_LOG_INFO, "  no output registered: this record is on standard error\n");
  std::printf("  level %d, outputs registered: %d\n", ruvo_log_level_get(), ruvo_log_is_regestered());
}

int32_t by_value(void *a, void *b) {
  const auto x = reinterpret_cast<intptr_t>(a), y = reinterpret_cast<intptr_t>(b);
  return x < y ? -1 : x > y ? 1 : 0;
}

void show_vector() {
  std::printf("== vector: ten numbers pushed, sorted in place\n");
  ruvo_vector_st *v = nullptr;
  if (ruvo_vector_create(&v, 4) != RUVO_OK) return;
  const intptr_t numbers[] = {42, 7, 19, 3, 88, 23, 61, 5, 14, 30};
  for (intptr_t n : numbers) ruvo_vector_push_back(v, reinterpret_cast<void *>(n));
  std::printf("  size %zu, capacity %zu (grew from 4 by doubling)\n  before:", ruvo_vector_size(v),
              ruvo_vector_capacity(v));
  for (size_t i = 0; i < ruvo_vector_size(v); ++i)
    std::printf(" %d", static_cast<int>(reinterpret_cast<intptr_t>(ruvo_vector_pos_at(v, i))));
  ruvo_vector_qsort(v, &by_value);
  std::printf("\n  after: ");
  for (size_t i = 0; i < ruvo_vector_size(v); ++i)
    std::printf(" %d", static_cast<int>(reinterpret_cast<intptr_t>(ruvo_vector_pos_at(v, i))));
  std::printf("\n");
  ruvo_vector_destroy(v);
}

int32_t print_setting(const void *key, int32_t key_len, void *value, void *) {
  std::printf("  %.*s = %s\n", static_cast<int>(key_len), static_cast<const char *>(key),
              static_cast<const char *>(value));
  return 0;
}

// A settings line split into pairs, kept in a chained hash (insertion order)
// and in a red-black tree (key order), then sent as a keyed message.
void show_maps_and_message() {
  std::printf("== split, chained hash, red-black tree, keyed message\n");
  int32_t count = 0;
  char **tokens = ruvo_str_split("port=8080; host=vm; level=2; mode=service", "; ", &count);
  ruvo_xhash_st *table = ruvo_xhash_create(nullptr, nullptr);
  ruvo_rbtree_st *tree = ruvo_rbtree_create(nullptr, nullptr, 0);
  ruvo_xmsg_st *msg = ruvo_xmsg_new("demo");
  for (int32_t i = 0; i < count; ++i) {
    char *eq = std::strchr(tokens[i], '=');
    if (eq == nullptr) continue;
    *eq = '\0';
    const auto key_len = static_cast<uint32_t>(eq - tokens[i]);
    ruvo_xhash_insert(table, tokens[i], static_cast<int32_t>(key_len), eq + 1);
    ruvo_rbtree_insert(tree, tokens[i], key_len, eq + 1);
    ruvo_xmsg_add(msg, tokens[i], static_cast<uint16_t>(key_len), eq + 1,
                  static_cast<uint32_t>(std::strlen(eq + 1)));
  }
  std::printf(" %d tokens; the hash walks them in insertion order:\n", count);
  ruvo_xhash_walk(table, nullptr, &print_setting);
  std::printf(" the tree from lower_bound(\"i\") on, in key order:");
  for (auto *node = ruvo_rbtree_lower_bound(tree, "i", 1); node != nullptr; node = ruvo_rbtree_next(node))
    std::printf(" %.*s", static_cast<int>(node->key_len), reinterpret_cast<const char *>(node->key));
  uint32_t wire_len = 0;
  void *wire = ruvo_xmsg_pack_aux(msg, &wire_len);
  ruvo_xmsg_st *received = wire != nullptr ? ruvo_xmsg_unpack(wire, wire_len) : nullptr;
  uint32_t value_len = 0;
  const void *host = received != nullptr ? ruvo_xmsg_get(received, "host", 4, &value_len, nullptr) : nullptr;
  std::printf("\n the message packs to %u bytes; unpacked from %s, host = %.*s\n", wire_len,
              received != nullptr ? ruvo_xmsg_get_creator(received) : "?",
              static_cast<int>(value_len), host != nullptr ? static_cast<const char *>(host) : "");
  ruvo_xmsg_release(received);
  ruvo_free_(wire);
  ruvo_xmsg_release(msg);
  ruvo_rbtree_destroy(tree);
  ruvo_xhash_destroy(table);
  ruvo_str_split_free(tokens);
}

#if defined(_WIN32)
// Reads this process's tag table the way another process would: by name.
uint32_t tag_count(uint32_t slot) {
  char name[64];
  std::snprintf(name, sizeof name, "Local\\{%08x-505D-3E7A-BB52-2E5690CDA177}",
                static_cast<unsigned>(::GetCurrentProcessId()));
  HANDLE mapping = ::OpenFileMappingA(FILE_MAP_READ, FALSE, name);
  if (mapping == nullptr) return 0;
  const auto *entries = static_cast<const uint32_t *>(::MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
  const uint32_t count = entries != nullptr ? entries[slot * 2 + 1] : 0;
  if (entries != nullptr) ::UnmapViewOfFile(entries);
  ::CloseHandle(mapping);
  return count;
}

void show_tagged_heap() {
  std::printf("== tagged heap: blocks counted under the tag \"flok\"\n");
  const uint32_t flok = 0x6B6F6C66;
  ruvo_heap_mem_st *heap = nullptr;
  if (ruvo_heap_mem_init(flok, &heap) != RUVO_OK) return;
  void *blocks[3];
  for (auto &b : blocks) b = ruvo_heap_mem_alloc(heap, flok, 64);
  std::printf("  after 3 allocations the tag table says %u live\n", tag_count(258));
  for (auto *b : blocks) ruvo_heap_mem_free(heap, b, flok);
  std::printf("  after freeing them it says %u\n", tag_count(258));
  ruvo_heap_mem_destroy(heap);
}
#endif

// An allow-list as an administrator writes it: overlapping, adjacent and
// mixed-family entries, folded once and then searched per peer.
void show_allow_list() {
  std::printf("== L3 ranges: an allow-list folded, then peers checked against it\n");
  const char *lines[] = {"10.1.2.3/24", "10.1.3.0-10.1.3.255", "192.168.0.7",
                         "2001:db8::1/126", "10.1.2.128/255.255.255.128", "::ffff:1.2.3.4"};
  ruvo_l3_range_st ranges[6] = {};
  uint32_t count = 0;
  for (const char *line : lines) {
    const int32_t form = ruvo_l3_string_to_range(line, &ranges[count]);
    std::printf("  %-28s form %d\n", line, form);
    if (form > 0) ++count;
  }
  ruvo_l3_range_trim(ranges, &count);
  std::printf("  folded into %u ranges:\n", count);
  for (uint32_t i = 0; i < count; ++i) {
    char text[100];
    ruvo_l3_range_to_string(&ranges[i], text, sizeof text);
    std::printf("    %s\n", text);
  }
  for (const char *peer : {"10.1.3.77", "10.1.4.1", "2001:db8::2", "::1"}) {
    ruvo_l3_addr_st addr;
    ruvo_l3_string_to_addr(peer, &addr);
    std::printf("  peer %-12s %s\n", peer,
                ruvo_l3_net_addr_binary_search(&addr, ranges, int32_t(count)) ? "allowed" : "refused");
  }
}

#if defined(_WIN32)
// A dated log folder beside the program ("@" is the program's directory),
// a file with a non-ASCII name in it, then a walk, a wildcard and cleanup.
void show_paths_and_directories() {
  std::printf("== paths and directories: a log folder under the program's directory\n");
  char root[512], day[600];
  ruvo_dirutils_path_transform("@/demo-logs", root, sizeof root);
  std::snprintf(day, sizeof day, "%s/2026/11/24", root);
  std::printf("  mkdir %s/2026/11/24: %d\n", ruvo_path_get_name_u(root), ruvo_dirutils_mkdir(day, 511));
  for (const char *name : {"app-1.log", "app-2.log", "K\xC3\xB6ln \xE6\x97\xA5\xE8\xAA\x8C.txt"}) {
    char file[700];
    std::snprintf(file, sizeof file, "%s/%s", day, name);
    ruvo_wchar_t *wide = ruvo_str_utf8_to_unicode(file);
    if (FILE *f = _wfopen(wide, L"w")) std::fclose(f);
    ruvo_str_free(wide);
  }
  ruvo_dirwalk_st *walk = ruvo_dirwalk_create(root, 1, 0);
  int32_t is_dir = 0;
  while (const char *found = walk ? ruvo_dirwalk_read(walk, &is_dir) : nullptr) {
    char rel[300];
    const char *shown = ruvo_path_relative_to(root, found, rel, sizeof rel);
    std::printf("  %s %s%s\n", is_dir ? "dir " : "file", shown ? shown : found,
                is_dir ? "" : ruvo_str_is_utf8(found, std::strlen(found)) ? "  (UTF-8 name)" : "");
  }
  ruvo_dirwalk_destroy(walk);
  char pattern[700];
  std::snprintf(pattern, sizeof pattern, "%s/app~.log", day);
  ruvo_dir_link_st hits;
  if (ruvo_wildcard_path_expand(pattern, &hits) == 0) {
    for (ruvo_dir_link_st *l = hits.next; l != &hits; l = l->next) {
      const char *path = reinterpret_cast<ruvo_wildcard_path_st *>(l)->path;
      std::printf("  app~.log matches %s (extension %s)\n", ruvo_path_get_name_u(path), ruvo_path_get_ext_u(path));
    }
    ruvo_wildcard_path_free(&hits);
  }
  // Rotate a log: copy it into an archive folder that does not exist yet,
  // check the copy by digest, then move the live file aside.
  char live[700], archived[700], aside[700], hex[65];
  std::snprintf(live, sizeof live, "%s/app-1.log", day);
  std::snprintf(archived, sizeof archived, "%s/archive/2026-11/app-1.log", root);
  std::snprintf(aside, sizeof aside, "%s/app-1.old", day);
  if (FILE *f = ruvo_file_open(live, "w")) {
    std::fputs("service started\n", f);
    ruvo_file_close(f);
  }
  const int32_t copied = ruvo_file_copy(live, archived);
  std::printf("  copy app-1.log into archive/2026-11 (missing): %d, %llu bytes\n", copied,
              static_cast<unsigned long long>(ruvo_file_size(archived)));
  if (ruvo_file_sha256_str(archived, hex, sizeof hex) == 0)
    std::printf("  sha256 %s, same as the live file: %s\n", hex,
                ruvo_file_compare_by_sha256(live, archived) == 0 ? "yes" : "no");
  std::printf("  rename app-1.log to app-1.old: %d\n", ruvo_file_rename(live, aside));
  char zip[700];
  std::snprintf(zip, sizeof zip, "%s/archive/logs.zip", root);
  const int32_t packed = ruvo_compress_zip(zip, aside, nullptr);
  std::printf("  pack app-1.old into archive/logs.zip: %d (%llu bytes)\n", packed,
              static_cast<unsigned long long>(ruvo_file_size(zip)));

  // The service's settings, saved plain and enciphered and read back.
  ruvo_ini_file_st *conf = ruvo_ini_file_load(nullptr);
  ruvo_ini_file_set(conf, "Service", "LogDir", day);
  ruvo_ini_file_set_int(conf, "Service", "KeepArchives", 10);
  for (const char *ext : {".ini", ".eni"}) {
    char file[700];
    std::snprintf(file, sizeof file, "%s/settings%s", root, ext);
    const int32_t saved = ruvo_ini_file_save(conf, file, 0);
    const unsigned long long bytes = ruvo_file_size(file);
    ruvo_ini_file_st *back = ruvo_ini_file_load(file);
    std::printf("  settings%s: saved %d, %llu bytes, KeepArchives read back %d\n", ext, saved, bytes,
                ruvo_ini_file_get_int(back, "service", "keeparchives", -1));
    ruvo_ini_file_free(back);
  }
  ruvo_ini_file_free(conf);
  ruvo_dirutils_rmdir(root);
  std::printf("  removed; exists afterwards: %d\n", ruvo_path_is_exist_u(root));
}

int32_t show_log_file(int32_t is_dir, const char *path, void *) {
  if (is_dir != 0) return 0;
  std::printf("  %s:\n", ruvo_path_get_name_u(path));
  if (FILE *f = ruvo_file_open(path, "r")) {
    char line[256];
    while (std::fgets(line, sizeof line, f) != nullptr) std::printf("    %s", line);
    ruvo_file_close(f);
  }
  return 0;
}

void show_auto_log() {
  std::printf("== auto log: the service's records in a dated file beside the program\n");
  char dir[512];
  ruvo_dirutils_path_transform("@/demo-autolog", dir, sizeof dir);
  ruvo_autolog_init(dir, 5);
  for (int i = 1; i <= 3; ++i) ruvo_log_output(RUVO_LOG_INFO, "service heartbeat %d", i);
  ruvo_autolog_fflush();
  ruvo_dirutils_listdir(dir, nullptr, &show_log_file);
  ruvo_autolog_finit();
  ruvo_dirutils_rmdir(dir);
}
#endif

}  // namespace

int main() {
  show_log();
  show_vector();
  show_maps_and_message();
  show_allow_list();
#if defined(_WIN32)
  show_tagged_heap();
  show_paths_and_directories();
  show_auto_log();
#endif
  return 0;
}
