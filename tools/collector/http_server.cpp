#include "collector/http_server.h"

#include <sys/socket.h>

#include <chrono>
#include <ctime>

namespace Veltro::Collector {
namespace {

constexpr const char* kHost = "127.0.0.1";
/// Each connection that is open has one: an application may have 32 signals and as many content
/// requests under way, calls to 8 destinations, and hits; the live page has 8 readers.
constexpr std::size_t kThreads = 88;
constexpr int kBacklog = 128;
constexpr std::chrono::seconds kTransferTimeout{30};

// What clients are told; `Connection` is as patient as this.
constexpr std::size_t kRequestsPerConnection = 1'000'000'000;
constexpr std::time_t kKeepAliveSeconds = 600;

thread_local Connection* currentConnection = nullptr;

// The server's own choice would let a second process listen on the same port.
void SetSocketOptions(socket_t socket) {
  const int on = 1;
  ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

}  // namespace

HttpServer::HttpServer() {
  new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
  set_socket_options(SetSocketOptions);
  set_keep_alive_max_count(kRequestsPerConnection);
  set_keep_alive_timeout(kKeepAliveSeconds);
  set_read_timeout(kTransferTimeout);
  set_write_timeout(kTransferTimeout);
}

HttpServer::~HttpServer() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    isStopped_ = true;
    for (const socket_t socket : openSockets_) ::shutdown(socket, SHUT_RDWR);
  }
  stop();
  thread_.join();
}

bool HttpServer::Start(std::uint16_t port) {
  port_ = Bind(port);
  if (port_ == 0) return false;
  ::listen(svr_sock_, kBacklog);
  thread_ = std::thread([this] { listen_after_bind(); });
  // The server cannot be stopped before it runs.
  while (!is_running()) std::this_thread::yield();
  return true;
}

Connection& HttpServer::CurrentConnection() { return *currentConnection; }

bool HttpServer::process_and_close_socket(socket_t socket) {
  Connection connection(socket);
  if (!AddOpenSocket(socket)) return false;
  currentConnection = &connection;
  Serve(connection);
  currentConnection = nullptr;
  RemoveOpenSocket(socket);
  return true;
}

std::uint16_t HttpServer::Bind(std::uint16_t port) {
  if (port != 0) return bind_to_port(kHost, port) ? port : std::uint16_t{0};
  const int anyPort = bind_to_any_port(kHost);
  return anyPort > 0 ? static_cast<std::uint16_t>(anyPort) : std::uint16_t{0};
}

bool HttpServer::AddOpenSocket(socket_t socket) {
  const std::lock_guard lock(mutex_);
  if (isStopped_) return false;
  openSockets_.insert(socket);
  return true;
}

void HttpServer::RemoveOpenSocket(socket_t socket) {
  const std::lock_guard lock(mutex_);
  openSockets_.erase(socket);
}

void HttpServer::Serve(Connection& connection) {
  while (connection.AwaitRequest()) {
    bool isLast = false;
    const bool isServed = process_request(connection, false, isLast, nullptr);
    if (!isServed || isLast || connection.IsAbandoned()) return;
  }
}

}  // namespace Veltro::Collector
