#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/access/sql_fence.h"
#include "host/http/message.h"
#include "host/service/call.h"
#include "host/service/kept_answers.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {

/// What the client of a write asks for beside what is to be written. Where it asks for anything, the
/// whole call is one transaction.
struct WriteOptions {
  std::optional<KeyedRequest> key = {};
  /// Nothing is to be stored.
  bool is_dry_run = false;
  /// The field If-Match: what the client has seen last.
  std::optional<std::string> if_match = {};
  /// Whether the call may store anything at all.
  bool may_store = false;
  /// It is SQL of the client's, which may only read: such an answer is not kept.
  bool is_query = false;

  bool has_any() const { return key || is_dry_run || if_match; }
};

/// Those of a call with that body. None of a call that stores nothing. Throws HttpFault 400 for a key
/// that is not one to 255 visible ASCII characters, and for a parameter dry_run that is neither true
/// nor false.
WriteOptions write_options(const Call& call, const std::string& body);

/// Runs `write`, which makes the whole reply, in one unit of the service, inside the fence of its
/// turn: the reply is kept together with what was written, or known already, or all is taken back
/// after a dry run. Throws what `write` throws, and HttpFault 400 for a service that cannot do so.
HttpReply run_in_unit(const WriteOptions& options, const krv::rpc4::LiveService& service,
                      SqlFence& fence, const std::function<HttpReply()>& write);

}  // namespace korvane::host
