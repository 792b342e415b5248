// The commands that the interface supports: their names on the host link, and the letters that end a Torvy command.

#ifndef DEVICE_ACTIONS_H_
#define DEVICE_ACTIONS_H_

#include <array>
#include <string_view>

struct TorvyAction {
  std::string_view name;
  char letter;
};

inline constexpr std::array kTorvyActions{TorvyAction{"ON", 'U'}, TorvyAction{"OFF", 'D'}, TorvyAction{"Stop", 'S'}};

#endif  // DEVICE_ACTIONS_H_
