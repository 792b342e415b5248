// Opens the link to the host.

#pragma once

#include <cstdint>
#include <string>

// Creates the host socket, replacing any earlier one, and starts to connect it. An empty address means 127.0.0.1, port
// 0 means 20300. Returns at once; the socket reports the outcome as an event.
void ConnectToHost(const std::string& address, std::int32_t port, const std::string& connection_id);

// Runs the event pump until the host socket is connected, for at most `seconds`; returns whether it is. Waits the full
// time even if the connection was refused.
[[nodiscard]] bool WaitForHostConnection(std::int32_t seconds);
