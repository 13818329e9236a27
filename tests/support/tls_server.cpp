#include "support/tls_server.h"

#include <httplib.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <thread>

namespace Veltro::Internal::Testing {
namespace {

template <class T>
using Owned = std::unique_ptr<T, void (*)(T*)>;

/// The certificate of the address 127.0.0.1 and this key, valid for an hour.
Owned<X509> Certify(EVP_PKEY* key) {
  Owned<X509> certificate(X509_new(), X509_free);
  X509_set_version(certificate.get(), X509_VERSION_3);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
  X509_set_pubkey(certificate.get(), key);
  X509_NAME* const name = X509_get_subject_name(certificate.get());
  const auto* const text = reinterpret_cast<const unsigned char*>("test");
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, text, -1, -1, 0);
  X509_set_issuer_name(certificate.get(), name);
  const Owned<X509_EXTENSION> address(
      X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "IP:127.0.0.1"),
      X509_EXTENSION_free);
  X509_add_ext(certificate.get(), address.get(), -1);
  X509_sign(certificate.get(), key, EVP_sha256());
  return certificate;
}

}  // namespace

struct TlsServer::Parts {
  const Owned<EVP_PKEY> key{EVP_EC_gen("P-256"), EVP_PKEY_free};
  const Owned<X509> certificate = Certify(key.get());
  httplib::SSLServer server{certificate.get(), key.get()};
  int port = 0;
  std::thread thread;
};

TlsServer::TlsServer(const std::string& plainUrl) : parts_(std::make_unique<Parts>()) {
  httplib::SSLServer& server = parts_->server;
  server.set_keep_alive_max_count(1);  // no idle connection holds the end up
  server.Get("/plain/", [plainUrl](const httplib::Request&, httplib::Response& response) {
    response.set_redirect(plainUrl);
  });
  server.Get(".*", [](const httplib::Request&, httplib::Response&) {});
  parts_->port = server.bind_to_any_port("127.0.0.1");
  parts_->thread = std::thread([&server] { server.listen_after_bind(); });
  while (!server.is_running()) std::this_thread::yield();
}

TlsServer::~TlsServer() {
  parts_->server.stop();
  parts_->thread.join();
}

int TlsServer::Port() const { return parts_->port; }

std::string TlsServer::Certificate() const {
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), BIO_free);
  PEM_write_bio_X509(memory.get(), parts_->certificate.get());
  char* bytes = nullptr;
  const auto size = BIO_get_mem_data(memory.get(), &bytes);
  return {bytes, static_cast<std::size_t>(size)};
}

}  // namespace Veltro::Internal::Testing
