// A multipacket is parsed, built and parsed again: the entries are the same both times.

#include <cstdint>

#include "fuzz/require.h"
#include "message/quorvane_command.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  cQuorvaneCommand message;
  Require(message.initFromMultiPacket(std::string(reinterpret_cast<const char*>(data), size)));
  const std::string built = message.GetRawCommand();
  Require(built.size() <= 4 + size);

  cQuorvaneCommand again;
  Require(again.initFromMultiPacket(built));
  Require(again.LittleEndian && again.GetKeys() == message.GetKeys());
  for (const std::string& key : message.GetKeys()) {
    Require(message.hasKey(key) && again.GetMulti(key) == message.GetMulti(key));
  }
  Require(again.GetRawCommand() == built);
  Require(message.MakeAck().GetMulti("PkID") == message.GetMulti("PkID"));
  Require(!message.DebugString().empty());
  return 0;
}
