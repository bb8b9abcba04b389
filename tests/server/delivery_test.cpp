// Calls to live services: one at a time to each, in parallel to different ones, and bounded.

#include "host/delivery.h"

#include <atomic>
#include <future>
#include <latch>
#include <mutex>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/server/probe_service.h"

namespace korvane::host {
namespace {

using krv::rpc4::Live;
using krv::rpc4::LiveService;
using test::ProbeService;
using namespace std::chrono_literals;

using Reason = NotDelivered::Reason;

bond::blob nothing(const LiveService&) { return {}; }

/// A call that holds its service until it is told to go.
class HeldCall {
 public:
  HeldCall(Delivery& delivery, const std::string& id)
      : done_(std::async(std::launch::async, [this, &delivery, id] {
          return delivery.deliver(id, [this](const LiveService&) {
            has_begun_.set_value();
            may_go_.get_future().wait();
            return bond::blob();
          });
        })) {}

  void wait_until_it_runs() { has_begun_.get_future().wait(); }
  void let_go() { may_go_.set_value(); }
  bond::blob result() { return done_.get(); }

 private:
  std::promise<void> has_begun_;
  std::promise<void> may_go_;
  std::future<bond::blob> done_;
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

TEST(Delivery, ReturnsWhatTheWorkReturns) {
  const Live<ProbeService> service("a");
  Delivery delivery({});
  const bond::blob result =
      delivery.deliver("a", [](const LiveService&) { return bond::blob("reply", 5); });
  EXPECT_EQ(std::string(result.content(), result.size()), "reply");
}

TEST(Delivery, PassesOnWhatTheWorkThrows) {
  const Live<ProbeService> service("a");
  Delivery delivery({});
  EXPECT_THROW(
      delivery.deliver("a", [](const LiveService&) -> bond::blob { throw std::out_of_range("x"); }),
      std::out_of_range);
  EXPECT_EQ(delivery.depth(), 0U);
}

TEST(Delivery, GivesTheWorkTheNewestServiceOfThatId) {
  const Live<ProbeService> older("a");
  const Live<ProbeService> newer("a");
  Delivery delivery({});
  delivery.deliver("a", [&](const LiveService& service) {
    EXPECT_EQ(service.service, static_cast<const void*>(&newer));
    return bond::blob();
  });
}

TEST(Delivery, RefusesAnIdThatIsNotLive) {
  Delivery delivery({});
  std::string text;
  EXPECT_EQ(refusal([&] { delivery.deliver("gone", nothing); }, &text), Reason::not_live);
  EXPECT_EQ(text, "no service gone");
}

TEST(Delivery, RefusesACallWhoseServiceWentWhileItWaited) {
  auto service = std::make_unique<Live<ProbeService>>("a");
  Delivery delivery({});
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  auto waiting = std::async(std::launch::async,
                            [&] { return refusal([&] { delivery.deliver("a", nothing); }); });
  wait_for_depth(delivery, 2);
  service.reset();
  held.let_go();
  held.result();
  EXPECT_EQ(waiting.get(), Reason::not_live);
}

TEST(Delivery, RunsCallsToOneServiceInTheOrderInWhichTheyCame) {
  const Live<ProbeService> service("a");
  Delivery delivery({});
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  std::vector<int> order;
  std::vector<std::future<bond::blob>> calls;
  for (int i = 0; i < 8; ++i) {
    calls.push_back(std::async(std::launch::async, [&, i] {
      return delivery.deliver("a", [&, i](const LiveService&) {
        order.push_back(i);
        return bond::blob();
      });
    }));
    wait_for_depth(delivery, static_cast<std::size_t>(i) + 2);
  }
  held.let_go();
  held.result();
  for (auto& call : calls) call.get();
  EXPECT_THAT(order, ::testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
}

TEST(Delivery, RunsCallsToDifferentServicesInParallel) {
  const Live<ProbeService> a("a");
  const Live<ProbeService> b("b");
  Delivery delivery({});
  // Each call waits for the other: run one after the other they would never end.
  std::latch both(2);
  const auto meet = [&](const LiveService&) {
    both.arrive_and_wait();
    return bond::blob();
  };
  auto first = std::async(std::launch::async, [&] { return delivery.deliver("a", meet); });
  delivery.deliver("b", meet);
  first.get();
}

TEST(Delivery, ALongCallToOneServiceDoesNotHoldUpAnother) {
  const Live<ProbeService> a("a");
  const Live<ProbeService> b("b");
  DeliveryLimits limits;
  limits.workers = 1;  // two at least are made
  Delivery delivery(limits);
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  for (int i = 0; i < 10; ++i) delivery.deliver("b", nothing);
  held.let_go();
  held.result();
}

TEST(Delivery, RefusesACallTooManyForOneService) {
  const Live<ProbeService> a("a");
  const Live<ProbeService> b("b");
  DeliveryLimits limits;
  limits.waiting_calls = 2;
  Delivery delivery(limits);
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  std::vector<std::future<bond::blob>> waiting;
  for (std::size_t i = 0; i < 2; ++i) {
    waiting.push_back(
        std::async(std::launch::async, [&] { return delivery.deliver("a", nothing); }));
    wait_for_depth(delivery, i + 2);
  }
  std::string text;
  EXPECT_EQ(refusal([&] { delivery.deliver("a", nothing); }, &text), Reason::queue_full);
  EXPECT_EQ(text, "too many calls wait for a");
  EXPECT_EQ(refusal([&] { delivery.deliver("b", nothing); }), std::nullopt);
  held.let_go();
  held.result();
  for (auto& call : waiting) call.get();
}

TEST(Delivery, GivesUpACallWhoseTurnDoesNotComeInTime) {
  const Live<ProbeService> service("a");
  DeliveryLimits limits;
  limits.waiting_time = 20ms;
  Delivery delivery(limits);
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  bool has_run = false;
  std::string text;
  EXPECT_EQ(refusal(
                [&] {
                  delivery.deliver("a", [&](const LiveService&) {
                    has_run = true;
                    return bond::blob();
                  });
                },
                &text),
            Reason::waited_too_long);
  EXPECT_EQ(text, "the call waited too long for a");
  held.let_go();
  held.result();
  delivery.deliver("a", nothing);
  EXPECT_FALSE(has_run);
}

TEST(Delivery, CallsThatWereGivenUpLeaveTheServiceToOneCallAtATime) {
  const Live<ProbeService> service("a");
  DeliveryLimits limits;
  limits.waiting_time = 1ms;
  Delivery delivery(limits);
  std::atomic<int> running = 0;
  std::atomic<int> overlaps = 0;
  std::vector<std::thread> clients;
  for (int i = 0; i < 8; ++i) {
    clients.emplace_back([&] {
      for (int n = 0; n < 200; ++n) {
        refusal([&] {
          delivery.deliver("a", [&](const LiveService&) {
            if (++running != 1) ++overlaps;
            std::this_thread::sleep_for(500us);
            --running;
            return bond::blob();
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
  const Live<ProbeService> service("a");
  DeliveryLimits limits;
  limits.waiting_time = 1ms;
  Delivery delivery(limits);
  const bond::blob result = delivery.deliver("a", [](const LiveService&) {
    std::this_thread::sleep_for(30ms);
    return bond::blob("done", 4);
  });
  EXPECT_EQ(result.size(), 4U);
}

TEST(Delivery, DrainsWhatRunsAndWaits) {
  const Live<ProbeService> service("a");
  const Live<ProbeService> other("b");
  Delivery delivery({});
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  auto waiting = std::async(std::launch::async,
                            [&] { return refusal([&] { delivery.deliver("a", nothing); }); });
  wait_for_depth(delivery, 2);
  auto drained = std::async(std::launch::async, [&] { return delivery.drain(10s); });
  while (refusal([&] { delivery.deliver("b", nothing); }) != Reason::stopping) {
    std::this_thread::yield();
  }
  held.let_go();
  EXPECT_TRUE(drained.get());
  held.result();
  EXPECT_EQ(waiting.get(), std::nullopt);
}

TEST(Delivery, DropsWhatWaitsWhenTheTimeForDrainingIsOver) {
  const Live<ProbeService> service("a");
  Delivery delivery({});
  HeldCall held(delivery, "a");
  held.wait_until_it_runs();
  auto waiting = std::async(std::launch::async,
                            [&] { return refusal([&] { delivery.deliver("a", nothing); }); });
  wait_for_depth(delivery, 2);
  EXPECT_FALSE(delivery.drain(1ms));
  EXPECT_EQ(waiting.get(), Reason::stopping);
  held.let_go();
  held.result();
}

TEST(Delivery, NeverOverlapsCallsToOneServiceUnderLoad) {
  constexpr std::size_t kServices = 4;
  std::vector<std::unique_ptr<Live<ProbeService>>> services;
  for (std::size_t i = 0; i < kServices; ++i) {
    services.push_back(std::make_unique<Live<ProbeService>>(test::probe_id(i)));
  }
  Delivery delivery({});
  std::vector<std::thread> clients;
  for (std::size_t i = 0; i < 16; ++i) {
    clients.emplace_back([&, i] {
      for (int n = 0; n < 300; ++n) {
        delivery.deliver(test::probe_id(i % kServices), [](const LiveService& live) {
          Variant reply;
          static_cast<ProbeService*>(live.service)->count({}, reply, {});
          return bond::blob();
        });
      }
    });
  }
  for (std::thread& client : clients) client.join();
  for (const auto& service : services) {
    Variant reply;
    service->count({}, reply, {});
    EXPECT_EQ(*reply.value_int32, 4 * 300 + 1);
  }
}

}  // namespace
}  // namespace korvane::host
