// The same rows behind gRPC's synchronous server, as Debian has it and with its own settings.
//
//   grpc_server FILE…
//
// Prints its port on the loopback, and serves until it is ended.

#include <cstdlib>
#include <functional>
#include <grpcpp/grpcpp.h>
#include <iostream>
#include <memory>
#include <vector>

#include "bench/peers/peer.grpc.pb.h"
#include "bench/peers/peer_file.h"

namespace korvane::bench {
namespace {

class ProjectPeer : public proto::Project::Service {
 public:
  ProjectPeer(int count, char** filenames) {
    for (int i = 0; i < count; ++i) files_.push_back(std::make_unique<PeerFile>(filenames[i]));
  }

 private:
  using Context = grpc::ServerContext;
  using Row = proto::RowOfProject;

  grpc::Status GetSheet(Context*, const Row* row, proto::Sheet* sheet) override {
    const bool is_there = file(row->project()).get_sheet(row->id(), *sheet);
    return is_there ? grpc::Status::OK : grpc::Status(grpc::StatusCode::NOT_FOUND, "no such sheet");
  }
  grpc::Status ListMaterials(Context*, const Row* row, proto::Materials* materials) override {
    file(row->project()).list_materials(*materials->mutable_items());
    return grpc::Status::OK;
  }
  grpc::Status AddBars(Context*, const proto::BarsOfProject* bars, proto::Nothing*) override {
    file(bars->project()).add_bars(bars->items());
    return grpc::Status::OK;
  }
  grpc::Status GetBars(Context*, const Row* row, proto::Bars* bars) override {
    file(row->project()).get_bars(row->id(), *bars->mutable_items());
    return grpc::Status::OK;
  }
  grpc::Status ClearRevision(Context*, const Row* row, proto::Nothing*) override {
    file(row->project()).clear(row->id());
    return grpc::Status::OK;
  }

  PeerFile& file(int project) { return *files_.at(static_cast<std::size_t>(project)); }

  std::vector<std::unique_ptr<PeerFile>> files_;
};

}  // namespace
}  // namespace korvane::bench

int main(int argc, char** argv) {
  korvane::bench::ProjectPeer service(argc - 1, argv + 1);
  int port = 0;
  grpc::ServerBuilder builder;
  builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &port);
  builder.RegisterService(&service);
  const std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
  if (server == nullptr) return EXIT_FAILURE;
  std::cout << port << std::endl;
  server->Wait();
}
