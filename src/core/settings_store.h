#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/settings_map.h"

namespace Veltro::Internal {

/// Typed access to the application's settings, where small state lives between runs. Knows the
/// kinds of values, not what the keys mean: those belong to the classes that own them. Safe to use
/// from any thread.
///
/// Dates are stored as decimal text of seconds, so every key holds a String, an Int32 or a Boolean,
/// and always the same of them. Operations throw `PlatformError` when the map fails or a value has
/// another kind than asked for.
class SettingsStore {
 public:
  explicit SettingsStore(SettingsMap& settings) : settings_(settings) {}

  bool HasKey(std::u16string_view key) { return settings_.HasKey(key); }

  /// The text form of the value, whatever its kind; empty when the key is absent.
  std::u16string ReadString(std::u16string_view key);

  /// The value; nothing when the key is absent.
  std::optional<std::int32_t> ReadInt32(std::u16string_view key);
  std::optional<bool> ReadBoolean(std::u16string_view key);

  void Write(std::u16string_view key, SettingValue value);
  void Remove(std::u16string_view key) { settings_.Remove(key); }

  /// Forgets everything but the value under `kept`. Throws `PlatformError` when it may still be
  /// stored.
  void ClearExcept(std::u16string_view kept);

  /// The custom visitor identifier that the host set last; empty when it never set one. Read from
  /// the settings once.
  std::u16string GetStoredVisitorId();

  /// The same, if it has been read or set before; touches neither settings nor disk.
  std::optional<std::u16string> LoadedVisitorId();

  void SetStoredVisitorId(std::u16string_view identifier);

  /// The sum of what the host has reported as the user's value, with two decimals; 0 when it never
  /// reported any. Read from its text in the settings each time; throws `PlatformError` when that
  /// begins with no number, or with one that is out of range.
  float GetStoredLifetimeValue();

  /// The value as first read or last set; touches neither settings nor disk.
  std::optional<float> LoadedLifetimeValue();

  /// Stores `value`, rounded to two decimals.
  void SetStoredLifetimeValue(float value);

 private:
  SettingsMap& settings_;
  std::mutex mutex_;
  std::optional<std::u16string> visitorId_;
  std::optional<float> lifetimeValue_;
};

}  // namespace Veltro::Internal
