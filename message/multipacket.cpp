// Multipackets: parsing, building and acknowledging them.

#include <limits>
#include <utility>

#include "message/missing_object.h"
#include "message/packet_layout.h"
#include "message/quorvane_command.h"

namespace {

constexpr std::size_t kLargestLength = std::numeric_limits<std::uint16_t>::max();

std::string LengthBytes(std::size_t length) {
  return {static_cast<char>(length & 0xFF), static_cast<char>(length >> 8 & 0xFF)};
}

}  // namespace

bool cQuorvaneCommand::initFromMultiPacket(std::string packet_bytes) {
  isMultiPacket = true;
  RawCommonCommand = std::move(packet_bytes);
  const std::size_t size = RawCommonCommand.size();
  MultiFlags = size > layout::kMultiFlags ? static_cast<unsigned char>(RawCommonCommand[layout::kMultiFlags]) : 0;
  LittleEndian = (MultiFlags & layout::kFlagLittleEndian) != 0;
  using Lengths = MultiDictionary::Lengths;
  MultiDict.emplace(RawCommonCommand, LittleEndian ? Lengths::kLeastSignificantFirst : Lengths::kMostSignificantFirst);
  return true;
}

std::string cQuorvaneCommand::GetRawMultipacket() {
  if (!MultiDict) return BuildPlainPacket();
  std::string packet("J\0\0\x80", layout::kMultiHeaderSize);
  for (const MultiDictionary::Entry& entry : MultiDict->Entries()) {
    const std::string_view value = entry.value.substr(0, kLargestLength);
    packet.append(entry.key.data(), entry.key.size());
    packet += LengthBytes(value.size());
    packet += value;
  }
  packet.replace(layout::kMultiLength, 2, LengthBytes(packet.size()));
  return packet;
}

std::string cQuorvaneCommand::GetMulti(std::string_view key) const {
  return std::string(RequireDictionary().Find(key).value_or(std::string_view()));
}

bool cQuorvaneCommand::hasKey(std::string_view key) const {
  return RequireDictionary().Find(key).has_value();
}

void cQuorvaneCommand::SetMulti(std::string_view key, std::string_view value) {
  isMultiPacket = true;
  if (!MultiDict) MultiDict.emplace();
  MultiDict->Set(key, value);
}

std::vector<std::string> cQuorvaneCommand::GetKeys() const {
  std::vector<std::string> keys;
  for (const MultiDictionary::Entry& entry : RequireDictionary().Entries()) {
    keys.emplace_back(entry.key.data(), entry.key.size());
  }
  return keys;
}

cQuorvaneCommand cQuorvaneCommand::MakeAck() const {
  cQuorvaneCommand ack;
  ack.SetMulti("mcmd", "ACK");
  ack.SetMulti("PkID", GetMulti("PkID"));
  return ack;
}

const MultiDictionary& cQuorvaneCommand::RequireDictionary() const {
  if (!MultiDict) throw MissingObject("the message has no dictionary");
  return *MultiDict;
}
