#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "audience/destination_forwarder.h"
#include "audience/visitor_profile.h"
#include "base/string_map.h"
#include "config/configuration.h"
#include "config/send_policy.h"
#include "platform/http_transport.h"

namespace Veltro::Internal {

/// Tells the audience server traits of the user and takes in what it answers: the visitor profile,
/// the user's identifier there, and destinations to call. Safe to use from any thread; signals may
/// overlap.
class Skaipra {
 public:
  Skaipra(const Configuration& config, const SendPolicy& policy, HttpTransport& transport,
          VisitorProfile& profile, DestinationForwarder& destinations);

  std::u16string GetDpid() const { return GetPartner().dpid; }
  std::u16string GetDpuuid() const { return GetPartner().dpuuid; }

  /// Names the user as a data provider knows them: the provider's identifier and that of the user
  /// there. In memory only. Refused with a warning when Skaipra is not configured.
  void SetDpidAndDpuuid(std::u16string dpid, std::u16string dpuuid);

  /// Forgets what the provider calls the user.
  void ForgetPartner();

  /// Sends `traits` and waits for the answer, 2 seconds at most, so call it on a worker. Returns
  /// the profile that the answer held, which is stored then; an empty one when there was none, with
  /// a line in the log that says why; nothing when Skaipra is not configured.
  std::optional<StringMap> SignalWithData(const StringMap& traits);

 private:
  struct Partner {
    std::u16string dpid;
    std::u16string dpuuid;
  };

  Partner GetPartner() const;
  std::string BuildUrl(const StringMap& traits);
  StringMap Send(const std::string& url, std::uint64_t generation);
  StringMap HandleResponse(const std::string& body, bool serverIsPublic, std::uint64_t generation);

  const Configuration& config_;
  const SendPolicy& policy_;
  HttpTransport& transport_;
  VisitorProfile& profile_;
  DestinationForwarder& destinations_;
  const std::string baseUrl_;
  mutable std::mutex mutex_;
  Partner partner_;
};

}  // namespace Veltro::Internal
