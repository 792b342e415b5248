#include "host/log.h"

#include "app/process_state.h"
#include "host/host_socket.h"

void QueueLogToHost(std::string_view text, std::int32_t level) {
  if (const auto socket = State().HostSocket) socket->SendLog(text, level);
}

void LogToHost(std::string_view text, std::int32_t level) {
  constexpr int kPolls = 3;
  QueueLogToHost(text, level);
  for (int i = 0; i < kPolls; ++i) {
    // Look up the socket each time and keep it alive: a poll may replace or release it.
    if (const auto socket = State().HostSocket) socket->Poll();
  }
}

void LogInDebugMode(std::string_view text, std::int32_t level) {
  if (State().DebugMode) LogToHost(text, level);
}
