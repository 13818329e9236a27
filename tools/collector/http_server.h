#pragma once

#include <httplib.h>

#include <cstdint>
#include <mutex>
#include <set>
#include <thread>

#include "collector/connection.h"

namespace Veltro::Collector {

/// An HTTP server on 127.0.0.1 with connections that stay open as long as the client likes, and a
/// stop that waits for none of them. Register the routes first, then call `Start` once. Each
/// connection occupies one of 88 threads; further ones wait for their turn.
class HttpServer final : public httplib::Server {
 public:
  HttpServer();

  /// Ends all connections, also those in the middle of a request, and joins all threads. Handlers
  /// that wait for anything but their connection must be woken before.
  ~HttpServer() override;

  /// Listens on `port`, 0 for any free one; false when that is not possible.
  bool Start(std::uint16_t port);

  /// The port that it listens on; 0 before `Start`.
  std::uint16_t Port() const { return port_; }

  /// Inside a handler: the connection that the request came on.
  static Connection& CurrentConnection();

 private:
  bool process_and_close_socket(socket_t socket) override;

  std::uint16_t Bind(std::uint16_t port);
  bool AddOpenSocket(socket_t socket);
  void RemoveOpenSocket(socket_t socket);
  void Serve(Connection& connection);

  std::uint16_t port_ = 0;
  std::thread thread_;

  std::mutex mutex_;
  std::set<socket_t> openSockets_;
  bool isStopped_ = false;
};

}  // namespace Veltro::Collector
