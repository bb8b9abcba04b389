#include "host/memory/memory_pool.h"

#include <algorithm>
#include <utility>

namespace korvane::host {

namespace {

/// Adds to `held` unless it would then be more than `limit`.
bool try_add(std::atomic<std::uint64_t>& held, std::uint64_t bytes, std::uint64_t limit) noexcept {
  std::uint64_t before = held;
  do {
    if (bytes > limit || before > limit - bytes) return false;
  } while (!held.compare_exchange_weak(before, before + bytes));
  return true;
}

}  // namespace

MemoryPool::MemoryPool(std::string kind, std::uint64_t total)
    : kind_(std::move(kind)), total_(total), share_(total / 4 * 3 + total % 4) {}

MemoryPool::~MemoryPool() = default;

MemoryPool::Client& MemoryPool::enter(const std::string& name) {
  const std::lock_guard lock(mutex_);
  auto found = std::find_if(clients_.begin(), clients_.end(),
                            [&](const Client& client) { return client.name == name; });
  if (found == clients_.end()) {
    found = clients_.emplace(clients_.end());
    found->name = name;
  }
  ++found->holdings;
  return *found;
}

void MemoryPool::leave(Client& client) {
  const std::lock_guard lock(mutex_);
  if (--client.holdings != 0) return;
  clients_.remove_if([&](const Client& candidate) { return &candidate == &client; });
}

MemoryPool::Holding::Holding(MemoryPool& pool, const std::string& client)
    : pool_(pool), client_(pool.enter(client)) {}

MemoryPool::Holding::~Holding() {
  try_resize(0);
  pool_.leave(client_);
}

bool MemoryPool::Holding::try_resize(std::uint64_t bytes) noexcept {
  if (bytes > bytes_) {
    const std::uint64_t more = bytes - bytes_;
    if (!try_add(client_.held, more, pool_.share_)) return false;
    if (!try_add(pool_.held_, more, pool_.total_)) {
      client_.held -= more;
      return false;
    }
  } else {
    client_.held -= bytes_ - bytes;
    pool_.held_ -= bytes_ - bytes;
  }
  bytes_ = bytes;
  return true;
}

void MemoryPool::Holding::resize(std::uint64_t bytes) {
  if (try_resize(bytes)) return;
  throw PoolIsFull("too many " + pool_.kind_ + " are held at a time");
}

}  // namespace korvane::host
