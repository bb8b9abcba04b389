// What carries every call and every line of the log, where there is no memory for it.

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/service/delivery.h"
#include "host/watch/log_writer.h"
#include "tests/support/failing_memory.h"

namespace korvane::host {
namespace {

using namespace std::chrono_literals;
using test::Allocator;
using test::FailingMemory;
using test::Shortage;
using testing::HasSubstr;
using Turn = Delivery::Turn;

// ---- the log

/// A line that does something when its text is made, on the writer's thread.
class ActingLine : public LateLine {
 public:
  ActingLine(std::function<void()> act, std::string text)
      : act_(std::move(act)), text_(std::move(text)) {}

  std::string text() const override {
    act_();
    return text_;
  }
  std::size_t bytes() const override { return 100; }

 private:
  const std::function<void()> act_;
  const std::string text_;
};

TEST(ALog, WithoutMemory_LosesLinesAndGoesOn) {
  std::mutex mutex;
  std::string out;
  out.reserve(1000);
  std::optional<FailingMemory> failing;
  LogWriter log(
      [&](std::string_view text) {
        const std::lock_guard lock(mutex);
        out += text;
        return text.size();
      },
      [](std::uint64_t lines) { return std::to_string(lines) + " lost"; });
  const auto without = [&] { failing.emplace(Allocator::kNew, Shortage::kAllAllocations, 1); };
  log.write(std::make_shared<ActingLine>(without, ""));
  log.flush(10s);
  log.write("lost");
  log.flush(10s);
  bool has_failed = false;
  const auto with_memory = [&] {
    has_failed = failing->has_failed();
    failing.reset();
  };
  log.write(std::make_shared<ActingLine>(with_memory, "back"));
  log.flush(10s);
  EXPECT_TRUE(has_failed);
  const std::lock_guard lock(mutex);
  EXPECT_EQ(out, "2 lost\nback\n");
}

TEST(ALog, WhoseCallerHasNoMemory_LosesTheLineAndKeepsItsRoom) {
  std::string out;
  LogWriter log(
      [&](std::string_view text) {
        out += text;
        return text.size();
      },
      [](std::uint64_t lines) { return std::to_string(lines) + " lost"; });
  for (int nth = 1; nth <= 3; ++nth) {
    std::string line(100, 'x');
    const std::uint64_t lost_before = LogWriter::lost();
    bool has_failed = false;
    {
      const FailingMemory failing(Allocator::kNew, Shortage::kOneAllocation, nth);
      EXPECT_NO_THROW(log.write(std::move(line)));
      has_failed = failing.has_failed();
    }
    EXPECT_EQ(LogWriter::lost() - lost_before, has_failed ? 1U : 0U) << nth;
  }
  // Room that was taken for lines that never came would keep this from ever being empty.
  const auto begin = std::chrono::steady_clock::now();
  log.flush(60s);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
  EXPECT_THAT(out, HasSubstr("2 lost\n"));
}

// ---- calls

const Delivery::Caller kOffice{"an office whose name does not fit into a text without memory"};
const Delivery::Caller kGone{kOffice.client, [] { return true; }};
const std::string kQueue = "a queue whose name does not fit into a text without memory";

/// A call that holds its queue until it is told to go.
class HeldCall {
 public:
  explicit HeldCall(Delivery& delivery)
      : done_(std::async(std::launch::async, [this, &delivery] {
          delivery.deliver(kQueue, {"site"}, [this](const Turn&) {
            has_begun_.set_value();
            may_go_.get_future().wait();
          });
        })) {
    has_begun_.get_future().wait();
  }
  ~HeldCall() {
    may_go_.set_value();
    done_.get();
  }

 private:
  std::promise<void> has_begun_;
  std::promise<void> may_go_;
  std::future<void> done_;
};

/// Fails each allocation of a call in turn, until it goes through.
int tries_until_done(const std::function<void()>& call) {
  for (int nth = 1;; ++nth) {
    const FailingMemory failing(Allocator::kNew, Shortage::kOneAllocation, nth);
    try {
      call();
    } catch (const std::bad_alloc&) {
      continue;
    } catch (const NotDelivered&) {
      // It has waited, as it was to.
    }
    if (!failing.has_failed()) return nth;
  }
}

void expect_sound(Delivery& delivery) {
  EXPECT_EQ(delivery.depth(), 0U);
  // More than may run at a time, of one client and in one queue.
  for (int i = 0; i < 20; ++i) {
    bool is_done = false;
    delivery.deliver(kQueue, kOffice, [&](const Turn&) { is_done = true; });
    EXPECT_TRUE(is_done);
  }
  EXPECT_TRUE(delivery.drain(10s));
}

TEST(ACall, WithoutMemory_LeavesNothingBehind) {
  for (int nth = 1;; ++nth) {
    Delivery delivery({});
    bool has_failed = false;
    {
      const FailingMemory failing(Allocator::kNew, Shortage::kOneAllocation, nth);
      try {
        delivery.deliver(kQueue, kOffice, [](const Turn&) {});
      } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): as it was to
      }
      has_failed = failing.has_failed();
    }
    expect_sound(delivery);
    if (has_failed) continue;
    EXPECT_GT(nth, 4);
    return;
  }
}

TEST(ACall, ThatWouldWaitWithoutMemory_LeavesNothingBehind) {
  Delivery delivery({});
  {
    const HeldCall held(delivery);
    EXPECT_GT(tries_until_done([&] { delivery.deliver(kQueue, kGone, [](const Turn&) {}); }), 2);
    EXPECT_EQ(delivery.depth(), 1U);
  }
  expect_sound(delivery);
}

TEST(ACall, ThatGivesWayWithoutMemory_FailsAndLetsTheOthersBegin) {
  for (int nth = 1;; ++nth) {
    Delivery delivery({});
    std::optional<FailingMemory> failing;
    std::future<void> other;
    int runs = 0;
    bool has_failed = false;
    try {
      delivery.deliver(kQueue, kOffice, [&](const Turn& turn) {
        if (++runs > 1) return;
        other = std::async(std::launch::async,
                           [&] { delivery.deliver(kQueue, {"site"}, [](const Turn&) {}); });
        while (!turn.others_wait()) std::this_thread::sleep_for(1ms);
        failing.emplace(Allocator::kNew, Shortage::kOneAllocation, nth);
        throw GiveWay();
      });
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(runs, 1);
    }
    has_failed = failing->has_failed();
    failing.reset();
    other.get();
    expect_sound(delivery);
    if (!has_failed) {
      EXPECT_GT(nth, 1);
      return;
    }
  }
}

}  // namespace
}  // namespace korvane::host
