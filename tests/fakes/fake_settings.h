#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "platform/platform_error.h"
#include "platform/settings_map.h"

namespace Veltro::Internal::Testing {

/// What a fake settings map keeps. Shared by the maps of one device, one after the other, so that a
/// "restarted process" finds the settings of the one before.
struct FakeSettingsStore {
  std::mutex mutex;
  std::map<std::u16string, SettingValue, std::less<>> values;
};

/// Settings in memory. Safe to use from any thread.
class FakeSettings : public SettingsMap {
 public:
  explicit FakeSettings(
      std::shared_ptr<FakeSettingsStore> store = std::make_shared<FakeSettingsStore>())
      : store_(std::move(store)) {}

  bool HasKey(std::u16string_view key) override { return Lookup(key).has_value(); }

  std::optional<SettingValue> Lookup(std::u16string_view key) override {
    std::lock_guard lock(store_->mutex);
    FailWhenAsked();
    const auto found = store_->values.find(key);
    return found == store_->values.end() ? std::nullopt : std::optional(found->second);
  }

  void Insert(std::u16string_view key, SettingValue value) override {
    std::lock_guard lock(store_->mutex);
    FailWhenAsked();
    ++writes_;
    store_->values.insert_or_assign(std::u16string(key), std::move(value));
  }

  void Remove(std::u16string_view key) override {
    std::lock_guard lock(store_->mutex);
    FailWhenAsked();
    if (const auto found = store_->values.find(key); found != store_->values.end()) {
      store_->values.erase(found);
    }
  }

  void ClearExcept(std::u16string_view kept) override {
    std::lock_guard lock(store_->mutex);
    FailWhenAsked();
    std::erase_if(store_->values, [kept](const auto& entry) { return entry.first != kept; });
  }

  /// How many values were written so far.
  int Writes() {
    std::lock_guard lock(store_->mutex);
    return writes_;
  }

  /// Makes the next operation throw `PlatformError("settings failed")`.
  void FailNextOperation() {
    std::lock_guard lock(store_->mutex);
    failNextOperation_ = true;
  }

 private:
  void FailWhenAsked() {
    if (!failNextOperation_) return;
    failNextOperation_ = false;
    throw PlatformError("settings failed");
  }

  std::shared_ptr<FakeSettingsStore> store_;
  bool failNextOperation_ = false;
  int writes_ = 0;
};

}  // namespace Veltro::Internal::Testing
