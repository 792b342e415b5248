// torvy-simulator: plays the host and, unless a real one is named, the device of a torvy-driver that it starts.

#include <fcntl.h>
#include <langinfo.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>
#include <system_error>

#include "platform/event_pump.h"
#include "simulator/command_line.h"
#include "simulator/interruption.h"
#include "simulator/player.h"
#include "simulator/script.h"
#include "simulator/stand_in.h"

namespace {

constexpr int kAsItShouldBe = 0;
constexpr int kNotAsItShouldBe = 1;
constexpr int kWrongInput = 2;

int Complain(const std::string& why, int status) {
  std::cerr << "torvy-simulator: " << why << '\n';
  return status;
}

// The status, unless standard output has lost something. A reader that has left needs no message.
int Finish(int status, int write_error) {
  if (std::fflush(stdout) != 0 && write_error == 0) write_error = errno;
  if (write_error == 0) return status;
  if (write_error == EPIPE) return kNotAsItShouldBe;
  return Complain("cannot write standard output: " + std::generic_category().message(write_error), kNotAsItShouldBe);
}

// No file or link that is opened later may become standard input or output.
void OpenStandardDescriptors() {
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    // The lowest free number is the one that open takes.
    if (fcntl(number, F_GETFD) == -1) open("/dev/null", O_RDWR);
  }
}

// The characters that are typed and shown. An ASCII locale, which would lose all others, becomes UTF-8.
void SetCharacterEncoding() {
  std::setlocale(LC_CTYPE, "");
  if (std::string_view(nl_langinfo(CODESET)) == "ANSI_X3.4-1968") std::setlocale(LC_CTYPE, "C.UTF-8");
}

bool WantsColours(const std::string& when) {
  if (when != "auto") return when == "always";
  const auto variable = [](const char* name) {
    const char* const value = std::getenv(name);
    return std::string_view(value == nullptr ? "" : value);
  };
  return isatty(STDOUT_FILENO) == 1 && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
}

// What the script is for goes before the usual, and may not contradict the command line.
void ApplyScriptsWay(const Script& script, Options& options) {
  Device::Place& place = options.setup.place;
  if (!script.over_ip) return;
  if (*script.over_ip ? !place.port.empty() : place.over_ip) {
    throw UsageError(script.name +
                     (*script.over_ip ? " is for a device over TCP" : " is for a device on a serial line"));
  }
  place.over_ip = *script.over_ip;
}

// Finds the first step that has to see what cannot be seen. Only the demonstration does without.
void RequireSight(const Script& script) {
  for (const Script::Line& line : script.lines) {
    if (!line.step.row->needs_sight) continue;
    throw UsageError(script.Place(line) + ": " + Device::Place::kCannotBeSeen +
                     "; a serial line's other end is named with --other-end");
  }
}

int Judge(Session& session, const Player& player, Transcript& transcript, bool in_order) {
  in_order = session.Finish() && in_order && !player.Failed() && !player.HadWrongLine();
  if (!in_order) {
    transcript.Problem("not as it should be");
    return player.HadWrongLine() ? kWrongInput : kNotAsItShouldBe;
  }
  transcript.Note(session.Place().CanBeSeen()
                      ? "all as it should be"
                      : "all as it should be on the host's side; what reached the device cannot be seen from here");
  return kAsItShouldBe;
}

int Play(const Options& options, const Script& script, Transcript& transcript) {
  Recorder recorder = options.record.empty() ? Recorder() : Recorder(options.record);
  Session session(options.setup, transcript, recorder);
  Player player(session);
  const bool ready = session.WaitUntilReady();
  if (ready && !options.interactive) {
    player.PlayScript(script, options.setup.place.CanBeSeen());
  } else if (ready && isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1) {
    player.PlayTerminal();
  } else if (ready) {
    player.PlayPipe();
  }
  const int status = Judge(session, player, transcript, ready);
  if (recorder.IsWhole()) return status;
  return Complain("cannot write " + options.record, kNotAsItShouldBe);
}

int Run(Options options) {
  interruption::Watch();
  platform::EventPump::Instance();  // from here on, a reader that has left is an error like any other
  Transcript transcript({.colours = WantsColours(options.color), .verbose = options.verbose});
  if (options.stand_in) {
    RunStandIn(options.setup.place, transcript);
    return Finish(kAsItShouldBe, transcript.WriteError());
  }
  const Script script = options.script.empty() ? Demonstration() : ReadScript(options.script);
  if (!options.interactive) ApplyScriptsWay(script, options);
  if (!options.script.empty() && !options.setup.place.CanBeSeen()) RequireSight(script);
  const int status = Play(options, script, transcript);
  return Finish(status, transcript.WriteError());
}

}  // namespace

int main(int argument_count, char** argument_values) {
  OpenStandardDescriptors();
  SetCharacterEncoding();
  try {
    const auto asked = ReadCommandLine(argument_count, argument_values);
    if (const auto* const options = std::get_if<Options>(&asked)) return Run(*options);
    std::fputs(std::get<std::string>(asked).c_str(), stdout);
    return Finish(kAsItShouldBe, 0);
  } catch (const UsageError& error) {
    return Complain(std::string(error.what()) + "\nTry torvy-simulator --help.", kWrongInput);
  } catch (const ScriptError& error) {
    return Complain(error.what(), kWrongInput);
  } catch (const std::system_error& error) {
    return Complain(std::string("cannot start: ") + error.what(), kWrongInput);
  }
}
