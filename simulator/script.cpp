#include "simulator/script.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <utility>

namespace {

constexpr const char* kDemonstration =
    "0102 ON\nexpect 0102U\n"
    "0102 OFF\nexpect 0102D\n"
    "0304 Stop\nexpect 0304S\n"
    "0102 DIM\nexpect log unsupported command: DIM\n"
    "debug\n0102 ON\nexpect 0102U\nexpect log sending command: (0102U)\n"
    "quit\nexpect log The torvy plx has been asked to quit. (1)\n";

// Applies an `over` step to the script; returns false for any other step.
bool SelectTransport(const Step& step, Script& script) {
  if (!step.row->IsTransport()) return false;
  script.over_ip = step.row->kind == StepRow::Kind::kOverIp;
  return true;
}

// Reads a file completely. The size of a pipe or a device is limited, because it may have no end.
std::string Contents(std::istream& input, const std::string& path, const std::string& name) {
  constexpr std::size_t kMaxBytes = 1'048'576;
  std::error_code ignored;
  const bool limited = !std::filesystem::is_regular_file(path, ignored);
  std::string text;
  std::array<char, 4096> bytes{};
  while (input.read(bytes.data(), bytes.size()) || input.gcount() > 0) {
    text.append(bytes.data(), static_cast<std::size_t>(input.gcount()));
    if (limited && text.size() > kMaxBytes) throw InputError(name + " is longer than 1 MiB");
  }
  if (input.bad()) throw InputError("cannot read " + name);
  return text;
}

Script Read(const std::string& contents, const std::string& name) {
  constexpr int kMaxProblems = 10;
  std::istringstream text(contents);
  std::string problems;
  int problem_count = 0;
  Script script{.name = name, .over_ip = {}, .steps = {}};
  std::string line;
  for (int number = 1; std::getline(text, line); ++number) {
    Step step = ReadStep(line);
    step.position = name + ":" + std::to_string(number);
    const bool first = script.steps.empty() && !script.over_ip;
    if (first && step.row != nullptr && SelectTransport(step, script)) continue;
    const std::string wrong = WhyNotPerformable(step);
    if (!wrong.empty() && ++problem_count <= kMaxProblems) problems += step.Message(wrong) + '\n';
    if (step.row != nullptr) script.steps.push_back(std::move(step));
  }
  if (problem_count > kMaxProblems) problems += "and " + std::to_string(problem_count - kMaxProblems) + " more lines\n";
  if (!problems.empty()) throw InputError(problems.substr(0, problems.size() - 1));
  if (script.steps.empty()) {
    throw InputError(name + (script.over_ip ? " names a transport, but no steps to perform" : " contains no steps"));
  }
  return script;
}

}  // namespace

Script ReadScript(const std::string& path) {
  if (path == "-") return Read(Contents(std::cin, "/dev/stdin", "standard input"), "standard input");
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) throw InputError(path + " is a directory, not a script");
  std::ifstream file(path);
  if (!file) throw InputError("cannot read " + path + ": " + std::strerror(errno));
  return Read(Contents(file, path, path), path);
}

Script Demonstration() {
  return Read(kDemonstration, "demonstration");
}
