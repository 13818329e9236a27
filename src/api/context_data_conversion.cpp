#include "api/context_data_conversion.h"

#include <charconv>
#include <cmath>
#include <string_view>
#include <type_traits>
#include <variant>

#include "base/utf.h"

namespace Veltro::Internal {
namespace {

/// Room for the text of any number.
using Buffer = char[32];

/// The text of a value that tracking takes, in `buffer` or in the value; nothing for another kind.
struct ToText {
  Buffer& buffer;

  std::optional<std::string_view> operator()(const std::string& text) const { return text; }
  std::optional<std::string_view> operator()(bool value) const { return value ? "true" : "false"; }

  template <class Number>
  std::optional<std::string_view> operator()(const Number& value) const {
    constexpr bool kIsTracked =
        std::is_arithmetic_v<Number> && sizeof(Number) >= 2 && !std::is_same_v<Number, char16_t>;
    if constexpr (kIsTracked) {
      if (std::isnan(static_cast<double>(value))) return "nan";
      const auto end = std::to_chars(std::begin(buffer), std::end(buffer), value).ptr;
      return std::string_view(buffer, static_cast<std::size_t>(end - buffer));
    } else {
      return std::nullopt;
    }
  }
};

std::size_t TextSize(const Value& value) {
  const auto* text = std::get_if<std::string>(&value.Get());
  return text != nullptr ? text->size() : sizeof(Buffer);
}

}  // namespace

StringMap ConvertContextData(const ContextData& data) {
  std::size_t units = 0;
  for (const auto& [key, value] : data) units += key.size() + TextSize(value);
  StringMap converted;
  converted.Reserve(data.size(), units);
  for (const auto& [key, value] : data) {
    Buffer buffer;
    if (const auto text = std::visit(ToText{buffer}, value.Get())) converted.SetUtf8(key, *text);
  }
  return converted;
}

std::map<std::string, std::string> ToUtf8Map(const StringMap& map) {
  std::map<std::string, std::string> converted;
  for (const auto [key, value] : map) converted.emplace(ToUtf8(key), ToUtf8(value));
  return converted;
}

std::optional<std::u16string> ContextDataText(const Value& value) {
  Buffer buffer;
  const auto text = std::visit(ToText{buffer}, value.Get());
  if (!text) return std::nullopt;
  return ToUtf16(*text);
}

}  // namespace Veltro::Internal
