#pragma once

#include <string>
#include <vector>

#include "config/send_policy.h"
#include "core/thread_pool.h"
#include "platform/http_transport.h"

namespace Veltro::Internal {

/// Calls the URLs that the audience server wants called, each by itself and once. A failure is
/// logged and concerns nobody else.
class DestinationForwarder {
 public:
  /// The calls run, and wait, on `pool`.
  DestinationForwarder(HttpTransport& transport, const SendPolicy& policy, ThreadPool& pool)
      : transport_(transport), policy_(policy), pool_(pool) {}

  /// Calls each of `urls`, http and https ones, while data may leave the device. `publicHostsOnly`
  /// keeps them away from this machine and the networks around it. Returns at once.
  void Forward(const std::vector<std::string>& urls, bool publicHostsOnly);

 private:
  void Call(const std::string& url, bool publicHostsOnly);

  HttpTransport& transport_;
  const SendPolicy& policy_;
  ThreadPool& pool_;
};

}  // namespace Veltro::Internal
