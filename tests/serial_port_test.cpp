#include "platform/serial_port.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "peers/waiting.h"
#include "ports/serial_port_abstractor.h"
#include "tests/serial_fixture.h"
#include "tests/system_calls.h"

namespace platform {
namespace {

using testing::ElementsAre;

TEST_F(SerialPortTest, FindsPathsNamesAndLinks) {
  const std::string link = testing::TempDir() + "torvy-link-" + std::to_string(getpid());
  std::filesystem::create_symlink(terminal.Path(), link);
  const std::vector<std::string> found{link, "null", "/dev/null"};
  const std::vector<std::string> not_found{"no-such-port",           "", "/dev", "pts", "NULL", "/etc/passwd",
                                           terminal.Path().substr(5)};  // a slash makes it a path
  for (const std::string& name : found) EXPECT_TRUE(line.Find(name)) << name;
  for (const std::string& name : not_found) EXPECT_FALSE(line.Find(name)) << name;
  ASSERT_TRUE(line.Find(link));
  EXPECT_TRUE(line.Open());
  std::filesystem::remove(link);
  ASSERT_TRUE(line.Find("null"));
  EXPECT_FALSE(line.Open());
  EXPECT_EQ(line.LastErrorCode(), ENOTTY);
}

TEST_F(SerialPortTest, IsOpenedRawAt9600ByTheDriver) {
  termios settings = Settings();
  settings.c_cflag |= CSTOPB | CRTSCTS;
  settings.c_iflag |= IXON | IXOFF | ICRNL;
  settings.c_cc[VMIN] = 7;
  settings.c_cc[VTIME] = 7;
  cfsetispeed(&settings, B300);
  cfsetospeed(&settings, B300);
  ASSERT_EQ(tcsetattr(terminal.Line().Number(), TCSANOW, &settings), 0);
  termios asked{};
  Calls().hooks[kTcsetattr] = [&asked](long, unsigned long, void* made) {
    asked = *static_cast<const termios*>(made);
    return std::nullopt;
  };
  const cSerialPortAbstractor port(terminal.Path());
  Calls() = {};
  settings = Settings();
  constexpr tcflag_t kAsked = CSIZE | PARENB | CSTOPB | CRTSCTS | CREAD | CLOCAL;
  EXPECT_EQ(settings.c_cflag & kAsked, static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
  EXPECT_EQ(settings.c_iflag | settings.c_oflag | settings.c_lflag, 0U);
  EXPECT_EQ(settings.c_cc[VMIN], 1);
  EXPECT_EQ(settings.c_cc[VTIME], 0);
  EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
  EXPECT_EQ(cfgetispeed(&asked), static_cast<speed_t>(B9600));  // Linux takes it from the output speed
}

TEST_F(SerialPortTest,
       OpensWithStandardSettingsThatTheLineCanHave) {  // a pseudo-terminal has 8 bits and no parity always
  using enum SerialPort::ParityKind;
  const struct {
    std::int32_t bits_per_second;
    speed_t code;
    std::int32_t data_bits = 8;
    SerialPort::ParityKind parity = kNone;
    bool opens = true;
  } cases[] = {{300, B300},
               {600, B600},
               {1200, B1200},
               {2400, B2400},
               {4800, B4800},
               {19200, B19200},
               {38400, B38400},
               {57600, B57600},
               {115200, B115200},
               {9600, B9600},
               {9601, B9600, 8, kNone, false},
               {9600, B9600, 4, kNone, false},
               {9600, B9600, 9, kNone, false},
               {9600, B9600, 7, kNone, false},
               {9600, B9600, 8, kOdd, false},
               {9600, B9600, 8, kEven, false}};
  for (const auto& c : cases) {
    line.SetSpeed(c.bits_per_second);
    line.SetDataBits(c.data_bits);
    line.SetParity(c.parity);
    EXPECT_EQ(line.Open(), c.opens) << c.bits_per_second << " " << c.data_bits;
    const termios settings = Settings();
    EXPECT_EQ(cfgetospeed(&settings), c.code);
    EXPECT_EQ((settings.c_cflag & PARODD) != 0, c.parity == kOdd);
    EXPECT_TRUE(c.opens || line.LastErrorCode() == EINVAL);
  }
}

TEST_F(SerialPortTest, RefusesALineThatDoesNotTakeTheSpeed) {
  Calls().hooks[kTcgetattr] = [](long, unsigned long, void* settings) {
    cfsetspeed(static_cast<termios*>(settings), B300);
    return std::optional(0L);
  };
  EXPECT_FALSE(line.Open());
  EXPECT_EQ(line.LastErrorCode(), EINVAL);
  Calls() = {};
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
    const int number = hung_up.DescriptorNumber();
    pulled_out.HangUp();
    if (found_by_writing) hung_up.Write("lost");
    EXPECT_TRUE(hung_up.events.empty());
    const clock_t used_before = clock();
    EventPump::Instance().Run(300);
    EXPECT_LT(clock() - used_before, CLOCKS_PER_SEC / 10);
    EXPECT_EQ(fcntl(number, F_GETFD), -1);  // an adapter that is gone can be plugged in again under the same name
    hung_up.Write("dropped");
    hung_up.WaitTransmitted();
    hung_up.Poll();
    EXPECT_THAT(hung_up.events, ElementsAre("error " + std::to_string(found_by_writing ? EIO : ECONNRESET)));
  }
}

}  // namespace
}  // namespace platform
