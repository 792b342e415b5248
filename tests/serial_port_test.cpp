#include "platform/serial_port.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>

#include "ports/serial_port_abstractor.h"
#include "tests/stream_fixtures.h"

namespace platform {
namespace {

termios SettingsOf(PseudoTerminal& terminal) {
  termios settings{};
  EXPECT_EQ(tcgetattr(terminal.Line().Number(), &settings), 0);
  return settings;
}

TEST_F(SerialPortTest, FindsPathsNamesAndLinks) {
  const std::string link = testing::TempDir() + "torvy-link-" + std::to_string(getpid());
  std::filesystem::create_symlink(terminal.Path(), link);
  const std::vector<std::string> found{link, "null", "/dev/null"};
  const std::vector<std::string> not_found{"no-such-port",           "", "/dev", "pts", "NULL", "/etc/passwd",
                                           terminal.Path().substr(5)};  // a name with a slash is a path
  for (const std::string& name : found) EXPECT_TRUE(line.Find(name)) << name;
  for (const std::string& name : not_found) EXPECT_FALSE(line.Find(name)) << name;
  ASSERT_TRUE(line.Find(link));
  EXPECT_TRUE(line.Open());
  std::filesystem::remove(link);
  ASSERT_TRUE(line.Find("null"));
  EXPECT_FALSE(line.Open());
  EXPECT_EQ(line.LastErrorCode(), ENOTTY);
}

TEST_F(SerialPortTest, DriverOpensRawAt9600With8DataBitsAnd1StopBit) {
  termios settings = SettingsOf(terminal);
  settings.c_cflag |= CSTOPB | CRTSCTS;
  settings.c_iflag |= IXON | IXOFF | ICRNL;
  settings.c_cc[VMIN] = settings.c_cc[VTIME] = 7;
  cfsetspeed(&settings, B300);
  ASSERT_EQ(tcsetattr(terminal.Line().Number(), TCSANOW, &settings), 0);
  const cSerialPortAbstractor port(terminal.Path());
  settings = SettingsOf(terminal);
  constexpr tcflag_t kAsked = CSIZE | PARENB | CSTOPB | CRTSCTS | CREAD | CLOCAL;
  EXPECT_EQ(settings.c_cflag & kAsked, static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
  EXPECT_EQ(settings.c_iflag | settings.c_oflag | settings.c_lflag, 0U);
  EXPECT_EQ(settings.c_cc[VMIN], 1);
  EXPECT_EQ(settings.c_cc[VTIME], 0);
  EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
}

TEST_F(SerialPortTest, SetsStandardSpeedsAndRejectsUnsupportedSettings) {
  const std::pair<std::int32_t, speed_t> speeds[] = {
      {300, B300},     {600, B600},     {1200, B1200},   {2400, B2400},     {4800, B4800},
      {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}, {9600, B9600}};
  for (const auto& [bits_per_second, code] : speeds) {
    line.SetSpeed(bits_per_second);
    EXPECT_TRUE(line.Open());
    const termios settings = SettingsOf(terminal);
    EXPECT_EQ(cfgetospeed(&settings), code);
  }
  // A pseudo-terminal always has 8 data bits and no parity.
  using enum SerialPort::ParityKind;
  const struct {
    std::int32_t bits_per_second, data_bits;
    SerialPort::ParityKind parity;
  } refused[] = {{9601, 8, kNone}, {9600, 4, kNone}, {9600, 9, kNone},
                 {9600, 7, kNone}, {9600, 8, kOdd},  {9600, 8, kEven}};
  for (const auto& c : refused) {
    line.SetSpeed(c.bits_per_second);
    line.SetDataBits(c.data_bits);
    line.SetParity(c.parity);
    EXPECT_FALSE(line.Open()) << c.bits_per_second << " " << c.data_bits;
    EXPECT_EQ(line.LastErrorCode(), EINVAL);
    EXPECT_EQ((SettingsOf(terminal).c_cflag & PARODD) != 0, c.parity == kOdd);
  }
}

TEST_F(SerialPortTest, RejectsLineThatDoesNotApplySpeed) {
  Calls().hooks[kTcgetattr] = [](long, unsigned long, void* settings) {
    auto& applied = *static_cast<termios*>(settings);
    applied.c_cflag = CS8;
    cfsetspeed(&applied, B300);
    return 0L;
  };
  EXPECT_FALSE(line.Open());
  EXPECT_EQ(line.LastErrorCode(), EINVAL);
}

TEST_F(SerialPortTest, LocksLineForOneDriver) {
  ASSERT_TRUE(line.Open());
  Line second(terminal);
  EXPECT_FALSE(second.Open());
  line.Close();
  EXPECT_TRUE(second.Open());
  EXPECT_TRUE(second.Open());  // its own lock does not block it
}

TEST_F(SerialPortTest, HangUpRaisesOneErrorAndDoesNotSpin) {
  for (const bool found_by_writing : {true, false}) {
    PseudoTerminal pulled_out;
    Line hung_up(pulled_out);
    ASSERT_TRUE(hung_up.Open());
    const int number = hung_up.DescriptorNumber();
    pulled_out.HangUp();
    if (found_by_writing) hung_up.Write("lost");
    EXPECT_TRUE(hung_up.events.empty());
    Calls() = {};
    EventPump::Instance().Run(std::chrono::milliseconds(20));
    EXPECT_LT(Calls().counts[kPoll], 5);
    EXPECT_EQ(fcntl(number, F_GETFD), -1);  // closed, so that a new adapter can get the same name
    hung_up.Write("dropped");
    hung_up.WaitTransmitted();
    hung_up.Poll();
    EXPECT_THAT(hung_up.events, testing::ElementsAre(Error(found_by_writing ? EIO : ECONNRESET)));
  }
}

}  // namespace
}  // namespace platform
