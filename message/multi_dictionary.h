// The entries of a multipacket: four-byte, case-insensitive keys with byte-string values.
//
// The entries of a received packet stay in wire format, in the dictionary's own copy of the packet, until one is set.

#ifndef MESSAGE_MULTI_DICTIONARY_H_
#define MESSAGE_MULTI_DICTIONARY_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "message/packet_layout.h"

class MultiDictionary {
 public:
  struct Entry {
    std::array<char, layout::kKeySize> key;  // as it was first spelled
    std::string_view value;                  // valid until the dictionary changes or is destroyed
  };

  enum class Lengths { kMostSignificantFirst, kLeastSignificantFirst };

  // Creates an empty dictionary.
  MultiDictionary() = default;
  // Creates a dictionary of a received packet; `lengths` is the byte order of its value lengths.
  MultiDictionary(std::string_view packet, Lengths lengths) : packet_(packet), lengths_(lengths) {}

  // Sets an entry. A longer key is reduced to its last four bytes, a shorter one is padded with blanks in front.
  void Set(std::string_view key, std::string_view value);

  // Returns the value, valid until the dictionary changes or is destroyed; nothing if there is no such entry. Of two
  // entries with the same key, the later one is used.
  std::optional<std::string_view> Find(std::string_view key) const;

  // Returns the entries in the order in which their keys were first stored.
  std::vector<Entry> Entries() const;

 private:
  void ParsePacket();

  struct OwnEntry {
    std::array<char, layout::kKeySize> key;
    std::string value;
  };

  std::string packet_;              // as received; empty after parsing
  std::optional<Lengths> lengths_;  // set while the entries are in packet_
  std::vector<OwnEntry> own_;       // the entries after parsing
};

#endif  // MESSAGE_MULTI_DICTIONARY_H_
