#include "platform/serial_port.h"

#include <fcntl.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>

#include "peers/waiting.h"
#include "platform/ticks.h"
#include "tests/serial_kit.h"

namespace platform {
namespace {

using testing::ElementsAre;

TEST_F(SerialPortTest, FindsPathsNamesAndLinks) {
  const std::string link = testing::TempDir() + "torvy-link-" + std::to_string(getpid());
  std::filesystem::create_symlink(terminal.Path(), link);
  const std::pair<std::string, bool> cases[] = {{link, true},
                                                {"null", true},
                                                {"/dev/null", true},
                                                {"no-such-port", false},
                                                {"", false},
                                                {"/dev", false},
                                                {"pts", false},
                                                {"NULL", false},
                                                {"/etc/passwd", false},
                                                {terminal.Path().substr(5), false}};  // a slash makes it a path
  for (const auto& [name, found] : cases) EXPECT_EQ(line.Find(name), found) << name;
  ASSERT_TRUE(line.Find(link));
  EXPECT_TRUE(line.Open());
  std::filesystem::remove(link);
  ASSERT_TRUE(line.Find("null"));
  EXPECT_FALSE(line.Open());
  EXPECT_EQ(line.LastErrorCode(), ENOTTY);
}

TEST_F(SerialPortTest, OpensRawAt9600) {
  termios settings{};
  ASSERT_EQ(tcgetattr(terminal.Line().Number(), &settings), 0);
  settings.c_cflag |= CSTOPB | CRTSCTS;
  settings.c_iflag |= IXON | IXOFF | ICRNL;
  cfsetospeed(&settings, B300);
  ASSERT_EQ(tcsetattr(terminal.Line().Number(), TCSANOW, &settings), 0);
  ASSERT_TRUE(line.Open());
  ASSERT_EQ(tcgetattr(terminal.Line().Number(), &settings), 0);
  constexpr tcflag_t kAsked = CSIZE | PARENB | CSTOPB | CRTSCTS | CREAD | CLOCAL;
  EXPECT_EQ(settings.c_cflag & kAsked, static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
  EXPECT_EQ(settings.c_iflag | settings.c_oflag | settings.c_lflag, 0U);
  EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
  EXPECT_EQ(cfgetispeed(&settings), static_cast<speed_t>(B9600));
  EXPECT_EQ(settings.c_cc[VMIN], 1);
  EXPECT_EQ(settings.c_cc[VTIME], 0);
  EXPECT_EQ(fcntl(line.DescriptorNumber(), F_GETFD), FD_CLOEXEC);
}

TEST_F(SerialPortTest, RefusesSettingsThatTheLineCannotHave) {
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
  ASSERT_TRUE(line.Open());
  Line second;
  ASSERT_TRUE(second.Find(terminal.Path()));
  EXPECT_FALSE(second.Open());
  line.Close();
  EXPECT_TRUE(second.Open());
  EXPECT_TRUE(second.Open());  // its own lock does not shut it out
}

TEST_F(SerialPortTest, CarriesEveryByteBothWays) {
  ASSERT_TRUE(line.Open());
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  line.Write(all);
  line.WaitTransmitted();
  EXPECT_TRUE(WaitFor([&] { return terminal.Line().Received == all; }));
  terminal.Line().Send(all);
  EXPECT_TRUE(WaitFor([&] { return !line.events.empty(); }));
  EXPECT_THAT(line.events, ElementsAre("data " + all));
}

TEST_F(SerialPortTest, FlushDiscardsInputAndLeavesTheOtherSideItsOutput) {
  ASSERT_TRUE(line.Open());
  line.Write("0102U");
  terminal.Line().Send("noise");
  EventPump::Instance().RunOnly(terminal.Line());
  ASSERT_TRUE(terminal.WaitForInput());
  EXPECT_EQ(line.Flush(), 5U);
  EXPECT_EQ(line.Flush(), 0U);
  EXPECT_TRUE(WaitFor([&] { return terminal.Line().Received == "0102U"; }));
  EXPECT_TRUE(line.events.empty());
}

TEST_F(SerialPortTest, HangUpIsOneErrorAndNoSpin) {
  for (const bool found_by_writing : {true, false}) {
    PseudoTerminal pulled_out;
    Line hung_up;
    ASSERT_TRUE(hung_up.Find(pulled_out.Path()) && hung_up.Open());
    pulled_out.HangUp();
    if (found_by_writing) hung_up.Write("lost");
    EXPECT_TRUE(hung_up.events.empty());
    const clock_t used_before = clock();
    EventPump::Instance().Run(300);
    EXPECT_LT(clock() - used_before, CLOCKS_PER_SEC / 10);
    hung_up.Write("dropped");
    hung_up.WaitTransmitted();
    hung_up.Poll();
    EXPECT_THAT(hung_up.events, ElementsAre("error " + std::to_string(found_by_writing ? EIO : ECONNRESET)));
  }
}

TEST_F(SerialPortTest, IsClosedAtOnceWhenItsAdapterIsGone) {
  ASSERT_TRUE(line.Open());
  const int number = line.DescriptorNumber();
  terminal.HangUp();
  EXPECT_TRUE(WaitFor([this] { return !line.events.empty(); }));
  EXPECT_EQ(fcntl(number, F_GETFD), -1);
}

}  // namespace
}  // namespace platform
