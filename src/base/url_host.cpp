#include "base/url_host.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace Veltro::Internal {
namespace {

constexpr std::size_t kMaxHostLength = 253;
constexpr std::size_t kMaxLabelLength = 63;

bool IsLabel(std::string_view label) {
  const auto isLabelCharacter = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
  };
  return !label.empty() && label.size() <= kMaxLabelLength &&
         std::all_of(label.begin(), label.end(), isLabelCharacter);
}

bool IsName(std::string_view host) {
  if (host.size() > kMaxHostLength) return false;
  std::size_t dot = 0;
  while ((dot = host.find('.')) != host.npos) {
    if (!IsLabel(host.substr(0, dot))) return false;
    host.remove_prefix(dot + 1);
  }
  return IsLabel(host);
}

bool IsBracketedAddress(std::string_view host) {
  if (host.size() < 4 || host.front() != '[' || host.back() != ']') return false;
  const std::string_view address = host.substr(1, host.size() - 2);
  return address.find(':') != address.npos &&
         address.find_first_not_of(":.0123456789abcdefABCDEF") == address.npos;
}

bool IsPort(std::string_view text) {
  std::uint16_t port = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, port);
  return result.ec == std::errc() && result.ptr == end && port != 0;
}

}  // namespace

std::string_view UrlAuthority(std::string_view url) {
  const std::size_t scheme = url.find("://");
  if (scheme == url.npos) return {};
  url.remove_prefix(scheme + 3);
  return url.substr(0, url.find_first_of("/?#"));
}

bool IsHostAndPort(std::string_view authority) {
  const std::size_t bracket = authority.find(']');
  const std::size_t colon = authority.find(':', bracket == authority.npos ? 0 : bracket);
  if (colon != authority.npos && !IsPort(authority.substr(colon + 1))) return false;
  const std::string_view host = authority.substr(0, colon);
  return IsName(host) || IsBracketedAddress(host);
}

}  // namespace Veltro::Internal
