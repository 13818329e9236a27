#include "platform/linux/cookie_line.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <tuple>
#include <utility>

#include "platform/linux/http_transfer_curl.h"

namespace Veltro::Internal {
namespace {

constexpr std::string_view kHttpOnly = "#HttpOnly_";
constexpr std::size_t kFieldCount = 7;

using Fields = std::array<std::string_view, kFieldCount>;

std::string UrlPart(CURLU* url, CURLUPart part, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(url, part, &text, flags) != CURLUE_OK) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
  return text;
}

std::string ToLower(std::string text) {
  for (char& character : text) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character | 0x20);
  }
  return text;
}

/// A host as cookies have it. libcurl gives IPv6 addresses in brackets.
std::string CookieHost(std::string host) {
  host = ToLower(std::move(host));
  if (host.ends_with('.')) host.pop_back();
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  return host;
}

bool HasControls(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code == 0x7F;
  });
}

/// The fields of a line with exactly as many as there should be.
std::optional<Fields> SplitFields(std::string_view line) {
  Fields fields;
  for (std::size_t i = 0; i < kFieldCount; ++i) {
    const std::size_t end = line.find('\t');
    if ((end == std::string_view::npos) != (i == kFieldCount - 1)) return std::nullopt;
    fields[i] = line.substr(0, end);
    if (HasControls(fields[i])) return std::nullopt;
    line.remove_prefix(std::min(line.size(), fields[i].size() + 1));
  }
  return fields;
}

std::optional<bool> ParseFlag(std::string_view text) {
  if (text == "TRUE") return true;
  if (text == "FALSE") return false;
  return std::nullopt;
}

std::optional<std::int64_t> ParseTime(std::string_view text) {
  std::int64_t time = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), time);
  if (error != std::errc() || end != text.data() + text.size() || time < 0) return std::nullopt;
  return time;
}

const char* Flag(bool value) { return value ? "TRUE" : "FALSE"; }

bool DomainMatches(const CookieLine& cookie, std::string_view host) {
  const std::string_view domain = cookie.domain;
  if (host == domain) return true;
  return cookie.isDomainWide && host.size() > domain.size() && host.ends_with(domain) &&
         host[host.size() - domain.size() - 1] == '.';
}

/// The path that counts: one that is not absolute stands for all, a slash at its end for nothing.
std::string_view EffectivePath(const CookieLine& cookie) {
  std::string_view path = cookie.path;
  if (!path.starts_with('/')) return "/";
  if (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

bool PathMatches(std::string_view cookiePath, std::string_view path) {
  if (cookiePath == "/" || path == cookiePath) return true;
  return path.starts_with(cookiePath) && path[cookiePath.size()] == '/';
}

}  // namespace

std::optional<CookieTarget> CookieTargetOf(const std::string& url) {
  if (!IsWebUrl(url)) return std::nullopt;
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parsed(curl_url(), curl_url_cleanup);
  if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) {
    return std::nullopt;
  }
  CookieTarget target;
  target.host = CookieHost(UrlPart(parsed.get(), CURLUPART_HOST, CURLU_PUNYCODE));
  if (target.host.empty()) return std::nullopt;
  target.path = UrlPart(parsed.get(), CURLUPART_PATH);
  target.isSecure = UrlPart(parsed.get(), CURLUPART_SCHEME) == "https" ||
                    target.host == "localhost" || target.host == "127.0.0.1" ||
                    target.host == "::1";
  return target;
}

std::optional<CookieLine> ParseCookieLine(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  CookieLine cookie;
  cookie.isHttpOnly = line.starts_with(kHttpOnly);
  if (cookie.isHttpOnly) line.remove_prefix(kHttpOnly.size());
  const auto fields = SplitFields(line);
  if (!fields) return std::nullopt;
  const auto& [domain, domainWide, path, secure, expires, name, value] = *fields;
  cookie.domain = ToLower(std::string(domain.starts_with('.') ? domain.substr(1) : domain));
  const auto isDomainWide = ParseFlag(domainWide);
  const auto isSecure = ParseFlag(secure);
  const auto expiry = ParseTime(expires);
  if (cookie.domain.empty() || domain.starts_with('#') || path.empty() || name.empty() ||
      !isDomainWide || !isSecure || !expiry) {
    return std::nullopt;
  }
  cookie.isDomainWide = *isDomainWide;
  cookie.path = path;
  cookie.isSecure = *isSecure;
  cookie.expires = *expiry;
  cookie.name = name;
  cookie.value = value;
  return cookie;
}

std::string FormatCookieLine(const CookieLine& cookie) {
  std::string line;
  if (cookie.isHttpOnly) line += kHttpOnly;
  if (cookie.isDomainWide) line += '.';
  line += cookie.domain + '\t' + Flag(cookie.isDomainWide) + '\t' + cookie.path + '\t' +
          Flag(cookie.isSecure) + '\t' + std::to_string(cookie.expires) + '\t' + cookie.name +
          '\t' + cookie.value;
  return line;
}

bool IsSentTo(const CookieLine& cookie, const CookieTarget& target) {
  return (!cookie.isSecure || target.isSecure) && DomainMatches(cookie, target.host) &&
         PathMatches(EffectivePath(cookie), target.path);
}

bool IsMoreSpecific(const CookieLine& a, const CookieLine& b) {
  const auto rank = [](const CookieLine& cookie) {
    return std::tuple(EffectivePath(cookie).size(), cookie.domain.size(), !cookie.isDomainWide);
  };
  return rank(a) > rank(b);
}

}  // namespace Veltro::Internal
