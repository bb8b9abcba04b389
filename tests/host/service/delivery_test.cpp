// Calls in turns: one at a time in each queue, in parallel in different ones, by clients, and
// bounded.

#include "host/service/delivery.h"

#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvane::host {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

using Reason = NotDelivered::Reason;
using Turn = Delivery::Turn;

const Delivery::Caller kOffice{"office"};
const Delivery::Caller kSite{"site"};

void nothing(const Turn&) {}

/// A call that holds its queue until it is told to go.
class HeldCall {
 public:
  HeldCall(Delivery& delivery, const std::string& queue, const Delivery::Caller& caller = kOffice)
      : done_(std::async(std::launch::async, [this, &delivery, queue, caller] {
          return delivery.deliver(queue, caller, [this](const Turn&) {
            has_begun_.set_value();
            may_go_.get_future().wait();
          });
        })) {}

  void wait_until_it_runs() { has_begun_.get_future().wait(); }
  void let_go() { may_go_.set_value(); }
  void result() { done_.get(); }

 private:
  std::promise<void> has_begun_;
  std::promise<void> may_go_;
  std::future<void> done_;
};

template <class Action>
std::optional<Reason> refusal(Action action, std::string* text = nullptr) {
  try {
    action();
    return std::nullopt;
  } catch (const NotDelivered& failure) {
    if (text != nullptr) *text = failure.what();
    return failure.why;
  }
}

void wait_for_depth(const Delivery& delivery, std::size_t depth) {
  while (delivery.depth() != depth) std::this_thread::yield();
}

TEST(Delivery, RunsTheWorkOnceBeforeItReturns) {
  Delivery delivery({});
  int runs = 0;
  delivery.deliver("a", kOffice, [&](const Turn&) { ++runs; });
  EXPECT_EQ(runs, 1);
}

TEST(Delivery, RunsACallOnTheThreadThatBringsIt) {
  Delivery delivery({});
  std::thread::id ran_on;
  delivery.deliver("a", kOffice, [&](const Turn&) { ran_on = std::this_thread::get_id(); });
  EXPECT_EQ(ran_on, std::this_thread::get_id());
}

TEST(Delivery, RunsACallThatWaitedOnTheThreadThatBringsIt) {
  Delivery delivery({});
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  std::thread::id ran_on;
  std::thread other([&] {
    delivery.deliver("a", kSite, [&](const Turn&) { ran_on = std::this_thread::get_id(); });
  });
  const std::thread::id brought_by = other.get_id();
  wait_for_depth(delivery, 2);
  held.let_go();
  held.result();
  other.join();
  EXPECT_EQ(ran_on, brought_by);
}

TEST(Delivery, PassesOnWhatTheWorkThrows) {
  Delivery delivery({});
  EXPECT_THROW(delivery.deliver("a", kOffice, [](const Turn&) { throw std::out_of_range("x"); }),
               std::out_of_range);
  EXPECT_EQ(delivery.depth(), 0U);
}

TEST(Delivery, RunsTheCallsOfAClientInAQueueInTheOrderInWhichTheyCame) {
  Delivery delivery({});
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  std::vector<int> order;
  std::vector<std::future<void>> calls;
  for (int i = 0; i < 8; ++i) {
    calls.push_back(std::async(std::launch::async, [&, i] {
      return delivery.deliver("a", kOffice, [&, i](const Turn&) { order.push_back(i); });
    }));
    wait_for_depth(delivery, static_cast<std::size_t>(i) + 2);
  }
  held.let_go();
  held.result();
  for (auto& call : calls) call.get();
  EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
}

TEST(Delivery, LetsClientsTakeTurnsInAQueueHoweverManyCallsTheyHave) {
  Delivery delivery({});
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  std::vector<std::string> order;
  std::vector<std::future<void>> calls;
  const auto call = [&](const Delivery::Caller& caller) {
    calls.push_back(std::async(std::launch::async, [&] {
      return delivery.deliver("a", caller, [&](const Turn&) { order.push_back(caller.client); });
    }));
    wait_for_depth(delivery, calls.size() + 1);
  };
  for (int i = 0; i < 4; ++i) call(kOffice);
  for (int i = 0; i < 2; ++i) call(kSite);
  held.let_go();
  held.result();
  for (auto& one : calls) one.get();
  EXPECT_THAT(order, ElementsAre("office", "site", "office", "site", "office", "office"));
}

TEST(Delivery, KeepsTheTurnOfAClientWhoseCallsRunElsewhere) {
  Delivery delivery({});
  HeldCall elsewhere(delivery, "b", kSite);
  elsewhere.wait_until_it_runs();
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  std::vector<std::string> order;
  std::vector<std::future<void>> calls;
  for (const Delivery::Caller* const caller : {&kSite, &kOffice, &kOffice}) {
    calls.push_back(std::async(std::launch::async, [&, caller] {
      return delivery.deliver("a", *caller, [&](const Turn&) { order.push_back(caller->client); });
    }));
    wait_for_depth(delivery, calls.size() + 2);
  }
  held.let_go();
  held.result();
  for (auto& one : calls) one.get();
  EXPECT_THAT(order, ElementsAre("site", "office", "office"));
  elsewhere.let_go();
  elsewhere.result();
}

TEST(Delivery, RunsCallsInDifferentQueuesInParallel) {
  Delivery delivery({});
  // Each call waits for the other: run one after the other they would never end.
  std::latch both(2);
  const auto meet = [&](const Turn&) { both.arrive_and_wait(); };
  auto first = std::async(std::launch::async, [&] { return delivery.deliver("a", kOffice, meet); });
  delivery.deliver("b", kOffice, meet);
  first.get();
}

TEST(Delivery, ALongCallInOneQueueDoesNotHoldUpAnother) {
  DeliveryLimits limits;
  limits.workers = 1;  // three at least run
  Delivery delivery(limits);
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  for (int i = 0; i < 10; ++i) delivery.deliver("b", kOffice, nothing);
  held.let_go();
  held.result();
}

TEST(Delivery, LeavesRoomToOtherClients) {
  DeliveryLimits limits;
  limits.workers = 4;
  Delivery delivery(limits);
  std::vector<std::unique_ptr<HeldCall>> held;
  for (const char* const queue : {"a", "b", "c"}) {
    held.push_back(std::make_unique<HeldCall>(delivery, queue));
    held.back()->wait_until_it_runs();
  }
  // A fourth of the same client waits, though one more might run.
  HeldCall fourth(delivery, "d");
  wait_for_depth(delivery, 4);
  for (int i = 0; i < 10; ++i) delivery.deliver("e", kSite, nothing);
  // Behind that one in its queue, another client goes first.
  delivery.deliver("d", kSite, nothing);
  held.front()->let_go();
  fourth.wait_until_it_runs();
  fourth.let_go();
  fourth.result();
  held[1]->let_go();
  held[2]->let_go();
  for (auto& call : held) call->result();
}

TEST(Delivery, LetsAQueueThatHadItsTurnWaitAfterTheOthers) {
  DeliveryLimits limits;
  limits.workers = 3;
  Delivery delivery(limits);
  // One more may run, of the queues "a" and "b".
  HeldCall first(delivery, "c", {"first"});
  HeldCall second(delivery, "d", {"second"});
  first.wait_until_it_runs();
  second.wait_until_it_runs();
  HeldCall held(delivery, "a", {"third"});
  held.wait_until_it_runs();
  std::vector<std::string> order;
  const auto note = [&](const std::string& queue, const Delivery::Caller& caller) {
    return std::async(std::launch::async, [&, queue, caller] {
      delivery.deliver(queue, caller, [&](const Turn&) { order.push_back(queue); });
    });
  };
  auto in_a = note("a", kOffice);
  wait_for_depth(delivery, 4);
  auto in_b = note("b", kSite);
  wait_for_depth(delivery, 5);
  held.let_go();
  held.result();
  in_a.get();
  in_b.get();
  EXPECT_THAT(order, ElementsAre("b", "a"));
  first.let_go();
  second.let_go();
  first.result();
  second.result();
}

TEST(Delivery, RefusesACallTooManyInAQueue) {
  DeliveryLimits limits;
  limits.waiting_calls = 4;
  Delivery delivery(limits);
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  std::vector<std::future<void>> waiting;
  const auto wait_as = [&](const Delivery::Caller& caller) {
    waiting.push_back(
        std::async(std::launch::async, [&] { return delivery.deliver("a", caller, nothing); }));
    wait_for_depth(delivery, waiting.size() + 1);
  };
  for (int i = 0; i < 3; ++i) wait_as(kOffice);
  std::string text;
  // One client never fills it.
  EXPECT_EQ(refusal([&] { delivery.deliver("a", kOffice, nothing); }, &text), Reason::queue_full);
  EXPECT_EQ(text, "too many calls wait for a");
  wait_as(kSite);
  EXPECT_EQ(refusal([&] { delivery.deliver("a", kSite, nothing); }), Reason::queue_full);
  EXPECT_EQ(refusal([&] { delivery.deliver("b", kOffice, nothing); }), std::nullopt);
  held.let_go();
  held.result();
  for (auto& call : waiting) call.get();
}

TEST(Delivery, GivesUpACallWhoseTurnDoesNotComeInTime) {
  DeliveryLimits limits;
  limits.waiting_time = 20ms;
  Delivery delivery(limits);
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  bool has_run = false;
  std::string text;
  EXPECT_EQ(
      refusal([&] { delivery.deliver("a", kOffice, [&](const Turn&) { has_run = true; }); }, &text),
      Reason::waited_too_long);
  EXPECT_EQ(text, "the call waited too long for a");
  held.let_go();
  held.result();
  delivery.deliver("a", kOffice, nothing);
  EXPECT_FALSE(has_run);
}

TEST(Delivery, DropsAWaitingCallWhoseCallerHasGone) {
  Delivery delivery({});
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  std::atomic<bool> has_gone = false;
  bool has_run = false;
  const Delivery::Caller caller{"site", [&] { return has_gone.load(); }};
  auto waiting = std::async(std::launch::async, [&] {
    return refusal([&] { delivery.deliver("a", caller, [&](const Turn&) { has_run = true; }); });
  });
  wait_for_depth(delivery, 2);
  has_gone = true;
  EXPECT_EQ(waiting.get(), Reason::caller_gone);
  EXPECT_EQ(delivery.depth(), 1U);
  held.let_go();
  held.result();
  EXPECT_FALSE(has_run);
}

TEST(Delivery, FinishesACallThatHasBegunWhoseCallerHasGone) {
  Delivery delivery({});
  std::atomic<bool> has_gone = false;
  bool has_finished = false;
  delivery.deliver("a", {"site", [&] { return has_gone.load(); }}, [&](const Turn&) {
    has_gone = true;
    std::this_thread::sleep_for(500ms);
    has_finished = true;
  });
  EXPECT_TRUE(has_finished);
}

TEST(Delivery, CallsThatWereGivenUpLeaveTheQueueToOneCallAtATime) {
  DeliveryLimits limits;
  limits.waiting_time = 1ms;
  Delivery delivery(limits);
  std::atomic<int> running = 0;
  std::atomic<int> overlaps = 0;
  std::vector<std::thread> clients;
  for (int i = 0; i < 8; ++i) {
    clients.emplace_back([&, i] {
      const Delivery::Caller& caller = i % 2 == 0 ? kOffice : kSite;
      for (int n = 0; n < 200; ++n) {
        refusal([&] {
          delivery.deliver("a", caller, [&](const Turn&) {
            if (++running != 1) ++overlaps;
            std::this_thread::sleep_for(500us);
            --running;
          });
        });
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(overlaps, 0);
  EXPECT_EQ(delivery.depth(), 0U);
}

TEST(Delivery, WaitsForACallThatHasBegunHoweverLongItTakes) {
  DeliveryLimits limits;
  limits.waiting_time = 1ms;
  Delivery delivery(limits);
  bool has_finished = false;
  delivery.deliver("a", kOffice, [&](const Turn&) {
    std::this_thread::sleep_for(30ms);
    has_finished = true;
  });
  EXPECT_TRUE(has_finished);
}

TEST(Delivery, LetsOthersGoOnWhenACallGivesWayAndThenRunsItAgain) {
  Delivery delivery({});
  std::vector<std::string> order;
  std::latch runs(1);
  auto patient = std::async(std::launch::async, [&] {
    bool has_tried = false;
    return delivery.deliver("a", kOffice, [&](const Turn& turn) {
      if (std::exchange(has_tried, true)) {
        order.emplace_back("patient");
        return;
      }
      runs.count_down();
      while (!turn.others_wait()) std::this_thread::yield();
      throw GiveWay();
    });
  });
  runs.wait();
  delivery.deliver("a", kSite, [&](const Turn&) { order.emplace_back("other"); });
  patient.get();
  EXPECT_THAT(order, ElementsAre("other", "patient"));
  EXPECT_EQ(delivery.depth(), 0U);
}

TEST(Delivery, RunsACallThatGaveWayAfterThatOfAClientWhoseCallsRunElsewhere) {
  Delivery delivery({});
  HeldCall elsewhere(delivery, "b", kSite);
  elsewhere.wait_until_it_runs();
  int tries = 0;
  std::latch runs(1);
  auto patient = std::async(std::launch::async, [&] {
    return delivery.deliver("a", kOffice, [&](const Turn& turn) {
      if (++tries == 1) {
        runs.count_down();
        while (!turn.others_wait()) std::this_thread::yield();
      }
      if (turn.others_wait() && tries < 10) throw GiveWay();
    });
  });
  runs.wait();
  delivery.deliver("a", kSite, nothing);
  patient.get();
  EXPECT_EQ(tries, 2);
  elsewhere.let_go();
  elsewhere.result();
}

TEST(Delivery, DropsACallThatGivesWayWhenTheServerStops) {
  Delivery delivery({});
  std::latch runs(1);
  std::latch may_give_way(1);
  auto patient = std::async(std::launch::async, [&] {
    return refusal([&] {
      delivery.deliver("a", kOffice, [&](const Turn&) {
        runs.count_down();
        may_give_way.wait();
        throw GiveWay();
      });
    });
  });
  runs.wait();
  EXPECT_FALSE(delivery.drain(1ms));
  may_give_way.count_down();
  EXPECT_EQ(patient.get(), Reason::stopping);
}

TEST(Delivery, KnowsHowLongItsOldestCallHasBeenThere) {
  Delivery delivery({});
  EXPECT_EQ(delivery.age_of_oldest(), 0ns);
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  std::this_thread::sleep_for(20ms);
  EXPECT_GE(delivery.age_of_oldest(), 20ms);
  held.let_go();
  held.result();
  EXPECT_EQ(delivery.age_of_oldest(), 0ns);
}

TEST(Delivery, DrainsWhatRunsAndWaits) {
  Delivery delivery({});
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  auto waiting = std::async(std::launch::async, [&] {
    return refusal([&] { delivery.deliver("a", kOffice, nothing); });
  });
  wait_for_depth(delivery, 2);
  auto drained = std::async(std::launch::async, [&] { return delivery.drain(10s); });
  while (refusal([&] { delivery.deliver("b", kOffice, nothing); }) != Reason::stopping) {
    std::this_thread::yield();
  }
  held.let_go();
  EXPECT_TRUE(drained.get());
  held.result();
  EXPECT_EQ(waiting.get(), std::nullopt);
}

TEST(Delivery, DropsWhatWaitsWhenTheTimeForDrainingIsOver) {
  Delivery delivery({});
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  auto waiting = std::async(std::launch::async, [&] {
    return refusal([&] { delivery.deliver("a", kOffice, nothing); });
  });
  wait_for_depth(delivery, 2);
  EXPECT_FALSE(delivery.drain(1ms));
  EXPECT_EQ(waiting.get(), Reason::stopping);
  held.let_go();
  held.result();
}

TEST(Delivery, NeverOverlapsCallsInOneQueueUnderLoad) {
  constexpr std::size_t kQueues = 4;
  constexpr int kCalls = 300;
  struct Queue {
    std::atomic<bool> is_busy = false;
    int count = 0;  // plain memory, so that a thread sanitizer notices as well
  };
  std::array<Queue, kQueues> queues;
  std::atomic<int> overlaps = 0;
  Delivery delivery({});
  std::vector<std::thread> clients;
  for (std::size_t i = 0; i < 16; ++i) {
    clients.emplace_back([&, i] {
      const Delivery::Caller caller{std::to_string(i % 3)};
      for (int n = 0; n < kCalls; ++n) {
        Queue& queue = queues.at(i % kQueues);
        delivery.deliver(std::to_string(i % kQueues), caller, [&](const Turn&) {
          if (queue.is_busy.exchange(true)) ++overlaps;
          ++queue.count;
          queue.is_busy = false;
        });
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(overlaps, 0);
  for (const Queue& queue : queues) EXPECT_EQ(queue.count, 4 * kCalls);
}

}  // namespace
}  // namespace korvane::host
