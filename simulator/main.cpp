// torvy-simulator: starts torvy-driver and simulates its host and, unless a real one is named, its device.

#include <langinfo.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <system_error>

#include "platform/process.h"
#include "platform/text.h"
#include "simulator/command_line.h"
#include "simulator/format.h"
#include "simulator/player.h"
#include "simulator/script.h"
#include "simulator/signals.h"
#include "simulator/stand_in.h"

namespace {

constexpr int kPassed = 0;
constexpr int kFailed = 1;
constexpr int kWrongInput = 2;

int PrintError(const std::string& why, int status) {
  std::cerr << "torvy-simulator: " << why << '\n';
  return status;
}

// Returns `status`, or kFailed if output was lost. No message is printed if the reader has closed the pipe.
int Finish(int status, int write_error) {
  if (std::fflush(stdout) != 0 && write_error == 0) write_error = errno;
  if (write_error == 0) return status;
  if (write_error == EPIPE) return kFailed;
  return PrintError("cannot write to standard output: " + std::generic_category().message(write_error), kFailed);
}

// Adopts the character encoding of the environment's locale; uses UTF-8 in place of ASCII, to lose no characters.
void SetCharacterEncoding() {
  std::setlocale(LC_CTYPE, "");
  if (std::string_view(nl_langinfo(CODESET)) == "ANSI_X3.4-1968") std::setlocale(LC_CTYPE, "C.UTF-8");
}

bool IsAtTerminal() {
  return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
}

bool WantsColours(const std::string& when) {
  if (when != "auto") return when == "always";
  const auto variable = [](const char* name) {
    const char* const value = std::getenv(name);
    return std::string_view(value == nullptr ? "" : value);
  };
  return isatty(STDOUT_FILENO) == 1 && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
}

// Applies the transport named by the script. Throws InputError if it contradicts the command line.
void ApplyTransport(const Script& script, Device::Endpoint& endpoint) {
  if (!script.over_ip) return;
  if (*script.over_ip && std::holds_alternative<Device::OnTerminal>(endpoint)) endpoint = Device::OnTcp{};
  if (*script.over_ip == Device::IsOverIp(endpoint)) return;
  throw InputError(script.name + (*script.over_ip ? " is for a device over TCP" : " is for a device on a serial line"));
}

// Rejects a script whose steps need an observable device. The demonstration skips such steps instead.
void RequireObservableDevice(const Script& script) {
  for (const Step& step : script.steps) {
    if (step.row->use != StepRow::Use::kObservableDevice) continue;
    throw InputError(
        step.Message(std::string(Device::kNotObservable) + "; name the other end of a serial line with --other-end"));
  }
}

// Whether real units may move. A script named on the command line and typed commands may always move them.
bool MayMoveUnits(const Options& options) {
  const std::string& where = options.port.empty() ? options.device : options.port;
  if (where.empty() || options.interactive || !options.script.empty() || options.yes) return true;
  const std::string warning = "the demonstration moves the units " + kDemonstrationUnits + " of the device at " + where;
  if (!IsAtTerminal()) throw InputError(warning + "; allow it with --yes, or name a script");
  std::cout << "torvy-simulator: " << warning << ". Continue? [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return platform::EqualIgnoringCase(answer, "y") || platform::EqualIgnoringCase(answer, "yes");
}

int Play(const Options& options, const Script& script, Transcript& transcript) {
  Session session(options.setup, transcript);
  Player player(session);
  const bool ready = player.Start();
  if (ready && !options.interactive) {
    player.PlayScript(script);
  } else if (ready && IsAtTerminal()) {
    player.PlayTerminal();
  } else if (ready) {
    player.PlayPipe();
  }
  const bool passed = player.Finish() && !player.HadInvalidStep();
  if (!passed) {
    transcript.Problem("the session failed");
  } else if (Device::IsObservable(session.Endpoint())) {
    transcript.Note("the session passed");
  } else {
    transcript.Note("the session passed on the host side only: a real device cannot be observed");
  }
  if (const int error = session.Recording().Keep(); error != 0) {
    return PrintError("cannot write " + options.setup.record + ": " + std::generic_category().message(error), kFailed);
  }
  if (passed) return kPassed;
  return player.HadInvalidStep() ? kWrongInput : kFailed;
}

int Run(Options options) {
  const bool clock = options.time.empty() ? options.stand_in : options.time == "clock";
  Transcript transcript({.colours = WantsColours(options.color), .verbose = options.verbose, .clock = clock});
  if (options.stand_in) {
    signals::Catch();
    RunStandIn(options.setup.device, options.link, transcript);
    return Finish(kPassed, transcript.WriteError());
  }
  const Script script = options.script.empty() ? Demonstration() : ReadScript(options.script);
  if (!options.interactive) ApplyTransport(script, options.setup.device);
  if (!options.script.empty() && !Device::IsObservable(options.setup.device)) RequireObservableDevice(script);
  if (!MayMoveUnits(options)) return PrintError("cancelled; nothing was sent", kWrongInput);
  signals::Catch();  // not earlier: until here, Ctrl-C ends the program, even while it reads a script or asks
  const int status = Play(options, script, transcript);
  return Finish(status, transcript.WriteError());
}

}  // namespace

int main(int argument_count, char** argument_values) {
  platform::PrepareProcess();
  SetCharacterEncoding();
  try {
    const auto requested = ReadCommandLine(argument_count, argument_values);
    if (const auto* const options = std::get_if<Options>(&requested)) return Run(*options);
    const bool lost = std::fputs(std::get<std::string>(requested).c_str(), stdout) < 0;
    return Finish(kPassed, lost ? errno : 0);
  } catch (const InputError& error) {
    return PrintError(error.what(), kWrongInput);
  } catch (const std::system_error& error) {
    return PrintError(std::string("cannot start: ") + error.what(), kWrongInput);
  }
}
