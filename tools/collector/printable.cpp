#include "collector/printable.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "collector/utf8.h"

namespace Veltro::Collector {
namespace {

std::string EscapedBytes(std::string_view bytes) {
  if (bytes == "\n") return "\\n";
  if (bytes == "\r") return "\\r";
  if (bytes == "\t") return "\\t";
  std::string result;
  for (const char byte : bytes) {
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "\\x%02x",
                  static_cast<unsigned>(static_cast<unsigned char>(byte)));
    result += text.data();
  }
  return result;
}

// U+0080 to U+009F control terminals just as the characters below the blank do.
bool IsControl(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return first < 0x20 || first == 0x7F;
  return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = CharacterLength(text, i);
    const auto character = text.substr(i, std::max<std::size_t>(length, 1));
    if (length == 0 || IsControl(character)) {
      result += EscapedBytes(character);
    } else {
      result += character == "\\" ? "\\\\" : character;
    }
    i += character.size();
  }
  return result;
}

}  // namespace Veltro::Collector
