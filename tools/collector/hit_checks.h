#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <unordered_set>

#include "collector/hit.h"

namespace Veltro::Collector {

/// Looks at the hits received, in their order, for what a developer should know. Its memory is
/// bounded. Used by one thread at a time.
class HitChecks {
 public:
  /// Adds to `hit` what it shows by itself or together with those before it.
  void AddFindings(Hit& hit);

  /// Forgets the hits before.
  void Clear();

 private:
  bool IsRepeated(const Hit& hit);
  void CheckTime(Hit& hit);

  std::map<std::string, std::int64_t> lastTimes_;  // of each application, in seconds since 1970
  std::deque<std::size_t> recentTargets_;          // hashes, so that they are short
  std::unordered_set<std::size_t> knownTargets_;   // the same
};

}  // namespace Veltro::Collector
