#include "core/context_data.h"

#include <algorithm>
#include <array>

namespace Veltro::Internal {
namespace {

constexpr std::array<std::u16string_view, 10> kSupportedTypes = {
    u"Platform.String", u"Int16",  u"Int32",  u"Int64",  u"UInt16",
    u"UInt32",          u"UInt64", u"Single", u"Double", u"Boolean"};

bool IsWordCharacter(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
         c == u'_';
}

bool IsClean(std::u16string_view key) {
  char16_t previous = u'.';
  for (const char16_t c : key) {
    if (!IsWordCharacter(c) && (c != u'.' || previous == u'.')) return false;
    previous = c;
  }
  return previous != u'.';
}

}  // namespace

bool IsSupportedContextDataType(std::u16string_view typeName) {
  return std::find(kSupportedTypes.begin(), kSupportedTypes.end(), typeName) !=
         kSupportedTypes.end();
}

// Most keys are clean.
[[gnu::cold]] std::u16string CleanContextDataKey(std::u16string_view key) {
  std::u16string clean;
  clean.reserve(key.size());
  for (const char16_t c : key) {
    const bool startsSegment = clean.empty() || clean.back() == u'.';
    if (IsWordCharacter(c) || (c == u'.' && !startsSegment)) clean.push_back(c);
  }
  if (!clean.empty() && clean.back() == u'.') clean.pop_back();
  return clean;
}

StringMap CleanContextDataKeys(const StringMap& map) {
  StringMap cleaned;
  cleaned.Reserve(map);
  for (const auto [key, value] : map) {
    if (IsClean(key)) {
      cleaned.Add(key, value);
    } else if (const std::u16string clean = CleanContextDataKey(key); !clean.empty()) {
      cleaned.Add(clean, value);
    }
  }
  return cleaned;
}

}  // namespace Veltro::Internal
