#include "base/number_text.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace Veltro::Internal {
namespace {

std::u16string Widen(const char* begin, const char* end) { return {begin, end}; }

/// The ASCII text at the beginning of `text`.
std::string NarrowAscii(std::u16string_view text) {
  std::string ascii;
  for (const char16_t unit : text) {
    if (unit >= 0x80) break;
    ascii += static_cast<char>(unit);
  }
  return ascii;
}

}  // namespace

std::u16string DecimalText(std::int64_t value) {
  char digits[std::numeric_limits<std::int64_t>::digits10 + 2];
  return Widen(digits, std::to_chars(std::begin(digits), std::end(digits), value).ptr);
}

std::u16string FixedText(double value, int decimals) {
  // The longest text is that of the largest double: its digits, a sign, a point, the decimals.
  std::string text(
      static_cast<std::size_t>(std::numeric_limits<double>::max_exponent10 + 3 + decimals), '\0');
  char* const begin = text.data();
  const auto result =
      std::to_chars(begin, begin + text.size(), value, std::chars_format::fixed, decimals);
  return Widen(begin, result.ptr);
}

std::u16string ShortestText(float value) {
  char text[32];
  return Widen(text, std::to_chars(std::begin(text), std::end(text), value).ptr);
}

template <class Number>
std::errc ReadNumber(std::u16string_view text, Number& number) {
  const std::string ascii = NarrowAscii(text);
  std::size_t start = std::min(ascii.find_first_not_of(" \t\n\v\f\r"), ascii.size());
  if (ascii.compare(start, 1, "+") == 0 && ascii.compare(start, 2, "+-") != 0) ++start;
  return std::from_chars(ascii.data() + start, ascii.data() + ascii.size(), number).ec;
}

template std::errc ReadNumber(std::u16string_view, float&);
template std::errc ReadNumber(std::u16string_view, double&);
template std::errc ReadNumber(std::u16string_view, std::int32_t&);

std::int32_t TruncateToInt32(double value) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (value != value) return 0;
  if (value >= Limits::max()) return Limits::max();
  if (value <= Limits::min()) return Limits::min();
  return static_cast<std::int32_t>(value);
}

}  // namespace Veltro::Internal
