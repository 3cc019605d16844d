// A directory stream that can't be allocated, through the allocation seam.
#include <gtest/gtest.h>

#include <cerrno>

#include "internal/fault.hpp"
#include "ruvo/base/dir.h"

namespace {

TEST(DirStream, AStreamThatCannotBeAllocatedGivesNullWithErrno12) {
  ruvo::fault::fail_allocations_after(0);
  errno = 0;
  ruvo_dir_st *d = ruvo_opendir("C:/");
  const int error = errno;
  ruvo::fault::fail_allocations_after(-1);
  EXPECT_EQ(d, nullptr);
  EXPECT_EQ(error, ENOMEM);
  d = ruvo_opendir("C:/");
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(ruvo_closedir(d), 0);
}

}  // namespace
