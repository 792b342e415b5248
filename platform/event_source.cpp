#include "platform/event_source.h"

#include "platform/event_pump.h"

namespace platform {

EventSource::EventSource() {
  EventPump::Instance().sources_.push_back(this);
}

EventSource::~EventSource() {
  std::erase(EventPump::Instance().sources_, this);
}

}  // namespace platform
