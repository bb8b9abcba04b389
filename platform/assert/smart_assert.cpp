#include "platform/assert/smart_assert.h"

#include <utility>

#include "platform/log/log.h"

namespace krv::smartassert {

SmartAssert::SmartAssert(std::string expression) : expression_(std::move(expression)) {}

SmartAssert& SmartAssert::setFileContext(const char* file, int line) {
  file_ = file;
  line_ = line;
  return *this;
}

void SmartAssert::debug(const std::string& message) const {
  BOOST_LOG_SEV(log::get_global_log(), log::refused)
      << L"assertion failed: " << log::widen(expression_) << L", file " << log::widen(file_)
      << L", line " << line_ << L": " << log::widen(message);
}

}  // namespace krv::smartassert
