#include "tools/korvane/serve.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

#include <Poco/Exception.h>
#include <Poco/Net/ServerSocket.h>

#include "host/access/fence_check.h"
#include "host/http/tls.h"
#include "host/memory/heap.h"
#include "host/plugins/plugin.h"
#include "host/service/failure.h"
#include "host/service/openapi.h"
#include "host/watch/json_log.h"

namespace korvane::tool {

using Plugins = std::vector<std::unique_ptr<host::Plugin>>;
using Poco::Net::SocketAddress;

namespace {

/// The signals that a server is driven by, blocked in every thread: one thread waits for them.
class Signals {
 public:
  Signals() {
    sigemptyset(&ends_);
    sigaddset(&ends_, SIGTERM);
    sigaddset(&ends_, SIGINT);
    awaited_ = ends_;
    sigaddset(&awaited_, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &awaited_, nullptr);
    // These would end the process; a file that may grow no more is an error of its write.
    for (const int ignored : {SIGUSR1, SIGUSR2, SIGXFSZ}) std::signal(ignored, SIG_IGN);
  }

  int wait() const {
    int signal = 0;
    sigwait(&awaited_, &signal);
    return signal;
  }

  /// From here on one that ends the process does so at once.
  void let_through() const { pthread_sigmask(SIG_UNBLOCK, &ends_, nullptr); }

 private:
  sigset_t ends_{};
  sigset_t awaited_{};
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

Poco::Net::ServerSocket listen_on(const SocketAddress& address) {
  constexpr int kBacklog = 4096;
  try {
    Poco::Net::ServerSocket socket;
    // Left to itself, Poco lets a second server listen on the same port.
    socket.bind(address, true, false);
    socket.listen(kBacklog);
    return socket;
  } catch (const Poco::Exception& failure) {
    throw std::runtime_error("cannot listen on " + address.toString() + ": " +
                             failure.displayText());
  }
}

/// Relative paths are those of the start: the server changes its folder.
std::optional<std::string> absolute(const std::optional<std::string>& path) {
  if (!path) return std::nullopt;
  return std::filesystem::absolute(*path).string();
}

std::optional<host::Tokens> read_tokens(const std::optional<std::string>& file,
                                        const SocketAddress& address) {
  if (file) return host::Tokens::load(*file);
  if (!address.host().isLoopback()) {
    throw std::runtime_error("on " + address.toString() +
                             " others than this machine's users could come in: expected --tokens "
                             "(korvane token makes them)");
  }
  return std::nullopt;
}

/// Raises the process's limit of descriptors as far as it may, and returns it.
std::size_t raise_descriptor_limit() {
  constexpr rlim_t kEnough = 65536;
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t wanted = std::min(limit.rlim_max, kEnough);
  if (limit.rlim_cur < wanted) {
    limit.rlim_cur = wanted;
    setrlimit(RLIMIT_NOFILE, &limit);
    getrlimit(RLIMIT_NOFILE, &limit);
  }
  return static_cast<std::size_t>(limit.rlim_cur);
}

/// How many projects may be open: a descriptor each, beside those of connections, of journals and
/// temporary files of the calls that run, and of the process itself.
std::size_t most_projects(const ServeOptions& options, std::size_t descriptors) {
  constexpr std::size_t kOfProcess = 100;
  constexpr std::size_t kOfCall = 4;
  const std::size_t others =
      options.limits.http.connections + kOfProcess + kOfCall * options.limits.delivery.workers;
  const std::size_t room = descriptors > others ? descriptors - others : 0;
  if (room == 0 || options.open_projects.value_or(1) > room) {
    throw std::runtime_error(
        "the process may have " + std::to_string(descriptors) + " descriptors, and " +
        std::to_string(others + options.open_projects.value_or(1)) +
        " are needed: expected a higher limit, or fewer --connections or --open-projects");
  }
  return options.open_projects.value_or(std::min(room, options.limits.open_projects));
}

/// Two lines to try the server with, on the first project of its folder.
void print_examples(const std::string& url, const std::filesystem::path& root) {
  std::vector<std::string> projects;
  for (const auto& entry : std::filesystem::directory_iterator(root)) {
    if (entry.path().extension() == ".db") projects.push_back(entry.path().filename().string());
  }
  if (projects.empty()) return;
  const std::string name = *std::min_element(projects.begin(), projects.end());
  std::cout << "\n  curl -s " << url << "/v1/projects\n  curl -s " << url
            << host::project_path(name, "list_sheets") << "\n\n";
}

/// What SIGHUP has done anew.
class Reloadable {
 public:
  Reloadable(const ServeOptions& options, const SocketAddress& address)
      : tokens_(absolute(options.tokens)),
        address_(address),
        host_names_(options.host_names),
        patience_(options.stop_time) {
    if (options.tls_certificate) {
      tls_ = std::make_unique<host::TlsCertificate>(*absolute(options.tls_certificate),
                                                    *absolute(options.tls_key));
    }
  }

  host::Gate gate() const { return {read_tokens(tokens_, address_), host_names_}; }

  host::HttpServer::Encrypt encrypt() const {
    if (!tls_) return nullptr;
    return [&tls = *tls_](const Poco::Net::StreamSocket& socket) { return tls.encrypt(socket); };
  }

  /// Tokens that were removed are refused from then on, whatever keeps the plugins.
  void reload(host::ModelServer& server, Plugins& plugins) {
    try {
      host::Gate next = gate();
      if (tls_) tls_->reload();
      server.set_gate(std::move(next));
    } catch (const std::exception& failure) {
      return host::log_event("not reloaded, all stays as it was: " + host::failure_text(failure));
    }
    try {
      const auto restart = [&] {
        for (const auto& plugin : plugins) plugin->restart();
      };
      if (server.begin_run(patience_, restart)) return host::log_event("reloaded");
      host::log_event("reloaded tokens and certificate; projects stay open: calls still run");
    } catch (const std::exception& failure) {
      host::log_event("reloaded tokens and certificate; a plugin goes on as it was: " +
                      host::failure_text(failure));
    }
  }

 private:
  const std::optional<std::string> tokens_;
  const SocketAddress address_;
  const std::vector<std::string> host_names_;
  const std::chrono::milliseconds patience_;
  std::unique_ptr<host::TlsCertificate> tls_;
};

}  // namespace

void serve(const ServeOptions& options) {
  host::keep_freed_memory();
  host::install_sql_fence();
  const Signals signals;
  host::JsonLogSink log(options.is_verbose ? krv::log::trace : krv::log::request,
                        host::output_to(STDERR_FILENO));
  const SocketAddress address = parse_address(options.listen);
  Reloadable reloadable(options, address);
  host::Gate gate = reloadable.gate();
  host::ProjectRoot root(options.root);
  host::ModelServerLimits limits = options.limits;
  limits.open_projects = most_projects(options, raise_descriptor_limit());
  host::require_fence_on_data_layer();
  Plugins plugins = host::load_plugins(options.plugins);
  if (plugins.empty()) throw std::runtime_error("no plugin in " + options.plugins + " can be used");
  const Poco::Net::ServerSocket socket = listen_on(address);
  const std::string url =
      (options.tls_certificate ? "https://" : "http://") + socket.address().toString();
  std::filesystem::current_path(options.root);

  host::ModelServer server(socket, std::move(gate), std::move(root), limits, reloadable.encrypt());
  std::cout << "korvane serves " << options.root << " at " << url << "\nup to "
            << limits.open_projects << " projects open at a time\n";
  if (!options.tokens && !options.tls_certificate) print_examples(url, ".");
  std::cout.flush();
  if (limits.is_sql_unfenced) {
    host::log_event(
        "--unfenced-sql: whoever has the scope sql, and without tokens everybody, reads and writes "
        "every file that this process can, and changes what others find on a project's connection");
  }

  while (signals.wait() == SIGHUP) reloadable.reload(server, plugins);
  signals.let_through();
  host::log_event("stopping: no new requests are taken");
  if (!server.stop(options.stop_time)) {
    host::log_event("calls still run at the end of the time for stopping");
    log.flush(std::chrono::seconds(1));
    std::_Exit(EXIT_FAILURE);
  }
}

}  // namespace korvane::tool
