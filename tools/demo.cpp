// A tour of libruvobase: each section uses one family the way a program would.
#include <cstdio>

#include "ruvo/base/log.h"
#include "ruvo/base/memory.h"
#include "ruvo/base/str.h"

namespace {

// A log output of the program's own: it formats the record and prefixes it.
void demo_output(uint32_t level, const char *format, va_list args) {
  char text[512];
  ruvo_str_magic_vsprintf(text, sizeof text, format, args);
  std::printf("demo output (level %u): %s", level, text);
}

void show_log() {
  std::printf("== log ==\n");
  ruvo_log_output(RUVO_LOG_INFO, "a record on standard error, no output registered\n");
  ruvo_log_output_register(&demo_output);
  ruvo_log_output(RUVO_LOG_WARN, "a record through a registered output: %d items\n", 3);
  ruvo_log_output_unregister(&demo_output);
  std::printf("level %d, registered %d\n", ruvo_log_level_get(), ruvo_log_is_regestered());
}

}  // namespace

int main() {
  show_log();
  return 0;
}
