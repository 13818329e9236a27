#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

namespace Veltro::Internal::Testing {

/// A port of this machine that takes connections, and never answers.
struct Listener {
  Listener() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address);
    listen(socket, 100);
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    host = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  }
  ~Listener() { close(socket); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::string host;  ///< with the port
};

}  // namespace Veltro::Internal::Testing
