// The flag byte, house and unit codes, raw data, and the setters of single fields.

#include <algorithm>
#include <string>

#include "message/packet_layout.h"
#include "message/quorvane_command.h"
#include "platform/text.h"

namespace {

constexpr std::size_t kHouseCodes = 16;

}  // namespace

void cQuorvaneCommand::ParseFlags() {
  if ((Flags & layout::kFlagDoTransmit) != 0) fDoTransmit = true;
  if ((Flags & layout::kFlagCCM) != 0) fCCM = true;
  if ((Flags & layout::kFlagAddressOnly) != 0) fAddressOnly = true;
  if ((Flags & layout::kFlagCommandOnly) != 0) fCommandOnly = true;
  if ((Flags & layout::kFlagWireless) != 0) fWireless = true;
  if ((Flags & layout::kFlagPassThrough) != 0) fPassThrough = true;
  if ((Flags & layout::kFlagStacked) != 0) fStacked = true;
}

void cQuorvaneCommand::SetFlag(std::string_view number) {
  Flags ^= static_cast<std::int32_t>(platform::ReadLow32Bits(number));
  ParseFlags();
}

std::string cQuorvaneCommand::GetHouseCode() const {
  const auto letter = static_cast<std::uint64_t>(platform::ReadHexadecimal(Address1)) + 'A';
  return std::string(1, static_cast<char>(letter & 0xFF));
}

void cQuorvaneCommand::SetHouseCode(std::string_view letter) {
  if (letter.size() != 1) return;
  const auto index = static_cast<std::size_t>(platform::ToLower(letter[0]) - 'a');
  if (index < kHouseCodes) Address1 = platform::ToHexadecimal(index);
}

std::string cQuorvaneCommand::GetUnitCode() const {
  return std::to_string(static_cast<std::uint64_t>(platform::ReadHexadecimal(Address2)) + 1);
}

void cQuorvaneCommand::SetUnitCode(std::int32_t unit) {
  Address2 = platform::ToHexadecimal(static_cast<std::uint32_t>(unit) - 1);
}

std::string cQuorvaneCommand::GetCommandCode() const {
  return Command;
}

void cQuorvaneCommand::SetCommand(std::string_view command) {
  Command = command;
}

std::int32_t cQuorvaneCommand::GetTransactionID() const {
  return TransactionID;
}

void cQuorvaneCommand::SetTransactionID(std::int32_t id) {
  TransactionID = id;
}

void cQuorvaneCommand::SetLevel(std::int32_t value) {
  level = value;
}

void cQuorvaneCommand::SetParam1(std::int32_t value) {
  param1 = value;
}

void cQuorvaneCommand::SetParam2(std::int32_t value) {
  param2 = value;
}

void cQuorvaneCommand::SetRawData(std::string_view data) {
  Address1 = std::string(1, static_cast<char>(data.size() & 0xFF));
  Address2 = data;
}

std::string cQuorvaneCommand::GetSendRawData() const {
  const std::size_t count = Address1.empty() ? 0 : static_cast<unsigned char>(Address1[0]);
  return RawCommonCommand.substr(std::min(layout::kAddress2, RawCommonCommand.size()), count);
}
