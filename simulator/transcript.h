// The record of a session as a person likes to read it: time, link and direction, and what went over it.

#ifndef SIMULATOR_TRANSCRIPT_H_
#define SIMULATOR_TRANSCRIPT_H_

#include <chrono>
#include <string>
#include <string_view>

#include "message/quorvane_command.h"

class Transcript {
 public:
  enum class Way { kHostToDriver, kDriverToHost, kDriverToDevice };

  struct Style {
    bool colours = false;
    bool verbose = false;  // adds the debug text of every packet
    bool prompt = false;   // somebody types: keep a prompt on the last line
  };

  explicit Transcript(Style style);

  // One event of a link.
  void Event(Way way, std::string_view text);
  // A packet's bytes and what they mean, when verbose: entries, or the debug text.
  void Packet(const std::string& bytes);
  // A remark of the simulator's own, and one that says what went wrong.
  void Note(std::string_view text);
  void Problem(std::string_view text);
  // Shows the prompt again after input was dealt with; takes it away for good.
  void Prompt() const;
  void EndPrompt();

 private:
  void PrintDetail(const std::string& text) const;
  void Print(std::string_view line, std::string_view colour) const;

  Style style_;
  std::chrono::nanoseconds start_;
};

// What the characters of one or more device commands ask for, in words.
std::string DeviceBytesInWords(std::string_view bytes);

// Bytes as text, with all but printable ASCII as hexadecimal after a backslash.
std::string Printable(std::string_view bytes);

#endif  // SIMULATOR_TRANSCRIPT_H_
