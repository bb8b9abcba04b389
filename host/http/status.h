#pragma once

#include <algorithm>
#include <array>

namespace korvane::host {

/// The statuses that errors are answered with, all of them. docs/operations.md says when.
inline constexpr std::array kErrorStatuses = {400, 401, 403, 404, 405, 406, 408, 409, 412, 413, 414,
                                              415, 417, 421, 422, 429, 431, 500, 501, 503, 505};

/// One of them. Made of a number that is written out: another one than these does not compile.
class ErrorStatus {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): written where a number is expected
  consteval ErrorStatus(int code) : code_(code) {
    if (std::find(kErrorStatuses.begin(), kErrorStatuses.end(), code) == kErrorStatuses.end()) {
      throw "no error is answered with this status";
    }
  }

  constexpr int code() const { return code_; }

 private:
  int code_;
};

}  // namespace korvane::host
