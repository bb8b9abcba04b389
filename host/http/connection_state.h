#pragma once

#include <chrono>
#include <optional>

namespace korvane::host {

/// A connection as other threads see it, which shut it down when it is idle or overdue. They do not
/// close its descriptor: shutting it down wakes the connection's thread, and that thread alone
/// closes it. Used by one thread at a time.
class ConnectionState {
 public:
  using Clock = std::chrono::steady_clock;

  /// How long a connection that is new when the server stops has for its request.
  static constexpr std::chrono::milliseconds kTimeToBegin{1000};

  /// Idle. `descriptor` is not closed by this, and stays open as long as this lives.
  explicit ConnectionState(int descriptor) : descriptor_(descriptor) {}

  /// Between requests.
  void begin_idle();
  /// From the first byte of a request. It has so much time to arrive.
  void begin_reading(std::chrono::milliseconds time);
  /// The request is admitted, and its client known. False when the connection was shut before:
  /// nobody would see the reply, and the sender takes it that the request was not begun.
  bool admit() {
    is_at_rest_ = false;
    return !is_shut_;
  }
  /// A call may take as long as it needs.
  void begin_answering();
  /// A reply without an end has nothing to say just now. From now on it makes room for requests.
  void begin_watching();
  /// The reply has so much time to leave.
  void begin_writing(std::chrono::milliseconds time);

  bool is_overdue() const { return is_overdue_; }
  /// Whether it can be shut down without breaking anything off: it is between requests, in one
  /// that has not been admitted, or in a reply without an end, which its client takes up again.
  bool is_at_rest() const { return is_at_rest_ && !is_shut_; }
  Clock::time_point at_rest_since() const { return since_; }

  /// Not if a request has come meanwhile, which its thread is about to read. One that has not had a
  /// request yet is about to: it gets `kTimeToBegin` for it.
  void shut_if_idle();
  /// Returns whether it was.
  bool shut_if_at_rest();
  /// Both ways, whatever it does.
  void shut();
  void shut_if_overdue(Clock::time_point now);

 private:
  int descriptor_;
  bool is_idle_ = true;
  /// It has not had a request.
  bool is_new_ = true;
  bool is_at_rest_ = true;
  bool is_overdue_ = false;
  bool is_shut_ = false;
  /// Which ways it is shut down when it is overdue: what has not arrived in time is still replied
  /// to.
  int how_ = 0;
  Clock::time_point since_ = Clock::now();
  std::optional<Clock::time_point> deadline_;
};

}  // namespace korvane::host
