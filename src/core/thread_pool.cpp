#include "core/thread_pool.h"

#include <utility>

namespace Veltro::Internal {

ThreadPool::~ThreadPool() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    if (!pending_.empty() && threads_.empty()) AddThread();
  }
  wake_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void ThreadPool::Post(WorkItem item) {
  bool isRefused = false;
  {
    const std::lock_guard lock(mutex_);
    pending_.push_back(std::move(item));
    const bool allAreBusy = pending_.size() > idle_ && !stopping_;
    if (allAreBusy && threads_.size() < maxThreads_) isRefused = !AddThread();
  }
  wake_.notify_one();
  if (isRefused) LogThreadRefused();
}

bool ThreadPool::AddThread() {
  auto thread = StartThread([this] { Run(); });
  if (!thread) return false;
  threads_.push_back(*std::move(thread));
  return true;
}

void ThreadPool::Run() {
  std::unique_lock lock(mutex_);
  while (true) {
    ++idle_;
    wake_.wait(lock, [this] { return !pending_.empty() || stopping_; });
    --idle_;
    if (pending_.empty()) return;
    WorkItem item = std::move(pending_.front());
    pending_.pop_front();
    lock.unlock();
    RunWorkItem(item);
    item = nullptr;  // what it holds goes outside the lock, too
    lock.lock();
  }
}

}  // namespace Veltro::Internal
