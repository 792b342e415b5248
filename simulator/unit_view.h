// What each unit was last told, one line a unit: rewritten in place on a terminal, a line a command otherwise.

#ifndef SIMULATOR_UNIT_VIEW_H_
#define SIMULATOR_UNIT_VIEW_H_

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

class UnitView {
 public:
  // On a terminal it is rewritten in place, with at most so many lines; 0 writes a line a command.
  explicit UnitView(std::size_t terminal_lines) : terminal_lines_(terminal_lines) {}

  // Takes what the interface got at a time of day; returns what to write for it.
  std::string Take(std::string_view bytes, std::string_view time);

 private:
  struct Unit {
    std::string last;
    std::string time;
    std::size_t count = 0;
    std::size_t turn = 0;  // the larger, the later
  };

  static std::string Row(const std::string& name, const Unit& unit);
  std::string Note(const std::string& name, std::string_view what, std::string_view time);
  std::string Table();

  std::size_t terminal_lines_;
  std::map<std::string, Unit> units_;
  std::string rest_;  // of a command that is not whole yet
  std::size_t turn_ = 0;
  std::size_t lines_shown_ = 0;
};

#endif  // SIMULATOR_UNIT_VIEW_H_
