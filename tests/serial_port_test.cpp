#include "platform/serial_port.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>

#include "platform/ticks.h"
#include "simulator/pseudo_terminal.h"
#include "simulator/wait.h"
#include "tests/kit.h"

namespace platform {
namespace {

using testing::ElementsAre;

class Line : public SerialPort {
 public:
  std::vector<std::string> events;

 protected:
  void Event_DataAvailable() override { events.push_back("data " + ReadAll()); }
  void Event_Error() override { events.push_back("error " + std::to_string(LastErrorCode())); }
};

class SerialPortTest : public testing::Test {
 protected:
  PseudoTerminal terminal;
  Line line;

  void OpenLine() {
    ASSERT_TRUE(line.Find(terminal.Path()));
    ASSERT_TRUE(line.Open());
  }
};

TEST_F(SerialPortTest, FindsPathsNamesAndLinks) {
  const std::string link = testing::TempDir() + "torvy-link-" + std::to_string(getpid());
  std::filesystem::create_symlink(terminal.Path(), link);
  const std::string short_name = terminal.Path().substr(5);  // without /dev/; holds a slash, so it is a path
  const std::pair<std::string, bool> cases[] = {
      {terminal.Path(), true}, {link, true},    {"null", true}, {"/dev/null", true},    {"", false},
      {"no-such-port", false}, {"/dev", false}, {"pts", false}, {"/etc/passwd", false}, {short_name, false},
      {"NULL", false}};
  for (const auto& [name, found] : cases) EXPECT_EQ(line.Find(name), found) << name;
  ASSERT_TRUE(line.Find(link));
  EXPECT_TRUE(line.Open());
  std::filesystem::remove(link);
  ASSERT_TRUE(line.Find("null"));
  EXPECT_FALSE(line.Open());
  EXPECT_EQ(line.LastErrorCode(), ENOTTY);
}

TEST_F(SerialPortTest, OpensRawAt9600) {
  termios cooked{};
  ASSERT_EQ(tcgetattr(terminal.Line().Number(), &cooked), 0);
  cooked.c_cflag |= CSTOPB | CRTSCTS;
  cooked.c_iflag |= IXON | IXOFF | ICRNL;
  cfsetospeed(&cooked, B300);
  ASSERT_EQ(tcsetattr(terminal.Line().Number(), TCSANOW, &cooked), 0);
  OpenLine();
  termios settings{};
  ASSERT_EQ(tcgetattr(terminal.Line().Number(), &settings), 0);
  EXPECT_EQ(settings.c_cflag & static_cast<tcflag_t>(CSIZE | PARENB | CSTOPB | CRTSCTS | CREAD | CLOCAL),
            static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
  EXPECT_EQ(settings.c_iflag, 0U);
  EXPECT_EQ(settings.c_oflag, 0U);
  EXPECT_EQ(settings.c_lflag, 0U);
  EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
  EXPECT_EQ(cfgetispeed(&settings), static_cast<speed_t>(B9600));
  EXPECT_EQ(settings.c_cc[VMIN], 1);
  EXPECT_EQ(settings.c_cc[VTIME], 0);
}

TEST_F(SerialPortTest, RefusesSettingsThatTheLineCannotHave) {
  ASSERT_TRUE(line.Find(terminal.Path()));
  line.SetSpeed(9601);
  EXPECT_FALSE(line.Open());
  line.SetSpeed(9600);
  for (const std::int32_t bits : {4, 9, 7}) {  // a pseudo-terminal has 8 always
    line.SetDataBits(bits);
    EXPECT_FALSE(line.Open()) << bits;
    EXPECT_EQ(line.LastErrorCode(), EINVAL);
  }
}

TEST_F(SerialPortTest, IsForOneDriverAtATime) {
  OpenLine();
  Line second;
  ASSERT_TRUE(second.Find(terminal.Path()));
  EXPECT_FALSE(second.Open());
  line.Close();
  EXPECT_TRUE(second.Open());
  // A lock of its own reopening must not shut it out.
  EXPECT_TRUE(second.Open());
}

TEST_F(SerialPortTest, CarriesEveryByteBothWays) {
  OpenLine();
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  line.Write(all);
  line.WaitTransmitted();
  EXPECT_TRUE(WaitFor([&] { return terminal.Line().Received == all; }));
  terminal.Line().Send(all);
  EXPECT_TRUE(WaitFor([&] { return !line.events.empty(); }));
  EXPECT_EQ(line.events.front(), "data " + all);
}

TEST_F(SerialPortTest, FlushDiscardsInputAlone) {
  OpenLine();
  line.Write("0102U");
  terminal.Line().Send("noise");
  EventPump::Instance().RunOnly(terminal.Line());
  ASSERT_TRUE(InputWaitsAt(terminal.Path()));
  EXPECT_EQ(line.Flush(), 5U);
  EXPECT_EQ(line.Flush(), 0U);
  EXPECT_TRUE(WaitFor([&] { return terminal.Line().Received == "0102U"; }));
  EXPECT_TRUE(line.events.empty());
}

TEST_F(SerialPortTest, HangUpIsOneErrorAndNoSpin) {
  OpenLine();
  terminal.HangUp();
  ASSERT_TRUE(WaitFor([&] { return !line.events.empty(); }));
  timespec before{};
  timespec after{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &before);
  EventPump::Instance().Run(300);
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &after);
  EXPECT_LT((after.tv_sec - before.tv_sec) * 1000 + (after.tv_nsec - before.tv_nsec) / 1'000'000, 100);
  line.Write("dropped");
  line.WaitTransmitted();
  line.Poll();
  EXPECT_EQ(line.events.size(), 1U);
}

TEST_F(SerialPortTest, WriteToAHungUpLineIsOneError) {
  OpenLine();
  terminal.HangUp();
  line.Write("lost");
  EXPECT_TRUE(line.events.empty());
  line.Poll();
  EventPump::Instance().Run(20);
  EXPECT_THAT(line.events, ElementsAre("error " + std::to_string(EIO)));
}

TEST_F(SerialPortTest, LineThatTakesNothingIsFailed) {
  OpenLine();
  const auto start = MonotonicNow();
  line.Write(std::string(1 << 20, 'x'));
  EXPECT_GE(MonotonicNow() - start, SerialPort::kPatience);
  EXPECT_LT(MonotonicNow() - start, std::chrono::seconds(30));
  line.Write("dropped at once");
  line.Poll();
  EXPECT_THAT(line.events, ElementsAre("error " + std::to_string(ETIMEDOUT)));
}

}  // namespace
}  // namespace platform
