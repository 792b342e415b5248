// Opens the link to the host.

#ifndef HOST_CONNECTION_H_
#define HOST_CONNECTION_H_

#include <cstdint>
#include <string>

// Creates the host socket, replacing any earlier one, and starts to connect it. An empty address means
// 127.0.0.1, port 0 means 20300. Returns at once; the outcome comes as an event of the socket.
void ConnectToHost(const std::string& address, std::int32_t port, const std::string& connection_id);

// Runs the event pump until the host socket is connected, for at most so many seconds; returns whether it is. The time
// runs to its end even if the connection was refused.
[[nodiscard]] bool WaitForHostConnection(std::int32_t seconds);

#endif  // HOST_CONNECTION_H_
