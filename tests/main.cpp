#include <gmock/gmock.h>

#include "platform/process.h"

int main(int argument_count, char** arguments) {
  platform::PrepareProcess();
  testing::InitGoogleMock(&argument_count, arguments);
  GTEST_FLAG_SET(catch_exceptions, false);  // exceptions thrown in a child must stay uncaught
  return RUN_ALL_TESTS();
}
