// What failures of a call are to an HTTP client, those that are hard to bring about included.

#include "host/service/failure.h"

#include <array>
#include <memory>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "bond/exception.h"
#include "host/memory/memory_pool.h"
#include "host/service/delivery.h"
#include "platform/rpc4/failure.h"

namespace korvane::host {
namespace {

using krv::rpc4::Effect;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace sqlite = Poco::Data::SQLite;

constexpr std::array kEffects = {Effect::reads, Effect::writes, Effect::opens, Effect::queries};

template <class Failure>
HttpFault fault(const Failure& failure, Effect effect = Effect::writes) {
  return fault_of(std::make_exception_ptr(failure), {effect});
}

/// Of a call to a project.
template <class Failure>
HttpFault fault_of_project(const Failure& failure, Effect effect, bool is_database = true) {
  return fault_of(std::make_exception_ptr(failure), {effect, "a.db", is_database});
}

template <class Failure>
void expect_status_of_every_effect(const Failure& failure, int status) {
  for (const Effect effect : kEffects) EXPECT_EQ(fault(failure, effect).status(), status);
}

void expect_retry_later(const HttpFault& fault) {
  EXPECT_EQ(fault.status(), 503);
  EXPECT_THAT(fault.fields, ElementsAre(Pair("Retry-After", "1")));
}

TEST(FaultOf, AFileThatIsLockedIsTriedAgainLater) {
  for (const Effect effect : kEffects) {
    const HttpFault locked = fault(sqlite::DBLockedException("database is locked"), effect);
    expect_retry_later(locked);
    EXPECT_THAT(locked.what(), HasSubstr("database is locked"));
  }
}

TEST(FaultOf, ATableThatIsLockedIsTriedAgainLater) {
  for (const Effect effect : kEffects)
    expect_retry_later(fault(sqlite::TableLockedException(), effect));
}

TEST(FaultOf, ACallThatWasNotDeliveredIsTriedAgainLater) {
  using Reason = NotDelivered::Reason;
  for (const Reason reason :
       {Reason::queue_full, Reason::waited_too_long, Reason::caller_gone, Reason::stopping}) {
    const HttpFault not_delivered = fault(NotDelivered(reason, "the text"));
    expect_retry_later(not_delivered);
    EXPECT_STREQ(not_delivered.what(), "the text");
  }
}

TEST(FaultOf, NoMemoryIsTriedAgainLater) {
  for (const Effect effect : kEffects) {
    expect_retry_later(fault(std::bad_alloc(), effect));
    expect_retry_later(fault(krv::rpc4::NoMemoryForRequest(), effect));
    expect_retry_later(fault(sqlite::NoMemoryException("out of memory"), effect));
  }
}

TEST(FaultOf, AFileWithoutTheTablesOfAProjectIsNamedAsNone) {
  const sqlite::InvalidSQLStatementException failure("no such table: sheet");
  for (const Effect effect : {Effect::reads, Effect::writes, Effect::opens}) {
    const HttpFault none = fault_of_project(failure, effect);
    EXPECT_EQ(none.status(), 422);
    EXPECT_STREQ(none.what(),
                 "\"a.db\" is not a korvane project: Invalid SQL statement: no such table: sheet");
  }
  EXPECT_EQ(fault_of_project(failure, Effect::queries).status(), 400);
}

TEST(FaultOf, AFileThatIsNoDatabaseIsNamedAsNone) {
  const sqlite::CorruptImageException failure("file is not a database");
  for (const Effect effect : kEffects) {
    const HttpFault none = fault_of_project(failure, effect, false);
    EXPECT_EQ(none.status(), 422);
    EXPECT_THAT(none.what(), HasSubstr("\"a.db\" is not a korvane project: "));
    EXPECT_EQ(fault_of_project(failure, effect).status(), 500);
  }
}

TEST(FaultOf, ARowThatNoReplyCanHoldIsOfTheFile) {
  expect_status_of_every_effect(krv::rpc4::UnusableRow("sheet: the id 4294967297 …"), 422);
}

TEST(FaultOf, AConstraintIsAConflict) {
  expect_status_of_every_effect(sqlite::ConstraintViolationException("UNIQUE"), 409);
}

TEST(FaultOf, WhatIsNotThereIsNotFoundWhateverTheText) {
  expect_status_of_every_effect(krv::rpc4::NotFound("failed to get_sheet"), 404);
  expect_status_of_every_effect(krv::rpc4::NotFound("no such thing"), 404);
}

TEST(FaultOf, WhatCannotBeDoneIsABadRequestWhateverTheText) {
  expect_status_of_every_effect(krv::rpc4::BadRequest("id or uid required"), 400);
  expect_status_of_every_effect(krv::rpc4::BadRequest("failed to get_sheet"), 400);
}

TEST(FaultOf, AFailureOfNoKindIsAnErrorOfTheServer) {
  expect_status_of_every_effect(std::runtime_error("failed to get_sheet"), 500);
}

TEST(FaultOf, APoolThatIsFullIsTriedAgainLater) {
  for (const Effect effect : kEffects) {
    const HttpFault full = fault(PoolIsFull("too many replies are held at a time"), effect);
    expect_retry_later(full);
    EXPECT_STREQ(full.what(), "too many replies are held at a time");
  }
}

TEST(FaultOf, ALibrarysFailureIsAnErrorOfTheServer) {
  expect_status_of_every_effect(std::range_error("failed to get_sheet"), 500);
  expect_status_of_every_effect(std::system_error(std::make_error_code(std::errc::io_error)), 500);
  expect_status_of_every_effect(std::out_of_range("subscript"), 500);
  expect_status_of_every_effect(sqlite::DatabaseFullException("disk"), 500);
  expect_status_of_every_effect(sqlite::ReadOnlyException("file"), 500);
  expect_status_of_every_effect(Poco::Data::NotConnectedException("file"), 500);
}

TEST(FaultOf, DamagedBytesInTheFileAreAnErrorOfTheServer) {
  expect_status_of_every_effect(bond::StreamException("Read out of bounds"), 500);
}

TEST(FaultOf, ARequestThatIsNoRecordIsABadRequest) {
  expect_status_of_every_effect(krv::rpc4::RequestError("Read out of bounds"), 400);
}

TEST(FaultOf, SqlIsTheClientsFaultInAQueryAlone) {
  const auto expect = [](const auto& failure) {
    EXPECT_EQ(fault(failure, Effect::queries).status(), 400);
    for (const Effect effect : {Effect::reads, Effect::writes, Effect::opens}) {
      EXPECT_EQ(fault(failure, effect).status(), 500);
    }
  };
  expect(sqlite::InvalidSQLStatementException("near \"selec\": syntax error"));
  expect(sqlite::ParameterCountMismatchException("?"));
  expect(Poco::RangeException("value too large"));
  expect(Poco::BadCastException("cell"));
  expect(Poco::NotFoundException("column"));
}

TEST(FaultOf, AFaultStaysWhatItIs) {
  const HttpFault same = fault(HttpFault(422, "stopped", {{"A", "b"}}));
  EXPECT_EQ(same.status(), 422);
  EXPECT_STREQ(same.what(), "stopped");
  EXPECT_THAT(same.fields, ElementsAre(Pair("A", "b")));
}

TEST(FaultOf, WhatIsNoExceptionIsAnErrorOfTheServer) {
  const HttpFault unknown = fault(5);
  EXPECT_EQ(unknown.status(), 500);
  EXPECT_STREQ(unknown.what(), "a failure of an unknown kind");
}

TEST(ProblemReply, HasATypeAndATitleForEveryKindThatIsAnswered) {
  for (const ProblemKind& kind : kProblemKinds) {
    const HttpReply reply = problem_reply(HttpFault(kind, "detail"));
    EXPECT_EQ(reply.status, kind.status());
    EXPECT_EQ(reply.detail, "detail");
    EXPECT_EQ(reply.content_type, "application/problem+json");
    const nlohmann::json problem = nlohmann::json::parse(reply.body);
    EXPECT_EQ(problem.at("type"), "urn:korvane:problem:" + std::string(kind.name()));
    const std::string title = problem.at("title");
    EXPECT_THAT(title, AllOf(::testing::Not(HasSubstr("?")), ::testing::Not(IsEmpty())));
    EXPECT_FALSE(problem.contains("errors"));
  }
}

TEST(ProblemKind, HasANameOfItsOwn) {
  std::set<std::string> names;
  for (const ProblemKind& kind : kProblemKinds) {
    EXPECT_TRUE(names.emplace(kind.name()).second) << kind.name();
  }
}

}  // namespace
}  // namespace korvane::host
