#pragma once

#include <memory>
#include <string>

namespace Veltro::Internal::Testing {

/// An HTTPS server for the address 127.0.0.1, with a certificate that only it has signed. It
/// answers 200 on every path but "/plain/...", which redirects to `plainUrl`.
class TlsServer {
 public:
  explicit TlsServer(const std::string& plainUrl);
  ~TlsServer();
  TlsServer(const TlsServer&) = delete;
  TlsServer& operator=(const TlsServer&) = delete;

  int Port() const;

  /// The certificate in PEM form.
  std::string Certificate() const;

 private:
  struct Parts;
  const std::unique_ptr<Parts> parts_;
};

}  // namespace Veltro::Internal::Testing
