#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "collector/fault.h"
#include "collector/hit.h"
#include "collector/hit_log.h"

namespace Veltro::Collector {

enum class RequestKind {
  Hit,  ///< GET /b/ss/...
  Id,   ///< GET /id
};

/// A local stand-in for the collection server: answers hits and identifier requests, keeps the hits
/// decoded, and fails on demand. Listens on 127.0.0.1 only.
///
/// Over HTTP it offers
///   GET    /api/hits         all hits, a JSON array
///   DELETE /api/hits         forgets hits and attempts
///   GET    /api/hits/wait    ?count=N&timeout=MS: the hits as soon as there are N (default 1), or
///                            after MS milliseconds (default 10,000, at most ten minutes)
///   GET    /api/stats        hits, attempts, connections and identifier requests, as numbers
///   POST   /api/faults       adds faults, see `ParseFaults`
///   DELETE /api/faults       takes back the faults not yet used up
///
/// Faults spoil the answers to hits and identifier requests, in the order of the requests. A hit
/// counts as received when it is answered with status 200 or 307, with a delay at its end; every
/// hit request counts as an attempt when it comes in.
///
/// All functions may be called from any thread.
class Collector {
 public:
  struct Options {
    std::uint16_t port = 0;  ///< 0: any free one
    /// Called for each hit, one at a time and in their order, before the hit is answered. May call
    /// everything but the destructor.
    std::function<void(const Hit&)> onHit{};
    /// What identifier requests are answered with.
    std::string identifier = "2D7A4E1F05B3C690-1A52F08C7E6D4B93";
  };

  /// Listens from here on; throws std::runtime_error when that is not possible on this port.
  explicit Collector(Options options);

  /// Stops: ends all connections and waits, whether they are answered or not.
  ~Collector();

  std::uint16_t Port() const;

  /// "127.0.0.1:PORT"
  std::string Host() const;

  std::vector<Hit> Hits() const;

  /// Every hit request, also those answered with an error or not at all.
  std::vector<Attempt> Attempts() const;

  /// Wait until there are at least `count` hits or attempts; false when `timeout` passed before.
  bool WaitForHits(std::size_t count, std::chrono::milliseconds timeout) const;
  bool WaitForAttempts(std::size_t count, std::chrono::milliseconds timeout) const;

  /// Forgets hits and attempts. Their sequence numbers, the other counts and the faults stay.
  void Clear();

  /// Adds faults behind those not yet used up.
  void PushFaults(const std::vector<Fault>& faults);
  void ClearFaults();

  /// How many connections brought a hit or an identifier request so far.
  std::size_t ConnectionCount() const;

  /// How many requests of this kind came in so far, whatever they were answered with.
  std::size_t RequestCount(RequestKind kind) const;

 private:
  class Service;
  std::unique_ptr<Service> service_;
};

}  // namespace Veltro::Collector
