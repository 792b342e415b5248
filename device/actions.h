// The commands that the interface supports.

#ifndef DEVICE_ACTIONS_H_
#define DEVICE_ACTIONS_H_

#include <array>
#include <string_view>

struct TorvyAction {
  std::string_view name;  // on the host link
  char letter;            // ends the Torvy command
  std::string_view effect;
};

inline constexpr auto kTorvyActions =
    std::to_array<TorvyAction>({{"ON", 'U', "up"}, {"OFF", 'D', "down"}, {"Stop", 'S', "stop"}});

#endif  // DEVICE_ACTIONS_H_
