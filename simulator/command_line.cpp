#include "simulator/command_line.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <regex>

#include "app/version.h"
#include "platform/address_lookup.h"
#include "simulator/format.h"

namespace {

constexpr const char* kVersion = "torvy-simulator " TORVY_RELEASE;
constexpr const char* kDriverName = "torvy-driver";
constexpr std::size_t kWidth = 79;

// Parses ADDRESS:PORT; an IPv6 address is in brackets. Throws InputError.
Device::TcpAddress ReadTcpAddress(const std::string& text) {
  constexpr int kMaxPort = 65535;
  constexpr std::size_t kMaxLength = 300;  // std::regex needs stack space for each character
  static const std::regex form(R"((?:\[(.+)\]|([^:\[\]]+)):([0-9]{1,9}))");
  std::smatch parts;
  if (text.size() > kMaxLength || !std::regex_match(text, parts, form)) {
    throw InputError("invalid address " + Quoted(text) +
                     ": expected ADDRESS:PORT, such as 192.0.2.7:4001 or [2001:db8::7]:4001");
  }
  const std::int32_t port = std::stoi(parts[3]);
  if (port < 1 || port > kMaxPort) throw InputError("invalid port in " + Quoted(text) + ": expected 1 to 65535");
  return {parts[1].str() + parts[2].str(), port};
}

// Returns where a simulated device listens. Throws InputError.
Device::OnTcp ReadListenAddress(const std::string& text) {
  Device::OnTcp listen{ReadTcpAddress(text)};
  // The system's resolver also accepts an asterisk.
  if (listen.address != "*" && platform::AddressLookup::Numeric(listen.address, listen.port)) return listen;
  throw InputError("invalid address " + Quoted(text) + ": --listen requires a numeric address");
}

// Throws InputError if a recording would replace anything but a regular file, or the transcript.
void CheckRecordingFile(const std::string& path) {
  std::error_code ignored;
  const bool is_other = std::filesystem::exists(path, ignored) && !std::filesystem::is_regular_file(path, ignored);
  if (path != "-" && !is_other && !std::filesystem::equivalent(path, "/dev/stdout", ignored)) return;
  throw InputError("--record needs a regular file other than the transcript, not " + Quoted(path));
}

Device::Endpoint EndpointOf(const Options& options) {
  if (!options.port.empty()) return Device::OnSerialLine{options.port, options.other_end};
  if (!options.device.empty()) return Device::OnNetwork{ReadTcpAddress(options.device)};
  if (!options.listen.empty()) return ReadListenAddress(options.listen);
  if (options.over_ip) return Device::OnTcp{};
  return Device::OnTerminal{};
}

// Returns the path of the driver next to this program, or else its name, to be searched for in PATH.
std::string DefaultDriver(const char* own_name) {
  std::error_code ignored;
  for (std::filesystem::path path : {std::filesystem::read_symlink("/proc/self/exe", ignored), {own_name}}) {
    path.replace_filename(kDriverName);
    if (std::filesystem::exists(path, ignored)) return path;
  }
  return kDriverName;
}

void Describe(CLI::App& app, Options& options) {
  constexpr int kMaxSeconds = 86'400;
  auto& setup = options.setup;
  const auto value = [&app](const char* name, std::string& target, const char* type, const char* help) {
    return app.add_option(name, target, help)->type_name(type);
  };
  app.add_flag("--ip", options.over_ip, "connect to the device over TCP instead of a serial line");
  value("--port", options.port, "NAME", "use a real device on this serial port (a path, or a name under /dev)");
  value("--other-end", options.other_end, "NAME",
        "with --port: the port at the other end of the line, to show and check the bytes that arrive there")
      ->needs("--port");
  value("--device", options.device, "ADDRESS:PORT", "use a real device on the network");
  app.add_flag("--yes", options.yes, "with --port or --device: play the demonstration without asking");
  value("--script", options.script, "FILE", "play the steps in a file and check its expectations; - is standard input");
  app.add_flag("--interactive", options.interactive, "read steps from the terminal or a pipe");
  app.add_flag("--stand-in", options.stand_in,
               "simulate only the device, for a real host; show what it receives until Ctrl-C");
  value("--listen", options.listen, "ADDRESS:PORT", "with --stand-in: listen for drivers on this TCP address and port")
      ->needs("--stand-in");
  value("--link", options.link, "PATH",
        "with --stand-in: keep a symbolic link to the pseudo-terminal at this path until the end")
      ->needs("--stand-in");
  value("--record", setup.record, "FILE", "record the session to a file, as a script that expects the same events");
  value("--driver", setup.driver, "NAME",
        "the driver to start (a path, or a name in PATH); default: torvy-driver next to this program");
  app.add_option_function<int>(
         "--timeout", [&setup](int seconds) { setup.timeout = std::chrono::seconds(seconds); },
         "fail a wait after this time without progress, in addition to the driver's own pauses; default: 30")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, kMaxSeconds).description(""));
  app.add_flag("--verbose", options.verbose,
               "show the bytes and contents of each packet to the driver, except for stream, fill and flood");
  value("--time", options.time, "KIND", "show the date and time of day (clock) or seconds since the start (elapsed)")
      ->check(CLI::IsMember({"clock", "elapsed"}).description(""));
  value("--color", options.color, "WHEN", "use colours: auto, always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""));
  const auto refuse_empty = [](const std::string& text) { return std::string(text.empty() ? "is empty" : ""); };
  for (CLI::Option* const option : app.get_options()) option->check(refuse_empty);
  app.get_option("--port")->excludes("--ip", "--device");
  app.get_option("--link")->excludes("--ip", "--listen");
  app.get_option("--interactive")->excludes("--script");
  app.get_option("--stand-in")
      ->excludes("--port", "--device", "--yes", "--script", "--interactive", "--record", "--driver", "--timeout",
                 "--verbose");
  app.set_help_flag("-h,--help", "show a summary of the options and steps");
  app.set_version_flag("--version", kVersion, "show the version");
}

std::string Help() {
  std::string help =
      "usage: torvy-simulator [OPTION]...\n\n" +
      Wrapped(
          "Starts torvy-driver between a simulated host and a simulated device, sends it commands and shows the "
          "traffic on each link. Without options, it plays a short demonstration over a pseudo-terminal. With --port "
          "or --device, the demonstration moves the real units " +
              kDemonstrationUnits + "; it asks first.",
          0, kWidth) +
      "\n\n";
  for (const OptionRow& row : OptionRows()) help += HelpRow(row.usage, row.help);
  help += "\nSteps, one per line:\n" + StepsHelp() + "\n\n";
  return help +
         Wrapped(
             "Exit status: 0 if the session passed, 1 if it failed, 2 if the command line or a script is "
             "invalid or the driver cannot be started.",
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
    std::string usage = option->get_name(false, true);
    if (const std::size_t comma = usage.find(','); comma != std::string::npos) usage.insert(comma + 1, " ");
    if (const std::string type = option->get_type_name(); !type.empty()) usage += " " + type;
    rows.push_back({usage, option->get_description()});
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
    throw InputError(std::string(error.what()) + "\nTry torvy-simulator --help.");
  }
  options.setup.device = EndpointOf(options);
  CheckRecordingFile(options.setup.record);
  if (options.setup.driver.empty()) options.setup.driver = DefaultDriver(*argument_values);
  return options;
}
