// The entries of a multipacket: four-byte keys, compared without regard to letter case, with byte-string values.
//
// The entries of a received packet stay in wire form, in the dictionary's own copy of the packet, until one is set.

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
    std::array<char, layout::kKeySize> key;  // in the letters it was first stored with
    std::string_view value;                  // valid until the dictionary changes or goes
  };

  enum class Lengths { kMostSignificantFirst, kLeastSignificantFirst };

  // An empty dictionary.
  MultiDictionary() = default;
  // The entries of a received packet, whose value lengths have this byte order.
  MultiDictionary(std::string_view packet, Lengths lengths) : packet_(packet), lengths_(lengths) {}

  // A key of any length is reduced to its last four bytes, blanks in front when it has fewer.
  void Set(std::string_view key, std::string_view value);

  // The value, valid until the dictionary changes or goes; nothing when there is no such entry. Of two entries with the
  // same key the later one counts.
  std::optional<std::string_view> Find(std::string_view key) const;

  // In the order in which the keys were first stored.
  std::vector<Entry> Entries() const;

 private:
  void ParsePacket();

  struct OwnEntry {
    std::array<char, layout::kKeySize> key;
    std::string value;
  };

  std::string packet_;              // as received; empty once it has been parsed
  std::optional<Lengths> lengths_;  // set while the entries are in packet_
  std::vector<OwnEntry> own_;       // the entries otherwise
};

#endif  // MESSAGE_MULTI_DICTIONARY_H_
