#pragma once

#include <exception>
#include <string>
#include <utility>

namespace bond {

/// Base of the exceptions of this library.
class Exception : public std::exception {
 public:
  const char* what() const noexcept override { return message_.c_str(); }

 protected:
  explicit Exception(std::string message) : message_(std::move(message)) {}

 private:
  std::string message_;
};

/// A rule of the data model was broken: "Field value is 'nothing'", "Max recursion depth exceeded".
class CoreException : public Exception {
 public:
  explicit CoreException(std::string message) : Exception(std::move(message)) {}
};

/// The bytes ended before the value did: "Read out of bounds: …".
class StreamException : public Exception {
 public:
  explicit StreamException(std::string message) : Exception(std::move(message)) {}
};

}  // namespace bond
