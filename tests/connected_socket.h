// A host socket that is connected to a simulated host.

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/host_socket.h"
#include "peers/simulated_host.h"
#include "peers/wait_for.h"

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
    EXPECT_TRUE(WaitFor(
        [&] { return data_events_ > events_before && Host.Link()->OutputQueued() == 0 && InputWaiting() == 0; }));
  }

  // Returns the log lines that the host has received since the last call.
  std::vector<std::string> Logged() {
    SendLog("end of the lines", 0);
    EXPECT_TRUE(WaitFor([this] { return Host.HasLogged("end of the lines"); }));
    std::vector<std::string> lines = Host.Entries();
    lines.pop_back();
    Host.ClearLog();
    return lines;
  }

 protected:
  void Event_DataAvailable() override {
    ++data_events_;
    cQuorvaneDeviceSocket::Event_DataAvailable();
  }

 private:
  int data_events_ = 0;
};
