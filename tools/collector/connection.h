#pragma once

#include <httplib.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace Veltro::Collector {

/// One client's connection, as the stream that the HTTP server reads requests from and writes
/// answers to.
///
/// It takes the request line off each request itself and hands a line with the first bytes of the
/// target on: the server's own limit of 8 KiB for a target is below what clients send here, and it
/// takes no second question mark. Used by one thread.
class Connection final : public httplib::Stream {
 public:
  /// How it ends.
  enum class Ending { Close, Reset };

  /// Takes `socket` over, closes it in the end.
  explicit Connection(socket_t socket);
  ~Connection() override;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Waits for the next request and reads its first line; false when none comes any more.
  bool AwaitRequest();

  /// Path and query of the present request, exactly as received and at full length.
  const std::string& RawTarget() const { return rawTarget_; }

  /// True on the first call, false on all others, on whichever of the requests they come.
  bool TakeIsFirst() { return std::exchange(isFirst_, false); }

  /// From now on nothing is sent; the connection is to be ended in this way.
  void Abandon(Ending ending);
  bool IsAbandoned() const { return isAbandoned_; }

  /// Waits for the client to end the connection; false when `timeout` passed before.
  bool WaitUntilClientLeaves(std::chrono::milliseconds timeout) const;

  bool is_readable() const override;
  bool is_writable() const override { return true; }
  ssize_t read(char* data, std::size_t size) override;
  ssize_t write(const char* data, std::size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  bool Receive();
  void TakeRequestLine(std::size_t length);

  socket_t socket_;
  std::string received_;  // what the server has not read yet
  std::size_t consumed_ = 0;
  std::string rawTarget_;
  bool isFirst_ = true;
  bool isAbandoned_ = false;
};

}  // namespace Veltro::Collector
