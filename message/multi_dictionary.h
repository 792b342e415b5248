// The named entries of a multipacket: four-byte keys, whose letters match in either case, with byte-string values.
//
// The entries of a received packet stay where they lie in it, and are taken apart when one is set for the first time.
// So every operation is given the packet as it was received; a dictionary that was built here makes no use of it.

#ifndef MESSAGE_MULTI_DICTIONARY_H_
#define MESSAGE_MULTI_DICTIONARY_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class MultiDictionary {
 public:
  static constexpr std::size_t kKeySize = 4;

  struct Entry {
    std::array<char, kKeySize> key;  // in the letters it was first stored with
    std::string_view value;          // valid as long as the dictionary and its packet stay as they are
  };

  enum class Lengths { kMostSignificantFirst, kLeastSignificantFirst };

  // An empty dictionary.
  MultiDictionary() = default;
  // That of a received packet, with the lengths of its values in this byte order.
  explicit MultiDictionary(Lengths lengths) : lengths_(lengths) {}

  // A key of any length is reduced to its last four bytes, blanks in front when it has fewer.
  void Set(std::string_view key, std::string_view value, std::string_view packet);

  // The value, of a key that the packet has twice the later one; nothing when there is no such entry.
  std::optional<std::string_view> Find(std::string_view key, std::string_view packet) const;

  // In the order in which the keys were first stored.
  std::vector<Entry> Entries(std::string_view packet) const;

  // From here on the packet is not needed any more.
  void TakeApart(std::string_view packet);

 private:
  struct OwnEntry {
    std::array<char, kKeySize> key;
    std::string value;
  };

  std::optional<Lengths> lengths_;  // while the entries lie in the packet
  std::vector<OwnEntry> own_;
};

#endif  // MESSAGE_MULTI_DICTIONARY_H_
