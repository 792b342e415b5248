// What the tests of the serial port use: a port that records its events, and a pseudo-terminal for it; with them
// GoogleMock.

#ifndef TESTS_SERIAL_KIT_H_
#define TESTS_SERIAL_KIT_H_

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "peers/pseudo_terminal.h"
#include "platform/serial_port.h"

namespace platform {

class Line : public SerialPort {
 public:
  using SerialPort::DescriptorNumber;

  std::vector<std::string> events;

 protected:
  void Event_DataAvailable() override { events.push_back("data " + ReadAll()); }
  void Event_Error() override { events.push_back("error " + std::to_string(LastErrorCode())); }
};

class SerialPortTest : public testing::Test {
 protected:
  PseudoTerminal terminal;
  Line line;

  void SetUp() override { ASSERT_TRUE(line.Find(terminal.Path())); }
};

}  // namespace platform

#endif  // TESTS_SERIAL_KIT_H_
