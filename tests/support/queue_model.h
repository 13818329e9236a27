#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "fakes/fake_clock.h"
#include "platform/http_transport.h"
#include "veltro/host.h"
#include "veltro/privacy_status.h"

namespace Veltro::Internal::Testing {

/// What becomes of a request.
enum class Outcome {
  Taken,        ///< answered with a success
  Refused,      ///< answered with an error, or not in time
  Broken,       ///< the connection fails, before or after the server took the hit
  Unaddressed,  ///< the URL leads nowhere
  Silent,       ///< not answered until the test does
};

struct Fate {
  const char* name;
  Outcome outcome;
  std::int32_t status = 0;
  std::uint32_t error = 0;
};

inline constexpr Fate kFates[] = {
    {"200", Outcome::Taken, 200},
    {"307", Outcome::Taken, 307},
    {"404", Outcome::Refused, 404},
    {"500", Outcome::Refused, 500},
    {"time-out", Outcome::Refused},
    {"no connection", Outcome::Broken, 0, kHttpCannotConnect},
    {"lost answer", Outcome::Broken, 0, kHttpConnectionReset},
    {"bad URL", Outcome::Unaddressed, 0, kHttpBadUrl},
    {"silence", Outcome::Silent},
    {"201", Outcome::Refused, 201},
};

/// One thing that happens to an application or its world.
struct Step {
  enum class Kind {
    Track,       ///< a hit made `value` seconds ago
    TimePasses,  ///< `value` seconds, but no longer than a cooldown lasts
    ClockJumps,  ///< the user moves the clock by `value` seconds
    Network,     ///< comes (1) or goes (0)
    Privacy,     ///< is set to the status `value`
    Clear,       ///< the queue
    Fault,       ///< the next request without a fate gets the one numbered `value`
    Answer,      ///< the request under way gets it
    Flush,
    Kill,
    Restart,
  };
  Kind kind;
  int value = 0;
};

using Steps = std::vector<Step>;

/// Fifty steps by chance, the same for the same seed.
Steps RandomSteps(unsigned seed);

std::string ToText(const Steps& steps);

/// The rules of collecting and sending, told a second time and as plainly as possible: no threads
/// and no files, and every step takes effect at once.
struct QueueModel {
  enum class Sender { Idle, Waiting, CoolingDown };

  struct Hit {
    int id = 0;
    std::int64_t timestamp = 0;
  };

  // The world.
  bool offlineEnabled = false;
  std::size_t batchLimit = 0;
  std::int64_t now = FakeClock::kStart;
  bool isOnline = true;
  std::deque<int> faults{};  ///< numbers of the fates that wait for requests

  // What outlives a process.
  std::deque<Hit> queue{};
  VeltroPrivacyStatus storedStatus = VeltroPrivacyStatus::OptIn;
  int lastId = 0;

  // One process.
  VeltroPrivacyStatus status = VeltroPrivacyStatus::OptIn;
  std::vector<Hit> requests{};  ///< in order
  std::int64_t lastSent = 0;
  Sender sender = Sender::Idle;
  Hit underWay{};
  bool skipsCooldown = false;  ///< of the hit under way, should it fail
  int cooldowns = 0;           ///< that have begun
  int cooldownLeft = 0;        ///< seconds
  Host::FlushResult flushed = Host::FlushResult::Done;

  /// Whether `step` can happen now; else it is passed over.
  bool Allows(const Step& step) const;

  void Apply(const Step& step);

 private:
  bool MaySend() const { return status == VeltroPrivacyStatus::OptIn; }
  void Track(std::int64_t timestamp);
  void SetPrivacy(VeltroPrivacyStatus newStatus);
  void Clear();
  void Flush();
  void TimePasses(int seconds);
  void StartSendingIfReady();
  void Drain();
  bool Settle(Outcome outcome);
  void EndCooldown();
  void BeginProcess();
};

}  // namespace Veltro::Internal::Testing
