#include "core/work_queue.h"

#include <memory>
#include <utility>

namespace Veltro::Internal {
namespace {

/// A door that one thread opens and another waits at; shared, so that either may leave first.
struct Door {
  std::mutex mutex;
  std::condition_variable changed;
  bool open = false;
};

}  // namespace

WorkQueue::~WorkQueue() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    if (!pending_.empty()) RequireThread();
  }
  wake_.notify_one();
  if (thread_.joinable()) thread_.join();
}

void WorkQueue::Post(WorkItem item) {
  bool wake;
  {
    const std::lock_guard lock(mutex_);
    pending_.push_back(std::move(item));
    RequireThread();
    wake = waiting_;
    waiting_ = false;
  }
  if (wake) wake_.notify_one();
}

bool WorkQueue::IsDone() {
  const std::lock_guard lock(mutex_);
  return pending_.empty() && !running_;
}

bool WorkQueue::WaitUntilDone(std::chrono::milliseconds timeout) {
  {
    const std::lock_guard lock(mutex_);
    if (std::this_thread::get_id() == thread_.get_id()) return false;
    if (!thread_.joinable() && pending_.empty()) return true;
  }
  const auto door = std::make_shared<Door>();
  Post([door] {
    const std::lock_guard lock(door->mutex);
    door->open = true;
    door->changed.notify_all();
  });
  std::unique_lock lock(door->mutex);
  return door->changed.wait_for(lock, timeout, [&] { return door->open; });
}

void WorkQueue::RequireThread() {
  if (thread_.joinable()) return;
  if (auto thread = StartThread([this] { Run(); })) thread_ = *std::move(thread);
}

void WorkQueue::Run() {
  std::vector<WorkItem> batch;
  std::unique_lock lock(mutex_);
  while (true) {
    while (pending_.empty()) {
      if (stopping_) return;
      RunIdle(lock);
    }
    batch.swap(pending_);
    running_ = true;
    lock.unlock();
    for (WorkItem& item : batch) {
      RunWorkItem(item);
      item = nullptr;
    }
    batch.clear();
    lock.lock();
    running_ = false;
  }
}

void WorkQueue::RunIdle(std::unique_lock<std::mutex>& lock) {
  std::chrono::milliseconds again{0};
  if (idleTask_) {
    lock.unlock();
    again = idleTask_();
    lock.lock();
  }
  const auto ready = [this] { return !pending_.empty() || stopping_; };
  waiting_ = true;
  if (again.count() > 0) {
    wake_.wait_for(lock, again, ready);
  } else {
    wake_.wait(lock, ready);
  }
  waiting_ = false;
}

}  // namespace Veltro::Internal
