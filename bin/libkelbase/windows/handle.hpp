// Ownership of Win32 handles, and a guard for the thread's last error.
// Several families report only through the last error, so closing a handle
// on a failure path must never change it.
#pragma once

#include <windows.h>

#include <utility>

namespace ruvo::win {

// Puts the thread's last error back as it was when the guard was made.
class last_error_guard {
 public:
  last_error_guard() noexcept : saved_(::GetLastError()) {}
  ~last_error_guard() { ::SetLastError(saved_); }
  last_error_guard(const last_error_guard &) = delete;
  last_error_guard &operator=(const last_error_guard &) = delete;

 private:
  DWORD saved_;
};

// Events, semaphores, threads, processes: a failed create gives null.
struct kernel_handle_traits {
  using type = HANDLE;
  static type none() noexcept { return nullptr; }
  static bool valid(type h) noexcept { return h != nullptr && h != INVALID_HANDLE_VALUE; }
  static void close(type h) noexcept { ::CloseHandle(h); }
};

// CreateFile and its kin: a failed create gives INVALID_HANDLE_VALUE.
struct file_handle_traits : kernel_handle_traits {
  static type none() noexcept { return INVALID_HANDLE_VALUE; }
};

template <class Traits>
class unique {
 public:
  using type = typename Traits::type;

  unique() noexcept = default;
  explicit unique(type h) noexcept : h_(h) {}
  unique(unique &&other) noexcept : h_(other.release()) {}
  unique &operator=(unique &&other) noexcept {
    reset(other.release());
    return *this;
  }
  unique(const unique &) = delete;
  unique &operator=(const unique &) = delete;
  ~unique() { reset(); }

  [[nodiscard]] type get() const noexcept { return h_; }
  [[nodiscard]] explicit operator bool() const noexcept { return Traits::valid(h_); }
  // The one way a handle leaves for a record or a caller.
  [[nodiscard]] type release() noexcept { return std::exchange(h_, Traits::none()); }

  void reset(type h = Traits::none()) noexcept {
    if (Traits::valid(h_)) {
      last_error_guard keep;
      Traits::close(h_);
    }
    h_ = h;
  }

  // Closes what is held and lends the slot to an out-parameter.
  [[nodiscard]] type *put() noexcept {
    reset();
    return &h_;
  }

 private:
  type h_ = Traits::none();
};

using unique_handle = unique<kernel_handle_traits>;
using unique_file = unique<file_handle_traits>;

}  // namespace ruvo::win
