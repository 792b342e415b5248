// A program that is run beside this one, with its standard output collected.

#ifndef PEERS_CHILD_PROCESS_H_
#define PEERS_CHILD_PROCESS_H_

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "peers/channel.h"

class ChildProcess {
 public:
  // Starts the program at a path. `prepare` runs in the child just before the program, and may make only
  // calls that are safe after a fork. Throws std::system_error when the program cannot be started.
  ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
               const std::function<void()>& prepare = nullptr);
  // Kills a child that still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t Id() const { return id_; }
  Channel& Output() { return *output_; }
  void Signal(int signal) const;

  // Whether a running child has the processor or waits for it, and how often it has gone to sleep so far.
  bool IsBusy() const;
  long Sleeps() const { return Count("voluntary_ctxt_switches:"); }
  // The most memory that the child has had so far; 0 where the system does not tell.
  long PeakMemoryKiB() const { return status_ ? peak_memory_kib_ : Count("VmHWM:"); }

  // How the child ended, once it has: its exit status, or 128 plus the signal that ended it.
  std::optional<int> Status();

 private:
  // A number that the system tells about a running child, by its name there.
  long Count(const std::string& name) const;

  pid_t id_ = -1;
  std::unique_ptr<Channel> output_;
  std::optional<int> status_;
  long peak_memory_kib_ = 0;
};

#endif  // PEERS_CHILD_PROCESS_H_
