#include "tests/support/watched_child.h"

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <unistd.h>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace korvane::test {
namespace {

using std::chrono_literals::operator""s;

TEST(WatchedChild, ThatHangsFailsTheTestWithItsMark) {
  EXPECT_NONFATAL_FAILURE(run_watched(1s,
                                      [](const Mark& mark) {
                                        mark("the endless loop");
                                        for (;;) pause();
                                      }),
                          "hangs in: the endless loop");
}

TEST(WatchedChild, ThatIsKilledFailsTheTestWithItsMark) {
  EXPECT_NONFATAL_FAILURE(run_watched(60s,
                                      [](const Mark& mark) {
                                        mark("the crash");
                                        std::raise(SIGKILL);
                                      }),
                          "killed by signal 9 in: the crash");
}

TEST(WatchedChild, ThatThrowsFailsTheTestWithTheText) {
  EXPECT_NONFATAL_FAILURE(run_watched(60s, [](const Mark&) { throw std::runtime_error("this"); }),
                          "exception: this");
}

}  // namespace
}  // namespace korvane::test
