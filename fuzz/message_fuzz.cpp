// Parses, describes and rebuilds a packet, as a multipacket if it begins with "J". No call may fail. The rebuilt packet
// must parse to the same entries, or to the same transaction number and house code.

#include <cstdint>

#include "fuzz/require.h"
#include "message/quorvane_command.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string packet(reinterpret_cast<const char*>(data), size);
  cQuorvaneCommand message;
  cQuorvaneCommand again;
  if (packet.starts_with('J')) {
    Require(message.initFromMultiPacket(packet));
    const std::string built = message.GetRawCommand();
    Require(built.size() <= 4 + size);
    Require(again.initFromMultiPacket(built) && again.LittleEndian && again.GetKeys() == message.GetKeys());
    for (const std::string& key : message.GetKeys()) {
      Require(message.hasKey(key) && again.GetMulti(key) == message.GetMulti(key));
    }
    Require(again.GetRawCommand() == built);
    Require(message.MakeAck().GetMulti("PkID") == message.GetMulti("PkID"));
    Require(message.DebugString().ends_with(")\r"));
    return 0;
  }
  const bool parsed = message.InitFromCommonMessage(packet);
  Require(message.DebugString().ends_with(")\r"));
  Require(!message.GetLogLine().empty() && !message.GetCommandCodeDescription().empty());
  Require(!message.GetErrorCodeDescription().empty());
  Require(message.GetHouseCode().size() == 1);
  Require(message.GetSendRawData().size() <= 255);
  message.SetFlag(packet);
  message.SetHouseCode(packet);
  const std::string built = message.GetRawCommand();
  Require(built.size() >= 16 && built == message.GetRawCommand());
  if (!parsed || message.Header == "L" || message.Header == "l" || message.Command.empty()) return 0;
  Require(again.InitFromCommonMessage(built));
  Require(again.TransactionID == message.TransactionID && again.Address1 == message.Address1);
  return 0;
}
