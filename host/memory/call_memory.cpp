#include "host/memory/call_memory.h"

#include <algorithm>

namespace korvane::host {

namespace {

/// Room is asked for in steps, larger ones as the request grows: the pool is shared by all threads.
constexpr std::int64_t kSmallestStep = std::int64_t{64} * 1024;
constexpr std::int64_t kPartOfStep = 8;

}  // namespace

CallMemory::CallMemory(MemoryPool& pool, const std::string& client, std::uint64_t limit)
    : limit_(limit), holding_(pool, client) {}

CallMemory::Scope::Scope(CallMemory& memory) noexcept { current_ = &memory; }

CallMemory::Scope::~Scope() {
  CallMemory& memory = *current_;
  current_ = nullptr;
  // What is left over is for others.
  memory.granted_ = std::max<std::int64_t>(memory.live_, 0);
  memory.holding_.try_resize(static_cast<std::uint64_t>(memory.granted_));
}

bool CallMemory::ask_for(std::int64_t wanted) noexcept {
  const auto limit = static_cast<std::int64_t>(limit_);
  const std::int64_t step = std::max(kSmallestStep, wanted / kPartOfStep);
  // Where a whole step is too much, just what is wanted may fit.
  for (const std::int64_t room : {std::min(wanted + step, limit), wanted}) {
    if (room < wanted || room > limit) continue;
    if (!holding_.try_resize(static_cast<std::uint64_t>(room))) continue;
    granted_ = room;
    return true;
  }
  if (refusal_ == Refusal::none) {
    refusal_ = wanted > limit ? Refusal::too_much : Refusal::no_room;
  }
  return false;
}

}  // namespace korvane::host
