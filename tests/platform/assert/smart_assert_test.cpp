#include "platform/assert/smart_assert.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/captured_log.h"

namespace korvane::test {

namespace {

using krv::smartassert::SmartAssert;

TEST(SmartAssert, ReportsOneLineOfSeverityTwoAndReturns) {
  CapturedLog log;
  SmartAssert("request.rev_id >= 0")
      .setFileContext("project.cpp", 812)
      .debug("invalid revision id");
  EXPECT_EQ(log.lines(), (LogLines{{2,
                                    L"assertion failed: request.rev_id >= 0, file project.cpp, "
                                    L"line 812: invalid revision id"}}));
}

TEST(SmartAssert, ReportsNothingBeforeItIsToldItsMessage) {
  CapturedLog log;
  SmartAssert("held").setFileContext("a.cpp", 1);
  EXPECT_TRUE(log.lines().empty());
}

TEST(SmartAssert, CopiesTheNameOfTheFile) {
  CapturedLog log;
  SmartAssert check("x");
  std::string file = "first.cpp";
  check.setFileContext(file.c_str(), 7);
  file.assign(file.size(), '?');
  check.debug("m");
  EXPECT_EQ(log.lines(), (LogLines{{2, L"assertion failed: x, file first.cpp, line 7: m"}}));
}

TEST(SmartAssert, ReportsTextsThatAreNoUtf8) {
  CapturedLog log;
  SmartAssert("\xFF").setFileContext("a.cpp", 1).debug("St\xC3\xBCtze\x80");
  EXPECT_EQ(log.lines(),
            (LogLines{{2, L"assertion failed: \xFFFD, file a.cpp, line 1: St\u00FCtze\xFFFD"}}));
}

}  // namespace

}  // namespace korvane::test
