#pragma once

#include <cstddef>
#include <string>

/// What is measured over the loopback: the same operations, asked of korvane and of its peers.
namespace korvane::bench::wire {

enum class Operation {
  /// An answer without work: `/healthz/live`, or an echo.
  live,
  /// A small read, by id.
  get_sheet,
  /// All 1,000 of a project.
  list_materials,
  /// 1,000 bars into a revision that is empty.
  add_rebar,
  /// The same from one that has them.
  get_rebars,
  /// Empties the revision that `add_rebar` fills.
  clear,
};
inline constexpr std::size_t kOperations = 6;

/// One connection, or what takes its place in the process. For one thread at a time.
class Caller {
 public:
  Caller() = default;
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;
  virtual ~Caller() = default;

  /// Sends bytes that were made before, and receives all of the reply without looking into it.
  /// Throws std::runtime_error for any reply but a success.
  virtual void call(Operation operation) = 0;
  /// The bytes of the last reply: a body, or a message.
  virtual std::string reply() const = 0;
};

}  // namespace korvane::bench::wire
