// Shared by several tests: bytes from hexadecimal, access to a message's protected fields, a connected host socket.
// Includes GoogleMock and the headers of messages and of both ends of the host link.

#ifndef TESTS_HOST_FIXTURE_H_
#define TESTS_HOST_FIXTURE_H_

#include <gmock/gmock.h>

#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "host/host_socket.h"
#include "message/quorvane_command.h"
#include "peers/simulated_host.h"
#include "peers/wait_for.h"
#include "platform/text.h"

// The driver's log lines when it is ready and when it is asked to quit.
inline const std::string kReady = "2 Torvy Serial Remote Control interface version 1 (build 001) ready.";
inline const std::string kQuit = "2 The torvy plx has been asked to quit. (1)";

// Returns the bytes given as hexadecimal pairs separated by blanks.
inline std::string Bytes(std::string_view hexadecimal) {
  std::string bytes;
  for (std::size_t i = 0; i < hexadecimal.size(); i += 3) {
    bytes += static_cast<char>(platform::ReadHexadecimal(hexadecimal.substr(i, 2)));
  }
  return bytes;
}

// Returns the contents of a file.
inline std::string Contents(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// A message whose protected fields are accessible.
class Probe : public cQuorvaneCommand {
 public:
  using cQuorvaneCommand::Code;
  using cQuorvaneCommand::fAddressOnly;
  using cQuorvaneCommand::fCommandOnly;
  using cQuorvaneCommand::Flags;
  using cQuorvaneCommand::fPassThrough;
  using cQuorvaneCommand::PacketLength;
  using cQuorvaneCommand::RawCommonCommand;
  using cQuorvaneCommand::UnitClass;
  using cQuorvaneCommand::Version;
};

// A host socket connected to a simulated host.
class ConnectedSocket : public cQuorvaneDeviceSocket {
 public:
  using cQuorvaneDeviceSocket::DescriptorNumber;

  SimulatedHost Host;

  explicit ConnectedSocket(MessageHandler handler) : cQuorvaneDeviceSocket(std::move(handler)) {
    Address = "127.0.0.1";
    Port = Host.Port();
    ConnectionID = "17";
    Connect();
    EXPECT_TRUE(WaitFor([this] { return IsConnected() && Host.ConnectionID() == "17"; }));
  }

  // Sends bytes from the host and waits until data events have delivered all of them.
  void Deliver(std::string_view bytes) {
    const int events_before = data_events_;
    Host.Link()->Send(bytes);
    EXPECT_TRUE(
        WaitFor([&] { return data_events_ > events_before && Host.Link()->Unsent() == 0 && InputWaiting() == 0; }));
  }

  // Returns the log lines that the host has received since the last call.
  std::vector<std::string> Logged() {
    const std::size_t before = lines_seen_;
    SendLog("end of the lines", 0);
    EXPECT_TRUE(WaitFor([&] { return Host.Log().size() > before && Host.Log().back().text == "end of the lines"; }));
    std::vector<std::string> lines = Host.Lines();
    lines_seen_ = lines.size();
    return {lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end() - 1};
  }

 protected:
  void Event_DataAvailable() override {
    ++data_events_;
    cQuorvaneDeviceSocket::Event_DataAvailable();
  }

 private:
  int data_events_ = 0;
  std::size_t lines_seen_ = 0;
};

#endif  // TESTS_HOST_FIXTURE_H_
