#include "host/watch/log_writer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <list>
#include <mutex>
#include <new>
#include <numeric>
#include <poll.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace korvane::host {

namespace {

constexpr std::size_t kMostBytes = std::size_t{8} * 1024 * 1024;
/// What a queued line takes beside its text.
constexpr std::size_t kBytesOfLine = 64;
/// How much goes out in one piece, and a line more.
constexpr std::size_t kBytesOfPiece = 64U << 10U;
/// How long a line may wait for others, so that they wake the thread once.
constexpr std::chrono::milliseconds kGathering{5};
constexpr std::chrono::seconds kLastWait{1};

std::atomic<std::uint64_t> lost_lines = 0;

class EarlyLine : public LateLine {
 public:
  explicit EarlyLine(std::string text) : text_(std::move(text)) {}

  std::string text() const override { return text_; }
  std::size_t bytes() const override { return text_.size() + kBytesOfLine; }

 private:
  const std::string text_;
};

/// Lines on their way out together.
struct Piece {
  std::string text;
  /// Where each line ends.
  std::vector<std::size_t> ends;

  /// Where there is no memory it adds nothing.
  void add(const std::string& line) {
    const std::size_t begin = text.size();
    ends.push_back(begin + line.size() + 1);
    try {
      text += line;
      text += '\n';
    } catch (const std::bad_alloc&) {
      text.resize(begin);
      ends.pop_back();
      throw;
    }
  }
};

}  // namespace

/// Owned by the writer and by its thread, whichever lasts longer.
struct LogWriter::Shared {
  Shared(Output its_output, LossLine its_loss_line)
      : output(std::move(its_output)), loss_line(std::move(its_loss_line)) {}

  /// A list: its lines change their list without memory, which the thread must do without.
  using Lines = std::list<std::shared_ptr<const LateLine>>;

  const Output output;
  const LossLine loss_line;
  std::mutex mutex;
  std::condition_variable has_changed;
  std::condition_variable is_out;
  Lines lines;
  std::size_t bytes = 0;
  /// The thread waits for lines, not for more of them.
  bool is_asleep = false;
  bool is_hurried = false;
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
      is_asleep = true;
      has_changed.wait(lock, [&] { return is_ending || !lines.empty(); });
      is_asleep = false;
      if (lines.empty()) break;
      has_changed.wait_for(lock, kGathering, [&] { return is_ending || is_hurried; });
      is_hurried = false;
      while (!lines.empty()) {
        const Lines taken = take_lines();
        lock.unlock();
        put(taken);
        lock.lock();
        // Counted until they are out, so that lines that hang fill their part of the queue.
        bytes -= bytes_of(taken);
      }
      if (bytes == 0) is_out.notify_all();
    }
    has_ended = true;
    is_out.notify_all();
  }

  /// As many as go out together.
  Lines take_lines() noexcept {
    Lines taken;
    for (std::size_t taken_bytes = 0; !lines.empty() && taken_bytes < kBytesOfPiece;) {
      taken_bytes += lines.front()->bytes();
      taken.splice(taken.end(), lines, lines.begin());
    }
    return taken;
  }

  static std::size_t bytes_of(const Lines& some) {
    return std::accumulate(some.begin(), some.end(), std::size_t{0},
                           [](std::size_t sum, const auto& line) { return sum + line->bytes(); });
  }

  void put(const Lines& taken) {
    Piece piece;
    for (const auto& line : taken) {
      try {
        piece.add(line->text());
      } catch (const std::bad_alloc&) {
        lose(1);
      }
    }
    if (!piece.ends.empty()) put(piece);
  }

  void put(Piece& piece) {
    const std::uint64_t missing = lost.exchange(0);
    if (missing != 0 && !put_loss(missing)) {
      lost += missing;  // counted already in the process's number
      return lose(piece.ends.size());
    }
    lose(piece.ends.size() - put_lines(piece));
  }

  bool put_loss(std::uint64_t missing) {
    try {
      Piece loss;
      loss.add(loss_line(missing));
      return put_lines(loss) != 0;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  /// Returns how many of its lines went out whole: none where there is no memory.
  std::size_t put_lines(Piece& piece) {
    const std::size_t begin = is_within_line ? 1 : 0;
    try {
      piece.text.insert(0, begin, '\n');
    } catch (const std::bad_alloc&) {
      return 0;
    }
    const std::size_t count = output(piece.text);
    if (count == 0) return 0;
    const std::size_t of_lines = count - begin;
    const auto first_left = std::upper_bound(piece.ends.begin(), piece.ends.end(), of_lines);
    const auto whole = static_cast<std::size_t>(first_left - piece.ends.begin());
    is_within_line = of_lines != (whole == 0 ? 0 : piece.ends[whole - 1]);
    return whole;
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
  shared_->is_out.wait_for(lock, kLastWait, [&] { return shared_->has_ended; });
}

void LogWriter::write(std::string line) {
  std::shared_ptr<const LateLine> early;
  try {
    early = std::make_shared<const EarlyLine>(std::move(line));
  } catch (const std::bad_alloc&) {
    return shared_->lose(1);
  }
  write(std::move(early));
}

void LogWriter::write(std::shared_ptr<const LateLine> line) {
  const std::size_t size = line->bytes();
  bool wakes = false;
  {
    const std::lock_guard lock(shared_->mutex);
    if (shared_->bytes + size > kMostBytes) return shared_->lose(1);
    try {
      shared_->lines.push_back(std::move(line));
    } catch (const std::bad_alloc&) {
      return shared_->lose(1);
    }
    shared_->bytes += size;
    shared_->is_hurried = shared_->is_hurried || shared_->bytes > kMostBytes / 2;
    wakes = std::exchange(shared_->is_asleep, false) || shared_->is_hurried;
  }
  if (wakes) shared_->has_changed.notify_all();
}

void LogWriter::flush(std::chrono::milliseconds patience) {
  std::unique_lock lock(shared_->mutex);
  shared_->is_hurried = true;
  shared_->has_changed.notify_all();
  shared_->is_out.wait_for(lock, patience, [&] { return shared_->bytes == 0; });
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
