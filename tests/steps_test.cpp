// The simulator's language, help and formatting.

#include "simulator/steps.h"

#include <regex>
#include <sstream>

#include "simulator/command_line.h"
#include "simulator/format.h"
#include "tests/support.h"

namespace {

TEST(Steps, AreParsed) {
  const struct {
    std::string_view line;
    std::string_view words;
    std::string_view text = {};
    std::string_view address = {};
    std::int32_t count = 0;
  } cases[] = {{"0102 ON", "", "ON", "0102"},
               {"  0102\tall off \r", "", "all off", "0102"},
               {"command all ON", "command", "ON", "all"},
               {"RAW 1 fF 00", "raw", std::string_view("\x01\xFF\0", 3)},
               {"expect 0102U\\0D\\5C", "expect", "0102U\r\\"},
               {"expect log two  blanks\\20", "expect log", "two  blanks "},
               {"Fault  Device pause", "fault device pause"},
               {"stream 1000000", "stream", {}, {}, 1'000'000},
               {"\xEF\xBB\xBFkitchen1 ON", "", "ON", "kitchen1"}};  // after a byte order mark
  for (const auto& c : cases) {
    const Step step = ReadStep(c.line);
    ASSERT_NE(step.row, nullptr) << c.line << step.wrong;
    EXPECT_EQ(step.row->words, c.words) << c.line;
    EXPECT_EQ(step.text, c.text);
    EXPECT_EQ(step.address, c.address);
    EXPECT_EQ(step.count, c.count);
  }
  for (const std::string_view nothing : {"", " \r", "  # 0102 ON"}) {
    EXPECT_EQ(ReadStep(nothing).row, nullptr);
    EXPECT_EQ(ReadStep(nothing).wrong, "");
  }
}

TEST(Steps, RejectInvalidLines) {
  std::string too_much = "raw";
  for (int i = 0; i < 245; ++i) too_much += " 31";
  const std::string too_long = "0102 " + std::string(65'000, 'X');
  const std::string unknown = std::string(58, 'x') + "\x1b\xC3\xBC" + std::string(1000, 'x');
  const std::string unknown_cut = "unknown step \"" + std::string(58, 'x') +
                                  "\\1B...\"; \"help\" lists all steps, \"command\" sends to any address";
  const std::pair<std::string_view, const char*> cases[] = {
      {"foo", "unknown step \"foo\"; \"help\" lists all steps, \"command\" sends to any address"},
      {unknown, unknown_cut.c_str()},
      {";0102 ON", "unknown step \";0102 ON\"; \"help\" lists all steps, \"command\" sends to any address"},
      {"0102 ON # up", "a device command cannot contain a comment, which needs a line of its own"},
      {"0102", "a device command requires an address and a command: 0102 ON"},
      {too_long, "a device command can have at most 65000 bytes; more would not fit in a packet"},
      {"raw", "raw requires bytes in hexadecimal, such as 01 2A FF"},
      {"raw 1 123", "raw requires bytes in hexadecimal, such as 01 2A FF, not \"123\""},
      {too_much.c_str(), "raw sends at most 244 bytes; more would not fit in a packet"},
      {"expect \\4", "expect requires a text in which \\ is followed by two hexadecimal digits, not \"\\4\""},
      {"quit now", "quit does not allow an operand: \"now\""}};
  for (const auto& [line, wrong] : cases) {
    EXPECT_EQ(ReadStep(line).wrong, wrong);
    EXPECT_EQ(ReadStep(line).row, nullptr);
  }
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
