// A directory stream that can't be allocated, through the allocation seam.
#include <gtest/gtest.h>

#include <cerrno>

#include "internal/fault.hpp"
#include "ruvo/base/dir.h"

TEST(DirStream, AStreamThatCannotBeAllocatedGivesNullWithErrno12) {
  ruvo::fault::fail_allocations_after(0);
  errno = 0;
  ruvo_dir_st *d = ruvo_opendir("C:/");
  const int error = errno;
  ruvo::fault::fail_allocations_after(-1);
  EXPECT_TRUE(d == nullptr && error == ENOMEM);
}
