#include "platform/linux/settings_database.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <limits>

#include "base/utf.h"

namespace Veltro::Internal {
namespace {

constexpr int kBusyTimeoutMilliseconds = 250;
constexpr const char* kFile = "settings.db";
constexpr const char* kDamagedFile = "settings.db.damaged";
constexpr std::array<const char*, 2> kCompanions = {"settings.db-wal", "settings.db-shm"};

/// The mode of the regular file `name`; nothing when there is none.
std::optional<mode_t> FileMode(const FileDescriptor& folder, const char* name) {
  struct stat status {};
  if (fstatat(folder.Get(), name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return std::nullopt;
    ThrowSystemError("stat", name);
  }
  if (!S_ISREG(status.st_mode)) {
    throw PlatformError("open " + std::string(name) + ": Not a regular file");
  }
  return status.st_mode;
}

// By name, not through a descriptor: closing one would drop the file locks that another
// connection of this process holds.
void TightenByName(const FileDescriptor& folder, const char* name) {
  const auto mode = FileMode(folder, name);
  if (!mode || (*mode & 077U) == 0) return;
  if (fchmodat(folder.Get(), name, *mode & 0600U, 0) != 0) ThrowSystemError("chmod", name);
}

void CreateEmpty(const FileDescriptor& folder) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  const FileDescriptor file(
      Uninterrupted([&] { return openat(folder.Get(), kFile, kFlags, 0600); }));
  if (file) fchmod(file.Get(), 0600);  // an odd umask may have taken the owner's rights
  if (!file && errno != EEXIST) ThrowSystemError("open", kFile);
}

/// Sees to it that the file exists and only the user may read it and its companions.
void PrepareFiles(const FileDescriptor& folder) {
  if (!FileMode(folder, kFile)) CreateEmpty(folder);
  TightenByName(folder, kFile);
  for (const char* companion : kCompanions) TightenByName(folder, companion);
}

bool MayBeWritten(const FileDescriptor& folder) {
  return faccessat(folder.Get(), kFile, W_OK, AT_EACCESS) == 0;
}

std::string DatabasePath(DataFolder& folder) {
  std::error_code error;
  // SQLite is told to follow no link, and minds those above the data folder, too.
  const auto path = std::filesystem::canonical(folder.Path(), error);
  if (error) ThrowSystemError("open", folder.Path().native(), error.value());
  return path / kFile;
}

[[noreturn]] void Throw(int code, const char* message) {
  const int primary = code & 0xFF;
  if (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB || primary == SQLITE_ERROR) {
    throw SettingsDamaged(message);  // SQLITE_ERROR: the tables are not ours
  }
  throw PlatformError(message);
}

std::string ColumnText(sqlite3_stmt* row, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
  if (text == nullptr) return {};
  return {text, static_cast<std::size_t>(sqlite3_column_bytes(row, column))};
}

std::optional<SettingValue> ColumnValue(sqlite3_stmt* row, std::string_view kind, int column) {
  const int type = sqlite3_column_type(row, column);
  if (kind == "String" && type == SQLITE_TEXT) return ToUtf16(ColumnText(row, column));
  if (type != SQLITE_INTEGER) return std::nullopt;
  const std::int64_t number = sqlite3_column_int64(row, column);
  if (kind == "Boolean" && (number == 0 || number == 1)) return number == 1;
  using Limits = std::numeric_limits<std::int32_t>;
  if (kind != "Int32" || number < Limits::min() || number > Limits::max()) return std::nullopt;
  return static_cast<std::int32_t>(number);
}

const char* KindOf(const SettingValue& value) {
  if (std::holds_alternative<bool>(value)) return "Boolean";
  return std::holds_alternative<std::int32_t>(value) ? "Int32" : "String";
}

}  // namespace

void SettingsDatabase::CloseDatabase::operator()(sqlite3* database) const {
  sqlite3_close_v2(database);
}

void SettingsDatabase::FinishStatement::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

SettingsDatabase::SettingsDatabase(DataFolder& folder) {
  PrepareFiles(folder.Create());
  constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW;
  sqlite3* database = nullptr;
  const int code = sqlite3_open_v2(DatabasePath(folder).c_str(), &database, kFlags, nullptr);
  database_.reset(database);
  Check(code);
  sqlite3_busy_timeout(database, kBusyTimeoutMilliseconds);
  Execute("PRAGMA journal_mode=WAL");
  Execute("PRAGMA synchronous=NORMAL");
  Execute(
      "CREATE TABLE IF NOT EXISTS settings(key TEXT PRIMARY KEY, kind TEXT, value) WITHOUT ROWID");
  const bool isReadOnly = sqlite3_db_readonly(database_.get(), "main") != 0;
  if (isReadOnly && MayBeWritten(folder.Open())) throw SettingsDamaged("the header is damaged");
  upsert_ = Prepare("INSERT OR REPLACE INTO settings(key, kind, value) VALUES(?1, ?2, ?3)");
  remove_ = Prepare("DELETE FROM settings WHERE key = ?1");
}

SettingsDatabase::~SettingsDatabase() = default;

std::vector<SettingsDatabase::Row> SettingsDatabase::Load() {
  const Statement select = Prepare("SELECT key, kind, value FROM settings");
  std::vector<Row> rows;
  int code = SQLITE_OK;
  while ((code = sqlite3_step(select.get())) == SQLITE_ROW) {
    if (auto row = ReadRow(select.get())) rows.push_back(std::move(*row));
  }
  if (code != SQLITE_DONE) Check(code);
  CheckIntegrity();
  return rows;
}

void SettingsDatabase::Store(const std::vector<Change>& changes) {
  if (changes.size() == 1) return Apply(changes.front());
  Execute("BEGIN IMMEDIATE");
  try {
    for (const Change& change : changes) Apply(change);
    Execute("COMMIT");
  } catch (...) {
    sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
}

void SettingsDatabase::ClearExcept(std::u16string_view kept) {
  Execute("PRAGMA secure_delete=ON");
  const Statement clear = Prepare("DELETE FROM settings WHERE key <> ?1");
  BindText(clear.get(), 1, kept);
  RunOnce(clear.get());
  // The log holds the values as they came, and stays while another process reads it.
  if (Ask("PRAGMA wal_checkpoint(TRUNCATE)") != "0") {
    throw PlatformError("another process holds on to earlier values");
  }
}

void SettingsDatabase::SetAside(DataFolder& folder) {
  const FileDescriptor descriptor = folder.Create();
  if (renameat(descriptor.Get(), kFile, descriptor.Get(), kDamagedFile) != 0) {
    ThrowSystemError("rename", kFile);
  }
  for (const char* companion : kCompanions) unlinkat(descriptor.Get(), companion, 0);
}

void SettingsDatabase::RemoveSetAside(DataFolder& folder) {
  const FileDescriptor descriptor = folder.Open();
  if (!descriptor || unlinkat(descriptor.Get(), kDamagedFile, 0) == 0 || errno == ENOENT) return;
  ThrowSystemError("unlink", kDamagedFile);
}

void SettingsDatabase::Check(int code) {
  if (code == SQLITE_OK) return;
  Throw(code, database_ ? sqlite3_errmsg(database_.get()) : sqlite3_errstr(code));
}

void SettingsDatabase::Execute(const char* sql) {
  Check(sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr));
}

SettingsDatabase::Statement SettingsDatabase::Prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  Check(sqlite3_prepare_v2(database_.get(), sql, -1, &statement, nullptr));
  return Statement(statement);
}

/// The first column of the first row of the answer, as text.
std::string SettingsDatabase::Ask(const char* sql) {
  const Statement question = Prepare(sql);
  const int code = sqlite3_step(question.get());
  if (code != SQLITE_ROW) Check(code);
  return ColumnText(question.get(), 0);
}

std::optional<SettingsDatabase::Row> SettingsDatabase::ReadRow(sqlite3_stmt* row) {
  auto value = ColumnValue(row, ColumnText(row, 1), 2);
  if (!value || sqlite3_column_type(row, 0) != SQLITE_TEXT) return std::nullopt;
  return Row{ToUtf16(ColumnText(row, 0)), std::move(*value)};
}

void SettingsDatabase::CheckIntegrity() {
  const std::string verdict = Ask("PRAGMA integrity_check(1)");
  if (verdict != "ok") throw SettingsDamaged(verdict);
}

void SettingsDatabase::Apply(const Change& change) {
  sqlite3_stmt* const statement = change.value ? upsert_.get() : remove_.get();
  BindText(statement, 1, change.key);
  if (change.value) BindValue(statement, *change.value);
  RunOnce(statement);
}

void SettingsDatabase::BindText(sqlite3_stmt* statement, int index, std::u16string_view text) {
  const std::string utf8 = ToUtf8(text);
  Check(sqlite3_bind_text64(statement, index, utf8.data(), utf8.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8));
}

void SettingsDatabase::BindValue(sqlite3_stmt* statement, const SettingValue& value) {
  Check(sqlite3_bind_text(statement, 2, KindOf(value), -1, SQLITE_STATIC));
  if (const auto* text = std::get_if<std::u16string>(&value)) return BindText(statement, 3, *text);
  const auto* number = std::get_if<std::int32_t>(&value);
  Check(sqlite3_bind_int(statement, 3, number != nullptr ? *number : std::get<bool>(value)));
}

void SettingsDatabase::RunOnce(sqlite3_stmt* statement) {
  const int code = sqlite3_step(statement);
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
  if (code != SQLITE_DONE) Check(code);
}

}  // namespace Veltro::Internal
