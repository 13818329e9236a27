#pragma once

#include <optional>
#include <string>

namespace Veltro::Internal {

/// The part of a host name that somebody can register, by the public suffix list: "b.co.uk" for
/// "a.b.co.uk". Nothing for an IP address, a name of one label and a public suffix itself. `host`
/// is in lower case and ASCII, without a port or brackets.
std::optional<std::string> RegistrableDomain(const std::string& host);

}  // namespace Veltro::Internal
