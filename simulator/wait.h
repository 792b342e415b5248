// Waiting for an event with a limit, while the event pump runs.

#ifndef SIMULATOR_WAIT_H_
#define SIMULATOR_WAIT_H_

#include <chrono>
#include <functional>

// Runs the pump until the condition holds or the limit has passed; returns whether it holds.
bool WaitFor(const std::function<bool()>& condition, std::chrono::milliseconds limit = std::chrono::seconds(30));

#endif  // SIMULATOR_WAIT_H_
