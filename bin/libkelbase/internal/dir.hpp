// The two facts of the directory family that path strings need: the current
// directory and the home directory. Windows answers them in the directory
// family itself, Linux in native/dir.cpp.
#pragma once

#if __has_include("ruvo/base/dir.h")
#include "ruvo/base/dir.h"
#else
#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS
// The length written, 0 on failure or if out is null or cap is below 5.
RUVO_API size_t ruvo_current_dir_get(char *out, size_t cap) RUVO_NOEXCEPT;
// The length of the text, or 0.
RUVO_API size_t ruvo_home_dir(char *buf, size_t size) RUVO_NOEXCEPT;
RUVO_END_DECLS
#endif
