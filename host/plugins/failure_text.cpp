#include "host/plugins/failure_text.h"

#include <Poco/Exception.h>

namespace korvane::host {

std::string failure_text(const std::exception& failure) {
  const auto* const poco = dynamic_cast<const Poco::Exception*>(&failure);
  return poco != nullptr ? poco->displayText() : failure.what();
}

}  // namespace korvane::host
