#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/cad/fabric_type.h"
#include "contracts/cad/material.h"
#include "contracts/cad/revision.h"
#include "contracts/cad/sheet.h"
#include "contracts/common/batch.h"
#include "contracts/common/optional_value.h"
#include "platform/project_rpc/open_project.h"
#include "platform/project_rpc/table.h"
#include "platform/rpc4/operation.h"

/// The parts of requests and replies that a host handles without knowing their contracts
/// (krv::rpc4::Request, krv::rpc4::Reply). A record that has no overload has no such part.
namespace korvane::rpc {

/// The file that a request names.
inline std::string& named_file(model::OpenProjectRequest& request) { return request.filename; }

/// The SQL that a request carries; empty where the client left it out.
inline std::string_view carried_sql(const model::table::GET_TABLE& request) {
  const auto query = request.params.find("query");
  if (query == request.params.end() || query->second.value_string.empty()) return {};
  return *query->second.value_string;
}

/// The rows of a reply that is a table.
inline std::vector<std::vector<Variant>>& table_rows(model::table::TABLE& reply) {
  return reply.rows;
}

/// The id of the service that a reply names.
inline const std::string& opened_service_id(const model::OpenProjectResponse& reply) {
  return reply.service_id;
}

// What a record is about (krv::rpc4::Subject), by the table in which a project keeps it.

template <class T>
inline constexpr std::string_view kEntryKind = {};
template <>
inline constexpr std::string_view kEntryKind<model::cad::Material> = "material";
template <>
inline constexpr std::string_view kEntryKind<model::cad::FabricType> = "fabric_type";
template <>
inline constexpr std::string_view kEntryKind<model::cad::Sheet> = "sheet";
template <>
inline constexpr std::string_view kEntryKind<model::cad::Revision> = "revision";
template <>
inline constexpr std::string_view kEntryKind<model::cad::MaterialRef> = "material";
template <>
inline constexpr std::string_view kEntryKind<model::cad::FabricTypeRef> = "fabric_type";
template <>
inline constexpr std::string_view kEntryKind<model::cad::SheetRef> = "sheet";
template <>
inline constexpr std::string_view kEntryKind<model::cad::RevisionRef> = "revision";

/// Whether a record of `T` is an entry itself, or may hold one.
template <class T>
inline constexpr bool is_entry = !kEntryKind<T>.empty() && requires(T entry) {
  { entry.id } -> std::same_as<std::int32_t&>;
};
template <class T>
inline constexpr bool is_entry<OptionalValue<T>> = is_entry<T>;

/// About none.
template <class T>
std::optional<krv::rpc4::Subject> subject_of(const T& record) {
  if constexpr (kEntryKind<T>.empty()) {
    return std::nullopt;
  } else {
    krv::rpc4::Subject subject{kEntryKind<T>};
    if constexpr (requires { record.id.value(); }) {
      if (record.id) subject.id = record.id.value();
      if (record.uid) subject.uid = record.uid.value();
    } else {
      subject.id = record.id;
      subject.uid = record.uid;
    }
    return subject;
  }
}

/// Lines are about their revision, if it is one.
template <class T>
requires requires(T line) { line.rev_id; }
std::optional<krv::rpc4::Subject> subject_of(const Batch<T>& batch) {
  if (batch.items.empty()) return std::nullopt;
  const std::int32_t revision = batch.items.front().rev_id;
  for (const T& line : batch.items) {
    if (line.rev_id != revision) return std::nullopt;
  }
  return krv::rpc4::Subject{"revision", revision};
}

}  // namespace korvane::rpc
