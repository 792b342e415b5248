// The event pump: waits for the descriptors of event sources and delivers their events, all on one thread.
//
// Rules that sources and handlers rely on:
//  1. Events are raised only inside Run, or inside RunOnly for the one source it names.
//  2. A handler may create, close or destroy any source, its own too, and may call Run or RunOnly again.
//  3. Readiness is dropped for a source that died, or whose descriptor was closed or replaced, before its turn.
//  4. Run lasts its full time on the monotonic clock, asleep in the kernel, and ends on time however much arrives.

#ifndef PLATFORM_EVENT_PUMP_H_
#define PLATFORM_EVENT_PUMP_H_

#include <chrono>
#include <cstdint>
#include <vector>

#include "platform/event_source.h"

namespace platform {

class EventPump {
 public:
  // The process's pump, made on first use; for the main thread alone.
  static EventPump& Instance();
  EventPump(const EventPump&) = delete;
  EventPump& operator=(const EventPump&) = delete;

  // Delivers events for this many milliseconds. 0 or less: one pass over what is ready now.
  void Run(std::int32_t milliseconds);

  // Sends what the source has queued and raises what it has pending, without waiting.
  void RunOnly(EventSource& source);

 private:
  friend class EventSource;
  class Passes;

  EventPump() = default;
  void Add(EventSource* source);
  void Remove(const EventSource* source);

  std::vector<EventSource*> sources_;  // a source that died during a pass leaves null until the passes are over
  int depth_ = 0;                      // of nested passes
};

// Gives other work of the process a turn of the processor; raises no events.
void YieldToBackground();

}  // namespace platform

#endif  // PLATFORM_EVENT_PUMP_H_
