#pragma once

namespace korvane::tools {

/// How the program ends: what its caller decides by.
enum ExitCode : int {
  kDone = 0,
  kFailed = 1,
  kWrongUsage = 2,
  /// What could be done was done. What was left out is named on stderr.
  kDonePart = 3,
};

}  // namespace korvane::tools
