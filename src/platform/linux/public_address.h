#pragma once

#include <sys/socket.h>

namespace Veltro::Internal {

/// Whether an IPv4 or IPv6 address is one of the public network: not loopback, link-local, private,
/// multicast, reserved or unspecified, nor an IPv6 address that leads to such an IPv4 address. An
/// address of another kind is not public. `address` has the length that its family says.
bool IsPublicAddress(const sockaddr& address);

/// The same of an address in its usual text form, such as "192.0.2.1" or "2001:db8::1"; other text
/// is no public address.
bool IsPublicAddress(const char* address);

}  // namespace Veltro::Internal
