#include "audience/destination_forwarder.h"

#include "base/url_escape.h"
#include "core/log.h"
#include "core/request_handler.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr std::chrono::milliseconds kTimeout{5000};
constexpr std::size_t kMaxWaiting = 1000;

void LogFailure(const PlatformError& error) {
  if (error.HResult() == kHttpBadUrl) {
    LogWarning("Skaipra - Failed to forward the dest (%s)", error.what());
  } else {
    LogWarning("Skaipra - Unknown failure forwarding dest (%s)", error.what());
  }
}

}  // namespace

void DestinationForwarder::Forward(const std::vector<std::string>& urls, bool publicHostsOnly) {
  for (const std::string& url : urls) {
    if (waiting_ >= kMaxWaiting) {
      LogWarning("Skaipra - Failed to forward the dest (%s)", "too many are waiting");
      return;
    }
    ++waiting_;
    pool_.Post([this, url, publicHostsOnly, drops = drops_.load()] {
      --waiting_;
      if (drops == drops_ && policy_.Permission() == SendPermission::Send)
        Call(url, publicHostsOnly);
    });
  }
}

void DestinationForwarder::Call(const std::string& url, bool publicHostsOnly) {
  try {
    RequestHandler request(requests_.Transport(), EscapeUrlIllegal(url), kTimeout);
    if (publicHostsOnly) request.RequirePublicHosts();
    const std::int32_t status =
        requests_.With([&](HttpConnection& connection) { return request.GetStatus(connection); });
    if (status == kRequestTimeoutStatus) {
      LogWarning("Skaipra - Failed to forward dest; the request timed out");
    }
  } catch (const PlatformError& error) {
    LogFailure(error);
  }
}

}  // namespace Veltro::Internal
