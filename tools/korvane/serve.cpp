#include "tools/korvane/serve.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <utility>

#include <Poco/Exception.h>
#include <Poco/Net/Context.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/Net/SecureServerSocket.h>
#include <nlohmann/json.hpp>

#include "host/heap.h"
#include "host/json_log.h"
#include "host/openapi.h"
#include "host/plugin.h"
#include "platform/project_rpc/project_manager_service.h"
#include "platform/project_rpc/project_service.h"

namespace korvane::tool {

using Poco::Net::SocketAddress;

namespace {

/// The signals that end the server, blocked in every thread: one thread waits for them.
class EndSignals {
 public:
  EndSignals() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGTERM);
    sigaddset(&signals_, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  }

  void wait() const {
    int signal = 0;
    sigwait(&signals_, &signal);
  }

  /// From here on one ends the process at once.
  void let_through() const { pthread_sigmask(SIG_UNBLOCK, &signals_, nullptr); }

 private:
  sigset_t signals_{};
};

SocketAddress parse_address(const std::string& listen) {
  try {
    return SocketAddress(listen);
  } catch (const Poco::Exception& failure) {
    throw std::runtime_error("cannot listen on \"" + listen +
                             "\": expected an address and a port, " + "such as 127.0.0.1:8420 (" +
                             failure.displayText() + ")");
  }
}

Poco::Net::Context::Ptr tls_context(const ServeOptions& options) {
  for (const auto* const file : {&*options.tls_certificate, &*options.tls_key}) {
    if (!std::filesystem::is_regular_file(*file)) throw std::runtime_error("cannot read " + *file);
  }
  Poco::Net::Context::Params parameters;
  parameters.certificateFile = *options.tls_certificate;
  parameters.privateKeyFile = *options.tls_key;
  parameters.verificationMode = Poco::Net::Context::VERIFY_NONE;  // clients show tokens instead
  Poco::Net::initializeSSL();
  try {
    Poco::Net::Context::Ptr context(
        new Poco::Net::Context(Poco::Net::Context::TLS_SERVER_USE, parameters));
    context->requireMinimumProtocol(Poco::Net::Context::PROTO_TLSV1_2);
    if (SSL_CTX_check_private_key(context->sslContext()) != 1) {
      throw Poco::InvalidArgumentException("the key belongs to another certificate");
    }
    return context;
  } catch (const Poco::Exception& failure) {
    throw std::runtime_error("cannot use the certificate " + *options.tls_certificate +
                             " with the key " + *options.tls_key + ": " + failure.displayText());
  }
}

Poco::Net::ServerSocket listen_on(const SocketAddress& address, const ServeOptions& options) {
  constexpr int kBacklog = 1024;
  try {
    Poco::Net::ServerSocket socket;
    if (options.tls_certificate) socket = Poco::Net::SecureServerSocket(tls_context(options));
    // Left to itself, Poco lets a second server listen on the same port.
    socket.bind(address, true, false);
    socket.listen(kBacklog);
    return socket;
  } catch (const Poco::Exception& failure) {
    throw std::runtime_error("cannot listen on " + address.toString() + ": " +
                             failure.displayText());
  }
}

std::optional<host::Tokens> read_tokens(const ServeOptions& options, const SocketAddress& address) {
  if (options.tokens) return host::Tokens::load(*options.tokens);
  if (!address.host().isLoopback()) {
    throw std::runtime_error("on " + address.toString() +
                             " others than this machine's users could come in: expected --tokens "
                             "(korvane token makes them)");
  }
  return std::nullopt;
}

/// Two lines to try the server with, on the first project of its folder.
void print_examples(const std::string& url, const std::filesystem::path& root) {
  std::vector<std::string> projects;
  for (const auto& entry : std::filesystem::directory_iterator(root)) {
    if (entry.path().extension() == ".db") projects.push_back(entry.path().filename().string());
  }
  if (projects.empty()) return;
  const std::string name = *std::min_element(projects.begin(), projects.end());
  if (name.find_first_of("'\"\\") != std::string::npos) return;
  using model::cad::Project_Metadata;
  using model::cad::ProjectManager_Metadata;
  const std::string manager(ProjectManager_Metadata::GlobalInstanceID);
  const std::string project = std::string(Project_Metadata::GlobalInstanceID) + ":0";
  std::cout << "\n  curl -s -H 'Content-Type: application/json' -d '{\"filename\":\"" << name
            << "\"}' " << url << host::operation_path(manager, "open") << "\n  curl -s " << url
            << host::operation_path(project, "list_sheets") << "\n\n";
}

}  // namespace

void serve(const ServeOptions& options) {
  host::keep_freed_memory();
  const EndSignals signals;
  const host::JsonLogSink log(options.is_verbose ? krv::log::trace : krv::log::request, std::cerr);
  const SocketAddress address = parse_address(options.listen);
  host::Gate gate(read_tokens(options, address), options.host_names);
  host::ProjectRoot root(options.root);
  host::install_sql_fence();
  const auto plugins = host::load_plugins(options.plugins);
  if (plugins.empty()) throw std::runtime_error("no plugin in " + options.plugins + " can be used");
  const Poco::Net::ServerSocket socket = listen_on(address, options);
  const std::string url =
      (options.tls_certificate ? "https://" : "http://") + socket.address().toString();
  std::filesystem::current_path(options.root);

  host::ModelServer server(socket, std::move(gate), std::move(root), options.limits);
  std::cout << "korvane serves " << options.root << " at " << url << '\n';
  if (!options.tokens && !options.tls_certificate) print_examples(url, ".");
  std::cout.flush();

  signals.wait();
  signals.let_through();
  host::log_event("stopping: no new requests are taken");
  if (!server.stop(options.stop_time)) {
    host::log_event("calls still run at the end of the time for stopping");
    std::_Exit(EXIT_FAILURE);
  }
}

}  // namespace korvane::tool
