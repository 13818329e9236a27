#include "core/work_queue.h"

#include <memory>
#include <system_error>

#include "core/log.h"

namespace Veltro::Internal {
namespace {

void RunItem(const WorkQueue::Item& item) noexcept {
  try {
    item();
  } catch (const std::exception& error) {
    LogError("Analytics - Unable to finish queued work (%s)", error.what());
  } catch (...) {
    LogError("Analytics - Unable to finish queued work (%s)", "unknown exception");
  }
}

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
    if (!pending_.empty()) StartThread();
  }
  wake_.notify_one();
  if (thread_.joinable()) thread_.join();
}

void WorkQueue::Post(Item item) {
  bool wake;
  {
    const std::lock_guard lock(mutex_);
    pending_.push_back(std::move(item));
    StartThread();
    wake = waiting_;
    waiting_ = false;
  }
  if (wake) wake_.notify_one();
}

bool WorkQueue::WaitUntilDone(std::chrono::milliseconds timeout) {
  if (RunsOnThisThread()) return false;
  const auto door = std::make_shared<Door>();
  Post([door] {
    const std::lock_guard lock(door->mutex);
    door->open = true;
    door->changed.notify_all();
  });
  std::unique_lock lock(door->mutex);
  return door->changed.wait_for(lock, timeout, [&] { return door->open; });
}

bool WorkQueue::RunsOnThisThread() {
  const std::lock_guard lock(mutex_);
  return std::this_thread::get_id() == thread_.get_id();
}

void WorkQueue::StartThread() {
  if (thread_.joinable()) return;
  try {
    thread_ = std::thread([this] { Run(); });
  } catch (const std::system_error& error) {
    LogError("Analytics - Unable to start a thread (%s)", error.what());
  }
}

void WorkQueue::Run() {
  std::vector<Item> batch;
  std::unique_lock lock(mutex_);
  while (true) {
    while (pending_.empty()) {
      if (stopping_) return;
      RunIdle(lock);
    }
    batch.swap(pending_);
    lock.unlock();
    for (Item& item : batch) {
      RunItem(item);
      item = nullptr;
    }
    batch.clear();
    lock.lock();
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
