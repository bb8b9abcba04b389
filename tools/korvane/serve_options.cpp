#include "tools/korvane/serve_options.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <istream>
#include <memory>
#include <string>
#include <vector>

#include <boost/dll/runtime_symbol_info.hpp>

#include "tools/korvane/seconds.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

namespace {

/// Where the page is built and installed; empty where it is not.
std::string default_page_folder() {
  const std::filesystem::path bin = boost::dll::program_location().parent_path().string();
  const std::filesystem::path page = bin.parent_path() / "share/korvane/web";
  return std::filesystem::exists(page / "index.html") ? page.string() : "";
}

void add_seconds(CLI::App& command, const std::string& name, std::chrono::milliseconds& time,
                 const std::string& text, const CLI::Validator& check = CLI::PositiveNumber) {
  const auto set = [&time](const double& seconds) {
    time = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
  };
  const std::chrono::duration<double> standard = time;
  command.add_option_function<double>(name, set, text + ", in seconds")
      ->check(check)
      ->check(usual_seconds())
      ->default_str(format_number(standard.count()));
}

void add_access_options(CLI::App& command, ServeOptions& options) {
  options.page = default_page_folder();
  command.add_option("--page", options.page, "Folder of the page for browsers; \"\" for none")
      ->capture_default_str()
      ->default_str("share/korvane/web beside the program's folder");
  command.add_option("--root", options.root, "Folder that the projects are confined to")
      ->check(CLI::ExistingDirectory)
      ->capture_default_str();
  command.add_flag("--shared", options.is_shared,
                   "Other servers serve the folder too: refuse to start where its locks do not "
                   "hold (korvane check --locks)");
  command.add_flag("--accept-copies", options.is_accepting_copies,
                   "Keep copies of another server's projects in the folder, which clients of the "
                   "scope copy send (korvane replicate --to URL)");
  command.add_option("--listen", options.listen, "Address and port; port 0 takes a free one")
      ->capture_default_str();
  command.add_option("--tokens", options.tokens, "File of the bearer tokens that are accepted");
  auto* const certificate =
      command.add_option("--tls-cert", options.tls_certificate, "Certificate chain, PEM");
  auto* const key = command.add_option("--tls-key", options.tls_key, "Private key, PEM");
  certificate->needs(key);
  key->needs(certificate);
  command.add_option(
      "--host-name", options.host_names,
      "Name that clients reach this server by, in addition to localhost and addresses");
}

/// The defaults are those of the limits themselves.
void add_limit_options(CLI::App& command, ServeOptions& options) {
  host::ModelServerLimits& limits = options.limits;
  command.add_flag("--optimize", options.is_optimizing,
                   "Give projects the indexes of korvane optimize when they are opened");
  const auto add_count = [&](const char* name, auto& count, const std::string& text) {
    command.add_option(name, count, text)->check(CLI::PositiveNumber)->capture_default_str();
  };
  command
      .add_option("--open-projects", options.open_projects,
                  "Projects that may be open; by default as many as the process's limit of "
                  "descriptors allows, up to " +
                      std::to_string(limits.open_projects))
      ->check(CLI::PositiveNumber);
  const std::string fewest = std::to_string(host::DeliveryLimits::kFewestWorkers);
  add_count("--workers", limits.delivery.workers, "Calls that run at a time, at least " + fewest);
  add_count("--waiting-calls", limits.delivery.waiting_calls, "Calls that may wait for a project");
  add_count("--connections", limits.http.connections, "Connections at a time");
  add_count("--client-requests", limits.requests_per_client, "Requests of one client at a time");
  add_count("--body-bytes", limits.http.body_bytes, "Size of a request's body");
  add_count("--all-body-bytes", limits.all_body_bytes, "Size of all bodies at a time");
  add_count("--record-bytes", limits.record_bytes, "Memory that one request may take");
  add_count("--all-record-bytes", limits.all_record_bytes,
            "Memory that all requests together may take");
  add_count("--all-reply-bytes", limits.all_reply_bytes,
            "Memory that all replies together may take");
  add_count("--header-bytes", limits.http.header_bytes, "Size of a request's header");
  add_count("--query-rows", limits.query_rows, "Rows of a query's reply, without the scope sql");
  command
      .add_option("--synchronous", options.synchronous,
                  "extra: what was answered outlasts a power cut; full: a power cut may take back "
                  "the last write of a project, as the folder is not synced after it")
      ->check(CLI::IsMember({"extra", "full"}).description(""))
      ->capture_default_str();
  command.add_flag("--unfenced-sql", limits.is_sql_unfenced,
                   "Let the scope sql do everything: other files, pragmas, transactions");
  add_seconds(command, "--query-time", limits.query.time, "Time of a query, without the scope sql");
  add_seconds(command, "--call-time", limits.call.time, "Time of any other call, from its turn on");
  add_seconds(command, "--idle-time", limits.http.idle_time, "Time of an idle connection");
  add_seconds(command, "--transfer-time", limits.http.transfer_time,
              "Time for a request to arrive, and for a reply to leave");
  add_seconds(command, "--waiting-time", limits.delivery.waiting_time,
              "Time that a call may wait for its turn");
  add_seconds(command, "--drain-time", options.drain_time,
              "Time before stopping in which requests are answered while /healthz/ready sends new "
              "ones elsewhere",
              CLI::NonNegativeNumber);
  add_seconds(command, "--stop-time", options.stop_time, "Time for running calls when stopping");
}

/// As the environment has it: KORVANE_SERVE_STOP_TIME for --stop-time.
std::string environment_name(const std::string& option) {
  std::string name = "KORVANE_SERVE_" + option;
  for (char& letter : name) {
    letter =
        letter == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
  }
  return name;
}

/// The file of --config. Its names stand alone, without the section of the subcommand that the
/// library looks for.
class ServeConfig : public CLI::ConfigTOML {
 public:
  explicit ServeConfig(const CLI::App& command) : command_(command) {}

  std::vector<CLI::ConfigItem> from_config(std::istream& input) const override {
    std::vector<CLI::ConfigItem> found = CLI::ConfigTOML::from_config(input);
    for (CLI::ConfigItem& item : found) {
      if (item.parents.empty() && option_of(item) != nullptr) item.parents = {command_.get_name()};
      if (item.parents.size() > 1 ||
          (!item.parents.empty() && item.parents.front() != command_.get_name())) {
        throw CLI::ConfigError::Extras(item.fullname());
      }
    }
    std::erase_if(found, [&](const CLI::ConfigItem& item) {
      const CLI::Option* const option = option_of(item);
      if (option == nullptr) return false;
      const char* const value = std::getenv(option->get_envname().c_str());
      return value != nullptr && *value != '\0';
    });
    return found;
  }

 private:
  const CLI::Option* option_of(const CLI::ConfigItem& item) const {
    return command_.get_option_no_throw("--" + item.name);
  }

  const CLI::App& command_;
};

}  // namespace

void add_serve_options(CLI::App& command, ServeOptions& options) {
  add_access_options(command, options);
  add_limit_options(command, options);
  for (CLI::Option* const option : command.get_options()) {
    if (option->get_configurable()) option->envname(environment_name(option->get_single_name()));
  }
}

void add_config_option(CLI::App& program, const CLI::App& command) {
  program.config_formatter(std::make_shared<ServeConfig>(command));
  program.allow_config_extras(CLI::config_extras_mode::error);
  program.set_config("--config", "", "File of options of serve, a line NAME = VALUE each");
}

}  // namespace korvane::tools
