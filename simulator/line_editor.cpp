#include "simulator/line_editor.h"

#include <histedit.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
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

// Standard input. It stays blocking, because other processes share it.
class Input : public platform::EventSource {
 public:
  // Returns the available bytes, or none at the end of input. Call only when Ready is set; otherwise it blocks.
  std::string Read() {
    std::array<char, 4096> bytes{};
    Ready = false;
    const ssize_t count = read(descriptor_.Number(), bytes.data(), bytes.size());
    return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
  }
  bool Ready = false;

 protected:
  platform::Interest PrepareToWait() override { return {.descriptors = {&descriptor_, 1}, .read = !Ready}; }
  void HandleReady() override { Ready = true; }

 private:
  const platform::Descriptor descriptor_ = platform::Descriptor(dup(STDIN_FILENO));
};

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
    el_set(editor_.get(), EL_BIND, "-a", "^Z", "suspend", nullptr);    // in the command mode of vi
    el_set(editor_.get(), EL_SETTY, "-d", "-susp", "susp=", nullptr);  // while editing, Ctrl-Z is a key
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
    // Discard unread input, which was not meant for the shell.
    tcflush(STDIN_FILENO, TCIFLUSH);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  std::optional<std::string> ReadLine(const std::function<bool()>& is_over) {
    is_over_ = &is_over;
    for (;;) {
      interrupted_ = false;
      el_resize(editor_.get());
      reading_ = true;
      int count = 0;
      const char* const typed = el_gets(editor_.get(), &count);
      reading_ = false;
      if (interrupted_) {
        typed_ahead_.clear();
        Show("^C\n");
        el_reset(editor_.get());
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
  static constexpr int kUsualColumns = 80;

  static Terminal& Of(EditLine* editor) {
    Terminal* self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    return *self;
  }

  // Called by the editor to read the next character; returns 1, or 0 at the end.
  static int Character(EditLine* editor, wchar_t* character) { return Of(editor).NextCharacter(*character); }

  int NextCharacter(wchar_t& character) {
    std::mbstate_t state{};
    for (;;) {
      if (typed_ahead_.empty() && !AwaitInput()) return 0;
      const char byte = typed_ahead_.front();
      typed_ahead_.erase(0, 1);
      el_resize(editor_.get());
      const std::size_t length = std::mbrtowc(&character, &byte, 1, &state);
      if (length <= 1) return 1;
      if (length == static_cast<std::size_t>(-1)) state = {};  // invalid in this locale: skipped
    }
  }

  // Runs the event pump until something is typed; returns false at the end of input or of the session, or after Ctrl-C.
  bool AwaitInput() {
    constexpr std::chrono::milliseconds kSlice{10};
    while (!input_.Ready) {
      platform::EventPump::Instance().Run(kSlice);
      // Checked last: an interruption discards pending input.
      if (signals::TakeInterrupt()) interrupted_ = true;
      if (interrupted_ || signals::TerminationIsPending() || (*is_over_)()) return false;
    }
    typed_ahead_ = input_.Read();
    return !typed_ahead_.empty();
  }

  // Stops the process, as Ctrl-Z does outside the editor; meanwhile the terminal has its usual mode.
  static unsigned char Suspend(EditLine* editor, wint_t /*key*/) {
    el_set(editor, EL_PREP_TERM, 0);
    kill(0, SIGTSTP);
    el_set(editor, EL_PREP_TERM, 1);
    el_set(editor, EL_REFRESH);
    return CC_NORM;
  }

  // Clears the prompt and the line, on all rows that they occupy.
  void HideLine() {
    if (dumb_) {
      Show("\n");
      return;
    }
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    const int columns = known ? size.ws_col : kUsualColumns;
    const LineInfoW* const line = el_wline(editor_.get());
    int row = 0;
    int column = static_cast<int>(kPrompt.size());
    for (const wchar_t* character = line->buffer; character < line->cursor; ++character) {
      const int width = std::max(wcwidth(*character), 1);
      const bool wraps = column + width > columns;
      row += wraps ? 1 : 0;
      column = wraps ? width : column + width;
    }
    if (column == columns) ++row;  // the editor wraps as soon as a row is full
    Show((row > 0 ? "\x1b[" + std::to_string(row) + "A" : "") + "\r\x1b[J");
  }

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
  Input input_;
  std::string typed_ahead_;  // read, but not yet passed to the editor
  const std::function<bool()>* is_over_ = nullptr;
  bool reading_ = false;
  bool interrupted_ = false;
  bool dumb_ = false;
};

LineEditor::LineEditor(Transcript& transcript) : terminal_(std::make_unique<Terminal>(transcript)) {}

LineEditor::~LineEditor() = default;

std::optional<std::string> LineEditor::ReadLine(const std::function<bool()>& is_over) {
  return terminal_->ReadLine(is_over);
}
