// Log lines for the host, from anywhere in the process. Nothing happens while there is no host socket.

#ifndef HOST_LOG_H_
#define HOST_LOG_H_

#include <cstdint>
#include <string_view>

// Log levels as the host understands them.
inline constexpr std::int32_t kLogLevelUnparsable = 1;
inline constexpr std::int32_t kLogLevelOperational = 2;
inline constexpr std::int32_t kLogLevelDetail = 4;

// Queues a log line, which leaves with the next poll of the host socket or run of the event pump.
void QueueLogToHost(std::string_view text, std::int32_t level);

// Queues a log line and polls the host socket three times, so that the line leaves at once.
void LogToHost(std::string_view text, std::int32_t level);

// As LogToHost at level 4, but only while DebugMode is set.
void LogToHostInDebugMode(std::string_view text);

#endif  // HOST_LOG_H_
