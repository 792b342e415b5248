// The named entries of a multipacket: four-byte keys, whose letters match in either case, with byte-string values.

#ifndef MESSAGE_MULTI_DICTIONARY_H_
#define MESSAGE_MULTI_DICTIONARY_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

class MultiDictionary {
 public:
  static constexpr std::size_t kKeySize = 4;

  struct Entry {
    std::array<char, kKeySize> key;  // in the letters it was first stored with
    std::string value;
  };

  // A key of any length is reduced to its last four bytes, blanks in front when it has fewer.
  void Set(std::string_view key, std::string_view value);

  // The value, or null when there is no such entry. Valid until the next Set.
  const std::string* Find(std::string_view key) const;

  // In the order in which the keys were first stored.
  const std::vector<Entry>& Entries() const { return entries_; }

 private:
  using FoldedKey = std::uint32_t;

  const Entry* FindFolded(FoldedKey folded) const;

  std::vector<Entry> entries_;
  std::unordered_map<FoldedKey, std::size_t> positions_;  // filled once a scan would be slow
};

#endif  // MESSAGE_MULTI_DICTIONARY_H_
