#include "simulator/player.h"

#include <unistd.h>

#include "peers/channel.h"
#include "platform/event_pump.h"
#include "simulator/interruption.h"
#include "simulator/line_editor.h"

void Player::PlayScript(const Script& script) {
  for (const Script::Line& line : script.lines) {
    if (line.step.row->needs_visible_device && !session_.Endpoint().IsVisible()) continue;
    failed_ = !session_.Perform(line.step, script.Position(line));
    if (failed_) break;
  }
}

void Player::PlayPipe() {
  constexpr std::chrono::milliseconds kSlice{10};
  Channel input{platform::Descriptor(dup(STDIN_FILENO))};
  int number = 0;
  while (!interruption::IsPending()) {
    // Checked before the pump runs, so that lines received before the driver ended are still performed.
    const bool last_turn = session_.DriverHasEnded() || input.Ended;
    platform::EventPump::Instance().Run(last_turn ? std::chrono::milliseconds(0) : kSlice);
    if (input.Ended && !input.Received.empty()) input.Received += '\n';  // the last line may lack one
    std::size_t end = 0;
    while ((end = input.Received.find('\n')) != std::string::npos && !interruption::IsPending()) {
      PlayLine(input.Received.substr(0, end), "standard input:" + std::to_string(++number));
      input.Received.erase(0, end + 1);
    }
    if (last_turn) break;
  }
  if (interruption::IsPending()) failed_ = true;
}

void Player::PlayTerminal() {
  LineEditor editor(session_.Output());
  session_.Output().Note("ready; type help for a list of steps, quit to end");
  const auto is_over = [this] { return session_.DriverHasEnded() || session_.Output().WriteError() != 0; };
  while (!session_.QuitWasSent() && !is_over()) {
    const auto line = editor.ReadLine(is_over);
    if (!line) break;
    PlayLine(*line, {});
  }
}

void Player::PlayLine(std::string_view line, const std::string& position) {
  const Step step = ReadStep(line);
  const bool typed = position.empty();
  if (const std::string wrong = WhyNotPerformable(step); !wrong.empty()) {
    session_.Output().Problem(typed ? wrong : position + ": " + wrong);
    if (!typed) had_wrong_line_ = true;
    return;
  }
  if (session_.Perform(step, position)) return;
  const bool left = typed && interruption::TakeInterrupt();
  if (!left || step.row->IsExpectation()) failed_ = true;
}
