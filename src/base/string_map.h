#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace Veltro::Internal {

/// An ordered map from text to text: unique keys, in the order of their UTF-16 code units.
///
/// All entries lie in one buffer, in key order, so that a map of any size costs one allocation and
/// is read front to back. Entries that arrive in key order are appended; others move those behind
/// them. The views it hands out hold until the next change.
class StringMap {
 public:
  struct Entry {
    std::u16string_view key;
    std::u16string_view value;
    bool operator==(const Entry&) const = default;
  };

  /// Walks the entries in key order.
  class Iterator {
   public:
    Entry operator*() const { return map_->EntryAt(position_); }
    Iterator& operator++() {
      position_ = map_->Next(position_);
      return *this;
    }
    bool operator==(const Iterator& other) const { return position_ == other.position_; }

   private:
    friend class StringMap;
    Iterator(const StringMap* map, std::size_t position) : map_(map), position_(position) {}
    const StringMap* map_;
    std::size_t position_;
  };

  StringMap() = default;
  StringMap(std::initializer_list<Entry> entries);

  Iterator begin() const { return {this, 0}; }
  Iterator end() const { return {this, records_.size()}; }
  bool Empty() const { return size_ == 0; }
  std::size_t Size() const { return size_; }
  bool operator==(const StringMap& other) const { return records_ == other.records_; }

  /// The value under `key`, or nothing.
  std::optional<std::u16string_view> Find(std::u16string_view key) const;

  /// Puts `value` under `key` unless the key is there already. Returns whether it was put.
  bool Add(std::u16string_view key, std::u16string_view value);

  /// Puts `value` under `key`, in place of an earlier value.
  void Set(std::u16string_view key, std::u16string_view value);

  /// `Set` with UTF-8 texts, which become UTF-16 right in the buffer.
  void SetUtf8(std::string_view key, std::string_view value);

  /// Adds every entry of `other` whose key is not there already.
  void Merge(const StringMap& other);

  /// Takes `key` and its value out; a key that is not there is no error.
  void Remove(std::u16string_view key);

  /// Makes room for `entries` entries whose keys and values have `units` code units together.
  void Reserve(std::size_t entries, std::size_t units);

  /// Makes room for the entries of `other`.
  void Reserve(const StringMap& other) {
    records_.reserve(records_.size() + other.records_.size());
  }

 private:
  struct Place {
    std::size_t position;  // of the first record whose key is not less
    bool found;            // whether its key is equal
  };

  Entry EntryAt(std::size_t position) const;
  std::size_t Next(std::size_t position) const;
  std::size_t LengthAt(std::size_t position) const;
  void PutLength(std::size_t position, std::size_t length);
  Place Locate(std::u16string_view key) const;
  void InsertAt(std::size_t position, std::u16string_view key, std::u16string_view value);
  void RemoveAt(std::size_t position);

  // Each record: the key's length and the value's (two units each, low half first), key, value.
  std::u16string records_;
  std::size_t size_ = 0;
  std::size_t last_ = 0;  // position of the last record, when there is one
};

}  // namespace Veltro::Internal
