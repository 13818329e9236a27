#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace Veltro::Internal::Testing {

/// A TCP server on 127.0.0.1 that answers requests with whatever bytes a test wants, however wrong.
/// It reads up to the empty line that ends a request's head and knows no more of HTTP; the start of
/// a TLS handshake counts as a request, too. Each connection has a thread of its own; dropping the
/// server ends them all at once.
class RawServer {
 public:
  enum class Then {
    KeepOpen,  ///< and read the next request
    Close,
    HalfClose,  ///< and wait for the client to leave
    Reset,      ///< as a crashed peer does
  };

  struct Reply {
    std::string bytes;
    Then then = Then::KeepOpen;
    int repeat = 1;                      ///< how often `bytes` are sent
    std::chrono::milliseconds pause{0};  ///< before each time
    std::string opening = {};            ///< sent once before
  };

  /// Gives the reply to a request, whose head it is passed. Called on the connections' threads.
  using Script = std::function<Reply(const std::string& head)>;

  enum class Start { Listening, Refusing };

  explicit RawServer(Script script, Start start = Start::Listening);
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  /// From here on a server that refuses connections takes them.
  void Listen();

  std::uint16_t Port() const { return port_; }
  std::string Url(const std::string& path = "/") const;

  int Connections();

  /// The number of connections that brought a request and that neither side has ended.
  int LiveConnections();

  std::vector<std::string> Heads();
  bool WaitForRequests(std::size_t count,
                       std::chrono::milliseconds deadline = std::chrono::seconds(5));

  /// An answer with a Content-Length. `headers` are whole lines with their ends.
  static std::string Answer(const std::string& status, const std::string& body = {},
                            const std::string& headers = {});
  static std::string Redirect(const std::string& status, const std::string& location);

 private:
  void Accept();
  void Serve(int connection);
  bool ReadHead(int connection, std::string& received, std::string& head);
  bool SendReply(int connection, const Reply& reply);
  bool Send(int connection, std::string_view bytes);
  bool WaitFor(int descriptor, short events) const;

  const Script script_;
  int listener_ = -1;
  int stop_ = -1;  // becomes readable when everything has to end
  std::uint16_t port_ = 0;

  std::mutex mutex_;
  std::condition_variable changed_;
  int connections_ = 0;
  std::vector<std::string> heads_;
  std::set<int> serving_;  // the connections that brought a request
  std::vector<std::thread> threads_;
  std::thread acceptor_;
};

}  // namespace Veltro::Internal::Testing
