// Base class of the sources that the event pump waits for. The pump delivers a source's events from its construction to
// its destruction.

#pragma once

#include <chrono>
#include <memory>
#include <span>

#include "platform/descriptor.h"

namespace platform {

// What a source waits for in the next pass. A source that waits for nothing is skipped.
struct Interest {
  static constexpr std::chrono::nanoseconds kNever = std::chrono::nanoseconds::max();
  static constexpr std::chrono::nanoseconds kNow = std::chrono::nanoseconds::zero();  // always in the past

  std::span<const Descriptor> descriptors{};   // the source is called when one of them is ready
  bool read = false;                           // wait until one can be read
  bool write = false;                          // wait until one can be written, or has connected
  std::chrono::nanoseconds deadline = kNever;  // when to call the source even if nothing is ready; MonotonicNow time
};

class EventSource {
 public:
  EventSource(const EventSource&) = delete;
  EventSource& operator=(const EventSource&) = delete;
  virtual ~EventSource();

 protected:
  EventSource();

  // Called at the start of a pass: sends queued output and returns what to wait for. Raises no events.
  virtual Interest PrepareToWait() = 0;

  // Called when a descriptor is ready, has failed or was hung up, or when the deadline has passed. May raise events.
  // Another handler may have closed or replaced the descriptor since the wait, so possibly nothing is ready.
  virtual void HandleReady() = 0;

  // Returns a pointer that expires when the source is destroyed. Check it after calling a handler.
  std::weak_ptr<void> Lifetime() const { return lifetime_; }

 private:
  friend class EventPump;

  std::shared_ptr<void> lifetime_ = std::make_shared<char>();
};

}  // namespace platform
