#include "message/multi_dictionary.h"

#include <algorithm>

#include "platform/text.h"

namespace {

using Key = std::array<char, MultiDictionary::kKeySize>;

// A device command has three or four entries, for which a scan beats any index.
constexpr std::size_t kMostScanned = 16;

Key FourByteForm(std::string_view key) {
  Key form;
  form.fill(' ');
  const std::string_view end = key.substr(key.size() - std::min(key.size(), form.size()));
  std::copy(end.rbegin(), end.rend(), form.rbegin());
  return form;
}

std::uint32_t Fold(const Key& key) {
  std::uint32_t folded = 0;
  for (const char c : key) folded = folded << 8 | static_cast<unsigned char>(platform::ToLower(c));
  return folded;
}

}  // namespace

void MultiDictionary::Set(std::string_view key, std::string_view value) {
  const Key form = FourByteForm(key);
  const FoldedKey folded = Fold(form);
  if (const Entry* found = FindFolded(folded)) {
    entries_[static_cast<std::size_t>(found - entries_.data())].value = value;
    return;
  }
  if (entries_.empty()) {
    constexpr std::size_t kUsualEntries = 4;
    entries_.reserve(kUsualEntries);
  }
  entries_.push_back({form, std::string(value)});
  if (entries_.size() <= kMostScanned) return;
  if (positions_.empty()) {
    for (std::size_t i = 0; i < kMostScanned; ++i) positions_[Fold(entries_[i].key)] = i;
  }
  positions_[folded] = entries_.size() - 1;
}

const std::string* MultiDictionary::Find(std::string_view key) const {
  const Entry* found = FindFolded(Fold(FourByteForm(key)));
  return found == nullptr ? nullptr : &found->value;
}

const MultiDictionary::Entry* MultiDictionary::FindFolded(FoldedKey folded) const {
  if (positions_.empty()) {
    const auto place = std::find_if(entries_.begin(), entries_.end(),
                                    [folded](const Entry& entry) { return Fold(entry.key) == folded; });
    return place == entries_.end() ? nullptr : &*place;
  }
  const auto place = positions_.find(folded);
  return place == positions_.end() ? nullptr : &entries_[place->second];
}
