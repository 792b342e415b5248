// The worked examples of docs/protocol.md are the bytes that the code builds.

#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include "tests/kit.h"

namespace {

std::map<std::string, std::string> Examples() {
  std::ifstream page(TORVY_PROTOCOL_PAGE);
  EXPECT_TRUE(page.is_open());
  std::map<std::string, std::string> examples;
  std::string line;
  while (std::getline(page, line)) {
    if (!line.starts_with("```hex ")) continue;
    std::string& bytes = examples[line.substr(7)];
    while (std::getline(page, line) && line != "```") bytes += Bytes(line);
  }
  return examples;
}

TEST(ProtocolPage, ShowsWhatTheCodeBuilds) {
  cQuorvaneCommand on;
  on.SetCommand("2");
  on.SetHouseCode("A");
  on.SetUnitCode(1);
  cQuorvaneCommand device_command = DeviceCommand("0102", "ON", "17");
  ConnectedSocket socket(nullptr);  // waits for the handshake
  socket.Host.Link()->OnChange = nullptr;
  socket.SendLog("ready", 2);
  EXPECT_TRUE(WaitFor([&socket] { return socket.Host.Link()->Received.size() >= 8; }));

  const std::map<std::string, std::string> built{{"handshake", "TORVY:17\r"},
                                                 {"device-command", device_command.GetRawCommand()},
                                                 {"acknowledgement", device_command.MakeAck().GetRawCommand()},
                                                 {"unit-command", on.GetRawCommand()},
                                                 {"quit", ControllerCommand("Q").GetRawCommand()},
                                                 {"raw-data", RawDataCommand("\x01\x02\x03").GetRawCommand()},
                                                 {"log", socket.Host.Link()->Received},
                                                 {"device-bytes", "0102U"}};
  EXPECT_EQ(Examples(), built);
}

}  // namespace
