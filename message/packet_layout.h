// Where the fields of a plain packet stand, in bytes from its start.

#ifndef MESSAGE_PACKET_LAYOUT_H_
#define MESSAGE_PACKET_LAYOUT_H_

#include <cstddef>
#include <cstdint>

namespace layout {

inline constexpr std::size_t kLength = 1;
inline constexpr std::size_t kVersion = 2;
inline constexpr std::size_t kTransaction = 3;
inline constexpr std::size_t kInterfaceType = 4;
inline constexpr std::size_t kUnitClass = 5;
inline constexpr std::size_t kFlags = 6;
inline constexpr std::size_t kCode = 7;
inline constexpr std::size_t kCommand = 8;
inline constexpr std::size_t kAddress1 = 9;
inline constexpr std::size_t kAddress2 = 10;  // raw data begins here, too
inline constexpr std::size_t kLevel = 11;
inline constexpr std::size_t kParam1 = 12;  // the digits of a raw analog value begin here, too
inline constexpr std::size_t kParam2 = 13;

// Bits of the flag byte.
inline constexpr std::int32_t kFlagDoTransmit = 0x80;
inline constexpr std::int32_t kFlagCCM = 0x40;
inline constexpr std::int32_t kFlagAddressOnly = 0x20;
inline constexpr std::int32_t kFlagCommandOnly = 0x10;
inline constexpr std::int32_t kFlagWireless = 0x08;
inline constexpr std::int32_t kFlagPassThrough = 0x04;
inline constexpr std::int32_t kFlagStacked = 0x02;

// A log packet's.
inline constexpr std::size_t kLogLevel = 2;

}  // namespace layout

#endif  // MESSAGE_PACKET_LAYOUT_H_
