#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

#include "base/string_map.h"
#include "platform/debug_output.h"

namespace Veltro::Internal {

/// The library's log: one line a call, "Veltro Debug: ", "Veltro Warning: " or "Veltro Error: " and
/// the message. Process-wide, the one thing in the library that is; callable from any thread, never
/// throws.
///
/// A message is a format with slots: "%s" for text, "%d" and "%ld" for integers, "%f" and "%.2f"
/// for numbers; "%%" is a percent sign. Slots are filled in order, and what fills them is never
/// read as a format. Control characters of a text, other than line feed, are written as \xNN, so
/// that a value cannot forge lines or drive a terminal. A message is cut at 10,239 UTF-16 units.

/// What fills a slot. Refers to texts; they must outlive the call.
using LogArgument = std::variant<std::u16string_view, std::string_view, std::int64_t, double>;

enum class LogLevel { Debug, Warning, Error };

/// Whether debug and warning lines are written. False at start.
bool DebugLoggingEnabled() noexcept;
void SetDebugLoggingEnabled(bool enabled) noexcept;

/// Where lines go from now on; null drops them, as at start. The output must outlive its use by
/// any thread.
void SetDebugOutput(DebugOutput* output) noexcept;

/// Writes one line, whatever the flag says. Call the functions below instead.
void WriteLogLine(LogLevel level, std::string_view format,
                  std::initializer_list<LogArgument> arguments) noexcept;

template <std::integral T>
LogArgument ToLogArgument(T value) {
  return static_cast<std::int64_t>(value);
}
inline LogArgument ToLogArgument(double value) { return value; }
inline LogArgument ToLogArgument(std::string_view value) { return value; }
inline LogArgument ToLogArgument(std::u16string_view value) { return value; }

/// For following what the library does. Costs one test of a flag unless debug logging is on.
template <class... Arguments>
void LogDebug(std::string_view format, const Arguments&... arguments) noexcept {
  if (DebugLoggingEnabled()) WriteLogLine(LogLevel::Debug, format, {ToLogArgument(arguments)...});
}

/// For calls that were refused or changed. Written only while debug logging is on.
template <class... Arguments>
void LogWarning(std::string_view format, const Arguments&... arguments) noexcept {
  if (DebugLoggingEnabled()) WriteLogLine(LogLevel::Warning, format, {ToLogArgument(arguments)...});
}

/// For trouble that may lose data. Always written.
template <class... Arguments>
void LogError(std::string_view format, const Arguments&... arguments) noexcept {
  WriteLogLine(LogLevel::Error, format, {ToLogArgument(arguments)...});
}

/// `map` as text for a log line: for each entry in key order a line feed, four blanks, the key,
/// " = " and the value. Empty for an empty map.
std::u16string FormatDictionaryForLog(const StringMap& map);

}  // namespace Veltro::Internal
