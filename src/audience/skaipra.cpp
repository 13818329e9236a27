#include "audience/skaipra.h"

#include <algorithm>
#include <utility>

#include "audience/skaipra_response.h"
#include "base/url_escape.h"
#include "base/url_host.h"
#include "base/utf.h"
#include "core/log.h"
#include "core/request_handler.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr std::chrono::milliseconds kTimeout{2000};

/// The longest base URL. A longer one is cut.
constexpr std::size_t kMaxBaseUrlLength = 127;

std::string MakeBaseUrl(const std::string& server) {
  return ("http://" + server + "/event?").substr(0, kMaxBaseUrlLength);
}

void AppendTrait(const StringMap::Entry& trait, std::string& url) {
  if (trait.key.empty() || trait.value.empty()) return;
  std::string key = ToUtf8(trait.key);
  std::replace(key.begin(), key.end(), '.', '_');
  url.append("&c_").append(key).append("=");
  AppendUrlEscaped(trait.value, url);
}

/// Lets the first parameter follow the question mark directly.
void JoinParameters(std::string& url) {
  for (std::size_t i = 0; (i = url.find("?&", i)) != url.npos; ++i) url.erase(i + 1, 1);
}

bool IsConfigured(const Configuration& config) {
  if (config.IsAudienceManagerConfigured()) return true;
  LogWarning("Skaipra - Your config file is not set up to use Skaipra");
  return false;
}

}  // namespace

Skaipra::Skaipra(const Configuration& config, const SendPolicy& policy, HttpTransport& transport,
                 VisitorProfile& profile, DestinationForwarder& destinations)
    : config_(config),
      policy_(policy),
      transport_(transport),
      profile_(profile),
      destinations_(destinations),
      baseUrl_(MakeBaseUrl(config.audienceManagerServer)) {}

void Skaipra::SetDpidAndDpuuid(std::u16string dpid, std::u16string dpuuid) {
  if (!IsConfigured(config_)) return;
  const std::lock_guard lock(mutex_);
  partner_ = {std::move(dpid), std::move(dpuuid)};
}

void Skaipra::ForgetPartner() {
  const std::lock_guard lock(mutex_);
  partner_ = {};
}

std::optional<StringMap> Skaipra::SignalWithData(const StringMap& traits) {
  if (!IsConfigured(config_)) return std::nullopt;
  if (policy_.Permission() != SendPermission::Send) {
    LogWarning("Skaipra - Ignoring signal due to privacy status not being opted in");
    return StringMap();
  }
  const std::uint64_t generation = profile_.Generation();
  try {
    return Send(BuildUrl(traits), generation);
  } catch (const PlatformError& error) {
    if (error.HResult() == kHttpBadUrl) {
      LogWarning("Skaipra - Unable to create URI object (%s)", error.what());
    } else {
      LogWarning("Skaipra - Unexpected error parsing result (%s)", error.what());
    }
    return StringMap();
  }
}

Skaipra::Partner Skaipra::GetPartner() const {
  const std::lock_guard lock(mutex_);
  return partner_;
}

std::string Skaipra::BuildUrl(const StringMap& traits) {
  std::string url = baseUrl_;
  for (const StringMap::Entry trait : traits) AppendTrait(trait, url);
  const std::u16string userId = profile_.GetUserId();
  if (!userId.empty()) url.append("&d_uuid=").append(ToUtf8(userId));
  const Partner partner = GetPartner();
  if (!partner.dpid.empty() && !partner.dpuuid.empty()) {
    url.append("&d_dpid=").append(ToUtf8(partner.dpid));
    url.append("&d_dpuuid=").append(ToUtf8(partner.dpuuid));
  }
  url += "&d_ptfm=win10&d_dst=1&d_rtbd=json";
  JoinParameters(url);
  return EscapeUrlIllegal(url, "#");  // which would end the query
}

StringMap Skaipra::Send(const std::string& url, std::uint64_t generation) {
  if (!IsHostAndPort(UrlAuthority(url))) {
    throw PlatformError(kHttpBadUrl, "the configured server is no host name");
  }
  LogDebug("Skaipra - request (%s)", url);
  RequestHandler request(transport_, url, kTimeout);
  RequestTask<std::string> task = request.GetStringAsync();
  const std::string body = task.Get();
  return HandleResponse(body, task.PeerIsPublic(), generation);
}

StringMap Skaipra::HandleResponse(const std::string& body, bool serverIsPublic,
                                  std::uint64_t generation) {
  if (body.empty()) {
    LogWarning("Skaipra - response was empty");
    return {};
  }
  std::optional<SkaipraResponse> response = ParseSkaipraResponse(body);
  if (!response) return {};
  destinations_.Forward(response->destinations, serverIsPublic);
  if (!response->error.empty()) throw PlatformError(response->error);
  if (!response->userId.empty()) profile_.StoreUserId(response->userId, generation);
  if (response->segments.Empty()) {
    LogWarning("Skaipra - response was empty");
    return {};
  }
  LogDebug("Skaipra - response {%s\n}", FormatDictionaryForLog(response->segments));
  profile_.StoreProfile(response->segments, generation);
  return std::move(response->segments);
}

}  // namespace Veltro::Internal
