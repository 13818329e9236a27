#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Veltro::Internal {

/// What cookies go by in the URL of a request.
struct CookieTarget {
  std::string host;  ///< lower case ASCII, without brackets and a final dot
  std::string path;
  bool isSecure = false;  ///< whether nobody can listen: https, or this very machine
};

/// Nothing when `url` cannot be read or is not http or https.
std::optional<CookieTarget> CookieTargetOf(const std::string& url);

/// One cookie as a line of a Netscape cookie file has it, which is also how libcurl tells of its
/// cookies and takes them.
struct CookieLine {
  std::string domain;         ///< lower case, without a dot in front
  bool isDomainWide = false;  ///< goes to the hosts below `domain`, too
  std::string path = "/";
  bool isSecure = false;
  bool isHttpOnly = false;
  std::int64_t expires = 0;  ///< seconds since 1970; 0 when it ends with the process
  std::string name;
  std::string value;
};

/// Nothing for a line that holds no cookie, such as a comment, or is damaged.
std::optional<CookieLine> ParseCookieLine(std::string_view line);

/// The line, without an end-of-line character.
std::string FormatCookieLine(const CookieLine& cookie);

/// Whether a request takes the cookie along, by the rules of libcurl (RFC 6265). Does not look at
/// the expiry.
bool IsSentTo(const CookieLine& cookie, const CookieTarget& target);

/// Whether `a` comes before `b` where both are sent: by the longer path, then the longer domain,
/// then the smaller reach.
bool IsMoreSpecific(const CookieLine& a, const CookieLine& b);

}  // namespace Veltro::Internal
