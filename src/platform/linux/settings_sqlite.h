#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/settings_database.h"
#include "platform/settings_map.h"

namespace Veltro::Internal {

/// The settings, in memory and in settings.db in the data folder. The database is opened and loaded
/// by the first operation. While it cannot be, each change tries again, and the map does without.
///
/// Changes made by other processes after the loading are not seen; the database keeps the latest
/// change of each key, whoever made it. A reading operation never waits for a change that is being
/// stored.
class SettingsSqlite : public SettingsMap {
 public:
  /// `onProblem` gets one UTF-8 text when changes cannot be stored, once for all of them, and one
  /// when a damaged database was set aside. It is called outside any lock.
  SettingsSqlite(std::shared_ptr<DataFolder> folder,
                 std::function<void(const std::string&)> onProblem);
  ~SettingsSqlite() override;

  bool HasKey(std::u16string_view key) override;
  std::optional<SettingValue> Lookup(std::u16string_view key) override;
  void Insert(std::u16string_view key, SettingValue value) override;
  void Remove(std::u16string_view key) override;
  void ClearExcept(std::u16string_view kept) override;

 private:
  using Problems = std::vector<std::string>;

  void EnsureLoaded();
  void ForgetExcept(std::u16string_view kept);
  void StoreChanges();
  Problems Attempt(const std::function<void()>& operation);
  static bool TryOnce(const std::function<void()>& operation, bool isLast);
  void RequireDatabase();
  void CloseDamaged();
  void SetAside(Problems& problems);
  void StoreUnsaved();
  std::vector<SettingsDatabase::Change> TakeUnsaved();
  void PutBack(const std::vector<SettingsDatabase::Change>& changes);
  void Report(const Problems& problems);

  const std::shared_ptr<DataFolder> folder_;
  const std::function<void(const std::string&)> onProblem_;

  std::mutex storeMutex_;  // held during file access; never taken while holding memoryMutex_
  std::unique_ptr<SettingsDatabase> database_;
  bool hasReported_ = false;
  std::atomic<bool> isLoaded_ = false;

  std::mutex memoryMutex_;
  std::map<std::u16string, SettingValue, std::less<>> values_;
  std::set<std::u16string, std::less<>> unsaved_;
};

}  // namespace Veltro::Internal
