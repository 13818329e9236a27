#include "analytics/hit_sender.h"

#include <optional>
#include <string_view>

#include "base/number_text.h"
#include "base/url_host.h"
#include "base/utf.h"
#include "core/log.h"
#include "core/version.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr int kCooldownSeconds = 30;
constexpr std::int64_t kStaleSeconds = 5;

/// How often we look whether another process is still sending.
constexpr std::chrono::milliseconds kTurnInterval{250};

/// The host of a server setting: a name or an address that a port may follow.
std::string HostOf(std::string_view server) {
  const bool isBracketed = !server.empty() && server.front() == '[';
  const std::size_t end = isBracketed ? server.find(']') + 1 : server.find(':');
  return std::string(server.substr(0, end));
}

bool IsSuccess(std::int32_t status) { return status == 200 || status == 307; }

/// The time as hits carry it, one second on; wraps as 32-bit times do.
std::int32_t OneSecondAfter(std::int32_t timestamp) {
  return Lower32Bits(std::int64_t{timestamp} + 1);
}

}  // namespace

std::string MakeBaseUrl(const Configuration& config) {
  return std::string(config.ssl ? "https" : "http") + "://" + config.server + "/b/ss/" +
         config.rsids + "/0/WINU-" + std::string(kVersion) + "/";
}

HitSender::HitSender(HitStore& store, const Configuration& config, const SendPolicy& policy,
                     DeviceInformation& device, DeviceFacts& facts, HttpTransport& transport,
                     Clock& clock, std::chrono::milliseconds requestTimeout)
    : store_(store),
      config_(config),
      policy_(policy),
      device_(device),
      facts_(facts),
      transport_(transport),
      clock_(clock),
      requestTimeout_(requestTimeout),
      connection_(transport.NewConnection()),
      baseUrl_(MakeBaseUrl(config)),
      host_(HostOf(config.server)),
      sleeper_(clock.NewSleeper()) {}

HitSender::~HitSender() { Stop(); }

void HitSender::Stop() {
  const std::lock_guard lock(mutex_);
  stopping_ = true;
  sleeper_->Interrupt();
  connection_->Stop();
}

void HitSender::Start() {
  const std::lock_guard lock(mutex_);
  startAgain_ = true;
  if (state_ != State::Idle) return;
  state_ = State::Sending;
  worker_.Post([this] { Run(); });
}

HitSender::DrainResult HitSender::WaitUntilDrained(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  const bool stopped =
      stateChanged_.wait_for(lock, timeout, [this] { return state_ != State::Sending; });
  if (!stopped) return DrainResult::TimedOut;
  if (store_.Size() == 0) return DrainResult::Done;
  return policy_.Permission() == SendPermission::Send ? DrainResult::Offline
                                                      : DrainResult::NotAllowed;
}

/// Drains for as long as starts come in: one that came while the last drain was ending, when it may
/// have looked too early, is not lost.
void HitSender::Run() {
  while (true) {
    {
      const std::lock_guard lock(mutex_);
      if (!startAgain_ || stopping_) {
        state_ = State::Idle;
        stateChanged_.notify_all();
        return;
      }
      startAgain_ = false;
    }
    try {
      Drain();
    } catch (const std::exception& error) {
      LogError("Analytics - Unable to send hit (%s)", error.what());
    }
    store_.YieldSending();
  }
}

void HitSender::Drain() {
  bool isOurTurn = false;
  while (true) {
    sleeper_->Rearm();
    if (!MaySend()) return;
    isOurTurn = isOurTurn || store_.ClaimSending();
    const Next next = isOurTurn ? SendFirst() : WaitForTurn();
    if (next == Next::Stop) return;
    if (next != Next::CoolDown) continue;
    CoolDown();
    isOurTurn = false;
  }
}

bool HitSender::MaySend() {
  return !IsStopping() && policy_.Permission() == SendPermission::Send &&
         facts_.IsNetworkReachable(host_);
}

HitSender::Next HitSender::WaitForTurn() {
  sleeper_->Sleep(kTurnInterval);
  return Next::Continue;
}

HitSender::Next HitSender::SendFirst() {
  try {
    std::optional<HitStore::FirstHit> first = store_.First();
    return first ? Send(*first) : Next::Stop;
  } catch (const PlatformError& error) {
    LogError("Analytics - Unable to load queued hits (%s)", error.what());
    return Next::CoolDown;
  }
}

HitSender::Next HitSender::Send(HitStore::FirstHit& first) {
  if (config_.offlineEnabled) {
    RepairTimestamp(first);
  } else if (IsStale(first.hit)) {
    store_.RemoveFirst(first.id);
    return Next::Continue;
  }
  try {
    return Request(first);
  } catch (const PlatformError& error) {
    if (error.HResult() && *error.HResult() != kHttpBadUrl) {
      LogDebug("Analytics - Unable to send hit, attempting to recover");
      return Next::CoolDown;
    }
    if (error.HResult()) {
      LogError("Analytics - Invalid hit (removed)");
    } else {
      LogError("Analytics - Unable to send hit (%s)", error.what());
    }
    store_.RemoveFirst(first.id);
    return Next::Continue;
  }
}

HitSender::Next HitSender::Request(const HitStore::FirstHit& first) {
  if (!IsHostAndPort(config_.server)) {
    throw PlatformError(kHttpBadUrl, "the configured server is no host name");
  }
  std::string url = baseUrl_ + first.hit.hit;
  LogDebug("Analytics - Sending hit (%s)", url);
  RequestHandler request(transport_, std::move(url), requestTimeout_);
  request.AddHeader("User-Agent", ToUtf8(device_.GetUserAgent()));
  request.AddHeader("Accept-Language", ToUtf8(device_.GetLanguageTag()));
  const std::int32_t status = request.GetStatus(*connection_);
  // A request that was cancelled, or failed, because of the stop says nothing of its hit.
  if (!IsSuccess(status) && IsStopping()) return Next::Stop;
  return Judge(first, status);
}

HitSender::Next HitSender::Judge(const HitStore::FirstHit& first, std::int32_t status) {
  if (!IsSuccess(status) && config_.offlineEnabled) {
    LogDebug("Analytics - Recoverable network error (%d), imposing internal cooldown (%d seconds)",
             status, kCooldownSeconds);
    return Next::CoolDown;
  }
  if (IsSuccess(status)) lastSentTimestamp_ = first.hit.timestamp;
  store_.RemoveFirst(first.id);
  return Next::Continue;
}

void HitSender::CoolDown() {
  store_.YieldSending();
  SetState(State::CoolingDown);
  for (int second = 0; second < kCooldownSeconds; ++second) {
    if (!sleeper_->Sleep(std::chrono::seconds(1))) break;
  }
  SetState(State::Sending);
}

bool HitSender::IsStale(const QueuedHit& hit) {
  return hit.timestamp < std::int64_t{Lower32Bits(clock_.UnixSeconds())} - kStaleSeconds;
}

/// Keeps the timestamps that the server sees rising: a hit that was made before the one sent last,
/// by a clock that was set back, is moved behind it, in the file too.
void HitSender::RepairTimestamp(HitStore::FirstHit& first) {
  if (first.hit.timestamp >= lastSentTimestamp_) return;
  const std::int32_t repaired = OneSecondAfter(lastSentTimestamp_);
  LogDebug("Analytics - Adjusting out of order hit timestamp(%ld->%ld)", first.hit.timestamp,
           repaired);
  const std::string old = "&ts=" + std::to_string(first.hit.timestamp);
  const std::size_t position = first.hit.hit.find(old);
  if (position != std::string::npos) {
    first.hit.hit.replace(position, old.size(), "&ts=" + std::to_string(repaired));
  }
  first.hit.timestamp = repaired;
  store_.ReplaceFirst(first.id, first.hit);
}

bool HitSender::IsStopping() {
  const std::lock_guard lock(mutex_);
  return stopping_;
}

void HitSender::SetState(State state) {
  const std::lock_guard lock(mutex_);
  state_ = state;
  stateChanged_.notify_all();
}

}  // namespace Veltro::Internal
