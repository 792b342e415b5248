#include "simulator/line_editor.h"

#include <histedit.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cwchar>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/event_pump.h"
#include "simulator/signals.h"
#include "simulator/steps.h"

namespace {

void Show(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

char* Prompt(EditLine* /*editor*/) {
  static std::string prompt("torvy> ");
  return prompt.data();
}

// Called by the editor to read a character; runs the event pump until one is typed. Returns 1, or 0 at the end of input
// or of the session, or after Ctrl-C.
int ReadCharacter(EditLine* editor, wchar_t* character) {
  constexpr std::chrono::milliseconds kSlice{10};
  const std::function<bool()>* is_over = nullptr;
  el_get(editor, EL_CLIENTDATA, &is_over);
  const auto stopped = [&] { return signals::IsPending() || (*is_over)(); };
  pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
  std::mbstate_t state{};
  for (;;) {
    while (!stopped() && poll(&input, 1, 0) == 0) platform::EventPump::Instance().Run(kSlice);
    char byte = 0;
    if (stopped() || read(STDIN_FILENO, &byte, 1) != 1) return 0;
    const std::size_t length = std::mbrtowc(character, &byte, 1, &state);
    if (length <= 1) break;
    if (length == static_cast<std::size_t>(-1)) state = {};  // invalid in this locale: skipped
  }
  el_resize(editor);
  return 1;
}

unsigned char Complete(EditLine* editor, wint_t /*key*/) {
  const LineInfo* const info = el_line(editor);
  const std::string typed(info->buffer, static_cast<std::size_t>(info->cursor - info->buffer));
  const std::vector<std::string> steps = StepsThatBegin(typed);
  if (steps.empty()) return CC_REFRESH_BEEP;
  const auto [first, last] = std::ranges::minmax(steps);  // all begin with what these two have in common
  const auto end = std::ranges::mismatch(first, last).in1;
  const std::string rest = std::string(first.begin(), end).substr(typed.size()) + (steps.size() == 1 ? " " : "");
  if (!rest.empty()) {
    el_insertstr(editor, rest.c_str());
    return CC_REFRESH;
  }
  Show("\n");
  for (const std::string& step : steps) Show("  " + step + "\n");
  return CC_REDISPLAY;
}

// Stops the process, as Ctrl-Z does outside the editor; meanwhile the terminal has its usual mode.
unsigned char Suspend(EditLine* editor, wint_t /*key*/) {
  el_set(editor, EL_PREP_TERM, 0);
  kill(0, SIGTSTP);
  el_set(editor, EL_PREP_TERM, 1);
  el_set(editor, EL_REFRESH);
  return CC_NORM;
}

void SetUp(EditLine* editor, History* past) {
  constexpr int kHistorySize = 500;
  HistEvent event{};
  history(past, &event, H_SETSIZE, kHistorySize);
  history(past, &event, H_SETUNIQUE, 1);
  el_set(editor, EL_HIST, history, past);
  el_set(editor, EL_GETCFN, &ReadCharacter);
  el_set(editor, EL_PROMPT, &Prompt);
  el_set(editor, EL_EDITOR, "emacs");
  el_source(editor, nullptr);
  // The wide form, because the library never frees its copies of narrow strings.
  el_wset(editor, EL_ADDFN, L"complete-step", L"Complete a step", &Complete);
  el_set(editor, EL_BIND, "^I", "complete-step", nullptr);
  el_wset(editor, EL_ADDFN, L"suspend", L"Stop the process", &Suspend);
  el_set(editor, EL_BIND, "^Z", "suspend", nullptr);
  el_set(editor, EL_BIND, "-a", "^Z", "suspend", nullptr);      // in the command mode of vi
  el_set(editor, EL_BIND, "^@", "em-delete-or-list", nullptr);  // Ctrl-D typed ahead
  el_set(editor, EL_SETTY, "-d", "-susp", "susp=", nullptr);    // while editing, Ctrl-Z is a key
}

}  // namespace

void EditLines(Transcript& transcript, const std::function<bool()>& is_over,
               const std::function<void(const std::string&)>& perform) {
  const std::unique_ptr<History, decltype(&history_end)> past(history_init(), &history_end);
  const std::unique_ptr<EditLine, decltype(&el_end)> editor(el_init("torvy-simulator", stdin, stdout, stderr), &el_end);
  SetUp(editor.get(), past.get());
  el_set(editor.get(), EL_CLIENTDATA, &is_over);
  const char* terminal = nullptr;
  el_get(editor.get(), EL_TERMINAL, &terminal);
  // Clears the row of the cursor and the rows below it; rows of a long line above it remain.
  const std::string_view clear = std::string_view(terminal) == "dumb" ? "\n" : "\r\x1b[J";
  while (!is_over()) {
    transcript.BeforeLine = [clear] { Show(clear); };
    transcript.AfterLine = [&editor] {
      el_resize(editor.get());
      el_set(editor.get(), EL_REFRESH);
    };
    el_set(editor.get(), EL_PREP_TERM, 1);  // before the prompt, so that no key is lost after it
    int count = 0;
    const char* const typed = el_gets(editor.get(), &count);
    transcript.BeforeLine = transcript.AfterLine = nullptr;
    if (signals::TakeInterrupt()) {
      Show("^C\n");
      continue;
    }
    if (typed == nullptr || is_over()) {
      Show(clear);
      return;
    }
    std::string line(typed, static_cast<std::size_t>(count));
    if (line.ends_with('\n')) line.pop_back();
    HistEvent event{};
    if (!line.empty()) history(past.get(), &event, H_ENTER, line.c_str());
    perform(line);
  }
}
