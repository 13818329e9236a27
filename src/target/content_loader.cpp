#include "target/content_loader.h"

#include <string_view>
#include <utility>

#include "base/number_text.h"
#include "base/url_escape.h"
#include "base/url_host.h"
#include "base/utf.h"
#include "core/log.h"
#include "core/request_handler.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

StringMap ToStringMap(const std::map<std::string, std::string>& parameters) {
  StringMap map;
  for (const auto& [key, value] : parameters) map.SetUtf8(key, value);
  return map;
}

void AppendParameters(const StringMap& parameters, std::string& url) {
  for (const auto [key, value] : parameters) {
    if (!key.empty() && !value.empty()) AppendUrlParameter(key, value, url);
  }
}

void LogFailure(const PlatformError& error) {
  if (error.HResult() == kHttpBadUrl) {
    LogWarning("Target - Unable to create URI object (%s)", error.what());
  } else {
    LogWarning("Target - Unexpected error getting response from server (%s)", error.what());
  }
}

}  // namespace

ContentLoader::ContentLoader(const Sources& sources, std::string host, HttpTransport& transport)
    : sources_(sources), host_(std::move(host)), transport_(transport), ids_(sources.settings) {}

std::string ContentLoader::LoadRequest(const TargetLocationRequest& request) {
  if (sources_.config.targetClientCode.empty()) {
    LogWarning("Target - Your config file is not set up to use Target");
    return {};
  }
  if (sources_.policy.Permission() != SendPermission::Send) {
    LogWarning("Target - Ignoring request due to privacy status not being opted in");
    return request.DefaultContent;
  }
  if (request.Name.empty()) {
    LogWarning("Target - TargetLocationRequest parameter must have a location name");
    return request.DefaultContent;
  }
  try {
    std::string content = Fetch(request);
    return content.empty() ? request.DefaultContent : content;
  } catch (const PlatformError& error) {
    LogFailure(error);
    return request.DefaultContent;
  }
}

void ContentLoader::ClearStoredIds() {
  RequestHandler request(transport_, LocationsUrl(), std::chrono::milliseconds(0));
  ids_.Clear(request);
}

/// What the URLs of all requests have in common, and cookies go by.
std::string ContentLoader::LocationsUrl() const {
  std::string url = "http://" + host_ + "/m2/";
  AppendUrlEscaped(ToUtf16(sources_.config.targetClientCode), url);
  return url += "/ubox/raw";
}

/// A stored value that cannot be read costs the parameter, not the content.
void ContentLoader::AddLifetimeValue() {
  try {
    const float value = sources_.settings.GetStoredLifetimeValue();
    sources_.persistentParameters.SetPersistentParameter(u"a.ltv.amount", ShortestText(value));
  } catch (const PlatformError& error) {
    LogWarning("Target - Unable to read the lifetime value (%s)", error.what());
  }
}

std::string ContentLoader::Fetch(const TargetLocationRequest& request) {
  if (!IsHostAndPort(host_)) {
    throw PlatformError(kHttpBadUrl, "the client code makes no host name");
  }
  AddLifetimeValue();
  const ContentIds::Loaded ids = ids_.Load();
  const std::string url = BuildUrl(request, ids.values);
  RequestHandler handler(transport_, url, std::chrono::seconds(sources_.config.targetTimeout));
  const ContentIds::Exchange exchange(ids_, ids, handler);
  LogDebug("Target - LocationRequest (%s) loading URL: %s", request.Name, url);
  std::string body = handler.GetStringAsync().Get();
  exchange.TakeCookies();
  if (body.empty()) {
    LogDebug("Target - LocationRequest (%s) response was empty", request.Name);
  } else {
    LogDebug("Target - LocationRequest (%s) Result: %s", request.Name, body);
  }
  return body;
}

std::string ContentLoader::BuildUrl(const TargetLocationRequest& request,
                                    const ContentIds::Values& ids) {
  std::string url = LocationsUrl() + "?mboxContentType=text%2Fplain%3Bcharset%3Dutf-8&t=";
  url += std::to_string(sources_.clock.UnixSeconds());
  if (!ids.pcId.empty() && !ids.sessionId.empty()) {  // in which "#" would end the query
    url.append("&mboxXDomain=disabled&mboxSession=").append(EscapeUrlIllegal(ids.sessionId, "#"));
    url.append("&mboxPC=").append(EscapeUrlIllegal(ids.pcId, "#"));
  }
  url += "&mboxDefault=none";
  AppendUrlParameter(u"mbox", ToUtf16(request.Name), url);
  AppendParameters(ToStringMap(request.Parameters), url);
  AppendParameters(*sources_.lifecycleData.Get(), url);
  AppendParameters(sources_.persistentParameters.Get(), url);
  return url;
}

}  // namespace Veltro::Internal
