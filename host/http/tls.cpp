#include "host/http/tls.h"

#include <filesystem>
#include <openssl/ssl.h>
#include <stdexcept>
#include <utility>

#include <Poco/Exception.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/Net/SecureStreamSocket.h>

namespace korvane::host {

using Poco::Net::Context;

namespace {

/// Of TLS 1.2: an exchange of keys that keeps past traffic secret, and encryption that
/// authenticates. TLS 1.3 has no other.
constexpr const char* kCiphers =
    "ECDHE+AESGCM:ECDHE+CHACHA20:DHE+AESGCM:DHE+CHACHA20:!aNULL:!PSK:!SRP";

Context::Ptr load(const std::string& certificate_file, const std::string& key_file) {
  for (const std::string& file : {certificate_file, key_file}) {
    if (!std::filesystem::is_regular_file(file)) throw std::runtime_error("cannot read " + file);
  }
  Context::Params parameters;
  parameters.certificateFile = certificate_file;
  parameters.privateKeyFile = key_file;
  parameters.verificationMode = Context::VERIFY_NONE;  // clients show tokens instead
  parameters.cipherList = kCiphers;
  Poco::Net::initializeSSL();
  try {
    Context::Ptr context(new Context(Context::TLS_SERVER_USE, parameters));
    context->requireMinimumProtocol(Context::PROTO_TLSV1_2);
    if (SSL_CTX_check_private_key(context->sslContext()) != 1) {
      throw Poco::InvalidArgumentException("the key belongs to another certificate");
    }
    return context;
  } catch (const Poco::Exception& failure) {
    throw std::runtime_error("cannot use the certificate " + certificate_file + " with the key " +
                             key_file + ": " + failure.displayText());
  }
}

}  // namespace

TlsCertificate::TlsCertificate(std::string certificate_file, std::string key_file)
    : certificate_file_(std::move(certificate_file)),
      key_file_(std::move(key_file)),
      context_(load(certificate_file_, key_file_)) {}

void TlsCertificate::reload() {
  Context::Ptr next = load(certificate_file_, key_file_);
  const std::lock_guard lock(mutex_);
  context_ = std::move(next);
}

Poco::Net::StreamSocket TlsCertificate::encrypt(const Poco::Net::StreamSocket& socket) const {
  Context::Ptr context;
  {
    const std::lock_guard lock(mutex_);
    context = context_;
  }
  return Poco::Net::SecureStreamSocket::attach(socket, context);
}

}  // namespace korvane::host
