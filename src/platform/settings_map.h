#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace Veltro::Internal {

/// A boxed setting: text, a 32-bit integer or a boolean.
using SettingValue = std::variant<std::u16string, std::int32_t, bool>;

/// The application's persistent settings: case-sensitive keys, one boxed value each. Safe to use
/// from any thread. Reading touches memory only, but for the first operation, which loads the
/// store.
///
/// A change is in memory at once. A store that cannot be written is not the caller's trouble: the
/// change stays in memory and is stored with the next one. Operations throw `PlatformError` only
/// when the map itself fails.
class SettingsMap {
 public:
  virtual ~SettingsMap() = default;

  virtual bool HasKey(std::u16string_view key) = 0;

  /// The value under `key`, or nothing.
  virtual std::optional<SettingValue> Lookup(std::u16string_view key) = 0;

  /// Stores `value` under `key`, in place of an earlier value of any kind.
  virtual void Insert(std::u16string_view key, SettingValue value) = 0;

  /// Removes `key`; a key that is not there is no error.
  virtual void Remove(std::u16string_view key) = 0;

  /// Removes every key but `kept`, and what the store still holds of them and of earlier values.
  /// Throws `PlatformError` when the store cannot be reached: the keys are gone from memory then.
  virtual void ClearExcept(std::u16string_view kept) = 0;
};

}  // namespace Veltro::Internal
