#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "collector/fault.h"
#include "collector/hit.h"
#include "collector/received_request.h"

namespace Veltro::Collector {

/// A local stand-in for three servers: the collection server answers hits and identifier requests,
/// the audience server events, the content server requests for the content of a location. The
/// destinations that the audience server names may lie here, too. Keeps every request, and the hits
/// decoded; fails on demand. Listens on 127.0.0.1 only.
///
/// Over HTTP it offers, besides / and /page/NAME, a page that shows all this in a browser,
///   GET    /api/hits         all hits, a JSON array
///   DELETE /api/hits         forgets hits and requests of every kind
///   GET    /api/hits/wait    ?count=N&timeout=MS: the hits as soon as there are N (default 1), or
///                            after MS milliseconds (default 10,000, at most ten minutes)
///   GET    /api/events, /api/destinations, /api/contents
///                            the requests of that kind, a JSON array
///   GET    /api/stats        as numbers: hits, attempts (hit requests), events, destinations and
///                            contents not forgotten; connections and identifier requests so far
///   GET    /api/live         server-sent events, of which eight readers at a time learn what there
///                            is and what comes; ?after=N or a Last-Event-ID header leaves out what
///                            has no greater number. "entries": an array of up to 500, see
///                            `EntryToJson`; "clear": all was forgotten; "faults": those that wait
///   GET    /api/entries/N    the request with this number, see `WholeEntryToJson`
///   GET    /api/faults       the faults that wait, a JSON array
///   POST   /api/faults       adds faults, see `ParseFaults`
///   DELETE /api/faults       takes back the faults not yet used up
///
/// Requests of all kinds are numbered together as they come in, from 1; no number is used again.
/// None of this is for pages of other sites: a Host that is not this machine, or an Origin that is
/// not the collector, gets status 403.
///
/// Faults spoil the answers of one server, in the order of its requests. A hit counts as received
/// when it is answered with status 200 or 307, with a delay at its end; a request of any kind
/// counts when it comes in.
///
/// All functions may be called from any thread.
class Collector {
 public:
  struct Options {
    std::uint16_t port = 0;  ///< 0: any free one
    /// Called for each hit, one at a time and in their order, before the hit is answered. May call
    /// everything but the destructor.
    std::function<void(const Hit&)> onHit{};
    /// Called for each request of any kind when it comes in, whatever it is answered with; never at
    /// the same time as another call or one of `onHit`. May call everything but the destructor.
    std::function<void(RequestKind, const ReceivedRequest&)> onRequest{};
    /// What identifier requests are answered with.
    std::string identifier = "2D7A4E1F05B3C690-1A52F08C7E6D4B93";
    /// What the audience server and the content server answer, see `ParseRules`.
    std::string rules{};
  };

  /// Listens from here on; throws std::runtime_error when that is not possible on this port, and
  /// another std::exception when the rules are bad.
  explicit Collector(Options options);

  /// Stops: ends all connections and waits, whether they are answered or not.
  ~Collector();

  std::uint16_t Port() const;

  /// "127.0.0.1:PORT"
  std::string Host() const;

  std::vector<Hit> Hits() const;

  /// Every request of this kind, also those answered with an error or not at all.
  std::vector<ReceivedRequest> Requests(RequestKind kind) const;

  /// Wait until there are at least `count` of them; false when `timeout` passed before.
  bool WaitForHits(std::size_t count, std::chrono::milliseconds timeout) const;
  bool WaitForRequests(RequestKind kind, std::size_t count,
                       std::chrono::milliseconds timeout) const;

  /// Forgets hits and requests. Sequence numbers, counts, rules and faults stay.
  void Clear();

  /// Replaces the rules, see `ParseRules`; throws and changes nothing when they are bad.
  void SetRules(std::string_view json);

  /// Adds faults behind those not yet used up.
  void PushFaults(const std::vector<Fault>& faults);
  void ClearFaults();

  /// How many connections brought a hit or an identifier request so far, whatever else they
  /// brought.
  std::size_t ConnectionCount() const;

  /// How many requests of this kind came in so far, whatever they were answered with.
  std::size_t RequestCount(RequestKind kind) const;

 private:
  class Service;
  std::unique_ptr<Service> service_;
};

}  // namespace Veltro::Collector
