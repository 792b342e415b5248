#include "simulator/fault.h"

#include <sys/socket.h>

#include <array>
#include <csignal>

#include "platform/text.h"

namespace {

struct Fault {
  std::string_view name;
  void (*inject)(const FaultTargets& targets);
};

void ResetLink(Channel& link) {
  const linger at_once{1, 0};
  setsockopt(link.Number(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  link.Close();
}

constexpr std::array<Fault, 9> kFaults{{
    {"device pause", [](const FaultTargets& targets) { targets.device.Paused = true; }},
    {"device resume", [](const FaultTargets& targets) { targets.device.Paused = false; }},
    {"device close", [](const FaultTargets& targets) { targets.device.Close(); }},
    {"host pause", [](const FaultTargets& targets) { targets.host.Paused = true; }},
    {"host close", [](const FaultTargets& targets) { targets.host.Close(); }},
    {"host reset", [](const FaultTargets& targets) { ResetLink(targets.host); }},
    {"host finish", [](const FaultTargets& targets) { shutdown(targets.host.Number(), SHUT_WR); }},
    {"driver stop", [](const FaultTargets& targets) { targets.driver.Signal(SIGSTOP); }},
    {"driver continue", [](const FaultTargets& targets) { targets.driver.Signal(SIGCONT); }},
}};

const Fault* Find(std::string_view name) {
  for (const Fault& fault : kFaults) {
    if (platform::EqualIgnoringCase(fault.name, name)) return &fault;
  }
  return nullptr;
}

}  // namespace

bool IsFault(std::string_view name) {
  return Find(name) != nullptr;
}

void Inject(std::string_view name, const FaultTargets& targets) {
  if (const Fault* fault = Find(name)) fault->inject(targets);
}

const char* const kFaultHelp =
    "  fault device pause, device resume   the device takes nothing, and takes again\n"
    "  fault device close                  the device closes its link, or its adapter is pulled out\n"
    "  fault host pause                    the host reads no more\n"
    "  fault host close, host reset        the host closes its link in order, or breaks it\n"
    "  fault host finish                   the host sends no more, and still reads\n"
    "  fault driver stop, driver continue  the driver's process is stopped, and continued\n";
