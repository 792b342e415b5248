#include "platform/event_source.h"

#include "platform/event_pump.h"

namespace platform {
namespace {

std::uint64_t NextIdentity() {
  static std::uint64_t last = 0;
  return ++last;
}

}  // namespace

EventSource::EventSource() : identity_(NextIdentity()) {
  EventPump::Instance().Add(this);
}

EventSource::~EventSource() {
  for (LifetimeGuard* guard = guard_; guard != nullptr; guard = guard->outer_) guard->source_ = nullptr;
  EventPump::Instance().Remove(this);
}

void EventSource::DescriptorChanged() {
  identity_ = NextIdentity();
}

}  // namespace platform
