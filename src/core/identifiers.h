#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "core/settings_store.h"
#include "core/stoppable_requests.h"
#include "platform/random_source.h"

namespace Veltro::Internal {

/// The analytics identifier, which names an installation in every hit: obtained once and kept for
/// good. Safe to use from any thread.
class Identifiers {
 public:
  /// The URL of the server that assigns identifiers, or nothing while it must not be asked.
  using ServerUrl = std::function<std::optional<std::string>()>;

  Identifiers(SettingsStore& settings, HttpTransport& transport, RandomSource& random,
              ServerUrl serverUrl);

  /// The identifier. The first call may wait for the server, 500 ms at most, so call it on a worker
  /// only: it takes the stored identifier, else asks the server for one, else generates one, and
  /// stores it. Throws `PlatformError` when the settings fail.
  std::u16string GetAnalyticsId();

  /// Forgets the identifier; the settings are for the caller to clear. The next call gets a new
  /// one.
  void Forget();

  /// The identifier that the server assigns; empty when it must not be asked or assigns none.
  std::u16string RetrieveAnalyticsIdFromServer();

  /// A new random identifier: 16 upper-case hexadecimal digits, "-" and 16 more. The first digit is
  /// 0 to 7 and the first behind the dash 0 to 3, so that receivers may read each half as a signed
  /// 64-bit number.
  std::u16string GenerateAnalyticsId();

  /// The requests for the identifier. One that is stopped ends as if the server had not answered.
  StoppableRequests& Requests() { return requests_; }

 private:
  SettingsStore& settings_;
  StoppableRequests requests_;
  RandomSource& random_;
  const ServerUrl serverUrl_;
  std::mutex mutex_;
  std::optional<std::u16string> analyticsId_;
};

}  // namespace Veltro::Internal
