// Log lines to the host, from anywhere in the process. They are dropped while there is no host socket.

#ifndef HOST_LOG_H_
#define HOST_LOG_H_

#include <cstdint>
#include <string_view>

#include "app/process_state.h"

// Log levels, to which the host gives their meaning.
inline constexpr std::int32_t kLogLevelUnparsable = 1;
inline constexpr std::int32_t kLogLevelOperational = 2;
inline constexpr std::int32_t kLogLevelDetail = 4;

// Queues a log line, which leaves with the next poll of the host socket or run of the event pump.
void QueueLogToHost(std::string_view text, std::int32_t level);

// Queues a log line and polls the host socket three times, so that the line leaves at once.
void LogToHost(std::string_view text, std::int32_t level);

// Logs what `make_text` returns while DebugMode is set. Otherwise no text is built: every command comes this way.
template <typename MakeText>
void LogInDebugMode(const MakeText& make_text, std::int32_t level = kLogLevelDetail,
                    void (*log)(std::string_view text, std::int32_t level) = LogToHost) {
  if (State().DebugMode) log(make_text(), level);
}

#endif  // HOST_LOG_H_
