#include "tests/system_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>

#include "platform/ticks.h"

namespace {

std::chrono::nanoseconds FromTimespec(const timespec& time) {
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

// The call as the system provides it, under the name of the own one: with 64-bit time ppoll can be __ppoll64.
template <typename Call>
Call* System(Call* own) {
  Dl_info found{};
  dladdr(reinterpret_cast<const void*>(own), &found);
  return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, found.dli_sname));
}

// What a hook answers in the system's place; every call that can fail comes by here.
template <typename... Arguments, typename Result = int>
std::optional<Result> Answer(const std::function<std::optional<Result>(Arguments...)>& hook,
                             std::type_identity_t<Arguments>... arguments) {
  if (const auto& fails = Calls().fails; fails && fails()) {
    errno = EIO;
    return -1;
  }
  return hook ? hook(arguments...) : std::nullopt;
}
std::optional<int> Answer() {
  return Answer(std::function<std::optional<int>()>());
}

}  // namespace

SystemCalls& Calls() {
  static SystemCalls calls;
  return calls;
}

int SystemPpoll(pollfd* polled, nfds_t count, std::chrono::nanoseconds limit) {
  static const auto system = System(&ppoll);
  const timespec time = platform::ToTimespec(limit);
  return system(polled, count, &time, nullptr);
}

extern "C" {

int connect(int socket, const sockaddr* address, socklen_t size) {
  if (const auto& hook = Calls().before_connect) hook(socket, address, size);
  if (const auto answer = Answer()) return *answer;
  return static_cast<int>(syscall(SYS_connect, socket, address, size));
}

int socket(int family, int kind, int protocol) noexcept {
  if (const auto answer = Answer()) return *answer;
  return static_cast<int>(syscall(SYS_socket, family, kind, protocol));
}

ssize_t read(int descriptor, void* bytes, std::size_t count) {
  if (const auto answer = Answer()) return *answer;
  return syscall(SYS_read, descriptor, bytes, count);
}

int tcgetattr(int descriptor, termios* settings) noexcept {
  static const auto system = System(&tcgetattr);
  if (const auto answer = Answer()) return *answer;
  return system(descriptor, settings);
}

int tcsetattr(int descriptor, int when, const termios* settings) noexcept {
  static const auto system = System(&tcsetattr);
  if (const auto answer = Answer()) return *answer;
  return system(descriptor, when, settings);
}

int ppoll(pollfd* polled, nfds_t count, const timespec* limit, const sigset_t* mask) {
  static const auto system = System(&ppoll);
  if (const auto& hook = Calls().before_ppoll) hook();
  if (const auto answer = Answer(Calls().on_ppoll, polled, count, FromTimespec(*limit))) return *answer;
  return system(polled, count, limit, mask);
}

int nanosleep(const timespec* time, timespec* left) {
  static const auto system = System(&nanosleep);
  if (const auto answer = Answer(Calls().on_nanosleep, FromTimespec(*time))) return *answer;
  return system(time, left);
}

ssize_t write(int descriptor, const void* bytes, std::size_t count) {
  if (const auto answer = Answer(Calls().on_write, descriptor, count)) return *answer;
  return syscall(SYS_write, descriptor, bytes, count);
}

int poll(pollfd* polled, nfds_t count, int milliseconds) {
  static const auto system = System(&poll);
  if (const auto answer = Answer(Calls().on_poll, milliseconds)) return *answer;
  return system(polled, count, milliseconds);
}

// What fortified code calls where the size of the array is known.
int __poll_chk(pollfd* polled, nfds_t count, int milliseconds, std::size_t /*size*/) {
  return poll(polled, count, milliseconds);
}

int ioctl(int descriptor, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (const auto answer = Answer(Calls().on_ioctl, descriptor, request, argument)) return *answer;
  return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}

int tcdrain(int descriptor) {
  static const auto system = System(&tcdrain);
  if (const auto answer = Answer(Calls().on_tcdrain, descriptor)) return *answer;
  return system(descriptor);
}

int tcflush(int descriptor, int queue) {
  static const auto system = System(&tcflush);
  if (const auto& hook = Calls().before_tcflush) hook(descriptor);
  return system(descriptor, queue);
}

int close(int descriptor) {
  if (const auto& hook = Calls().before_close) hook(descriptor);
  return static_cast<int>(syscall(SYS_close, descriptor));
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (const auto& hook = Calls().before_open) hook(path);
  if (const auto answer = Answer()) return *answer;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

// What fortified code calls where no file is made.
int __open64_2(const char* path, int flags) {
  return open(path, flags, 0);
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  static const auto system = System(&clock_gettime);
  const int result = system(clock, time);
  if (result != 0 || clock != CLOCK_MONOTONIC) return result;
  *time = platform::ToTimespec(Calls().now.value_or(FromTimespec(*time)) + Calls().time_passed);
  return 0;
}

int timer_settime(timer_t timer, int flags, const itimerspec* times, itimerspec* before) noexcept {
  static const auto system = System(&timer_settime);
  Calls().alarm = FromTimespec(times->it_value);
  return system(timer, flags, times, before);
}

int timer_delete(timer_t timer) noexcept {
  static const auto system = System(&timer_delete);
  Calls().alarm.reset();
  return system(timer);
}

}  // extern "C"
