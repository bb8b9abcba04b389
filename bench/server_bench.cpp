// Calls over HTTP on the loopback, to the program in a process of its own, beside the same
// operation in this process in the same run. KORVANE_BENCH_PROGRAM names another program to call.
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
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/StreamCopier.h>
#include <benchmark/benchmark.h>

#include "bench/bench.h"
#include "bench/report.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "host/plugins/plugin.h"
#include "host/service/openapi.h"
#include "host/service/representation.h"
#include "platform/project_rpc/project_manager_service.h"
#include "platform/project_rpc/project_service.h"
#include "platform/rpc4/directory.h"
#include "tests/scenarios/soak/served_program.h"

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

template <class T>
std::string body_of(const T& request, Representation form) {
  if (form == Representation::json) return encoding::to_json(request);
  const bond::blob bytes = encoding::encode(request);
  return {bytes.content(), bytes.size()};
}

/// A project with a sheet, and a revision for the bars.
struct Content {
  SheetRef sheet;
  RevisionRef revision;
  Batch<Rebar> batch;

  explicit Content(Project_Service& project) {
    project.create_sheet({}, sheet);
    Revision empty;
    empty.sheet_id = sheet.id.value();
    project.create_revision(empty, revision);
    MaterialRef material;
    project.create_material({}, material);
    Rebar bar = typical<Rebar>();
    bar.rev_id = revision.id.value();
    bar.material_id.set(material.id.value());
    batch.items.assign(kBars, bar);
  }
};

/// The plugin in this process, with a project open in a fresh folder.
class InProcess {
 public:
  InProcess() {
    std::filesystem::create_directories(folder_);
    std::filesystem::current_path(folder_);
    plugin_ = std::make_unique<host::Plugin>(KORVANE_PLUGIN_FILE);
    auto* const manager =
        krv::rpc4::find_service<ProjectManager_Service>(ProjectManager_Metadata::GlobalInstanceID);
    model::OpenProjectRequest request;
    request.filename = kFile;
    model::OpenProjectResponse response;
    manager->open(request, response, {});
    project_ = krv::rpc4::find_service<Project_Service>(response.service_id);
    content_ = std::make_unique<Content>(*project_);
  }
  InProcess(const InProcess&) = delete;
  InProcess& operator=(const InProcess&) = delete;
  ~InProcess() {
    plugin_.reset();
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder_);
  }

  static constexpr const char* kFile = "bench.db";

  const std::filesystem::path& folder() const { return folder_; }
  Project_Service& project() { return *project_; }
  const Content& content() const { return *content_; }
  /// Closes the project; its file stays.
  void close() { plugin_.reset(); }

 private:
  std::filesystem::path folder_ = scratch_folder() / "served";
  std::unique_ptr<host::Plugin> plugin_;
  Project_Service* project_ = nullptr;
  std::unique_ptr<Content> content_;
};

/// The same content behind the program, which serves it from a process of its own.
class Served {
 public:
  Served() {
    store_.close();
    const char* const other = std::getenv("KORVANE_BENCH_PROGRAM");
    test::ServedProgram::Options options{.root = store_.folder().string()};
    if (other != nullptr) options.program = other;
    program_ = std::make_unique<test::ServedProgram>(options);
    client_ = std::make_unique<Client>(program_->port());
    model::OpenProjectRequest request;
    request.filename = InProcess::kFile;
    const std::string reply = client_->post(
        host::operation_path(std::string(ProjectManager_Metadata::GlobalInstanceID), "open"),
        encoding::to_json(request), Representation::json);
    service_ = encoding::from_json<model::OpenProjectResponse>(reply).service_id;
  }

  const Content& content() const { return store_.content(); }

  std::string post(std::string_view operation, std::string_view body, Representation form) {
    return client_->post(host::operation_path(service_, operation), body, form);
  }

 private:
  InProcess store_;
  std::unique_ptr<test::ServedProgram> program_;
  std::unique_ptr<Client> client_;
  std::string service_;
};

void read_in_process(benchmark::State& state) {
  InProcess store;
  for (auto _ : state) {
    Sheet sheet;
    store.project().get_sheet(store.content().sheet, sheet);
    benchmark::DoNotOptimize(sheet);
  }
  state.SetItemsProcessed(state.iterations());
}

void read_over_http(benchmark::State& state, Representation form) {
  Served server;
  const std::string body = body_of(server.content().sheet, form);
  for (auto _ : state) benchmark::DoNotOptimize(server.post("get_sheet", body, form));
  state.SetItemsProcessed(state.iterations());
}

/// Only the adding is timed; the revision is emptied in between.
template <class Add, class Clear>
void add_batches(benchmark::State& state, Add add, Clear clear) {
  for (auto _ : state) {
    state.SetIterationTime(wall_seconds_of(add));
    clear();
  }
  state.SetItemsProcessed(state.iterations());
}

void add_in_process(benchmark::State& state) {
  InProcess store;
  GenericReply reply;
  add_batches(
      state, [&] { store.project().add_rebar(store.content().batch, reply); },
      [&] { store.project().clear_for_revision(store.content().revision, reply); });
}

void add_over_http(benchmark::State& state, Representation form) {
  Served server;
  const std::string body = body_of(server.content().batch, form);
  const std::string revision = body_of(server.content().revision, form);
  add_batches(
      state, [&] { server.post("add_rebar", body, form); },
      [&] { server.post("clear_for_revision", revision, form); });
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
