#include "platform/linux/registrable_domain.h"

#include <arpa/inet.h>
#include <libpsl.h>
#include <netinet/in.h>

namespace Veltro::Internal {
namespace {

bool IsIpAddress(const std::string& host) {
  in6_addr address{};
  return inet_pton(AF_INET, host.c_str(), &address) == 1 ||
         inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

}  // namespace

std::optional<std::string> RegistrableDomain(const std::string& host) {
  if (IsIpAddress(host)) return std::nullopt;
  const char* const domain = psl_registrable_domain(psl_builtin(), host.c_str());
  if (domain == nullptr) return std::nullopt;
  return domain;
}

}  // namespace Veltro::Internal
