#include "simulator/command_line.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <charconv>
#include <cstdlib>
#include <sstream>

#include "simulator/wording.h"

namespace {

constexpr const char* kVersion = "torvy-simulator version 1 (build 001)";
constexpr const char* kDriverName = "torvy-driver";
constexpr std::size_t kWidth = 79;

// Splits ADDRESS:PORT, where an IPv6 address stands in brackets; returns what is wrong, if anything.
std::string ReadDevice(const std::string& text, Device::Place& place) {
  constexpr int kHighestPort = 65535;
  const std::size_t colon = text.rfind(':');
  std::string wrong = Quoted(text) + " is no device; one is named like 192.0.2.7:4001 or [2001:db8::7]:4001";
  if (colon == std::string::npos || colon == 0) return wrong;
  std::string address = text.substr(0, colon);
  const bool bracketed = address.size() > 2 && address.front() == '[' && address.back() == ']';
  if (bracketed) address = address.substr(1, address.size() - 2);
  if (!bracketed && address.find_first_of(":[]") != std::string::npos) return wrong;
  const char* const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data() + colon + 1, end, place.tcp_port);
  if (error != std::errc() || stopped != end) return wrong;
  if (place.tcp_port < 1 || place.tcp_port > kHighestPort) return Quoted(text) + ": a port is 1 to 65535";
  place.address = address;
  place.over_ip = true;
  return {};
}

bool CanRun(const std::string& path) {
  return access(path.c_str(), X_OK) == 0;
}

// The program of that name in PATH; empty when there is none.
std::string FindInPath(const std::string& name) {
  const char* const path = std::getenv("PATH");
  std::istringstream folders(path == nullptr ? "" : path);
  for (std::string folder; std::getline(folders, folder, ':');) {
    const std::string program = (folder.empty() ? "." : folder) + "/" + name;
    if (CanRun(program)) return program;
  }
  return {};
}

// The driver beside this program, or in PATH.
std::string UsualDriver(const std::string& own_name) {
  std::array<char, 4096> path{};
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  const std::string own(path.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
  for (const std::string& self : {own, own_name}) {
    const std::string beside = self.substr(0, self.rfind('/') + 1) + kDriverName;
    if (beside != kDriverName && CanRun(beside)) return beside;
  }
  return FindInPath(kDriverName);
}

std::string FindDriver(const std::string& asked, const std::string& own_name) {
  if (asked.find('/') != std::string::npos) return asked;
  const std::string found = asked.empty() ? UsualDriver(own_name) : FindInPath(asked);
  if (!found.empty()) return found;
  throw UsageError(asked.empty() ? "no torvy-driver beside this program or in PATH; name it with --driver"
                                 : Quoted(asked) + " is no program in PATH");
}

void Describe(CLI::App& app, Options& options) {
  constexpr int kMostSeconds = 86'400;
  auto& setup = options.setup;
  CLI::Option* const ip =
      app.add_flag("--ip", setup.place.over_ip, "reach the device over TCP instead of a serial line");
  CLI::Option* const port =
      app.add_option("--port", setup.place.port, "use a real device on this serial port")->type_name("PATH");
  app.add_option("--other-end", setup.place.other_end,
                 "with --port: the port at the other end of its line, to see and check what arrives there")
      ->type_name("PATH")
      ->needs(port);
  CLI::Option* const device = app.add_option_function<std::string>(
                                     "--device",
                                     [&setup](const std::string& text) {
                                       const std::string wrong = ReadDevice(text, setup.place);
                                       if (!wrong.empty()) throw CLI::ValidationError("--device", wrong);
                                     },
                                     "use a real device in the network")
                                  ->type_name("ADDRESS:PORT");
  CLI::Option* const script = app.add_option("--script", options.script,
                                             "play the steps of a file, and check what it expects; - is standard input")
                                  ->type_name("FILE");
  CLI::Option* const interactive =
      app.add_flag("--interactive", options.interactive, "carry out steps as they are typed, or come from a pipe");
  CLI::Option* const stand_in = app.add_flag(
      "--stand-in", options.stand_in, "play the device alone, for a real host; shows what reaches it until Ctrl-C");
  CLI::Option* const record =
      app.add_option("--record", options.record, "write the session to a file, as a script that expects what happened")
          ->type_name("FILE");
  CLI::Option* const driver =
      app.add_option("--driver", setup.driver,
                     "the driver to start, a path or a name in PATH; usually torvy-driver beside this program")
          ->type_name("NAME");
  app.add_option_function<int>(
         "--patience", [&setup](int seconds) { setup.patience = std::chrono::seconds(seconds); },
         "how long to wait while nothing at all happens; usually 30")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, kMostSeconds).description(""));
  app.add_flag("--verbose", options.verbose, "show each packet's bytes and debug text");
  app.add_option("--color", options.color, "show colours: auto, always or never")
      ->type_name("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""));
  port->excludes(ip, device);
  interactive->excludes(script);
  stand_in->excludes(port, device, script, interactive, record, driver);
  app.set_help_flag("-h,--help", "show this text");
  app.set_version_flag("--version", kVersion, "show the version");
}

std::string Help() {
  std::string help =
      "usage: torvy-simulator [OPTION]...\n\n" +
      Wrapped(
          "Starts torvy-driver between a simulated host and a simulated device, sends it commands and shows what "
          "goes over each link. Without options it plays a short demonstration over a pseudo-terminal.",
          0, kWidth) +
      "\n\n";
  for (const OptionRow& row : OptionRows()) {
    help += HelpRow(row.names + (row.value.empty() ? "" : " " + row.value), row.help);
  }
  help += "\nSteps, one a line:\n" + StepsHelp() + "\n\n";
  return help +
         Wrapped(
             "Exit status: 0 when all went as it should, 1 when it did not, 2 when the command line or a "
             "script is wrong or the driver cannot be started.",
             0, kWidth) +
         "\n";
}

}  // namespace

std::vector<OptionRow> OptionRows() {
  CLI::App app;
  Options options;
  Describe(app, options);
  std::vector<OptionRow> rows;
  for (const CLI::Option* option : app.get_options()) {
    std::string names = option->get_name(false, true);
    if (const std::size_t comma = names.find(','); comma != std::string::npos) names.insert(comma + 1, " ");
    const bool takes_value = option->get_type_size() > 0;
    rows.push_back({names, takes_value ? option->get_type_name() : "", option->get_description()});
  }
  return rows;
}

std::variant<Options, std::string> ReadCommandLine(int argument_count, const char* const* argument_values) {
  CLI::App app;
  Options options;
  Describe(app, options);
  try {
    app.parse(argument_count, argument_values);
  } catch (const CLI::CallForHelp&) {
    return Help();
  } catch (const CLI::CallForVersion&) {
    return std::string(kVersion) + "\n";
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  if (!options.stand_in) options.setup.driver = FindDriver(options.setup.driver, *argument_values);
  return options;
}
