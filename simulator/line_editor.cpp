#include "simulator/line_editor.h"

#include <histedit.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string_view>
#include <utility>

#include "platform/event_pump.h"
#include "simulator/signals.h"
#include "simulator/steps.h"

namespace {

void Show(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

// Returns the longest common prefix.
std::string CommonBeginning(const std::vector<std::string>& texts) {
  std::string common = texts.front();
  for (const std::string& text : texts) {
    const auto end = std::ranges::mismatch(common, text).in1;
    common.erase(end, common.end());
  }
  return common;
}

}  // namespace

class LineEditor::Terminal {
 public:
  explicit Terminal(Transcript& transcript) : transcript_(transcript) {
    const char* const kind = std::getenv("TERM");
    dumb_ = kind == nullptr || *kind == '\0' || std::string_view(kind) == "dumb";
    HistEvent event{};
    history(history_.get(), &event, H_SETSIZE, kHistorySize);
    history(history_.get(), &event, H_SETUNIQUE, 1);
    el_set(editor_.get(), EL_CLIENTDATA, this);
    el_set(editor_.get(), EL_GETCFN, &Terminal::Character);
    el_set(editor_.get(), EL_PROMPT, &Terminal::Prompt);
    el_set(editor_.get(), EL_EDITOR, "emacs");
    el_set(editor_.get(), EL_HIST, history, history_.get());
    el_source(editor_.get(), nullptr);
    // The wide form, because the library never frees its copies of narrow strings.
    el_wset(editor_.get(), EL_ADDFN, L"complete-step", L"Complete a step", &Terminal::Complete);
    el_set(editor_.get(), EL_BIND, "^I", "complete-step", nullptr);
    el_wset(editor_.get(), EL_ADDFN, L"suspend", L"Stop the process", &Terminal::Suspend);
    el_set(editor_.get(), EL_BIND, "^Z", "suspend", nullptr);
    el_set(editor_.get(), EL_BIND, "-a", "^Z", "suspend", nullptr);      // in the command mode of vi
    el_set(editor_.get(), EL_BIND, "^@", "em-delete-or-list", nullptr);  // Ctrl-D typed ahead
    el_set(editor_.get(), EL_SETTY, "-d", "-susp", "susp=", nullptr);    // while editing, Ctrl-Z is a key
    transcript_.BeforeLine = [this] {
      if (reading_) HideLine();
    };
    transcript_.AfterLine = [this] {
      if (!reading_) return;
      el_resize(editor_.get());
      el_set(editor_.get(), EL_REFRESH);
    };
  }
  ~Terminal() {
    transcript_.BeforeLine = nullptr;
    transcript_.AfterLine = nullptr;
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  std::optional<std::string> ReadLine(const std::function<bool()>& is_over) {
    is_over_ = &is_over;
    for (;;) {
      reading_ = true;
      el_set(editor_.get(), EL_PREP_TERM, 1);  // before the prompt, so that no key is lost after it
      int count = 0;
      const char* const typed = el_gets(editor_.get(), &count);
      reading_ = false;
      if (signals::TakeInterrupt()) {
        Show("^C\n");
        continue;
      }
      if (typed == nullptr || count <= 0 || is_over()) {
        HideLine();
        return std::nullopt;
      }
      std::string line(typed, static_cast<std::size_t>(count));
      while (line.ends_with('\n')) line.pop_back();
      HistEvent event{};
      if (!line.empty()) history(history_.get(), &event, H_ENTER, line.c_str());
      return line;
    }
  }

 private:
  static constexpr std::string_view kPrompt = "torvy> ";
  static constexpr int kHistorySize = 500;

  static Terminal& Of(EditLine* editor) {
    Terminal* self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    return *self;
  }

  // Called by the editor to read a character; runs the event pump until one is typed. Returns 1, or 0 at the end of
  // input or of the session, or after Ctrl-C.
  static int Character(EditLine* editor, wchar_t* character) {
    constexpr std::chrono::milliseconds kSlice{10};
    const auto stopped = [&] { return signals::IsPending() || (*Of(editor).is_over_)(); };
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

  // Stops the process, as Ctrl-Z does outside the editor; meanwhile the terminal has its usual mode.
  static unsigned char Suspend(EditLine* editor, wint_t /*key*/) {
    el_set(editor, EL_PREP_TERM, 0);
    kill(0, SIGTSTP);
    el_set(editor, EL_PREP_TERM, 1);
    el_set(editor, EL_REFRESH);
    return CC_NORM;
  }

  // Clears the row of the cursor and the rows below it; rows of a long line above it remain.
  void HideLine() const { Show(dumb_ ? "\n" : "\r\x1b[J"); }

  static char* Prompt(EditLine* /*editor*/) {
    static std::string prompt(kPrompt);
    return prompt.data();
  }

  static unsigned char Complete(EditLine* editor, wint_t /*key*/) {
    const LineInfo* const info = el_line(editor);
    const std::string typed(info->buffer, static_cast<std::size_t>(info->cursor - info->buffer));
    const std::vector<std::string> steps = StepsThatBegin(typed);
    if (steps.empty()) return CC_REFRESH_BEEP;
    const std::string rest = CommonBeginning(steps).substr(typed.size()) + (steps.size() == 1 ? " " : "");
    if (!rest.empty()) {
      el_insertstr(editor, rest.c_str());
      return CC_REFRESH;
    }
    std::string list = "\n";
    for (const std::string& step : steps) list += "  " + step + "\n";
    Show(list);
    return CC_REDISPLAY;
  }

  Transcript& transcript_;
  std::unique_ptr<History, decltype(&history_end)> history_{history_init(), &history_end};
  std::unique_ptr<EditLine, decltype(&el_end)> editor_{el_init("torvy-simulator", stdin, stdout, stderr), &el_end};
  const std::function<bool()>* is_over_ = nullptr;
  bool reading_ = false;
  bool dumb_ = false;
};

LineEditor::LineEditor(Transcript& transcript) : terminal_(std::make_unique<Terminal>(transcript)) {}

LineEditor::~LineEditor() = default;

std::optional<std::string> LineEditor::ReadLine(const std::function<bool()>& is_over) {
  return terminal_->ReadLine(is_over);
}
