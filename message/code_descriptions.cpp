// Descriptions of command and error codes.

#include <array>
#include <span>

#include "message/quorvane_command.h"
#include "platform/text.h"

namespace {

struct Description {
  std::string_view code;
  std::string_view text;
};

constexpr auto kPanTiltCommands = std::to_array<Description>({
    {"L", "center"},
    {"M", "center with program"},
    {"`", "pan left"},
    {"A", "pan right"},
    {"D", "position 1"},
    {"E", "program position 1"},
    {"F", "position 2"},
    {"G", "program position 2"},
    {"H", "position 3"},
    {"I", "program position 3"},
    {"J", "position 4"},
    {"K", "program position 4"},
    {"N", "sweep"},
    {"O", "program sweep"},
    {"C", "tilt down"},
    {"B", "tilt up"},
});

constexpr auto kControllerCommands = std::to_array<Description>({
    {"O", "Open a Port"},
    {"C", "Close a port"},
    {"R", "R"},
    {"P", "Ping"},
    {"Q", "polite interface shutdown command"},
    {"D", "Toggle the Debug State"},
    {"X", "Send Raw Data"},
    {"A", "Turn off monitor mode"},
    {"B", "Set base house code for Marten-Port"},
    {"S", "Sample All Analogs"},
    {"M", "Turn ON monitor only mode"},
    {"F", "Set time filter for de-bouncing"},
    {"G", "Disable Wireless security events"},
    {"I", "Resume normal wireless processing"},
    {"E", "Enable Wireless security events"},
    {"H", "Enable Wireless Stealth Mode"},
    {"V", "Set receiver sensitivity"},
    {"L", "Set transmitter output amplitude"},
});

// Security events have no codes on this link yet; an empty code never matches.
constexpr std::string_view kFirstSafeCode;
constexpr std::string_view kFirstAlarmCode;
constexpr std::string_view kSecondSafeCode;
constexpr std::string_view kSecondAlarmCode;
constexpr std::string_view kMotionCode;
constexpr std::string_view kNoMotionCode;

constexpr auto kUnitCommands = std::to_array<Description>({
    {"0", "All Units Off"},
    {"1", "All Lights On"},
    {"2", "ON"},
    {"3", "OFF"},
    {"4", "DIM"},
    {"5", "BRIGHT"},
    {"6", "All Lights Off"},
    {"7", "Extended Code"},
    {"8", "Hail Request"},
    {"9", "Hail Ack"},
    {"A", "Preset Dim 0"},
    {"B", "Preset Dim 1"},
    {"C", "Extended Data"},
    {"D", "Status On"},
    {"E", "Status Off"},
    {"F", "Status Request"},
    {kFirstSafeCode, "Safe Condition"},
    {kFirstAlarmCode, "Alarm Condition"},
    {kSecondSafeCode, "Safe Condition"},
    {kSecondAlarmCode, "Alarm Condition"},
    {kMotionCode, "MOTION"},
    {kNoMotionCode, "no motion"},
});

constexpr auto kErrors = std::to_array<Description>({
    {"1", "Powerline reception error"},
    {"2", "Bad command received from Mac"},
    {"3", "Bad data received from Mac"},
    {"4", "X10 collision detected during transmission"},
    {"5", "Powerline transmission failure (time out)"},
    {"6", "Lost transmission echoes from TW523"},
    {"7", "Receive overrun of data from Mac"},
    {"8", "Power Failure at controller"},
    {"9", "Power restored at controller"},
});

// Returns the text of the first matching row, or an empty string.
std::string Find(std::span<const Description> table, std::string_view code) {
  for (const Description& row : table) {
    if (code.size() == 1 && platform::EqualIgnoringCase(row.code, code)) return std::string(row.text);
  }
  return {};
}

std::string Hexadecimal(std::string_view code) {
  return platform::ToHexadecimal(code.empty() ? 0 : static_cast<unsigned char>(code[0]));
}

std::string UnknownCode(std::string_view what, const std::string& code) {
  return std::string(what) + " (" + code + ") 0x" + Hexadecimal(code);
}

}  // namespace

std::string cQuorvaneCommand::GetCommandCodeDescription() const {
  std::string text;
  if (platform::EqualIgnoringCase(Header, "N")) {
    text = Find(kPanTiltCommands, Command);
    return text.empty() ? "UNKNOWN Ninja command (" + Hexadecimal(Command) + ")" : text;
  }
  if (fCCM) {
    text = Find(kControllerCommands, Command);
    return text.empty() ? "Unknown CCM code" : text;
  }
  text = Find(kUnitCommands, Command);
  return text.empty() ? UnknownCode("UNKNOWN COMMAND CODE:", Command) : text;
}

std::string cQuorvaneCommand::GetErrorCodeDescription() const {
  const std::string text = Find(kErrors, Code);
  return text.empty() ? UnknownCode("UNKNOWN ERROR CODE:", Code) : text;
}
