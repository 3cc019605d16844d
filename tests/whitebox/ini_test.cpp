// INI saves that fail part-way, through the fault seam: each step in turn
// fails, and each time the result is that step's code, the target keeps its
// bytes, no temporary file is left, and the log holds the texts callers look for.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "internal/fault.hpp"
#include "ruvo/base/ini.h"
#include "ruvo/base/log.h"

namespace {

namespace fs = std::filesystem;

std::string g_log;
void capture(uint32_t, const char *format, va_list args) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, args);
  g_log += text;
}

std::string read_file(const fs::path &p) {
  std::ifstream in(p, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(IniFaults, EveryFailingStepLeavesTheTargetAndNoTemporaryFile) {
  const fs::path dir = fs::temp_directory_path() / ("ini_faults_" + std::to_string(std::rand()));
  const fs::path tmp = dir / "tmp";
  fs::create_directories(tmp);
#if defined(_WIN32)
  _putenv_s("TMP", tmp.string().c_str());
#else
  setenv("TMPDIR", tmp.c_str(), 1);
#endif
  ruvo_log_output_register(capture);
  ruvo_ini_file_st *doc = ruvo_ini_file_load(nullptr);
  ruvo_ini_file_set(doc, "a", "k1", "v1");
  ruvo_ini_file_set(doc, "a", "k2", "");
  ruvo_ini_file_set(doc, "b", "long", std::string(1500, 'x').c_str());
  // Plain: 7 lines ([a], two keys, empty line, [b], a key, empty line).
  // Enciphered: 6 blocks (the long line is two), no empty lines. Then the
  // flush and the rename.
  const int32_t W = RUVO_INI_E_WRITE, name = RUVO_INI_E_TEMP_NAME, open = RUVO_INI_E_TEMP_OPEN;
  const std::pair<const char *, std::vector<int32_t>> files[] = {
      {"t.ini", {name, open, W, W, W, W, W, W, W, W, RUVO_INI_E_RENAME}},
      {"t.eni", {name, open, RUVO_INI_E_SEEK_BODY, W, W, W, W, W, W, RUVO_INI_E_SEEK_HEAD,
                 RUVO_INI_E_DIGEST, RUVO_INI_E_WRITE_HEAD, W, RUVO_INI_E_RENAME}}};
  for (const auto &[file, want] : files) {
    const std::string target = (dir / file).string();
    std::ofstream(target, std::ios::binary) << "old";
    std::vector<int32_t> got;
    for (long n = 0; n < 40; ++n) {
      ruvo::fault::fail_save_step(n);
      const int32_t rc = ruvo_ini_file_save(doc, target.c_str(), 0);
      ruvo::fault::fail_save_step(-1);
      if (rc == 0) break;
      got.push_back(rc);
      EXPECT_EQ(read_file(target), "old") << file << " step " << n;
      EXPECT_TRUE(fs::is_empty(tmp)) << file << " step " << n;
    }
    EXPECT_EQ(got, want) << file;
  }
  ruvo_ini_file_free(doc);
  ruvo_log_output_unregister(capture);
  for (const char *text : {"] _wtmpnam to utf8 failed\n", "] Failed to write data\n",
                           "] eni_cs is NULL, md5_ctx.state 0x"}) {
    EXPECT_NE(g_log.find(text), std::string::npos) << text;
  }
  fs::remove_all(dir);
}

}  // namespace
