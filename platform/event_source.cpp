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
  EventPump::Instance().sources_.push_back(this);
}

EventSource::~EventSource() {
  std::erase(EventPump::Instance().sources_, this);
}

void EventSource::DescriptorChanged() {
  identity_ = NextIdentity();
}

}  // namespace platform
