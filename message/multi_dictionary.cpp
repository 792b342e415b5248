#include "message/multi_dictionary.h"

#include <algorithm>
#include <bit>
#include <compare>

namespace {

using Lengths = MultiDictionary::Lengths;
using Key = std::array<char, layout::kKeySize>;

// Returns the first four bytes.
Key KeyOf(std::string_view bytes) {
  Key key{};
  std::copy_n(bytes.begin(), key.size(), key.begin());
  return key;
}

Key FourByteForm(std::string_view key) {
  if (key.size() >= layout::kKeySize) return KeyOf(key.substr(key.size() - layout::kKeySize));
  Key form{' ', ' ', ' ', ' '};
  std::ranges::copy_backward(key, form.end());
  return form;
}

// Returns the key's four bytes as one number, with letters in lower case.
std::uint32_t Fold(const Key& key) {
  constexpr std::uint32_t kEachByte = 0x01010101;
  const auto bytes = std::bit_cast<std::uint32_t>(key);
  // Compares four bytes at once: bit 7 of each byte of the sums says whether it is >= 'A', and whether it is > 'Z'.
  const std::uint32_t low_bits = bytes & 0x7F * kEachByte;
  const std::uint32_t from_a = low_bits + (0x80 - 'A') * kEachByte;
  const std::uint32_t past_z = low_bits + (0x7F - 'Z') * kEachByte;
  const std::uint32_t capitals = (from_a ^ past_z) & ~bytes & 0x80 * kEachByte;
  return bytes | capitals >> 2;
}

// Removes the next entry from the front of `rest`; returns false if no complete entry header is left. A value cut short
// by the packet's end keeps the bytes that are there.
bool TakeEntry(std::string_view& rest, Lengths lengths, std::string_view& entry) {
  if (rest.size() < layout::kEntryHeaderSize) return false;
  const std::size_t first = static_cast<unsigned char>(rest[layout::kValueLength]);
  const std::size_t second = static_cast<unsigned char>(rest[layout::kValueLength + 1]);
  const std::size_t length = lengths == Lengths::kLeastSignificantFirst ? first + 256 * second : 256 * first + second;
  entry = rest.substr(0, layout::kEntryHeaderSize + length);
  rest.remove_prefix(entry.size());
  return true;
}

std::string_view EntriesOf(std::string_view packet) {
  return packet.substr(std::min(layout::kMultiHeaderSize, packet.size()));
}

// Merges entries with the same key: the first keeps its position and spelling, and gets the value of the last.
void MergeSameKeys(std::vector<MultiDictionary::Entry>& entries) {
  struct FoldedKey {
    std::uint32_t folded;
    std::size_t index;
    auto operator<=>(const FoldedKey&) const = default;
  };
  // Sorted rather than hashed, so that crafted keys cannot make it slow.
  std::vector<FoldedKey> keys;
  keys.reserve(entries.size());
  for (const auto& entry : entries) keys.push_back({Fold(entry.key), keys.size()});
  std::ranges::sort(keys);
  std::vector<bool> repeats(entries.size());
  std::size_t first = 0;
  for (std::size_t i = 1; i < keys.size(); ++i) {
    if (keys[i].folded != keys[first].folded) {
      first = i;
      continue;
    }
    repeats[keys[i].index] = true;
    entries[keys[first].index].value = entries[keys[i].index].value;
  }
  std::size_t index = 0;
  std::erase_if(entries, [&](const auto& /*entry*/) { return repeats[index++]; });
}

}  // namespace

void MultiDictionary::Set(std::string_view key, std::string_view value) {
  ParsePacket();
  const Key form = FourByteForm(key);
  const std::uint32_t folded = Fold(form);
  const auto place = std::ranges::find_if(own_, [folded](const OwnEntry& entry) { return Fold(entry.key) == folded; });
  if (place == own_.end()) {
    own_.push_back({form, std::string(value)});
  } else {
    place->value = value;
  }
}

std::optional<std::string_view> MultiDictionary::Find(std::string_view key) const {
  const std::uint32_t folded = Fold(FourByteForm(key));
  std::optional<std::string_view> value;
  if (lengths_) {
    std::string_view rest = EntriesOf(packet_);
    for (std::string_view entry; TakeEntry(rest, *lengths_, entry);) {
      if (Fold(KeyOf(entry)) == folded) value = entry.substr(layout::kEntryHeaderSize);
    }
    return value;
  }
  for (const OwnEntry& entry : own_) {
    if (Fold(entry.key) == folded) value = entry.value;
  }
  return value;
}

std::vector<MultiDictionary::Entry> MultiDictionary::Entries() const {
  std::vector<Entry> entries;
  if (lengths_) {
    std::string_view rest = EntriesOf(packet_);
    for (std::string_view entry; TakeEntry(rest, *lengths_, entry);) {
      entries.push_back({KeyOf(entry), entry.substr(layout::kEntryHeaderSize)});
    }
    MergeSameKeys(entries);
    return entries;
  }
  entries.reserve(own_.size());
  for (const OwnEntry& entry : own_) entries.push_back({entry.key, entry.value});
  return entries;
}

void MultiDictionary::ParsePacket() {
  if (!lengths_) return;
  for (const Entry& entry : Entries()) own_.push_back({entry.key, std::string(entry.value)});
  lengths_.reset();
  packet_.clear();
}
