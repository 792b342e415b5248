#include "simulator/expectations.h"

#include <algorithm>
#include <chrono>

#include "platform/clock.h"
#include "simulator/wording.h"

namespace {

// Formats bytes for a message: the bytes themselves if few, else their number.
std::string Shown(const std::string& bytes) {
  return bytes.size() > kMostShown ? std::to_string(bytes.size()) + " bytes" : Quoted(Printable(bytes));
}

}  // namespace

void Expectations::DeviceReceives(const std::string& bytes) {
  std::string& received = session_.DeviceBytes;
  device_expected_ = true;
  const auto decided = [&] {
    const auto [here, there] = std::ranges::mismatch(received, bytes);
    if (there == bytes.end()) return true;
    // If they differ, wait until all have arrived, for the message and for the next expectation.
    return here != received.end() && (received.size() >= bytes.size() || session_.DeviceEnd().IsQuiet());
  };
  try {
    session_.Await(decided, "the device to receive " + Shown(bytes));
  } catch (const StepFailed&) {
    received.clear();
    throw;
  }
  // A failed expectation also consumes its bytes, so that the next one is checked independently.
  const std::string got = received;
  received.erase(0, bytes.size());
  if (got.starts_with(bytes)) return;
  const auto index = static_cast<std::size_t>(std::ranges::mismatch(got, bytes).in1 - got.begin());
  const std::string after = index == 0 ? "" : " after " + std::to_string(index) + " correct bytes";
  throw StepFailed("expected the device to receive " + Shown(bytes.substr(index)) + after + ", but it received " +
                   Shown(got.substr(index)));
}

void Expectations::DeviceReceivesStream() {
  if (session_.StreamBytes().empty()) throw StepFailed("no stream was sent");
  DeviceReceives(session_.StreamBytes());
}

void Expectations::DriverLogs(const std::string& text) {
  const std::vector<SimulatedHost::LogLine>& log = session_.HostEnd().Log();
  std::size_t seen = logs_seen_;  // if this fails, the next expectation starts from the same place
  const auto logged = [&] {
    while (seen < log.size()) {
      if (log[seen++].text == text) return true;
    }
    return false;
  };
  session_.Await(logged, "the log line " + Quoted(Printable(text)));
  logs_seen_ = seen;
}

void Expectations::ConsoleShows(const std::string& text) {
  session_.Await([&] { return session_.Driver().Output().Received.find(text) != std::string::npos; },
                 "the console to show " + Quoted(Printable(text)));
}

void Expectations::DriverBecomesIdle() {
  constexpr int kSamples = 250;
  constexpr int kMostBusy = kSamples / 5;
  constexpr double kMostSleepsASecond = 50;
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
    return busy <= kMostBusy && static_cast<double>(driver.Sleeps() - sleeps) <= kMostSleepsASecond * elapsed.count();
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
    passed = false;
  };
  if (const std::string& unexpected = session_.HostEnd().Unexpected(); !unexpected.empty()) {
    fail("the host received unexpected bytes: " + Printable(unexpected));
  }
  if (device_expected_ && !session_.DeviceBytes.empty()) {
    fail("the device received unexpected bytes: " + DeviceBytesInWords(session_.DeviceBytes));
  }
  if (session_.CommandsWereLost() && (device_expected_ || !session_.DeviceLinkWasClosedByStep())) {
    fail("commands were lost because the device link was closed");
  }
  return passed;
}
