#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "contracts/common/contracts.h"
#include "platform/project_rpc/open_project.h"
#include "platform/rpc4/failure.h"
#include "platform/rpc4/operation.h"

namespace korvane::test {

/// "probe:3".
inline std::string probe_id(std::size_t index) { return "probe:" + std::to_string(index); }

/// A service that notices when two calls are in it at once: it then fails, and so does every later
/// call. Its count is plain memory, so that a thread sanitizer notices as well.
class ProbeService {
 public:
  using Skeleton = ProbeService;

  static const krv::rpc4::ServiceDefinition& definition();

  explicit ProbeService(std::string id) : id_(std::move(id)) {}

  const std::string& id() const { return id_; }

  /// Counts the call and answers with the count.
  void count(model::ListProjectRequest, Variant& reply, const krv::rpc4::PeerInfo&) {
    const Visit visit(*this);
    std::this_thread::yield();
    reply.value_int32.set(++count_);
  }

  /// Sleeps for as many milliseconds as `value_int32` says, then counts.
  void sleep(Variant request, Variant& reply, const krv::rpc4::PeerInfo&) {
    const Visit visit(*this);
    std::this_thread::sleep_for(std::chrono::milliseconds(*request.value_int32));
    reply.value_int32.set(++count_);
  }

  /// Fails with the text `value_string`: as something that is not there with `value_int32` 404,
  /// else as a bad request.
  void fail(Variant request, Variant&, const krv::rpc4::PeerInfo&) {
    const Visit visit(*this);
    constexpr std::int32_t kMissing = 404;
    if (request.value_int32.hasvalue() && *request.value_int32 == kMissing) {
      throw krv::rpc4::NotFound(*request.value_string);
    }
    throw krv::rpc4::BadRequest(*request.value_string);
  }

 private:
  /// The stay of one call.
  class Visit {
   public:
    explicit Visit(ProbeService& service) : service_(service) {
      if (service_.is_visited_.exchange(true)) service_.has_overlapped_ = true;
      if (service_.has_overlapped_) throw std::runtime_error("two calls at once");
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;
    ~Visit() { service_.is_visited_ = false; }

   private:
    ProbeService& service_;
  };

  std::string id_;
  std::atomic<bool> is_visited_ = false;
  std::atomic<bool> has_overlapped_ = false;
  std::int32_t count_ = 0;
};

}  // namespace korvane::test
