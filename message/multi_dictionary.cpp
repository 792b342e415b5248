#include "message/multi_dictionary.h"

#include <algorithm>
#include <compare>
#include <cstring>

namespace {

using Lengths = MultiDictionary::Lengths;
using Key = std::array<char, MultiDictionary::kKeySize>;

constexpr std::size_t kHeadSize = 4;  // of the packet, before its first entry
constexpr std::size_t kEntryHeadSize = MultiDictionary::kKeySize + 2;

Key FourByteForm(std::string_view key) {
  Key form{' ', ' ', ' ', ' '};
  const std::string_view end = key.substr(key.size() - std::min(key.size(), form.size()));
  std::ranges::copy_backward(end, form.end());
  return form;
}

std::string_view AsText(const Key& key) {
  return {key.data(), key.size()};
}

// The key's four bytes as one number that is the same for either case of a letter.
std::uint32_t Fold(std::string_view key) {
  constexpr std::uint32_t kEachByte = 0x01010101;
  std::uint32_t bytes = 0;
  std::memcpy(&bytes, key.data(), sizeof bytes);
  // In each byte the top bit of a sum tells whether its low seven bits reach "A", or are past "Z".
  const std::uint32_t low_bits = bytes & 0x7F * kEachByte;
  const std::uint32_t reach_a = low_bits + (0x80 - 'A') * kEachByte;
  const std::uint32_t past_z = low_bits + (0x7F - 'Z') * kEachByte;
  const std::uint32_t capitals = (reach_a ^ past_z) & ~bytes & 0x80 * kEachByte;
  return bytes | capitals >> 2;
}

std::uint32_t FoldedForm(std::string_view key) {
  if (key.size() == MultiDictionary::kKeySize) return Fold(key);
  return Fold(AsText(FourByteForm(key)));
}

// Takes the next entry off the front of the rest; false when there is no whole head left. Of a value that the end cuts
// short, the bytes that are there are kept.
bool TakeEntry(std::string_view& rest, Lengths lengths, std::string_view& entry) {
  if (rest.size() < kEntryHeadSize) return false;
  const std::size_t first = static_cast<unsigned char>(rest[MultiDictionary::kKeySize]);
  const std::size_t second = static_cast<unsigned char>(rest[MultiDictionary::kKeySize + 1]);
  const std::size_t length = lengths == Lengths::kLeastSignificantFirst ? first + 256 * second : 256 * first + second;
  entry = rest.substr(0, kEntryHeadSize + length);
  rest.remove_prefix(entry.size());
  return true;
}

std::string_view EntriesOf(std::string_view packet) {
  return packet.substr(std::min(kHeadSize, packet.size()));
}

// Of entries with the same key the first keeps its place and its letters, and gets the value of the last. Sorting takes
// as long for chosen keys as for any.
void MergeSameKeys(std::vector<MultiDictionary::Entry>& entries) {
  struct Place {
    std::uint32_t folded;
    std::size_t index;
    auto operator<=>(const Place&) const = default;
  };
  std::vector<Place> places;
  places.reserve(entries.size());
  for (const auto& entry : entries) places.push_back({Fold(AsText(entry.key)), places.size()});
  std::ranges::sort(places);
  std::vector<bool> later(entries.size());
  std::size_t first = 0;
  for (std::size_t i = 1; i < places.size(); ++i) {
    if (places[i].folded != places[first].folded) {
      first = i;
      continue;
    }
    later[places[i].index] = true;
    entries[places[first].index].value = entries[places[i].index].value;
  }
  std::size_t index = 0;
  std::erase_if(entries, [&](const auto& /*entry*/) { return later[index++]; });
}

}  // namespace

void MultiDictionary::Set(std::string_view key, std::string_view value, std::string_view packet) {
  TakeApart(packet);
  const Key form = FourByteForm(key);
  const std::uint32_t folded = Fold(form.data());
  const auto place =
      std::ranges::find_if(own_, [folded](const OwnEntry& entry) { return Fold(AsText(entry.key)) == folded; });
  if (place == own_.end()) {
    own_.push_back({form, std::string(value)});
  } else {
    place->value = value;
  }
}

std::optional<std::string_view> MultiDictionary::Find(std::string_view key, std::string_view packet) const {
  const std::uint32_t folded = FoldedForm(key);
  std::optional<std::string_view> value;
  if (lengths_) {
    std::string_view rest = EntriesOf(packet);
    for (std::string_view entry; TakeEntry(rest, *lengths_, entry);) {
      if (Fold(entry) == folded) value = entry.substr(kEntryHeadSize);
    }
    return value;
  }
  for (const OwnEntry& entry : own_) {
    if (Fold(AsText(entry.key)) == folded) value = entry.value;
  }
  return value;
}

std::vector<MultiDictionary::Entry> MultiDictionary::Entries(std::string_view packet) const {
  std::vector<Entry> entries;
  if (lengths_) {
    std::string_view rest = EntriesOf(packet);
    for (std::string_view entry; TakeEntry(rest, *lengths_, entry);) {
      entries.push_back({FourByteForm(entry.substr(0, kKeySize)), entry.substr(kEntryHeadSize)});
    }
    MergeSameKeys(entries);
    return entries;
  }
  entries.reserve(own_.size());
  for (const OwnEntry& entry : own_) entries.push_back({entry.key, entry.value});
  return entries;
}

void MultiDictionary::TakeApart(std::string_view packet) {
  if (!lengths_) return;
  for (const Entry& entry : Entries(packet)) own_.push_back({entry.key, std::string(entry.value)});
  lengths_.reset();
}
