// The simulator's language, help and formatting.

#include "simulator/steps.h"

#include <regex>
#include <sstream>

#include "simulator/command_line.h"
#include "simulator/format.h"
#include "tests/support.h"

namespace {

// Returns a step's words, address, text and count, or why the line is invalid.
std::string Parsed(std::string_view line) {
  const Step step = ReadStep(line);
  if (step.row == nullptr) return step.wrong;
  return std::string(step.row->words) + '|' + step.address + '|' + step.text + '|' + std::to_string(step.count);
}

TEST(Steps, AreParsed) {
  EXPECT_EQ(Parsed("0102 ON"), "|0102|ON|0");
  EXPECT_EQ(Parsed("  0102\tall off \r"), "|0102|all off|0");
  EXPECT_EQ(Parsed("\xEF\xBB\xBFkitchen1 ON"), "|kitchen1|ON|0");  // after a byte order mark
  EXPECT_EQ(Parsed("\u00DCbung2#a ON"), "|\u00DCbung2#a|ON|0");
  EXPECT_EQ(Parsed("command all ON"), "command|all|ON|0");
  EXPECT_EQ(Parsed("RAW 1 fF 2a"), "raw||\x01\xFF*|0");
  EXPECT_EQ(Parsed("expect 0102U\\0D\\5C"), "expect||0102U\r\\|0");
  EXPECT_EQ(Parsed("expect log two  blanks\\20"), "expect log||two  blanks |0");
  EXPECT_EQ(Parsed("Fault  Device pause"), "fault device pause|||0");
  EXPECT_EQ(Parsed("stream 1") + Parsed("stream 1000000"), "stream|||1stream|||1000000");
  for (const std::string_view nothing : {"", " \r", "  # 0102 ON"}) EXPECT_EQ(Parsed(nothing), "");
}

TEST(Steps, RejectInvalidLines) {
  const auto unknown = [](const std::string& shown) {
    return "unknown step \"" + shown + "\"; \"help\" lists all steps, \"command\" sends to any address";
  };
  EXPECT_EQ(Parsed("foo"), unknown("foo"));
  EXPECT_EQ(Parsed(";0102 ON"), unknown(";0102 ON"));
  const std::string start(58, 'x');
  EXPECT_EQ(Parsed(start + "\x1b\u00FC" + std::string(1000, 'x')), unknown(start + "\\1B..."));
  EXPECT_EQ(Parsed("0102"), "a device command requires an address and a command: 0102 ON");
  EXPECT_EQ(Parsed("0102 ON\r0102 OFF"), "a device command cannot contain control characters");
  EXPECT_EQ(Parsed("0102 ON # up"), "a device command cannot contain a comment, which needs a line of its own");
  EXPECT_THAT(Parsed("0102 " + std::string(65'000, 'X')), testing::HasSubstr("can have at most 65000 bytes"));
  EXPECT_EQ(Parsed("raw"), "raw requires bytes in hexadecimal, such as 01 2A FF");
  EXPECT_EQ(Parsed("raw 1 123"), "raw requires bytes in hexadecimal, such as 01 2A FF, not \"123\"");
  std::string raw = "raw";
  for (int i = 0; i < 244; ++i) raw += " 31";
  EXPECT_EQ(Parsed(raw), "raw||" + std::string(244, '1') + "|0");
  EXPECT_EQ(Parsed(raw + " 31"), "raw sends at most 244 bytes; more would not fit in a packet");
  EXPECT_EQ(Parsed("expect"), "expect requires a text");
  EXPECT_EQ(Parsed("expect \\4"),
            "expect requires a text in which \\ is followed by two hexadecimal digits, not \"\\4\"");
  EXPECT_EQ(Parsed("stream 0"), "stream requires a number from 1 to 1000000, not \"0\"");
  EXPECT_EQ(Parsed("quit now"), "quit does not allow an operand: \"now\"");
}

TEST(ManPage, MatchesHelp) {
  const std::string text = std::regex_replace(Contents(TORVY_SIMULATOR_MAN_PAGE), std::regex(R"(\\-)"), "-");
  const std::regex item(R"(\n\.TP\n\.[BI]+ (.*)\n(.*))");
  std::vector<std::pair<std::string, std::string>> listed;
  for (std::sregex_iterator found(text.begin(), text.end(), item), end; found != end; ++found) {
    listed.emplace_back(std::regex_replace(found->str(1), std::regex(R"(" "|")"), ""), found->str(2));
  }
  std::vector<std::pair<std::string, std::string>> wanted;
  for (const OptionRow& row : OptionRows()) wanted.emplace_back(row.usage, row.help);
  for (const StepRow& row : StepRows()) wanted.emplace_back(row.Usage(), row.help);
  for (auto& [name, help] : wanted) help[0] = static_cast<char>(std::toupper(help[0]));
  EXPECT_EQ(listed, wanted);
}

TEST(Help, FitsIn80Columns) {
  const char* const arguments[] = {"torvy-simulator", "-h"};
  std::istringstream help(std::get<std::string>(ReadCommandLine(2, arguments)));
  for (std::string line; std::getline(help, line);) EXPECT_LE(line.size(), 80U) << line;
}

TEST(Format, DescribesDeviceBytes) {
  EXPECT_EQ(DeviceBytesInWords("0102D01D2S"), "0102D01D2S  unit 0102 down (OFF), then unit 01D2 stop");
  EXPECT_EQ(DeviceBytesInWords("k\xC3\xBCxyU"), "k\xC3\xBCxyU  unit k\xC3\xBCxy up (ON)");
  EXPECT_EQ(DeviceBytesInWords("77S"), "77S  (raw bytes)");
  EXPECT_EQ(DeviceBytesInWords(std::string(61, 'X')), "61 raw bytes");
}

TEST(Format, SplitsBurstIntoLinesOfCommands) {
  std::string commands;
  for (int i = 0; i < 13; ++i) commands += "0102U";
  EXPECT_EQ(FirstLine("hello" + commands), "hello");
  EXPECT_EQ(FirstLine(commands), commands.substr(0, 60));
  EXPECT_EQ(FirstLine("0102U\r77D"), "0102U");
}

TEST(Format, EscapesWhatATerminalWouldActOn) {
  EXPECT_EQ(Printable("a\\ \x7F\u009F\u202A\u2069\xE2"), "a\\5C \\7F\\C2\\9F\\E2\\80\\AA\\E2\\81\\A9\\E2");
  EXPECT_EQ(Printable("\u00A0\u2029\u206A"), "\u00A0\u2029\u206A");
}

}  // namespace
