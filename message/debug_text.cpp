// Descriptions of a message for logs.

#include <array>
#include <string>

#include "message/quorvane_command.h"
#include "platform/date_time.h"
#include "platform/text.h"

namespace {

constexpr std::string_view kIndent = "       ";
constexpr char kLineEnd = '\r';

struct HeaderLabel {
  std::string_view header;
  std::string_view label;
};
constexpr auto kHeaderLabels = std::to_array<HeaderLabel>({{"X", "Development (X)"},
                                                           {"Y", "Development (Y)"},
                                                           {"L", "Direct log: (L)"},
                                                           {"E", "plx error: (E)"},
                                                           {"A", "shell echo of packet, ignored: ( A)"}});

std::string LabelOf(const std::string& header) {
  for (const HeaderLabel& row : kHeaderLabels) {
    if (platform::EqualIgnoringCase(header, row.header)) return std::string(row.label);
  }
  return "UNKNOWN (" + header + ")";
}

std::string Line(std::string_view name, std::string_view value) {
  std::string line(kIndent);
  line += name;
  line += value;
  line += kLineEnd;
  return line;
}

}  // namespace

std::string cQuorvaneCommand::DebugString() const {
  // Each piece is a flag's digit and the next flag's label. The uneven blanks and the "CMM" match the host's other
  // drivers.
  std::string flags(kIndent);
  flags += "DoTrans:";
  flags += fDoTransmit ? "1  CCM:" : "0  CMM:";
  flags += fCCM ? "1  AddressOnly:" : "0  AddressOnly:";
  flags += fAddressOnly ? "1  CommandOnly:" : "0  CommandOnly:";
  flags += fCommandOnly ? "1  Wireless:" : "0  Wireless:";
  flags += fWireless ? "1 Pass:" : "0  Pass:";
  flags += fPassThrough ? "1" : "0";

  std::string dump = "Packet Debug: " + platform::LongTime(TimeStamp) + " " + platform::ShortDate(TimeStamp) + kLineEnd;
  dump += Line("Header: ", LabelOf(Header));
  dump +=
      Line("Packet Length: ", std::to_string(PacketLength) + " RealLength: " + std::to_string(RawCommonCommand.size()));
  dump += Line("Version: ", Version);
  dump += Line("Transaction ID: ", std::to_string(TransactionID));
  dump += Line("InterfaceType: ", InterfaceType);
  dump += Line("UnitClass: ", UnitClass);
  dump += Line("Code: ", Code);
  dump += Line("Command: ", GetCommandCodeDescription());
  dump += Line("Address: ", GetHouseCode() + GetUnitCode());
  dump += Line("Level: ", std::to_string(level) + flags);
  dump += Line("raw command:(", RawCommonCommand + ")");
  return dump;
}

std::string cQuorvaneCommand::GetLogLine() const {
  return (fStacked ? "stacked " : "") + GetCommandCodeDescription() + " for address " + GetHouseCode() + GetUnitCode() +
         (fWireless ? " (W)" : "");
}
