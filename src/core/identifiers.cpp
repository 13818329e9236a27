#include "core/identifiers.h"

#include <cstdio>
#include <utility>

#include "base/utf.h"
#include "core/assigned_id.h"
#include "core/json.h"
#include "core/log.h"
#include "core/request_handler.h"

namespace Veltro::Internal {
namespace {

constexpr std::u16string_view kAnalyticsIdKey = u"VELTRO_STOREDDEFAULTS_AID";
constexpr std::chrono::milliseconds kServerTimeout{500};

/// The member "id" of a JSON object; empty when there is none that can be an identifier. Throws
/// when "id" is no string.
std::u16string ParseIdentifier(const std::string& text) {
  if (text.empty() || text.front() != '{') return {};
  const nlohmann::json answer = ParseJson(text);
  if (!answer.is_object() || !answer.contains("id")) return {};
  std::u16string identifier = ToUtf16(answer["id"].get_ref<const std::string&>());
  return IsAssignedId<char16_t>(identifier) ? identifier : u"";
}

std::string HexDigits(const Guid& guid) {
  char text[33];
  const auto& d = guid.data4;
  std::snprintf(text, sizeof text, "%08X%04X%04X%02X%02X%02X%02X%02X%02X%02X%02X",
                static_cast<unsigned>(guid.data1), guid.data2, guid.data3, d[0], d[1], d[2], d[3],
                d[4], d[5], d[6], d[7]);
  return text;
}

/// Replaces a hexadecimal digit that is `limit` or more by a random one below `limit`. The random
/// number is drawn in either case.
void LimitDigit(char& digit, std::int32_t limit, RandomSource& random) {
  const std::int32_t replacement = random.Next() % limit;
  if (digit >= '0' + limit) digit = static_cast<char>('0' + replacement);
}

}  // namespace

Identifiers::Identifiers(SettingsStore& settings, HttpTransport& transport, RandomSource& random,
                         ServerUrl serverUrl)
    : settings_(settings),
      requests_(transport),
      random_(random),
      serverUrl_(std::move(serverUrl)) {}

std::u16string Identifiers::GetAnalyticsId() {
  const std::lock_guard lock(mutex_);
  if (analyticsId_) return *analyticsId_;
  if (settings_.HasKey(kAnalyticsIdKey)) {
    analyticsId_ = settings_.ReadString(kAnalyticsIdKey);
    return *analyticsId_;
  }
  std::u16string identifier = RetrieveAnalyticsIdFromServer();
  if (identifier.empty()) identifier = GenerateAnalyticsId();
  settings_.Write(kAnalyticsIdKey, identifier);
  analyticsId_ = std::move(identifier);
  return *analyticsId_;
}

void Identifiers::Forget() {
  const std::lock_guard lock(mutex_);
  analyticsId_.reset();
}

std::u16string Identifiers::RetrieveAnalyticsIdFromServer() {
  const std::optional<std::string> url = serverUrl_();
  if (!url) return {};
  try {
    const RequestHandler request(requests_.Transport(), *url, kServerTimeout);
    return ParseIdentifier(
        requests_.With([&](HttpConnection& connection) { return request.GetString(connection); }));
  } catch (const std::exception& error) {
    LogWarning("Analytics - Unable to retrieve aid from server (%s)", error.what());
    return {};
  }
}

std::u16string Identifiers::GenerateAnalyticsId() {
  std::string digits = HexDigits(random_.NewGuid());
  constexpr std::size_t kHalf = 16;
  LimitDigit(digits[0], 8, random_);
  LimitDigit(digits[kHalf], 4, random_);
  digits.insert(kHalf, 1, '-');
  return ToUtf16(digits);
}

}  // namespace Veltro::Internal
