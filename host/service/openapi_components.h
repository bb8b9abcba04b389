#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "contracts/encoding/json.h"

/// What the paths of the OpenAPI document refer to: schemas, parameters, fields of headers.
namespace korvane::host::openapi {

using Json = nlohmann::ordered_json;

Json schema_reference(const std::string& schema);

/// To one of `parameters()`: "file", "service_id", "create", "run", "known", "seen".
Json parameter_reference(const char* name);

/// What headers of replies have in common, and those that some have besides: any of "ETag" and
/// "Korvane-Truncated".
Json reply_headers(const std::vector<const char*>& besides = {});

/// For every error, "default" of an operation's responses.
Json problem_reference();

/// For a client that has the reply already, "304".
Json not_modified_reference();

/// The schema of a document that is no contract: "ProjectFiles", "Access" or "Problem". Throws
/// std::logic_error "no schema is called <name>".
Json document_schema(const std::string& name);

/// All components; `schemas` has that of a problem.
Json components(const encoding::JsonSchemas& schemas);

}  // namespace korvane::host::openapi
