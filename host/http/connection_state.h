#pragma once

#include <chrono>
#include <optional>

namespace korvane::host {

/// What is known of a connection from outside its thread, which shuts it where it is idle or
/// overdue. The descriptor is shut, not closed: the connection's thread is woken by it, and it
/// alone closes it. Used with the server's lock held.
class ConnectionState {
 public:
  using Clock = std::chrono::steady_clock;

  explicit ConnectionState(int descriptor) : descriptor_(descriptor) {}

  /// Between requests.
  void begin_idle();
  /// From the first byte of a request.
  void begin_reading(std::chrono::milliseconds time);
  /// The request is let in, for a client that is known.
  void admit() { is_at_rest_ = false; }
  void begin_answering();
  void begin_writing(std::chrono::milliseconds time);

  bool is_overdue() const { return is_overdue_; }
  /// Whether nothing is lost but time when it is shut: between requests, or in one that was not let
  /// in, yet or at all.
  bool is_at_rest() const { return is_at_rest_ && !is_shut_; }
  Clock::time_point at_rest_since() const { return since_; }

  void shut_if_idle();
  void shut();
  void shut_if_overdue(Clock::time_point now);

 private:
  int descriptor_;
  bool is_idle_ = true;
  bool is_at_rest_ = true;
  bool is_overdue_ = false;
  bool is_shut_ = false;
  int how_ = 0;
  Clock::time_point since_ = Clock::now();
  std::optional<Clock::time_point> deadline_;
};

}  // namespace korvane::host
