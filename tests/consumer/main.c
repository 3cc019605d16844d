/* The consumer program of the MinGW builds (CMake package and pkg-config):
 * the calls, then the version resource of each DLL it loaded. */
#include <stdio.h>
#include <string.h>
#include <windows.h>

#include "calls.h"

/* FileVersion and ProductName of the loaded DLL `name`, against the
 * package's version. */
static int check_version(const wchar_t *name) {
  wchar_t path[MAX_PATH];
  HMODULE module = GetModuleHandleW(name);
  if (!module || !GetModuleFileNameW(module, path, MAX_PATH)) return 0;
  DWORD handle = 0;
  DWORD size = GetFileVersionInfoSizeW(path, &handle);
  static char block[8192];
  if (size == 0 || size > sizeof block || !GetFileVersionInfoW(path, handle, size, block)) return 0;
  char *version = NULL, *product = NULL;
  UINT length = 0;
  VS_FIXEDFILEINFO *fixed = NULL;
  if (!VerQueryValueA(block, "\\StringFileInfo\\040904b0\\FileVersion", (void **)&version, &length) ||
      !VerQueryValueA(block, "\\StringFileInfo\\040904b0\\ProductName", (void **)&product, &length) ||
      !VerQueryValueA(block, "\\", (void **)&fixed, &length))
    return 0;
  unsigned major = 0, minor = 0, patch = 0;
  sscanf(RUVO_EXPECTED_VERSION, "%u.%u.%u", &major, &minor, &patch);
  printf("%ls: %s %s\n", name, product, version);
  return strcmp(version, RUVO_EXPECTED_VERSION) == 0 && strcmp(product, "libruvobase") == 0 &&
         fixed->dwFileVersionMS == (major << 16 | minor) && fixed->dwFileVersionLS == patch << 16;
}

int main(void) {
  int failed = ruvo_consumer_calls();
  if (failed) {
    printf("call %d gave the wrong answer\n", failed);
    return failed;
  }
  const wchar_t *dlls[] = {L"libruvobase.dll", L"libruvoalgo.dll", L"libruvozip.dll"};
  for (int i = 0; i < 3; ++i)
    if (!check_version(dlls[i])) {
      printf("%ls: no version resource of version %s\n", dlls[i], RUVO_EXPECTED_VERSION);
      return 100 + i;
    }
  printf("consumer: all calls answered\n");
  return 0;
}
