#include "message/multi_dictionary.h"

#include <algorithm>

#include "platform/text.h"

namespace {

using Key = MultiDictionary::Key;

// Returns the last four bytes, padded with blanks in front.
Key FourBytes(std::string_view key) {
  key.remove_prefix(key.size() - std::min(key.size(), MultiDictionary::kKeySize));
  Key four_bytes{' ', ' ', ' ', ' '};
  std::ranges::copy_backward(key, four_bytes.end());
  return four_bytes;
}

Key Lowered(Key key) {
  std::ranges::transform(key, key.begin(), platform::ToLower);
  return key;
}

}  // namespace

void MultiDictionary::Set(std::string_view key, std::string_view value) {
  const Key four_bytes = FourBytes(key);
  const auto [place, is_new] = places_.try_emplace(Lowered(four_bytes), entries_.size());
  if (is_new) {
    entries_.push_back({four_bytes, std::string(value)});
  } else {
    entries_[place->second].value = value;
  }
}

const std::string* MultiDictionary::Find(std::string_view key) const {
  const auto place = places_.find(Lowered(FourBytes(key)));
  return place == places_.end() ? nullptr : &entries_[place->second].value;
}
