#pragma once

#include <memory>
#include <mutex>

#include "base/string_map.h"

namespace Veltro::Internal {

/// Holds the context data of the last lifecycle launch, which every hit carries. Empty until the
/// first launch of the process; in memory only. Safe to use from any thread.
class LastLifecycleData {
 public:
  /// The data as last set. Never null; what it points to does not change.
  std::shared_ptr<const StringMap> Get() const {
    const std::lock_guard lock(mutex_);
    return data_;
  }

  /// Replaces the data whole.
  void Set(StringMap data) {
    auto replacement = std::make_shared<const StringMap>(std::move(data));
    const std::lock_guard lock(mutex_);
    data_ = std::move(replacement);
  }

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<const StringMap> data_ = std::make_shared<const StringMap>();
};

}  // namespace Veltro::Internal
