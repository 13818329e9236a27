#include "base/utf.h"

namespace Veltro::Internal {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

constexpr bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

/// What the first byte of a UTF-8 sequence says: how many bytes follow, and the range of the first
/// of them, which rules out overlong forms, surrogates and values above U+10FFFF.
struct Lead {
  int following = 0;
  unsigned char lowest = 0x80;
  unsigned char highest = 0xBF;
};

constexpr Lead ReadLead(unsigned char byte) {
  if (byte >= 0xC2 && byte <= 0xDF) return {1};
  if (byte == 0xE0) return {2, 0xA0, 0xBF};
  if (byte == 0xED) return {2, 0x80, 0x9F};
  if (byte >= 0xE1 && byte <= 0xEF) return {2};
  if (byte == 0xF0) return {3, 0x90, 0xBF};
  if (byte >= 0xF1 && byte <= 0xF3) return {3};
  if (byte == 0xF4) return {3, 0x80, 0x8F};
  return {};
}

}  // namespace

char32_t NextCodePoint(std::string_view text, std::size_t& position) {
  const auto first = static_cast<unsigned char>(text[position++]);
  if (first < 0x80) return first;
  Lead lead = ReadLead(first);
  if (lead.following == 0) return kReplacement;
  char32_t codePoint = first & (0x3F >> lead.following);
  for (int i = 0; i < lead.following; ++i) {
    if (position == text.size()) return kReplacement;
    const auto byte = static_cast<unsigned char>(text[position]);
    if (byte < lead.lowest || byte > lead.highest) return kReplacement;
    codePoint = (codePoint << 6) | (byte & 0x3F);
    lead.lowest = 0x80;
    lead.highest = 0xBF;
    ++position;
  }
  return codePoint;
}

char32_t NextCodePoint(std::u16string_view text, std::size_t& position) {
  const char32_t first = text[position++];
  if (!IsHighSurrogate(first)) return IsLowSurrogate(first) ? kReplacement : first;
  if (position == text.size() || !IsLowSurrogate(text[position])) return kReplacement;
  return 0x10000 + ((first - 0xD800) << 10) + (text[position++] - 0xDC00U);
}

void AppendCodePoint(char32_t codePoint, std::string& out) {
  const auto tail = [codePoint](int shift) {
    return static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F));
  };
  if (codePoint < 0x80) {
    out.push_back(static_cast<char>(codePoint));
  } else if (codePoint < 0x800) {
    out.append({static_cast<char>(0xC0 | (codePoint >> 6)), tail(0)});
  } else if (codePoint < 0x10000) {
    out.append({static_cast<char>(0xE0 | (codePoint >> 12)), tail(6), tail(0)});
  } else {
    out.append({static_cast<char>(0xF0 | (codePoint >> 18)), tail(12), tail(6), tail(0)});
  }
}

void AppendCodePoint(char32_t codePoint, std::u16string& out) {
  if (codePoint < 0x10000) {
    out.push_back(static_cast<char16_t>(codePoint));
    return;
  }
  codePoint -= 0x10000;
  out.push_back(static_cast<char16_t>(0xD800 + (codePoint >> 10)));
  out.push_back(static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF)));
}

void AppendUtf16(std::string_view utf8, std::u16string& out) {
  for (std::size_t i = 0; i < utf8.size();) AppendCodePoint(NextCodePoint(utf8, i), out);
}

std::u16string ToUtf16(std::string_view utf8) {
  std::u16string out;
  out.reserve(utf8.size());
  AppendUtf16(utf8, out);
  return out;
}

std::string ToUtf8(std::u16string_view utf16) {
  std::string out;
  out.reserve(utf16.size());
  for (std::size_t i = 0; i < utf16.size();) AppendCodePoint(NextCodePoint(utf16, i), out);
  return out;
}

}  // namespace Veltro::Internal
