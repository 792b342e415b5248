// A child process, with its standard output collected.

#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "peers/channel.h"

class ChildProcess {
 public:
  // Starts a program, a path or a name in PATH. `prepare` runs in the child between fork and exec and may call only
  // async-signal-safe functions. Throws std::system_error if the program cannot be started.
  ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
               const std::function<void()>& prepare = nullptr);
  // Kills the child if it is still running.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t Id() const { return id_; }
  Channel& Output() { return *output_; }
  void Signal(int signal) const;

  // Return whether the child is on the run queue, and its number of voluntary context switches.
  bool IsBusy() const { return Field("State:") == "R"; }
  long Sleeps() const { return std::stol(Field("voluntary_ctxt_switches:")); }
  // Returns the peak resident memory; 0 if the system does not report it.
  long PeakMemoryKiB() const { return status_ ? peak_memory_kib_ : std::stol(Field("VmHWM:")); }

  // Returns the exit status, or the negative number of the signal that killed the child; nothing while it runs.
  std::optional<int> Status();

 private:
  // Returns the word after a name in /proc/PID/status; "0" if the system does not report it.
  std::string Field(const std::string& name) const;

  pid_t id_ = -1;
  std::unique_ptr<Channel> output_;
  std::optional<int> status_;
  long peak_memory_kib_ = 0;
};
