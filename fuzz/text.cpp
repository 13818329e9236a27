// Text from the host: transcoding is well-formed and loses nothing that is; a hit is one line of
// URL characters that decodes to what was tracked, by a decoder that knows nothing of the library.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "analytics/hit_query.h"
#include "api/context_data_conversion.h"
#include "base/url_escape.h"
#include "base/utf.h"
#include "collector/hit.h"
#include "collector/query.h"
#include "collector/utf8.h"
#include "core/context_data.h"
#include "support/check.h"

namespace Veltro::Internal::Fuzz {
namespace {

using Texts = std::map<std::string, std::string>;

constexpr std::u16string_view kVariablePrefix = u"&&";

std::string Unescape(std::string_view text) {
  bool ignored = false;
  return Collector::Unescape(text, ignored);
}

void CheckUtf16(std::u16string_view text) {
  const std::string utf8 = ToUtf8(text);
  const std::u16string again = ToUtf16(utf8);
  Require(Collector::IsUtf8(utf8), "UTF-16 became bad UTF-8");
  Require(again.size() == text.size() && ToUtf8(again) == utf8, "UTF-16 lost characters");
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool mayBeLone = text[i] >= 0xD800 && text[i] <= 0xDFFF && again[i] == 0xFFFD;
    Require(again[i] == text[i] || mayBeLone, "UTF-16 became other characters");
  }
  std::string escaped;
  AppendUrlEscaped(text, escaped);
  Require(IsUrlText(escaped) && escaped.find_first_of("&=#?/+") == escaped.npos,
          "escaped text has a meaning in a query");
  Require(Unescape(Stored(escaped)) == utf8, "escaped text decodes to another");
}

void CheckUtf8(const std::string& text) {
  const std::u16string utf16 = ToUtf16(text);
  const bool isIntact = ToUtf8(utf16) == text;
  Require(isIntact == Collector::IsUtf8(text), "UTF-8 was changed, or bad UTF-8 was not");
  Require(utf16.size() <= text.size(), "UTF-8 became longer");
  Require(isIntact || utf16.find(u'\xFFFD') != utf16.npos, "bad UTF-8 left no trace");
  Require(ToUtf16(ToUtf8(utf16)) == utf16, "UTF-8 became bad UTF-16");
  CheckUtf16(utf16);
  const std::string url = EscapeUrlIllegal(text);
  Require(IsUrlText(url), "a URL has characters that may not stand there");
  Require(EscapeUrlIllegal(url) == url && Unescape(url) == Unescape(text), "a URL was changed");
}

/// Each line of `text` is an entry "key=value".
ContextData ReadLines(std::string_view text) {
  ContextData data;
  for (const std::string_view line : Collector::Split(text, '\n')) {
    const std::size_t end = std::min(line.find('='), line.size());
    data[std::string(line.substr(0, end))] = line.substr(std::min(end + 1, line.size()));
  }
  return data;
}

/// What the decoder makes of a hit with these entries, when it is right.
Texts WithoutEmpty(const std::map<std::u16string, std::u16string>& entries) {
  Texts texts;
  for (const auto& [key, value] : entries) {
    if (!value.empty()) texts.emplace(ToUtf8(key), ToUtf8(value));
  }
  return texts;
}

void CheckQuery(const StringMap& variables, const StringMap& data) {
  Texts expected = {{"AQB", "1"}, {"AQE", "1"}};
  for (const auto [key, value] : variables) expected.emplace(ToUtf8(key), ToUtf8(value));
  std::map<std::u16string, std::u16string> cleaned;
  for (const auto [key, value] : data) cleaned.emplace(CleanContextDataKey(key), value);
  cleaned.erase(u"");

  std::string target = "/b/ss/suite/0/LNX-4.0.0/s1?AQB=1";
  AppendHitParameters(variables, data, target);
  target += "&AQE=1";
  Require(IsUrlText(target), "a hit has characters that may not stand in a URL");
  const Collector::Hit hit = Collector::DecodeHit(Stored(target));
  Require(!hit.malformed, "a hit is malformed");
  Require(hit.variables == expected, "variables differ");
  Require(hit.contextData == WithoutEmpty(cleaned), "context data differ");
}

void CheckHit(std::string_view text) {
  const ContextData lines = ReadLines(text);
  const StringMap map = ContextDataCopy(lines).Convert();
  StringMap variables, data, slow;
  for (const auto& [key, value] : lines) slow.Set(ToUtf16(key), *ContextDataText(value));
  Require(map == slow, "context data were copied wrong");
  for (const auto [key, value] : map) {
    const bool isVariable = key.size() > kVariablePrefix.size() && key.starts_with(kVariablePrefix);
    const std::u16string_view name = isVariable ? key.substr(kVariablePrefix.size()) : key;
    if (!isVariable) data.Set(name, value);
    if (isVariable && name != u"AQB" && name != u"AQE") variables.Set(name, value);
  }
  CheckQuery(variables, data);
}

}  // namespace
}  // namespace Veltro::Internal::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Veltro::Internal;
  const std::string text(data, data + size);
  std::u16string units;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    units += static_cast<char16_t>(data[i] << 8 | data[i + 1]);
  }
  Fuzz::CheckUtf8(text);
  Fuzz::CheckUtf16(units);
  Fuzz::CheckHit(text);
  return 0;
}
