// Linked into test programs that do not look at the log: without a sink of their own, Boost.Log
// would print every line on stdout.

#include <boost/log/core.hpp>
#include <gtest/gtest.h>

namespace {

class QuietLog : public testing::Environment {
 public:
  void SetUp() override { boost::log::core::get()->set_logging_enabled(false); }
};

// NOLINTNEXTLINE(cert-err58-cpp): the test runner takes environments before main.
const testing::Environment* const quiet_log = testing::AddGlobalTestEnvironment(new QuietLog);

}  // namespace
