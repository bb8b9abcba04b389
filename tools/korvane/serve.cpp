#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include <Poco/Exception.h>
#include <Poco/Net/ServerSocket.h>
#include <boost/dll/runtime_symbol_info.hpp>

#include "host/access/durable_commits.h"
#include "host/access/fence_check.h"
#include "host/http/tls.h"
#include "host/memory/heap.h"
#include "host/model_server.h"
#include "host/plugins/failure_text.h"
#include "host/plugins/plugin.h"
#include "host/watch/json_log.h"
#include "platform/project_rpc/idl_files.h"
#include "platform/rpc4/http.h"
#include "server/openapi_examples.h"
#include "server/project_routes.h"
#include "server/project_state.h"
#include "tools/korvane/check_locks.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/listening_socket.h"
#include "tools/korvane/serve_options.h"
#include "tools/korvane/served_copies.h"
#include "tools/korvane/served_locks.h"
#include "tools/korvane/served_optimizer.h"
#include "tools/korvane/served_views.h"
#include "tools/korvane/service_manager.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

using Plugins = std::vector<std::unique_ptr<host::Plugin>>;
using Poco::Net::ServerSocket;
using Poco::Net::SocketAddress;
using namespace std::chrono_literals;

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
    // These would end the process; a file that may not grow any more makes its write fail.
    for (const int ignored : {SIGUSR1, SIGUSR2, SIGXFSZ}) std::signal(ignored, SIG_IGN);
  }

  int wait() const {
    int signal = 0;
    sigwait(&awaited_, &signal);
    return signal;
  }

  /// From now on a signal that ends the process does so at once.
  void let_through() const { pthread_sigmask(SIG_UNBLOCK, &ends_, nullptr); }

 private:
  sigset_t ends_{};
  sigset_t awaited_{};
};

/// Relative paths are those of the start: the server changes its current directory.
std::optional<std::string> absolute(const std::optional<std::string>& path) {
  if (!path) return std::nullopt;
  return std::filesystem::absolute(*path).string();
}

std::optional<host::Tokens> read_tokens(const std::optional<std::string>& file,
                                        const SocketAddress& address) {
  if (file) return host::Tokens::load(*file);
  if (!address.host().isLoopback()) {
    throw std::runtime_error("users of other machines could connect to " + address.toString() +
                             ": expected --tokens (korvane token makes them)");
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

/// How many projects may be open. Each takes a descriptor; connections, the journals and temporary
/// files of running calls, and the process itself take others.
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

/// Prints lines to try the server with, on the first project of its folder.
void print_examples(const std::string& url, const std::filesystem::path& root) {
  std::vector<std::string> projects;
  for (const auto& entry : std::filesystem::directory_iterator(root)) {
    if (entry.path().extension() == ".db") projects.push_back(entry.path().filename().string());
  }
  if (projects.empty()) return;
  const std::string name = *std::min_element(projects.begin(), projects.end());
  std::cout << "\n  curl -s " << url << "/v1/projects\n  curl -s " << url
            << krv::rpc4::project_path(name, "list_sheets") << "\n\n";
}

/// Prints what is served and where. The root is the current directory.
void print_start(const ServeOptions& options, const std::string& url, std::size_t open_projects,
                 bool has_page) {
  std::cout << "korvane serves " << options.root << " at " << url << "\nup to " << open_projects
            << " projects open at a time\n";
  if (!options.tokens && !options.tls_certificate) print_examples(url, ".");
  if (has_page) std::cout << "open " << url << "/ in a browser\n";
  std::cout.flush();
}

/// What SIGHUP renews.
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

  /// Tokens that were removed are refused from then on, whether or not the plugins can be
  /// restarted.
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

void warn_of_unfenced_sql() {
  host::log_event(
      "--unfenced-sql: whoever has the scope sql, and without tokens everybody, reads and writes "
      "every file that this process can, and changes what others find on a project's connection");
}

/// What the server has beside the services.
host::Mounted mounted_by(const ServeOptions& options) {
  host::Mounted mounted = server::mounted();
  mounted.examples = server::openapi_examples();
  if (!options.page.empty()) mounted.page = host::Page(options.page);
  mounted.try_locks = [locks = std::make_shared<ServedLocks>()](const std::string& file,
                                                                const std::string& order) {
    return locks->run(file, order);
  };
  if (options.is_accepting_copies) {
    const auto copies = std::make_shared<ServedCopies>(options.root);
    mounted.take_copy = [copies](const host::CopyOrder& order) { return copies->run(order); };
    mounted.copy_metrics = [copies] { return copies->metrics(); };
  }
  for (rpc::IdlFile& file : rpc::idl_files()) {
    mounted.schemas.emplace(std::move(file.name), std::move(file.text));
  }
  return mounted;
}

/// How long the end of the plugins may take, once no call runs.
constexpr std::chrono::seconds kTimeToEnd{5};

/// Goes on serving for `time`, while others learn that they are to send their requests elsewhere.
void drain(host::ModelServer& server, std::chrono::milliseconds time) {
  if (time == 0ms) return;
  server.begin_drain();
  const std::string seconds = format_number(std::chrono::duration<double>(time).count());
  host::log_event("draining for " + seconds +
                  " s: /healthz/ready is 503, requests are still answered");
  std::this_thread::sleep_for(time);
}

/// Serves the projects in a folder until SIGTERM or SIGINT comes: prints the address on stdout and
/// logs on stderr, a JSON object a line. Makes the folder the process's current directory. Before it
/// stops it drains for `drain_time`, in which it still answers. A second signal ends the process at
/// once. So does the end of `stop_time` while a call still runs: no plugin can be stopped beside it,
/// and SQLite takes back what was not committed.
///
/// A service manager is told when it takes requests, reloads and stops, and as long as it is alive.
/// A socket that the manager has opened is used in place of one on `listen`.
///
/// SIGHUP has tokens and certificate read anew and the plugins restarted, which closes the
/// projects. What cannot be read stays as it was, and the log says so.
///
/// Called once, from the program's first thread and before there are others.
int serve(const ServeOptions& options, const CommonOptions& common) {
  host::keep_freed_memory();
  host::install_sql_fence();
  std::optional<host::DurableCommits> durable;
  if (options.synchronous == "extra") durable.emplace();
  const Signals signals;
  const ServiceManager manager;
  host::JsonLogSink log(common.is_verbose ? krv::log::trace : krv::log::request,
                        host::output_to(STDERR_FILENO));
  std::optional<ServerSocket> socket;
  if (manager.socket()) socket = inherited_socket(*manager.socket());
  const SocketAddress address = socket ? socket->address() : parse_address(options.listen);
  Reloadable reloadable(options, address);
  host::Gate gate = reloadable.gate();
  host::ProjectRoot root(options.root);
  if (options.is_shared) host::log_event(require_shared_folder(options.root));
  host::ModelServerLimits limits = options.limits;
  limits.open_projects = most_projects(options, raise_descriptor_limit());
  host::require_fence_on_data_layer();
  limits.around_query = served_views();
  std::optional<ServedOptimizer> optimizer;
  if (options.is_optimizing) {
    optimizer.emplace();
    limits.opened = [&](const std::string& file) { optimizer->add(file); };
  }
  Plugins plugins = host::load_plugins(common.plugins);
  if (plugins.empty()) throw std::runtime_error("no plugin in " + common.plugins + " can be used");
  host::Mounted mounted = mounted_by(options);
  const bool has_page = !mounted.page.is_empty();
  if (!socket) socket = listen_on(address);
  const std::string url =
      (options.tls_certificate ? "https://" : "http://") + socket->address().toString();
  std::filesystem::current_path(options.root);

  host::ModelServer server(*socket, std::move(gate), std::move(root), limits, reloadable.encrypt(),
                           std::move(mounted));
  print_start(options, url, limits.open_projects, has_page);
  if (limits.is_sql_unfenced) warn_of_unfenced_sql();
  const Watchdog watchdog(manager, [&server, period = manager.watchdog().value_or(0us)] {
    return std::chrono::steady_clock::now() - server.last_turn() < period;
  });
  const std::string status = "serves " + options.root + " at " + url;
  manager.ready(status);
  while (signals.wait() == SIGHUP) {
    manager.reloading();
    reloadable.reload(server, plugins);
    manager.ready(status);
  }
  manager.stopping(options.drain_time + options.stop_time + kTimeToEnd);
  signals.let_through();
  drain(server, options.drain_time);
  host::log_event("stopping: no new requests are taken");
  if (!server.stop(options.stop_time)) {
    host::log_event("calls still run at the end of the time for stopping");
    log.flush(std::chrono::seconds(1));
    std::_Exit(kFailed);
  }
  return kDone;
}

}  // namespace

Command add_serve(CLI::App& program) {
  const auto options = std::make_shared<ServeOptions>();
  CLI::App* const command =
      program.add_subcommand("serve", "Serve the projects of a folder over HTTP");
  add_serve_options(*command, *options);
  add_config_option(program, *command);
  command->footer(
      "Every option can stand in a file too, which --config FILE names: stop-time = 30 there is "
      "--stop-time 30 here. So can it in the environment: KORVANE_SERVE_STOP_TIME=30. The command "
      "line counts first, then the environment, then the file.\n\n"
      "Examples:\n"
      "  korvane serve --root projects --listen 127.0.0.1:8420\n"
      "  korvane serve --config /etc/korvane/korvane.conf");
  return {command, [options](const CommonOptions& common) { return serve(*options, common); }};
}

}  // namespace korvane::tools
