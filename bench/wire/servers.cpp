#include "bench/wire/servers.h"

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <google/protobuf/util/message_differencer.h>
#include <iostream>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "bench/bench.h"
#include "bench/peers/peer.pb.h"
#include "bench/plain_sqlite.h"
#include "bench/protobuf_message.h"
#include "bench/wire/grpc_caller.h"
#include "bench/wire/http_caller.h"
#include "bench/wire/peer_process.h"
#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "host/plugins/plugin.h"
#include "host/service/representation.h"
#include "platform/project_rpc/project_manager_service.h"
#include "platform/project_rpc/project_service.h"
#include "platform/rpc4/directory.h"
#include "platform/rpc4/http.h"
#include "tests/scenarios/soak/served_program.h"

namespace korvane::bench::wire {

namespace fs = std::filesystem;
using namespace model::cad;
using host::Representation;

namespace {

template <class T>
std::string body_of(const T& request, Representation form) {
  if (form == Representation::json) return encoding::to_json(request);
  const bond::blob bytes = encoding::encode(request);
  return {bytes.content(), bytes.size()};
}

using Bodies = std::array<std::string, kOperations>;

std::size_t index(Operation operation) { return static_cast<std::size_t>(operation); }

Bodies bodies_of(const Rows& rows, Representation form) {
  Bodies bodies;
  bodies[index(Operation::get_sheet)] = body_of(rows.sheet, form);
  bodies[index(Operation::list_materials)] = body_of(ListMaterials(), form);
  bodies[index(Operation::add_rebar)] = body_of(rows.batch, form);
  bodies[index(Operation::get_rebars)] = body_of(rows.full, form);
  bodies[index(Operation::clear)] = body_of(rows.empty, form);
  return bodies;
}

/// As a path ends with it.
constexpr std::array kNames = {"",          "get_sheet",  "list_materials",
                               "add_rebar", "get_rebars", "clear_for_revision"};

/// The requests of a project, whose operations are at `path` and a slash.
HttpRequests http_requests(const std::string& path, const Bodies& bodies, Representation form) {
  HttpRequests requests;
  const std::string host = " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
  for (std::size_t i = 0; i < kOperations; ++i) {
    const bool is_live = i == index(Operation::live);
    requests[i].body = &bodies[i];
    requests[i].head = is_live ? "GET /healthz/live" + host + "\r\n"
                               : "POST " + path + "/" + kNames[i] + host +
                                     "Content-Type: " + std::string(host::media_type(form)) +
                                     "\r\nContent-Length: " + std::to_string(bodies[i].size()) +
                                     "\r\n\r\n";
  }
  return requests;
}

/// All columns but `raw` of the last bar in a project's file.
std::string last_row(const fs::path& folder) {
  const Connection connection((folder / project_file(0)).string());
  Prepared select(connection, "select * from rebar order by id desc limit 1");
  if (!select.step()) throw std::logic_error("no bar is stored");
  std::string row;
  // `id` is given anew each time, and `raw` comes last.
  for (int i = 1; i + 1 < sqlite3_column_count(select.handle()); ++i) row += select.text(i) + "|";
  return row;
}

/// The row that is stored by `add_rebar`, which is undone again.
std::string added_row(Caller& caller, const fs::path& folder) {
  caller.call(Operation::add_rebar);
  std::string row = last_row(folder);
  caller.call(Operation::clear);
  return row;
}

std::string reply_to(Caller& caller, Operation operation) {
  caller.call(operation);
  return caller.reply();
}

void expect(bool is_alike, const std::string& server, const char* what) {
  if (!is_alike) throw std::logic_error(server + " has another " + what);
}

/// Of servers that answer in the contracts' own forms.
void check_replies(Server& server, Representation form, const fs::path& folder,
                   const Expected& expected) {
  const std::unique_ptr<Caller> caller = server.connect(0);
  const auto is_alike = [&]<class T>(Operation operation, const T& record) {
    const std::string reply = reply_to(*caller, operation);
    return record ==
           (form == Representation::json
                ? encoding::from_json<T>(reply)
                : encoding::decode<T>(reply.data(), static_cast<std::uint32_t>(reply.size())));
  };
  expect(is_alike(Operation::get_sheet, expected.sheet), server.name(), "sheet");
  expect(is_alike(Operation::list_materials, expected.materials), server.name(), "material");
  expect(is_alike(Operation::get_rebars, expected.bars), server.name(), "bar");
  expect(added_row(*caller, folder) == expected.row, server.name(), "row");
}

/// The project operations in this process, on a plugin's own thread: the caller's.
class InProcess : public Server {
 public:
  InProcess() {
    rows_ = make_projects(folder_, RawForm::compact_binary);
    fs::current_path(folder_);
    plugin_ = std::make_unique<host::Plugin>(KORVANE_PLUGIN_FILE);
    auto* const manager =
        krv::rpc4::find_service<ProjectManager_Service>(ProjectManager_Metadata::GlobalInstanceID);
    model::OpenProjectRequest request;
    request.filename = project_file(0);
    model::OpenProjectResponse response;
    manager->open(request, response, {});
    project_ = krv::rpc4::find_service<Project_Service>(response.service_id);
  }
  ~InProcess() override { plugin_.reset(); }

  std::string name() const override { return name::in_process; }
  std::unique_ptr<Caller> connect(int) override {
    return std::make_unique<DirectCaller>(*project_, rows_);
  }
  void check(const Expected&) override {}

  Expected expected() {
    Expected expected;
    project_->get_sheet(rows_.sheet, expected.sheet);
    project_->list_materials({}, expected.materials);
    project_->get_rebars(rows_.full, expected.bars);
    DirectCaller caller(*project_, rows_);
    expected.row = added_row(caller, folder_);
    return expected;
  }

 private:
  class DirectCaller : public Caller {
   public:
    DirectCaller(Project_Service& project, const Rows& rows) : project_(project), rows_(rows) {}

    void call(Operation operation) override {
      GenericReply nothing;
      switch (operation) {
        case Operation::live:
          break;
        case Operation::get_sheet: {
          Sheet sheet;
          project_.get_sheet(rows_.sheet, sheet);
          break;
        }
        case Operation::list_materials: {
          Batch<Material> materials;
          project_.list_materials({}, materials);
          break;
        }
        case Operation::add_rebar:
          project_.add_rebar(rows_.batch, nothing);
          break;
        case Operation::get_rebars: {
          Batch<Rebar> bars;
          project_.get_rebars(rows_.full, bars);
          break;
        }
        case Operation::clear:
          project_.clear_for_revision(rows_.empty, nothing);
          break;
      }
    }
    std::string reply() const override { return {}; }

   private:
    Project_Service& project_;
    const Rows& rows_;
  };

  fs::path folder_ = scratch_folder() / "in_process";
  Rows rows_;
  std::unique_ptr<host::Plugin> plugin_;
  Project_Service* project_ = nullptr;
};

/// The program, with all projects open.
struct ServedProjects {
  ServedProjects() {
    rows = make_projects(folder, RawForm::compact_binary);
    test::ServedProgram::Options options{.root = folder.string()};
    const char* const other = std::getenv("KORVANE_BENCH_PROGRAM");
    if (other != nullptr) options.program = other;
    program = std::make_unique<test::ServedProgram>(options);
    for (int i = 0; i <= kLargeProject; ++i) services.push_back(open(project_file(i)));
  }

  std::string open(const std::string& filename) const {
    model::OpenProjectRequest request;
    request.filename = filename;
    const std::string body = encoding::to_json(request);
    HttpRequests opening;
    opening[0] = {"POST " +
                      krv::rpc4::operation_path(
                          std::string(ProjectManager_Metadata::GlobalInstanceID), "open") +
                      " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                      "Content-Length: " +
                      std::to_string(body.size()) + "\r\n\r\n",
                  &body};
    HttpCaller caller(program->port(), opening);
    caller.call(Operation::live);
    return encoding::from_json<model::OpenProjectResponse>(caller.reply()).service_id;
  }

  fs::path folder = scratch_folder() / "korvane";
  Rows rows;
  std::unique_ptr<test::ServedProgram> program;
  std::vector<std::string> services;
};

class OverHttp : public Server {
 public:
  OverHttp(std::shared_ptr<const ServedProjects> served, Representation form)
      : served_(std::move(served)), form_(form), bodies_(bodies_of(served_->rows, form)) {
    for (const std::string& service : served_->services) {
      std::string path = krv::rpc4::operation_path(service, "");
      path.pop_back();
      requests_.push_back(http_requests(path, bodies_, form));
    }
  }

  std::string name() const override {
    return form_ == Representation::json ? name::json : name::binary;
  }
  std::unique_ptr<Caller> connect(int project) override {
    return std::make_unique<HttpCaller>(served_->program->port(),
                                        requests_.at(static_cast<std::size_t>(project)));
  }
  void check(const Expected& expected) override {
    check_replies(*this, form_, served_->folder, expected);
  }

 private:
  std::shared_ptr<const ServedProjects> served_;
  Representation form_;
  Bodies bodies_;
  std::vector<HttpRequests> requests_;
};

/// A peer's program and the files that it is to serve.
std::vector<std::string> arguments(std::vector<std::string> first, const fs::path& folder) {
  for (int i = 0; i <= kLargeProject; ++i) first.push_back((folder / project_file(i)).string());
  return first;
}

class OverGrpc : public Server {
 public:
  OverGrpc()
      : folder_(scratch_folder() / "grpc"),
        rows_(make_projects(folder_, RawForm::protobuf)),
        process_(KORVANE_GRPC_SERVER, arguments({}, folder_)),
        messages_(kLargeProject + 1),
        requests_(kLargeProject + 1) {
    proto::BarsOfProject bars;
    for (const Rebar& bar : rows_.batch.items) *bars.add_items() = message_of<proto::Rebar>(bar);
    for (int project = 0; project <= kLargeProject; ++project) {
      const auto at = static_cast<std::size_t>(project);
      Bodies& messages = messages_[at];
      messages[index(Operation::get_sheet)] = row(project, rows_.sheet.id.value());
      messages[index(Operation::list_materials)] = row(project, 0);
      bars.set_project(project);
      messages[index(Operation::add_rebar)] = bars.SerializeAsString();
      messages[index(Operation::get_rebars)] = row(project, rows_.full.id.value());
      messages[index(Operation::clear)] = row(project, rows_.empty.id.value());
      for (std::size_t i = 0; i < kOperations; ++i) {
        requests_[at][i] = {std::string("/korvane.bench.proto.Project/") + kMethods[i],
                            &messages[i]};
      }
    }
  }

  std::string name() const override { return name::grpc; }
  std::unique_ptr<Caller> connect(int project) override {
    return std::make_unique<GrpcCaller>(process_.port(),
                                        requests_.at(static_cast<std::size_t>(project)));
  }
  void check(const Expected& expected) override {
    const std::unique_ptr<Caller> caller = connect(0);
    const auto is_alike = [&](const auto& message, Operation operation) {
      std::remove_cvref_t<decltype(message)> reply;
      return reply.ParseFromString(reply_to(*caller, operation)) &&
             google::protobuf::util::MessageDifferencer::Equals(reply, message);
    };
    proto::Materials materials;
    for (const Material& material : expected.materials.items) {
      *materials.add_items() = message_of<proto::Material>(material);
    }
    proto::Bars bars;
    for (const Rebar& bar : expected.bars.items) *bars.add_items() = message_of<proto::Rebar>(bar);
    expect(is_alike(message_of<proto::Sheet>(expected.sheet), Operation::get_sheet), name(),
           "sheet");
    expect(is_alike(materials, Operation::list_materials), name(), "material");
    expect(is_alike(bars, Operation::get_rebars), name(), "bar");
    expect(added_row(*caller, folder_) == expected.row, name(), "row");
  }

 private:
  static constexpr std::array kMethods = {"",        "GetSheet", "ListMaterials",
                                          "AddBars", "GetBars",  "ClearRevision"};

  static std::string row(int project, std::int32_t id) {
    proto::RowOfProject row;
    row.set_project(project);
    row.set_id(id);
    return row.SerializeAsString();
  }

  fs::path folder_;
  Rows rows_;
  PeerProcess process_;
  std::vector<Bodies> messages_;
  std::vector<GrpcRequests> requests_;
};

class OverNode : public Server {
 public:
  OverNode()
      : folder_(scratch_folder() / "node"),
        rows_(make_projects(folder_, RawForm::json)),
        process_("node", arguments({KORVANE_NODE_SERVER}, folder_)),
        bodies_(bodies_of(rows_, Representation::json)) {
    for (int i = 0; i <= kLargeProject; ++i) {
      requests_.push_back(http_requests("/" + std::to_string(i), bodies_, Representation::json));
    }
  }

  std::string name() const override { return name::node; }
  std::unique_ptr<Caller> connect(int project) override {
    return std::make_unique<HttpCaller>(process_.port(),
                                        requests_.at(static_cast<std::size_t>(project)));
  }
  void check(const Expected& expected) override {
    check_replies(*this, Representation::json, folder_, expected);
  }

 private:
  fs::path folder_;
  Rows rows_;
  PeerProcess process_;
  Bodies bodies_;
  std::vector<HttpRequests> requests_;
};

/// Bytes there and back, as many as a small read sends.
class Echo : public Server {
 public:
  Echo() : process_(KORVANE_ECHO_SERVER, {}) {}

  std::string name() const override { return name::echo; }
  std::unique_ptr<Caller> connect(int) override {
    return std::make_unique<EchoCaller>(process_.port());
  }
  void check(const Expected&) override {}

 private:
  class EchoCaller : public Caller {
   public:
    explicit EchoCaller(std::uint16_t port) : socket_(port) {}

    void call(Operation) override {
      socket_.send(bytes_, "");
      for (std::size_t size = 0; size < received_.size();) {
        size += socket_.receive(received_.data() + size, received_.size() - size);
      }
    }
    std::string reply() const override { return received_; }

   private:
    Socket socket_;
    std::string bytes_ = std::string(200, 'x');
    std::string received_ = bytes_;
  };

  PeerProcess process_;
};

}  // namespace

std::vector<std::unique_ptr<Server>> start_servers() {
  std::vector<std::unique_ptr<Server>> servers;
  const auto served = std::make_shared<const ServedProjects>();
  servers.push_back(std::make_unique<OverHttp>(served, Representation::compact_binary));
  servers.push_back(std::make_unique<OverHttp>(served, Representation::json));
  auto in_process = std::make_unique<InProcess>();
  const Expected expected = in_process->expected();
  servers.push_back(std::move(in_process));
  servers.push_back(std::make_unique<OverGrpc>());
  try {
    servers.push_back(std::make_unique<OverNode>());
  } catch (const std::exception& failure) {
    std::cerr << "Node is left out: " << failure.what() << '\n';
  }
  servers.push_back(std::make_unique<Echo>());
  for (const auto& server : servers) server->check(expected);
  return servers;
}

}  // namespace korvane::bench::wire
