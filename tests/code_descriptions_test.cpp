#include <gtest/gtest.h>

#include "tests/kit.h"

namespace {

TEST(CommandDescription, ChoosesTheVocabulary) {
  const struct {
    const char* header;
    bool controller;
    std::string_view commands;  // each byte a command
    std::vector<std::string> texts;
  } cases[] = {
      {"N",
       true,
       "LM`ADEFGHIJKNOCB",
       {"center", "center with program", "pan left", "pan right", "position 1", "program position 1",
        "position 2", "program position 2", "position 3", "program position 3", "position 4",
        "program position 4", "sweep", "program sweep", "tilt down", "tilt up"}},
      {"n",
       false,
       "aZ\n@",
       {"pan right", "UNKNOWN Ninja command (5A)", "UNKNOWN Ninja command (A)",
        "UNKNOWN Ninja command (40)"}},
      {"X",
       true,
       "OCRPQDXABSMFGIEHVL",
       {"Open a Port", "Close a port", "R", "Ping", "polite interface shutdown command",
        "Toggle the Debug State", "Send Raw Data", "Turn off monitor mode",
        "Set base house code for Marten-Port", "Sample All Analogs", "Turn ON monitor only mode",
        "Set time filter for de-bouncing", "Disable Wireless security events",
        "Resume normal wireless processing", "Enable Wireless security events",
        "Enable Wireless Stealth Mode", "Set receiver sensitivity", "Set transmitter output amplitude"}},
      {"", true, "aZ`", {"Turn off monitor mode", "Unknown CCM code", "Unknown CCM code"}},
      {"X",
       false,
       "0123456789ABCDEF",
       {"All Units Off", "All Lights On", "ON", "OFF", "DIM", "BRIGHT", "All Lights Off", "Extended Code",
        "Hail Request", "Hail Ack", "Preset Dim 0", "Preset Dim 1", "Extended Data", "Status On",
        "Status Off", "Status Request"}},
      {"Y",
       false,
       "fZ\x02\xE9",
       {"Status Request", "UNKNOWN COMMAND CODE: (Z) 0x5A", "UNKNOWN COMMAND CODE: (\x02) 0x2",
        "UNKNOWN COMMAND CODE: (\xE9) 0xE9"}}};
  for (const auto& c : cases) {
    ASSERT_EQ(c.commands.size(), c.texts.size());
    for (std::size_t i = 0; i < c.texts.size(); ++i) {
      cQuorvaneCommand message;
      message.Header = c.header;
      message.fCCM = c.controller;
      message.SetCommand(c.commands.substr(i, 1));
      EXPECT_EQ(message.GetCommandCodeDescription(), c.texts[i]);
    }
  }
}

TEST(CommandDescription, OfNoSingleByte) {
  cQuorvaneCommand message;
  EXPECT_EQ(message.GetCommandCodeDescription(), "UNKNOWN COMMAND CODE: () 0x0");
  message.SetCommand("22");
  EXPECT_EQ(message.GetCommandCodeDescription(), "UNKNOWN COMMAND CODE: (22) 0x32");
  message.fCCM = true;
  EXPECT_EQ(message.GetCommandCodeDescription(), "Unknown CCM code");
  message.Header += 'N';
  EXPECT_EQ(message.GetCommandCodeDescription(), "UNKNOWN Ninja command (32)");
}

TEST(ErrorDescription, NamesTheCodes) {
  const std::pair<const char*, const char*> cases[] = {{"1", "Powerline reception error"},
                                                       {"2", "Bad command received from Mac"},
                                                       {"3", "Bad data received from Mac"},
                                                       {"4", "X10 collision detected during transmission"},
                                                       {"5", "Powerline transmission failure (time out)"},
                                                       {"6", "Lost transmission echoes from TW523"},
                                                       {"7", "Receive overrun of data from Mac"},
                                                       {"8", "Power Failure at controller"},
                                                       {"9", "Power restored at controller"},
                                                       {"0", "UNKNOWN ERROR CODE: (0) 0x30"},
                                                       {"A", "UNKNOWN ERROR CODE: (A) 0x41"},
                                                       {"", "UNKNOWN ERROR CODE: () 0x0"}};
  for (const auto& [code, text] : cases) {
    Probe message;
    message.Code = code;
    EXPECT_EQ(message.GetErrorCodeDescription(), text);
  }
}

}  // namespace
