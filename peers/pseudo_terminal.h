// A pseudo-terminal in place of a serial line: the driver opens Path, this side is the interface.

#ifndef PEERS_PSEUDO_TERMINAL_H_
#define PEERS_PSEUDO_TERMINAL_H_

#include <memory>
#include <string>

#include "peers/channel.h"

class PseudoTerminal {
 public:
  // Throws std::system_error when none is available.
  PseudoTerminal();

  const std::string& Path() const { return path_; }
  Channel& Line() { return *line_; }
  // Waits, without running the event pump, until what Line has sent can be read on the driver's side.
  bool WaitForInput() const;
  // Hangs up, as an adapter that is pulled out does.
  void HangUp() { line_->Close(); }

 private:
  std::string path_;
  std::unique_ptr<Channel> line_;
};

#endif  // PEERS_PSEUDO_TERMINAL_H_
