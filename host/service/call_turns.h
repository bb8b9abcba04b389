#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "host/access/sql_fence.h"
#include "host/memory/call_memory.h"
#include "host/service/call.h"
#include "host/service/failure.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {

/// Does the parts of one call with its memory counted, and those that need a service in its turn,
/// inside a fence. Used on the call's thread.
class CallTurns {
 public:
  using Work = std::function<std::unique_ptr<krv::rpc4::Reply>(
      const krv::rpc4::LiveService& service, SqlFence& fence)>;

  /// Both must outlive it.
  CallTurns(const Call& call, CollectedLines& lines);
  CallTurns(const CallTurns&) = delete;
  CallTurns& operator=(const CallTurns&) = delete;

  const CallMemory& memory() const { return memory_; }
  /// The file of the project, once it is known, for the texts of failures.
  void set_file(std::string file) { file_ = std::move(file); }
  const std::string& file() const { return file_; }
  FailedCall failed_call() const;

  /// Runs `action` with its memory counted, and refuses what takes too much: `is_of_request` says
  /// whether it is the request that takes it. A failure becomes an HttpFault while its text, which
  /// can be as long as the request, still counts.
  template <class Action>
  auto counted(bool is_of_request, Action action) -> decltype(action()) {
    try {
      const CallMemory::Scope scope(memory_);
      try {
        return action();
      } catch (const std::bad_alloc&) {
        throw;
      } catch (...) {
        throw fault_of(std::current_exception(), failed_call());
      }
    } catch (const std::bad_alloc&) {
      refuse_memory(is_of_request);
    }
  }

  /// Runs `work` in the service's turn, within `limits`; `query` is the request of
  /// a query, else null. Once more from
  /// the beginning where it gave way to others. Throws HttpFault and NotDelivered.
  std::unique_ptr<krv::rpc4::Reply> run(const std::string& service_id, const SqlFenceLimits& limits,
                                        krv::rpc4::Request* query, const Work& work);

 private:
  using Clock = std::chrono::steady_clock;

  /// The same once, on the thread that has the turn.
  std::unique_ptr<krv::rpc4::Reply> run_within(const std::string& service_id,
                                               const SqlFenceLimits& limits,
                                               krv::rpc4::Request* query, const Work& work);
  /// Throws what it means that an allocation was refused.
  [[noreturn]] void refuse_memory(bool is_of_request) const;

  const Call& call_;
  CallRoom& room_;
  CollectedLines& lines_;
  CallMemory memory_;
  std::string file_;
  /// Which record the call failed at, if it was one.
  std::optional<krv::rpc4::FailedItem> item_;
};

}  // namespace korvane::host
