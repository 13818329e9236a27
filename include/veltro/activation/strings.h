#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string_view>

#include "veltro/activation/basics.h"

namespace Veltro::Abi {

/// A string: UTF-16 that does not change, of up to 2^32 - 1 units. A null handle is the empty one.
struct StringHeader {
  std::uint32_t flags;
  std::uint32_t length;  ///< in units, without the NUL behind them
  std::uint32_t padding1;
  std::uint32_t padding2;
  const char16_t* text;
};

using HSTRING = StringHeader*;

/// The flag of a fast-pass string: header and text are the caller's own, good for one call.
inline constexpr std::uint32_t kFastPassString = 1;

/// A string of its own, in memory from `malloc`.
struct OwnedString {
  StringHeader header;
  std::atomic<std::int32_t> references;
  char16_t text[1];  ///< the first of them; NUL-terminated
};

inline std::u16string_view ViewString(HSTRING string) noexcept {
  return string == nullptr ? std::u16string_view()
                           : std::u16string_view(string->text, string->length);
}

/// A new string of one reference.
inline HRESULT CreateString(std::u16string_view text, HSTRING* string) noexcept {
  if (string == nullptr) return kNullPointer;
  *string = nullptr;
  if (text.empty()) return kOk;
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) return kOutOfMemory;
  const std::size_t bytes = text.size() * sizeof(char16_t);
  void* const memory = std::malloc(sizeof(OwnedString) + bytes);
  if (memory == nullptr) return kOutOfMemory;
  auto* const owned = new (memory) OwnedString{{}, {1}, {}};
  char16_t* const copy = owned->text;
  std::memcpy(copy, text.data(), bytes);
  copy[text.size()] = u'\0';
  owned->header = {0, static_cast<std::uint32_t>(text.size()), 0, 0, copy};
  *string = &owned->header;
  return kOk;
}

/// One more reference to the same string; a copy of a fast-pass one.
inline HRESULT DuplicateString(HSTRING string, HSTRING* duplicate) noexcept {
  if (duplicate == nullptr) return kNullPointer;
  if (string != nullptr && (string->flags & kFastPassString) != 0) {
    return CreateString(ViewString(string), duplicate);
  }
  if (string != nullptr) reinterpret_cast<OwnedString*>(string)->references.fetch_add(1);
  *duplicate = string;
  return kOk;
}

/// Gives a reference back; does nothing to a fast-pass string.
inline void DeleteString(HSTRING string) noexcept {
  if (string == nullptr || (string->flags & kFastPassString) != 0) return;
  auto* const owned = reinterpret_cast<OwnedString*>(string);
  if (owned->references.fetch_sub(1) == 1) std::free(owned);
}

}  // namespace Veltro::Abi
