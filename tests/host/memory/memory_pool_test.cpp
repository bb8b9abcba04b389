#include "host/memory/memory_pool.h"

#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/memory/call_memory.h"

namespace korvane::host {
namespace {

using Holding = MemoryPool::Holding;

TEST(MemoryPool, HoldsUpToItsWholeForSeveralClientsAndNotAByteMore) {
  MemoryPool pool("things", 1000);
  Holding office(pool, "office");
  Holding site(pool, "site");
  EXPECT_TRUE(office.try_resize(750));
  EXPECT_TRUE(site.try_resize(250));
  EXPECT_EQ(pool.held(), 1000U);
  EXPECT_FALSE(site.try_resize(251));
  EXPECT_EQ(site.bytes(), 250U);
  EXPECT_EQ(pool.held(), 1000U);
}

TEST(MemoryPool, LeavesAQuarterToOtherClients) {
  MemoryPool pool("things", 1000);
  EXPECT_EQ(pool.share(), 750U);
  Holding first(pool, "office");
  Holding second(pool, "office");
  EXPECT_TRUE(first.try_resize(500));
  EXPECT_TRUE(second.try_resize(250));
  EXPECT_FALSE(second.try_resize(251));
  Holding other(pool, "site");
  EXPECT_TRUE(other.try_resize(250));
}

TEST(MemoryPool, GetsBackWhatShrinksAndWhatGoes) {
  MemoryPool pool("things", 1000);
  {
    Holding holding(pool, "office");
    EXPECT_TRUE(holding.try_resize(700));
    EXPECT_TRUE(holding.try_resize(10));
    EXPECT_EQ(pool.held(), 10U);
    Holding other(pool, "office");
    EXPECT_TRUE(other.try_resize(700));
  }
  EXPECT_EQ(pool.held(), 0U);
}

TEST(MemoryPool, RefusesWithWhatIsHeld) {
  MemoryPool pool("bodies of requests", 1000);
  Holding holding(pool, "office");
  EXPECT_THAT([&] { holding.resize(1001); }, ::testing::ThrowsMessage<PoolIsFull>(
                                                 "too many bodies of requests are held at a time"));
  EXPECT_EQ(holding.bytes(), 0U);
}

TEST(MemoryPool, CountsRightWhateverThreadsDo) {
  MemoryPool pool("things", 1000);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 2000; ++round) {
        Holding holding(pool, i % 2 == 0 ? "office" : "site");
        holding.try_resize(static_cast<std::uint64_t>(round % 500));
        EXPECT_LE(pool.held(), 1000U);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(pool.held(), 0U);
}

constexpr std::uint64_t kMiB = std::uint64_t{1024} * 1024;

class CallMemoryTest : public testing::Test {
 protected:
  MemoryPool pool_{"records", 8 * kMiB};
  CallMemory memory_{pool_, "office", 4 * kMiB};
};

TEST_F(CallMemoryTest, CountsWhatTheProgramAllocates) { EXPECT_TRUE(is_new_counted()); }

TEST_F(CallMemoryTest, CountsWhatIsThereAndGivesItBack) {
  const CallMemory::Scope scope(memory_);
  auto block = std::make_unique<char[]>(kMiB);
  EXPECT_GE(memory_.live(), kMiB);
  EXPECT_GE(pool_.held(), kMiB);
  block.reset();
  EXPECT_LT(memory_.live(), kMiB);
  EXPECT_GE(memory_.peak(), kMiB);
}

TEST_F(CallMemoryTest, CountsNothingOutsideItsScope) {
  const auto block = std::make_unique<char[]>(kMiB);
  EXPECT_EQ(memory_.live(), 0U);
  std::thread([] { const auto other = std::make_unique<char[]>(kMiB); }).join();
  EXPECT_EQ(memory_.live(), 0U);
}

TEST_F(CallMemoryTest, FailsAnAllocationBeyondItsLimitAndSaysSo) {
  const CallMemory::Scope scope(memory_);
  EXPECT_THROW(std::make_unique<char[]>(5 * kMiB), std::bad_alloc);
  EXPECT_EQ(memory_.refusal(), CallMemory::Refusal::too_much);
  EXPECT_NO_THROW(std::make_unique<char[]>(3 * kMiB));
}

TEST_F(CallMemoryTest, FailsAnAllocationOfGigabytesWithoutAskingTheSystem) {
  const CallMemory::Scope scope(memory_);
  EXPECT_THROW(std::make_unique<char[]>(std::size_t{1} << 46), std::bad_alloc);
  EXPECT_EQ(memory_.refusal(), CallMemory::Refusal::too_much);
}

TEST_F(CallMemoryTest, FailsAnAllocationThatThePoolHasNoRoomFor) {
  Holding other(pool_, "site");
  ASSERT_TRUE(other.try_resize(6 * kMiB));
  const CallMemory::Scope scope(memory_);
  EXPECT_THROW(std::make_unique<char[]>(3 * kMiB), std::bad_alloc);
  EXPECT_EQ(memory_.refusal(), CallMemory::Refusal::no_room);
  memory_.forget_refusal();
  EXPECT_EQ(memory_.refusal(), CallMemory::Refusal::none);
}

TEST_F(CallMemoryTest, FollowsTheRequestToAnotherThread) {
  std::unique_ptr<char[]> block;
  std::thread([&] {
    const CallMemory::Scope scope(memory_);
    block = std::make_unique<char[]>(kMiB);
  }).join();
  EXPECT_GE(memory_.live(), kMiB);
  EXPECT_GE(pool_.held(), kMiB);
  {
    const CallMemory::Scope scope(memory_);
    block.reset();
  }
  EXPECT_LT(pool_.held(), kMiB);
}

TEST_F(CallMemoryTest, GivesAllBackWithTheRequest) {
  std::unique_ptr<char[]> block;
  {
    CallMemory memory(pool_, "office", 4 * kMiB);
    const CallMemory::Scope scope(memory);
    block = std::make_unique<char[]>(kMiB);
  }
  EXPECT_EQ(pool_.held(), 0U);
}

}  // namespace
}  // namespace korvane::host
