#pragma once

#include <string_view>

namespace Veltro::Internal {

/// What stands between "://" and the path, query or fragment of `url`; empty when there is nothing.
std::string_view UrlAuthority(std::string_view url);

/// Whether `authority` is a host and, behind a colon, optionally a port from 1 to 65535. A host is
/// a name of labels (1 to 63 letters, digits, "-" or "_", with dots between them, 253 characters in
/// all), which takes in IPv4 addresses, or an IPv6 address in brackets.
///
/// It is deliberately strict: texts that parsers of URLs disagree on, with user names, percent
/// signs, blanks or backslashes, are no host here.
bool IsHostAndPort(std::string_view authority);

}  // namespace Veltro::Internal
