// Multipackets: the dictionary form of a message, and the acknowledgement of one.

#include <algorithm>
#include <limits>
#include <utility>

#include "message/missing_object.h"
#include "message/quorvane_command.h"

namespace {

constexpr std::size_t kFlagOffset = 3;
constexpr std::size_t kEntriesOffset = 4;
constexpr std::size_t kKeySize = MultiDictionary::kKeySize;
constexpr std::size_t kEntryHeadSize = kKeySize + 2;
constexpr std::int32_t kLittleEndianFlag = 0x80;
constexpr std::size_t kLargestLength = std::numeric_limits<std::uint16_t>::max();

std::size_t ReadLength(std::string_view bytes, bool little_endian) {
  const std::size_t first = static_cast<unsigned char>(bytes[0]);
  const std::size_t second = static_cast<unsigned char>(bytes[1]);
  return little_endian ? first + 256 * second : 256 * first + second;
}

std::string LengthBytes(std::size_t length) {
  return {static_cast<char>(length & 0xFF), static_cast<char>(length >> 8 & 0xFF)};
}

}  // namespace

bool cQuorvaneCommand::initFromMultiPacket(std::string packet_bytes) {
  isMultiPacket = true;
  RawCommonCommand = std::move(packet_bytes);
  std::string_view rest = RawCommonCommand;
  MultiFlags = rest.size() > kFlagOffset ? static_cast<unsigned char>(rest[kFlagOffset]) : 0;
  LittleEndian = (MultiFlags & kLittleEndianFlag) != 0;
  MultiDict.emplace();
  rest.remove_prefix(std::min(kEntriesOffset, rest.size()));
  while (rest.size() >= kEntryHeadSize) {
    const std::string_view key = rest.substr(0, kKeySize);
    const std::size_t length = ReadLength(rest.substr(kKeySize), LittleEndian);
    rest.remove_prefix(kEntryHeadSize);
    const std::string_view value = rest.substr(0, length);
    rest.remove_prefix(value.size());
    MultiDict->Set(key, value);
  }
  return true;
}

std::string cQuorvaneCommand::GetRawMultipacket() {
  if (!MultiDict) return BuildPlainPacket();
  constexpr std::string_view kHead("J\0\0\x80", kEntriesOffset);
  std::string packet(kHead);
  for (const MultiDictionary::Entry& entry : MultiDict->Entries()) {
    const std::string_view value = std::string_view(entry.value).substr(0, kLargestLength);
    packet.append(entry.key.data(), entry.key.size());
    packet += LengthBytes(value.size());
    packet += value;
  }
  packet.replace(1, 2, LengthBytes(packet.size()));
  return packet;
}

std::string cQuorvaneCommand::GetMulti(std::string_view key) const {
  const std::string* value = RequireDictionary().Find(key);
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
  ack.isMultiPacket = true;
  ack.SetMulti("mcmd", "ACK");
  ack.SetMulti("PkID", GetMulti("PkID"));
  return ack;
}

const MultiDictionary& cQuorvaneCommand::RequireDictionary() const {
  if (!MultiDict) throw MissingObject("the message has no dictionary");
  return *MultiDict;
}
