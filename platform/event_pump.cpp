#include "platform/event_pump.h"

#include <poll.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <thread>

#include "platform/clock.h"
#include "platform/portable.h"

namespace platform {
namespace {

void Wait(std::vector<pollfd>& polled, std::chrono::nanoseconds limit) {
  if (WaitForEvents(polled.data(), polled.size(), limit) >= 0) return;
  for (pollfd& entry : polled) entry.revents = 0;
  if (errno == EINTR) return;
  // The kernel is out of memory: back off instead of spinning.
  const timespec backoff = ToTimespec(std::min<std::chrono::nanoseconds>(limit, std::chrono::milliseconds(10)));
  nanosleep(&backoff, nullptr);
}

}  // namespace

// Makes passes over the sources: collects what each one waits for, waits, and calls those that are ready.
class EventPump::Passes {
 public:
  explicit Passes(EventPump& pump) : pump_(pump) { ++pump_.depth_; }
  ~Passes() {
    if (--pump_.depth_ == 0) std::erase(pump_.sources_, nullptr);
  }
  Passes(const Passes&) = delete;
  Passes& operator=(const Passes&) = delete;

  // Makes one pass that waits for at most `limit`; over only one source if `only` is set.
  void Make(std::chrono::nanoseconds limit, const EventSource* only = nullptr) {
    polled_.clear();
    participants_.clear();
    any_pending_ = false;
    first_due_ = Interest::kNever;
    for (std::size_t slot = 0; slot < pump_.sources_.size(); ++slot) {
      const EventSource* const source = pump_.sources_[slot];
      if (source != nullptr && (only == nullptr || source == only)) Admit(slot);
    }
    if (only != nullptr && participants_.empty()) return;
    WaitFor(limit);
    Deliver();
  }

 private:
  struct Participant {
    std::size_t slot;        // index in the pump's sources
    std::uint64_t identity;  // of the source's descriptor when the pass began
    std::size_t first_polled;
    std::size_t polled_count;
    bool pending;
    std::chrono::nanoseconds due;
  };

  // Adds the source to the pass if it waits for anything.
  void Admit(std::size_t slot) {
    EventSource& source = *pump_.sources_[slot];
    const Interest interest = source.PrepareToWait();
    const std::size_t first_polled = polled_.size();
    if (interest.read || interest.write) {
      const int events = (interest.read ? POLLIN : 0) | (interest.write ? POLLOUT : 0);
      polled_.push_back({interest.descriptor, static_cast<short>(events), 0});
    }
    for (const Descriptor& descriptor : interest.connecting) polled_.push_back({descriptor.Number(), POLLOUT, 0});
    const std::size_t polled_count = polled_.size() - first_polled;
    if (polled_count == 0 && !interest.pending && interest.due == Interest::kNever) return;
    participants_.push_back({slot, source.identity_, first_polled, polled_count, interest.pending, interest.due});
    any_pending_ = any_pending_ || interest.pending;
    first_due_ = std::min(first_due_, interest.due);
  }

  // Waits until something is ready, pending or due, for at most `limit`.
  void WaitFor(std::chrono::nanoseconds limit) {
    if (any_pending_) {
      limit = std::chrono::nanoseconds::zero();
    } else if (first_due_ != Interest::kNever) {
      limit = std::clamp(first_due_ - MonotonicNow(), std::chrono::nanoseconds::zero(), limit);
    }
    Wait(polled_, limit);
  }

  void Deliver() {
    for (const Participant& participant : participants_) {
      EventSource* const source = pump_.sources_[participant.slot];
      if (source == nullptr || source->identity_ != participant.identity) continue;
      if (IsReady(participant)) source->HandleReady();
    }
  }

  bool IsReady(const Participant& participant) const {
    const auto first = polled_.begin() + static_cast<std::ptrdiff_t>(participant.first_polled);
    return participant.pending ||
           std::any_of(first, first + static_cast<std::ptrdiff_t>(participant.polled_count),
                       [](const pollfd& entry) { return entry.revents != 0; }) ||
           (participant.due != Interest::kNever && participant.due <= MonotonicNow());
  }

  EventPump& pump_;
  std::vector<pollfd> polled_;
  std::vector<Participant> participants_;
  bool any_pending_ = false;
  std::chrono::nanoseconds first_due_ = Interest::kNever;
};

EventPump& EventPump::Instance() {
  static EventPump pump;
  return pump;
}

void EventPump::Run(std::int32_t milliseconds) {
  const auto deadline = MonotonicNow() + std::chrono::milliseconds(milliseconds);
  auto left = deadline - MonotonicNow();
  Passes passes(*this);
  do {
    passes.Make(std::max(left, std::chrono::nanoseconds::zero()));
    left = deadline - MonotonicNow();
  } while (left.count() > 0);
}

void EventPump::RunOnly(EventSource& source) {
  Passes(*this).Make(std::chrono::nanoseconds::zero(), &source);
}

void EventPump::Add(EventSource* source) {
  sources_.push_back(source);
}

void EventPump::Remove(const EventSource* source) {
  const auto slot = std::ranges::find(sources_, source);
  if (depth_ > 0) {
    *slot = nullptr;
  } else {
    sources_.erase(slot);
  }
}

void YieldToBackground() {
  std::this_thread::yield();
}

}  // namespace platform
