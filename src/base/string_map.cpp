#include "base/string_map.h"

#include "base/utf.h"

namespace Veltro::Internal {
namespace {

constexpr std::size_t kHeader = 4;  // units before the key of a record

}  // namespace

StringMap::StringMap(std::initializer_list<Entry> entries) {
  for (const Entry& entry : entries) Set(entry.key, entry.value);
}

std::optional<std::u16string_view> StringMap::Find(std::u16string_view key) const {
  const Place place = Locate(key);
  if (!place.found) return std::nullopt;
  return EntryAt(place.position).value;
}

bool StringMap::Add(std::u16string_view key, std::u16string_view value) {
  const Place place = Locate(key);
  if (place.found) return false;
  InsertAt(place.position, key, value);
  return true;
}

void StringMap::Set(std::u16string_view key, std::u16string_view value) {
  const Place place = Locate(key);
  if (place.found) RemoveAt(place.position);
  InsertAt(place.position, key, value);
}

void StringMap::SetUtf8(std::string_view key, std::string_view value) {
  const std::size_t position = records_.size();
  records_.append(kHeader, u'\0');
  AppendUtf16(key, records_);
  const std::size_t keyLength = records_.size() - position - kHeader;
  AppendUtf16(value, records_);
  PutLength(position, keyLength);
  PutLength(position + 2, records_.size() - position - kHeader - keyLength);
  const Entry entry = EntryAt(position);
  if (Empty() || EntryAt(last_).key < entry.key) {
    last_ = position;
    ++size_;
    return;
  }
  const std::u16string ownKey(entry.key);
  const std::u16string ownValue(entry.value);
  records_.resize(position);
  Set(ownKey, ownValue);
}

void StringMap::Merge(const StringMap& other) {
  for (const Entry entry : other) Add(entry.key, entry.value);
}

[[gnu::cold]] void StringMap::Remove(std::u16string_view key) {
  const Place place = Locate(key);
  if (place.found) RemoveAt(place.position);
}

void StringMap::Reserve(std::size_t entries, std::size_t units) {
  records_.reserve(records_.size() + entries * kHeader + units);
}

StringMap::Entry StringMap::EntryAt(std::size_t position) const {
  const std::size_t keyLength = LengthAt(position);
  const std::u16string_view text = std::u16string_view(records_).substr(position + kHeader);
  return {text.substr(0, keyLength), text.substr(keyLength, LengthAt(position + 2))};
}

std::size_t StringMap::Next(std::size_t position) const {
  return position + kHeader + LengthAt(position) + LengthAt(position + 2);
}

std::size_t StringMap::LengthAt(std::size_t position) const {
  return records_[position] | static_cast<std::size_t>(records_[position + 1]) << 16;
}

void StringMap::PutLength(std::size_t position, std::size_t length) {
  records_[position] = static_cast<char16_t>(length & 0xFFFF);
  records_[position + 1] = static_cast<char16_t>(length >> 16);
}

StringMap::Place StringMap::Locate(std::u16string_view key) const {
  if (Empty() || EntryAt(last_).key < key) return {records_.size(), false};
  std::size_t position = 0;
  while (EntryAt(position).key < key) position = Next(position);
  return {position, EntryAt(position).key == key};
}

void StringMap::InsertAt(std::size_t position, std::u16string_view key, std::u16string_view value) {
  const std::size_t length = kHeader + key.size() + value.size();
  const bool isLast = position == records_.size();
  records_.insert(position, length, u'\0');
  PutLength(position, key.size());
  PutLength(position + 2, value.size());
  key.copy(&records_[position + kHeader], key.size());
  value.copy(&records_[position + kHeader] + key.size(), value.size());
  last_ = isLast ? position : last_ + length;
  ++size_;
}

// Entries are seldom replaced or taken out.
[[gnu::cold]] void StringMap::RemoveAt(std::size_t position) {
  const std::size_t length = Next(position) - position;
  const bool wasLast = position == last_;
  records_.erase(position, length);
  --size_;
  if (!wasLast) {
    last_ -= length;
    return;
  }
  last_ = 0;
  while (!Empty() && Next(last_) != records_.size()) last_ = Next(last_);
}

}  // namespace Veltro::Internal
