#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/string_map.h"
#include "veltro/context_data.h"

namespace Veltro::Internal {

/// The host's context data on its way to a worker. The caller's thread pays for one plain copy, in
/// one allocation; the worker makes of it what the library works with: UTF-16, with values as text.
/// Integers are written in decimal, float and double as the shortest text that reads back to the
/// same value, booleans as "true" or "false". Values of other kinds, and texts of 4 GiB and more,
/// are left out without a message.
class ContextDataCopy {
 public:
  explicit ContextDataCopy(const ContextData& data);

  /// Data that the library works with already.
  explicit ContextDataCopy(StringMap converted) : converted_(std::move(converted)) {}

  /// The data as the library works with it.
  StringMap Convert() const;

  /// The same for a dry run: the variable "veltroNotes" besides, when there is something that the
  /// developer should know. It has a line for each key that will be cleaned and each value that is
  /// left out.
  StringMap ConvertWithNotes() const;

 private:
  struct Record;

  static Record TakeRecord(std::string_view& rest);

  // One record for each entry: a `RecordHead`, the key, the value; UTF-8. Of a value that is left
  // out, its type.
  std::string records_;
  StringMap converted_;
};

/// One value in the same form; nothing for a kind that is left out.
std::optional<std::u16string> ContextDataText(const Value& value);

/// `map` as the host gets it: UTF-8.
std::map<std::string, std::string> ToUtf8Map(const StringMap& map);

}  // namespace Veltro::Internal
