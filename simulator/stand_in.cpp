#include "simulator/stand_in.h"

#include "platform/event_pump.h"
#include "simulator/interruption.h"
#include "simulator/wording.h"

void RunStandIn(const Device::Place& place, Transcript& transcript) {
  constexpr std::int32_t kSliceMilliseconds = 200;
  Device device(place);
  device.StayForNextDriver();
  device.OnShow = [&](const std::string& bytes) {
    transcript.Event(Transcript::Kind::kDriverToDevice, DeviceBytesInWords(bytes));
  };
  device.OnLink = [&](bool connected) {
    transcript.Note(connected ? "a driver has connected" : "the driver has left");
  };
  const std::vector<std::string>& names = device.Names();
  transcript.Note(names.size() == 1 ? "the interface is at " + names.front()
                                    : "the interface is at address " + names.front() + ", port " + names.back());
  transcript.Note("Name it in the host's settings. Ctrl-C ends.");
  while (!interruption::IsPending() && transcript.WriteError() == 0) {
    platform::EventPump::Instance().Run(kSliceMilliseconds);
    device.ShowRest();
  }
}
