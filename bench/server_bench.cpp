// Calls over HTTP on the loopback, beside the same operation in this process in the same run.
//
//   SmallRead/InProcess    get_sheet through the skeleton
//   SmallRead/Binary       the same by POST, Compact Binary both ways, one kept connection
//   SmallRead/Json         the same as JSON
//   Batch/InProcess        add_rebar of 1,000 bars through the skeleton
//   Batch/Binary, /Json    the same by POST; the bodies are encoded beforehand
//
// Items are calls. Times are those on the wall, as the client waits while the server's threads
// work.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/StreamCopier.h>
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "bench/bench.h"
#include "bench/report.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "host/model_server.h"
#include "host/openapi.h"
#include "host/plugin.h"
#include "host/representation.h"
#include "platform/project_rpc/project_manager_service.h"
#include "platform/project_rpc/project_service.h"
#include "platform/rpc4/directory.h"

namespace korvane::bench {
namespace {

using namespace model::cad;
using host::Representation;

constexpr std::size_t kBars = 1000;

/// A client on one connection that it keeps.
class Client {
 public:
  explicit Client(std::uint16_t port) : session_("127.0.0.1", port) { session_.setKeepAlive(true); }

  std::string post(const std::string& path, std::string_view body, Representation form) {
    Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_POST, path,
                                   Poco::Net::HTTPMessage::HTTP_1_1);
    request.setContentType(std::string(host::media_type(form)));
    request.setContentLength64(static_cast<Poco::Int64>(body.size()));
    session_.sendRequest(request).write(body.data(), static_cast<std::streamsize>(body.size()));
    Poco::Net::HTTPResponse response;
    std::string reply;
    Poco::StreamCopier::copyToString(session_.receiveResponse(response), reply);
    if (response.getStatus() != Poco::Net::HTTPResponse::HTTP_OK) throw std::runtime_error(reply);
    return reply;
  }

 private:
  Poco::Net::HTTPClientSession session_;
};

/// A server in this process with one project: a sheet, and a revision for the bars.
class Server {
 public:
  Server() : folder_(scratch_folder() / "served") {
    std::filesystem::create_directories(folder_);
    std::filesystem::current_path(folder_);
    host::install_sql_fence();
    plugin_ = std::make_unique<host::Plugin>(KORVANE_PLUGIN_FILE);
    const Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0));
    client_ = std::make_unique<Client>(socket.address().port());
    server_ =
        std::make_unique<host::ModelServer>(socket, host::Gate(std::nullopt, {}),
                                            host::ProjectRoot(folder_), host::ModelServerLimits());
    auto* const manager =
        krv::rpc4::find_service<ProjectManager_Service>(ProjectManager_Metadata::GlobalInstanceID);
    model::OpenProjectRequest request;
    request.filename = "bench.db";
    model::OpenProjectResponse response;
    manager->open(request, response, {});
    project_ = krv::rpc4::find_service<Project_Service>(response.service_id);
    fill();
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    server_.reset();
    plugin_.reset();
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder_);
    // Takes the fence away again: the connections of other scenarios shall not be asked.
    sqlite3_reset_auto_extension();
  }

  Project_Service& project() { return *project_; }
  const SheetRef& sheet() const { return sheet_; }
  const Batch<Rebar>& batch() const { return batch_; }

  void remove_bars() {
    GenericReply reply;
    project_->clear_for_revision(revision_, reply);
  }

  std::string post(std::string_view operation, std::string_view body, Representation form) {
    return client_->post(host::operation_path(project_->id(), operation), body, form);
  }

 private:
  void fill() {
    project_->create_sheet({}, sheet_);
    Revision revision;
    revision.sheet_id = sheet_.id.value();
    project_->create_revision(revision, revision_);
    MaterialRef material;
    project_->create_material({}, material);
    Rebar bar = typical<Rebar>();
    bar.rev_id = revision_.id.value();
    bar.material_id.set(material.id.value());
    batch_.items.assign(kBars, bar);
  }

  std::filesystem::path folder_;
  std::unique_ptr<host::Plugin> plugin_;
  std::unique_ptr<host::ModelServer> server_;
  std::unique_ptr<Client> client_;
  Project_Service* project_ = nullptr;
  SheetRef sheet_;
  RevisionRef revision_;
  Batch<Rebar> batch_;
};

template <class T>
std::string body_of(const T& request, Representation form) {
  if (form == Representation::json) return encoding::to_json(request);
  const bond::blob bytes = encoding::encode(request);
  return {bytes.content(), bytes.size()};
}

void read_in_process(benchmark::State& state) {
  Server server;
  for (auto _ : state) {
    Sheet sheet;
    server.project().get_sheet(server.sheet(), sheet);
    benchmark::DoNotOptimize(sheet);
  }
  state.SetItemsProcessed(state.iterations());
}

void read_over_http(benchmark::State& state, Representation form) {
  Server server;
  const std::string body = body_of(server.sheet(), form);
  for (auto _ : state) benchmark::DoNotOptimize(server.post("get_sheet", body, form));
  state.SetItemsProcessed(state.iterations());
}

/// Only the adding is timed; the revision is emptied in between.
template <class Add>
void add_batches(benchmark::State& state, Server& server, Add add) {
  for (auto _ : state) {
    state.SetIterationTime(wall_seconds_of(add));
    server.remove_bars();
  }
  state.SetItemsProcessed(state.iterations());
}

void add_in_process(benchmark::State& state) {
  Server server;
  add_batches(state, server, [&] {
    GenericReply reply;
    server.project().add_rebar(server.batch(), reply);
  });
}

void add_over_http(benchmark::State& state, Representation form) {
  Server server;
  const std::string body = body_of(server.batch(), form);
  add_batches(state, server, [&] { server.post("add_rebar", body, form); });
}

BENCHMARK(read_in_process)->Name("SmallRead/InProcess")->UseRealTime();
BENCHMARK_CAPTURE(read_over_http, binary, Representation::compact_binary)
    ->Name("SmallRead/Binary")
    ->UseRealTime();
BENCHMARK_CAPTURE(read_over_http, json, Representation::json)
    ->Name("SmallRead/Json")
    ->UseRealTime();
BENCHMARK(add_in_process)->Name("Batch/InProcess")->UseManualTime();
BENCHMARK_CAPTURE(add_over_http, binary, Representation::compact_binary)
    ->Name("Batch/Binary")
    ->UseManualTime();
BENCHMARK_CAPTURE(add_over_http, json, Representation::json)->Name("Batch/Json")->UseManualTime();

[[maybe_unused]] const bool is_compared =
    compare({{"get_sheet over HTTP, binary", "SmallRead/Binary", "SmallRead/InProcess"},
             {"get_sheet over HTTP, JSON", "SmallRead/Json", "SmallRead/InProcess"},
             {"add_rebar of 1,000, HTTP, binary", "Batch/Binary", "Batch/InProcess", 1.5},
             {"add_rebar of 1,000, HTTP, JSON", "Batch/Json", "Batch/InProcess", 4.0}});

}  // namespace
}  // namespace korvane::bench
