#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/service/mounted.h"
#include "platform/project_rpc/project_service.h"
#include "schedule/structure.h"

/// What the routes of schedules have in common.
namespace korvane::server {

inline constexpr const char* kJsonType = "application/json";

/// The project of a call. Throws krv::rpc4::NotFound for one of another kind.
model::cad::Project_Service& project_of(const host::MountedCall& call);

/// The parameters "sheet" and "revision", and what they select.
std::vector<host::MountedParameter> selection_parameters();
schedule::Selection selection_of(const host::MountedCall& call);

/// The parameter as a whole number, `otherwise` without it. Throws krv::rpc4::BadRequest "width:
/// expected a number from 10 to 500, found \"a\"".
std::int32_t number_of(const host::MountedCall& call, const std::string& name, std::int32_t least,
                       std::int32_t greatest, std::int32_t otherwise);

/// A required parameter as the id of a row, from 0.
std::int32_t id_of(const host::MountedCall& call, const std::string& name);

/// The same for a text that is part of a parameter.
std::int32_t read_number(const std::string& name, std::string_view text, std::int32_t least,
                         std::int32_t greatest);

/// A text between commas: "a,b" is two texts, "" is one.
std::vector<std::string> parts_of(std::string_view list);

/// A parameter that `number_of` or `id_of` reads.
host::MountedParameter number_parameter(std::string name, std::string text,
                                        bool is_required = false);

/// The parameter "kind" for one of these kinds of lines.
host::MountedParameter kind_parameter(std::vector<std::string> kinds);

/// The one revision that a call names, by "revision_id" or by "sheet" and "revision".
std::vector<host::MountedParameter> revision_parameters();
/// Refuses, before the project is opened, to be given both.
void check_revision(const host::MountedCall& call);
/// Throws krv::rpc4::NotFound "no revision 7 in this project" and what schedule::select_one throws.
schedule::SelectedRevision revision_of(const host::MountedCall& call,
                                       const schedule::Structure& structure);

}  // namespace korvane::server
