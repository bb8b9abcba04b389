#include "bench/wire/peer_servers.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <google/protobuf/util/message_differencer.h>
#include <string>
#include <type_traits>
#include <vector>

#include "bench/bench.h"
#include "bench/peers/peer.pb.h"
#include "bench/protobuf_message.h"
#include "bench/wire/check.h"
#include "bench/wire/grpc_caller.h"
#include "bench/wire/http_caller.h"
#include "bench/wire/peer_process.h"
#include "bench/wire/requests.h"
#include "contracts/cad/contracts.describe.h"

namespace korvane::bench::wire {

namespace fs = std::filesystem;
using namespace model::cad;
using host::Representation;

namespace {

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

std::unique_ptr<Server> start_grpc() { return std::make_unique<OverGrpc>(); }
std::unique_ptr<Server> start_node() { return std::make_unique<OverNode>(); }
std::unique_ptr<Server> start_echo() { return std::make_unique<Echo>(); }

}  // namespace korvane::bench::wire
