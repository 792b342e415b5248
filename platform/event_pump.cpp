#include "platform/event_pump.h"

#include <poll.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>

#include "platform/ticks.h"

namespace platform {
namespace {

std::uint64_t NextIdentity() {
  static std::uint64_t last = 0;
  return ++last;
}

timespec ToTimespec(std::chrono::nanoseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {static_cast<time_t>(seconds.count()), static_cast<long>((time - seconds).count())};
}

void Wait(std::vector<pollfd>& polled, std::chrono::nanoseconds limit) {
  const timespec time = ToTimespec(limit);
  if (ppoll(polled.data(), polled.size(), &time, nullptr) >= 0) return;
  for (pollfd& entry : polled) entry.revents = 0;
  if (errno == EINTR) return;
  // The kernel is short of memory: nothing can be waited for now, and asking again at once would only spin.
  const timespec breath = ToTimespec(std::min<std::chrono::nanoseconds>(limit, std::chrono::milliseconds(10)));
  nanosleep(&breath, nullptr);
}

}  // namespace

// Counts the passes under way, takes the pump's spare memory for one, and tidies up after the outermost.
class EventPump::PassScope {
 public:
  explicit PassScope(EventPump& pump) : pump_(pump) {
    ++pump_.depth_;
    polled.swap(pump_.polled_);
    participants.swap(pump_.participants_);
    polled.clear();
    participants.clear();
  }
  ~PassScope() {
    polled.swap(pump_.polled_);
    participants.swap(pump_.participants_);
    if (--pump_.depth_ == 0) std::erase(pump_.sources_, nullptr);
  }
  PassScope(const PassScope&) = delete;
  PassScope& operator=(const PassScope&) = delete;

  // Lets a source prepare itself, and has it take part if there is anything that it wants.
  void Admit(std::size_t slot) {
    EventSource& source = *pump_.sources_[slot];
    const EventSource::Interest interest = source.PrepareToWait();
    const bool waits = interest.read || interest.write;
    if (!waits && !interest.pending) return;
    const int events = (interest.read ? POLLIN : 0) | (interest.write ? POLLOUT : 0);
    polled.push_back({waits ? interest.descriptor : -1, static_cast<short>(events), 0});
    participants.push_back({slot, source.identity_, interest.pending});
    any_pending = any_pending || interest.pending;
  }

  std::vector<pollfd> polled;
  std::vector<Participant> participants;
  bool any_pending = false;

 private:
  EventPump& pump_;
};

EventPump& EventPump::Instance() {
  static EventPump pump;
  return pump;
}

EventPump::EventPump() {
  std::signal(SIGPIPE, SIG_IGN);
}

EventPump::~EventPump() = default;

void EventPump::Run(std::int32_t milliseconds) {
  const auto deadline = MonotonicNow() + std::chrono::milliseconds(milliseconds);
  auto left = deadline - MonotonicNow();
  do {
    Pass(std::max(left, std::chrono::nanoseconds::zero()), nullptr);
    left = deadline - MonotonicNow();
  } while (left.count() > 0);
}

void EventPump::RunOnly(EventSource& source) {
  Pass(std::chrono::nanoseconds::zero(), &source);
}

void EventPump::Pass(std::chrono::nanoseconds limit, const EventSource* only) {
  PassScope pass(*this);
  for (std::size_t slot = 0; slot < sources_.size(); ++slot) {
    if (sources_[slot] != nullptr && (only == nullptr || sources_[slot] == only)) pass.Admit(slot);
  }
  if (only != nullptr && pass.participants.empty()) return;
  Wait(pass.polled, pass.any_pending ? std::chrono::nanoseconds::zero() : limit);
  for (std::size_t i = 0; i < pass.participants.size(); ++i) {
    const Participant& participant = pass.participants[i];
    EventSource* const source = sources_[participant.slot];
    if (source == nullptr || source->identity_ != participant.identity) continue;
    if (participant.pending || pass.polled[i].revents != 0) source->HandleReady();
  }
}

void EventPump::Add(EventSource* source) {
  sources_.push_back(source);
}

void EventPump::Remove(const EventSource* source) {
  const auto place = std::find(sources_.begin(), sources_.end(), source);
  if (depth_ > 0) {
    *place = nullptr;
  } else {
    sources_.erase(place);
  }
}

void YieldToBackground() {
  std::this_thread::yield();
}

EventSource::EventSource() : identity_(NextIdentity()) {
  EventPump::Instance().Add(this);
}

EventSource::~EventSource() {
  for (Watch* watch = watch_; watch != nullptr; watch = watch->outer_) watch->source_ = nullptr;
  EventPump::Instance().Remove(this);
}

void EventSource::DescriptorChanged() {
  identity_ = NextIdentity();
}

}  // namespace platform
