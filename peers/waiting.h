// Waiting for an event with a limit, while the event pump runs.

#ifndef PEERS_WAITING_H_
#define PEERS_WAITING_H_

#include <chrono>
#include <functional>

// Runs the pump until the condition holds or the limit has passed; returns whether it holds.
[[nodiscard]] bool WaitFor(const std::function<bool()>& condition,
                           std::chrono::milliseconds limit = std::chrono::seconds(30));

#endif  // PEERS_WAITING_H_
