#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "veltro/async_operation.h"
#include "veltro/context_data.h"
#include "veltro/export.h"

namespace Veltro {

/// The segments that the user is in, as the audience server sees it. It needs "audienceManager" in
/// the configuration file. Texts are UTF-8. Every function may be called from any thread, returns
/// without waiting for disk or network, and never throws. What is set takes effect in the order of
/// the calls, tracking calls among them.
class VELTRO_EXPORT AudienceManager {
 public:
  /// Segments with their values.
  using Profile = std::map<std::string, std::string>;

  /// The profile that the last signal brought, in this run or an earlier one; empty when none did.
  static Profile GetVisitorProfile();

  /// The identifier of the user that `SetDpidAndDpuuid` last applied; empty at start.
  static std::string GetDpuuid();

  /// The identifier of the data provider that `SetDpidAndDpuuid` last applied; empty at start.
  static std::string GetDpid();

  /// Names the user as a data provider of the application's knows them, for the signals to come:
  /// `dpid` is the provider's identifier, `dpuuid` that of the user there. Both go with signals, as
  /// they are, when neither is empty. In memory only: set them in each run.
  static void SetDpidAndDpuuid(std::string_view dpid, std::string_view dpuuid);

  /// Tells the audience server traits of the user, and yields the profile that it answers with,
  /// which also becomes the visitor profile; the URLs that the server wants called are called. Dots
  /// in keys become underscores; traits with an empty key or value are left out. A key goes into
  /// the URL as it is: keep to letters, digits, "_" and ".".
  ///
  /// Yields an empty profile when the server has nothing to tell, does not answer within 2 seconds
  /// or fails, and while the user has not opted in; the visitor profile stays as it is then. Yields
  /// nothing when there is no audience server in the configuration.
  static AsyncOperation<std::optional<Profile>> SignalWithData(const ContextData& traits);
};

}  // namespace Veltro
