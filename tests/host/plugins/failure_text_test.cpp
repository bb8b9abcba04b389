#include "host/plugins/failure_text.h"

#include <stdexcept>

#include <Poco/Exception.h>
#include <gtest/gtest.h>

namespace korvane::host {
namespace {

TEST(FailureText, HasKindAndMessageOfPocosExceptions) {
  EXPECT_EQ(failure_text(Poco::NotFoundException("column x")), "Not found: column x");
}

TEST(FailureText, IsTheTextOfAnyOtherException) {
  EXPECT_EQ(failure_text(std::runtime_error("id or uid required")), "id or uid required");
}

}  // namespace
}  // namespace korvane::host
