// Prints the transcript of a session on standard output: time, link, direction and content.

#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

class Transcript {
 public:
  enum class Kind { kHostToDriver, kDriverToHost, kDriverToDevice, kConsole, kAsExpected };

  struct Style {
    bool colours = false;
    bool verbose = false;  // also shows what is passed to Packet
    bool clock = false;    // shows the date and time of day instead of seconds since the start
  };

  explicit Transcript(Style style);

  // Prints an event with its time.
  void Event(Kind kind, std::string_view text);
  // If verbose, prints a packet's bytes and its entries or debug text.
  void Packet(const std::string& bytes);
  // Print a message of the simulator, and one about a failure.
  void Note(std::string_view text) { Print(text, {}); }
  void Problem(std::string_view text);

  // Called before and after each line that is printed, to hide and redraw a line being edited on the same terminal.
  std::function<void()> BeforeLine;
  std::function<void()> AfterLine;

  // Returns the first error of writing standard output, as an errno value; 0 if there was none.
  int WriteError() const { return write_error_; }

 private:
  // Returns the time to show. If it is the time of day and the date has changed, prints the date first.
  std::string Time();
  void PrintDetail(const std::string& text);
  void Print(std::string_view line, std::string_view colour);

  Style style_;
  std::chrono::nanoseconds start_;
  std::string date_;
  int write_error_ = 0;
};
