#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "collector/changes.h"

namespace Veltro::Collector {

/// What goes wrong with an answer.
struct Fault {
  enum class Kind {
    Status,   ///< answers with `status`, `body`, and `location` as Location header unless empty
    Delay,    ///< answers as usual, `delay` later
    Silence,  ///< never answers, keeps the connection open until the client leaves it
    Reset,    ///< resets the connection instead of answering
    Close,    ///< closes the connection instead of answering
  };

  /// Whose answer it spoils.
  enum class Server {
    Collection,  ///< to hits and identifier requests
    Audience,    ///< to events
    Content,
    Destination,
  };

  Kind kind = Kind::Status;
  std::int32_t status = 500;
  std::string location{};
  std::string body{};
  std::chrono::milliseconds delay{0};
  std::size_t times = 1;  ///< how many answers it spoils; 0: all until the faults are cleared
  Server server = Server::Collection;
};

/// Reads one object or an array of objects such as {"kind": "status", "status": 500, "times": 2}.
/// Members: "kind" (the kinds above in lower case), "status" (200 to 599), "location", "body",
/// "milliseconds" (of a delay, up to ten minutes), "times" (up to a million), "server" (the servers
/// above in lower case). One bad fault refuses them all: throws a std::exception that tells why.
std::vector<Fault> ParseFaults(std::string_view json);

/// The faults as `ParseFaults` reads them, on one line. Bytes that are not UTF-8 come out as
/// U+FFFD.
std::string FaultsToJson(const std::vector<Fault>& faults);

/// Faults waiting to be used up in order, each server's for itself. Safe to use from any thread.
class FaultQueue {
 public:
  /// Reports to `changes` when the faults that wait are others.
  explicit FaultQueue(Changes& changes) : changes_(changes) {}

  /// Adds `faults` behind those that wait.
  void Push(const std::vector<Fault>& faults);

  void Clear();

  /// The fault for the next answer of `server`, if any; it counts as used.
  std::optional<Fault> Take(Fault::Server server);

  /// Those that wait, in order.
  std::vector<Fault> Waiting() const;

 private:
  Changes& changes_;
  mutable std::mutex mutex_;
  std::deque<Fault> faults_;
};

}  // namespace Veltro::Collector
