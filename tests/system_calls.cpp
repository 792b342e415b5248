// Fortified headers bring bodies of their own for some of these calls, which clang lets nobody replace.
#undef _FORTIFY_SOURCE

#include "tests/system_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <memory>
#include <new>

#include "platform/clock.h"

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

Fault allocation_fault;
std::atomic<std::size_t> largest_allocation = 0;

namespace {

nanoseconds FromTimespec(const timespec& time) {
  return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

// Calls the system's function under the name of the own one: with 64-bit time ppoll can be __ppoll64.
template <auto kOwn, typename... Arguments>
auto System(Arguments... arguments) {
  static const auto system = [] {
    Dl_info found{};
    dladdr(reinterpret_cast<const void*>(kOwn), &found);
    return reinterpret_cast<decltype(kOwn)>(dlsym(RTLD_NEXT, found.dli_sname));
  }();
  return system(arguments...);
}

int SystemPpoll(pollfd* polled, nfds_t count, nanoseconds limit) {
  const timespec time = platform::ToTimespec(limit);
  return System<&ppoll>(polled, count, &time, nullptr);
}

// What a hook answers in the system's place; every call that can fail comes by here.
template <typename... Arguments, typename Result = int>
std::optional<Result> Answer(const std::function<std::optional<Result>(Arguments...)>& hook,
                             std::type_identity_t<Arguments>... arguments) {
  if (const auto& fails = Calls().fails; fails && fails()) return Failure(EIO);
  return hook ? hook(arguments...) : std::nullopt;
}
std::optional<int> Answer() {
  return Answer(std::function<std::optional<int>()>());
}

}  // namespace

SystemCalls& Calls() {
  // Never destroyed: a look-up that was given up may outlive its test, and then the tests.
  static SystemCalls& calls = *std::make_unique<SystemCalls>().release();
  return calls;
}

int VirtualClock::OnWait(pollfd* polled, nfds_t count, nanoseconds limit) {
  waits.push_back({platform::MonotonicNow(), limit});
  if (before_wait) {
    if (const int error = before_wait(waits.back()); error > 0) return Failure(error);
  }
  constexpr milliseconds kRealSlice{1};
  constexpr int kRealSlices = 60'000;
  int ready = SystemPpoll(polled, count, nanoseconds::zero());
  if (ready != 0 || limit == nanoseconds::zero()) return ready;
  for (int slice = 0; ready == 0 && may_pass && !may_pass() && slice < kRealSlices; ++slice) {
    ready = SystemPpoll(polled, count, kRealSlice);
    if (slice + 1 == kRealSlices) ADD_FAILURE() << "what the test waits for did not come";
  }
  if (ready == 0) ready = SystemPpoll(polled, count, nanoseconds::zero());
  if (ready == 0) Pass(limit);
  return ready;
}

std::vector<std::string> VirtualClock::Runs() const {
  std::vector<std::string> each;
  nanoseconds deadline{-1};
  for (const Wait& wait : waits) {
    if (wait.limit == nanoseconds::zero()) {
      if (each.empty()) each.emplace_back();
      each.back() += '.';
    } else if (wait.start + wait.limit != deadline) {  // else a run that goes on with what is left of its time
      deadline = wait.start + wait.limit;
      each.push_back(std::to_string(std::chrono::round<milliseconds>(wait.limit).count()));
    }
  }
  std::vector<std::string> runs;
  for (std::size_t i = 0; i < each.size();) {
    const std::size_t first = i;
    while (i < each.size() && each[i] == each[first]) ++i;
    runs.push_back(i - first == 1 ? each[first] : std::to_string(i - first) + " x " + each[first]);
  }
  return runs;
}

void* operator new(std::size_t size) {
  largest_allocation = std::max(largest_allocation.load(), size);
  void* const memory = allocation_fault.Strikes() ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

extern "C" {

// Where the C++ library's own allocations go by AddressSanitizer instead, it must not take ours for a mistake.
const char* __asan_default_options() {
  return "alloc_dealloc_mismatch=0";
}

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
  if (const auto answer = Answer()) return *answer;
  return System<&tcgetattr>(descriptor, settings);
}

int tcsetattr(int descriptor, int when, const termios* settings) noexcept {
  if (const auto answer = Answer()) return *answer;
  return System<&tcsetattr>(descriptor, when, settings);
}

int ppoll(pollfd* polled, nfds_t count, const timespec* limit, const sigset_t* /*mask*/) {
  ++Calls().ppolls;
  if (const auto answer = Answer()) return *answer;
  if (Calls().clock != nullptr) return Calls().clock->OnWait(polled, count, FromTimespec(*limit));
  return SystemPpoll(polled, count, FromTimespec(*limit));
}

int nanosleep(const timespec* time, timespec* left) {
  if (const auto answer = Answer()) return *answer;
  if (Calls().clock == nullptr) return System<&nanosleep>(time, left);
  Calls().time_passed += FromTimespec(*time);
  return 0;
}

ssize_t write(int descriptor, const void* bytes, std::size_t count) {
  ++Calls().writes;
  if (const auto answer = Answer(Calls().on_write, descriptor, count)) return *answer;
  return syscall(SYS_write, descriptor, bytes, count);
}

int poll(pollfd* polled, nfds_t count, int limit) {
  if (const auto answer = Answer(Calls().on_poll, limit)) return *answer;
  return System<&poll>(polled, count, limit);
}

// What fortified code calls where the size of the array is known.
int __poll_chk(pollfd* polled, nfds_t count, int limit, std::size_t /*size*/) {
  return poll(polled, count, limit);
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
  if (const auto answer = Answer(Calls().on_tcdrain, descriptor)) return *answer;
  return System<&tcdrain>(descriptor);
}

int tcflush(int descriptor, int queue) {
  if (const auto& hook = Calls().before_tcflush) hook(descriptor);
  return System<&tcflush>(descriptor, queue);
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
  const int result = System<&clock_gettime>(clock, time);
  if (result != 0 || clock != CLOCK_MONOTONIC) return result;
  const nanoseconds start = Calls().clock != nullptr ? std::chrono::hours(1) : FromTimespec(*time);
  *time = platform::ToTimespec(start + Calls().time_passed);
  return 0;
}

int setitimer(int kind, const itimerval* times, itimerval* before) noexcept {
  const auto first = std::chrono::seconds(times->it_value.tv_sec) + std::chrono::microseconds(times->it_value.tv_usec);
  Calls().alarm = first == nanoseconds::zero() ? std::nullopt : std::optional<nanoseconds>(first);
  return System<&setitimer>(kind, times, before);
}

}  // extern "C"
