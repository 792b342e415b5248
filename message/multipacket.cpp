// Multipackets: parsing, building and acknowledging them.

#include <algorithm>
#include <utility>

#include "message/missing_object.h"
#include "message/packet_layout.h"
#include "message/quorvane_command.h"

namespace {

std::string LengthBytes(std::size_t length) {
  return {static_cast<char>(length & 0xFF), static_cast<char>(length >> 8 & 0xFF)};
}

std::size_t ValueLength(std::string_view entry, bool little_endian) {
  const std::size_t first = static_cast<unsigned char>(entry[layout::kValueLength]);
  const std::size_t second = static_cast<unsigned char>(entry[layout::kValueLength + 1]);
  return little_endian ? first + 256 * second : 256 * first + second;
}

// Parses everything after the packet's header as entries. Truncates a value that extends past the packet's end; drops
// an incomplete entry header.
MultiDictionary ReadEntries(std::string_view packet, bool little_endian) {
  MultiDictionary entries;
  std::string_view rest = packet.substr(std::min(layout::kMultiHeaderSize, packet.size()));
  while (rest.size() >= layout::kEntryHeaderSize) {
    const std::string_view entry = rest.substr(0, layout::kEntryHeaderSize + ValueLength(rest, little_endian));
    entries.Set(entry.substr(0, MultiDictionary::kKeySize), entry.substr(layout::kEntryHeaderSize));
    rest.remove_prefix(entry.size());
  }
  return entries;
}

}  // namespace

bool cQuorvaneCommand::initFromMultiPacket(std::string packet_bytes) {
  isMultiPacket = true;
  RawCommonCommand = std::move(packet_bytes);
  const std::size_t size = RawCommonCommand.size();
  MultiFlags = size > layout::kMultiFlags ? static_cast<unsigned char>(RawCommonCommand[layout::kMultiFlags]) : 0;
  LittleEndian = (MultiFlags & layout::kFlagLittleEndian) != 0;
  MultiDict = ReadEntries(RawCommonCommand, LittleEndian);
  return true;
}

std::string cQuorvaneCommand::GetRawMultipacket() {
  if (!MultiDict) return BuildPlainPacket();
  // The length is filled in at the end.
  std::string packet{'J', 0, 0, static_cast<char>(layout::kFlagLittleEndian)};
  for (const MultiDictionary::Entry& entry : MultiDict->Entries()) {
    const std::string_view value = std::string_view(entry.value).substr(0, layout::kMaxMultiLength);
    packet.append(entry.key.data(), entry.key.size());
    packet += LengthBytes(value.size());
    packet += value;
  }
  packet.replace(layout::kMultiLength, 2, LengthBytes(packet.size()));
  return packet;
}

std::string cQuorvaneCommand::GetMulti(std::string_view key) const {
  const std::string* const value = RequireDictionary().Find(key);
  return value == nullptr ? std::string() : *value;
}

bool cQuorvaneCommand::hasKey(std::string_view key) const {
  return RequireDictionary().Find(key) != nullptr;
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
