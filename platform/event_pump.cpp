#include "platform/event_pump.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <thread>

#include "platform/clock.h"

namespace platform {
namespace {

// A source that takes part in a pass.
struct Turn {
  EventSource* source;
  std::weak_ptr<void> lifetime;  // of the source
  std::size_t first_polled;
  std::size_t polled_count;
  std::chrono::nanoseconds deadline;
};

void Add(const Interest& interest, std::vector<pollfd>& polled) {
  const auto events = static_cast<short>((interest.read ? POLLIN : 0) | (interest.write ? POLLOUT : 0));
  if (events == 0) return;
  for (const Descriptor& descriptor : interest.descriptors) polled.push_back({descriptor.Number(), events, 0});
}

// Waits for at most `limit`, rounded up to milliseconds: rounding down would spin for the last millisecond.
void Wait(std::vector<pollfd>& polled, std::chrono::nanoseconds limit) {
  const auto milliseconds = static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(limit).count());
  if (poll(polled.data(), static_cast<nfds_t>(polled.size()), milliseconds) >= 0) return;
  for (pollfd& entry : polled) entry.revents = 0;
  if (errno == EINTR) return;
  // The kernel is out of memory: back off instead of spinning.
  std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(limit, std::chrono::milliseconds(10)));
}

bool IsReady(const Turn& turn, const std::vector<pollfd>& polled) {
  const auto first = polled.begin() + static_cast<std::ptrdiff_t>(turn.first_polled);
  return std::any_of(first, first + static_cast<std::ptrdiff_t>(turn.polled_count),
                     [](const pollfd& entry) { return entry.revents != 0; }) ||
         (turn.deadline != Interest::kNever && turn.deadline <= MonotonicNow());
}

}  // namespace

// Asks each source what to wait for, waits for at most `limit`, and calls the sources that are ready. If `only` is set,
// does this for that source only.
void EventPump::Pass(std::chrono::nanoseconds limit, const EventSource* only) {
  std::vector<pollfd> polled;
  std::vector<Turn> turns;
  std::chrono::nanoseconds first_deadline = Interest::kNever;
  for (EventSource* source : sources_) {
    if (only != nullptr && source != only) continue;
    const Interest interest = source->PrepareToWait();
    const std::size_t first = polled.size();
    Add(interest, polled);
    const std::size_t count = polled.size() - first;
    if (count == 0 && interest.deadline == Interest::kNever) continue;
    turns.push_back({source, source->Lifetime(), first, count, interest.deadline});
    first_deadline = std::min(first_deadline, interest.deadline);
  }
  if (only != nullptr && turns.empty()) return;
  if (first_deadline != Interest::kNever) {
    limit = std::clamp(first_deadline - MonotonicNow(), std::chrono::nanoseconds::zero(), limit);
  }
  Wait(polled, limit);
  for (const Turn& turn : turns) {
    if (!turn.lifetime.expired() && IsReady(turn, polled)) turn.source->HandleReady();
  }
}

EventPump& EventPump::Instance() {
  static EventPump pump;
  return pump;
}

void EventPump::Run(std::chrono::milliseconds time) {
  const auto deadline = MonotonicNow() + time;
  do {
    Pass(std::max(deadline - MonotonicNow(), std::chrono::nanoseconds::zero()));
  } while (MonotonicNow() < deadline);
}

void EventPump::RunOnly(EventSource& source) {
  Pass(std::chrono::nanoseconds::zero(), &source);
}

void YieldToBackground() {
  std::this_thread::yield();
}

}  // namespace platform
