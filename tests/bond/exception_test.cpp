#include "bond/exception.h"

#include <exception>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

TEST(Exception, IsAStandardException) {
  EXPECT_TRUE((std::is_base_of_v<std::exception, bond::Exception>));
}

TEST(Exception, IsNeverRaisedByItself) {
  EXPECT_FALSE((std::is_constructible_v<bond::Exception, const char*>));
  EXPECT_FALSE((std::is_constructible_v<bond::Exception, std::string>));
}

TEST(Exception, HasTwoKindsThatAreSiblings) {
  EXPECT_TRUE((std::is_base_of_v<bond::Exception, bond::CoreException>));
  EXPECT_TRUE((std::is_base_of_v<bond::Exception, bond::StreamException>));
  EXPECT_FALSE((std::is_base_of_v<bond::CoreException, bond::StreamException>));
  EXPECT_FALSE((std::is_base_of_v<bond::StreamException, bond::CoreException>));
}

TEST(Exception, CarriesItsText) {
  EXPECT_STREQ(bond::CoreException("core").what(), "core");
  EXPECT_STREQ(bond::StreamException("stream").what(), "stream");
}

TEST(Exception, KeepsItsTextWhenCaughtAsAnyOfItsBases) {
  try {
    throw bond::StreamException("read as a base");
  } catch (const bond::Exception& exception) {
    EXPECT_STREQ(exception.what(), "read as a base");
    EXPECT_STREQ(static_cast<const std::exception&>(exception).what(), "read as a base");
  }
}

}  // namespace
