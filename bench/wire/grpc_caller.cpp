#include "bench/wire/grpc_caller.h"

#include <atomic>
#include <grpcpp/impl/client_unary_call.h>
#include <grpcpp/impl/rpc_method.h>
#include <stdexcept>
#include <vector>

namespace korvane::bench::wire {

GrpcCaller::GrpcCaller(std::uint16_t port, const GrpcRequests& requests) : requests_(requests) {
  static std::atomic<int> count = 0;
  grpc::ChannelArguments arguments;
  // Channels of the same arguments share a connection.
  arguments.SetInt("korvane.bench.connection", ++count);
  arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  arguments.SetMaxReceiveMessageSize(-1);
  channel_ = grpc::CreateCustomChannel("127.0.0.1:" + std::to_string(port),
                                       grpc::InsecureChannelCredentials(), arguments);
}

void GrpcCaller::call(Operation operation) {
  const GrpcRequest& request = requests_[static_cast<std::size_t>(operation)];
  const grpc::Slice bytes(request.message->data(), request.message->size(),
                          grpc::Slice::STATIC_SLICE);
  const grpc::ByteBuffer message(&bytes, 1);
  const grpc::internal::RpcMethod method(request.method.c_str(),
                                         grpc::internal::RpcMethod::NORMAL_RPC);
  grpc::ClientContext context;
  const grpc::Status status = grpc::internal::BlockingUnaryCall<grpc::ByteBuffer, grpc::ByteBuffer>(
      channel_.get(), method, &context, message, &reply_);
  if (!status.ok()) throw std::runtime_error(request.method + ": " + status.error_message());
}

std::string GrpcCaller::reply() const {
  std::vector<grpc::Slice> slices;
  if (!reply_.Dump(&slices).ok()) throw std::runtime_error("a reply that cannot be read");
  std::string bytes;
  for (const grpc::Slice& slice : slices) {
    bytes.append(reinterpret_cast<const char*>(slice.begin()), slice.size());
  }
  return bytes;
}

}  // namespace korvane::bench::wire
