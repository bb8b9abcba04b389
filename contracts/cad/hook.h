#pragma once

#include <cstdint>
#include <string>

namespace korvane::model::cad {

/// The side to which a hook turns.
enum class HookDirection : std::int32_t {
  kLeft = 0,
  kRight = 1,
};

/// The kinds of hook. No field has this type: `Hook::type` is a text.
enum class HookType : std::int32_t {
  kStandardHook = 0,
  kAngleHook = 1,
  k180Hook = 2,
  kParallelHook = 3,
};

/// The hook of one end of a bar.
struct Hook {
  double length = 0.0;
  double total_length = 0.0;
  std::string type;
  HookDirection direction = HookDirection::kLeft;
  double angle = 0.0;

  bool operator==(const Hook&) const = default;
};

}  // namespace korvane::model::cad
