#include "collector/same_site.h"

#include <algorithm>
#include <utility>

namespace Veltro::Collector {
namespace {

// A host with a port or without.
bool IsThisMachine(std::string host) {
  const std::size_t colon = host.find(':', host.starts_with('[') ? host.find(']') : 0);
  host.resize(std::min(colon, host.size()));
  std::transform(host.begin(), host.end(), host.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return host == "127.0.0.1" || host == "localhost" || host == "[::1]";
}

// Browsers always tell the host, and the origin with everything that may do harm.
bool IsFromOwnPage(const httplib::Request& request) {
  if (request.get_header_value_count("Host") > 1) return false;
  const std::string host = request.get_header_value("Host");
  if (request.has_header("Host") && !IsThisMachine(host)) return false;
  return !request.has_header("Origin") || request.get_header_value("Origin") == "http://" + host;
}

}  // namespace

httplib::Server::Handler ForOwnPage(httplib::Server::Handler handler) {
  return
      [handler = std::move(handler)](const httplib::Request& request, httplib::Response& response) {
        if (IsFromOwnPage(request)) return handler(request, response);
        response.status = 403;
        response.set_content("{\"error\":\"only for this machine and the collector's own page\"}",
                             "application/json");
      };
}

}  // namespace Veltro::Collector
