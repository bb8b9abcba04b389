#include "host/service/reply_tag.h"

#include <exception>

#include "host/service/entity_tag.h"

namespace korvane::host {

std::optional<std::string> ReplyTag::entry_tag(const krv::rpc4::LiveService& project,
                                               krv::rpc4::Request* request) const {
  const Mounted& mounted = call_.room().mounted;
  if (request == nullptr || !mounted.tag_of || !call_.operation().reply.is_entry) return {};
  const std::optional<krv::rpc4::Subject> subject = request->subject();
  if (!subject) return {};
  return mounted.tag_of(project, *subject);
}

bool ReplyTag::find(const krv::rpc4::LiveService& project, krv::rpc4::Request* request) {
  tag_.clear();
  is_known_ = false;
  const CallRoom& room = call_.room();
  if (!call_.is_get() || !call_.callee().file || !room.mounted.state_of) return false;
  if (call_.operation().effect != krv::rpc4::Effect::reads) return false;
  std::string state;
  try {
    if (const std::optional<std::string> entry = entry_tag(project, request)) {
      tag_ = tag_of_form(*entry, call_.reply_form());
      is_known_ = has_tag(call_.request().head.get("If-None-Match", ""), tag_);
      return is_known_;
    }
    state = room.mounted.state_of(project);
  } catch (const std::exception&) {
    return false;  // what the call itself does will say what is wrong
  }
  if (state.empty()) return false;
  const bool is_binary = call_.reply_form() == Representation::compact_binary;
  tag_ = weak_tag(room.runs.id() + "." + state + (is_binary ? ".b" : ""));
  is_known_ = has_tag(call_.request().head.get("If-None-Match", ""), tag_);
  return is_known_;
}

void ReplyTag::add_to(HttpReply& reply) const {
  if (tag_.empty()) return;
  reply.fields.emplace_back("ETag", tag_);
  reply.fields.emplace_back("Cache-Control", "private, no-cache");
  reply.fields.emplace_back("Vary", "Accept, Accept-Encoding, Authorization");
}

HttpReply ReplyTag::not_modified() const {
  HttpReply reply;
  reply.status = kNotModified;
  add_to(reply);
  return reply;
}

}  // namespace korvane::host
