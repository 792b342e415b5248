#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "peers/child_process.h"
#include "peers/waiting.h"

namespace {

// What a failing program leaves: its console, then how it ended.
std::string Fail(const std::string& how) {
  ChildProcess child(TORVY_THROWER, {how});
  EXPECT_TRUE(WaitFor([&child] { return child.Output().Ended && child.Status(); }));
  return child.Output().Received + std::to_string(child.Status().value_or(-1));
}

TEST(Failure, PrintsTheStackOfThePlaceThatThrewAndAborts) {
  const std::string end = "\n\nmain\n\n.*done logging the stack\n\n" + std::to_string(128 + SIGABRT);
  const std::string start =
      "stack trace begin\n\nThirdDeep\\(bool\\)\n\nSecondDeep\\(bool\\)\n\nFirstDeep\\(bool\\)\n\n.*";
  EXPECT_THAT(Fail("class"), testing::MatchesRegex(start + end));
  EXPECT_THAT(Fail("number"), testing::MatchesRegex(start + end));
  EXPECT_THAT(Fail("pump"), testing::MatchesRegex(start + "platform::EventPump::Run\\(int\\).*" + end));
}

TEST(Failure, StackThatIsEmptyOrCannotBeRead) {
  EXPECT_EQ(Fail("empty"), "stack trace begin\n\ndone logging the stack\n\n0");
  EXPECT_EQ(Fail("unreadable"),
            "stack trace begin\n\nthere was an error while logging the stack trace\n\ndone logging the stack\n\n0");
}

}  // namespace
