#include "core/stoppable_requests.h"

namespace Veltro::Internal {

StoppableRequests::Open::Open(StoppableRequests& owner)
    : requests(owner), connection(owner.transport_.NewConnection()) {
  const std::lock_guard lock(requests.mutex_);
  if (requests.isStopped_) connection->Stop();
  requests.open_.push_back(connection.get());
  ++requests.active_;
}

StoppableRequests::Open::~Open() {
  {
    const std::lock_guard lock(requests.mutex_);
    std::erase(requests.open_, connection.get());
  }
  connection.reset();  // which may take a while, and belongs to the request
  const std::lock_guard lock(requests.mutex_);
  --requests.active_;
  requests.closed_.notify_all();
}

void StoppableRequests::Stop() {
  const std::lock_guard lock(mutex_);
  isStopped_ = true;
  for (HttpConnection* connection : open_) connection->Stop();
}

bool StoppableRequests::WaitUntilDone(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  return closed_.wait_for(lock, timeout, [this] { return active_ == 0; });
}

}  // namespace Veltro::Internal
