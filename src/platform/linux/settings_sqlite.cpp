#include "platform/linux/settings_sqlite.h"

#include <utility>

namespace Veltro::Internal {

SettingsSqlite::SettingsSqlite(std::shared_ptr<DataFolder> folder,
                               std::function<void(const std::string&)> onProblem)
    : folder_(std::move(folder)), onProblem_(std::move(onProblem)) {}

SettingsSqlite::~SettingsSqlite() = default;

bool SettingsSqlite::HasKey(std::u16string_view key) {
  EnsureLoaded();
  std::lock_guard lock(memoryMutex_);
  return values_.find(key) != values_.end();
}

std::optional<SettingValue> SettingsSqlite::Lookup(std::u16string_view key) {
  EnsureLoaded();
  std::lock_guard lock(memoryMutex_);
  const auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

void SettingsSqlite::Insert(std::u16string_view key, SettingValue value) {
  EnsureLoaded();
  {
    std::lock_guard lock(memoryMutex_);
    values_.insert_or_assign(std::u16string(key), std::move(value));
    unsaved_.emplace(key);
  }
  StoreChanges();
}

void SettingsSqlite::Remove(std::u16string_view key) {
  EnsureLoaded();
  {
    std::lock_guard lock(memoryMutex_);
    if (const auto found = values_.find(key); found != values_.end()) values_.erase(found);
    unsaved_.emplace(key);
  }
  StoreChanges();
}

void SettingsSqlite::ClearExcept(std::u16string_view kept) {
  EnsureLoaded();
  bool isCleared = false;
  Problems problems;
  {
    std::lock_guard lock(storeMutex_);
    ForgetExcept(kept);
    problems = Attempt([&] {
      RequireDatabase();
      ForgetExcept(kept);  // what it has just loaded
      database_->ClearExcept(kept);
      StoreUnsaved();
      isCleared = true;
    });
    SettingsDatabase::RemoveSetAside(*folder_);
  }
  Report(problems);
  if (!isCleared) throw PlatformError("the settings cannot be cleared");
}

void SettingsSqlite::EnsureLoaded() {
  if (isLoaded_.load(std::memory_order_acquire)) return;
  Problems problems;
  {
    std::lock_guard lock(storeMutex_);
    if (isLoaded_.load(std::memory_order_relaxed)) return;
    problems = Attempt([this] { RequireDatabase(); });
    isLoaded_.store(true, std::memory_order_release);
  }
  Report(problems);
}

/// Drops all values but one from memory, and has them removed with the next change at the latest.
void SettingsSqlite::ForgetExcept(std::u16string_view kept) {
  std::lock_guard lock(memoryMutex_);
  for (auto value = values_.begin(); value != values_.end();) {
    if (value->first == kept) {
      ++value;
    } else {
      unsaved_.insert(value->first);
      value = values_.erase(value);
    }
  }
}

void SettingsSqlite::StoreChanges() {
  Problems problems;
  {
    std::lock_guard lock(storeMutex_);
    problems = Attempt([this] {
      RequireDatabase();
      StoreUnsaved();
    });
  }
  Report(problems);
}

/// Runs `operation`. When the database proves damaged, again with it opened anew, as a passing
/// fault of the disk may look like damage, and at last on a new one.
SettingsSqlite::Problems SettingsSqlite::Attempt(const std::function<void()>& operation) {
  Problems problems;
  try {
    for (int damages = 0; !TryOnce(operation, damages == 2);) {
      CloseDamaged();
      if (++damages == 2) SetAside(problems);
    }
  } catch (const PlatformError& error) {
    database_.reset();  // SQLite may have fallen back to reading only, which would be for good
    if (!std::exchange(hasReported_, true)) {
      problems.push_back("Unable to store settings (" + std::string(error.what()) +
                         "), keeping them in memory");
    }
  }
  return problems;
}

/// Whether `operation` met no damage, which is as any other trouble to it when `isLast`.
bool SettingsSqlite::TryOnce(const std::function<void()>& operation, bool isLast) {
  try {
    operation();
    return true;
  } catch (const SettingsDamaged&) {
    if (isLast) throw;
    return false;
  }
}

void SettingsSqlite::RequireDatabase() {
  if (database_) return;
  auto database = std::make_unique<SettingsDatabase>(*folder_);
  std::vector<SettingsDatabase::Row> rows = database->Load();
  std::lock_guard lock(memoryMutex_);
  for (SettingsDatabase::Row& row : rows) {
    // What changed while there was no database is newer than what it holds.
    if (unsaved_.contains(row.key)) continue;
    values_.insert_or_assign(std::move(row.key), std::move(row.value));
  }
  database_ = std::move(database);
}

/// Closes the database, of which nothing is to be relied on.
void SettingsSqlite::CloseDamaged() {
  database_.reset();
  std::lock_guard lock(memoryMutex_);
  for (const auto& [key, value] : values_) unsaved_.insert(key);
}

void SettingsSqlite::SetAside(Problems& problems) {
  SettingsDatabase::SetAside(*folder_);
  problems.emplace_back("The stored settings were damaged and have been set aside");
}

void SettingsSqlite::StoreUnsaved() {
  const std::vector<SettingsDatabase::Change> changes = TakeUnsaved();
  if (changes.empty()) return;  // stored along with another thread's change
  try {
    database_->Store(changes);
  } catch (const PlatformError&) {
    PutBack(changes);
    throw;
  }
}

std::vector<SettingsDatabase::Change> SettingsSqlite::TakeUnsaved() {
  std::lock_guard lock(memoryMutex_);
  std::vector<SettingsDatabase::Change> changes;
  for (const std::u16string& key : std::exchange(unsaved_, {})) {
    const auto found = values_.find(key);
    changes.push_back({key, found == values_.end() ? std::nullopt : std::optional(found->second)});
  }
  return changes;
}

void SettingsSqlite::PutBack(const std::vector<SettingsDatabase::Change>& changes) {
  std::lock_guard lock(memoryMutex_);
  for (const SettingsDatabase::Change& change : changes) unsaved_.insert(change.key);
}

void SettingsSqlite::Report(const Problems& problems) {
  if (!onProblem_) return;
  for (const std::string& problem : problems) onProblem_(problem);
}

}  // namespace Veltro::Internal
