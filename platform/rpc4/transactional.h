#pragma once

struct sqlite3;

namespace krv::rpc4 {

/// What a service that keeps its data in SQLite may offer beside its operations: that several of
/// them, and what a host writes next to them, are stored together or not at all. Used on the thread
/// of a call, in the service's turn, by one unit at a time. All that is begun must be ended within
/// the turn, on the same thread.
class Transactional {
 public:
  /// Begins a unit and takes the write lock. Operations of this thread are parts of it from now on:
  /// one that fails takes back what it did itself. Throws what the data layer throws; nothing has
  /// begun then.
  virtual void begin_unit() = 0;
  /// Stores all of it. The unit has ended, too, when this throws what the data layer throws: nothing
  /// is stored then.
  virtual void commit_unit() = 0;
  /// Ends a unit and stores nothing of it. Does nothing if none has begun.
  virtual void roll_back_unit() noexcept = 0;

  /// The connection of the service's data, for statements of a host's own within a unit. The service
  /// keeps it as long as it lives.
  virtual sqlite3* connection() = 0;

 protected:
  Transactional() = default;
  Transactional(const Transactional&) = default;
  Transactional& operator=(const Transactional&) = default;
  ~Transactional() = default;
};

}  // namespace krv::rpc4
