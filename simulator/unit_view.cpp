#include "simulator/unit_view.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "simulator/wording.h"

std::string UnitView::Take(std::string_view bytes, std::string_view time) {
  constexpr std::size_t kLongestCommand = 17;  // four characters of four bytes each, and the letter
  std::string text;
  rest_ += bytes;
  while (!rest_.empty()) {
    if (const auto command = TakeTorvyCommand(rest_)) {
      text += Note("unit " + command->address, ActionInWords(command->action), time);
    } else if (rest_.size() >= kLongestCommand || rest_.find_first_of("UDS") != std::string::npos) {
      rest_.clear();
      text += Note("other", "raw bytes", time);
    } else {
      break;
    }
  }
  if (terminal_lines_ == 0 || text.empty()) return text;
  return Table();
}

std::string UnitView::Note(const std::string& name, std::string_view what, std::string_view time) {
  Unit& unit = units_[name];
  unit.last = what;
  unit.time = time;
  ++unit.count;
  unit.turn = ++turn_;
  return Row(name, unit);
}

std::string UnitView::Row(const std::string& name, const Unit& unit) {
  std::array<char, 128> row{};
  std::snprintf(row.data(), row.size(), "%-12s  %-10s  %-8s  %zu\n", name.c_str(), unit.last.c_str(), unit.time.c_str(),
                unit.count);
  return row.data();
}

std::string UnitView::Table() {
  // The units that were told something last, as many as the terminal has lines for, by name.
  std::vector<std::size_t> turns;
  turns.reserve(units_.size());
  for (const auto& [name, unit] : units_) turns.push_back(unit.turn);
  std::ranges::sort(turns);
  const std::size_t oldest = turns.size() > terminal_lines_ ? turns[turns.size() - terminal_lines_] : 0;
  std::string table;
  if (lines_shown_ > 0) table = "\x1b[" + std::to_string(lines_shown_) + "A\x1b[J";
  lines_shown_ = 0;
  for (const auto& [name, unit] : units_) {
    if (unit.turn < oldest) continue;
    table += Row(name, unit);
    ++lines_shown_;
  }
  return table;
}
