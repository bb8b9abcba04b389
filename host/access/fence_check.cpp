#include "host/access/fence_check.h"

#include <exception>
#include <stdexcept>
#include <string>

#include <Poco/AutoPtr.h>
#include <Poco/Data/SQLite/SessionImpl.h>
#include <Poco/Data/Session.h>
#include <Poco/Data/Statement.h>

#include "host/access/sql_fence.h"
#include "host/plugins/failure_text.h"

namespace korvane::host {

namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error("the SQL fence does not hold on the data layer's connections: " + what);
}

}  // namespace

void require_fence(const std::function<void(const char* sql)>& run_sql) {
  const SqlFence fence({});
  try {
    run_sql("attach ':memory:' as other");
  } catch (const std::exception& failure) {
    if (fence.stopped() == FenceStop::refused) return;
    fail("attaching a database failed, but not by the fence: " + failure_text(failure));
  }
  fail("a database could be attached inside it");
}

void require_fence_on_data_layer() {
  Poco::Data::Session session(
      Poco::AutoPtr<Poco::Data::SessionImpl>(new Poco::Data::SQLite::SessionImpl(":memory:", 0)));
  require_fence([&](const char* sql) { session << sql, Poco::Data::Keywords::now; });
}

}  // namespace korvane::host
