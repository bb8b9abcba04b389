#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <Poco/Exception.h>

#include "clients/cpp/remote_project.h"
#include "host/access/tokens.h"
#include "platform/log/log.h"
#include "platform/project_rpc/schema_files.h"
#include "tools/korvane/embedded_project.h"
#include "tools/korvane/import.h"
#include "tools/korvane/serve.h"
#include "tools/korvane/show.h"
#include "tools/korvane/text_table.h"

namespace {

using korvane::host::Scope;
using korvane::model::cad::Project_Service;
using korvane::model::cad::RemoteProject;
using korvane::tool::EmbeddedProject;
using korvane::tool::format_count;
using korvane::tool::printable;

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

struct Options {
  std::string plugins = korvane::tool::default_plugin_folder().string();
  std::string file;
  std::string project;
  std::optional<std::string> sheet;
  std::optional<std::string> revision;
  std::optional<std::string> output;
  std::optional<std::string> server;
  std::string token;
  bool verbose = false;
  korvane::tool::ServeOptions serve;
  std::string token_file;
  std::string client;
  std::vector<Scope> scopes;
};

/// What a command does with a project. One that reads never makes it.
enum class Purpose { reading, writing };

/// Calls `use` with the project: on the server that is named, else opened in this process.
template <class Use>
void with_project(const Options& options, Purpose purpose, Use use) {
  if (options.server) {
    using IfMissing = RemoteProject::IfMissing;
    RemoteProject project(*options.server, options.token, options.project,
                          purpose == Purpose::writing ? IfMissing::make : IfMissing::fail);
    use(project);
    return;
  }
  using IfMissing = EmbeddedProject::IfMissing;
  EmbeddedProject project(options.plugins, options.project,
                          purpose == Purpose::writing ? IfMissing::make : IfMissing::fail);
  try {
    use(project.service());
  } catch (const Poco::Data::SQLite::InvalidSQLStatementException& failure) {
    // The store's own SQL does not fit the file.
    throw std::runtime_error("\"" + options.project +
                             "\" is not a korvane project: " + failure.displayText());
  }
}

/// Throws unless all that was printed has gone out.
void require_output() {
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("cannot write to the standard output");
}

/// Results go to stdout, all that is said about them to stderr.
void run_import(const Options& options) {
  const korvane::tool::ScheduleFile schedule =
      korvane::tool::read_schedule(options.file, {options.sheet, options.revision});
  for (const std::string& remark : schedule.remarks) std::cerr << printable(remark) << '\n';
  with_project(options, Purpose::writing, [&](Project_Service& project) {
    const auto revisions = korvane::tool::store_schedule(project, schedule);
    for (const auto& revision : revisions) {
      std::cerr << "imported " << format_count(revision.bars, "bar mark") << ", "
                << format_count(revision.fabrics, "fabric mark") << " and "
                << format_count(revision.bar_spacers, "bar spacer mark") << " into sheet \""
                << printable(revision.sheet) << "\", revision \"" << printable(revision.revision)
                << "\"\n";
    }
    if (revisions.empty()) std::cerr << "nothing to import in " << options.file << '\n';
    for (const auto& [group, count] : schedule.passed_over) {
      std::cerr << "passed over " << format_count(count, group + " record")
                << ": the project has no place for them\n";
    }
    bool is_first = true;
    for (const auto& revision : revisions) {
      if (!is_first) std::cout << '\n';
      is_first = false;
      korvane::tool::show_revision(project, revision.id, std::cout);
    }
  });
}

void run_show(const Options& options) {
  with_project(options, Purpose::reading, [&](Project_Service& project) {
    korvane::tool::show_project(project, options.revision ? &*options.revision : nullptr,
                                std::cout);
  });
}

void run_token_add(const Options& options) {
  const std::set<Scope> scopes(options.scopes.begin(), options.scopes.end());
  korvane::host::TokenFile file(options.token_file);
  std::cout << file.add(options.client, scopes) << '\n';
  try {
    require_output();
  } catch (const std::exception&) {
    // Nobody has seen it, and nobody can any more.
    file.remove(options.client);
    throw;
  }
  std::cerr << "made a token for \"" << options.client << "\"; it is not shown again\n";
}

void run_token_remove(const Options& options) {
  korvane::host::TokenFile(options.token_file).remove(options.client);
}

void run_token_list(const Options& options) {
  for (const auto& entry : korvane::host::TokenFile(options.token_file).list()) {
    std::cout << printable(entry.client.name);
    for (const Scope scope : entry.client.scopes)
      std::cout << ' ' << korvane::host::scope_name(scope);
    std::cout << ' ' << entry.created << '\n';
  }
}

void add_server_options(CLI::App& command, Options& options) {
  command.add_option("--server", options.server,
                     "Address of a server that keeps the project, such as http://127.0.0.1:8420");
  command.add_option("--token", options.token, "Bearer token for that server")
      ->envname("KORVANE_TOKEN");
}

void add_seconds(CLI::App& command, const std::string& name, std::chrono::milliseconds& time,
                 const std::string& text) {
  const auto set = [&time](const double& seconds) {
    time = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
  };
  command.add_option_function<double>(name, set, text + ", in seconds")
      ->check(CLI::PositiveNumber)
      ->default_str(std::to_string(time.count() / 1000));
}

void add_serve_options(CLI::App& command, korvane::tool::ServeOptions& serve) {
  command.add_option("--root", serve.root, "Folder that the projects are confined to")
      ->check(CLI::ExistingDirectory)
      ->capture_default_str();
  command.add_option("--listen", serve.listen, "Address and port; port 0 takes a free one")
      ->capture_default_str();
  command.add_option("--tokens", serve.tokens, "File of the bearer tokens that are let in");
  auto* const certificate =
      command.add_option("--tls-cert", serve.tls_certificate, "Certificate chain, PEM");
  auto* const key = command.add_option("--tls-key", serve.tls_key, "Private key, PEM");
  certificate->needs(key);
  key->needs(certificate);
  command.add_option("--host-name", serve.host_names,
                     "Name that clients reach this server by, beside localhost and addresses");
  auto& limits = serve.limits;
  const auto add_count = [&](const char* name, auto& count, const char* text) {
    command.add_option(name, count, text)->check(CLI::PositiveNumber)->capture_default_str();
  };
  command
      .add_option("--open-projects", serve.open_projects,
                  "Projects that may be open; by default as many as the process's limit of "
                  "descriptors allows, up to " +
                      std::to_string(limits.open_projects))
      ->check(CLI::PositiveNumber);
  add_count("--workers", limits.delivery.workers, "Threads that run calls, at least 3");
  add_count("--waiting-calls", limits.delivery.waiting_calls, "Calls that may wait for a project");
  add_count("--connections", limits.http.connections, "Connections at a time");
  add_count("--client-requests", limits.requests_per_client, "Requests of one client at a time");
  add_count("--body-bytes", limits.http.body_bytes, "Size of a request's body");
  add_count("--all-body-bytes", limits.all_body_bytes, "Size of all bodies at a time");
  add_count("--record-bytes", limits.record_bytes, "Memory that one request may become");
  add_count("--all-record-bytes", limits.all_record_bytes, "Memory of all requests at work");
  add_count("--all-reply-bytes", limits.all_reply_bytes, "Memory of all replies on their way");
  add_count("--header-bytes", limits.http.header_bytes, "Size of a request's header");
  add_count("--query-rows", limits.query_rows, "Rows of a query's reply, without the scope sql");
  command.add_flag("--unfenced-sql", limits.is_sql_unfenced,
                   "Let the scope sql do everything: other files, pragmas, transactions");
  add_seconds(command, "--query-time", limits.query.time, "Time of a query, without the scope sql");
  add_seconds(command, "--call-time", limits.call.time, "Time of any other call, from its turn on");
  add_seconds(command, "--idle-time", limits.http.idle_time, "Time of a connection at rest");
  add_seconds(command, "--transfer-time", limits.http.transfer_time,
              "Time for a request to arrive, and for a reply to leave");
  add_seconds(command, "--waiting-time", limits.delivery.waiting_time,
              "Time that a call may wait for its turn");
  add_seconds(command, "--stop-time", serve.stop_time, "Time for running calls when stopping");
}

/// The file of tokens of a subcommand, and the client that a token belongs to.
void add_token_options(CLI::App& command, Options& options, bool is_of_client) {
  command.add_option("--tokens", options.token_file, "The file of tokens")->required();
  if (is_of_client) {
    command.add_option("CLIENT", options.client, "Name of the client")->required();
  }
}

/// Prints the contracts, or writes a file for each namespace into a folder.
void run_schema(const Options& options) {
  for (const korvane::rpc::SchemaFile& file : korvane::rpc::schema_files()) {
    if (!options.output) {
      std::cout << "// " << file.name << '\n' << file.text << '\n';
      continue;
    }
    std::filesystem::create_directories(*options.output);
    const std::filesystem::path path = std::filesystem::path(*options.output) / file.name;
    std::ofstream output(path, std::ios::binary);
    output << file.text;
    output.close();
    if (!output) throw std::runtime_error("cannot write " + path.string());
  }
}

int run(int argc, char** argv) {
  Options options;
  CLI::App app("korvane keeps the reinforcement data of structural CAD projects.", "korvane");
  app.require_subcommand(1);
  app.fallthrough();
  app.set_version_flag("--version", std::string("korvane ") + KORVANE_VERSION);
  app.add_option("--plugins", options.plugins, "Folder of the plugin libraries")
      ->capture_default_str();
  app.add_flag("-v,--verbose", options.verbose, "Print the plugins' trace lines as well");

  CLI::App* const import = app.add_subcommand(
      "import", "Store the bar schedule of a BVBS file (.abs) in a project, and print it");
  import->add_option("FILE", options.file, "The BVBS file")->required()->check(CLI::ExistingFile);
  import->add_option("--project", options.project, "The project file; made if it is not there")
      ->required();
  import->add_option("--sheet", options.sheet, "Sheet name, instead of the records' own");
  import->add_option("--revision", options.revision, "Revision name, instead of the records' own");
  add_server_options(*import, options);
  import->footer("Example:\n  korvane import examples/guideline.abs --project guideline.db");

  CLI::App* const show = app.add_subcommand("show", "Print the bar schedules of a project");
  show->add_option("PROJECT", options.project, "The project file")->required();
  show->add_option("--revision", options.revision, "Only revisions of this name");
  add_server_options(*show, options);
  show->footer("Example:\n  korvane show guideline.db --revision a");

  CLI::App* const schema = app.add_subcommand(
      "schema", "Print the contracts and services in the Bond interface definition language");
  schema->add_option("--output", options.output, "Folder to write a file for each namespace into");
  schema->footer("Example:\n  korvane schema --output contracts");

  CLI::App* const serve = app.add_subcommand("serve", "Serve the projects of a folder over HTTP");
  add_serve_options(*serve, options.serve);
  serve->footer("Example:\n  korvane serve --root projects --listen 127.0.0.1:8420");

  CLI::App* const token = app.add_subcommand("token", "Make and remove the tokens of a server");
  token->require_subcommand(1);
  CLI::App* const token_add =
      token->add_subcommand("add", "Make a token for a client and print it, once");
  add_token_options(*token_add, options, true);
  std::map<std::string, Scope> scopes;
  for (const Scope scope : korvane::host::all_scopes()) {
    scopes.emplace(korvane::host::scope_name(scope), scope);
  }
  token_add->add_option("--scope", options.scopes, "What the client may do: read, write, sql")
      ->required()
      ->transform(CLI::CheckedTransformer(scopes));
  CLI::App* const token_remove = token->add_subcommand("remove", "Remove the token of a client");
  add_token_options(*token_remove, options, true);
  CLI::App* const token_list = token->add_subcommand("list", "Print the clients and their scopes");
  add_token_options(*token_list, options, false);
  token->footer("Example:\n  korvane token add --tokens tokens.json office --scope read write");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (app.exit(error) != 0) return kWrongUsage;
    require_output();  // the help that was asked for
    return kDone;
  }
  if (serve->parsed()) {
    options.serve.plugins = options.plugins;
    options.serve.is_verbose = options.verbose;
    korvane::tool::serve(options.serve);
    return kDone;
  }
  if (token_add->parsed()) run_token_add(options);
  if (token_remove->parsed()) run_token_remove(options);
  if (token_list->parsed()) run_token_list(options);
  const krv::log::StderrSink log(options.verbose ? krv::log::trace : krv::log::refused);
  if (import->parsed()) run_import(options);
  if (show->parsed()) run_show(options);
  if (schema->parsed()) run_schema(options);
  require_output();
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const Poco::Exception& failure) {
    std::cerr << "korvane: " << printable(failure.displayText()) << '\n';
  } catch (const std::exception& failure) {
    std::cerr << "korvane: " << printable(failure.what()) << '\n';
  }
  return kFailed;
}
