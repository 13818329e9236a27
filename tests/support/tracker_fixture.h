#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "analytics/tracker.h"
#include "fakes/fake_platform.h"
#include "support/log_capture.h"

namespace Veltro::Internal::Testing {

/// A tracker on fakes whose hits stay in the queue: the fake network is down.
class TrackerFixture : public testing::Test {
 protected:
  TrackerFixture() {
    fakes_.deviceFacts.networkReachable = false;
    fakes_.settings.Insert(u"VELTRO_STOREDDEFAULTS_AID", std::u16string(u"AID"));
    config_.rsids = "suite";
    config_.server = "c.example";
    config_.offlineEnabled = true;
  }

  /// Takes all hits out of the queue and returns the last, without its random part; "" when there
  /// is none.
  std::string LastHit() {
    queue_.QueuedHitCount(std::chrono::seconds(5));
    std::string last;
    while (auto first = store_.First()) {
      last = first->hit.hit;
      timestamp_ = first->hit.timestamp;
      store_.RemoveFirst(first->id);
    }
    return last.empty() ? last : last.substr(last.find('?'));
  }

  LogCapture log_;
  FakePlatform fakes_;
  Configuration config_;
  SettingsStore settings_{fakes_.settings};
  Privacy privacy_{config_, settings_, [](VeltroPrivacyStatus) {}};
  DeviceInformation device_{fakes_.deviceFacts, fakes_.package, fakes_.clock};
  Identifiers identifiers_{settings_, fakes_.httpTransport, fakes_.randomSource,
                           [] { return std::nullopt; }};
  LastLifecycleData lifecycleData_;
  HitStore store_{fakes_.localFolder};
  HitSender sender_{
      store_, config_, privacy_, device_, fakes_.deviceFacts, fakes_.httpTransport, fakes_.clock};
  HitQueue queue_{store_, sender_, config_, privacy_, fakes_.clock};
  Tracker tracker_{{config_, privacy_, settings_, identifiers_, device_, lifecycleData_,
                    fakes_.randomSource, fakes_.clock},
                   queue_};
  std::int32_t timestamp_ = 0;  ///< of the hit that `LastHit` returned
};

}  // namespace Veltro::Internal::Testing
