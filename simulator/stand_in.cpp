#include "simulator/stand_in.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "platform/event_pump.h"
#include "simulator/format.h"
#include "simulator/signals.h"

namespace {

// A symbolic link that exists as long as the object. Replaces a link that a killed stand-in has left: one that dangles,
// or leads to this one's terminal, which has the same number. Replaces no other file.
class SymbolicLink {
 public:
  SymbolicLink(std::string path, std::string target) : path_(std::move(path)), target_(std::move(target)) {
    std::error_code error;
    const bool is_left =
        std::filesystem::read_symlink(path_, error) == target_ || !std::filesystem::exists(path_, error);
    if (is_left && std::filesystem::is_symlink(path_, error)) unlink(path_.c_str());
    if (symlink(target_.c_str(), path_.c_str()) != 0) throw std::system_error(errno, std::generic_category(), path_);
  }
  ~SymbolicLink() {
    // Keep the link if another process has replaced it.
    std::error_code error;
    if (std::filesystem::read_symlink(path_, error) == target_) unlink(path_.c_str());
  }
  SymbolicLink(const SymbolicLink&) = delete;
  SymbolicLink& operator=(const SymbolicLink&) = delete;

 private:
  std::string path_;
  std::string target_;
};

std::string DriverName(std::optional<int> driver) {
  return driver ? "driver " + std::to_string(*driver) : "the driver";
}

}  // namespace

void RunStandIn(const Device::Endpoint& endpoint, const std::string& link, Transcript& transcript) {
  constexpr std::chrono::milliseconds kSlice{200};
  using Kind = Transcript::Kind;
  Device device(endpoint);
  device.KeepOpen();
  device.OnShow = [&](std::optional<int> driver, std::string_view line) {
    const std::string sender = driver ? DriverName(driver) + ": " : "";
    transcript.Event(Kind::kDriverToDevice, sender + DeviceBytesInWords(line));
  };
  device.OnLink = [&](std::optional<int> driver, bool connected) {
    transcript.Event(Kind::kDriverToDevice, DriverName(driver) + (connected ? " connected" : " disconnected"));
  };
  const std::vector<std::string>& names = device.Names();
  std::optional<SymbolicLink> symbolic_link;
  if (!link.empty()) symbolic_link.emplace(link, names.front());
  if (!Device::IsOverIp(endpoint)) {
    transcript.Note("the interface is at " + (link.empty() ? names.front() : std::filesystem::absolute(link).string()));
  } else if (names.front().find_first_not_of("0.:") == std::string::npos) {
    transcript.Note("the interface is at port " + names.back() + " on every address of this computer");
  } else {
    transcript.Note("the interface is at address " + names.front() + ", port " + names.back());
  }
  transcript.Note("Enter this in the host's settings. Press Ctrl-C to stop.");
  while (!signals::IsPending() && transcript.WriteError() == 0) {
    platform::EventPump::Instance().Run(kSlice);
  }
}
