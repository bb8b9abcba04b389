#pragma once

#include <exception>
#include <string>

namespace korvane::host {

/// The whole text of a failure: of Poco's exceptions, whose `what` is only their kind, the message
/// as well.
std::string failure_text(const std::exception& failure);

}  // namespace korvane::host
