#pragma once

#include <optional>
#include <string>

#include "host/http/message.h"
#include "host/service/call.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {

/// The entity tag of a call's reply: which state of the project it is of, or where the reply is one
/// entry, of that entry alone. Only what reads a project by its address and by GET has one.
class ReplyTag {
 public:
  /// `call` must outlive it.
  explicit ReplyTag(const Call& call) : call_(call) {}

  /// Finds out the project's state, in its turn and before the reply is made: what changes
  /// meanwhile is another state. True where the client has the reply already.
  /// `request` is that of the call, or null.
  bool find(const krv::rpc4::LiveService& project, krv::rpc4::Request* request);

  bool is_known() const { return is_known_; }
  /// Adds the tag, and that the reply may be kept and must be asked about.
  void add_to(HttpReply& reply) const;
  /// The reply to a client that has it already.
  HttpReply not_modified() const;

 private:
  std::optional<std::string> entry_tag(const krv::rpc4::LiveService& project,
                                       krv::rpc4::Request* request) const;

  const Call& call_;
  /// Empty where there is none.
  std::string tag_;
  bool is_known_ = false;
};

}  // namespace korvane::host
