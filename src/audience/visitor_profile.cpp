#include "audience/visitor_profile.h"

#include "base/utf.h"
#include "core/assigned_id.h"
#include "core/json.h"

namespace Veltro::Internal {
namespace {

constexpr std::u16string_view kUserIdKey = u"KestrelUserId";
constexpr std::u16string_view kProfileKey = u"KestrelUserProfile";

StringMap ParseProfile(const std::string& text) {
  StringMap profile;
  const nlohmann::json stored = ParseJson(text);
  if (!stored.is_object()) return profile;
  for (const auto& [key, value] : stored.items()) {
    if (value.is_string()) profile.Set(ToUtf16(key), ToUtf16(value.get<std::string>()));
  }
  return profile;
}

}  // namespace

StringMap VisitorProfile::GetProfile() {
  const std::lock_guard settingsLock(settingsMutex_);
  if (auto loaded = LoadedProfile()) return *std::move(loaded);
  StringMap stored = ParseProfile(ToUtf8(settings_.ReadString(kProfileKey)));
  const std::lock_guard lock(profileMutex_);
  profile_ = std::move(stored);
  return *profile_;
}

std::optional<StringMap> VisitorProfile::LoadedProfile() {
  const std::lock_guard lock(profileMutex_);
  return profile_;
}

std::uint64_t VisitorProfile::Generation() {
  const std::lock_guard lock(settingsMutex_);
  return generation_;
}

void VisitorProfile::Forget() {
  const std::lock_guard settingsLock(settingsMutex_);
  ++generation_;
  userId_.clear();
  {
    const std::lock_guard lock(profileMutex_);
    profile_ = StringMap();
  }
  settings_.Remove(kUserIdKey);  // the profile is never read again
}

void VisitorProfile::StoreProfile(const StringMap& profile, std::uint64_t generation) {
  const std::lock_guard settingsLock(settingsMutex_);
  if (generation != generation_) return;
  settings_.Write(kProfileKey, ProfileText(profile));
  const std::lock_guard lock(profileMutex_);
  profile_ = profile;
}

std::u16string VisitorProfile::GetUserId() {
  const std::lock_guard lock(settingsMutex_);
  LoadUserId();
  return userId_;
}

void VisitorProfile::StoreUserId(const std::u16string& userId, std::uint64_t generation) {
  const std::lock_guard lock(settingsMutex_);
  if (generation != generation_) return;
  LoadUserId();
  if (userId == userId_) return;
  settings_.Write(kUserIdKey, userId);
  userId_ = userId;
}

void VisitorProfile::LoadUserId() {
  if (!userId_.empty()) return;
  std::u16string stored = settings_.ReadString(kUserIdKey);
  if (IsAssignedId<char16_t>(stored)) userId_ = std::move(stored);
}

std::u16string ProfileText(const StringMap& profile) {
  std::u16string text = u"{";
  for (const auto [key, value] : profile) {
    if (text.size() > 1) text += u',';
    text.append(u"\"").append(key).append(u"\":\"").append(value).append(u"\"");
  }
  return text += u'}';
}

}  // namespace Veltro::Internal
