#pragma once

#include <string>
#include <utility>

#include "schedule/table.h"

/// Columns of tables that are the commands' own.
namespace korvane::tools {

inline schedule::Column text_column(std::string name, std::string title) {
  return {std::move(name), std::move(title), schedule::Column::Kind::text, ""};
}

/// Whole numbers.
inline schedule::Column count_column(std::string name, std::string title, std::string unit = "") {
  return {std::move(name), std::move(title), schedule::Column::Kind::number, std::move(unit), 0};
}

/// People have it in another column.
inline schedule::Column program_column(const std::string& name) {
  return {name, name, schedule::Column::Kind::text, "", 0, true};
}

}  // namespace korvane::tools
