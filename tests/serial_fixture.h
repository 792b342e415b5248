// A serial port that records its events, on a pseudo-terminal.

#ifndef TESTS_SERIAL_FIXTURE_H_
#define TESTS_SERIAL_FIXTURE_H_

#include <gmock/gmock.h>
#include <termios.h>

#include <string>
#include <vector>

#include "peers/pseudo_terminal.h"
#include "platform/event_pump.h"
#include "platform/serial_port.h"

namespace platform {

class Line : public SerialPort {
 public:
  using SerialPort::DescriptorNumber;

  std::vector<std::string> events;

  Line() {
    SetDataBits(8);
    SetParity(ParityKind::kNone);
    SetSpeed(9600);
  }

 protected:
  void Event_DataAvailable() override { events.push_back("data " + ReadAll()); }
  void Event_Error() override {
    EXPECT_EQ(DescriptorNumber(), -1);
    events.push_back("error " + std::to_string(LastErrorCode()));
  }
};

class SerialPortTest : public testing::Test {
 protected:
  PseudoTerminal terminal;
  Line line;

  void SetUp() override { ASSERT_TRUE(line.Find(terminal.Path())); }
  termios Settings() {
    termios settings{};
    EXPECT_EQ(tcgetattr(terminal.Line().Number(), &settings), 0);
    return settings;
  }
};

}  // namespace platform

#endif  // TESTS_SERIAL_FIXTURE_H_
