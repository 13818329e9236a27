#include "base/url_escape.h"

#include <array>

#include "base/utf.h"

namespace Veltro::Internal {
namespace {

constexpr std::array<bool, 128> kUnreserved = [] {
  std::array<bool, 128> table{};
  for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                       "0123456789-._~")) {
    table[static_cast<unsigned char>(c)] = true;
  }
  return table;
}();

constexpr std::string_view kIllegal = "\"<>\\^`{|}";

void AppendEscapedByte(unsigned char byte, std::string& out) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  const char escaped[] = {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
  out.append(escaped, sizeof escaped);
}

}  // namespace

void AppendUrlEscaped(std::u16string_view text, std::string& out) {
  std::string utf8;  // of one character: never allocates
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] < kUnreserved.size() && kUnreserved[text[i]]) {
      out.push_back(static_cast<char>(text[i++]));
      continue;
    }
    utf8.clear();
    AppendCodePoint(NextCodePoint(text, i), utf8);
    for (const char byte : utf8) AppendEscapedByte(static_cast<unsigned char>(byte), out);
  }
}

void AppendUrlParameter(std::u16string_view key, std::u16string_view value, std::string& out) {
  out += '&';
  AppendUrlEscaped(key, out);
  out += '=';
  AppendUrlEscaped(value, out);
}

// A request is to follow, beside which this costs nothing.
[[gnu::cold]] std::string EscapeUrlIllegal(std::string_view url, std::string_view more) {
  std::string escaped;
  escaped.reserve(url.size());
  for (const char character : url) {
    const auto byte = static_cast<unsigned char>(character);
    const bool isIllegal = byte <= 0x20 || byte >= 0x7F ||
                           kIllegal.find(character) != kIllegal.npos ||
                           more.find(character) != more.npos;
    if (isIllegal) {
      AppendEscapedByte(byte, escaped);
    } else {
      escaped += character;
    }
  }
  return escaped;
}

}  // namespace Veltro::Internal
