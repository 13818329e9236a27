#include "core/settings_store.h"

#include <utility>

#include "base/number_text.h"
#include "base/utf.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr std::u16string_view kVisitorIdKey = u"NURI_Tallymark_StoredDefaults_VisitorID";
constexpr std::u16string_view kLifetimeValueKey = u"VLT_LIFETIME_VALUE";

template <class T>
std::optional<T> Unbox(SettingsMap& settings, std::u16string_view key) {
  const std::optional<SettingValue> value = settings.Lookup(key);
  if (!value) return std::nullopt;
  if (const T* held = std::get_if<T>(&*value)) return *held;
  throw PlatformError("the setting " + ToUtf8(key) + " has another kind of value");
}

std::u16string TextForm(const SettingValue& value) {
  if (const auto* text = std::get_if<std::u16string>(&value)) return *text;
  if (const auto* number = std::get_if<std::int32_t>(&value)) return DecimalText(*number);
  return std::get<bool>(value) ? u"true" : u"false";
}

float ParseLifetimeValue(std::u16string_view text) {
  float value = 0;
  const std::errc error = ReadNumber(text, value);
  if (error == std::errc::result_out_of_range) throw PlatformError("stof argument out of range");
  if (error != std::errc()) throw PlatformError("invalid stof argument");
  return value;
}

}  // namespace

std::u16string SettingsStore::ReadString(std::u16string_view key) {
  const std::optional<SettingValue> value = settings_.Lookup(key);
  return value ? TextForm(*value) : std::u16string();
}

std::optional<std::int32_t> SettingsStore::ReadInt32(std::u16string_view key) {
  return Unbox<std::int32_t>(settings_, key);
}

std::optional<bool> SettingsStore::ReadBoolean(std::u16string_view key) {
  return Unbox<bool>(settings_, key);
}

void SettingsStore::Write(std::u16string_view key, SettingValue value) {
  settings_.Insert(key, std::move(value));
}

void SettingsStore::ClearExcept(std::u16string_view kept) {
  {
    const std::lock_guard lock(mutex_);
    visitorId_ = u"";
    lifetimeValue_ = 0.0F;
  }
  settings_.ClearExcept(kept);
}

std::u16string SettingsStore::GetStoredVisitorId() {
  if (std::optional<std::u16string> loaded = LoadedVisitorId()) return *std::move(loaded);
  std::u16string stored = ReadString(kVisitorIdKey);
  const std::lock_guard lock(mutex_);
  if (!visitorId_) visitorId_ = std::move(stored);
  return *visitorId_;
}

std::optional<std::u16string> SettingsStore::LoadedVisitorId() {
  const std::lock_guard lock(mutex_);
  return visitorId_;
}

void SettingsStore::SetStoredVisitorId(std::u16string_view identifier) {
  Write(kVisitorIdKey, std::u16string(identifier));
  const std::lock_guard lock(mutex_);
  visitorId_ = identifier;
}

float SettingsStore::GetStoredLifetimeValue() {
  const float value =
      HasKey(kLifetimeValueKey) ? ParseLifetimeValue(ReadString(kLifetimeValueKey)) : 0;
  const std::lock_guard lock(mutex_);
  if (!lifetimeValue_) lifetimeValue_ = value;
  return value;
}

std::optional<float> SettingsStore::LoadedLifetimeValue() {
  const std::lock_guard lock(mutex_);
  return lifetimeValue_;
}

void SettingsStore::SetStoredLifetimeValue(float value) {
  const std::u16string text = FixedText(value, 2);
  Write(kLifetimeValueKey, text);
  const std::lock_guard lock(mutex_);
  lifetimeValue_ = ParseLifetimeValue(text);
}

}  // namespace Veltro::Internal
