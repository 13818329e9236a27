#pragma once

#include <mutex>
#include <string_view>

#include "base/string_map.h"

namespace Veltro::Internal {

/// The parameters that go with every content request, in memory only. Knows nothing of requests, so
/// that whoever learns something about the user can leave it here. Safe to use from any thread.
class PersistentParameters {
 public:
  /// Puts `value` under `key` unless the key is there already. An empty value removes the key; an
  /// empty key is ignored.
  void SetPersistentParameter(std::u16string_view key, std::u16string_view value);

  /// Removes `key`; one that is empty or not there is no error.
  void RemovePersistentParameter(std::u16string_view key);

  void Clear();

  /// A copy of all parameters.
  StringMap Get() const;

 private:
  mutable std::mutex mutex_;
  StringMap parameters_;
};

}  // namespace Veltro::Internal
