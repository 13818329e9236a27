#include "collector/query.h"

#include <algorithm>
#include <optional>

#include "collector/utf8.h"

namespace Veltro::Collector {
namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// The byte that the escape at `position` stands for.
std::optional<char> EscapedByte(std::string_view text, std::size_t position) {
  if (text.size() - position < 3) return std::nullopt;
  const int high = HexDigit(text[position + 1]);
  const int low = HexDigit(text[position + 2]);
  if (high < 0 || low < 0) return std::nullopt;
  return static_cast<char>(high * 16 + low);
}

}  // namespace

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const std::size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::string Unescape(std::string_view text, bool& malformed) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = text[i] == '%' ? EscapedByte(text, i) : std::nullopt;
    if (text[i] == '%' && !byte) malformed = true;
    result.push_back(byte.value_or(text[i]));
    if (byte) i += 2;
  }
  if (!IsUtf8(result)) malformed = true;
  return result;
}

Parameters DecodeParameters(std::string_view rawTarget) {
  Parameters parameters;
  const std::size_t mark = rawTarget.find('?');
  if (mark == std::string_view::npos) return parameters;
  bool malformed = false;
  for (const auto segment : Split(rawTarget.substr(mark + 1), '&')) {
    if (segment.empty()) continue;
    const std::size_t nameEnd = std::min(segment.find('='), segment.size());
    const auto value = segment.substr(std::min(nameEnd + 1, segment.size()));
    parameters[Unescape(segment.substr(0, nameEnd), malformed)] = Unescape(value, malformed);
  }
  return parameters;
}

std::string ValueOf(const Parameters& parameters, const std::string& name) {
  const auto found = parameters.find(name);
  return found == parameters.end() ? "" : found->second;
}

}  // namespace Veltro::Collector
