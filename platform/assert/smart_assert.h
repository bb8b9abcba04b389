#pragma once

#include <string>

namespace krv::smartassert {

/// An assertion that reports and lets the code continue. Made where a check has failed:
///
///     if (!(request.rev_id >= 0)) {
///       SmartAssert("request.rev_id >= 0").setFileContext(__FILE__, __LINE__).debug("invalid …");
///     }
class SmartAssert {
 public:
  /// `expression` is the text of what did not hold.
  explicit SmartAssert(std::string expression);

  /// Says where. The text is copied.
  SmartAssert& setFileContext(const char* file, int line);

  /// Reports one line at severity 2 to the process's log and returns:
  /// "assertion failed: <expression>, file <file>, line <line>: <message>".
  void debug(const std::string& message) const;

 private:
  std::string expression_;
  std::string file_;
  int line_ = 0;
};

}  // namespace krv::smartassert
