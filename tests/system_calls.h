// Stands before system calls of the test program, so that a test can count them, answer them or let time pass.

#ifndef TESTS_SYSTEM_CALLS_H_
#define TESTS_SYSTEM_CALLS_H_

#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>

// A hook that is not set, or returns nothing, lets the call through to the system.
struct SystemCalls {
  std::function<bool()> fails;  // asked by each call first, which then fails with EIO
  std::function<void(int socket, const sockaddr* address, socklen_t size)> before_connect;
  std::function<void()> before_ppoll;
  std::function<std::optional<int>(pollfd* polled, nfds_t count, std::chrono::nanoseconds limit)> on_ppoll;
  std::function<std::optional<int>(std::chrono::nanoseconds time)> on_nanosleep;
  std::function<std::optional<ssize_t>(int descriptor, std::size_t count)> on_write;
  std::function<std::optional<int>(int milliseconds)> on_poll;
  std::function<std::optional<int>(int descriptor, unsigned long request, void* argument)> on_ioctl;
  std::function<std::optional<int>(int descriptor)> on_tcdrain;
  std::function<void(int descriptor)> before_tcflush;
  std::function<void(int descriptor)> before_close;
  std::function<void(const char* path)> before_open;

  // Added to the monotonic clock.
  std::chrono::nanoseconds time_passed{};
  // What the monotonic clock shows in place of the system's, when set.
  std::optional<std::chrono::nanoseconds> now;
  // What the alarm was last set to, while there is one.
  std::optional<std::chrono::nanoseconds> alarm;
};

SystemCalls& Calls();

// Waits in the system, whatever the hooks say.
int SystemPpoll(pollfd* polled, nfds_t count, std::chrono::nanoseconds limit);

#endif  // TESTS_SYSTEM_CALLS_H_
