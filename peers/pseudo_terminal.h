// A pseudo-terminal: a serial device without the device. The driver opens Path; this side is the interface.

#ifndef PEERS_PSEUDO_TERMINAL_H_
#define PEERS_PSEUDO_TERMINAL_H_

#include <memory>
#include <string>

#include "peers/channel.h"

class PseudoTerminal {
 public:
  // Throws std::system_error when the system has none to give.
  PseudoTerminal();

  const std::string& Path() const { return path_; }
  Channel& Line() { return *line_; }
  // Waits, without running the event pump, until what Line has sent is there for the driver's side to read.
  bool WaitForInput() const;
  // Drops the line, as an adapter that is pulled out does.
  void HangUp() { line_->Close(); }

 private:
  std::string path_;
  std::unique_ptr<Channel> line_;
};

#endif  // PEERS_PSEUDO_TERMINAL_H_
