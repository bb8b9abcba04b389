#pragma once

#include <array>
#include <cstdint>
#include <grpcpp/grpcpp.h>
#include <memory>
#include <string>

#include "bench/wire/caller.h"

namespace korvane::bench::wire {

struct GrpcRequest {
  /// "/package.Service/Method".
  std::string method;
  const std::string* message = nullptr;
};
using GrpcRequests = std::array<GrpcRequest, kOperations>;

/// gRPC's synchronous client on a connection that it shares with no other. Messages are bytes to
/// it, as bodies are to HttpCaller.
class GrpcCaller : public Caller {
 public:
  /// `requests` must outlive it.
  GrpcCaller(std::uint16_t port, const GrpcRequests& requests);

  void call(Operation operation) override;
  std::string reply() const override;

 private:
  std::shared_ptr<grpc::Channel> channel_;
  const GrpcRequests& requests_;
  grpc::ByteBuffer reply_;
};

}  // namespace korvane::bench::wire
