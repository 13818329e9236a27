#include "support/raw_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace Veltro::Internal::Testing {
namespace {

constexpr int kMaxRequests = 1'000'000;
constexpr char kTlsHandshake = '\x16';

/// Where the first request in `received` ends; 0 as long as it does not.
std::size_t HeadEnd(const std::string& received) {
  if (received.starts_with(kTlsHandshake)) return received.size();
  const std::size_t emptyLine = received.find("\r\n\r\n");
  return emptyLine == std::string::npos ? 0 : emptyLine + 4;
}

void EndConnection(int connection, RawServer::Then then) {
  if (then == RawServer::Then::Reset) {
    const linger noLinger{1, 0};
    setsockopt(connection, SOL_SOCKET, SO_LINGER, &noLinger, sizeof noLinger);
  }
  close(connection);
}

}  // namespace

RawServer::RawServer(Script script, Start start) : script_(std::move(script)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  stop_ = eventfd(0, EFD_CLOEXEC);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener_, generic, size) != 0 || getsockname(listener_, generic, &size) != 0) {
    throw std::runtime_error("no port on 127.0.0.1");
  }
  port_ = ntohs(address.sin_port);
  if (start == Start::Listening) Listen();
}

void RawServer::Listen() {
  if (listen(listener_, 16) != 0) throw std::runtime_error("cannot listen");
  acceptor_ = std::thread([this] { Accept(); });
}

RawServer::~RawServer() {
  eventfd_write(stop_, 1);
  if (acceptor_.joinable()) acceptor_.join();
  for (std::thread& thread : threads_) thread.join();
  close(listener_);
  close(stop_);
}

std::string RawServer::Url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

int RawServer::Connections() {
  std::lock_guard lock(mutex_);
  return connections_;
}

int RawServer::LiveConnections() {
  std::lock_guard lock(mutex_);
  return static_cast<int>(std::count_if(serving_.begin(), serving_.end(), [](int connection) {
    pollfd leaves{connection, POLLRDHUP, 0};
    return poll(&leaves, 1, 0) == 0;
  }));
}

std::vector<std::string> RawServer::Heads() {
  std::lock_guard lock(mutex_);
  return heads_;
}

bool RawServer::WaitForRequests(std::size_t count, std::chrono::milliseconds deadline) {
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, std::chrono::system_clock::now() + deadline,
                             [&] { return heads_.size() >= count; });
}

std::string RawServer::Answer(const std::string& status, const std::string& body,
                              const std::string& headers) {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
         headers + "\r\n" + body;
}

std::string RawServer::Redirect(const std::string& status, const std::string& location) {
  return Answer(status, "moved", "Location: " + location + "\r\n");
}

void RawServer::Accept() {
  while (WaitFor(listener_, POLLIN)) {
    const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (connection < 0) continue;
    const int noDelay = 1;
    setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay);
    std::lock_guard lock(mutex_);
    ++connections_;
    threads_.emplace_back([this, connection] { Serve(connection); });
  }
}

void RawServer::Serve(int connection) {
  std::string received;
  std::string head;
  Then then = Then::Close;
  for (int i = 0; i < kMaxRequests && ReadHead(connection, received, head); ++i) {
    const Reply reply = script_(head);
    then = reply.then;
    if (!SendReply(connection, reply)) break;
    if (then == Then::HalfClose) shutdown(connection, SHUT_WR);
    if (then == Then::Close || then == Then::Reset) break;
  }
  {
    std::lock_guard lock(mutex_);
    serving_.erase(connection);
  }
  EndConnection(connection, then);
}

bool RawServer::ReadHead(int connection, std::string& received, std::string& head) {
  std::size_t end = 0;
  while ((end = HeadEnd(received)) == 0) {
    std::array<char, 4096> buffer;
    if (!WaitFor(connection, POLLIN)) return false;
    const ssize_t count = recv(connection, buffer.data(), buffer.size(), 0);
    if (count <= 0) return false;
    received.append(buffer.data(), static_cast<std::size_t>(count));
  }
  head = received.substr(0, end);
  received.erase(0, end);
  std::lock_guard lock(mutex_);
  heads_.push_back(head);
  serving_.insert(connection);
  changed_.notify_all();
  return true;
}

bool RawServer::SendReply(int connection, const Reply& reply) {
  if (!Send(connection, reply.opening)) return false;
  for (int i = 0; i < reply.repeat; ++i) {
    const auto pause = static_cast<int>(reply.pause.count());
    if (pause > 0) {
      pollfd stop{stop_, POLLIN, 0};
      if (poll(&stop, 1, pause) != 0) return false;
    }
    if (!Send(connection, reply.bytes)) return false;
  }
  return true;
}

bool RawServer::Send(int connection, std::string_view bytes) {
  while (!bytes.empty()) {
    if (!WaitFor(connection, POLLOUT)) return false;
    const ssize_t count = send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// Whether `descriptor` became ready; false when everything has to end.
bool RawServer::WaitFor(int descriptor, short events) const {
  std::array<pollfd, 2> waits{{{descriptor, events, 0}, {stop_, POLLIN, 0}}};
  return poll(waits.data(), waits.size(), -1) > 0 && waits[1].revents == 0;
}

}  // namespace Veltro::Internal::Testing
