#include "simulator/script.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

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

// Takes the step that says what the script is for; false when the step is another one.
bool TakeWay(const Step& step, Script& script) {
  if (step.row->words != "over ip" && step.row->words != "over serial") return false;
  script.over_ip = step.row->words == "over ip";
  return true;
}

Script Read(std::istream& text, const std::string& name) {
  Script script{.name = name, .over_ip = {}, .lines = {}};
  std::string line;
  for (int number = 1; std::getline(text, line); ++number) {
    const Script::Line read{number, ReadStep(line)};
    if (!read.step.wrong.empty()) throw ScriptError(script.Place(read) + ": " + read.step.wrong);
    if (read.step.row == nullptr) continue;
    if (script.lines.empty() && !script.over_ip && TakeWay(read.step, script)) continue;
    if (read.step.row->perform == nullptr) {
      throw ScriptError(script.Place(read) + ": " + read.step.line + " can only be a script's first step");
    }
    script.lines.push_back(read);
  }
  if (text.bad()) throw ScriptError("cannot read " + name);
  if (script.lines.empty()) throw ScriptError(name + " holds no step");
  return script;
}

}  // namespace

Script ReadScript(const std::string& path) {
  if (path == "-") return Read(std::cin, "standard input");
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) throw ScriptError(path + " is a folder, not a script");
  std::ifstream file(path);
  if (!file) throw ScriptError("cannot read " + path + ": " + std::strerror(errno));
  return Read(file, path);
}

Script Demonstration() {
  std::istringstream text(kDemonstration);
  return Read(text, "demonstration");
}
