#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace korvane::test {

/// What a child process does next, for the report of its end.
using Mark = std::function<void(const std::string& what)>;

/// Does `work` in a process of its own. Fails the test, with the last mark, when that crashes,
/// throws or fails the test, or does not come to the next mark or to its end within `patience`.
void run_watched(std::chrono::seconds patience, const std::function<void(const Mark&)>& work);

}  // namespace korvane::test
