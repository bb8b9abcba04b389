#pragma once

#include <exception>

#include "host/http/message.h"
#include "platform/rpc4/operation.h"

namespace korvane::host {

/// What the failure of a call is to an HTTP client, with its own text as detail:
///
/// - a miss ("failed to get_…") and a service that is not live 404
/// - missing or malformed input, and in a query SQL that the database does not take 400
/// - a constraint violation 409
/// - a busy or locked file, and a call that was not delivered 503 with Retry-After
/// - all else 500
HttpFault fault_of(const std::exception_ptr& failure, krv::rpc4::Effect effect);

/// The whole text of a failure: Poco's exceptions keep the better half of it to themselves.
std::string failure_text(const std::exception& failure);

}  // namespace korvane::host
