// The transcript of a session on standard output: time, link and direction, and what went over it.

#ifndef SIMULATOR_TRANSCRIPT_H_
#define SIMULATOR_TRANSCRIPT_H_

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

class Transcript {
 public:
  enum class Kind { kHostToDriver, kDriverToHost, kDriverToDevice, kConsole, kAsExpected };

  struct Style {
    bool colours = false;
    bool verbose = false;  // adds the bytes and the debug text of every packet
    bool clock = false;    // the time of day; otherwise seconds since the start
  };

  explicit Transcript(Style style);

  // One event, with its time.
  void Event(Kind kind, std::string_view text);
  // A packet's bytes and what they mean, when verbose: entries, or the debug text.
  void Packet(const std::string& bytes);
  // A remark of the simulator's own, and one that says what went wrong.
  void Note(std::string_view text);
  void Problem(std::string_view text);

  // Called around each line while one is edited on the same terminal: hide the edited line, and show it again.
  std::function<void()> BeforeLine;
  std::function<void()> AfterLine;

  // Why standard output lost something, as an errno value; 0 while it has lost nothing.
  int WriteError() const { return write_error_; }

 private:
  std::string Time() const;
  void PrintDetail(const std::string& text);
  void Print(std::string_view line, std::string_view colour);
  void Write(std::string_view text);

  Style style_;
  std::chrono::nanoseconds start_;
  int write_error_ = 0;
};

#endif  // SIMULATOR_TRANSCRIPT_H_
