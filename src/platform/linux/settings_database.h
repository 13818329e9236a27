#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/data_folder.h"
#include "platform/platform_error.h"
#include "platform/settings_map.h"

struct sqlite3;
struct sqlite3_stmt;

namespace Veltro::Internal {

/// The settings database cannot be used because its contents are damaged.
class SettingsDamaged : public PlatformError {
 public:
  using PlatformError::PlatformError;
};

/// The open database file settings.db: table settings(key, kind, value) with kind one of String,
/// Int32 and Boolean, texts in UTF-8. Keeps nothing in memory. Used by one thread at a time;
/// several processes may have it open. Every operation throws `SettingsDamaged` for a damaged file
/// and `PlatformError` for every other trouble.
class SettingsDatabase {
 public:
  struct Row {
    std::u16string key;
    SettingValue value;
  };

  /// A key and its new value; nothing removes the key.
  struct Change {
    std::u16string key;
    std::optional<SettingValue> value;
  };

  /// Opens the database in `folder` and creates both where they do not exist. The file and its
  /// companions are for the user only; a symbolic link or other non-file in their place is refused.
  explicit SettingsDatabase(DataFolder& folder);
  ~SettingsDatabase();

  /// All rows. Checks the whole file first to last, as one that is damaged may hold rows that look
  /// right and swallow those that are stored. Rows that make no sense are passed over.
  std::vector<Row> Load();

  /// Stores all changes or none.
  void Store(const std::vector<Change>& changes);

  /// Removes every key but `kept`, and overwrites what they held.
  void ClearExcept(std::u16string_view kept);

  /// Renames a damaged database, which must not be open, to settings.db.damaged, so that the next
  /// one opened is new.
  static void SetAside(DataFolder& folder);

  /// Removes what was set aside.
  static void RemoveSetAside(DataFolder& folder);

 private:
  struct CloseDatabase {
    void operator()(sqlite3* database) const;
  };
  struct FinishStatement {
    void operator()(sqlite3_stmt* statement) const;
  };
  using Statement = std::unique_ptr<sqlite3_stmt, FinishStatement>;

  void Check(int code);
  void Execute(const char* sql);
  Statement Prepare(const char* sql);
  std::string Ask(const char* sql);
  std::optional<Row> ReadRow(sqlite3_stmt* row);
  void CheckIntegrity();
  void Apply(const Change& change);
  void BindText(sqlite3_stmt* statement, int index, std::u16string_view text);
  void BindValue(sqlite3_stmt* statement, const SettingValue& value);
  void RunOnce(sqlite3_stmt* statement);

  std::unique_ptr<sqlite3, CloseDatabase> database_;
  Statement upsert_;
  Statement remove_;
};

}  // namespace Veltro::Internal
