#include "host/plugins/failure_text.h"

#include <stdexcept>

#include <Poco/Exception.h>
#include <gtest/gtest.h>

namespace korvane::host {
namespace {

TEST(FailureText, HasKindAndMessageOfPocosExceptions) {
  EXPECT_EQ(failure_text(Poco::NotFoundException("column x")), "Not found: column x");
}

TEST(FailureText, HasAReasonOnceThatTheDataLayerGivesTwice) {
  const auto text = [](const char* message, const char* argument) {
    return failure_text(Poco::NotFoundException(message, argument));
  };
  EXPECT_EQ(text("no such column: x", "no such column: x"), "Not found: no such column: x");
  EXPECT_EQ(text("near \"a: a\"", "near \"a: a\""), "Not found: near \"a: a\"");
  EXPECT_EQ(text("column", "columns"), "Not found: column: columns");
  EXPECT_EQ(text("aa", ""), "Not found: aa");
  EXPECT_EQ(failure_text(Poco::NotFoundException()), Poco::NotFoundException().displayText());
}

TEST(FailureText, IsTheTextOfAnyOtherException) {
  EXPECT_EQ(failure_text(std::runtime_error("id or uid required")), "id or uid required");
}

}  // namespace
}  // namespace korvane::host
