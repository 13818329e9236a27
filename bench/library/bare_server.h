#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace Veltro::Bench {

/// The least that is an HTTP server: answers every request on loopback with an empty 200 and keeps
/// connections open. It runs in a process of its own, so make it before any thread.
class BareServer {
 public:
  BareServer();
  ~BareServer();

  BareServer(const BareServer&) = delete;
  BareServer& operator=(const BareServer&) = delete;

  /// Keeps the server to the last processor and this process to the others, but for threads that
  /// run already: where the scheduler happens to put client and server makes a factor of two, which
  /// is not what is measured.
  void KeepApart() const;

  /// "127.0.0.1:" and the port.
  std::string Address() const;

  /// Hits answered since the start, other requests not counted.
  std::uint64_t Hits() const;

  /// Waits until `count` hits have been answered. Throws after a minute.
  void WaitForHits(std::uint64_t count) const;

  /// Forgets when the first hit came: the next one is the first.
  void StartClock() const;

  /// Hits per second between the first and the last.
  double Rate() const;

  /// Connections over which at least one hit came.
  std::uint64_t Connections() const;

 private:
  struct Counts;

  [[noreturn]] void Serve();

  Counts* counts_;  // shared with the server's process
  int listener_;
  std::uint16_t port_ = 0;
  pid_t process_;
};

}  // namespace Veltro::Bench
