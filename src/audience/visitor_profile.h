#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "base/string_map.h"
#include "core/settings_store.h"

namespace Veltro::Internal {

/// What the audience server has told of the user: the identifier that it assigned and the profile,
/// its segments. Both are kept in the settings, so that they survive a restart. Safe to use from
/// any thread. What reads or writes the settings waits for them, and throws `PlatformError` when
/// they fail.
class VisitorProfile {
 public:
  explicit VisitorProfile(SettingsStore& settings) : settings_(settings) {}

  /// The profile; the stored one is loaded first. A stored text that is no JSON object counts as
  /// empty.
  StringMap GetProfile();

  /// The profile, if it has been loaded or stored before. Waits for nothing.
  std::optional<StringMap> LoadedProfile();

  /// How often the user has been forgotten. Who asks a server takes the number first: what the
  /// answer tells of a user who is forgotten by then is not stored.
  std::uint64_t Generation();

  /// Forgets profile and identifier. Throws `PlatformError` when the settings fail.
  void Forget();

  /// Replaces the profile whole. Its text form in the settings has keys and values as they are, so
  /// one with a double quote does not survive a restart.
  void StoreProfile(const StringMap& profile, std::uint64_t generation);

  /// The user's identifier; empty when none has been assigned.
  std::u16string GetUserId();

  /// Replaces the user's identifier. The same one again is not written.
  void StoreUserId(const std::u16string& userId, std::uint64_t generation);

 private:
  void LoadUserId();  // with `settingsMutex_` held

  SettingsStore& settings_;
  std::mutex settingsMutex_;  // keeps the settings from ending up older than the memory
  std::u16string userId_;     // guarded by it, as is
  std::uint64_t generation_ = 0;
  std::mutex profileMutex_;
  std::optional<StringMap> profile_;
};

/// The stored form of a profile: {"key":"value","key":"value"} in key order, nothing escaped.
std::u16string ProfileText(const StringMap& profile);

}  // namespace Veltro::Internal
