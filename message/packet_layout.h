// Layout of the host link's packets: byte offsets from the start of the packet, header sizes and flag bits. Kind
// letters are in lower case here, but are not case-sensitive.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace layout {

// Plain packets. Log packets share the kind and the length, error packets also the code.
inline constexpr std::string_view kParsedKinds = "xylmn";
inline constexpr std::size_t kHeaderSize = 2;
inline constexpr std::size_t kLength = 1;
inline constexpr std::size_t kVersion = 2;
inline constexpr std::size_t kTransaction = 3;
inline constexpr std::size_t kInterfaceType = 4;
inline constexpr std::size_t kUnitClass = 5;
inline constexpr std::size_t kFlags = 6;
inline constexpr std::size_t kCode = 7;
inline constexpr std::size_t kCommand = 8;
inline constexpr std::size_t kAddress1 = 9;
inline constexpr std::size_t kAddress2 = 10;  // also the start of raw data
inline constexpr std::size_t kLevel = 11;
inline constexpr std::size_t kParam1 = 12;  // also the start of a raw analog value's digits
inline constexpr std::size_t kParam2 = 13;

// Bits of the flag byte.
inline constexpr std::int32_t kFlagDoTransmit = 0x80;
inline constexpr std::int32_t kFlagCCM = 0x40;
inline constexpr std::int32_t kFlagAddressOnly = 0x20;
inline constexpr std::int32_t kFlagCommandOnly = 0x10;
inline constexpr std::int32_t kFlagWireless = 0x08;
inline constexpr std::int32_t kFlagPassThrough = 0x04;
inline constexpr std::int32_t kFlagStacked = 0x02;

// Log packets. The level byte may be missing.
inline constexpr std::size_t kLogLevel = 2;
inline constexpr std::size_t kLogHeaderSize = 3;

// Multipackets, and the entries in them.
inline constexpr char kMultiKind = 'j';
inline constexpr std::size_t kMultiLength = 1;         // 16 bits, least significant byte first
inline constexpr std::size_t kMaxMultiLength = 65535;  // also of a value
inline constexpr std::size_t kMultiFlags = 3;
inline constexpr std::size_t kMultiHeaderSize = 4;
inline constexpr std::int32_t kFlagLittleEndian = 0x80;  // byte order of the value lengths
inline constexpr std::size_t kValueLength = 4;           // from the entry's start, after the key; 16 bits
inline constexpr std::size_t kEntryHeaderSize = 6;

}  // namespace layout
