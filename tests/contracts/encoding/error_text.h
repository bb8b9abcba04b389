#pragma once

#include <string>
#include <string_view>

#include "contracts/encoding/json.h"

namespace korvane::test {

/// What the JsonError says that `action` throws; "nothing was thrown" when none is.
template <class Action>
std::string json_error(Action&& action) {
  try {
    action();
  } catch (const encoding::JsonError& error) {
    return error.what();
  }
  return "nothing was thrown";
}

/// What reading `json` as a `T` is refused with.
template <class T>
std::string refusal(std::string_view json) {
  return json_error([&] { encoding::from_json<T>(json); });
}

}  // namespace korvane::test
