#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace korvane::test {

/// Names what a child process does next, for the report in case it fails there.
using Mark = std::function<void(const std::string& what)>;

/// Does `work` in a child process. Fails the test, naming the last mark, when the child crashes,
/// throws or fails an assertion, or does not reach its next mark or its end within `patience`.
void run_watched(std::chrono::seconds patience, const std::function<void(const Mark&)>& work);

}  // namespace korvane::test
