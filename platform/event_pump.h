// The event pump: waits for descriptors on behalf of sources and delivers their events, all on one thread.
//
// Rules that sources and handlers rely on:
//  1. Events are raised only inside Run, or inside RunOnly for the one source it names.
//  2. A handler may create, close or destroy any source, its own too, and may call Run or RunOnly again.
//  3. What was found ready is dropped for a source that died, or whose descriptor was replaced, before its turn.
//  4. Run lasts its full time on the monotonic clock, asleep in the kernel, and ends on time however much arrives.

#ifndef PLATFORM_EVENT_PUMP_H_
#define PLATFORM_EVENT_PUMP_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/descriptor.h"

struct pollfd;

namespace platform {

class EventSource;

class EventPump {
 public:
  // The process's pump, to be used by the main thread alone. Made on first use; SIGPIPE is ignored from then on.
  static EventPump& Instance();
  EventPump(const EventPump&) = delete;
  EventPump& operator=(const EventPump&) = delete;
  ~EventPump();

  // Delivers events for this many milliseconds. 0 or less: one pass over what is ready now.
  void Run(std::int32_t milliseconds);

  // Sends what the source has queued and raises what it has pending, without waiting.
  void RunOnly(EventSource& source);

 private:
  friend class EventSource;

  // A source that takes part in a pass, by the identity that its descriptor had when the pass began.
  struct Participant {
    std::size_t slot;
    std::uint64_t identity;
    std::size_t first_polled;
    std::size_t polled_count;
    bool pending;
    std::chrono::nanoseconds due;
  };
  class PassScope;

  EventPump();
  void Pass(std::chrono::nanoseconds limit, const EventSource* only);
  void Add(EventSource* source);
  void Remove(const EventSource* source);

  std::vector<EventSource*> sources_;  // a source that died during a pass leaves null until the passes are over
  std::vector<pollfd> polled_;         // kept between passes for their memory alone
  std::vector<Participant> participants_;
  int depth_ = 0;
};

// Gives other work of the process a turn of the processor; raises no events.
void YieldToBackground();

// Something whose events the pump delivers, from its construction to its destruction.
class EventSource {
 public:
  EventSource(const EventSource&) = delete;
  EventSource& operator=(const EventSource&) = delete;
  virtual ~EventSource();

 protected:
  static constexpr std::chrono::nanoseconds kNever = std::chrono::nanoseconds::max();

  // What a source wants of the next wait. One that asks for nothing is not waited for.
  struct Interest {
    int descriptor = -1;
    bool read = false;
    bool write = false;
    bool pending = false;                      // has an event to raise without any wait
    std::span<const Descriptor> connecting{};  // to be written to once their connections are there
    std::chrono::nanoseconds due = kNever;     // when to be called whatever happens, on the clock of MonotonicNow
  };

  // Tells a function that calls a handler whether the source outlived it.
  class Watch {
   public:
    explicit Watch(EventSource& source) : source_(&source), outer_(source.watch_) { source.watch_ = this; }
    ~Watch() {
      if (source_ != nullptr) source_->watch_ = outer_;
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    bool Alive() const { return source_ != nullptr; }

   private:
    friend class EventSource;
    EventSource* source_;
    Watch* outer_;
  };

  EventSource();

  // Called at the start of a pass: sends what is queued and says what to wait for. Raises no events.
  virtual Interest PrepareToWait() = 0;

  // Called when a wanted descriptor is ready, failed or hung up, when an event was pending, or when the source is due.
  // May raise events.
  virtual void HandleReady() = 0;

  // To be called whenever the source's descriptor is closed or replaced: what was ready on the old one is void.
  void DescriptorChanged();

 private:
  friend class EventPump;

  std::uint64_t identity_;
  Watch* watch_ = nullptr;
};

}  // namespace platform

#endif  // PLATFORM_EVENT_PUMP_H_
