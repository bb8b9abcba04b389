#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <mutex>
#include <stdexcept>
#include <string>

namespace korvane::host {

/// A pool has no room for what was to be held; later it may. The text is "too many <kind> are held
/// at a time".
class PoolIsFull : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// How many bytes of one kind are held at a time: for all clients together, and for each of them no
/// more than a share below the whole, so that the others always find some. Every function may be
/// called from every thread.
class MemoryPool {
  struct Client;

 public:
  /// `kind` names what is held in refusals, such as "bodies of requests".
  MemoryPool(std::string kind, std::uint64_t total);
  MemoryPool(const MemoryPool&) = delete;
  MemoryPool& operator=(const MemoryPool&) = delete;
  ~MemoryPool();

  /// The bytes that one client may hold: three quarters of all.
  std::uint64_t share() const { return share_; }
  /// The bytes that are held now.
  std::uint64_t held() const { return held_; }

  /// What is held for one request, given back when this is destroyed. Used by one thread at a time;
  /// the pool must outlive it.
  class Holding {
   public:
    /// Holds nothing yet.
    Holding(MemoryPool& pool, const std::string& client);
    Holding(const Holding&) = delete;
    Holding& operator=(const Holding&) = delete;
    ~Holding();

    std::uint64_t bytes() const { return bytes_; }
    /// Holds `bytes` from now on, more or fewer than before. False, and nothing changed, when they
    /// do not fit. Allocates nothing.
    bool try_resize(std::uint64_t bytes) noexcept;
    /// The same. Throws PoolIsFull when they do not fit.
    void resize(std::uint64_t bytes);

   private:
    MemoryPool& pool_;
    Client& client_;
    std::uint64_t bytes_ = 0;
  };

 private:
  /// One client's part of the whole, as long as it holds anything.
  struct Client {
    std::string name;
    std::size_t holdings = 0;
    std::atomic<std::uint64_t> held = 0;
  };

  Client& enter(const std::string& name);
  void leave(Client& client);

  const std::string kind_;
  const std::uint64_t total_;
  const std::uint64_t share_;
  std::atomic<std::uint64_t> held_ = 0;
  std::mutex mutex_;
  std::list<Client> clients_;
};

}  // namespace korvane::host
