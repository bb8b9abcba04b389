#include "platform/rpc4/directory.h"

#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvane::test {

namespace {

using krv::rpc4::find_live_service;
using krv::rpc4::find_service;
using krv::rpc4::Live;
using krv::rpc4::live_services;
using krv::rpc4::ServiceDefinition;

/// A skeleton without operations.
class Greeter {
 public:
  using Skeleton = Greeter;
  explicit Greeter(std::string id) : id_(std::move(id)) {}
  static const ServiceDefinition& definition() {
    static const ServiceDefinition definition{"test.Greeter", {}};
    return definition;
  }
  const std::string& id() const { return id_; }

 private:
  std::string id_;
};

class Counter {
 public:
  using Skeleton = Counter;
  explicit Counter(std::string id) : id_(std::move(id)) {}
  static const ServiceDefinition& definition() {
    static const ServiceDefinition definition{"test.Counter", {}};
    return definition;
  }
  const std::string& id() const { return id_; }

 private:
  std::string id_;
};

/// Calls back while it is made and while it goes.
class Watched : public Greeter {
 public:
  using Callback = std::function<void(const std::string& id)>;
  Watched(std::string id, const Callback& made, Callback gone)
      : Greeter(std::move(id)), gone_(std::move(gone)) {
    made(this->id());
  }
  ~Watched() { gone_(id()); }

 private:
  Callback gone_;
};

void do_nothing(const std::string&) {}

/// The skeleton is not where the object begins.
struct Prefix {
  std::string name = "prefix";
};
class Shifted : public Prefix, public Greeter {
 public:
  explicit Shifted(std::string id) : Greeter(std::move(id)) {}
};

bool is_found(const std::string& id) { return find_live_service(id).has_value(); }

std::vector<std::string> live_ids() {
  std::vector<std::string> ids;
  for (const auto& live : live_services()) ids.push_back(live.id);
  return ids;
}

TEST(Directory, NeverGivesTwoServicesTheSameSerial) {
  std::uint64_t first = 0;
  {
    const Live<Greeter> greeter("again");
    first = find_live_service("again")->serial;
  }
  const Live<Greeter> greeter("again");
  EXPECT_GT(first, 0U);
  EXPECT_GT(find_live_service("again")->serial, first);
}

TEST(Directory, FindsAServiceByItsIdWhileItLives) {
  Live<Greeter> greeter("test:1");
  const auto found = find_live_service("test:1");
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->id, "test:1");
  EXPECT_EQ(found->definition, &Greeter::definition());
  EXPECT_EQ(found->service, static_cast<Greeter*>(&greeter));
}

TEST(Directory, ForgetsAServiceThatHasGone) {
  { Live<Greeter> greeter("test:1"); }
  EXPECT_FALSE(is_found("test:1"));
}

TEST(Directory, FindsNothingUnderAnUnknownId) {
  Live<Greeter> greeter("test:1");
  EXPECT_FALSE(is_found("test:"));
  EXPECT_FALSE(is_found("test:11"));
  EXPECT_FALSE(is_found(""));
}

TEST(Directory, LetsTheNewestOfOneIdAnswer) {
  Live<Greeter> older("test:1");
  Live<Greeter> newer("test:1");
  EXPECT_EQ(find_service<Greeter>("test:1"), &newer);
}

TEST(Directory, LetsTheOlderAnswerAgainOnceTheNewestHasGone) {
  Live<Greeter> older("test:1");
  { Live<Greeter> newer("test:1"); }
  EXPECT_EQ(find_service<Greeter>("test:1"), &older);
}

TEST(Directory, KeepsTheNewestWhenTheOlderGoes) {
  auto older = std::make_unique<Live<Greeter>>("test:1");
  Live<Greeter> newer("test:1");
  older.reset();
  EXPECT_EQ(find_service<Greeter>("test:1"), &newer);
}

TEST(Directory, ListsServicesInTheOrderInWhichTheyCameToLife) {
  Live<Greeter> b("test:b");
  auto c = std::make_unique<Live<Counter>>("test:c");
  Live<Greeter> a("test:a");
  EXPECT_THAT(live_ids(), ::testing::ElementsAre("test:b", "test:c", "test:a"));
  c.reset();
  EXPECT_THAT(live_ids(), ::testing::ElementsAre("test:b", "test:a"));
}

TEST(Directory, DoesNotReachAServiceBeforeItsConstructorHasFinished) {
  std::optional<bool> found;
  Live<Watched> service(
      "test:1", [&](const std::string& id) { found = is_found(id); }, do_nothing);
  EXPECT_EQ(found, false);
  EXPECT_TRUE(is_found("test:1"));
}

TEST(Directory, DoesNotReachAServiceOnceItsDestructorHasBegun) {
  std::optional<bool> found;
  const auto look = [&](const std::string& id) { found = is_found(id); };
  { Live<Watched> service("test:1", do_nothing, look); }
  EXPECT_EQ(found, false);
}

TEST(Directory, ReachesTheOlderServiceWhileANewerOneOfItsIdIsMadeAndGoes) {
  Live<Greeter> older("test:1");
  std::vector<Greeter*> found;
  const auto look = [&](const std::string& id) { found.push_back(find_service<Greeter>(id)); };
  { Live<Watched> newer("test:1", look, look); }
  EXPECT_THAT(found, ::testing::ElementsAre(&older, &older));
}

TEST(Directory, NeverKnowsAServiceWhoseConstructorFails) {
  const auto fail = [](const std::string&) { throw std::runtime_error("half-way"); };
  EXPECT_THROW(Live<Watched>("test:1", fail, do_nothing), std::runtime_error);
  EXPECT_FALSE(is_found("test:1"));
  EXPECT_TRUE(live_ids().empty());
}

TEST(Directory, KeepsTheOlderServiceWhenMakingAnotherOfItsIdFails) {
  Live<Greeter> older("test:1");
  const auto fail = [](const std::string&) { throw std::runtime_error("half-way"); };
  EXPECT_THROW(Live<Watched>("test:1", fail, do_nothing), std::runtime_error);
  EXPECT_EQ(find_service<Greeter>("test:1"), &older);
}

TEST(FindService, RefusesAServiceOfAnotherSkeleton) {
  Live<Counter> counter("test:1");
  EXPECT_EQ(find_service<Greeter>("test:1"), nullptr);
  EXPECT_EQ(find_service<Counter>("test:1"), &counter);
}

TEST(FindService, AsksTheNewestOfTheIdAlone) {
  Live<Greeter> greeter("test:1");
  Live<Counter> counter("test:1");
  EXPECT_EQ(find_service<Greeter>("test:1"), nullptr);
}

TEST(FindService, GivesTheSkeletonWhereverItLiesInTheObject) {
  Live<Shifted> service("test:1");
  Greeter* const found = find_service<Greeter>("test:1");
  EXPECT_EQ(found, static_cast<Greeter*>(&service));
  EXPECT_EQ(found->id(), "test:1");
}

TEST(Directory, IsOpenToEveryThread) {
  const auto come_and_go = [](const std::string& id) {
    for (int i = 0; i < 500; ++i) {
      Live<Greeter> service(id);
      if (find_service<Greeter>(id) != &service) throw std::logic_error("not found: " + id);
    }
  };
  auto first = std::async(std::launch::async, come_and_go, "test:1");
  auto second = std::async(std::launch::async, come_and_go, "test:2");
  first.get();
  second.get();
  EXPECT_TRUE(live_services().empty());
}

}  // namespace

}  // namespace korvane::test
