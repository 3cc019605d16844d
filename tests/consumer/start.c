/* The consumer program of the MSVC-target link: no C runtime, its own entry
 * point, only the .lib import libraries of the release and of kernel32. */
#include "calls.h"

__declspec(dllimport) void __stdcall ExitProcess(unsigned code);

/* 77 when every call answered: a crash under Wine ends with 0. */
void start(void) {
  int failed = ruvo_consumer_calls();
  ExitProcess(failed ? (unsigned)failed : 77u);
}
