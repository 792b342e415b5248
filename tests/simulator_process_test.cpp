// The simulator as a child process, with the real driver as its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "peers/child_process.h"
#include "peers/waiting.h"

namespace {

// Runs the simulator; returns its status and what it printed.
std::pair<int, std::string> Simulate(const std::vector<std::string>& options) {
  ChildProcess simulator(TORVY_SIMULATOR, options);
  EXPECT_TRUE(WaitFor([&simulator] { return simulator.Status() && simulator.Output().Ended; }));
  return {simulator.Status().value_or(-1), simulator.Output().Received};
}

TEST(Simulator, DemonstratesBothWaysToTheDevice) {
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--ip", "--verbose"}}) {
    const auto [status, output] = Simulate(options);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(output, testing::HasSubstr("driver -> device  0304S  unit 0304 stop\n"));
    EXPECT_THAT(output, testing::EndsWith("the driver ended with status 0\nall as it should be\n"));
  }
}

TEST(Simulator, TellsWhatIsNotAsItShouldBe) {
  const std::string script = testing::TempDir() + "torvy-script-" + std::to_string(getpid());
  const std::pair<const char*, int> scripts[] = {{"0102 ON\nexpect 0102D\n", 1},
                                                 {"0102 ON\nexpect 0102U\nraw 21\nwait 200\n", 1},
                                                 {"# only a comment\nfoo\n", 2},
                                                 {"0102 ON\r\n\nexpect 0102U\nquit\nexpect end\n", 0}};
  for (const auto& [text, status] : scripts) {
    std::ofstream(script) << text;
    EXPECT_EQ(Simulate({"--script", script}).first, status) << text;
  }
  remove(script.c_str());
  const std::vector<std::string> wrong[] = {{"--port"},     {"--device", "nowhere"},  {"--ip", "--port", "/dev/null"},
                                            {"unexpected"}, {"--script", "/no/file"}, {"--driver", "/no/such/driver"}};
  for (const auto& options : wrong) EXPECT_EQ(Simulate(options).first, 2) << options.front();
}

}  // namespace
