#include "host/watch/log_writer.h"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>
#include <poll.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace korvane::host {

namespace {

constexpr std::size_t kMostBytes = std::size_t{8} * 1024 * 1024;
/// What a queued line takes beside its text.
constexpr std::size_t kBytesOfLine = 64;
constexpr std::chrono::seconds kLastWait{1};

std::atomic<std::uint64_t> lost_lines = 0;

}  // namespace

/// Owned by the writer and by its thread, whichever lasts longer.
struct LogWriter::Shared {
  Shared(Output its_output, LossLine its_loss_line)
      : output(std::move(its_output)), loss_line(std::move(its_loss_line)) {}

  const Output output;
  const LossLine loss_line;
  std::mutex mutex;
  std::condition_variable has_changed;
  std::deque<std::string> lines;
  std::size_t bytes = 0;
  bool is_ending = false;
  bool has_ended = false;
  std::atomic<std::uint64_t> lost = 0;
  /// A line went out by half: the next one begins with its end.
  bool is_within_line = false;

  void lose(std::uint64_t count) {
    lost += count;
    lost_lines += count;
  }

  /// The thread.
  void run() {
    std::unique_lock lock(mutex);
    for (;;) {
      has_changed.wait(lock, [&] { return is_ending || !lines.empty(); });
      if (lines.empty()) break;
      const std::string line = std::move(lines.front());
      lines.pop_front();
      lock.unlock();
      put(line);
      lock.lock();
      // Counted until it is out, so that a line that hangs fills its part of the queue.
      bytes -= line.size() + kBytesOfLine;
      if (bytes == 0) has_changed.notify_all();
    }
    has_ended = true;
    has_changed.notify_all();
  }

  void put(const std::string& line) {
    const std::uint64_t missing = lost.exchange(0);
    if (missing != 0 && !put_whole(loss_line(missing))) {
      lost += missing;  // counted already in the process's number
      lose(1);
      return;
    }
    if (!put_whole(line)) lose(1);
  }

  bool put_whole(const std::string& line) {
    const std::string text = (is_within_line ? "\n" : "") + line + "\n";
    const std::size_t count = output(text);
    if (count != 0) is_within_line = count != text.size();
    return count == text.size();
  }
};

LogWriter::LogWriter(Output output, LossLine loss_line)
    : shared_(std::make_shared<Shared>(std::move(output), std::move(loss_line))) {
  std::thread([shared = shared_] {
    sigset_t signals;
    sigfillset(
        &signals);  // a reader that has gone is an error, and the others are the main thread's
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    shared->run();
  }).detach();
}

LogWriter::~LogWriter() {
  std::unique_lock lock(shared_->mutex);
  shared_->is_ending = true;
  shared_->has_changed.notify_all();
  shared_->has_changed.wait_for(lock, kLastWait, [&] { return shared_->has_ended; });
}

void LogWriter::write(std::string line) {
  const std::size_t size = line.size() + kBytesOfLine;
  const std::lock_guard lock(shared_->mutex);
  if (shared_->bytes + size > kMostBytes) return shared_->lose(1);
  shared_->bytes += size;
  shared_->lines.push_back(std::move(line));
  shared_->has_changed.notify_all();
}

void LogWriter::flush(std::chrono::milliseconds patience) {
  std::unique_lock lock(shared_->mutex);
  shared_->has_changed.wait_for(lock, patience, [&] { return shared_->bytes == 0; });
}

std::uint64_t LogWriter::lost() { return lost_lines; }

LogWriter::Output output_to(int descriptor) {
  return [descriptor](std::string_view text) {
    std::size_t written = 0;
    while (written < text.size()) {
      const ssize_t count = ::write(descriptor, text.data() + written, text.size() - written);
      if (count > 0) {
        written += static_cast<std::size_t>(count);
      } else if (count < 0 && errno == EAGAIN) {
        pollfd one{descriptor, POLLOUT, 0};
        ::poll(&one, 1, -1);
      } else if (count == 0 || errno != EINTR) {
        break;
      }
    }
    return written;
  };
}

}  // namespace korvane::host
