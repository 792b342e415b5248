// A pseudo-terminal in place of a serial line: the driver opens Path; this side is the interface.

#pragma once

#include <memory>
#include <string>
#include <utility>

#include "peers/channel.h"

class PseudoTerminal {
 public:
  // Throws std::system_error if none is available.
  PseudoTerminal();

  const std::string& Path() const { return path_; }
  Channel& Line() { return *line_; }
  // Transfers ownership of this side.
  std::unique_ptr<Channel> TakeLine() { return std::move(line_); }
  // Waits, without running the event pump, until bytes sent by Line can be read on the driver's side.
  bool WaitForInput() const;
  // Hangs up, like an adapter that is unplugged.
  void HangUp() { line_->CloseStream(); }

 private:
  std::string path_;
  std::unique_ptr<Channel> line_;
};
