#pragma once

#include <charconv>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace Veltro::Collector {

/// The parts of `text` between the separators; one, perhaps empty, where there is no separator.
std::vector<std::string_view> Split(std::string_view text, char separator);

/// `text` with its percent escapes resolved; bad ones stay as they are. Sets `malformed` when there
/// are such, or when the result is not UTF-8, and leaves it alone otherwise.
std::string Unescape(std::string_view text, bool& malformed);

/// The number that all of `text` is in decimal, if it is one that fits.
template <class Number>
std::optional<Number> WholeNumber(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  return isNumber ? std::optional(number) : std::nullopt;
}

using Parameters = std::map<std::string, std::string>;

/// The parameters in the query of a request target, names and values unescaped. Of a name that
/// comes twice the last value counts; one without "=" has an empty value.
Parameters DecodeParameters(std::string_view rawTarget);

/// The value of a parameter; "" when there is none.
std::string ValueOf(const Parameters& parameters, const std::string& name);

}  // namespace Veltro::Collector
