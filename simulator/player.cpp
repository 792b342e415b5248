#include "simulator/player.h"

#include <unistd.h>

#include <utility>

#include "peers/channel.h"
#include "platform/event_pump.h"
#include "simulator/format.h"
#include "simulator/line_editor.h"
#include "simulator/signals.h"

bool Player::Start() {
  failed_ = !Try([this] { session_.WaitUntilReady(); });
  return !failed_;
}

void Player::PlayScript(const Script& script) {
  for (const Step& step : script.steps) {
    if (step.row->use == StepRow::Use::kObservableDevice && !Device::IsObservable(session_.Endpoint())) continue;
    failed_ = !Perform(step);
    if (failed_) break;
  }
}

void Player::PlayPipe() {
  constexpr std::chrono::milliseconds kSlice{10};
  constexpr std::size_t kMaxUnfinished = 1'048'576;
  Channel input{platform::Descriptor(dup(STDIN_FILENO))};
  int number = 0;
  while (!signals::IsPending()) {
    // Check before the pump runs, so that lines received before the driver ended are still performed.
    const bool last_turn = session_.DriverHasEnded() || input.Ended;
    platform::EventPump::Instance().Run(last_turn ? std::chrono::milliseconds(0) : kSlice);
    // The last line may lack a line end; a line that is too long is split.
    const std::size_t unfinished = input.Received.size() - (input.Received.rfind('\n') + 1);
    if (unfinished > (input.Ended ? 0 : kMaxUnfinished)) input.Received += '\n';
    std::size_t end = 0;
    while ((end = input.Received.find('\n')) != std::string::npos && !signals::IsPending()) {
      PlayLine(input.Received.substr(0, end), "standard input:" + std::to_string(++number));
      input.Received.erase(0, end + 1);
    }
    if (last_turn) break;
  }
  if (signals::IsPending()) failed_ = true;
}

void Player::PlayTerminal() {
  session_.Output().Note("ready; type help for a list of steps, quit to end");
  const auto is_over = [this] {
    return session_.QuitWasSent() || session_.DriverHasEnded() || session_.Output().WriteError() != 0;
  };
  EditLines(session_.Output(), is_over, [this](const std::string& line) { PlayLine(line, std::nullopt); });
}

bool Player::Finish() {
  signals::Clear();  // after an interruption, still ask the driver to quit
  const Channel* const link = session_.HostEnd().Link();
  const bool can_ask = !session_.QuitWasSent() && !session_.DriverHasEnded() && link != nullptr && link->CanSend();
  if (can_ask) Perform(ReadStep("quit"));
  const bool ended = link == nullptr || Try([this] { session_.AwaitEnd(); });
  session_.End();
  return expectations_.Verdict() && ended && !failed_;
}

void Player::PlayLine(std::string_view line, std::optional<std::string> position) {
  Step step = ReadStep(line);
  step.position = std::move(position);
  const bool typed = !step.position;
  if (const std::string wrong = WhyNotPerformable(step); !wrong.empty()) {
    session_.Output().Problem(step.Message(wrong));
    if (!typed) had_invalid_step_ = true;
    return;
  }
  if (Perform(step)) return;
  const bool left = typed && signals::TakeInterrupt();
  if (!left || step.row->kind == StepRow::Kind::kExpectation) failed_ = true;
}

bool Player::Perform(const Step& step) {
  if (step.row == nullptr) return true;
  const auto perform = [&] {
    platform::EventPump::Instance().Run(std::chrono::milliseconds(0));
    if (step.row->use == StepRow::Use::kObservableDevice) session_.DeviceLink();
    session_.Recording().Performed(step);
    Transcript& transcript = session_.Output();
    const std::string_view operand = std::string_view(step.line).substr(step.line.find_first_of(" \t") + 1);
    if (step.row->kind == StepRow::Kind::kFault) transcript.Note("fault: " + std::string(operand));
    step.row->perform({session_, expectations_, step});
    if (step.row->kind != StepRow::Kind::kExpectation) return;
    session_.DeviceEnd().ShowPending();
    transcript.Event(Transcript::Kind::kAsExpected, Shortened(operand));
  };
  return Try(perform, step);
}

bool Player::Try(const std::function<void()>& action, const Step& step) {
  try {
    action();
    return true;
  } catch (const StepFailed& failure) {
    session_.Output().Problem(step.Message(failure.what()));
    if (!signals::IsPending()) session_.Recording().Failed(step.line, failure.what());
    return false;
  }
}
