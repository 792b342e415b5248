// The record of a session as a person likes to read it: time, link and direction, and what went over it.

#ifndef SIMULATOR_TRANSCRIPT_H_
#define SIMULATOR_TRANSCRIPT_H_

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

class Transcript {
 public:
  enum class Kind { kHostToDriver, kDriverToHost, kDriverToDevice, kAsExpected };

  struct Style {
    bool colours = false;
    bool verbose = false;  // adds the debug text of every packet
  };

  explicit Transcript(Style style);

  // One event, with its time.
  void Event(Kind kind, std::string_view text);
  // A packet's bytes and what they mean, when verbose: entries, or the debug text.
  void Packet(const std::string& bytes);
  // A remark of the simulator's own, and one that says what went wrong.
  void Note(std::string_view text);
  void Problem(std::string_view text);
  // A text as it is, with its own line ends.
  void Write(std::string_view text);

  // Around each line, when somebody types on the same terminal: takes what is typed away, and shows it again.
  std::function<void()> BeforeLine;
  std::function<void()> AfterLine;

  // Why standard output lost something, as an errno value; 0 while it has lost nothing.
  int WriteError() const { return write_error_; }

 private:
  void PrintDetail(const std::string& text);
  void Print(std::string_view line, std::string_view colour);

  Style style_;
  std::chrono::nanoseconds start_;
  int write_error_ = 0;
};

#endif  // SIMULATOR_TRANSCRIPT_H_
