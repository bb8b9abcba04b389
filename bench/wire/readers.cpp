#include "bench/wire/readers.h"

#include <chrono>
#include <exception>
#include <iostream>
#include <memory>

#include "bench/wire/http_caller.h"

namespace korvane::bench::wire {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kPiece = 16 * 1024;
constexpr auto kPause = 20ms;

/// Counts once, at the end if not before.
class Beginning {
 public:
  explicit Beginning(std::latch& latch) : latch_(latch) {}
  Beginning(const Beginning&) = delete;
  Beginning& operator=(const Beginning&) = delete;
  ~Beginning() { count(); }

  void count() {
    if (!is_counted_) latch_.count_down();
    is_counted_ = true;
  }

 private:
  std::latch& latch_;
  bool is_counted_ = false;
};

void read_slowly(const HttpCaller& caller, const std::atomic<bool>& is_over, Beginning& beginning) {
  caller.socket().receive_little();
  caller.send(Operation::get_rebars);
  std::vector<char> piece(kPiece);
  caller.socket().receive(piece.data(), 1);
  beginning.count();
  while (!is_over) {
    std::this_thread::sleep_for(kPause);
    caller.socket().receive(piece.data(), piece.size());
  }
}

}  // namespace

Readers::Readers(const Connect& connect, int count, Speed speed) : begun_(count) {
  for (int i = 0; i < count; ++i) {
    threads_.emplace_back([this, i, speed, &connect] {
      Beginning beginning(begun_);
      try {
        const std::unique_ptr<Caller> caller = connect(i);
        if (speed == Speed::slow) {
          read_slowly(dynamic_cast<const HttpCaller&>(*caller), is_over_, beginning);
        }
        while (!is_over_) {
          caller->call(Operation::get_rebars);
          beginning.count();
        }
      } catch (const std::exception& failure) {
        std::cerr << "a reader: " << failure.what() << '\n';
      }
    });
  }
  begun_.wait();
}

Readers::~Readers() {
  is_over_ = true;
  for (std::thread& thread : threads_) thread.join();
}

}  // namespace korvane::bench::wire
