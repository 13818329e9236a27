#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "config/send_policy.h"
#include "core/stoppable_requests.h"
#include "core/thread_pool.h"

namespace Veltro::Internal {

/// Calls the URLs that the audience server wants called, each by itself and once, a few at a time
/// on threads of its own. A failure is logged and concerns nobody else. Dropping it makes the calls
/// that wait; stop its requests first to have them end at once.
class DestinationForwarder {
 public:
  DestinationForwarder(HttpTransport& transport, const SendPolicy& policy)
      : requests_(transport), policy_(policy) {}

  /// Calls each of `urls`, http and https ones, while data may leave the device. `publicHostsOnly`
  /// keeps them away from this machine and the networks around it. Returns at once. While 1,000
  /// wait, further ones are left out with a warning.
  void Forward(const std::vector<std::string>& urls, bool publicHostsOnly);

  /// Leaves out those that wait.
  void DropWaiting() { ++drops_; }

  /// The calls, for whoever has to end them.
  StoppableRequests& Requests() { return requests_; }

 private:
  void Call(const std::string& url, bool publicHostsOnly);

  StoppableRequests requests_;
  const SendPolicy& policy_;
  std::atomic<std::size_t> waiting_ = 0;
  std::atomic<std::uint32_t> drops_ = 0;
  ThreadPool pool_{8};  // the last one: what it runs uses the others
};

}  // namespace Veltro::Internal
