#pragma once

#include <memory>

#include "bond/blob.h"
#include "host/http/message.h"
#include "platform/rpc4/operation.h"

namespace korvane::host {

/// Gives `reply` a body of `bytes`. A large one is not copied: they are kept as long as it is on
/// its way.
void set_body(HttpReply& reply, bond::blob bytes);

/// Gives `reply` the record as JSON. A text of more than 8 MiB is not held but written anew while it
/// leaves, from the record. Throws encoding::JsonError for what JSON cannot say.
void set_json_body(HttpReply& reply, std::shared_ptr<const krv::rpc4::Reply> record);

}  // namespace korvane::host
