#include "host/watch/log_writer.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fcntl.h>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvane::host {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

std::string loss_line(std::uint64_t lines) { return std::to_string(lines) + " lost"; }

/// Where lines go, which can hang and fail.
struct Place {
  std::mutex mutex;
  std::condition_variable has_changed;
  std::string text;
  bool hangs = false;
  /// A line has come and hangs.
  bool waits = false;
  bool fails = false;

  static LogWriter::Output output(const std::shared_ptr<Place>& place) {
    return [place](std::string_view piece) {
      std::unique_lock lock(place->mutex);
      place->waits = place->hangs;
      place->has_changed.wait(lock, [&] { return !place->hangs; });
      if (place->fails) return std::size_t{0};
      place->text += piece;
      return piece.size();
    };
  }

  void set(bool does_hang, bool does_fail) {
    const std::lock_guard lock(mutex);
    hangs = does_hang;
    fails = does_fail;
    has_changed.notify_all();
  }
  std::string now() {
    const std::lock_guard lock(mutex);
    return text;
  }
};

class LogWriterTest : public testing::Test {
 protected:
  std::unique_ptr<LogWriter> writer() const {
    return std::make_unique<LogWriter>(Place::output(place_), &loss_line);
  }
  /// Writes a line that hangs, so that the next ones come together.
  void hold_up(LogWriter& log) const {
    place_->set(true, false);
    log.write("held up");
    const auto hangs = [&] {
      const std::lock_guard lock(place_->mutex);
      return place_->waits;
    };
    while (!hangs()) std::this_thread::yield();
  }
  void wait_until_written(const std::string& end) const {
    for (int i = 0; i < 1000 && !place_->now().ends_with(end); ++i) {
      std::this_thread::sleep_for(5ms);
    }
    EXPECT_TRUE(place_->now().ends_with(end)) << place_->now();
  }

  std::shared_ptr<Place> place_ = std::make_shared<Place>();
};

TEST_F(LogWriterTest, WritesLinesInOrderAndAllBeforeItGoes) {
  auto log = writer();
  for (int i = 0; i < 3; ++i) log->write(std::to_string(i));
  log.reset();
  EXPECT_EQ(place_->now(), "0\n1\n2\n");
}

TEST_F(LogWriterTest, NeverWaitsForItsReaderAndTellsWhatWasLost) {
  auto log = writer();
  hold_up(*log);
  const std::uint64_t lost_before = LogWriter::lost();
  // 16 MiB, where 8 have room. Who waited for the reader would wait for ever.
  for (int i = 0; i < 16 * 1024; ++i) log->write(std::string(1000, 'x'));
  const std::uint64_t lost = LogWriter::lost() - lost_before;
  EXPECT_GT(lost, 7000U);
  EXPECT_LT(lost, 9000U);
  place_->set(false, false);
  const std::string told = std::to_string(lost) + " lost\n";
  for (int i = 0; i < 1000 && place_->now().find(told) == std::string::npos; ++i) {
    std::this_thread::sleep_for(5ms);
  }
  log->write("next");
  log->flush(60s);
  log.reset();
  EXPECT_NE(place_->now().find(told), std::string::npos);
  EXPECT_TRUE(place_->now().ends_with("next\n"));
}

TEST_F(LogWriterTest, RecoversWhenItsPlaceDoes) {
  auto log = writer();
  log->write("before");
  wait_until_written("before\n");
  place_->set(false, true);
  const std::uint64_t lost_before = LogWriter::lost();
  for (int i = 0; i < 5; ++i) log->write("lost");
  while (LogWriter::lost() != lost_before + 5) std::this_thread::yield();
  place_->set(false, false);
  log->write("after");
  log.reset();
  EXPECT_EQ(place_->now(), "before\n5 lost\nafter\n");
}

TEST_F(LogWriterTest, TellsOfLostLinesLaterWhereThereIsNoMemoryToTellOfThem) {
  std::atomic<int> tries = 0;
  LogWriter log(Place::output(place_), [&](std::uint64_t lines) {
    if (++tries == 1) throw std::bad_alloc();
    return loss_line(lines);
  });
  place_->set(false, true);
  log.write("lost");
  log.flush(10s);
  place_->set(false, false);
  log.write("lost as well");
  log.flush(10s);
  log.write("after");
  log.flush(10s);
  EXPECT_EQ(place_->now(), "2 lost\nafter\n");
}

TEST_F(LogWriterTest, GoesWithinASecondThoughItsReaderHangs) {
  place_->set(true, false);
  auto log = writer();
  log->write("never read");
  const auto begin = std::chrono::steady_clock::now();
  log.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 3s);
  place_->set(false, false);
}

TEST_F(LogWriterTest, PutsOutTogetherWhatCameTogether) {
  std::vector<std::string> pieces;
  LogWriter log(
      [&, put = Place::output(place_)](std::string_view text) {
        pieces.emplace_back(text);
        return put(text);
      },
      &loss_line);
  hold_up(log);
  for (const char* const line : {"a", "b", "c"}) log.write(line);
  place_->set(false, false);
  log.flush(10s);
  EXPECT_THAT(pieces, ElementsAre("held up\n", "a\nb\nc\n"));
}

TEST_F(LogWriterTest, CountsTheLinesOfAPieceThatDidNotGoOutWhole) {
  std::vector<std::string> pieces;
  LogWriter log(
      [&, put = Place::output(place_)](std::string_view text) {
        pieces.emplace_back(text);
        put(text);
        return pieces.size() == 2 ? std::size_t{3} : text.size();
      },
      &loss_line);
  hold_up(log);
  for (const char* const line : {"a", "b", "c"}) log.write(line);
  place_->set(false, false);
  log.flush(10s);
  log.write("d");
  log.flush(10s);
  // "a" went out, and the first letter of "b".
  EXPECT_THAT(pieces, ElementsAre("held up\n", "a\nb\nc\n", "\n2 lost\n", "d\n"));
}

TEST_F(LogWriterTest, MakesALateLinesTextOnItsOwnThread) {
  struct Late final : LateLine {
    explicit Late(std::promise<std::thread::id>& maker) : made_by(maker) {}
    std::string text() const override {
      made_by.set_value(std::this_thread::get_id());
      return "late";
    }
    std::size_t bytes() const override { return 100; }
    std::promise<std::thread::id>& made_by;
  };
  std::promise<std::thread::id> maker;
  auto log = writer();
  log->write(std::make_shared<Late>(maker));
  log.reset();
  EXPECT_EQ(place_->now(), "late\n");
  EXPECT_NE(maker.get_future().get(), std::this_thread::get_id());
}

TEST(LogOutput, BeginsANewLineAfterOneThatWentOutByHalf) {
  std::vector<std::string> pieces;
  {
    LogWriter log(
        [&](std::string_view text) {
          pieces.emplace_back(text);
          return pieces.size() == 1 ? 3 : text.size();
        },
        &loss_line);
    log.write("broken");
    log.flush(10s);
    log.write("whole");
  }
  EXPECT_THAT(pieces, ElementsAre("broken\n", "\n1 lost\n", "whole\n"));
}

TEST(LogOutput, SaysHowMuchADescriptorTook) {
  EXPECT_EQ(output_to(-1)("text"), 0U);
  const int full = open("/dev/full", O_WRONLY);
  EXPECT_EQ(output_to(full)("text"), 0U);
  close(full);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_EQ(output_to(ends[1])("text"), 4U);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace korvane::host
