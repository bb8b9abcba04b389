#include "host/plugins/failure_text.h"

#include <cstddef>
#include <string_view>

#include <Poco/Exception.h>

namespace korvane::host {

namespace {

/// "x" of "x: x". The data layer gives the database's reason as message and as argument of some of its
/// exceptions, which joins them.
std::string once(std::string text) {
  constexpr std::string_view kJoint = ": ";
  if (text.size() <= kJoint.size() || text.size() % 2 != 0) return text;
  const std::string_view whole = text;
  const std::size_t half = (whole.size() - kJoint.size()) / 2;
  const bool is_twice = whole.substr(half, kJoint.size()) == kJoint &&
                        whole.substr(0, half) == whole.substr(half + kJoint.size());
  if (is_twice) text.resize(half);
  return text;
}

}  // namespace

std::string failure_text(const std::exception& failure) {
  const auto* const poco = dynamic_cast<const Poco::Exception*>(&failure);
  if (poco == nullptr) return failure.what();
  const std::string reason = once(poco->message());
  return reason.empty() ? std::string(poco->name()) : poco->name() + (": " + reason);
}

}  // namespace korvane::host
