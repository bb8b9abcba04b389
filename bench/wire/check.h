#pragma once

#include <filesystem>
#include <string>

#include "bench/wire/caller.h"
#include "bench/wire/servers.h"
#include "host/service/representation.h"

namespace korvane::bench::wire {

/// Columns of the row that is stored by `add_rebar` in the first project of a folder, which is
/// undone again.
std::string added_row(Caller& caller, const std::filesystem::path& folder);

/// The bytes of the reply.
std::string reply_to(Caller& caller, Operation operation);

/// Throws std::logic_error that names server and thing unless they are alike.
void expect(bool is_alike, const std::string& server, const char* thing);

/// The check of a server that answers in the contracts' own forms.
void check_replies(Server& server, host::Representation form, const std::filesystem::path& folder,
                   const Expected& expected);

}  // namespace korvane::bench::wire
