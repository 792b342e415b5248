#include "simulator/expectations.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "simulator/format.h"

namespace {

std::string Shown(std::string_view bytes) {
  return Quoted(Printable(bytes));
}

}  // namespace

void Expectations::DeviceReceives(const std::string& bytes) {
  constexpr std::size_t kMaxCommandSize = 17;  // four UTF-8 characters and a letter
  const std::string& received = session_.DeviceBytes();
  device_expected_ = true;
  const auto decided = [&] {
    const auto [here, there] = std::ranges::mismatch(received, bytes);
    if (there == bytes.end()) return true;
    // If they differ, wait for the remaining bytes, which the message shows and the next expectation must skip.
    const bool all = received.size() >= bytes.size() + kMaxCommandSize || session_.DeviceEnd().IsQuiet();
    return here != received.end() && all;
  };
  try {
    session_.Await(decided, "the device to receive " + Shown(bytes));
  } catch (const StepFailed&) {
    session_.RemoveDeviceBytes(received.size());
    throw;
  }
  if (received.starts_with(bytes)) {
    session_.RemoveDeviceBytes(bytes.size());
    return;
  }
  std::string_view wanted = bytes;
  std::string_view got = received;
  while (FirstPiece(wanted) == FirstPiece(got)) {
    got.remove_prefix(FirstPiece(got).size());
    wanted.remove_prefix(FirstPiece(wanted).size());
  }
  const std::size_t same = bytes.size() - wanted.size();
  const std::string after = same == 0 ? "" : " after " + std::to_string(same) + " correct bytes";
  const std::string why = "expected the device to receive " + Shown(wanted) + after + ", but it received " + Shown(got);
  // Remove as many commands as were expected, so that the next expectation is compared with those after them.
  for (; !wanted.empty(); wanted.remove_prefix(FirstPiece(wanted).size())) got.remove_prefix(FirstPiece(got).size());
  session_.RemoveDeviceBytes(received.size() - got.size());
  throw StepFailed(why);
}

void Expectations::DeviceReceivesStream() {
  if (session_.StreamBytes().empty()) throw StepFailed("no stream was sent");
  DeviceReceives(session_.StreamBytes());
}

void Expectations::DriverLogs(const std::string& text) {
  const std::vector<SimulatedHost::LogEntry>& log = session_.HostEnd().Log();
  std::size_t seen = logs_seen_;  // if this fails, the next expectation starts from the same place
  const auto logged = [&] {
    while (seen < log.size()) {
      if (log[seen++].text == text) return true;
    }
    return false;
  };
  try {
    session_.Await(logged, "the log entry " + Shown(text));
  } catch (const StepFailed& failure) {
    // A text copied from a transcript may lack a trailing blank or the rest of the entry.
    const std::string_view begin = std::string_view(text).substr(0, text.find_last_not_of(' ') + 1);
    const auto is_near = [begin](const SimulatedHost::LogEntry& entry) { return entry.text.starts_with(begin); };
    const auto near = std::ranges::find_if(log.begin() + static_cast<std::ptrdiff_t>(logs_seen_), log.end(), is_near);
    if (begin.empty() || near == log.end()) throw;
    throw StepFailed(std::string(failure.what()) + "; the driver logged " + Shown(near->text));
  }
  logs_seen_ = seen;
}

void Expectations::ConsoleShows(const std::string& text) {
  session_.Await([&] { return session_.Driver().Output().Received.find(text) != std::string::npos; },
                 "the console to show " + Shown(text));
}

void Expectations::DriverBecomesIdle() {
  constexpr int kSamples = 250;
  constexpr int kMaxBusy = kSamples / 5;
  constexpr double kMaxSleepsPerSecond = 50;
  ChildProcess& driver = session_.Driver();
  int samples = 0;
  int busy = 0;
  long sleeps = 0;
  std::chrono::nanoseconds start{};
  const auto is_idle = [&] {
    if (samples == 0) {
      busy = 0;
      sleeps = driver.Sleeps();
      start = platform::MonotonicNow();
    }
    if (driver.IsBusy()) ++busy;
    if (++samples < kSamples) return false;
    samples = 0;
    const std::chrono::duration<double> elapsed = platform::MonotonicNow() - start;
    return busy <= kMaxBusy && static_cast<double>(driver.Sleeps() - sleeps) <= kMaxSleepsPerSecond * elapsed.count();
  };
  session_.Await([&] { return driver.Status() || is_idle(); }, "the driver to become idle");
  if (driver.Status()) throw StepFailed("expected the driver to be idle, but it ended with " + session_.ExitState());
}

void Expectations::DriverEnds() {
  session_.AwaitEnd();
  if (session_.Driver().Status() == 0) return;
  throw StepFailed("expected status 0, but the driver ended with " + session_.ExitState());
}

void Expectations::MemoryGrewByLessThan(std::int32_t mebibytes) {
  constexpr long kKibibytes = 1024;
  if (!session_.DriverHasEnded()) throw StepFailed("the peak memory is known only after the driver has ended");
  const long more = session_.Driver().PeakMemoryKiB() - session_.MemoryWhenReadyKiB();
  if (more < mebibytes * kKibibytes) return;
  throw StepFailed("the driver used " + std::to_string(more) + " KiB more than when it was ready");
}

bool Expectations::Verdict() {
  bool passed = session_.Driver().Status() == 0;
  const auto fail = [&](const std::string& why) {
    session_.Output().Problem(why);
    session_.Recording().Failed({}, why);
    passed = false;
  };
  if (const std::string& unexpected = session_.HostEnd().Unexpected(); !unexpected.empty()) {
    fail("the host received unexpected bytes: " + Shown(unexpected));
  }
  if (device_expected_ && !session_.DeviceBytes().empty()) {
    fail("the device received unexpected bytes: " + Shown(session_.DeviceBytes()));
  }
  return passed;
}
