#include "host/service/failure.h"

#include <new>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <Poco/Exception.h>

#include "host/access/project_root.h"
#include "host/memory/memory_pool.h"
#include "host/plugins/failure_text.h"
#include "host/service/delivery.h"
#include "platform/rpc4/failure.h"

namespace korvane::host {

namespace sqlite = Poco::Data::SQLite;

namespace {

HttpFault retry_later(const std::string& detail) { return {503, detail, {{"Retry-After", "1"}}}; }

template <class... Failures>
bool is_one_of(const std::exception& failure) {
  return ((dynamic_cast<const Failures*>(&failure) != nullptr) || ...);
}

/// SQL that cannot be compiled, and a result that the reply cannot hold.
bool is_query_at_fault(const std::exception& failure) {
  return is_one_of<sqlite::InvalidSQLStatementException, sqlite::ParameterCountMismatchException,
                   Poco::NotFoundException, Poco::RangeException, Poco::BadCastException>(failure);
}

ErrorStatus status_of(const std::exception& failure, krv::rpc4::Effect effect) {
  if (is_one_of<krv::rpc4::BadRequest, ConfinementError>(failure)) return 400;
  if (is_one_of<krv::rpc4::NotFound>(failure)) return 404;
  if (is_one_of<sqlite::ConstraintViolationException>(failure)) return 409;
  if (is_one_of<krv::rpc4::UnusableRow>(failure)) return 422;
  if (effect == krv::rpc4::Effect::queries && is_query_at_fault(failure)) return 400;
  return 500;
}

/// Whether the file is to blame: it is not a database, or the store's own SQL cannot be compiled on
/// it.
bool is_no_project(const std::exception& failure, const FailedCall& call) {
  if (call.file.empty()) return false;
  if (is_one_of<sqlite::CorruptImageException>(failure)) return !call.is_database;
  return call.effect != krv::rpc4::Effect::queries &&
         is_one_of<sqlite::InvalidSQLStatementException>(failure);
}

}  // namespace

HttpFault fault_of(const std::exception_ptr& failure, const FailedCall& call) {
  try {
    std::rethrow_exception(failure);
  } catch (const HttpFault& fault) {
    return fault;
  } catch (const NotDelivered& undelivered) {
    return retry_later(undelivered.what());
  } catch (const PoolIsFull& full) {
    return retry_later(full.what());
  } catch (const std::exception& other) {
    if (is_one_of<sqlite::DBLockedException, sqlite::TableLockedException,
                  sqlite::NoMemoryException>(other)) {
      return retry_later(failure_text(other));
    }
    if (is_one_of<std::bad_alloc>(other)) return retry_later("out of memory");
    if (is_no_project(other, call)) {
      return {422, "\"" + call.file + "\" is not a korvane project: " + failure_text(other)};
    }
    return {status_of(other, call.effect), failure_text(other)};
  } catch (...) {
    return {500, "a failure of an unknown kind"};
  }
}

}  // namespace korvane::host
