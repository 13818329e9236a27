#include "collector/utf8.h"

#include <cstdint>

namespace Veltro::Collector {
namespace {

struct Form {
  std::size_t length;
  std::uint32_t lowest;  // the lowest code point that needs this length
  std::uint32_t bits;    // what the first byte contributes
};

Form FormOf(unsigned char first) {
  if (first < 0x80) return {1, 0, first};
  if (first >= 0xC2 && first < 0xE0) return {2, 0x80, first & 0x1Fu};
  if (first >= 0xE0 && first < 0xF0) return {3, 0x800, first & 0x0Fu};
  if (first >= 0xF0 && first < 0xF5) return {4, 0x10000, first & 0x07u};
  return {0, 0, 0};
}

}  // namespace

std::size_t CharacterLength(std::string_view text, std::size_t position) {
  const Form form = FormOf(static_cast<unsigned char>(text[position]));
  if (form.length > text.size() - position) return 0;
  std::uint32_t codePoint = form.bits;
  for (std::size_t i = 1; i < form.length; ++i) {
    const auto byte = static_cast<unsigned char>(text[position + i]);
    if ((byte & 0xC0u) != 0x80u) return 0;
    codePoint = (codePoint << 6) | (byte & 0x3Fu);
  }
  const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  if (codePoint < form.lowest || codePoint > 0x10FFFF || isSurrogate) return 0;
  return form.length;
}

bool IsUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = CharacterLength(text, i);
    if (length == 0) return false;
    i += length;
  }
  return true;
}

}  // namespace Veltro::Collector
