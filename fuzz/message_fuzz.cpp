// Parses, describes and rebuilds a packet, as a multipacket if it begins with "J". No call may fail. The rebuilt packet
// must parse to the same entries, or to the same transaction number and house code.

#include <cstdint>

#include "fuzz/require.h"
#include "message/quorvane_command.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string packet(reinterpret_cast<const char*>(data), size);
  const bool multi = packet.starts_with('J');
  cQuorvaneCommand message;
  const bool parsed = multi ? message.initFromMultiPacket(packet) : message.InitFromCommonMessage(packet);
  Require(message.DebugString().ends_with(")\r"));
  Require(!message.GetLogLine().empty() && !message.GetErrorCodeDescription().empty());
  Require(message.GetHouseCode().size() == 1 && message.GetSendRawData().size() <= 255);
  message.SetFlag(packet);
  message.SetHouseCode(packet);
  const std::string built = message.GetRawCommand();
  Require(built == message.GetRawCommand());
  cQuorvaneCommand again;
  if (multi) {
    Require(built.size() <= 4 + size && again.initFromMultiPacket(built) && again.GetKeys() == message.GetKeys());
    for (const std::string& key : again.GetKeys()) Require(again.GetMulti(key) == message.GetMulti(key));
    Require(message.MakeAck().GetMulti("PkID") == message.GetMulti("PkID"));
  } else if (parsed && message.Header != "L" && message.Header != "l" && !message.Command.empty()) {
    Require(again.InitFromCommonMessage(built));
    Require(again.TransactionID == message.TransactionID && again.Address1 == message.Address1);
  }
  return 0;
}
