#pragma once

#include <cstdint>

#include "platform/project_rpc/project_service.h"

namespace korvane::test {

/// One operation of an endless stream that writes in every way a project can be written to. Which
/// one, and with what, depends on `seed`, `index` and nothing else; uids are given, so that two
/// projects that have had the same operations are equal. An operation that the project refuses
/// (another row refers to what it deletes, say) changes nothing and counts as done.
void apply_scripted_operation(model::cad::Project_Service& project, std::uint32_t seed,
                              std::uint32_t index);

}  // namespace korvane::test
