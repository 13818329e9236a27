#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "core/work_item.h"

namespace Veltro::Internal {

/// Threads for work that may wait, for an answer from the network above all. Items start in the
/// order they were posted and run side by side, up to a number of threads; further ones wait for
/// their turn. There is no thread before the first item, and one more only when all are busy. Any
/// thread may post.
class ThreadPool {
 public:
  explicit ThreadPool(std::size_t maxThreads) : maxThreads_(maxThreads) {}

  /// Runs every posted item, then ends the threads.
  ~ThreadPool();

  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  /// Adds `item` at the end and returns at once. What an item throws is logged and forgotten. When
  /// the system refuses the first thread, the item waits for the next post to try again.
  void Post(WorkItem item);

 private:
  bool AddThread();  // with `mutex_` held; false when the system refuses
  void Run();

  const std::size_t maxThreads_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<WorkItem> pending_;
  std::size_t idle_ = 0;
  bool stopping_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace Veltro::Internal
