// Stands before system calls and allocations of the test program, so that a test can count them, answer them, have them
// fail or let time pass.

#ifndef TESTS_SYSTEM_CALLS_H_
#define TESTS_SYSTEM_CALLS_H_

#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

class VirtualClock;

// A hook that is not set, or returns nothing, lets the call through to the system.
struct SystemCalls {
  std::function<bool()> fails;  // asked by each call first, which then fails with EIO
  std::function<void(int socket, const sockaddr* address, socklen_t size)> before_connect;
  std::function<std::optional<ssize_t>(int descriptor, std::size_t count)> on_write;
  std::function<std::optional<int>(int milliseconds)> on_poll;
  std::function<std::optional<int>(int descriptor, unsigned long request, void* argument)> on_ioctl;
  std::function<std::optional<int>(int descriptor)> on_tcdrain;
  std::function<void(int descriptor)> before_tcflush;
  std::function<void(int descriptor)> before_close;
  std::function<void(const char* path)> before_open;

  int ppolls = 0;  // calls so far
  int writes = 0;
  VirtualClock* clock = nullptr;           // stands in for the monotonic one
  std::chrono::nanoseconds time_passed{};  // added to what the monotonic clock shows
  // What the alarm was last set to, while there is one.
  std::optional<std::chrono::nanoseconds> alarm;
};

SystemCalls& Calls();

// The result of a call that takes this time.
inline int After(std::chrono::nanoseconds time, int result) {
  Calls().time_passed += time;
  return result;
}
// The result of a call that fails with this errno value.
inline int Failure(int error) {
  errno = error;
  return -1;
}

// A clock for one test: while it lives, time passes only where the event pump waits, and passes at once.
//
// What is ready is still asked of the system, so real sockets and terminals work as ever. Every wait is recorded.
class VirtualClock {
 public:
  struct Wait {
    std::chrono::nanoseconds start;
    std::chrono::nanoseconds limit;
  };

  VirtualClock() { Calls().clock = this; }
  ~VirtualClock() { Calls() = {}; }

  std::vector<Wait> waits;

  // Called before each wait. A positive result is an errno value that the wait fails with.
  std::function<int(const Wait& wait)> before_wait;

  // Called when nothing is ready. False: time stands still until something is, or until this returns true. What it
  // does may itself make something ready.
  std::function<bool()> may_pass;

  void Pass(std::chrono::nanoseconds time) { Calls().time_passed += time; }

  // What ppoll does meanwhile.
  int OnWait(pollfd* polled, nfds_t count, std::chrono::nanoseconds limit);

  // The pump's runs so far, by their lengths in milliseconds, with a dot after one for each poll that followed its
  // last wait. Equal ones in a row are one text: "1000", "3 x 200.", "100 x 10".
  std::vector<std::string> Runs() const;
};

// Strikes when its turn comes, and if it lasts each time after that.
struct Fault {
  std::atomic<long> turns_left = 0;  // one more than there are until it strikes; 0 while it never does
  bool lasts = false;

  bool Strikes() {
    if (turns_left > 1) return --turns_left == 1;
    return turns_left == 1 && lasts;
  }
  bool HasStruck() const { return turns_left == 1; }
};

extern Fault allocation_fault;
extern std::atomic<std::size_t> largest_allocation;

#endif  // TESTS_SYSTEM_CALLS_H_
