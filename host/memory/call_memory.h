#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/memory/memory_pool.h"

namespace korvane::host {

/// Counts the memory that the work on one request has, whoever takes it: records that are decoded,
/// what an operation reads, the trees of parsers, and what SQLite takes. It ends what wants more
/// than allowed by failing that allocation: `new` throws std::bad_alloc, and SQLite fails for want
/// of memory. `refusal` then says that it was this, and not the machine's memory.
///
/// A thread's allocations count while it has a `Scope`. Several threads may work on a request, one
/// after the other.
///
/// The program's `operator new` and `delete` are replaced for it, in every library that the program
/// loads (counted_new.cpp). What C libraries take by malloc is not counted.
class CallMemory {
 public:
  /// At most `limit` bytes, and of `pool` no more than there are for `client`.
  CallMemory(MemoryPool& pool, const std::string& client, std::uint64_t limit);
  CallMemory(const CallMemory&) = delete;
  CallMemory& operator=(const CallMemory&) = delete;
  ~CallMemory() = default;

  /// The calling thread's allocations count while it lives. One at a time on a thread.
  class Scope {
   public:
    explicit Scope(CallMemory& memory) noexcept;
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope();
  };

  enum class Refusal {
    none,
    too_much,  ///< more than `limit`
    no_room,   ///< more than the pool has for the client just now
  };
  /// Why an allocation was refused first, since the last call of `forget_refusal`.
  Refusal refusal() const { return refusal_; }
  void forget_refusal() { refusal_ = Refusal::none; }

  std::uint64_t limit() const { return limit_; }
  /// Bytes that are counted now, and the most that ever were.
  std::uint64_t live() const { return live_ > 0 ? static_cast<std::uint64_t>(live_) : 0; }
  std::uint64_t peak() const { return static_cast<std::uint64_t>(peak_); }

  // For the allocators, which every call comes by: short and inline.

  /// Whether anything is counted on the calling thread.
  static bool is_counting() noexcept { return current_ != nullptr; }
  /// Takes note of `bytes` that the calling thread is about to take. False when it may not.
  static bool take(std::size_t bytes) noexcept {
    if (current_ == nullptr) return true;
    CallMemory& memory = *current_;
    const std::int64_t wanted = memory.live_ + static_cast<std::int64_t>(bytes);
    if (wanted > memory.granted_ && !memory.ask_for(wanted)) return false;
    memory.live_ = wanted;
    if (wanted > memory.peak_) memory.peak_ = wanted;
    return true;
  }
  /// Takes note of `bytes` that the calling thread has given back.
  static void give_back(std::size_t bytes) noexcept {
    if (current_ != nullptr) current_->live_ -= static_cast<std::int64_t>(bytes);
  }

 private:
  static inline constinit thread_local CallMemory* current_ = nullptr;

  /// Has the holding make room for so many bytes altogether.
  bool ask_for(std::int64_t wanted) noexcept;

  const std::uint64_t limit_;
  MemoryPool::Holding holding_;
  /// What the holding has room for. Below zero the request has freed more than it took: memory of
  /// before.
  std::int64_t granted_ = 0;
  std::int64_t live_ = 0;
  std::int64_t peak_ = 0;
  Refusal refusal_ = Refusal::none;
};

/// Whether this program's `new` is counted: false where something else has replaced it as well.
bool is_new_counted();

}  // namespace korvane::host
