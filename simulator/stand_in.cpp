#include "simulator/stand_in.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <ctime>

#include "platform/event_pump.h"
#include "simulator/interruption.h"
#include "simulator/unit_view.h"
#include "simulator/wording.h"

namespace {

std::string TimeOfDay() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::array<char, 16> text{};
  std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
  return text.data();
}

// How many lines a view may have on the terminal; a few stay for what stands above it.
std::size_t LinesForView() {
  constexpr std::size_t kAbove = 4;
  constexpr std::size_t kUsual = 24;
  winsize size{};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > kAbove;
  return (known ? size.ws_row : kUsual) - kAbove;
}

}  // namespace

void RunStandIn(const Device::Place& place, bool watch, bool on_terminal, Transcript& transcript) {
  constexpr std::int32_t kSliceMilliseconds = 200;
  Device device(place);
  device.StayForNextDriver();
  UnitView view(on_terminal ? LinesForView() : 0);
  device.OnBytes = [&](const std::string& bytes) {
    if (watch) transcript.Write(view.Take(bytes, TimeOfDay()));
  };
  device.OnShow = [&](const std::string& bytes) {
    if (!watch) transcript.Event(Transcript::Kind::kDriverToDevice, DeviceBytesInWords(bytes));
  };
  device.OnLink = [&](bool connected) {
    if (!watch) transcript.Note(connected ? "a driver has connected" : "the driver has left");
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
