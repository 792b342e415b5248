// The examples and names in docs/protocol.md are those of the code.

#include <fstream>
#include <map>
#include <regex>

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

TEST(ProtocolPage, NamesCodesAsTheLogDoes) {
  const std::regex row(R"(\| (pan and tilt|controller|unit|error) \| (.) \| (.*) \|)");
  std::ifstream page(TORVY_PROTOCOL_PAGE);
  int rows = 0;
  for (std::string line; std::getline(page, line);) {
    std::smatch cells;
    if (!std::regex_match(line, cells, row)) continue;
    Probe message;
    message.Header = cells[1] == "pan and tilt" ? "N" : "X";
    message.fCCM = cells[1] == "controller";
    message.Command = message.Code = cells[2];
    EXPECT_EQ(cells[1] == "error" ? message.GetErrorCodeDescription() : message.GetCommandCodeDescription(), cells[3]);
    ++rows;
  }
  EXPECT_EQ(rows, 59);
}

}  // namespace
