// The commands that the interface knows, by the name that the host gives them and the letter that ends a Torvy command.

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
