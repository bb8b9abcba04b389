#include "bench/wire/servers.h"

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "bench/bench.h"
#include "bench/wire/check.h"
#include "bench/wire/http_caller.h"
#include "bench/wire/peer_servers.h"
#include "bench/wire/requests.h"
#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/json.h"
#include "host/plugins/plugin.h"
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

/// The project operations in this process: the plugin's skeleton, called by the measuring thread.
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

}  // namespace

std::vector<std::unique_ptr<Server>> start_servers() {
  std::vector<std::unique_ptr<Server>> servers;
  const auto served = std::make_shared<const ServedProjects>();
  servers.push_back(std::make_unique<OverHttp>(served, Representation::compact_binary));
  servers.push_back(std::make_unique<OverHttp>(served, Representation::json));
  auto in_process = std::make_unique<InProcess>();
  const Expected expected = in_process->expected();
  servers.push_back(std::move(in_process));
  servers.push_back(start_grpc());
  try {
    servers.push_back(start_node());
  } catch (const std::exception& failure) {
    std::cerr << "Node is left out: " << failure.what() << '\n';
  }
  servers.push_back(start_echo());
  for (const auto& server : servers) server->check(expected);
  return servers;
}

}  // namespace korvane::bench::wire
