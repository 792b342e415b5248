// Plain, log and error packets.

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <utility>

#include "message/packet_layout.h"
#include "message/quorvane_command.h"
#include "platform/text.h"

namespace {

using platform::EqualIgnoringCase;

static_assert(std::numeric_limits<double>::is_iec559 && sizeof(double) == 8);

constexpr std::size_t kRawAnalogDigits = 4;
constexpr std::int32_t kMaxLogLevel = 4;
constexpr std::size_t kMaxLogText = 249;  // the host accepts at most 250 bytes, including the level

constexpr std::size_t kMinBody = 13;
constexpr std::size_t kPacketOverhead = 3;  // header, length byte and carriage return
constexpr std::int32_t kDefaultTransaction = 64;
constexpr std::int32_t kLevelReadAsZero = 'L';  // as in the host's other drivers

struct LowBatteryForm {
  std::string_view received;
  std::string_view base;
};
constexpr auto kLowBatteryForms = std::to_array<LowBatteryForm>(
    {{"\x05", "\x04"}, {"\x55", "\x54"}, {"\x01", std::string_view("\0", 1)}, {"\x51", "\x50"}});

// Returns the byte at an offset as a string, or an empty string past the packet's end.
std::string TextAt(std::string_view packet, std::size_t offset) {
  return offset < packet.size() ? std::string(1, packet[offset]) : std::string();
}

// Returns the value of the byte at an offset, or 0 past the packet's end.
std::int32_t ValueAt(std::string_view packet, std::size_t offset) {
  return offset < packet.size() ? static_cast<unsigned char>(packet[offset]) : 0;
}

char LowByte(std::int32_t number) {
  return static_cast<char>(number & 0xFF);
}

void SetDefault(std::string& field, std::string_view value) {
  if (field.empty()) field = std::string(value);
}

std::string LittleEndianBytes(double number) {
  auto bits = std::bit_cast<std::uint64_t>(number);
  std::string bytes(sizeof bits, '\0');
  for (char& byte : bytes) {
    byte = static_cast<char>(bits & 0xFF);
    bits >>= 8;
  }
  return bytes;
}

}  // namespace

cQuorvaneCommand::cQuorvaneCommand() : TimeStamp(platform::DateTime::clock::now()) {}

bool cQuorvaneCommand::InitFromCommonMessage(std::string packet_bytes) {
  RawCommonCommand = std::move(packet_bytes);
  const std::string_view packet = RawCommonCommand;
  Header = TextAt(packet, 0);
  const char kind = Header.empty() ? '\0' : platform::ToLower(Header[0]);
  if (kind == 'e') {
    Code = TextAt(packet, layout::kCode);
    return false;
  }
  if (layout::kParsedKinds.find(kind) == std::string_view::npos) return false;

  PacketLength = ValueAt(packet, layout::kLength);
  if (kind == 'l') {
    LogData = ValueAt(packet, layout::kLogLevel);
    const bool has_level = LogData <= kMaxLogLevel;
    if (!has_level) LogData = kMaxLogLevel;
    const std::size_t text_offset = has_level ? layout::kLogHeaderSize : layout::kLogLevel;
    LogMessage = packet.substr(std::min(text_offset, packet.size()));
    return true;
  }

  Version = TextAt(packet, layout::kVersion);
  TransactionID = ValueAt(packet, layout::kTransaction);
  InterfaceType = TextAt(packet, layout::kInterfaceType);
  UnitClass = TextAt(packet, layout::kUnitClass);
  Flags = ValueAt(packet, layout::kFlags);
  ParseFlags();
  Code = TextAt(packet, layout::kCode);
  Command = TextAt(packet, layout::kCommand);
  // The controller command "Q" is the host's quit, not the low-battery form of a sensor reading.
  const bool asks_to_quit = (Flags & layout::kFlagCCM) != 0 && EqualIgnoringCase(Command, "Q");
  for (const LowBatteryForm& form : kLowBatteryForms) {
    if (asks_to_quit || !EqualIgnoringCase(Command, form.received)) continue;
    Command = form.base;
    LowBattery = true;
    break;
  }
  Address1 = TextAt(packet, layout::kAddress1);
  Address2 = TextAt(packet, layout::kAddress2);
  level = ValueAt(packet, layout::kLevel);
  if (level == kLevelReadAsZero) level = 0;
  param1 = ValueAt(packet, layout::kParam1);
  param2 = ValueAt(packet, layout::kParam2);
  if (kind == 'm') {
    const std::string_view digits = packet.substr(std::min(layout::kParam1, packet.size()), kRawAnalogDigits);
    rawAnalog16 = static_cast<std::int32_t>(platform::ReadHexadecimal(digits));
  }
  return true;
}

std::string cQuorvaneCommand::GetRawCommand() {
  return isMultiPacket ? GetRawMultipacket() : BuildPlainPacket();
}

std::string cQuorvaneCommand::BuildPlainPacket() {
  SetDefault(Version, "a");
  if (TransactionID == 0) TransactionID = kDefaultTransaction;
  SetDefault(InterfaceType, "L");
  SetDefault(UnitClass, "X");
  SetDefault(Code, "0");
  SetDefault(Address1, "\x80");
  SetDefault(Address2, "\x80");
  SetDefault(Header, "X");

  std::string body = Version;
  body += LowByte(TransactionID);
  body += InterfaceType;
  body += UnitClass;
  body += LowByte(Flags);
  body += Code;
  body += Command;
  body += Address1;
  body += Address2;
  if (EqualIgnoringCase(Command, "Z")) {
    body += LittleEndianBytes(DoubleMeasurement);
  } else if (EqualIgnoringCase(Command, "A")) {
    body += LowByte(level);
    body += analog0 + analog1 + analog2 + analog3;
  } else if (!EqualIgnoringCase(Command, "X")) {
    body += {LowByte(level), LowByte(param1), LowByte(param2)};
  }
  // A "Z" body is never shorter than this.
  if (body.size() < kMinBody) body.resize(kMinBody, ' ');

  const std::string packet = Header + LowByte(static_cast<std::int32_t>(body.size() + kPacketOverhead)) + body + '\r';
  PacketLength = static_cast<std::int32_t>(packet.size());
  return packet;
}

std::string BuildLogPacket(std::string_view text, std::int32_t level) {
  text = platform::TruncateToBytes(text, kMaxLogText);
  std::string packet = "L";
  packet += LowByte(static_cast<std::int32_t>(layout::kLogHeaderSize + text.size()));
  packet += LowByte(level);
  packet += text;
  return packet;
}
