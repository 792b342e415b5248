// Sends log lines to the host, from anywhere in the process. Drops them while there is no host socket.

#ifndef HOST_LOG_H_
#define HOST_LOG_H_

#include <cstdint>
#include <string_view>

#include "app/process_state.h"

// Log levels; the host defines their meaning.
inline constexpr std::int32_t kLogLevelUnparsable = 1;
inline constexpr std::int32_t kLogLevelOperational = 2;
inline constexpr std::int32_t kLogLevelDetail = 4;

// Queues a log line, which is sent with the next poll of the host socket or run of the event pump.
void QueueLogToHost(std::string_view text, std::int32_t level);

// Queues a log line and polls the host socket three times, so that the line is sent at once.
void LogToHost(std::string_view text, std::int32_t level);

// If DebugMode is set, logs the text that `make_text` returns. Otherwise builds no text, because every command gets
// here.
template <typename MakeText>
void LogInDebugMode(const MakeText& make_text, std::int32_t level = kLogLevelDetail,
                    void (*log)(std::string_view text, std::int32_t level) = LogToHost) {
  if (State().DebugMode) log(make_text(), level);
}

#endif  // HOST_LOG_H_
