// torvy-simulator: plays the host and, unless a real one is named, the device of a torvy-driver that it starts.

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <system_error>

#include "platform/event_pump.h"
#include "platform/text.h"
#include "simulator/fault.h"
#include "simulator/script.h"
#include "simulator/session.h"
#include "simulator/transcript.h"

namespace {

constexpr int kAsItShouldBe = 0;
constexpr int kNotAsItShouldBe = 1;
constexpr int kUsage = 2;

constexpr const char* kHelp =
    "usage: torvy-simulator [OPTION]...\n"
    "\n"
    "Starts torvy-driver between a simulated host and a simulated device, sends it commands and shows what "
    "goes\n"
    "over each link. Without options it plays a short demonstration over a pseudo-terminal.\n"
    "\n"
    "  --ip                     reach the device over TCP instead of a serial line\n"
    "  --port PATH              use a real device on this serial port\n"
    "  --other-end PATH         with --port: the port at the other end of the line, to see what arrives\n"
    "  --device ADDRESS:PORT    use a real device in the network\n"
    "  --interactive            read steps from the terminal or standard input\n"
    "  --script FILE            read steps from a file, and check what it expects\n"
    "  --verbose                show each packet's bytes and debug text\n"
    "  --driver PATH            the driver to start (default: torvy-driver beside this program)\n"
    "  --help                   show this text\n"
    "\n"
    "Steps, one a line:\n";

constexpr const char* kStatuses =
    "\n"
    "Exit status: 0 when all went as it should, 1 when it did not, 2 when the command line or the script is "
    "wrong\n"
    "or the driver cannot be started. Colours are shown on a terminal only, and not when NO_COLOR is set.\n";

struct Options {
  Session::Setup setup;
  std::string script_path;
  bool interactive = false;
  bool verbose = false;
  bool help = false;
};

int Refuse(const std::string& why) {
  std::cerr << "torvy-simulator: " << why << "\nTry torvy-simulator --help.\n";
  return kUsage;
}

std::string DriverBesideThisProgram() {
  std::array<char, 4096> path{};
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  const std::string own(path.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
  return own.substr(0, own.find_last_of('/') + 1) + "torvy-driver";
}

// Splits ADDRESS:PORT, where an IPv6 address may stand in brackets.
bool ReadDevice(const std::string& text, Session::Setup& setup) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos || colon == 0) return false;
  setup.device_address = text.substr(0, colon);
  if (setup.device_address.front() == '[' && setup.device_address.back() == ']') {
    setup.device_address = setup.device_address.substr(1, colon - 2);
  }
  setup.device_port = platform::ReadInt32(text.substr(colon + 1));
  setup.over_ip = true;
  return setup.device_port > 0;
}

// Sets the option of that name, if it is one that takes no value.
bool SetSwitch(const std::string& name, Options& options) {
  if (name == "--ip") {
    options.setup.over_ip = true;
  } else if (name == "--interactive") {
    options.interactive = true;
  } else if (name == "--verbose") {
    options.verbose = true;
  } else if (name == "--help") {
    options.help = true;
  } else {
    return false;
  }
  return true;
}

// Returns what is wrong with an option that takes a value, if anything.
std::optional<std::string> SetValue(const std::string& name, const std::string& value, Options& options) {
  if (name == "--port") {
    options.setup.port = value;
  } else if (name == "--other-end") {
    options.setup.other_end = value;
  } else if (name == "--script") {
    options.script_path = value;
  } else if (name == "--driver") {
    options.setup.driver = value;
  } else if (name != "--device") {
    return Quoted(name) + " is no option";
  } else if (!ReadDevice(value, options.setup)) {
    return Quoted(value) + " is no device; one is named like 192.0.2.7:4001";
  }
  return std::nullopt;
}

// Returns what is wrong with the command line, if anything.
std::optional<std::string> ReadOptions(const std::vector<std::string>& arguments, Options& options) {
  options.setup.driver = DriverBesideThisProgram();
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (SetSwitch(arguments[i], options)) continue;
    const std::string value = i + 1 < arguments.size() ? arguments[i + 1] : std::string();
    if (auto wrong = SetValue(arguments[i], value, options)) return wrong;
    if (value.empty()) return arguments[i] + " needs a value";
    ++i;
  }
  if (options.setup.over_ip && !options.setup.port.empty()) return "--port does not go with --ip or --device";
  if (!options.setup.other_end.empty() && options.setup.port.empty()) return "--other-end needs --port";
  if (options.interactive && !options.script_path.empty()) return "--interactive does not go with --script";
  return std::nullopt;
}

// Reads all steps of a script; a problem names its line.
std::optional<std::string> ReadScript(std::istream& text, std::vector<Step>& steps) {
  std::string line;
  while (std::getline(text, line)) {
    steps.push_back(ReadStep(line));
    if (steps.back().kind == Step::Kind::kNotUnderstood) {
      return "line " + std::to_string(steps.size()) + ": " + steps.back().text;
    }
  }
  return std::nullopt;
}

bool PlayScript(Session& session, const std::vector<Step>& steps) {
  for (const Step& step : steps) {
    if (!session.Perform(step)) return false;
  }
  return true;
}

// Carries out what is typed until it says quit, it ends or the driver does.
void PlayInput(Session& session, Transcript& transcript) {
  constexpr std::int32_t kSliceMilliseconds = 10;
  Channel input{platform::Descriptor(dup(STDIN_FILENO))};
  transcript.Prompt();
  while (!session.IsOver()) {
    platform::EventPump::Instance().Run(kSliceMilliseconds);
    if (input.Ended && !input.Received.empty()) input.Received += '\n';  // a last line may have none
    std::size_t end = 0;
    while (!session.IsOver() && (end = input.Received.find('\n')) != std::string::npos) {
      session.Perform(ReadStep(input.Received.substr(0, end)));
      input.Received.erase(0, end + 1);
      transcript.Prompt();
    }
    if (input.Ended) break;
  }
}

int Run(const Options& options, const std::vector<Step>& steps) {
  const bool on_terminal = isatty(STDOUT_FILENO) == 1;
  const char* const no_color = std::getenv("NO_COLOR");
  Transcript transcript({.colours = on_terminal && (no_color == nullptr || *no_color == '\0'),
                         .verbose = options.verbose,
                         .prompt = options.interactive && on_terminal && isatty(STDIN_FILENO) == 1});
  Session session(options.setup, transcript);
  bool in_order = session.WaitUntilReady();
  if (in_order && options.interactive) {
    transcript.Note("ready; type help for what can be typed");
    PlayInput(session, transcript);
    transcript.EndPrompt();
  } else if (in_order) {
    in_order = PlayScript(session, steps);
  }
  in_order = session.Finish() && in_order;
  if (in_order) {
    transcript.Note("all as it should be");
  } else {
    transcript.Problem("not as it should be");
  }
  return in_order ? kAsItShouldBe : kNotAsItShouldBe;
}

}  // namespace

int main(int argument_count, char** argument_values) {
  Options options;
  if (const auto wrong = ReadOptions({argument_values + 1, argument_values + argument_count}, options)) {
    return Refuse(*wrong);
  }
  if (options.help) {
    std::cout << kHelp << kScriptHelp << kFaultHelp << kStatuses;
    return kAsItShouldBe;
  }
  std::ifstream file;
  std::istringstream demonstration(kDemonstration);
  if (!options.script_path.empty()) {
    file.open(options.script_path);
    if (!file) return Refuse("cannot read " + options.script_path);
  }
  std::vector<Step> steps;
  std::istream& source = file.is_open() ? static_cast<std::istream&>(file) : demonstration;
  if (const auto wrong = ReadScript(source, steps)) return Refuse(options.script_path + ", " + *wrong);
  try {
    return Run(options, steps);
  } catch (const std::system_error& failure) {
    return Refuse(std::string("cannot start: ") + failure.what());
  }
}
