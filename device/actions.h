// The commands that the interface supports.

#pragma once

#include <array>
#include <string_view>

struct TorvyAction {
  std::string_view name;  // on the host link
  char letter;            // ends the Torvy command
  std::string_view effect;
};

inline constexpr auto kTorvyActions =
    std::to_array<TorvyAction>({{"ON", 'U', "up"}, {"OFF", 'D', "down"}, {"Stop", 'S', "stop"}});
