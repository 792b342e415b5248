#include <gtest/gtest.h>

#include "tests/kit.h"

namespace {

TEST(Descriptions, AreFoundInTheVocabularyThatTheHeaderAndTheFlagSelect) {
  const struct {
    const char* header;
    bool controller;
    const char* command;
    const char* text;
  } cases[] = {{"N", true, "A", "pan right"},
               {"n", false, "`", "pan left"},
               {"N", false, "o", "program sweep"},
               {"N", false, "\n", "UNKNOWN Ninja command (A)"},
               {"N", false, "ZZ", "UNKNOWN Ninja command (5A)"},
               {"X", true, "a", "Turn off monitor mode"},
               {"", true, "R", "R"},
               {"", true, "`", "Unknown CCM code"},
               {"X", false, "a", "Preset Dim 0"},
               {"Y", false, "F", "Status Request"},
               {"", false, "Z", "UNKNOWN COMMAND CODE: (Z) 0x5A"},
               {"", false, "\x02", "UNKNOWN COMMAND CODE: (\x02) 0x2"},
               {"", false, "", "UNKNOWN COMMAND CODE: () 0x0"}};
  for (const auto& c : cases) {
    cQuorvaneCommand message;
    message.Header = c.header;
    message.fCCM = c.controller;
    message.SetCommand(c.command);
    EXPECT_EQ(message.GetCommandCodeDescription(), c.text);
  }
}

TEST(Descriptions, NameTheErrors) {
  const std::pair<const char*, const char*> cases[] = {{"5", "Powerline transmission failure (time out)"},
                                                       {"A", "UNKNOWN ERROR CODE: (A) 0x41"},
                                                       {"0", "UNKNOWN ERROR CODE: (0) 0x30"},
                                                       {"", "UNKNOWN ERROR CODE: () 0x0"}};
  for (const auto& [code, text] : cases) {
    Probe message;
    message.Code = code;
    EXPECT_EQ(message.GetErrorCodeDescription(), text);
  }
}

}  // namespace
