// Debian 12's C library checks a ppoll that takes its time for one of 32 bits, where time has 64 on a 32-bit machine.
#undef _FORTIFY_SOURCE

#include "platform/event_pump.h"

#include <poll.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "platform/clock.h"

namespace platform {
namespace {

void Wait(std::vector<pollfd>& polled, std::chrono::nanoseconds limit) {
  const timespec time = ToTimespec(limit);
  if (ppoll(polled.data(), polled.size(), &time, nullptr) >= 0) return;
  for (pollfd& entry : polled) entry.revents = 0;
  if (errno == EINTR) return;
  // ppoll is out of memory: back off instead of spinning.
  const timespec backoff = ToTimespec(std::min<std::chrono::nanoseconds>(limit, std::chrono::milliseconds(10)));
  nanosleep(&backoff, nullptr);
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
    const Interest interest = source.PrepareToWait();
    const std::size_t first_polled = polled.size();
    if (interest.read || interest.write) {
      const int events = (interest.read ? POLLIN : 0) | (interest.write ? POLLOUT : 0);
      polled.push_back({interest.descriptor, static_cast<short>(events), 0});
    }
    for (const Descriptor& descriptor : interest.connecting) polled.push_back({descriptor.Number(), POLLOUT, 0});
    const std::size_t polled_count = polled.size() - first_polled;
    if (polled_count == 0 && !interest.pending && interest.due == Interest::kNever) return;
    participants.push_back({slot, source.identity_, first_polled, polled_count, interest.pending, interest.due});
    any_pending_ = any_pending_ || interest.pending;
    first_due_ = std::min(first_due_, interest.due);
  }

  // How long to wait when there are `limit` left: until something is due at most.
  std::chrono::nanoseconds WaitingTime(std::chrono::nanoseconds limit) const {
    if (any_pending_) return std::chrono::nanoseconds::zero();
    if (first_due_ == Interest::kNever) return limit;
    return std::clamp(first_due_ - MonotonicNow(), std::chrono::nanoseconds::zero(), limit);
  }

  bool IsReady(const Participant& participant) const {
    const auto first = polled.begin() + static_cast<std::ptrdiff_t>(participant.first_polled);
    return participant.pending ||
           std::any_of(first, first + static_cast<std::ptrdiff_t>(participant.polled_count),
                       [](const pollfd& entry) { return entry.revents != 0; }) ||
           (participant.due != Interest::kNever && participant.due <= MonotonicNow());
  }

  std::vector<pollfd> polled;
  std::vector<Participant> participants;

 private:
  EventPump& pump_;
  bool any_pending_ = false;
  std::chrono::nanoseconds first_due_ = Interest::kNever;
};

EventPump& EventPump::Instance() {
  static EventPump pump;
  return pump;
}

EventPump::EventPump() = default;

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
  Wait(pass.polled, pass.WaitingTime(limit));
  for (std::size_t i = 0; i < pass.participants.size(); ++i) {
    const Participant& participant = pass.participants[i];
    EventSource* const source = sources_[participant.slot];
    if (source == nullptr || source->identity_ != participant.identity) continue;
    if (pass.IsReady(participant)) source->HandleReady();
  }
}

void EventPump::Add(EventSource* source) {
  sources_.push_back(source);
}

void EventPump::Remove(const EventSource* source) {
  const auto place = std::ranges::find(sources_, source);
  if (depth_ > 0) {
    *place = nullptr;
  } else {
    sources_.erase(place);
  }
}

void YieldToBackground() {
  std::this_thread::yield();
}

}  // namespace platform
