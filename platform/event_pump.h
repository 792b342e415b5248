// The event pump: waits for the descriptors of event sources and delivers their events, all on one thread.
//
// Rules that sources and handlers rely on:
//  1. Events are raised only within Run, or within RunOnly for the source passed to it.
//  2. A handler may create, close or destroy any source, including its own, and may call Run or RunOnly again.
//  3. A source that is destroyed before its turn is not called.
//  4. Run lasts its full time on the monotonic clock and waits in the kernel. It starts no pass after that time,
//     however many events are pending.

#pragma once

#include <chrono>
#include <vector>

#include "platform/event_source.h"

namespace platform {

class EventPump {
 public:
  // Returns the process's only pump, created on first use. Main thread only.
  static EventPump& Instance();
  EventPump(const EventPump&) = delete;
  EventPump& operator=(const EventPump&) = delete;

  // Delivers events for `time`; if that is 0 or less, makes one pass over the sources that are ready now.
  void Run(std::chrono::milliseconds time);

  // Sends the source's queued output and raises its pending events, without waiting.
  void RunOnly(EventSource& source);

 private:
  friend class EventSource;

  EventPump() = default;
  void Pass(std::chrono::nanoseconds limit, const EventSource* only = nullptr);

  std::vector<EventSource*> sources_;
};

// Yields the processor to other threads; raises no events.
void YieldToBackground();

}  // namespace platform
