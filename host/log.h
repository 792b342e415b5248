// Sends log entries to the host, from anywhere in the process. Drops them while there is no host socket.
//
// The texts of the entries, including double and trailing blanks, their levels, and the three polls match those of the
// host's other drivers. Do not correct them.

#pragma once

#include <cstdint>
#include <string_view>

// Log levels; the host defines their meaning.
inline constexpr std::int32_t kLogLevelUnparsable = 1;
inline constexpr std::int32_t kLogLevelOperational = 2;
inline constexpr std::int32_t kLogLevelDetail = 4;

// Queues a log entry, which is sent with the next poll of the host socket or run of the event pump.
void QueueLogToHost(std::string_view text, std::int32_t level);

// Queues a log entry and polls the host socket three times, so that the entry is sent at once.
void LogToHost(std::string_view text, std::int32_t level);

// Calls LogToHost if DebugMode is set.
void LogInDebugMode(std::string_view text, std::int32_t level = kLogLevelDetail);
