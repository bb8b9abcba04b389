#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace korvane::host {

/// A line whose text is made when it is written, on the writer's thread.
class LateLine {
 public:
  LateLine() = default;
  LateLine(const LateLine&) = default;
  LateLine& operator=(const LateLine&) = default;
  virtual ~LateLine() = default;

  /// The line without its end. Throws nothing but std::bad_alloc.
  virtual std::string text() const = 0;
  /// The memory that it takes as long as it is queued.
  virtual std::size_t bytes() const = 0;
};

/// Writes lines on a thread of its own, so that logging never blocks: a full disk and a reader that
/// has stopped cost lines and nothing else. Lost lines are counted, and the number is written
/// before the next lines that get through. Lines that come within some milliseconds go out
/// together. Any thread may write.
class LogWriter {
 public:
  /// Puts `text` out; returns how many of its bytes it has. May take any time, throws nothing.
  using Output = std::function<std::size_t(std::string_view text)>;
  /// The line that says that `lines` were lost, without its end. Throws nothing but std::bad_alloc.
  using LossLine = std::function<std::string(std::uint64_t lines)>;

  LogWriter(Output output, LossLine loss_line);
  LogWriter(const LogWriter&) = delete;
  LogWriter& operator=(const LogWriter&) = delete;
  /// Waits a second at most until what is queued is out. An output that still hangs then is left to
  /// itself: it must not refer to anything that is destroyed.
  ~LogWriter();

  /// Queues `line`, which has no end yet. Never waits and throws nothing: with 8 MiB queued, or
  /// without memory, the line is lost.
  void write(std::string line);
  void write(std::shared_ptr<const LateLine> line);

  /// Waits until what is queued is out, for `patience` at most.
  void flush(std::chrono::milliseconds patience);

  /// Lines that were lost since the start of the process, of all writers.
  static std::uint64_t lost();

 private:
  struct Shared;
  std::shared_ptr<Shared> shared_;
};

/// Puts text out to a file descriptor.
LogWriter::Output output_to(int descriptor);

}  // namespace korvane::host
