#include "platform/linux/public_address.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <optional>

namespace Veltro::Internal {
namespace {

struct Range4 {
  std::uint32_t first;
  unsigned prefixBits;
};

constexpr Range4 kNotPublic4[] = {
    {0x00000000, 8},   // 0.0.0.0/8, this host
    {0x0A000000, 8},   // 10.0.0.0/8, private
    {0x64400000, 10},  // 100.64.0.0/10, private to a provider's network
    {0x7F000000, 8},   // 127.0.0.0/8, loopback
    {0xA9FE0000, 16},  // 169.254.0.0/16, link-local
    {0xAC100000, 12},  // 172.16.0.0/12, private
    {0xC0000000, 24},  // 192.0.0.0/24, protocol assignments
    {0xC0A80000, 16},  // 192.168.0.0/16, private
    {0xC6120000, 15},  // 198.18.0.0/15, test networks
    {0xE0000000, 3},   // 224.0.0.0/3, multicast, reserved and broadcast
};

/// `address` is in the byte order of the machine.
bool IsPublic4(std::uint32_t address) {
  return std::none_of(std::begin(kNotPublic4), std::end(kNotPublic4), [&](const Range4& range) {
    return (address ^ range.first) >> (32 - range.prefixBits) == 0;
  });
}

bool IsPublic4(const in_addr& address) { return IsPublic4(ntohl(address.s_addr)); }

/// The IPv4 address that an IPv6 address leads to; nothing when it leads to none.
std::optional<in_addr> EmbeddedAddress(const std::uint8_t* bytes) {
  struct {
    std::initializer_list<std::uint8_t> prefix;
    std::size_t offset;
  } const kinds[] = {
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 12},           // ::/96, compatible, :: and ::1
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF}, 12},     // ::ffff:0:0/96, mapped
      {{0, 0x64, 0xFF, 0x9B, 0, 0, 0, 0, 0, 0, 0, 0}, 12},  // 64:ff9b::/96, translated
      {{0x20, 0x02}, 2},                                    // 2002::/16, tunnelled
  };
  for (const auto& kind : kinds) {
    if (!std::equal(kind.prefix.begin(), kind.prefix.end(), bytes)) continue;
    in_addr address{};
    std::memcpy(&address, bytes + kind.offset, sizeof address);
    return address;
  }
  return std::nullopt;
}

bool IsPublic6(const in6_addr& address) {
  const std::uint8_t* const bytes = address.s6_addr;
  if (const auto embedded = EmbeddedAddress(bytes)) return IsPublic4(*embedded);
  constexpr std::uint8_t kTunnelled[] = {0x20, 0x01, 0, 0};  // 2001::/32
  const bool isGlobalUnicast = (bytes[0] & 0xE0) == 0x20;    // 2000::/3
  return isGlobalUnicast && !std::equal(std::begin(kTunnelled), std::end(kTunnelled), bytes);
}

}  // namespace

bool IsPublicAddress(const sockaddr& address) {
  if (address.sa_family == AF_INET) {
    return IsPublic4(reinterpret_cast<const sockaddr_in&>(address).sin_addr);
  }
  if (address.sa_family == AF_INET6) {
    return IsPublic6(reinterpret_cast<const sockaddr_in6&>(address).sin6_addr);
  }
  return false;
}

bool IsPublicAddress(const char* address) {
  in_addr four{};
  if (inet_pton(AF_INET, address, &four) == 1) return IsPublic4(four);
  in6_addr six{};
  return inet_pton(AF_INET6, address, &six) == 1 && IsPublic6(six);
}

}  // namespace Veltro::Internal
