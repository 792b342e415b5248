#include "simulator/stand_in.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "platform/event_pump.h"
#include "simulator/interruption.h"
#include "simulator/wording.h"

namespace {

// A symbolic link that exists as long as the object. Replaces an existing symbolic link, but no other file.
class SymbolicLink {
 public:
  SymbolicLink(std::string path, std::string target) : path_(std::move(path)), target_(std::move(target)) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::symlink_status(path_, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_symlink(status)) Fail(EEXIST);
    const std::string fresh = path_ + "." + std::to_string(getpid()) + ".new";
    if (symlink(target_.c_str(), fresh.c_str()) != 0) Fail(errno);
    if (std::rename(fresh.c_str(), path_.c_str()) == 0) return;
    const int reason = errno;
    unlink(fresh.c_str());
    Fail(reason);
  }
  ~SymbolicLink() {
    // Keep the link if another process has replaced it.
    std::error_code error;
    if (std::filesystem::read_symlink(path_, error) == target_) unlink(path_.c_str());
  }
  SymbolicLink(const SymbolicLink&) = delete;
  SymbolicLink& operator=(const SymbolicLink&) = delete;

 private:
  [[noreturn]] void Fail(int error) const { throw std::system_error(error, std::generic_category(), path_); }

  std::string path_;
  std::string target_;
};

std::string DriverName(int driver) {
  return driver == 0 ? "the driver" : "driver " + std::to_string(driver);
}

}  // namespace

void RunStandIn(const Device::Endpoint& endpoint, const std::string& link, Transcript& transcript) {
  constexpr std::chrono::milliseconds kSlice{200};
  using Kind = Transcript::Kind;
  Device device(endpoint);
  device.StayForNextDriver();
  device.OnShow = [&](int driver, const std::string& bytes) {
    const std::string sender = driver == 0 ? "" : DriverName(driver) + ": ";
    transcript.Event(Kind::kDriverToDevice, sender + DeviceBytesInWords(bytes));
  };
  device.OnLink = [&](int driver, bool connected) {
    transcript.Event(Kind::kDriverToDevice, DriverName(driver) + (connected ? " connected" : " disconnected"));
  };
  const std::vector<std::string>& names = device.Names();
  std::optional<SymbolicLink> symbolic_link;
  if (!link.empty()) symbolic_link.emplace(link, names.front());
  if (names.size() == 1) {
    transcript.Note("the interface is at " + (link.empty() ? names.front() : std::filesystem::absolute(link).string()));
  } else {
    transcript.Note("the interface is at address " + names.front() + ", port " + names.back());
  }
  transcript.Note("Enter this in the host's settings. Press Ctrl-C to stop.");
  while (!interruption::IsPending() && transcript.WriteError() == 0) {
    platform::EventPump::Instance().Run(kSlice);
    device.ShowOverdue();
  }
}
