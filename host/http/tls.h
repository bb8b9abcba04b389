#pragma once

#include <mutex>
#include <string>

#include <Poco/Net/Context.h>
#include <Poco/Net/StreamSocket.h>

namespace korvane::host {

/// The certificate that a server shows. It can be read anew while connections are made. Any thread
/// may use it.
class TlsCertificate {
 public:
  /// Reads a certificate chain and its key, both PEM. Throws std::runtime_error "cannot read
  /// <file>" and "cannot use the certificate <file> with the key <file>: …".
  TlsCertificate(std::string certificate_file, std::string key_file);

  /// Reads the files again, for the connections to come. Throws likewise; what was read before then
  /// stays in use.
  void reload();

  /// The server's side of a connection over `socket`: TLS 1.2 with forward secrecy and
  /// authenticated encryption, or later.
  Poco::Net::StreamSocket encrypt(const Poco::Net::StreamSocket& socket) const;

 private:
  const std::string certificate_file_;
  const std::string key_file_;
  mutable std::mutex mutex_;
  Poco::Net::Context::Ptr context_;
};

}  // namespace korvane::host
