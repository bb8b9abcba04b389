#include "host/service/failure.h"

#include <new>
#include <optional>
#include <utility>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <Poco/Exception.h>

#include "host/access/project_root.h"
#include "host/memory/memory_pool.h"
#include "host/plugins/failure_text.h"
#include "host/service/delivery.h"
#include "platform/rpc4/failure.h"

namespace korvane::host {

using krv::rpc4::FailedItem;

namespace sqlite = Poco::Data::SQLite;

namespace {

HttpFault retry_later(ProblemKind kind, const std::string& detail) {
  return {kind, detail, {{"Retry-After", "1"}}};
}

template <class... Failures>
bool is_one_of(const std::exception& failure) {
  return ((dynamic_cast<const Failures*>(&failure) != nullptr) || ...);
}

/// SQL that cannot be compiled, and a result that the reply cannot hold.
bool is_query_at_fault(const std::exception& failure) {
  return is_one_of<sqlite::InvalidSQLStatementException, sqlite::ParameterCountMismatchException,
                   Poco::NotFoundException, Poco::RangeException, Poco::BadCastException>(failure);
}

ProblemKind kind_of(const std::exception& failure, krv::rpc4::Effect effect) {
  if (is_one_of<krv::rpc4::BadRequest, ConfinementError>(failure)) return 400;
  if (is_one_of<krv::rpc4::NotFound>(failure)) return 404;
  if (is_one_of<sqlite::ConstraintViolationException>(failure)) return 409;
  if (is_one_of<krv::rpc4::UnusableRow>(failure)) return problem("unusable-row");
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

/// Of a record that could not be stored, says which.
HttpFault fault_at_item(HttpFault fault, const std::optional<FailedItem>& item) {
  if (fault.kind != problem("constraint") || !item) return fault;
  ProblemPlace place{"#", item->reason, item->mark};
  std::string name;
  if (item->index) {
    place.pointer += "/items/" + std::to_string(*item->index);
    name = "items[" + std::to_string(*item->index) + "]";
  }
  if (!item->field.empty()) {
    place.pointer += '/' + item->field;
    name += (name.empty() ? "" : ".") + item->field;
  }
  std::string text = fault.what();
  if (!name.empty()) text += ": " + name;
  if (!item->mark.empty()) text += ", mark \"" + item->mark + "\"";
  if (!item->reason.empty()) text += ": " + item->reason;
  if (place.detail.empty()) place.detail = fault.what();
  HttpFault whole(fault.kind, text, fault.fields);
  whole.place = std::move(place);
  return whole;
}

}  // namespace

HttpFault fault_of(const std::exception_ptr& failure, const FailedCall& call) {
  try {
    std::rethrow_exception(failure);
  } catch (const HttpFault& fault) {
    return fault;
  } catch (const NotDelivered& undelivered) {
    const bool is_stopping = undelivered.why == NotDelivered::Reason::stopping;
    return retry_later(is_stopping ? problem("stopping") : problem("overloaded"),
                       undelivered.what());
  } catch (const PoolIsFull& full) {
    return retry_later(503, full.what());
  } catch (const std::exception& other) {
    if (is_one_of<sqlite::DBLockedException, sqlite::TableLockedException>(other)) {
      return retry_later(problem("locked"), failure_text(other));
    }
    if (is_one_of<sqlite::NoMemoryException>(other)) return retry_later(503, failure_text(other));
    if (is_one_of<std::bad_alloc>(other)) return retry_later(503, "out of memory");
    if (is_no_project(other, call)) {
      return {problem("not-a-project"),
              "\"" + call.file + "\" is not a korvane project: " + failure_text(other)};
    }
    return fault_at_item({kind_of(other, call.effect), failure_text(other)}, call.item);
  } catch (...) {
    return {500, "a failure of an unknown kind"};
  }
}

}  // namespace korvane::host
