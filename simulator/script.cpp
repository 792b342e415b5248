#include "simulator/script.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <utility>

namespace {

constexpr const char* kDemonstration =
    "0102 ON\n"
    "expect 0102U\n"
    "0102 OFF\n"
    "expect 0102D\n"
    "0304 Stop\n"
    "expect 0304S\n"
    "0102 DIM\n"
    "expect log unsupported command: DIM\n"
    "debug\n"
    "0102 ON\n"
    "expect 0102U\n"
    "expect log sending command: (0102U)\n"
    "quit\n"
    "expect log The torvy plx has been asked to quit. (1)\n";

// Applies an `over` step to the script; false for any other step.
bool TakeTransport(const Step& step, Script& script) {
  if (step.row->words != "over ip" && step.row->words != "over serial") return false;
  script.over_ip = step.row->words == "over ip";
  return true;
}

Script Read(std::istream& text, const std::string& name) {
  Script script{.name = name, .over_ip = {}, .steps = {}};
  std::string line;
  for (int number = 1; std::getline(text, line); ++number) {
    Step step = ReadStep(line);
    step.position = name + ":" + std::to_string(number);
    const bool first = script.steps.empty() && !script.over_ip;
    if (first && step.row != nullptr && TakeTransport(step, script)) continue;
    const std::string wrong = WhyNotPerformable(step);
    if (!wrong.empty()) throw ScriptError(step.position + ": " + wrong);
    if (step.row != nullptr) script.steps.push_back(std::move(step));
  }
  if (text.bad()) throw ScriptError("cannot read " + name);
  if (script.steps.empty()) throw ScriptError(name + " contains no steps");
  return script;
}

}  // namespace

Script ReadScript(const std::string& path) {
  if (path == "-") return Read(std::cin, "standard input");
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) throw ScriptError(path + " is a directory, not a script");
  std::ifstream file(path);
  if (!file) throw ScriptError("cannot read " + path + ": " + std::strerror(errno));
  return Read(file, path);
}

Script Demonstration() {
  std::istringstream text(kDemonstration);
  return Read(text, "demonstration");
}
