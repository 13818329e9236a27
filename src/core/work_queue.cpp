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

void WorkQueue::Post(WorkItem item) { Add(std::move(item), Haste::Now); }

void WorkQueue::PostSoon(WorkItem item) { Add(std::move(item), Haste::Soon); }

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

void WorkQueue::Add(WorkItem item, Haste haste) {
  bool wake = false;
  bool hasThread = false;
  {
    const std::lock_guard lock(mutex_);
    pending_.push_back(std::move(item));
    hasThread = RequireThread();
    if (haste == Haste::Soon) restsNext_ = true;
    wake = sleep_ == Sleep::Deep || (sleep_ == Sleep::Rest && haste == Haste::Now);
    if (wake) sleep_ = Sleep::None;
  }
  if (wake) wake_.notify_one();
  if (!hasThread) LogThreadRefused();
}

bool WorkQueue::RequireThread() {
  if (thread_.joinable()) return true;
  if (auto thread = StartThread([this] { Run(); })) thread_ = *std::move(thread);
  return thread_.joinable();
}

void WorkQueue::Run() {
  std::vector<WorkItem> batch;
  std::unique_lock lock(mutex_);
  while (true) {
    while (pending_.empty()) {
      if (stopping_) return;
      RunDry(lock);
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

void WorkQueue::RunDry(std::unique_lock<std::mutex>& lock) {
  if (std::exchange(restsNext_, false)) {
    WaitForItems(lock, Sleep::Rest, rest_);
    if (!pending_.empty()) return;
  }
  std::chrono::milliseconds again{0};
  if (idleTask_) {
    lock.unlock();
    again = idleTask_();
    lock.lock();
  }
  WaitForItems(lock, Sleep::Deep, again);
}

/// Waits, at most `timeout` unless that is zero, for an item that wakes from such a sleep.
void WorkQueue::WaitForItems(std::unique_lock<std::mutex>& lock, Sleep sleep,
                             std::chrono::milliseconds timeout) {
  if (!pending_.empty() || stopping_) return;
  const auto isWoken = [this] { return sleep_ == Sleep::None || stopping_; };
  sleep_ = sleep;
  if (timeout.count() > 0) {
    wake_.wait_for(lock, timeout, isWoken);
  } else {
    wake_.wait(lock, isWoken);
  }
  sleep_ = Sleep::None;
}

}  // namespace Veltro::Internal
