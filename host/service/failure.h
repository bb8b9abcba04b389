#pragma once

#include <exception>
#include <optional>
#include <string>

#include "host/http/message.h"
#include "platform/rpc4/failed_item.h"
#include "platform/rpc4/operation.h"

namespace korvane::host {

/// What a call was about when it failed.
struct FailedCall {
  krv::rpc4::Effect effect = krv::rpc4::Effect::reads;
  /// The project's file; empty where the call was of none.
  std::string file = {};
  /// Whether the file begins as a database does.
  bool is_database = true;
  /// Which record could not be stored, if it was one.
  std::optional<krv::rpc4::FailedItem> item = {};
};

/// What the failure of a call is to an HTTP client, with its own text as detail:
///
/// - what is not there (krv::rpc4::NotFound) 404
/// - missing or malformed input (krv::rpc4::BadRequest), a file name that is refused, and in a
/// query
///   SQL that the database does not take 400
/// - a constraint violation 409, with the item, its mark and its field where they are known
/// - a file that is not a database, or without the tables of a project, 422 "\"<file>\" is not a
///   korvane project: …"; an id in it that has more than 32 bits 422
/// - a busy or locked file, a call that did not get its turn, no memory and no room in a pool 503
///   with Retry-After
/// - all else 500, a service's std::runtime_error of no such kind too
HttpFault fault_of(const std::exception_ptr& failure, const FailedCall& call);

}  // namespace korvane::host
