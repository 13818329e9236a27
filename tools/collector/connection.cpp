#include "collector/connection.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace Veltro::Collector {
namespace {

constexpr std::size_t kLongestRequestLine = 64 * 1024 * 1024;

// Enough for every path and query that the server itself has to understand.
constexpr std::size_t kTargetForServer = 512;

constexpr std::chrono::milliseconds kLongestIdleTime = std::chrono::minutes(10);

bool Poll(socket_t socket, short events, std::chrono::milliseconds timeout) {
  pollfd descriptor{socket, events, 0};
  return ::poll(&descriptor, 1, static_cast<int>(timeout.count())) > 0;
}

// Where the second question mark stands, which the server does not take, or the end.
std::size_t EndOfPlainTarget(std::string_view target) {
  const std::size_t query = std::min(target.find('?'), target.size());
  return std::min(target.find('?', query + 1), target.size());
}

}  // namespace

Connection::Connection(socket_t socket) : socket_(socket) {
  const int on = 1;
  ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

Connection::~Connection() { ::close(socket_); }

bool Connection::AwaitRequest() {
  if (consumed_ == received_.size() && !Poll(socket_, POLLIN, kLongestIdleTime)) return false;
  received_.erase(0, consumed_);
  consumed_ = 0;
  std::size_t searched = 0;
  for (;;) {
    const std::size_t end = received_.find('\n', searched);
    if (end != std::string::npos) {
      TakeRequestLine(end);
      return true;
    }
    searched = received_.size();
    if (searched > kLongestRequestLine || !Receive()) return false;
  }
}

void Connection::Abandon(Ending ending) {
  isAbandoned_ = true;
  if (ending == Ending::Close) return;
  // With a linger time of zero, closing resets.
  const linger none{1, 0};
  ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &none, sizeof none);
}

bool Connection::WaitUntilClientLeaves(std::chrono::milliseconds timeout) const {
  return Poll(socket_, POLLRDHUP, timeout);
}

bool Connection::is_readable() const {
  return consumed_ < received_.size() || Poll(socket_, POLLIN, std::chrono::milliseconds(0));
}

ssize_t Connection::read(char* data, std::size_t size) {
  if (consumed_ == received_.size()) {
    received_.clear();
    consumed_ = 0;
    if (!Receive()) return 0;
  }
  const std::size_t taken = std::min(size, received_.size() - consumed_);
  std::memcpy(data, received_.data() + consumed_, taken);
  consumed_ += taken;
  return static_cast<ssize_t>(taken);
}

ssize_t Connection::write(const char* data, std::size_t size) {
  if (isAbandoned_) return static_cast<ssize_t>(size);
  for (std::size_t sent = 0; sent < size;) {
    const ssize_t count = ::send(socket_, data + sent, size - sent, MSG_NOSIGNAL);
    if (count <= 0) return -1;
    sent += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(size);
}

// Nobody asks: all clients are on this machine.
void Connection::get_remote_ip_and_port(std::string& ip, int& port) const {
  ip.clear();
  port = -1;
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const {
  get_remote_ip_and_port(ip, port);
}

bool Connection::Receive() {
  std::array<char, 64 * 1024> chunk;
  const ssize_t count = ::recv(socket_, chunk.data(), chunk.size(), 0);
  if (count <= 0) return false;
  received_.append(chunk.data(), static_cast<std::size_t>(count));
  return true;
}

// The line is "METHOD TARGET VERSION". A line of another form is the server's to refuse.
void Connection::TakeRequestLine(std::size_t length) {
  rawTarget_.clear();
  const std::string_view line(received_.data(), length);
  const std::size_t start = line.find(' ') + 1;
  const std::size_t end = line.rfind(' ');
  if (end == std::string_view::npos || end < start) return;
  rawTarget_ = line.substr(start, end - start);
  const std::size_t forServer = std::min(EndOfPlainTarget(rawTarget_), kTargetForServer);
  if (forServer < rawTarget_.size()) {
    received_.erase(start + forServer, rawTarget_.size() - forServer);
  }
}

}  // namespace Veltro::Collector
