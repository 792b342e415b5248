#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

#include "simulator/child_process.h"
#include "simulator/wait.h"

namespace {

constexpr int kAborted = 128 + SIGABRT;

struct Outcome {
  int status;
  std::vector<std::string> lines;
};

Outcome Fail(const std::string& how) {
  ChildProcess child(TORVY_THROWER, {how});
  EXPECT_TRUE(WaitFor([&child] { return child.Output().Ended && child.Status(); }));
  std::istringstream output(child.Output().Received);
  Outcome outcome{child.Status().value_or(-1), {}};
  for (std::string line; std::getline(output, line);) outcome.lines.push_back(line);
  return outcome;
}

TEST(Failure, PrintsTheStackOfThePlaceThatThrewAndAborts) {
  for (const char* how : {"class", "number", "pump"}) {
    SCOPED_TRACE(how);
    const Outcome outcome = Fail(how);
    EXPECT_EQ(outcome.status, kAborted);
    ASSERT_GE(outcome.lines.size(), 14U);
    const std::vector<std::string> beginning(outcome.lines.begin(), outcome.lines.begin() + 8);
    EXPECT_THAT(beginning, testing::ElementsAre("stack trace begin", "", "ThirdDeep(bool)", "", "SecondDeep(bool)", "",
                                                "FirstDeep(bool)", ""));
    EXPECT_EQ(outcome.lines[outcome.lines.size() - 2], "done logging the stack");
    EXPECT_EQ(outcome.lines.back(), "");
    const bool through_pump = std::string_view(how) == "pump";
    EXPECT_EQ(testing::Value(outcome.lines, testing::Contains("platform::EventPump::Run(int)")), through_pump);
    EXPECT_THAT(outcome.lines, testing::Contains("main"));
  }
}

TEST(Failure, StackThatIsEmptyOrCannotBeRead) {
  EXPECT_THAT(Fail("empty").lines, testing::ElementsAre("stack trace begin", "", "done logging the stack", ""));
  const Outcome unreadable = Fail("unreadable");
  EXPECT_EQ(unreadable.status, 0);
  EXPECT_THAT(unreadable.lines,
              testing::ElementsAre("stack trace begin", "", "there was an error while logging the stack trace", "",
                                   "done logging the stack", ""));
}

}  // namespace
