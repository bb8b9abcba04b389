#include "host/service/call_turns.h"

#include <algorithm>
#include <chrono>
#include <optional>

#include "host/service/around_query.h"
#include "host/service/delivery.h"

namespace korvane::host {

using krv::rpc4::LiveService;
using krv::rpc4::Reply;

namespace {

/// Whether it was the request that there was no memory for.
bool is_of_request(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const krv::rpc4::NoMemoryForRequest&) {
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace

CallTurns::CallTurns(const Call& call, CollectedLines& lines)
    : call_(call),
      room_(call.room()),
      lines_(lines),
      memory_(room_.records, call.client().name, room_.limits.record_bytes) {}

FailedCall CallTurns::failed_call() const {
  return {call_.operation().effect, file_, file_.empty() || begins_as_database(file_), item_};
}

void CallTurns::refuse_memory(bool is_of_request) const {
  if (memory_.refusal() != CallMemory::Refusal::too_much) {
    const bool is_pools = memory_.refusal() == CallMemory::Refusal::no_room;
    throw HttpFault(503,
                    is_pools ? "too many records of requests are held at a time" : "out of memory",
                    {{"Retry-After", "1"}});
  }
  const std::string limit = std::to_string(memory_.limit());
  if (is_of_request) {
    throw HttpFault(413, "the request becomes more than " + limit + " bytes in memory");
  }
  throw HttpFault(422, "a call may have " + limit + " bytes of memory: it was stopped");
}

std::unique_ptr<Reply> CallTurns::run(const std::string& service_id, const SqlFenceLimits& limits,
                                      krv::rpc4::Request* query, const Work& work) {
  using std::chrono::milliseconds;
  std::optional<Clock::time_point> first_turn;
  std::unique_ptr<Reply> result;
  const Delivery::Caller caller{call_.client().name, call_.request().has_client_gone};
  // What was logged before, as when the project was opened, stays; a turn that is repeated has its own.
  const CollectedLines before = lines_;
  room_.delivery.deliver(service_id, caller, [&](const Delivery::Turn& turn) {
    if (!first_turn) first_turn = Clock::now();
    SqlFenceLimits of_turn = limits;
    // A call that gave way has waited already.
    const auto left = limits.lock_wait - (Clock::now() - *first_turn);
    of_turn.lock_wait = std::max(milliseconds(0), std::chrono::duration_cast<milliseconds>(left));
    // A mounted route is several transactions: it cannot begin anew after the first.
    if (call_.mounted() == nullptr) of_turn.others_wait = [&turn] { return turn.others_wait(); };
    lines_ = before;
    result = run_within(service_id, of_turn, query, work);
  });
  return result;
}

std::unique_ptr<Reply> CallTurns::run_within(const std::string& service_id,
                                             const SqlFenceLimits& limits,
                                             krv::rpc4::Request* query, const Work& work) {
  const std::optional<LiveService> service = krv::rpc4::find_live_service(service_id);
  if (!service) throw HttpFault(404, "no service " + service_id);
  const LineCollector collector(lines_);
  const krv::rpc4::FailedItemListener listener;
  SqlFenceLimits of_query = limits;
  SqlFenceLimits of_surroundings = room_.limits.call;
  std::optional<QuerySurroundings> surroundings;
  if (query != nullptr) {
    // Together they wait no longer than the query alone may.
    of_surroundings.time = limits.time;
    of_surroundings.lock_wait = limits.lock_wait;
    of_surroundings.others_wait = limits.others_wait;
    const Clock::time_point begin = Clock::now();
    surroundings.emplace(room_.limits.around_query, of_surroundings, memory_, *service,
                         query->sql());
    const auto left = limits.lock_wait - (Clock::now() - begin);
    of_query.lock_wait = std::max(std::chrono::milliseconds(0),
                                  std::chrono::duration_cast<std::chrono::milliseconds>(left));
    of_surroundings.lock_wait = std::chrono::milliseconds(0);
  }
  SqlFence fence(of_query);
  std::unique_ptr<Reply> result;
  std::exception_ptr failure;
  {
    const CallMemory::Scope scope(memory_);
    try {
      result = work(*service, fence);
    } catch (...) {
      failure = std::current_exception();
    }
  }
  if (!failure) {
    fence.roll_back();
    return result;
  }
  const std::optional<FenceStop> stop = fence.stopped();
  fence.roll_back();
  if (fence.gave_way()) throw GiveWay();
  if (memory_.refusal() != CallMemory::Refusal::none) {
    refuse_memory(is_of_request(failure));
  }
  if (stop == FenceStop::refused) throw HttpFault(problem("refused-sql"), fence.reason());
  if (stop) throw HttpFault(422, fence.reason());
  item_ = listener.item();
  return counted(false, [&]() -> std::unique_ptr<Reply> { std::rethrow_exception(failure); });
}

}  // namespace korvane::host
