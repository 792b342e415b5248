// A dictionary of byte strings with four-byte keys, which are not case-sensitive.

#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

class MultiDictionary {
 public:
  static constexpr std::size_t kKeySize = 4;
  using Key = std::array<char, kKeySize>;
  struct Entry {
    Key key;  // as it was first spelled
    std::string value;
  };

  // Adds an entry, or replaces the value of the entry with the same key. A longer key is reduced to its last four
  // bytes, a shorter one is padded with blanks in front.
  void Set(std::string_view key, std::string_view value);

  // Returns the value, or null if there is no such entry. The pointer is valid until the dictionary changes.
  const std::string* Find(std::string_view key) const;

  // Returns the entries in the order in which their keys were first stored.
  const std::vector<Entry>& Entries() const { return entries_; }

 private:
  std::vector<Entry> entries_;
  std::map<Key, std::size_t> places_;  // maps a key in lower case to its index in entries_
};
