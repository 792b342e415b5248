#include "platform/descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace platform {
namespace {

TEST(Descriptor, IsNoStandardOneAndIsNotInherited) {
  close(STDIN_FILENO);
  const Descriptor moved_up(open("/dev/null", O_RDONLY));
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
  const Descriptor kept(dup2(moved_up.Number(), STDERR_FILENO + 100));
  for (const Descriptor* descriptor : {&moved_up, &kept}) {
    EXPECT_GT(descriptor->Number(), STDERR_FILENO);
    EXPECT_EQ(fcntl(descriptor->Number(), F_GETFD), FD_CLOEXEC);
  }
}

}  // namespace
}  // namespace platform
