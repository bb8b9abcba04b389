#pragma once

#include <string>

#include <Poco/Exception.h>
#include <gtest/gtest.h>

namespace korvane::test {

/// The message of the `Exception` that `action` has to raise; what() of the data layer's exceptions
/// tells their kind alone.
template <class Exception, class Action>
std::string message_of(Action action) {
  try {
    action();
  } catch (const Exception& exception) {
    return exception.message();
  }
  ADD_FAILURE() << "nothing was raised";
  return {};
}

}  // namespace korvane::test
