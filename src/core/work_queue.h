#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "core/work_item.h"

namespace Veltro::Internal {

/// A serial queue: items run one at a time, in the order they were posted, on a thread of the
/// queue's own that starts with the first item. Any thread may post.
class WorkQueue {
 public:
  /// What to do whenever the queue has run dry. Returns how long to wait before it is asked again
  /// if no item comes meanwhile; zero to be left alone until the next item has run. Must not throw.
  using IdleTask = std::function<std::chrono::milliseconds()>;

  /// How long the thread rests by default.
  static constexpr std::chrono::milliseconds kRest{4};

  explicit WorkQueue(IdleTask idleTask = nullptr, std::chrono::milliseconds rest = kRest)
      : idleTask_(std::move(idleTask)), rest_(rest) {}

  /// Runs every posted item, then ends the thread.
  ~WorkQueue();

  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;

  /// Adds `item` at the end and returns at once. What an item throws is logged and forgotten. When
  /// the system refuses a thread, the item waits for the next post to try again.
  void Post(WorkItem item);

  /// `Post` for work that nobody waits for. To wake a sleeping thread costs the caller more than
  /// all else; so after such an item the thread rests for a moment, during which others of the kind
  /// do not wake it: it finds them when it gets up. Items keep their order, however they were
  /// posted.
  void PostSoon(WorkItem item);

  /// Whether every item posted before the call has run.
  bool IsDone();

  /// Whether every item posted before the call has run within `timeout`. False at once when called
  /// by an item of this queue. Starts no thread when nothing was ever posted.
  bool WaitUntilDone(std::chrono::milliseconds timeout);

 private:
  enum class Haste { Now, Soon };
  enum class Sleep { None, Rest, Deep };

  void Add(WorkItem item, Haste haste);
  bool RequireThread();  // with `mutex_` held; false when the system refuses
  void Run();
  void RunDry(std::unique_lock<std::mutex>& lock);
  void WaitForItems(std::unique_lock<std::mutex>& lock, Sleep sleep,
                    std::chrono::milliseconds timeout);

  const IdleTask idleTask_;
  const std::chrono::milliseconds rest_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::vector<WorkItem> pending_;
  bool running_ = false;       // the thread runs items
  bool restsNext_ = false;     // before it sleeps
  Sleep sleep_ = Sleep::None;  // how the thread waits for `wake_`
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace Veltro::Internal
