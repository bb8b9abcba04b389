#include "tools/korvane/progress.h"

#include <chrono>
#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace korvane::tools {
namespace {

using std::chrono::milliseconds;

class ProgressLine : public testing::Test {
 protected:
  Progress line(bool is_shown = true) {
    return Progress(output_, is_shown, [this] { return now_; });
  }
  /// What was printed since the last call.
  std::string printed() {
    std::string text = output_.str();
    output_.str("");
    return text;
  }

  std::ostringstream output_;
  Progress::Clock::time_point now_{};
};

TEST_F(ProgressLine, SaysWhatIsDoneInPercent) {
  Progress progress = line();
  progress.show("storing", 1, 3);
  EXPECT_EQ(printed(), "\r\x1B[Kstoring 33 %");
}

TEST_F(ProgressLine, ChangesAtMostTenTimesASecond) {
  Progress progress = line();
  progress.show("storing", 1, 100);
  printed();
  now_ += milliseconds(99);
  progress.show("storing", 2, 100);
  EXPECT_EQ(printed(), "");
  now_ += milliseconds(1);
  progress.show("storing", 3, 100);
  EXPECT_EQ(printed(), "\r\x1B[Kstoring 3 %");
}

TEST_F(ProgressLine, IsGoneAtTheEnd) {
  {
    Progress progress = line();
    progress.show("storing", 1, 2);
    printed();
  }
  EXPECT_EQ(printed(), "\r\x1B[K");
}

TEST_F(ProgressLine, IsClearedOnceForWhatElseIsPrinted) {
  Progress progress = line();
  progress.show("storing", 1, 2);
  printed();
  progress.clear();
  progress.clear();
  EXPECT_EQ(printed(), "\r\x1B[K");
}

TEST_F(ProgressLine, WithoutATerminalNothingIsPrinted) {
  { line(false).show("storing", 1, 2); }
  EXPECT_EQ(printed(), "");
}

TEST_F(ProgressLine, NothingOfNothingIsNotADivisionByZero) {
  Progress progress = line();
  progress.show("reading", 0, 0);
  EXPECT_EQ(printed(), "\r\x1B[Kreading 0 %");
}

}  // namespace
}  // namespace korvane::tools
