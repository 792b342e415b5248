// Fortified headers define some of these functions inline, and clang does not allow redefining them.
#undef _FORTIFY_SOURCE

#include "tests/system_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <memory>
#include <new>
#include <thread>

using std::chrono::nanoseconds;

FailureInjector allocation_failure;
std::atomic<std::size_t> allocated_bytes = 0;

namespace {

nanoseconds FromTimespec(const timespec& time) {
  return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

// Calls the system's function. Looks it up by our function's symbol name, which headers change for 64-bit times and
// file offsets.
template <auto kOwn, typename... Arguments>
auto System(Arguments... arguments) {
  static const auto system = [] {
    Dl_info found{};
    dladdr(reinterpret_cast<const void*>(kOwn), &found);
    return reinterpret_cast<decltype(kOwn)>(dlsym(RTLD_NEXT, found.dli_sname));
  }();
  return system(arguments...);
}

const std::thread::id main_thread = std::this_thread::get_id();

// Counts a call of the main thread; returns its replacement result, if there is one.
std::optional<long> Answer(Call call, long number = 0, unsigned long value = 0, void* argument = nullptr) {
  if (std::this_thread::get_id() != main_thread) return std::nullopt;  // an abandoned lookup
  SystemCalls& calls = Calls();
  ++calls.counts.at(call);
  if (calls.error) {
    if (const int error = calls.error(call); error != 0) return Failure(error);
  }
  const auto& hook = calls.hooks.at(call);
  return hook ? hook(number, value, argument) : std::nullopt;
}

// The same; without a replacement result, makes the system call.
template <typename MakeCall>
auto AnswerOr(MakeCall make_call, Call call, long number = 0, unsigned long value = 0, void* argument = nullptr) {
  const auto answer = Answer(call, number, value, argument);
  return answer ? static_cast<decltype(make_call())>(*answer) : make_call();
}

}  // namespace

SystemCalls& Calls() {
  // Never destroyed, because an abandoned lookup may outlive the tests.
  static SystemCalls& calls = *std::make_unique<SystemCalls>().release();
  return calls;
}

int VirtualClock::OnWait(pollfd* polled, nfds_t count, int limit) {
  int ready = System<&poll>(polled, count, 0);
  if (ready != 0 || limit == 0) return ready;
  constexpr int kMaxSlices = 60'000;
  for (int slices = 0; ready == 0 && may_pass && !may_pass() && slices < kMaxSlices; ++slices) {
    ready = System<&poll>(polled, count, 1);
  }
  if (ready == 0) ready = System<&poll>(polled, count, 0);
  if (ready == 0) {
    sleeps.emplace_back(limit);
    Pass(sleeps.back());
  }
  return ready;
}

void* operator new(std::size_t size) {
  void* const memory = allocation_failure.ShouldFail() ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  allocated_bytes += malloc_usable_size(memory);
  return memory;
}
void operator delete(void* memory) noexcept {
  allocated_bytes -= malloc_usable_size(memory);
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  operator delete(memory);
}

extern "C" {

// The C++ library's allocations may go through AddressSanitizer while ours do not; this mismatch is not an error.
const char* __asan_default_options() {
  return "alloc_dealloc_mismatch=0";
}

int connect(int socket, const sockaddr* address, socklen_t size) {
  const auto answer = Answer(kConnect, socket, size, const_cast<sockaddr*>(address));
  if (answer && errno != EINTR) return static_cast<int>(*answer);
  const long result = syscall(SYS_connect, socket, address, size);
  return static_cast<int>(answer ? Failure(EINTR) : result);  // an interrupted connect continues
}

int socket(int family, int kind, int protocol) noexcept {
  return static_cast<int>(AnswerOr([=] { return syscall(SYS_socket, family, kind, protocol); }, kSocket));
}

ssize_t read(int descriptor, void* bytes, std::size_t count) {
  return AnswerOr([=] { return syscall(SYS_read, descriptor, bytes, count); }, kRead, descriptor, count, bytes);
}

ssize_t write(int descriptor, const void* bytes, std::size_t count) {
  return AnswerOr([=] { return syscall(SYS_write, descriptor, bytes, count); }, kWrite, descriptor, count,
                  const_cast<void*>(bytes));
}

int tcgetattr(int descriptor, termios* settings) noexcept {
  return AnswerOr([=] { return System<&tcgetattr>(descriptor, settings); }, kGetTty, descriptor, 0, settings);
}

int tcsetattr(int descriptor, int when, const termios* settings) noexcept {
  return AnswerOr([=] { return System<&tcsetattr>(descriptor, when, settings); }, kSetTty, descriptor, 0,
                  const_cast<termios*>(settings));
}

int tcdrain(int descriptor) {
  return AnswerOr([=] { return System<&tcdrain>(descriptor); }, kDrain, descriptor);
}

int tcflush(int descriptor, int queue) noexcept {
  return AnswerOr([=] { return System<&tcflush>(descriptor, queue); }, kFlush, descriptor);
}

int poll(pollfd* polled, nfds_t count, int limit) {
  const auto wait = [=] {
    return Calls().clock != nullptr ? Calls().clock->OnWait(polled, count, limit) : System<&poll>(polled, count, limit);
  };
  return AnswerOr(wait, kPoll, limit, count, polled);
}

// Called by fortified code if the array size is known.
int __poll_chk(pollfd* polled, nfds_t count, int limit, std::size_t /*size*/) {
  return poll(polled, count, limit);
}

int nanosleep(const timespec* time, timespec* left) {
  const auto duration = FromTimespec(*time);
  const auto sleep = [=] {
    return Calls().clock == nullptr ? System<&nanosleep>(time, left) : static_cast<int>(After(duration, 0));
  };
  return AnswerOr(sleep, kSleep, static_cast<long>(duration / std::chrono::milliseconds(1)));
}

int ioctl(int descriptor, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  const auto call = [=] { return syscall(SYS_ioctl, descriptor, request, argument); };
  return static_cast<int>(AnswerOr(call, kIoctl, descriptor, request, argument));
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return static_cast<int>(AnswerOr([=] { return syscall(SYS_openat, AT_FDCWD, path, flags, mode); }, kOpen));
}

// Called by fortified code without O_CREAT.
int __open64_2(const char* path, int flags) {
  return open(path, flags, 0);
}

int close(int descriptor) {
  return static_cast<int>(AnswerOr([=] { return syscall(SYS_close, descriptor); }, kClose, descriptor));
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const int result = System<&clock_gettime>(clock, time);
  if (result != 0 || clock != CLOCK_MONOTONIC) return result;
  const nanoseconds start = Calls().clock != nullptr ? std::chrono::hours(1) : FromTimespec(*time);
  const nanoseconds now = start + Calls().time_passed;
  time->tv_sec = static_cast<decltype(time->tv_sec)>(now / std::chrono::seconds(1));
  time->tv_nsec = static_cast<decltype(time->tv_nsec)>((now % std::chrono::seconds(1)).count());
  return 0;
}

int setitimer(int kind, const itimerval* times, itimerval* before) noexcept {
  const auto first = std::chrono::seconds(times->it_value.tv_sec) + std::chrono::microseconds(times->it_value.tv_usec);
  Calls().alarm = first == nanoseconds::zero() ? std::nullopt : std::optional<nanoseconds>(first);
  return System<&setitimer>(kind, times, before);
}

}  // extern "C"
