#pragma once

#include <string>
#include <vector>

#include "host/access/sql_fence.h"
#include "host/http/message.h"
#include "host/service/call.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {

/// Another text whenever statements of the service's connection have written.
std::string written_so_far(const krv::rpc4::LiveService& service, SqlFence& fence);

/// Tells those who watch the call's project, in the service's turn, what the call has changed there:
/// `changed`, or the project as a whole where that is empty. Before it, what another program did
/// meanwhile. Throws nothing of it: they are told that they have missed something.
void tell_of_changes(const Call& call, const std::string& file,
                     const krv::rpc4::LiveService& service, SqlFence& fence,
                     const std::vector<krv::rpc4::Subject>& changed);

/// A reply that tells of the changes of `file`, which is open as the service of that id, until the
/// client has gone, the run ends or the server stops. `call` must outlive it.
HttpReply change_stream(const Call& call, const std::string& file, const std::string& service_id);

}  // namespace korvane::host
