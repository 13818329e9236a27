#include "bare_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <new>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <vector>

namespace Veltro::Bench {
namespace {

constexpr std::string_view kAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
constexpr std::string_view kHitStart = "GET /b/ss/";
constexpr std::string_view kRequestEnd = "\r\n\r\n";

/// Keeps `process` to the processors from `first` up to `end`.
void KeepToProcessors(pid_t process, long first, long end) {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  for (long i = first; i < end; ++i) CPU_SET(static_cast<std::size_t>(i), &processors);
  sched_setaffinity(process, sizeof processors, &processors);
}

using TimePoint = std::chrono::steady_clock::time_point;

struct Connection {
  int socket;
  std::string received;
  bool broughtHit = false;
};

}  // namespace

struct BareServer::Counts {
  std::atomic<std::uint64_t> hits{0};
  std::atomic<std::uint64_t> connections{0};
  std::atomic<std::uint64_t> hitsOfClock{0};
  std::atomic<TimePoint> first{};
  std::atomic<TimePoint> last{};

  void AddHit() {
    last = std::chrono::steady_clock::now();
    if (hitsOfClock++ == 0) first = last.load();
    ++hits;
  }
};

BareServer::BareServer() {
  void* const shared =
      mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw std::runtime_error("no shared memory");
  counts_ = new (shared) Counts;
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(listener_, 16) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("no port to listen on");
  }
  port_ = ntohs(address.sin_port);
  process_ = fork();
  if (process_ == 0) Serve();
  if (process_ < 0) throw std::runtime_error("no process for the server");
}

BareServer::~BareServer() {
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  close(listener_);
  munmap(counts_, sizeof(Counts));
}

void BareServer::KeepApart() const {
  const long processors = sysconf(_SC_NPROCESSORS_ONLN);
  if (processors < 2) return;
  KeepToProcessors(process_, processors - 1, processors);
  KeepToProcessors(0, 0, processors - 1);
}

std::string BareServer::Address() const { return "127.0.0.1:" + std::to_string(port_); }

std::uint64_t BareServer::Hits() const { return counts_->hits; }

std::uint64_t BareServer::Connections() const { return counts_->connections; }

void BareServer::WaitForHits(std::uint64_t count) const {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (Hits() < count) {
    if (std::chrono::steady_clock::now() > end) throw std::runtime_error("the hits do not come");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void BareServer::StartClock() const { counts_->hitsOfClock = 0; }

double BareServer::Rate() const {
  const std::chrono::duration<double> time(counts_->last.load() - counts_->first.load());
  return static_cast<double>(counts_->hitsOfClock - 1) / time.count();
}

void BareServer::Serve() {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::vector<Connection> connections;
  std::vector<char> buffer(64 * 1024);
  while (true) {
    std::vector<pollfd> polled = {{listener_, POLLIN, 0}};
    for (const Connection& connection : connections) {
      polled.push_back({connection.socket, POLLIN, 0});
    }
    if (poll(polled.data(), polled.size(), -1) < 0) _exit(1);
    for (std::size_t i = connections.size(); i-- > 0;) {
      if (polled[i + 1].revents == 0) continue;
      Connection& connection = connections[i];
      const ssize_t count = recv(connection.socket, buffer.data(), buffer.size(), 0);
      if (count <= 0) {
        close(connection.socket);
        connections.erase(connections.begin() + static_cast<std::ptrdiff_t>(i));
        continue;
      }
      connection.received.append(buffer.data(), static_cast<std::size_t>(count));
      if (!connection.received.ends_with(kRequestEnd)) continue;
      const bool isHit = connection.received.starts_with(kHitStart);
      connection.received.clear();
      send(connection.socket, kAnswer.data(), kAnswer.size(), MSG_NOSIGNAL);
      if (!isHit) continue;
      if (!connection.broughtHit) ++counts_->connections;
      connection.broughtHit = true;
      counts_->AddHit();
    }
    if (polled[0].revents == 0) continue;
    const int accepted = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const int enabled = 1;
    setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &enabled, sizeof enabled);
    if (accepted >= 0) connections.push_back({accepted, "", false});
  }
}

}  // namespace Veltro::Bench
