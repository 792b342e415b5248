// Session: expectations, and waiting for them.

#include <algorithm>

#include "peers/waiting.h"
#include "platform/clock.h"
#include "platform/event_pump.h"
#include "simulator/interruption.h"
#include "simulator/session.h"
#include "simulator/wording.h"

namespace {

// Formats bytes for a message: the bytes themselves if few, else their number.
std::string Shown(const std::string& bytes) {
  return bytes.size() > kMostShown ? std::to_string(bytes.size()) + " bytes" : Quoted(Printable(bytes));
}

}  // namespace

bool Session::Wait(std::int32_t milliseconds) {
  const auto end = platform::MonotonicNow() + std::chrono::milliseconds(milliseconds);
  while (platform::MonotonicNow() < end) {
    constexpr std::chrono::milliseconds kSlice{50};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - platform::MonotonicNow());
    platform::EventPump::Instance().Run(std::clamp(left, {}, kSlice));
    device_.ShowOverdue();
    if (interruption::IsPending()) return Fail("interrupted");
  }
  return true;
}

bool Session::ExpectDevice(const std::string& bytes) {
  device_expected_ = true;
  const auto decided = [this, &bytes] {
    const auto [here, there] = std::ranges::mismatch(device_bytes_, bytes);
    if (there == bytes.end()) return true;
    // If they differ, wait until all have arrived, for the message and for the next expectation.
    return here != device_bytes_.end() && (device_bytes_.size() >= bytes.size() || device_.IsQuiet());
  };
  const bool came = Await(decided, "the device to receive " + Shown(bytes));
  const bool passed = came && device_bytes_.starts_with(bytes);
  if (came && !passed) {
    const auto same = std::ranges::mismatch(device_bytes_, bytes).in1;
    const auto index = static_cast<std::size_t>(same - device_bytes_.begin());
    const std::string after = index == 0 ? "" : " after " + std::to_string(index) + " correct bytes";
    Fail("expected the device to receive " + Shown(bytes.substr(index)) + after + ", but it received " +
         Shown(device_bytes_.substr(index)));
  }
  // A failed expectation also consumes its bytes, so that the next one is checked independently.
  device_bytes_.erase(0, bytes.size());
  return passed;
}

bool Session::ExpectStream() {
  return stream_bytes_.empty() ? Fail("no stream was sent") : ExpectDevice(stream_bytes_);
}

bool Session::ExpectLog(const std::string& text) {
  const std::size_t first = logs_seen_;
  const auto logged = [this, &text] {
    while (logs_seen_ < host_.Log().size()) {
      if (host_.Log()[logs_seen_++].text == text) return true;
    }
    return false;
  };
  if (Await(logged, "the log line " + Quoted(Printable(text)))) return true;
  logs_seen_ = first;  // the next expectation starts from the same place
  return false;
}

bool Session::ExpectConsole(const std::string& text) {
  return Await([&] { return driver_.Output().Received.find(text) != std::string::npos; },
               "the console to show " + Quoted(Printable(text)));
}

bool Session::ExpectIdle() {
  constexpr int kSamples = 250;
  constexpr int kMostBusy = kSamples / 5;
  constexpr double kMostSleepsASecond = 50;
  int samples = 0;
  int busy = 0;
  long sleeps = 0;
  std::chrono::nanoseconds start{};
  const auto is_idle = [&] {
    if (samples == 0) {
      busy = 0;
      sleeps = driver_.Sleeps();
      start = platform::MonotonicNow();
    }
    if (driver_.IsBusy()) ++busy;
    if (++samples < kSamples) return false;
    samples = 0;
    const std::chrono::duration<double> elapsed = platform::MonotonicNow() - start;
    return busy <= kMostBusy && static_cast<double>(driver_.Sleeps() - sleeps) <= kMostSleepsASecond * elapsed.count();
  };
  const auto decided = [&] { return driver_.Status() || is_idle(); };
  if (!Await(decided, "the driver to become idle")) return false;
  return !driver_.Status() || Fail("expected the driver to be idle, but it ended with " + ExitState());
}

bool Session::ExpectEnd() {
  if (!AwaitEnd([this] { return driver_.Status().has_value(); })) return false;
  return driver_.Status() == 0 || Fail("expected status 0, but the driver ended with " + ExitState());
}

bool Session::ExpectMemory(std::int32_t mebibytes) {
  constexpr long kKibibytes = 1024;
  if (!driver_.Status()) return Fail("the peak memory is known only after the driver has ended");
  const long more = driver_.PeakMemoryKiB() - memory_when_ready_;
  return more < mebibytes * kKibibytes ||
         Fail("the driver used " + std::to_string(more) + " KiB more than when it was ready");
}

std::size_t Session::Progress() {
  const std::size_t unsent = host_.Link() == nullptr ? 0 : HostLink().Unsent();
  return bytes_sent_ - std::min(unsent, bytes_sent_) + device_.BytesSeen() + host_.Log().size() +
         driver_.Output().Received.size();
}

bool Session::AwaitEnd(const std::function<bool()>& ended) {
  constexpr std::chrono::seconds kPauseAtEnd{2};
  return Await(ended, "the driver to end", kPauseAtEnd);
}

bool Session::Await(const std::function<bool()>& condition, const std::string& what,
                    std::chrono::seconds driver_pause) {
  // Progress restarts the timeout, so that a slow machine does not fail the session; the total is bounded. Once the
  // driver has ended, only its remaining output can still arrive.
  constexpr int kMostPatiences = 20;
  constexpr int kMostPassesAfterEnd = 20;
  Patience left(patience_ + driver_pause, kMostPatiences);
  int passes_after_end = 0;
  std::size_t before = Progress();
  while (!condition()) {
    if (interruption::IsPending()) return Fail("interrupted while waiting for " + what);
    if (transcript_.WriteError() != 0) return false;
    passes_after_end = driver_.Status() ? passes_after_end + 1 : 0;
    if (passes_after_end > kMostPassesAfterEnd || !left.Wait()) {
      return Fail((driver_.Status() ? "the driver has ended; gave up waiting for " : "timed out waiting for ") + what);
    }
    device_.ShowOverdue();
    if (const std::size_t now = Progress(); now != before) {
      before = now;
      left.Renew();
      passes_after_end = 0;
    }
  }
  return true;
}

bool Session::Fail(const std::string& why) {
  transcript_.Problem(position_ + why);
  return false;
}
