// A UTF-16 heap copy of a narrow argument, for the families whose narrow
// forms convert at the edge and run the wide body.
#pragma once

#include "handle.hpp"
#include "ruvo/base/charset.h"

namespace ruvo::win {

using converter = wchar_t *(*)(const char *) noexcept;

// Null when the argument is null or does not convert. Freeing the copy
// leaves the thread's last error as the wide body set it.
class wide_arg {
 public:
  wide_arg(const char *text, converter convert = ruvo_str_utf8_to_unicode) noexcept
      : text_(convert(text)) {}
  ~wide_arg() {
    last_error_guard keep;
    ruvo_str_free(text_);
  }
  wide_arg(const wide_arg &) = delete;
  wide_arg &operator=(const wide_arg &) = delete;
  const wchar_t *get() const noexcept { return text_; }

 private:
  wchar_t *text_;
};

}  // namespace ruvo::win
